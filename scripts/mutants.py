#!/usr/bin/env python3
"""Puts one small fault at a time into a copy of the sources and lists the faults that no test notices.

    scripts/mutants.py                       all entries of tests/mutants.txt
    scripts/mutants.py src/engine/simd/      the entries of the files whose paths begin with this
    scripts/mutants.py --only 'blueLogic'    the entries whose text contains the words
    scripts/mutants.py --sample 20           every 20th entry
    scripts/mutants.py --check               only test that every entry still applies

Each job works in its own copy under build/mutants and builds only what the fault changes. First the copy without a
fault must pass. A test that fails, crashes or hangs has noticed the fault. Faults in src/shell and src/ui that the
native tests do not notice are also tried with the dialog's tests under Wine. The whole list takes about an hour.

Exit code 1 when an entry does not apply or does not build, or when a fault survives without a reason in the list.
"""
import argparse
import filecmp
import os
import queue
import re
import shutil
import subprocess
import sys
import threading
import time

TREE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
LIST = os.path.join(TREE, "tests", "mutants.txt")
OPTIONS = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG", "-DFROND_BUILD_BENCH=OFF"]
BUILDS = {  # folder of the build: options of cmake, targets
    "linux": (OPTIONS, ["engine_tests", "frond_tests", "allocation_operators_test"]),
    "win64": (OPTIONS + ["-DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake"], ["dialog_tests"]),
}
SCALAR = ("linux", ["tests/engine_tests", "--variant=scalar", "--gtest_filter=Engine*-*Variants*"])
VARIANTS = ("linux", ["tests/engine_tests", "--gtest_filter=*Variants*:FixedPictures*:EngineWorkers*"])
REST = ("linux", ["tests/frond_tests"])
OPERATORS = ("linux", ["tests/allocation_operators_test"])
DIALOG = ("win64", ["../../scripts/wine64.sh", "tests/dialog_tests.exe", "--gtest_filter=-*EveryFailing*"])
FAILURES = ("win64", ["../../scripts/wine64.sh", "tests/dialog_tests.exe", "--gtest_filter=*EveryFailing*"])
TESTS = [  # by the beginning of the path; in turn until one notices the fault; the first entry that fits counts
    ("src/engine/", [SCALAR, VARIANTS, REST]),
    ("src/support/", [OPERATORS, REST]),
    ("src/plugin/module", [OPERATORS]),
    ("src/shell/", [REST, DIALOG, FAILURES]),
    ("src/plugin/", [REST, DIALOG, FAILURES]),
    ("src/ui/preview", [REST, DIALOG, FAILURES]),
    ("src/ui/", [DIALOG, FAILURES]),
]
TIMEOUT = 300  # seconds for a test command, several times the longest


def Read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def Write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def Places(words, text):
    """The places of the words in the text. Line breaks do not count."""
    return list(re.finditer(r"\s+".join(re.escape(word) for word in words.split()), text))


class Mutant:
    def __init__(self, file, block):
        self.file = file
        part = {mark: [line[1:].strip() for line in block if line[0] == mark] for mark in "@-+#!"}
        self.context, self.old, self.new = ("\n".join(part[mark]) for mark in "@-+")
        self.why, self.reason = (" ".join(part[mark]) for mark in "#!")

    def name(self):
        return f"{self.file}: {' '.join(self.old.split())}  ->  {' '.join(self.new.split()) or '(nothing)'}"

    def apply(self, text):
        """The file's text with the fault; None unless the entry fits in exactly one place."""
        found = Places(self.old, text)
        if self.context:
            contexts = Places(self.context, text)
            found = [m for m in found if len(contexts) == 1 and m.start() >= contexts[0].start()][:1]
        if len(found) != 1 or self.old == self.new or not self.why:
            return None
        return text[: found[0].start()] + self.new + text[found[0].end() :]

    def tests(self):
        tests = next(tests for prefix, tests in TESTS if self.file.startswith(prefix))
        return [DIALOG, FAILURES] if self.file.endswith("_win32.cpp") else tests


def ReadList():
    mutants, file = [], None
    for block in re.split(r"\n\s*\n", Read(LIST)):
        lines = [line for line in block.splitlines() if line.strip()]
        if lines and lines[0].startswith("== "):
            file = lines.pop(0)[3:].strip()
        if any(line[0] == "-" for line in lines):
            mutants.append(Mutant(file, lines))
    return mutants


class Job:
    """A copy of the tree with its builds, which are incremental."""

    def __init__(self, number):
        self.root, self.output = os.path.join(TREE, "build", "mutants", str(number)), ""
        command = ["git", "ls-files", "-co", "--exclude-standard"]
        listed = subprocess.run(command, cwd=TREE, check=True, stdout=subprocess.PIPE, text=True).stdout
        wanted = [name for name in listed.splitlines() if os.path.isfile(os.path.join(TREE, name))]
        for folder, folders, files in os.walk(self.root):
            if folder == self.root and "build" in folders:
                folders.remove("build")
            for path in (os.path.join(folder, file) for file in files):
                if os.path.relpath(path, self.root) not in wanted:
                    os.remove(path)
        for name in wanted:
            source, copy = os.path.join(TREE, name), os.path.join(self.root, name)
            os.makedirs(os.path.dirname(copy), exist_ok=True)
            if not os.path.exists(copy) or not filecmp.cmp(source, copy, shallow=False):
                shutil.copy(source, copy)

    def run(self, command, folder=".", limit=None):
        """None if the command succeeded; otherwise the test that failed, or how the command ended."""
        run = subprocess.Popen(command, cwd=os.path.join(self.root, folder), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            self.output = run.communicate(timeout=limit)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, 9)
            run.communicate()
            return "a hang"
        begun = re.findall(r"\[(?: RUN     |  FAILED ) \] (\S+)", self.output)
        return None if run.returncode == 0 else begun[-1] if begun else f"the end with {run.returncode}"

    def test(self, tests):
        """The first test that fails; None if all pass."""
        for name, command in tests:
            folder, (options, targets) = os.path.join("build", name), BUILDS[name]
            made = os.path.exists(os.path.join(self.root, folder, "build.ninja"))
            if not made and self.run(["cmake", "-S", ".", "-B", folder, "-G", "Ninja"] + options):
                return "does not build"
            if self.run(["cmake", "--build", folder, "--target"] + targets):
                return "does not build"
            failed = self.run(command + ["--gtest_fail_fast"], folder, TIMEOUT)
            if failed:
                return failed
        return None

    def work(self, groups, results):
        while True:
            try:
                group = groups.get_nowait()
            except queue.Empty:
                return
            for mutant in group:
                path, start = os.path.join(self.root, mutant.file), time.time()
                sound = Read(path)
                Write(path, mutant.apply(sound))
                end = self.test(mutant.tests())
                Write(path, sound)
                results.append((mutant, end))
                word = "survived" if end is None else end if end == "does not build" else f"killed by {end}"
                print(f"{len(results):4} {time.time() - start:5.0f} s  {word:60}  {mutant.name()}", flush=True)


def Main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", help="beginnings of paths")
    parser.add_argument("--only", default="", help="words of an entry")
    parser.add_argument("--sample", type=int, default=1, metavar="N", help="only every N-th entry")
    parser.add_argument("--jobs", type=int, default=1, help="number of copies that run at the same time")
    parser.add_argument("--quick", action="store_true", help="only the first test command of a file")
    parser.add_argument("--check", action="store_true", help="only test that every entry applies")
    options = parser.parse_args()
    if options.quick:
        for _, tests in TESTS:
            del tests[1:]

    mutants = [m for m in ReadList() if m.file.startswith(tuple(options.files or [""])) and
               options.only in m.name() + m.why][::options.sample]
    lost = [m for m in mutants if m.apply(Read(os.path.join(TREE, m.file))) is None]
    for mutant in lost:
        print(f"does not apply: {mutant.name()}")
    print(f"{len(mutants)} entries, {len(lost)} of which do not apply", flush=True)
    if options.check or lost or not mutants:
        return 1 if lost or not mutants else 0

    by_file = {}  # one job takes all mutants of a file, so it rebuilds only that file
    for mutant in mutants:
        by_file.setdefault(mutant.file, []).append(mutant)
    groups, results, needed = queue.Queue(), [], []
    for group in by_file.values():
        groups.put(group)
        needed += [test for test in group[0].tests() if test not in needed]
    jobs = [Job(number) for number in range(1, min(options.jobs, len(by_file)) + 1)]
    for job in jobs:
        failed = job.test(needed)
        if failed:
            print(f"without a fault: {failed}\n{job.output[-4000:]}")
            return 1
    threads = [threading.Thread(target=job.work, args=(groups, results)) for job in jobs]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()

    broken = [m for m, end in results if end == "does not build"]
    survivors = [m for m, end in results if end is None]
    for mutant in broken:
        print(f"does not build: {mutant.name()}")
    for mutant in survivors:
        print(f"survivor: {mutant.name()}\n    {mutant.why}\n    {mutant.reason or 'NO REASON'}")
    for mutant in (m for m, end in results if m.reason and end):
        print(f"has a reason to survive but was noticed: {mutant.name()}")
    killed = len(results) - len(survivors) - len(broken)
    print(f"{killed} of {len(results)} killed ({100 * killed / len(results):.1f} %)")
    return 1 if len(results) < len(mutants) or broken or any(not m.reason for m in survivors) else 0


if __name__ == "__main__":
    sys.exit(Main())
