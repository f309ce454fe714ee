#!/usr/bin/env python3
"""Keying judged on the sample plate, for docs/quality.md: frond beside general tools.

  quality.py table            the table, with the settings that stand in LINES below
  quality.py commands         the commands behind its lines
  quality.py strip            docs/images/quality/details.jpg, the same details of each result
  quality.py search TOOL      the best settings of frond, chromakey, colorkey or gegl

--size WIDTHxHEIGHT takes a plate of another size than 2400x1600. --from SETTINGS, as the search prints them, lets a
search begin there, with the small steps alone; --steps 20,40,100 are these, as parts of the range. --goal matte
searches for the best matte instead of the best picture.

Needs a build of the preset linux (FROND names another frond) and Debian's packages: apt install ffmpeg gegl openimageio-tools
"""
import argparse
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
FROND = pathlib.Path(os.environ.get("FROND", ROOT / "build/linux/frond")).resolve()
WORK = ROOT / "build/quality"


class Tool:
    """How a tool is called, and what can be set: for each parameter the first value, the lowest, the highest and
    the decimals that count. `first` is where a search begins."""

    def __init__(self, parameters, commands):
        self.parameters = parameters
        self.commands = commands

    def first(self):
        return {name: value for name, (value, *_) in self.parameters.items()}


def frond_commands(s, colour):
    words = [f"--{name} {value}" for name, value in s.items() if name != "blend"]
    if not s.get("blend", 1):
        words.append("--no-blend")
    return [" ".join(["frond key photo.png --over background.png -o out.png --matte matte.png --quiet", *words])]


def ffmpeg_commands(key, form):
    def commands(s, colour):
        despill = ":".join(f"{name}={s[name]}" for name in ("mix", "expand", "green", "brightness"))
        return [
            "ffmpeg -v error -y -i background.png -i photo.png -filter_complex "
            f"'[1]format={form},{key}=0x{colour}:{s['similarity']}:{s['blend']},format=rgba,"
            f"despill=green:{despill},split[k][a];[a]alphaextract[m];[0][k]overlay=format=gbrp[o]' "
            "-map '[o]' -frames:v 1 -update 1 out.png -map '[m]' -frames:v 1 -update 1 matte.png"
        ]

    return commands


def gegl_commands(s, colour):
    cut = f"gegl:color-to-alpha color='#{colour}' " + " ".join(
        f"{name}-threshold={s[name]}" for name in ("transparency", "opacity")
    )
    over = "gegl:over" if s["linear"] else "svg:src-over"
    return [
        f"gegl -o cut.png -- gegl:load path=photo.png {cut}",
        f"gegl -o out.png -- gegl:load path=background.png {over} aux=[ gegl:load path=cut.png ]",
        "oiiotool -q cut.png --ch A -o matte.png",
    ]


# At 0.01, ffmpeg's own first value of similarity, nearly nothing is keyed.
FFMPEG = {
    "similarity": (0.1, 0.01, 0.51, 3),
    "blend": (0.0, 0.0, 0.5, 3),
    "mix": (0.5, 0.0, 1.0, 2),
    "expand": (0.0, 0.0, 1.0, 2),
    "green": (-1.0, -2.0, 0.0, 2),
    "brightness": (0.0, -1.0, 2.0, 2),
}

TOOLS = {
    "frond": Tool(
        {
            "alter-green": (100, 0, 200, 0),
            "remove-green": (40, 0, 200, 0),
            "select-transparency": (100, 0, 200, 0),
            "scale-transparency": (70, 0, 200, 0),
            "restore-black": (20, 0, 200, 0),
            "background-level": (100, 0, 200, 0),
            "blend": (1, 0, 1, 0),
        },
        frond_commands,
    ),
    "chromakey": Tool(FFMPEG, ffmpeg_commands("chromakey", "yuva444p")),
    "colorkey": Tool(FFMPEG, ffmpeg_commands("colorkey", "rgba")),
    "gegl": Tool(
        {"transparency": (0.0, 0.0, 1.0, 3), "opacity": (1.0, 0.0, 1.0, 3), "linear": (1, 0, 1, 0)}, gegl_commands
    ),
}

# The table's lines: name, tool, and what is set other than at first.
LINES = [
    ("`frond`, as it comes", "frond", ""),
    (
        "`frond`, searched",
        "frond",
        "alter-green=79 remove-green=39 select-transparency=120 scale-transparency=61 restore-black=29 "
        "background-level=96 blend=0",
    ),
    (
        "`frond`, best found",
        "frond",
        "alter-green=90 remove-green=40 select-transparency=110 scale-transparency=50 restore-black=20 "
        "background-level=100 blend=0",
    ),
    ("chromakey, where its search began", "chromakey", ""),
    (
        "chromakey, searched",
        "chromakey",
        "similarity=0.048 blend=0.038 mix=0.56 expand=0 green=-1.17 brightness=1.32",
    ),
    (
        "chromakey, best found",
        "chromakey",
        "similarity=0.03 blend=0.06 mix=0.45 expand=0.02 green=-1.02 brightness=1.0",
    ),
    (
        "colorkey, searched",
        "colorkey",
        "similarity=0.06 blend=0.095 mix=0.34 expand=0 green=-1.0 brightness=0.73",
    ),
    ("GEGL, as it comes", "gegl", ""),
    ("GEGL, searched", "gegl", "transparency=0.11 opacity=0.51 linear=1"),
]

# The strip's columns, the truth before them, and its rows: hair, veil, blurred hand, dark glass (of 2400x1600).
COLUMNS = ["`frond`, as it comes", "`frond`, searched", "chromakey, searched", "GEGL, searched"]
DETAILS = ["250x250+930+260", "250x250+560+1080", "250x250+1640+640", "250x250+1080+380"]


def run(command):
    """Runs a command in the working folder as it is shown, `frond` being the build's."""
    words = [str(FROND) if word == "frond" else word for word in shlex.split(command)]
    done = subprocess.run(words, cwd=WORK, capture_output=True, text=True, check=False)
    if done.returncode:
        sys.exit(f"quality.py: {command}\n{done.stderr}")
    return done.stdout


def render_plate(size):
    """Renders the plate; returns the backdrop's mean colour, as the true alpha tells it, in six hex digits."""
    for tool in ("ffmpeg", "gegl", "oiiotool"):
        if not shutil.which(tool):
            sys.exit(f"quality.py: {tool} is missing; apt install ffmpeg gegl openimageio-tools")
    WORK.mkdir(parents=True, exist_ok=True)
    run(f"frond sample --size {size} .")
    text = run(
        "oiiotool photo.png alpha.png --mulc 255 --clamp:max=1 --mulc -1 --addc 1 --ch 0,0,0 -o backdrop.tif --mul "
        "--resize:filter=box 1x1 backdrop.tif --resize:filter=box 1x1 --div --printstats"
    )
    means = re.search(r"Stats Avg: (\S+) (\S+) (\S+)", text).groups()
    return "".join(f"{round(float(mean) * 255):02x}" for mean in means)


def key(tool, settings, colour):
    """Makes out.png and matte.png."""
    for command in tool.commands(settings, colour):
        run(command)


def figures(command):
    return [float(value) for value in re.findall(r"([0-9.]+) of 255", run(command))]


def matte_error():
    """Of matte.png, in steps of 255."""
    return figures("frond compare matte.png alpha.png --alpha")[0]


def picture_errors():
    """Of out.png: its error, that in the soft band, and the green left there, in steps of 255."""
    return figures("frond compare out.png composite.png --band alpha.png")


def search(tool, colour, goal, start, steps):
    """One parameter after the other, the others at their best so far: rounds over the whole range in ten steps, then
    by ever smaller steps (parts of the range) up and down for as long as they gain; each kind until a round gains
    nothing. Returns the settings and the number of trials."""
    tried = {}

    def score(settings):
        trial = tuple(settings.values())
        if trial not in tried:
            key(tool, settings, colour)
            tried[trial] = matte_error() if goal == "matte" else sum(picture_errors())
        return tried[trial]

    best = {**tool.first(), **start}

    def improves(name, value):
        _, low, high, decimals = tool.parameters[name]
        value = round(min(max(value, low), high), decimals or None)
        if score({**best, name: value}) >= score(best):
            return False
        best[name] = value
        return True

    def report():
        print(f"{score(best):8.4f} {len(tried):4} {words_of(best)}", file=sys.stderr, flush=True)

    gained = not start
    while gained:
        gained = False
        for name, (_, low, high, _) in tool.parameters.items():
            for tenth in range(11):
                gained |= improves(name, low + (high - low) * tenth / 10)
        report()
    for share in (1 / int(step) for step in steps.split(",")):
        gained = True
        while gained:
            gained = False
            for name, (_, low, high, decimals) in tool.parameters.items():
                step = max((high - low) * share, 10.0**-decimals)
                for way in (step, -step):
                    while improves(name, best[name] + way):
                        gained = True
            report()
    return best, len(tried)


def words_of(settings):
    return " ".join(f"{name}={value:g}" for name, value in settings.items())


def settings_of(words):
    pairs = (word.split("=") for word in words.split())
    return {name: float(value) if "." in value else int(value) for name, value in pairs}


def key_line(line, colour):
    _, tool, words = line
    settings = {**TOOLS[tool].first(), **settings_of(words)}
    key(TOOLS[tool], settings, colour)


def print_table(colour):
    print(f"Backdrop: #{colour}\n")
    print("| | Matte | Picture | Soft band | Green left |\n|---|---|---|---|---|")
    for line in LINES:
        key_line(line, colour)
        figures = " | ".join(f"{value:.2f}" for value in [matte_error(), *picture_errors()])
        print(f"| {line[0]} | {figures} |", flush=True)


def print_commands(colour):
    for name, tool, words in LINES:
        print(f"# {name}")
        print("\n".join(TOOLS[tool].commands({**TOOLS[tool].first(), **settings_of(words)}, colour)))


def make_strip(colour):
    pictures = ["composite.png"]
    for number, line in enumerate(line for line in LINES if line[0] in COLUMNS):
        key_line(line, colour)
        pictures.append(f"column{number}.png")
        shutil.copy(WORK / "out.png", WORK / pictures[-1])
    panels = " ".join(f"{picture} --ch 0,1,2 --cut {detail}" for detail in DETAILS for picture in pictures)
    run(
        f"oiiotool -q {panels} --mosaic:pad=6 {len(pictures)}x{len(DETAILS)} --resize 1000x0 -d uint8 "
        f"--attrib jpeg:subsampling 4:4:4 --compression jpeg:88 -o {ROOT}/docs/images/quality/details.jpg"
    )


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("what", choices=["table", "commands", "strip", "search"])
    parser.add_argument("tool", nargs="?", choices=list(TOOLS))
    parser.add_argument("--size", default="2400x1600")
    parser.add_argument("--from", dest="start", default="")
    parser.add_argument("--steps", default="20,40,100")
    parser.add_argument("--goal", choices=["picture", "matte"], default="picture")
    options = parser.parse_args()
    global WORK
    WORK = WORK / f"{options.what}-{options.tool}-{options.goal}-{options.size}"
    colour = render_plate(options.size)
    if options.what == "search":
        best, trials = search(TOOLS[options.tool], colour, options.goal, settings_of(options.start), options.steps)
        key(TOOLS[options.tool], best, colour)
        print(f"{words_of(best)}\nafter {trials} trials: {matte_error()} {picture_errors()}")
    else:
        {"table": print_table, "commands": print_commands, "strip": make_strip}[options.what](colour)


if __name__ == "__main__":
    main()
