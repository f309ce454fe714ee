#!/usr/bin/env python3
"""What frond leaves behind where it cannot write, or is killed: check_files.py CASE FROND MODULE.

In every case the inputs stay as they are, and a result's name holds either what it held before or the whole
result. Ends with 77 where the machine does not allow the case.
"""
import hashlib
import os
import pathlib
import random
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

KILLS = 16
PART = re.compile(r"\.[0-9a-f]{16}\.frond-part")
AS_ROOT = os.geteuid() == 0
NAMESPACE = ["unshare", "-m"] if AS_ROOT else ["unshare", "-Urm"]
HIDE_PROC = [*NAMESPACE, "sh", "-c", 'mount -t tmpfs none /proc && exec "$@"', "sh"]


def expect(condition, *what):
    if not condition:
        sys.exit("check_files.py: " + " ".join(map(str, what)))


def skip(why):
    print("skipped:", why)
    sys.exit(77)


def run(command, **options):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, **options)


def hashes(folder):
    return {f.name: hashlib.sha256(f.read_bytes()).hexdigest() for f in folder.iterdir()}


def key(room, target):
    return [room / "frond", "key", room / "in/photo.png", "--over", room / "in/background.png", "-o", target]


def expect_refusal(code, text, reason):
    expect(code == 4 and text.startswith("frond: ") and reason in text and text.count("\n") == 1, code, text)


def full_disk(room):
    """A file system of its own that is too small for the result, which replaces one that is there."""
    small = room / "small"
    small.mkdir()
    script = 'cd "$0" && mount -t tmpfs -o size=128k none . && cd "$0" && echo old >out.png && "$@"; ' \
             "echo code $? >&2; ls -A; cat out.png"
    if run([*NAMESPACE, "mount", "-t", "tmpfs", "none", small]).returncode != 0:
        skip("no file system can be mounted here")
    for wrapper in [], HIDE_PROC:
        done = subprocess.run([*NAMESPACE, "sh", "-c", script, small, *wrapper, *key(room, small / "out.png")],
                              capture_output=True, text=True)
        message, _, code = done.stderr.rpartition("code ")
        expect_refusal(int(code), message, "No space left on device")
        expect(done.stdout == "out.png\nold\n", "left in the folder:", done.stdout)


def read_only_folder(room):
    """A folder closed to the user; root, to whom none is closed, becomes nobody."""
    closed = room / "closed"
    closed.mkdir()
    (closed / "out.png").write_text("old")
    closed.chmod(0o555)
    user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if AS_ROOT else []
    if run([*user, room / "frond", "--version"]).returncode != 0:
        skip("cannot become another user")
    for name in "out.png", "new.png":
        done = run([*user, *key(room, closed / name)])
        expect_refusal(done.returncode, done.stdout, "Permission denied")
    expect(hashes(closed) == {"out.png": hashlib.sha256(b"old").hexdigest()}, "the folder has changed")


def has_open(process, folder):
    """Whether the process holds a file in the folder open, by name or without."""
    try:
        files = os.scandir(f"/proc/{process.pid}/fd")
        return any(os.readlink(file.path).startswith(f"{folder}/") for file in files)
    except OSError:
        return False


def kill_while_it_writes(room, wrapper, draw):
    """One run, killed at the result's opening or some time after; gives whether that hit the writing."""
    folder = room / "out"
    process = subprocess.Popen([*wrapper, *key(room, folder / "out.png")], stderr=subprocess.DEVNULL)
    while process.poll() is None and not has_open(process, folder):
        pass
    time.sleep(draw.choice([0, draw.uniform(0, 0.01)]))
    was_open = has_open(process, folder)
    process.send_signal(signal.SIGKILL)
    return process.wait() == -signal.SIGKILL and was_open


def can_be_nameless(folder):
    try:
        os.close(os.open(folder, os.O_TMPFILE | os.O_WRONLY))
        return True
    except OSError:
        return False


def killed(room, wrapper=(), named=False):
    folder = room / "out"
    folder.mkdir()
    done = run([*wrapper, *key(room, folder / "out.png")])
    expect(done.returncode == 0, done.stdout)
    whole = hashes(folder)["out.png"]
    named = named or not can_be_nameless(folder)
    draw = random.Random(1)
    hits = parts = 0
    for i in range(KILLS):
        before = hashlib.sha256(b"old").hexdigest() if i % 2 else None
        (folder / "out.png").unlink(missing_ok=True)
        if before:
            (folder / "out.png").write_text("old")
        hits += kill_while_it_writes(room, wrapper, draw)
        left = hashes(folder)
        expect(left.pop("out.png", None) in (before, whole), "run", i, "left a part of the result")
        for name, content in left.items():
            # Without a name until it is whole, a file has one for a moment when it takes another's place.
            expect(PART.fullmatch(name) and (named or content == whole), "run", i, "left", name)
            (folder / name).unlink()
            parts += 1
    print(f"{KILLS} kills, {hits} while the result was open; {parts} files with a passing name were left")
    expect(hits >= KILLS // 8, "too few kills met an open file")


def killed_without_proc(room):
    """Where a file cannot be written without a name."""
    if run([*HIDE_PROC, "true"]).returncode != 0:
        skip("/proc cannot be hidden here")
    killed(room, HIDE_PROC, named=True)


def main(case, frond, module):
    with tempfile.TemporaryDirectory() as name:
        room = pathlib.Path(name)
        room.chmod(0o755)
        for file in frond, module:
            shutil.copy(file, room)
        expect(run([room / "frond", "sample", room / "in", "--size", "1200x800", "--depth", "16"]).returncode == 0)
        before = hashes(room / "in")
        globals()[case](room)
        expect(hashes(room / "in") == before, "an input has changed")


main(*sys.argv[1:])
