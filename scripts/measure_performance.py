#!/usr/bin/env python3
"""Measures the figures of docs/performance.md and prints them as its tables.

  measure_performance.py [TABLE...] [--rounds N] [--photographs N] [--sizes MEGAPIXELS,...]

TABLE is photograph, folder, start, cores, engine, dialog or gimp; without one all are made, which takes 20 minutes.
Needs a build of the preset linux and Debian's packages ffmpeg, gegl and imagemagick. The tools run in turn, round after
round; a figure is the median of the rounds. The folder has one round. Works in build/performance.
"""
import argparse
import json
import os
import pathlib
import platform
import re
import shlex
import shutil
import statistics
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/linux"
FROND = BUILD / "frond"
WORK = ROOT / "build/performance"
CORES = sorted(os.sched_getaffinity(0))

# Width and height for each number of megapixels. Cameras' sizes, 3 to 2.
SIZES = {6: (3000, 2000), 12: (4256, 2832), 24: (6000, 4000), 48: (8448, 5632)}

# The key colour of the sample plate, which the other tools must be given. Every tool writes PNG at level 1.
KEY = "418e48"
FFMPEG_GRAPH = (
    "[0]scale={w}:{h}:force_original_aspect_ratio=increase,crop={w}:{h}[b];"
    f"[1]format=yuva444p,chromakey=0x{KEY}:0.1:0,format=rgba,despill=green[k];[b][k]overlay=format=gbrp[o]"
)
FFMPEG_FILES = {"png": "-compression_level 1", "jpg": "-q:v 2"}
TOOLS = {
    "frond": "frond key photo{mp}.jpg --over background.jpg -o out.{kind} --quiet",
    "ffmpeg chromakey, despill": "ffmpeg -v error -y -i background.jpg -i photo{mp}.jpg -filter_complex '"
    + FFMPEG_GRAPH
    + "' -map '[o]' -frames:v 1 -update 1 {ffmpeg_options} out.{kind}",
    "GEGL color-to-alpha": "gegl -- gegl:load path=background.jpg gegl:scale-size x={w} y={h} gegl:over aux=[ "
    f"gegl:load path=photo{{mp}}.jpg gegl:color-to-alpha color='#{KEY}' transparency-threshold=0.11 "
    "opacity-threshold=0.51 ] gegl:{gegl_save}",
    "ImageMagick -transparent": "convert background.jpg -resize {w}x{h}^ -gravity center -extent {w}x{h} "
    f"'(' photo{{mp}}.jpg -fuzz 15% -transparent '#{KEY}' ')' -composite {{magick_options}} out.{{kind}}",
}
GEGL_SAVE = {"png": "png-save path=out.png compression=1", "jpg": "jpg-save path=out.jpg quality=95"}
MAGICK_OPTIONS = {"png": "-quality 10", "jpg": "-quality 95 -sampling-factor 4:4:4"}


def fail(text):
    sys.exit(f"measure_performance.py: {text}")


def run(command, cores=None):
    """Runs a command in the working folder. Returns seconds by the clock, processor seconds of the user and of the
    system, and the most memory in MB."""
    words = [str(FROND) if word == "frond" else word for word in shlex.split(command)]
    with open(WORK / "log", "w", encoding="utf-8") as log:
        start = time.monotonic()
        child = subprocess.Popen(
            words,
            cwd=WORK,
            stdout=log,
            stderr=log,
            preexec_fn=(lambda: os.sched_setaffinity(0, cores)) if cores else None,
        )
        _, status, usage = os.wait4(child.pid, 0)
        seconds = time.monotonic() - start
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode:
        fail(f"{command}\n{(WORK / 'log').read_text(encoding='utf-8', errors='replace')}")
    return seconds, usage.ru_utime, usage.ru_stime, usage.ru_maxrss / 1024


def medians(commands, rounds):
    """Runs (command, cores) pairs in turn; the median of each figure for each of them."""
    figures = [[] for _ in commands]
    for number in range(rounds):
        print(f"round {number + 1} of {rounds}", file=sys.stderr)
        for row, (command, cores) in zip(figures, commands):
            row.append(run(command, cores))
    return [[statistics.median(values) for values in zip(*row)] for row in figures]


def print_table(head, rows):
    print("| " + " | ".join(head) + " |\n|---|" + "---:|" * (len(head) - 1))
    for row in rows:
        print("| " + " | ".join(str(cell) for cell in row) + " |")
    print(flush=True)


def make_photographs(sizes):
    WORK.mkdir(parents=True, exist_ok=True)
    if not (WORK / "background.jpg").exists():
        run("frond sample --size 1600x1200 scratch")
        run("convert scratch/background.png -quality 95 background.jpg")
    for mp in sizes:
        if not (WORK / f"photo{mp}.jpg").exists():
            run(f"frond sample --size {SIZES[mp][0]}x{SIZES[mp][1]} scratch")
            run(f"convert scratch/photo.png -quality 95 -sampling-factor 4:4:4 photo{mp}.jpg")
    shutil.rmtree(WORK / "scratch", ignore_errors=True)


def tool_command(tool, mp, kind):
    return TOOLS[tool].format(
        mp=mp, kind=kind, w=SIZES[mp][0], h=SIZES[mp][1], ffmpeg_options=FFMPEG_FILES[kind], gegl_save=GEGL_SAVE[kind],
        magick_options=MAGICK_OPTIONS[kind])


def measure_photograph(options):
    make_photographs(options.sizes)
    for tool in TOOLS:
        print(f"    {tool_command(tool, options.sizes[0], 'png')}")
    print()
    for mp in options.sizes:
        rows = []
        cases = [(tool, CORES[:1]) for tool in TOOLS]
        if len(CORES) > 1:
            cases.insert(1, ("frond", CORES))
        results = {
            kind: medians([(tool_command(tool, mp, kind), cores) for tool, cores in cases], options.rounds)
            for kind in ("png", "jpg")
        }
        for index, (tool, cores) in enumerate(cases):
            row = [f"{tool}, {len(cores)} core{'s' * (len(cores) > 1)}"]
            for kind in ("png", "jpg"):
                clock, user, system, memory = results[kind][index]
                row += [f"{clock:.2f}", f"{user:.2f}", f"{system:.2f}", f"{memory * 2**20 / (SIZES[mp][0] * SIZES[mp][1]):.0f}"]
            rows.append(row)
        heads = [f"{kind}: {what}" for kind in ("PNG", "JPEG") for what in ("clock", "user", "system", "bytes/px")]
        print_table([f"{mp} MP", *heads], rows)


def measure_folder(options):
    """One folder of photographs; by the clock."""
    make_photographs([6])
    folder = WORK / "folder"
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir()
    names = [f"folder/{number:03}.jpg" for number in range(options.photographs)]
    for name in names:
        os.link(WORK / "photo6.jpg", WORK / name)
    graph = FFMPEG_GRAPH.format(w=SIZES[6][0], h=SIZES[6][1])
    rows = []
    for kind in ("png", "jpg"):
        frond = f"frond key {' '.join(names)} --over background.jpg -o results --force --format {kind} --quiet --jobs "
        ffmpeg = (
            "ffmpeg -v error -y -loop 1 -i background.jpg -start_number 0 -i folder/%03d.jpg -filter_complex "
            f"'{graph.replace('overlay=', 'overlay=shortest=1:')}' -map '[o]' {FFMPEG_FILES[kind]} results/%03d.{kind}"
        )
        (WORK / "results").mkdir(exist_ok=True)
        commands = [(frond + str(n), CORES[:n]) for n in dict.fromkeys([1, len(CORES)])] + [(ffmpeg, CORES)]
        for (command, cores), (clock, user, system, memory) in zip(commands, medians(commands, 1)):
            rows.append([f"{command.split()[0]} to {kind.upper()}, {len(cores)} core{'s' * (len(cores) > 1)}",
                         f"{clock:.1f}", f"{user + system:.1f}", f"{clock / options.photographs:.2f}", f"{memory:.0f}"])
        shutil.rmtree(WORK / "results")
    shutil.rmtree(folder)
    print_table([f"{options.photographs} photographs of 6 MP, seconds", "clock", "processor", "a photograph", "MB"], rows)


def measure_start(options):
    commands = [("frond --version", None), ("ffmpeg -version", None), ("gegl --help", None), ("convert -version", None)]
    rows = [[c.split()[0], f"{m[0]:.3f}"] for (c, _), m in zip(commands, medians(commands, max(9, options.rounds)))]
    print_table(["Start, seconds", "clock"], rows)


def bench(arguments, rounds):
    """The medians of nanoseconds per pixel of frond_bench, by (stage, picture, size, depth, row)."""
    done = subprocess.run(
        [BUILD / "bench/frond_bench", *arguments, f"--repeat={rounds}", "--benchmark_enable_random_interleaving=true"],
        capture_output=True, text=True, check=False)
    if done.returncode:
        fail(done.stderr)
    times = {}
    for key, value in re.findall(r"^(\S+/.*): ([0-9.]+) ns per pixel$", done.stderr, re.MULTILINE):
        times.setdefault(tuple(key.split("/")), []).append(float(value))
    return {key: statistics.median(values) for key, values in times.items()}


def measure_engine(options):
    """Stages on one core, in each variant."""
    rows = []
    for picture, size in (("plate", 12), ("hair", 2)):
        for depth in (8, 16):
            times = bench([f"--picture={picture}", f"--size={size}", f"--depth={depth}"], options.rounds)
            for stage in ("analysis", "keying", "refinement", "edges", "engine", "run"):
                row = {key[4]: value for key, value in times.items() if key[0] == stage}
                cells = [f"{row[v]:.1f} ({row['scalar'] / row[v]:.1f})" if v in row else "" for v in
                         ("sse2", "avx2", "avx512")]
                rows.append([f"{picture}, {size} MP, {depth} bits: {stage}", f"{row['scalar']:.1f}", *cells])
    print_table(["ns per pixel, one core", "scalar", "sse2", "avx2", "avx512"], rows)


def measure_cores(options):
    """What further cores gain, and a model of more of them.

    The model: a share s of the work stays serial, so that n cores need s + (1 - s) / n of one core's time. s is
    measured: 2 cores need (1 + s) / 2. Nor can a run be faster than the memory. The stage `copy` with all cores moves 8
    samples a pixel; the engine moves about 30 (analysis 9, keying 11, edges 8)."""
    workers = list(dict.fromkeys([1, len(CORES)]))
    rows = []
    for size in (12, 48):
        for depth in (8, 16):
            times = bench(["--stage=engine,unblended,copy", f"--size={size}", f"--depth={depth}", "--variant=avx2",
                           f"--workers={','.join(map(str, workers))}"], options.rounds)
            by_stage = {}
            for key, value in times.items():
                by_stage.setdefault(key[0], {})[" x" in key[4]] = value
            copy = min(by_stage["copy"].values()) * 30 / 8
            for stage in ("engine", "unblended"):
                one, several = by_stage[stage][False], by_stage[stage].get(True, 0)
                n = workers[-1]
                serial = max(0.0, (several / one * n - 1) / (n - 1)) if n > 1 else 0.0
                model = [max(one * (serial + (1 - serial) / cores), copy) for cores in (4, 8, 16)]
                rows.append([f"{stage}, {size} MP, {depth} bits", f"{one:.1f}", f"{several:.1f}",
                             f"{one / several:.2f}" if several else "", *[f"{value:.1f}" for value in model]])
    print_table(["ns per pixel by the clock, avx2", "1 core", f"{workers[-1]} cores", "factor", "4, model", "8, model",
                 "16, model"], rows)


def measure_dialog(options):
    done = subprocess.run(
        [BUILD / "bench/preview_bench", f"--benchmark_repetitions={options.rounds}",
         "--benchmark_report_aggregates_only=true"], capture_output=True, text=True, check=True)
    print(done.stdout)


def measure_gimp(options):
    """A slider's move on 12 MP through GEGL, and the same render by one of GEGL's own operations."""
    folder = subprocess.run(["pkg-config", "--variable=pluginsdir", "gegl-0.4"], capture_output=True, text=True, check=True)
    path = f"{BUILD / 'gegl'}:{folder.stdout.strip()}"
    done = subprocess.run(
        [BUILD / "bench/gegl_bench", f"--benchmark_repetitions={options.rounds}",
         "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
        capture_output=True, text=True, check=True, env={**os.environ, "GEGL_PATH": path})
    times = {}
    for row in json.loads(done.stdout)["benchmarks"]:
        if row["run_type"] == "iteration":
            times.setdefault(tuple(row["run_name"].split("/")[:2]), []).append(row["real_time"])
    names = {"view": "slider's move, shown at a quarter", "whole": "slider's move, every pixel",
             "engine": "of it the engine", "over": "GEGL's own `gegl:over`, every pixel"}
    print_table(["12 MP, milliseconds", "8 bits", "16 bits"],
                [[text, *[f"{statistics.median(times[name, bits]):.0f}" for bits in ("8", "16")]] for name, text in names.items()])


TABLES = {name[8:]: function for name, function in globals().items() if name.startswith("measure_")}


def print_machine():
    model = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text(encoding="utf-8"))
    print(f"{model[1] if model else platform.machine()}, {len(CORES)} cores, {platform.platform()}")
    print(f"Load before: {os.getloadavg()[0]:.2f}")
    for command in ("g++ --version", "ffmpeg -version", "convert -version", "dpkg-query -W gegl libvips42"):
        out = subprocess.run(command.split(), capture_output=True, text=True, check=False).stdout
        print("\n".join(out.splitlines()[: 2 if "dpkg" in command else 1]))
    print(flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tables", nargs="*", metavar="TABLE")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--photographs", type=int, default=100)
    parser.add_argument("--sizes", type=lambda text: [int(mp) for mp in text.split(",")], default=[6, 48])
    options = parser.parse_args()
    for tool in ("ffmpeg", "gegl", "convert"):
        if not shutil.which(tool):
            fail(f"{tool} is missing; apt install ffmpeg gegl imagemagick")
    for table in options.tables:
        if table not in TABLES:
            fail(f"there is no table {table}; tables are {', '.join(TABLES)}")
    if not set(options.sizes) <= set(SIZES):
        fail(f"sizes are {', '.join(map(str, SIZES))} megapixels")
    if not FROND.exists():
        fail("build the preset linux first")
    print_machine()
    for table in options.tables or TABLES:
        TABLES[table](options)


if __name__ == "__main__":
    main()
