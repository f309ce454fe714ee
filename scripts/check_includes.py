#!/usr/bin/env python3
"""Checks every #include "..." against the table in README.md, section "Where things are".

The table says what each folder may include; a folder may also include itself. A row names only rows above it, so folders
form no circle. Files form none either; x.h and x.cpp count as one file. Prints each fault and then ends with 1.
"""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
faults = []


def Within(path, folders):
    return any(f"{path}/".startswith(f"{folder}/") for folder in folders)


may = {}  # folder: what it may include, folders or files
table = (root / "README.md").read_text(encoding="utf-8").split("## Where things are")[1].split("\n## ")[0]
for first, last in re.findall(r"^\| *(`.*?) *\|.*\| *(.*?) *\|$", table, re.M):
    named = list(may) if "all above" in last else re.findall(r"`(.+?)`", last)
    faults += [f"README.md: {first} names {name}, which is no row above" for name in named if not Within(name, may)]
    may.update({folder: [folder] + named for folder in re.findall(r"`(.+?)`", first)})

includes = {}  # path without suffix: what it includes, likewise
tops = sorted({folder.split("/")[0] for folder in may})
for path in (p for top in tops for p in sorted((root / top).rglob("*")) if p.suffix in (".h", ".cpp", ".rc")):
    name = path.relative_to(root).as_posix()
    folder = max((f for f in may if Within(name, [f])), key=len, default=None)
    if folder is None:
        continue
    for text in re.findall(r'^ *# *include "(.+?)"', path.read_text(encoding="utf-8"), re.M):
        bases = (path.parent, root / "src", root, root / "resources")
        target = next((b / text for b in bases if (b / text).exists()), root / text).relative_to(root).as_posix()
        if not Within(target, may[folder]):
            faults.append(f"{name}: must not include {target}")
        includes.setdefault(name.split(".")[0], set()).add(target.split(".")[0])


def FindCircles(file, way, done):
    if file in way:
        faults.append("circle: " + " -> ".join(way[way.index(file) :] + [file]))
    elif file not in done:
        for target in sorted(includes.get(file, set()) - {file}):
            FindCircles(target, way + [file], done)
        done.add(file)


done = set()
for file in sorted(includes):
    FindCircles(file, [], done)
for fault in faults:
    print(fault)
sys.exit(1 if faults else 0)
