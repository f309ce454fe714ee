#!/usr/bin/env python3
"""The manual page and the completion have the options of --help: check_manual.py FROND.

The completion runs in an interactive bash, where `frond` is a function that prints its arguments.
"""
import os
import pathlib
import pty
import re
import shutil
import subprocess
import sys
import tempfile

FROND = pathlib.Path(sys.argv[1]).resolve()
OPTION = re.compile(r"(?<![\w-])-(?:[a-z]\b|-[A-Za-z][A-Za-z-]*)")
# Typed text, with a tab for each completion, and the words that bash makes of it.
TYPED = {
    "samp\tp\t": ["sample", "pictures of a day/"],  # a folder, not the file "plain.png"
    "key --form\tweb\t": ["key", "--format", "webp"],
    "key --depth=1\t": ["key", "--depth=16"],
    "key pl\t--ov\tpictures\\ of\\ a\\ day/be\t": ["key", "plain.png", "--over", "pictures of a day/beach party.jpg"],
    "key --quality pl\t": ["key", "--quality", "pl"],  # a number is no file
}


def expect(condition, *what):
    if not condition:
        sys.exit("check_manual.py: " + " ".join(map(str, what)))


def frond(*arguments):
    return subprocess.run([FROND, *arguments], stdout=subprocess.PIPE, text=True, check=True).stdout


def entries(text):
    """The options that begin an entry of --help or, without its escapes, of the manual page."""
    return sorted(OPTION.findall(" ".join(re.findall(r"^(?:  (?=-)|\.TP\n(?=-))(.*?)(?:  |$)", text, re.M))))


def check_texts(page, completion):
    roff = re.sub(r"\\f[BIR]", "", page).replace("\\-", "-")
    sections = re.split(r'^\.S[SH] "?(?:frond )?([\w]+).*\n', roff, flags=re.M)
    sections = dict(zip(sections[1::2], sections[2::2]))
    top = frond("--help")
    commands = re.findall(r"^  (\w+) ", re.search(r"Commands:\n(.*?)\n\n", top, re.S)[1], re.M)
    expect(len(commands) >= 5 and "manual" not in commands, commands)
    expect(entries(sections["OPTIONS"]) == entries(top) == ["--help", "--version", "-h"], "program", entries(top))
    for command in commands:
        text = frond(command, "--help")
        options = entries(text)
        expect(options and max(map(len, (top + text).splitlines())) <= 80, command, text)
        expect(entries(sections[command]) == [o for o in options if o not in ("--help", "-h")], "page of", command)
        words = re.search(rf"\*:{command}\)\n +options='(.*)'", completion)[1].split()
        expect(sorted(words) == options, "completion of", command, words)
    if shutil.which("groff"):
        lint = subprocess.run(["groff", "-ww", "-man", "-Tutf8", "-z"], input=page, capture_output=True, text=True)
        expect(lint.stderr == "", lint.stderr)


def complete(folder, typed):
    """The words of the command line that an interactive bash makes of the typed text."""
    pid, terminal = pty.fork()
    if pid == 0:
        os.chdir(folder)
        os.environ.update(PS1="ready> ", TERM="dumb", INPUTRC="/dev/null", HISTFILE="")
        os.execlp("bash", "bash", "--norc", "--noprofile", "-i")

    def wait_for(text):
        seen = b""
        while text not in seen:
            seen += os.read(terminal, 4096)
        return seen

    wait_for(b"ready> ")
    os.write(terminal, b". ./frond.bash; frond() { printf '<%s>' \"$@\" end; }\n")
    wait_for(b"ready> ")
    os.write(terminal, b"frond " + typed.encode() + b"\n")
    words = re.findall(r"<([^>]*)>", wait_for(b"<end>").decode().splitlines()[-1])
    os.close(terminal)
    os.waitpid(pid, 0)
    return words[:-1]


def main():
    completion = frond("manual", "completion")
    check_texts(frond("manual", "page"), completion)
    with tempfile.TemporaryDirectory() as place:
        folder = pathlib.Path(place)
        (folder / "pictures of a day").mkdir()
        for name in "plain.png", "pictures of a day/beach party.jpg":
            (folder / name).touch()
        (folder / "frond.bash").write_text(completion)
        for typed, words in TYPED.items():
            found = complete(folder, typed)
            expect(found == words, repr(typed), "became", found)


main()
