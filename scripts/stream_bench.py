#!/usr/bin/env python3
"""Measures frond stream beside ffmpeg's chromakey, for docs/frond.md.

  stream_bench.py speed     frames a second in a pipe between two ffmpeg, and the keyer's processor time per frame
  stream_bench.py flicker   how much the matte of a still scene changes from frame to frame under camera noise

Needs a build of the preset linux and Debian's package ffmpeg. Works in build/stream. The pictures and the noise are the
same in every run.
"""
import argparse
import math
import os
import pathlib
import re
import shlex
import shutil
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
FROND = ROOT / "build/linux/frond"
WORK = ROOT / "build/stream"

# The mean colour of the plate's backdrop, and the settings of docs/quality.md that a search found.
KEY = "chromakey=0x418e48:0.048:0.038"
DESPILL = "despill=green:mix=0.56:expand=0:green=-1.17:brightness=1.32"
RAW = "-f rawvideo -pix_fmt rgb24"

SPEED_SIZE, SPEED_FRAMES, ROUNDS = "1920x1080", 100, 2
# The camera's noise is Gaussian; its measured deviation is printed.
FLICKER_SIZE, FLICKER_FRAMES, NOISE = "960x540", 25, "noise=all_seed=1:alls=5:allf=t"


def words(command):
    return [str(FROND) if word == "frond" else word for word in shlex.split(command)]


def run(command, **options):
    return subprocess.run(words(command), cwd=WORK, check=True, **options).stdout


def render_plate(size):
    if not shutil.which("ffmpeg"):
        sys.exit("stream_bench.py: ffmpeg is missing; apt install ffmpeg")
    WORK.mkdir(parents=True, exist_ok=True)
    run(f"frond sample --size {size} .")
    version = re.match(r"ffmpeg version (\S+)", run("ffmpeg -version", stdout=subprocess.PIPE, text=True))[1]
    print(f"ffmpeg {version}, {os.cpu_count()} processors, load {os.getloadavg()[0]:.1f}\n")


def run_pipe(commands):
    """Runs commands in a pipe. Returns the seconds by the clock, and of each command's processor time."""
    start, source, processes = time.monotonic(), None, []
    for command in commands:
        last = len(processes) == len(commands) - 1
        process = subprocess.Popen(words(command), cwd=WORK, stdin=source, stdout=None if last else subprocess.PIPE)
        if source:
            source.close()
        source = process.stdout
        processes.append(process)
    used = []
    for process in processes:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode:
            sys.exit(f"stream_bench.py: {shlex.join(map(str, process.args))} ended with {process.returncode}")
        used.append(usage.ru_utime + usage.ru_stime)
    return time.monotonic() - start, used


def print_speed():
    render_plate(SPEED_SIZE)
    size = f"-s {SPEED_SIZE}"
    source = f"ffmpeg -v error -i photo.png -vf loop=loop=-1:size=1,format=rgb24 -frames:v {SPEED_FRAMES} {RAW} -"
    sink = f"ffmpeg -v error {RAW} {size} -i - -f null -"
    stream = f"frond stream --size {SPEED_SIZE} --over background.png"

    def chromakey(key_format, overlay_format):
        return (
            f"ffmpeg -v error {RAW} {size} -i - -i background.png -filter_complex "
            f"'[0]format={key_format},{KEY},format=rgba,{DESPILL}[k];[1]loop=loop=-1:size=1[b];"
            f"[b][k]overlay=format={overlay_format}:shortest=1,format=rgb24' {RAW} -"
        )

    keyers = {
        "`frond stream`": stream,
        "`--analyse every`": f"{stream} --analyse every",
        "`--no-blend`": f"{stream} --no-blend",
        "`--transparent`": f"{stream} --transparent",
        "chromakey, despill, overlay": chromakey("yuva444p", "gbrp"),
        "the same at 4:2:0": chromakey("yuva420p", "yuv420"),
        "no keyer (`cat`)": "cat",
    }
    figures = {name: [] for name in keyers}
    for _ in range(ROUNDS):
        for name, command in keyers.items():
            rgba = sink.replace("rgb24", "rgba") if "--transparent" in command else sink
            seconds, used = run_pipe([source, command, rgba])
            figures[name].append((seconds, used[1]))
    print("| Keyer | Frames a second | Processor ms a frame |\n|---|---:|---:|")
    for name, rounds in figures.items():
        clock, used = (min(column) for column in zip(*rounds))
        print(f"| {name} | {SPEED_FRAMES / clock:.0f} | {1000 * used / SPEED_FRAMES:.1f} |")


def alphas(frames, command):
    """The planes of alpha that a command makes of frames."""
    pixels = len(frames) // FLICKER_FRAMES // 3
    out = run(command, input=frames, stdout=subprocess.PIPE)
    alpha = out[3::4] if len(out) == 4 * pixels * FLICKER_FRAMES else out
    return [alpha[i * pixels : (i + 1) * pixels] for i in range(FLICKER_FRAMES)]


def deviation(values):
    """The standard deviation of whole numbers."""
    total, squares, count = sum(values), sum(value * value for value in values), len(values)
    return math.sqrt(count * squares - total * total) / count


def print_flicker():
    render_plate(FLICKER_SIZE)
    frames = run(
        f"ffmpeg -v error -i photo.png -vf loop=loop=-1:size=1,format=gbrp,{NOISE},format=rgb24 "
        f"-frames:v {FLICKER_FRAMES} {RAW} -",
        stdout=subprocess.PIPE,
    )
    size = len(frames) // FLICKER_FRAMES
    rows = [frames[start : start + size // 20] for start in range(0, len(frames), size)]
    print(f"Camera noise: {statistics.fmean(deviation(values) for values in zip(*rows)):.2f}\n")
    truth = run("ffmpeg -v error -i alpha.png -f rawvideo -pix_fmt gray -", stdout=subprocess.PIPE)
    parts = {
        "Backdrop": [i for i, a in enumerate(truth) if a == 0],
        "Soft band": [i for i, a in enumerate(truth) if 5 < a < 250],
        "Subject": [i for i, a in enumerate(truth) if a == 255],
    }
    stream = f"frond stream --size {FLICKER_SIZE} --transparent"
    chromakey = f"ffmpeg -v error {RAW} -s {FLICKER_SIZE} -i - -vf format=yuva444p,{KEY},alphaextract -f rawvideo -pix_fmt gray -"
    keyers = {
        "`frond stream`": stream,
        "`--analyse every`": f"{stream} --analyse every",
        "`--analyse every --no-blend`": f"{stream} --analyse every --no-blend",
        "chromakey, searched": chromakey,
        "chromakey, start values": chromakey.replace("0.048:0.038", "0.1:0.0"),
    }
    print(f"| Keyer | {' | '.join(parts)} | Mean of the soft band |\n|---|{'---:|' * 4}")
    for name, command in keyers.items():
        planes = alphas(frames, command)
        over_time = [deviation(values) for values in zip(*planes)]
        means = [statistics.fmean(plane[i] for i in parts["Soft band"]) for plane in planes]
        figures = [f"{statistics.fmean(over_time[i] for i in part):.2f}" for part in parts.values()]
        print(f"| {name} | {' | '.join(figures)} | {statistics.pstdev(means):.3f} |", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=["speed", "flicker"])
    {"speed": print_speed, "flicker": print_flicker}[parser.parse_args().what]()


if __name__ == "__main__":
    main()
