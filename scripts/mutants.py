#!/usr/bin/env python3
"""Puts one small fault at a time into a copy of the sources and tells which faults no test notices.

    scripts/mutants.py                       all entries of tests/mutants.txt
    scripts/mutants.py src/engine/output     the entries of the files whose names begin so
    scripts/mutants.py --only 'blueLogic'    the entries whose text holds the words
    scripts/mutants.py --check               only tests that every entry still applies

Each job works in a copy of its own under build/mutants, where only what the fault touches is built again. First the
copy without a fault must pass. A test that fails, crashes or hangs has noticed the fault. A fault under src/ui is tried
by the dialog's tests too, under Wine. The whole list takes hours; nothing else needs it.

Gives 1 when an entry does not apply or does not build, or when a fault survives without a reason in the list.
"""
import argparse
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
RELEASE = ["-DCMAKE_BUILD_TYPE=Release", "-DCMAKE_CXX_FLAGS_RELEASE=-O1 -DNDEBUG", "-DFROND_BUILD_BENCH=OFF"]
NATIVE = ["frond_tests", "allocation_operators_test"]
BUILDS = {  # folder of the build: arguments of cmake, targets
    "linux": (RELEASE, NATIVE),
    "win64": (RELEASE + ["-DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake"], ["dialog_tests"]),
}
SCALAR = ["tests/frond_tests", "--form=scalar", "--gtest_filter=Engine*-*Forms*"]
OTHER_ENGINE = ["tests/frond_tests", "--gtest_filter=*Forms*:FixedPictures*"]
BESIDE_ENGINE = ["tests/frond_tests", "--gtest_filter=-Engine*"]
OPERATORS = ["tests/allocation_operators_test"]
DIALOG = ["../../scripts/wine64.sh", "tests/dialog_tests.exe"]
# The tests of a file, in turn until one notices the fault: the first line whose beginning fits. Each is the folder of
# the build and the command.
TESTS = [
    ("src/engine/", [("linux", SCALAR), ("linux", OTHER_ENGINE)]),
    ("src/support/", [("linux", OPERATORS), ("linux", BESIDE_ENGINE)]),
    ("src/shell/", [("linux", BESIDE_ENGINE)]),
    ("src/ui/preview", [("linux", BESIDE_ENGINE), ("win64", DIALOG)]),
    ("src/ui/", [("win64", DIALOG)]),
]
WINDOWS_ONLY = "_win32.cpp"
PATIENCE = 600  # seconds for a test command, many times what any takes


class Mutant:
    def __init__(self, file, block):
        self.file = file
        part = {mark: [line[1:].strip() for line in block if line[0] == mark] for mark in "@-+#!"}
        self.context, self.old, self.new = ("\n".join(part[mark]) for mark in "@-+")
        self.why, self.reason = (" ".join(part[mark]) for mark in "#!")

    def name(self):
        return f"{self.file}: {' '.join(self.old.split())}  ->  {' '.join(self.new.split()) or '(nothing)'}"

    def apply(self, text):
        """The file's text with the fault; None when the entry does not fit it in exactly one place."""
        found = Places(self.old, text)
        if self.context:
            contexts = Places(self.context, text)
            found = [m for m in found if len(contexts) == 1 and m.start() >= contexts[0].start()][:1]
        if len(found) != 1 or self.old == self.new or not self.why:
            return None
        return text[: found[0].start()] + self.new + text[found[0].end() :]


def Places(words, text):
    """Where the words are in the text, however the lines are broken."""
    return list(re.finditer(r"\s+".join(re.escape(word) for word in words.split()), text))


def ReadList():
    mutants, file = [], None
    with open(LIST, encoding="utf-8") as lines:
        for block in re.split(r"\n\s*\n", lines.read()):
            block = [line for line in block.splitlines() if line.strip()]
            if block and block[0].startswith("== "):
                file = block.pop(0)[3:].strip()
            if any(line[0] == "-" for line in block):
                mutants.append(Mutant(file, block))
    return mutants


def Read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def Write(path, text):
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def TestsOf(file):
    tests = next(tests for prefix, tests in TESTS if file.startswith(prefix))
    return [test for test in tests if test[0] != "linux" or not file.endswith(WINDOWS_ONLY)]


class Job:
    """A copy of the tree with its builds."""

    def __init__(self, number):
        self.root = os.path.join(TREE, "build", "mutants", str(number))
        os.makedirs(self.root, exist_ok=True)
        listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=TREE, check=True,
                                stdout=subprocess.PIPE, text=True).stdout.split("\n")
        wanted = {name for name in listed if name and os.path.isfile(os.path.join(TREE, name))}
        for folder, folders, files in os.walk(self.root):
            if folder == self.root:
                folders[:] = [name for name in folders if name != "build"]
            for file in files:
                path = os.path.join(folder, file)
                if os.path.relpath(path, self.root) not in wanted:
                    os.remove(path)
        for name in wanted:  # what has not changed keeps its time, so that it is not built again
            source, target = os.path.join(TREE, name), os.path.join(self.root, name)
            if os.path.exists(target) and open(source, "rb").read() == open(target, "rb").read():
                continue
            os.makedirs(os.path.dirname(target), exist_ok=True)
            shutil.copy(source, target)

    def run(self, command, folder=".", limit=None):
        """None where the command gave 0; otherwise its end, or that it hung."""
        run = subprocess.Popen(command, cwd=os.path.join(self.root, folder), stdin=subprocess.DEVNULL,
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, start_new_session=True)
        try:
            output = run.communicate(timeout=limit)[0].decode(errors="replace")
        except subprocess.TimeoutExpired:
            os.killpg(run.pid, 9)
            run.communicate()
            return "hangs"
        if run.returncode == 0:
            return None
        failed = re.search(r"\[  FAILED  \] (\S+)", output) or re.search(r"\[ RUN      \] (\S+)(?![\s\S]*RUN)", output)
        self.output = output
        return failed.group(1) if failed else f"ends with {run.returncode}"

    def build(self, name):
        """Whether everything that the tests need is built."""
        arguments, targets = BUILDS[name]
        folder = os.path.join("build", name)
        if not os.path.exists(os.path.join(self.root, folder, "build.ninja")):
            if self.run(["cmake", "-S", ".", "-B", folder, "-G", "Ninja"] + arguments) is not None:
                return False
        return self.run(["cmake", "--build", folder, "--target"] + targets) is None

    def test(self, tests):
        """The test that fails; None when all pass."""
        for name, command in tests:
            if not self.build(name):
                return "does not build"
            command = command + ["--gtest_fail_fast"]
            failed = self.run(command, os.path.join("build", name), PATIENCE)
            if failed:
                return failed
        return None

    def try_mutant(self, mutant):
        path = os.path.join(self.root, mutant.file)
        sound = Read(path)
        Write(path, mutant.apply(sound))
        try:
            return self.test(TestsOf(mutant.file))
        finally:
            Write(path, sound)


def Work(job, files, results, lock):
    while True:
        try:
            mutants = files.get_nowait()
        except queue.Empty:
            return
        for mutant in mutants:
            start = time.time()
            end = job.try_mutant(mutant)
            word = end if end == "does not build" else "survived" if end is None else f"killed by {end}"
            with lock:
                results.append((mutant, end))
                print(f"{len(results):4} {time.time() - start:5.0f} s  {word:60}  {mutant.name()}", flush=True)


def Main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("files", nargs="*", default=[""], help="beginnings of file names")
    parser.add_argument("--only", default="", help="words of an entry")
    parser.add_argument("--jobs", type=int, default=1)
    parser.add_argument("--quick", action="store_true", help="only the first test command of a file")
    parser.add_argument("--check", action="store_true")
    options = parser.parse_args()
    if options.quick:
        for _, tests in TESTS:
            del tests[1:]

    mutants = [m for m in ReadList() if m.file.startswith(tuple(options.files or [""])) and
               options.only in m.name() + m.why]
    lost = [m for m in mutants if m.apply(Read(os.path.join(TREE, m.file))) is None]
    for mutant in lost:
        print(f"does not apply: {mutant.name()}")
    print(f"{len(mutants)} entries, {len(lost)} of which do not apply")
    if options.check or lost or not mutants:
        return 1 if lost or not mutants else 0

    groups = {}  # the mutants of a file in one job, which then builds that file alone
    for mutant in mutants:
        groups.setdefault(mutant.file, []).append(mutant)
    jobs = [Job(number) for number in range(1, min(options.jobs, len(groups)) + 1)]
    sound = []
    for file in groups:
        sound += [test for test in TestsOf(file) if test not in sound]
    for job in jobs:
        failed = job.test(sound)
        if failed:
            print(f"without a fault: {failed}\n{job.output[-4000:]}")
            return 1

    files, results, lock = queue.Queue(), [], threading.Lock()
    for group in groups.values():
        files.put(group)
    threads = [threading.Thread(target=Work, args=(job, files, results, lock)) for job in jobs]
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
        print(f"has a reason to survive, and does not: {mutant.name()}")
    killed = len(results) - len(survivors) - len(broken)
    print(f"{killed} of {len(results)} killed ({100 * killed / len(results):.1f} %)")
    return 1 if broken or any(not m.reason for m in survivors) else 0


if __name__ == "__main__":
    sys.exit(Main())
