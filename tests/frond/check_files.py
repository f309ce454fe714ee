#!/usr/bin/env python3
"""The files of frond when it cannot write, is interrupted or killed, its results that are not regular files, and the
memory of a batch: check_files.py CASE FROND MODULE.

In every case the inputs do not change, and a result's name has its earlier content or the whole result. Exit code 77
where the machine does not allow the case.
"""
import json
import os
import pathlib
import pty
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import termios
import time

KILLS = 16
JOBS = "1", "2", "8"
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


def contents(folder):
    return {f.name: f.read_bytes() for f in folder.iterdir()}


def key(work, target, photos=("photo.png",)):
    photos = [work / "in" / name for name in photos]
    return [work / "frond", "key", *photos, "--over", work / "in/background.png", "-o", target]


def copies(work, *names):
    for name in names:
        shutil.copy(work / "in/photo.png", work / "in" / name)
    return names


def limit(size):
    """Limits the size of files. The signal of the limit kills the process unless it is ignored."""
    def apply():
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (size, size))
    return apply


def expect_refusal(done, reason):
    text = done.stdout
    expect(done.returncode == 4 and text.startswith("frond: ") and reason in text, done.returncode, text)
    expect(text.count("\n") == 1, text)


def full_disk(work):
    """A write fails half-way; in a batch the photographs after it are not tried."""
    out = work / "out"
    out.mkdir()
    for name in "out.png", "out.tif", "out.jpg":
        (out / name).write_text("old")
        expect_refusal(run(key(work, out / name), restore_signals=False, preexec_fn=limit(2000)), "too large")
    expect(set(contents(out).values()) == {b"old"}, "a result has changed")
    photos = copies(work, "a.png", "b.png", "c.png")
    for jobs in JOBS:
        results = work / f"results{jobs}"
        results.mkdir()
        (results / "b.png").symlink_to("/dev/full")
        done = run([*key(work, results, photos), "--jobs", jobs])
        expect_refusal(done, f"{results}/b.png: cannot be written: No space left on device; 1 of 3 results written\n")
        expect(sorted(os.listdir(results)) == [".frond-results", "a.png", "b.png"], os.listdir(results))


def read_only_folder(work):
    """A folder without write permission; root, which ignores permissions, becomes nobody."""
    closed = work / "closed"
    closed.mkdir()
    (closed / "out.png").write_text("old")
    closed.chmod(0o555)
    user = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"] if AS_ROOT else []
    if run([*user, work / "frond", "--version"]).returncode != 0:
        skip("cannot become another user")
    for name in "out.png", "new.png":
        expect_refusal(run([*user, *key(work, closed / name)]), "Permission denied")
    expect(contents(closed) == {"out.png": b"old"}, "the folder has changed")


def can_be_unnamed(folder):
    try:
        os.close(os.open(folder, os.O_TMPFILE | os.O_WRONLY))
        return True
    except OSError:
        return False


def killed(work, wrapper=(), named=False):
    """Killed after a number of bytes of the result."""
    folder = work / "out"
    folder.mkdir()
    done = run([*wrapper, *key(work, folder / "out.png")])
    expect(done.returncode == 0, done.stdout)
    size = (folder / "out.png").stat().st_size
    named = named or not can_be_unnamed(folder)
    for i in range(KILLS):
        (folder / "out.png").unlink(missing_ok=True)
        if i % 2:
            (folder / "out.png").write_text("old")
        done = run([*wrapper, *key(work, folder / "out.png")], preexec_fn=limit(size * i // KILLS))
        expect(done.returncode == -signal.SIGXFSZ, "run", i, "ended with", done.returncode)
        left = {file.name: file for file in folder.iterdir()}
        old = left.pop("out.png").read_text() if i % 2 else "old"
        expect(old == "old", "run", i, "left a part of the result")
        expect(all(named and PART.fullmatch(name) for name in left), "run", i, "left", *left)
        for file in left.values():
            file.unlink()


def killed_without_proc(work):
    """Killed where unnamed files are impossible."""
    if run([*HIDE_PROC, "true"]).returncode != 0:
        skip("/proc cannot be hidden here")
    killed(work, HIDE_PROC, named=True)


def await_handler(process):
    """Waits until the main thread, which gets a signal first, has taken it, run its handler and sleeps again."""
    proc = pathlib.Path(f"/proc/{process.pid}")
    while process.poll() is None:
        pending = re.search(r"^ShdPnd:\s*(\w+)", (proc / "status").read_text(), re.MULTILINE)
        if int(pending[1], 16) == 0 and ") S " in (proc / "stat").read_text():
            return
        time.sleep(0.01)


def interrupt(command, pipe, mode, go_on):
    """The output of a run that is interrupted while it waits for the pipe."""
    process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
    with open(pipe, mode) as file:
        process.send_signal(signal.SIGINT)
        await_handler(process)
        go_on(file)
    text = process.communicate()[1]
    expect(process.returncode == 130, process.returncode, text)
    return text


def killed_batch(work):
    """Killed at the third of four results; a second run makes what is missing."""
    photos, results, report = copies(work, "a.png", "b.png", "c.png", "d.png"), work / "results", work / "report"
    command = [*key(work, results, photos), "--format", "tif", "--skip-existing", "--report", report]
    results.mkdir()
    os.mkfifo(results / "c.tif")
    process = subprocess.Popen(command)
    with open(results / "c.tif", "rb"):
        process.kill()
        process.wait()
    (results / "c.tif").unlink()
    (results / ".frond-results").open("a").write('{"result": "c.t')
    whole = contents(results)
    expect(sorted(whole) == [".frond-results", "a.tif", "b.tif"], *whole)
    before = (results / "a.tif").stat()
    abandoned, current = (results / f".{digit * 16}.frond-part" for digit in "ab")
    for part in abandoned, current:
        part.touch()
    os.utime(abandoned, (time.time() - 90000,) * 2)
    done = run(command)
    expect(not abandoned.exists() and current.exists(), *results.iterdir())
    expect(done.returncode == 0 and not done.stdout, done.stdout)
    expect((results / "a.tif").stat().st_ino == before.st_ino, "a whole result was made again")
    files = contents(results)
    expect(all(files[f"{name}.tif"] == whole["a.tif"] for name in "abcd"), "results differ")
    names = [json.loads(line)["result"][-5:] for line in report.read_text().splitlines()]
    expect(names[-2:] == ["c.tif", "d.tif"] and set(names[:-2]) <= {"a.tif", "b.tif"}, *names)


def peak_memory(command):
    """In kilobytes."""
    process = subprocess.Popen(command)
    _, status, usage = os.wait4(process.pid, 0)
    expect(status == 0, status)
    return usage.ru_maxrss


def batch_memory(work):
    """A batch does not keep its results, each of 720 KB without compression."""
    photos = copies(work, *[f"{i}.png" for i in range(60)])
    peaks = {}
    for count in 10, 60:
        out = work / f"out{count}"
        out.mkdir()
        peaks[count] = peak_memory([*key(work, out, photos[:count]), "--compression", "0", "--jobs", "1", "--quiet"])
    expect(peaks[60] < peaks[10] + 12000, peaks)


def two_at_once(work):
    """Two programs make results of the same names: each name belongs to the photograph in its list."""
    run([work / "frond", "sample", work / "in2", "--size", "300x200"])
    names = [f"{i}.png" for i in range(12)]
    for folder in "in", "in2":
        for name in names:
            shutil.copy(work / folder / "photo.png", work / folder / name)
    results = work / "results"
    commands = [[work / "frond", "key", *(work / folder / name for name in names), "--over", work / "in/background.png",
                 "-o", results] for folder in ("in", "in2")]
    processes = [subprocess.Popen(command, stderr=subprocess.PIPE, text=True) for command in commands]
    said = [process.communicate()[1] for process in processes]
    expect(all(process.returncode in (0, 2, 4) for process in processes), *said)
    expect(all("use --force" in line for text in said for line in text.splitlines()), *said)
    owners = {}
    for line in (results / ".frond-results").read_text().splitlines():
        line = json.loads(line)
        owners[line["result"]] = pathlib.Path(line["photo"]).parent.name
    for name in names:
        width = int.from_bytes((results / name).read_bytes()[16:20], "big")
        expect(width == (600 if owners[name] == "in" else 300), name, "is", width, "wide, its list says", owners[name])


def interrupted(work):
    """Ctrl-C while the program waits for a pipe: before the filter's run, and at the third of four results."""
    action, out, matte = work / "a.json", work / "out.png", work / "matte.png"
    os.mkfifo(action)
    command = [*key(work, out), "--matte", matte, "--action", action, "--trace"]
    text = interrupt(command, action, "w", lambda pipe: pipe.write('{"parameters": {}}'))
    expect("abortProc -> true" in text and text.endswith("\nfrond: interrupted; nothing was written\n"), text)
    expect(not out.exists() and not matte.exists(), "something was written")

    photos = copies(work, "a.png", "b.png", "c.png", "d.png")
    for jobs in JOBS:
        results = work / f"results{jobs}"
        results.mkdir()
        os.mkfifo(results / "c.tif")
        command = [*key(work, results, photos), "--format", "tif", "--jobs", jobs]
        # The result is larger than the pipe, so that it waits to be read.
        text = interrupt(command, results / "c.tif", "rb", lambda pipe: pipe.read())
        expect(text == f"frond: interrupted at {work}/in/c.png; 2 of 4 results written\n", text)
        expect(sorted(os.listdir(results)) == [".frond-results", "a.tif", "b.tif", "c.tif"], os.listdir(results))


def special_files(work):
    """A pipe gets the bytes and stays a pipe; a link stays a link, and its file is replaced."""
    out, pipe, link = work / "out.png", work / "pipe.png", work / "link.png"
    expect(run(key(work, out)).returncode == 0)
    os.mkfifo(pipe)
    process = subprocess.Popen(key(work, pipe))
    expect(pipe.read_bytes() == out.read_bytes() and process.wait() == 0, "the pipe got something else")
    expect(pipe.is_fifo(), "the pipe was replaced")
    stdout = subprocess.run(key(work, "/dev/stdout"), stdout=subprocess.PIPE).stdout
    expect(stdout == out.read_bytes(), "standard output got something else")
    command = [work / "frond", "key", "-", "--over", work / "in/background.png", "-o", "-", "--format", "png"]
    streamed = subprocess.run(command, input=(work / "in/photo.png").read_bytes(), capture_output=True)
    expect(streamed.stdout == out.read_bytes() and not streamed.stderr, "the streams gave something else", streamed.stderr)
    # The alpha of a TIFF file, which is looked up apart from its pixels, in a pipe
    cut_out = [work / "frond", "key", work / "in/photo.png", "--transparent", "--format", "tif", "-o", "-", "--record", work / "a.json"]
    cut = subprocess.run(cut_out, stdout=subprocess.PIPE).stdout
    (work / "cut.tif").write_bytes(cut)
    command = [work / "frond", "compare", "--alpha", "-", work / "cut.tif"]
    expect(b"inf dB" in subprocess.run(command, input=cut, stdout=subprocess.PIPE).stdout, "alpha was lost in a pipe")
    again = subprocess.run([*cut_out[:-1], "/dev/null", "--action", "-"], input=(work / "a.json").read_bytes(), stdout=subprocess.PIPE)
    expect(again.stdout == cut, "the action was not read")
    for wrong in ["-", "-o", work / "x"], ["-o", "-"], ["--action", "-", "-o", work / "x.png"]:
        done = run([work / "frond", "key", "-", "--over", work / "in/background.png", *wrong], stdin=subprocess.DEVNULL)
        expect(done.returncode == 2 and done.stdout.count("\n") == 1, done.stdout)
    (work / "old.png").write_text("old")
    link.symlink_to("old.png")
    expect(run(key(work, link)).returncode == 0 and link.is_symlink(), "the link was replaced")
    expect((work / "old.png").read_bytes() == out.read_bytes(), "the link's file was not replaced")


def stream(work):
    """Frames to a reader that goes away, and an interrupt while the input is waited for."""
    size = 64 * 48 * 3
    command = [work / "frond", "stream", "--size", "64x48", "--over", work / "in/background.png"]
    pipes = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE}
    for jobs in JOBS:
        with open("/dev/zero", "rb") as endless:
            process = subprocess.Popen([*command, "--jobs", jobs], stdin=endless, **pipes)
            process.stdout.read(10 * size)
            process.stdout.close()
            expect(process.wait() == 4 and process.stderr.read() == b"", "without a reader:", process.returncode)
        process = subprocess.Popen([*command, "--jobs", jobs], stdin=subprocess.PIPE, **pipes)
        process.stdin.write(bytes(2 * size + 100))
        process.stdin.flush()
        expect(len(process.stdout.read(2 * size)) == 2 * size, "two frames")
        process.send_signal(signal.SIGINT)
        expect(process.wait() == 130 and process.stdout.read() == b"", "interrupted:", process.returncode)
        expect(process.stderr.read() == b"frond: interrupted; 2 frames written\n", "the line of an interrupt")


def lines_on_terminal(command, columns):
    """What the program draws on a terminal of that width."""
    master, slave = pty.openpty()
    termios.tcsetwinsize(slave, (24, columns))
    process = subprocess.Popen(command, stderr=slave)
    os.close(slave)
    text = b""
    try:
        while piece := os.read(master, 4096):
            text += piece
    except OSError:  # the other end is closed
        pass
    lines = [part.rstrip() for part in re.split("[\r\n]+", text.decode()) if part]
    drawn = [line for line in lines if line and not line.startswith("frond: ")]
    width = max(sum(2 if ord(c) > 0x1000 else 1 for c in line) for line in drawn)
    expect(process.wait() == 0 and width < columns, "in", columns, "columns:", ascii(lines))
    return lines


def terminal(work):
    """The progress fits the terminal, and control characters of a name are escaped."""
    (name,) = copies(work, "s\x1b[31m\u00e4\u65e5\u672c-as long as names of photographs are.png")
    shown = name.replace("\x1b", "\\x1B")
    first = {120: "[" + "." * 40 + "]   0% " + shown, 40: "[...........]   0% " + shown[:18], 30: "  0% " + shown[:22], 4: "  0"}
    for columns, line in first.items():
        lines = lines_on_terminal(key(work, work / "out.png", [name]), columns)
        expect(lines[0] == line.rstrip() and len(lines) > 2, "in", columns, "columns:", ascii(lines))
    photos = [name, *copies(work, "b.png")]
    for columns, line in (80, "0 of 2  " + shown), (30, "0 of 2  " + shown[:19]):
        lines = lines_on_terminal(key(work, work / f"results{columns}", photos), columns)
        expect(lines[0] == line and lines[-1].startswith("frond: 2 of 2 results written, "), ascii(lines))
        expect(any(re.match(r"1 of 2, [0-9.]+ s each, \d+ s left", part) for part in lines), ascii(lines))


class Watch:
    """frond watch from the folder `card` to `out`; collects what it prints."""

    def __init__(self, work, *options):
        self.out, self.text = work / "out", ""
        command = [work / "frond", "watch", work / "card", "--over", work / "in/background.png", "-o", self.out, *options]
        self.process = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)

    def expect_line(self, part):
        """Waits for a line with the text."""
        while part not in (line := self.process.stderr.readline()):
            expect(line, "no line with", part, "in:", self.text)
            self.text += line
        self.text += line

    def expect_results(self, content, *names):
        """Waits until the results have the content."""
        for path in (self.out / name for name in names):
            while not path.exists() or path.read_bytes() != content:
                expect(self.process.poll() is None, "ended without", path, self.process.stderr)
                time.sleep(0.01)

    def expect_end(self, code, line):
        """Interrupts the program and returns all that it has printed."""
        self.process.send_signal(signal.SIGINT)
        self.text += self.process.communicate()[1]
        expect(self.process.returncode == code, self.process.returncode, self.text)
        expect(self.text.splitlines()[-1].startswith("frond: " + line), self.text)


def watch(work):
    """Photographs arrive in all ways in a watched folder; a second run goes on where the first one ended."""
    photo, other = (work / "in" / name for name in ("photo.png", "composite.png"))
    keyed, keyed_other = work / "keyed.png", work / "keyed_other.png"
    expect(run(key(work, keyed)).returncode == 0 and run(key(work, keyed_other, ["composite.png"])).returncode == 0)
    keyed, keyed_other = keyed.read_bytes(), keyed_other.read_bytes()
    card = work / "card"
    expect(run([work / "frond", "watch", card, "--transparent", "-o", work / "out"]).returncode == 3)
    card.mkdir()
    expect(run([work / "frond", "watch", card, "--transparent", "-o", card]).returncode == 2)
    for name in "-first a.png", "line\n\u00e4.png":
        shutil.copy(photo, card / name)
    watch = Watch(work, "--sweep", "1")
    watch.expect_results(keyed, "-first a.png", "line\n\u00e4.png")
    bytes = photo.read_bytes()
    with open(card / "half.png", "wb", buffering=0) as file:
        file.write(bytes[:len(bytes) // 2])
        shutil.copy(photo, card / "b.png.part")
        os.rename(card / "b.png.part", card / "b.png")
        os.link(photo, card / "linked.png")
        watch.expect_results(keyed, "b.png", "linked.png")
        file.write(bytes[len(bytes) // 2:])
    shutil.copy(other, card / "b.png")
    (card / "bad.png").write_bytes(bytes[:len(bytes) // 2])
    watch.expect_results(keyed, "half.png")
    watch.expect_results(keyed_other, "b.png")
    os.rename(card, work / "away")
    watch.expect_line("card: cannot be read")
    os.rename(work / "away", card)
    watch.expect_line("card: is back")
    watch.expect_line("bad.png: ")
    shutil.copy(other, card / "bad.png")
    watch.expect_results(keyed_other, "bad.png")
    shutil.copy(photo, card / "bad.PNG")  # its result would have the same name
    watch.expect_line("out/bad.png: exists and is the result of ")
    watch.expect_end(3, "")
    expect(watch.text.count("card/bad.png: ") == 1, watch.text)

    (card / "bad.PNG").unlink()
    shutil.copy(photo, card / "last.png")
    os.utime(card / "last.png", (2e9, 2e9))  # the newest comes last
    before = {file.name: file.stat() for file in watch.out.iterdir() if not file.name.startswith(".")}
    expect(len(before) == 6, *before)
    watch = Watch(work)
    watch.expect_results(keyed, "last.png")
    watch.expect_end(0, "")
    expect(all((watch.out / name).stat() == status for name, status in before.items()), "a result was written again")


def watch_full_disk(work):
    """A watched folder's results wait for room."""
    card, out = work / "card", work / "out"
    for folder in card, out:
        folder.mkdir()
    shutil.copy(work / "in/photo.png", card / "a.png")
    (out / "a.png").symlink_to("/dev/full")
    watch = Watch(work, "--force")
    watch.expect_line("a.png: cannot be written: No space left on device; waiting")
    (out / "a.png").unlink()
    expect(run(key(work, work / "keyed.png")).returncode == 0)
    watch.expect_results((work / "keyed.png").read_bytes(), "a.png")
    watch.expect_end(0, "")
    expect(watch.text.count("No space") == 1, watch.text)


def main(case, frond, module):
    with tempfile.TemporaryDirectory() as name:
        work = pathlib.Path(name)
        work.chmod(0o755)
        for file in frond, module:
            shutil.copy(file, work)
        expect(run([work / "frond", "sample", work / "in", "--size", "600x400", "--depth", "8"]).returncode == 0)
        before = contents(work / "in")
        globals()[case](work)
        after = contents(work / "in")
        expect(all(after.get(name) == content for name, content in before.items()), "an input has changed")


main(*sys.argv[1:])
