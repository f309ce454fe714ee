#!/usr/bin/env python3
"""Measures how soon frond watch has the result of a photograph: watch_latency.py [PHOTOGRAPHS] [WIDTHxHEIGHT].

Writes photographs to a watched folder as cameras and transfer programs do: at once, in two halves with a pause, under
another name that is then changed, and over an older photograph. The moments come from a fixed seed. Prints the seconds
from the closing (or renaming) of the photograph to the name of its result, beside those of frond key. Set FROND for
another program than build/linux/frond.
"""
import os
import pathlib
import random
import shutil
import signal
import statistics
import subprocess
import sys
import tempfile
import time

count = int(sys.argv[1]) if len(sys.argv) > 1 else 24
size = sys.argv[2] if len(sys.argv) > 2 else "6000x4000"
frond = os.environ.get("FROND", pathlib.Path(__file__).resolve().parent.parent / "build/linux/frond")
chance = random.Random(12)


def write(path, pieces):
    with open(path, "wb") as file:
        for piece in pieces:
            file.write(piece)
            file.flush()
            if piece is not pieces[-1]:
                time.sleep(chance.uniform(0.2, 2))


def at_once(path, photo):
    write(path, [photo])


def in_halves(path, photo):
    middle = chance.randrange(len(photo))
    write(path, [photo[:middle], photo[middle:]])


def renamed(path, photo):
    write(f"{path}.part", [photo])
    os.rename(f"{path}.part", path)


def written_at(path):
    """When the file got its name, in seconds; 0: there is none."""
    try:
        return path.stat().st_ctime
    except FileNotFoundError:
        return 0


def drop(way, path, photo, result):
    """The seconds until the result of a photograph."""
    before = written_at(result)
    way(path, photo)
    closed = time.time()
    while written_at(result) == before:
        time.sleep(0.005)
    return written_at(result) - closed


def show(name, seconds):
    print(f"{name:28} {len(seconds):3}  median {statistics.median(seconds):5.2f} s  worst {max(seconds):5.2f} s", flush=True)


def main(work):
    subprocess.run([frond, "sample", work, "--size", size], check=True, stdout=subprocess.DEVNULL)
    camera, folder, results = work / "camera.jpg", work / "in", work / "out"
    over = ["--over", work / "background.png"]
    subprocess.run([frond, "key", work / "photo.png", "--original", *over, "-o", camera], check=True)
    photo = camera.read_bytes()
    print(f"{size}, {len(photo) / 1e6:.1f} MB; seconds from closing to result, load {os.getloadavg()[0]:.1f}")

    alone = []
    for _ in range(5):
        start = time.time()
        subprocess.run([frond, "key", camera, *over, "-o", work / "key.jpg"], check=True)
        alone.append(time.time() - start)
    folder.mkdir()
    watch = subprocess.Popen([frond, "watch", folder, *over, "-o", results, "--format", "jpg"])
    first = drop(at_once, folder / "first.jpg", photo, results / "first.jpg")
    seconds = {at_once: [], in_halves: [], renamed: []}
    replaced = []
    for i in range(count):
        time.sleep(chance.uniform(0.1, 1.5))
        replaces = i > 0 and i % 4 == 3
        name = f"photo{i - 1 if replaces else i}.jpg"
        way = list(seconds)[chance.randrange(3)]
        took = drop(way, folder / name, photo, results / name)
        (replaced if replaces else seconds[way]).append(took)
    watch.send_signal(signal.SIGINT)
    code = watch.wait()
    show("frond key, whole program", alone)
    show("frond watch, the first", [first])
    for way, some in seconds.items():
        if some:
            show("frond watch, " + way.__name__.replace("_", " "), some)
    if replaced:
        show("frond watch, replaced", replaced)
    every = sum(seconds.values(), replaced)
    show("frond watch, all", every)
    gain = statistics.median(every) - statistics.median(alone)
    print(f"frond watch beside frond key: {gain:+.2f} s; exit code {code}")
    shutil.rmtree(results)


with tempfile.TemporaryDirectory() as name:
    main(pathlib.Path(name))
