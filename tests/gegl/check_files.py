#!/usr/bin/env python3
"""Compares the gegl command with frond on picture files: check_files.py FROND MODULE FOLDER_OF_OPERATION

Both give the same samples at 8 and 16 bits, with a background and without, with each flag, and for a photograph that
is cropped, has transparency or is of another size than its background.
"""
import itertools
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

FROND, MODULE, FOLDER = (pathlib.Path(path).resolve() for path in sys.argv[1:4])
SKIP = 77
FLAGS = {
    "": "",
    "--no-blend": "blend=false",
    "--remove-green 17 --select-transparency 130": "remove-green=17 select-transparency=130",
    "--blue": "blue=true",
    "--show-matte": "show-matte=true",
    "--show-matte --no-blend": "show-matte=true blend=false",
}


def run(*words):
    done = subprocess.run([str(word) for word in words], capture_output=True, text=True, check=False)
    if done.returncode:
        sys.exit(f"{' '.join(map(str, words))}: exit code {done.returncode}\n{done.stdout}{done.stderr}")


def gegl(photo, background, properties, out):
    words = ["--", "gegl:load", f"path={photo}", "marble:twin-plate-rig", *properties.split()]
    if background:
        words += ["aux=[", "gegl:load", f"path={background}", "]"]
    run("gegl", *words, "gegl:png-save", f"path={out}", f"bitdepth={16 if '16' in photo else 8}")


def samples(picture):
    run("vips", "rawsave", picture, "samples.raw")
    return pathlib.Path("samples.raw").read_bytes()


def main():
    if not shutil.which("gegl") or not shutil.which("vips"):
        print("the programs gegl and vips are not installed")
        sys.exit(SKIP)
    plugins = subprocess.run(["pkg-config", "--variable=pluginsdir", "gegl-0.4"], capture_output=True, text=True, check=True)
    os.environ["GEGL_PATH"] = f"{FOLDER}:{plugins.stdout.strip()}"
    os.environ["FROND_MODULE"] = str(MODULE)
    with tempfile.TemporaryDirectory() as scratch:
        os.chdir(scratch)
        different = compare_all()
        os.chdir("/")
    sys.exit(different != 0)


def compare_all():
    """Compares every case. Returns the number of those that differ."""
    for depth in (8, 16):
        run(FROND, "sample", "--size", "240x160", "--depth", depth, f"plate{depth}")
        run("vips", "crop", f"plate{depth}/photo.png", f"part{depth}.png", 31, 7, 150, 101)
        run("vips", "crop", f"plate{depth}/background.png", f"under{depth}.png", 0, 0, 150, 101)
        run("vips", "bandjoin", f"plate{depth}/photo.png plate{depth}/alpha.png", f"sheer{depth}.png")
    different = 0
    for depth, over, (options, properties) in itertools.product((8, 16), (True, False), FLAGS.items()):
        pairs = [(f"plate{depth}/photo.png", f"plate{depth}/background.png")]
        if not options:
            pairs += [(f"part{depth}.png", f"under{depth}.png"), (f"sheer{depth}.png", f"plate{depth}/background.png")]
        for photo, background in pairs:
            target = ["--over", background] if over else ["--transparent"]
            run(FROND, "key", photo, *target, *options.split(), "-o", "frond.png", "--quiet")
            gegl(photo, background if over else None, properties, "gegl.png")
            if over:  # both are opaque; gegl writes that, too
                run("vips", "extract_band", "gegl.png", "colour.png", 0, "--n", 3)
                shutil.move("colour.png", "gegl.png")
            if samples("gegl.png") != samples("frond.png"):
                different += 1
                print(f"{photo}, {'over a background' if over else 'transparent'}, {options or 'defaults'}: differs")
    return different


if __name__ == "__main__":
    main()
