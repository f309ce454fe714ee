#!/usr/bin/env python3
"""Measures frond and general tools on the sample plate, for docs/quality.md.

  quality.py table      prints the table
  quality.py commands   prints the commands behind each row
  quality.py strip      remakes docs/images/quality/details.jpg: the same details of several results

Needs a build of the preset linux and Debian's packages ffmpeg, gegl and libvips-tools. Works in build/quality.
"""
import argparse
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FROND = ROOT / "build/linux/frond"
WORK = ROOT / "build/quality"


def frond_commands(s, colour):
    words = [f"--{name} {value}" for name, value in s.items() if name != "blend"]
    if not s["blend"]:
        words.append("--no-blend")
    return [" ".join(["frond key photo.png --over background.png -o out.png --matte matte.png --quiet", *words])]


def ffmpeg_commands(key, pixel_format):
    def commands(s, colour):
        despill = ":".join(f"{name}={s[name]}" for name in ("mix", "expand", "green", "brightness"))
        return [
            "ffmpeg -v error -y -i background.png -i photo.png -filter_complex "
            f"'[1]format={pixel_format},{key}=0x{colour}:{s['similarity']}:{s['blend']},format=rgba,"
            f"despill=green:{despill},split[k][a];[a]alphaextract[m];[0][k]overlay=format=gbrp[o]' "
            "-map '[o]' -frames:v 1 -update 1 out.png -map '[m]' -frames:v 1 -update 1 matte.png"
        ]

    return commands


def gegl_commands(s, colour):
    cut = f"gegl:color-to-alpha color='#{colour}' " + " ".join(
        f"{name}-threshold={s[name]}" for name in ("transparency", "opacity")
    )
    return [
        f"gegl -o cut.png -- gegl:load path=photo.png {cut}",
        "gegl -o out.png -- gegl:load path=background.png gegl:over aux=[ gegl:load path=cut.png ]",
        "vips extract_band cut.png matte.png 3",
    ]


# Start values of both ffmpeg filters. At 0.01, ffmpeg's own default of similarity, almost nothing is keyed.
FFMPEG = {"similarity": 0.1, "blend": 0.0, "mix": 0.5, "expand": 0.0, "green": -1.0, "brightness": 0.0}

# For each tool its start values, and a function from settings and key colour to commands.
TOOLS = {
    "frond": (
        {
            "alter-green": 100,
            "remove-green": 40,
            "select-transparency": 100,
            "scale-transparency": 70,
            "restore-black": 20,
            "background-level": 100,
            "blend": 1,
        },
        frond_commands,
    ),
    "chromakey": (FFMPEG, ffmpeg_commands("chromakey", "yuva444p")),
    "colorkey": (FFMPEG, ffmpeg_commands("colorkey", "rgba")),
    "gegl": ({"transparency": 0.0, "opacity": 1.0}, gegl_commands),
}

# The rows of the table: name, tool, and the settings that differ from the start values.
ROWS = [
    ("`frond`, defaults", "frond", {}),
    (
        "`frond`, searched",
        "frond",
        {
            "alter-green": 79,
            "remove-green": 39,
            "select-transparency": 120,
            "scale-transparency": 61,
            "restore-black": 29,
            "background-level": 96,
            "blend": 0,
        },
    ),
    (
        "`frond`, best found",
        "frond",
        {"alter-green": 90, "select-transparency": 110, "scale-transparency": 50, "blend": 0},
    ),
    ("chromakey, start values", "chromakey", {}),
    (
        "chromakey, searched",
        "chromakey",
        {"similarity": 0.048, "blend": 0.038, "mix": 0.56, "expand": 0, "green": -1.17, "brightness": 1.32},
    ),
    (
        "chromakey, best found",
        "chromakey",
        {"similarity": 0.03, "blend": 0.06, "mix": 0.45, "expand": 0.02, "green": -1.02, "brightness": 1.0},
    ),
    (
        "colorkey, searched",
        "colorkey",
        {"similarity": 0.06, "blend": 0.095, "mix": 0.34, "expand": 0, "green": -1.0, "brightness": 0.73},
    ),
    ("GEGL, defaults", "gegl", {}),
    ("GEGL, searched", "gegl", {"transparency": 0.11, "opacity": 0.51}),
]

# The strip: the truth and these columns; details as crops of the plate: hair, veil, blurred hand, dark glass.
COLUMNS = ["`frond`, defaults", "`frond`, searched", "chromakey, searched", "GEGL, searched"]
DETAILS = ["250x250+930+260", "250x250+560+1080", "250x250+1640+640", "250x250+1080+380"]


def run(command):
    """Runs a command in the working folder and returns its output. `frond` is the build's."""
    words = [str(FROND) if word == "frond" else word for word in shlex.split(command)]
    done = subprocess.run(words, cwd=WORK, capture_output=True, text=True, check=False)
    if done.returncode:
        sys.exit(f"quality.py: {command}\n{done.stderr}")
    return done.stdout


def render_plate():
    """Renders the plate. Returns the mean colour of the backdrop where the true alpha is 0, as six hex digits."""
    for tool in ("ffmpeg", "gegl", "vips"):
        if not shutil.which(tool):
            sys.exit(f"quality.py: {tool} is missing; apt install ffmpeg gegl libvips-tools")
    WORK.mkdir(parents=True, exist_ok=True)
    run("frond sample --size 2400x1600 .")
    run("vips relational_const alpha.png backdrop.v equal 0")  # 255 or 0
    run("vips multiply photo.png backdrop.v product.v")
    colour = ""
    for band in range(3):
        run(f"vips extract_band product.v band.v {band}")
        colour += f"{round(float(run('vips avg band.v')) / float(run('vips avg backdrop.v'))):02x}"
    return colour


def commands_of(row, colour):
    _, tool, settings = row
    start, commands = TOOLS[tool]
    return commands({**start, **settings}, colour)


def key(row, colour):
    """Makes out.png and matte.png."""
    for command in commands_of(row, colour):
        run(command)


def errors(command):
    """The errors that `frond compare` prints, in steps of 255."""
    return [float(value) for value in re.findall(r"([0-9.]+) of 255", run(command))]


def print_table(colour):
    print(f"Backdrop: #{colour}\n")
    print("| | Matte | Picture | Soft band | Green left |\n|---|---|---|---|---|")
    for row in ROWS:
        key(row, colour)
        matte = errors("frond compare matte.png alpha.png --alpha")[0]
        picture = errors("frond compare out.png composite.png --band alpha.png")
        print(f"| {row[0]} | {' | '.join(f'{value:.2f}' for value in [matte, *picture])} |", flush=True)


def print_commands(colour):
    for row in ROWS:
        print(f"# {row[0]}")
        print("\n".join(commands_of(row, colour)))


def make_strip(colour):
    pictures = ["composite.png"]
    for number, row in enumerate(row for row in ROWS if row[0] in COLUMNS):
        key(row, colour)
        pictures.append(f"column{number}.png")
        shutil.copy(WORK / "out.png", WORK / pictures[-1])
    panels = []
    for detail in DETAILS:
        width, height, left, top = re.split("[x+]", detail)
        for picture in pictures:
            panels.append(f"panel{len(panels)}.v")
            run(f"vips extract_band {picture} colour.v 0 --n 3")
            run(f"vips crop colour.v {panels[-1]} {left} {top} {width} {height}")
    run(f"vips arrayjoin '{' '.join(panels)}' strip.v --across {len(pictures)} --shim 6")
    run("vips thumbnail strip.v small.v 1000")
    run(f"vips jpegsave small.v {ROOT}/docs/images/quality/details.jpg --Q 88 --subsample-mode off --strip")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=["table", "commands", "strip"])
    what = parser.parse_args().what
    {"table": print_table, "commands": print_commands, "strip": make_strip}[what](render_plate())


if __name__ == "__main__":
    main()
