#!/usr/bin/env python3
"""Tests the operation for GEGL in GIMP 2.10, in a window on a virtual X server:

  gimp_check.py              applies it by its dialog and compares the results with frond key
  gimp_check.py --pictures   remakes the pictures of GIMP's windows in docs/images/guide

Opens the sample plate with the background as a second layer, chooses the operation and the background in GIMP's dialog
"GEGL Operation", changes two sliders and exports the layer. The layer must have the same pixels as the picture of frond
key: at 8 and 16 bits, with the background and with transparency.

Needs a build of the preset linux with the operation, and the packages gimp, xdotool, openbox, imagemagick and xvfb.
GIMP runs with a home folder of its own, build/gimp/home. Exit codes: 0, 1 with one line, 77 if a program is missing.
"""
import contextlib
import os
import pathlib
import shutil
import socket
import struct
import subprocess
import sys
import time

NAME = "gimp_check.py"
PROJECT = pathlib.Path(__file__).resolve().parent.parent
FROND = PROJECT / "build/linux/frond"
OPERATION = PROJECT / "build/linux/gegl/marble-twin-plate-rig.so"
WORK = PROJECT / "build/gimp"
SETTINGS = WORK / "home/.config/GIMP/2.10"
# GIMP writes the settings of an applied operation to this file.
APPLIED = SETTINGS / "filters/GimpGegl-marble-twin-plate-rig-config.settings"
IMAGES = PROJECT / "docs/images/guide"
TOOLS = ("gimp", "xdotool", "openbox", "import", "Xvfb")
SKIP = 77
LIMIT = 600  # seconds until a wait has failed
REMOVE_GREEN, ALTER_GREEN = 50, 80  # what the first and the third slider are set to

# In pixels of the screen, with the frames of openbox: the dialog on the left, GIMP's window on the right.
DIALOG_WIDTH, DIALOG_HEIGHT, WINDOW_WIDTH, FRAME_TOP, FRAME = 424, 574, 580, 20, 1

CONFIGURATION = {
    "menurc": '(gtk_accel_path "<Actions>/tools/tools-gegl" "F12")\n',
    "gimprc": "(check-updates no)\n(color-profile-policy keep)\n"
    "(default-view\n    (show-rulers no)\n    (show-layer-boundary no))\n",
    "sessionrc": '(session-info "toplevel"\n    (factory-entry "gimp-single-image-window")\n'
    f"    (position {DIALOG_WIDTH + 2 * FRAME} 0)\n    (size {WINDOW_WIDTH} {DIALOG_HEIGHT})\n    (open-on-exit))\n"
    "(hide-docks yes)\n(single-window-mode yes)\n",
}


def fail(message):
    with contextlib.suppress(subprocess.SubprocessError):
        subprocess.run(["import", "-window", "root", WORK / "failure.png"], check=False, timeout=60)
    sys.exit(f"{NAME}: {message} (build/gimp has the log, and failure.png shows the screen)")


def output(*words):
    """Runs a program and returns the bytes that it prints."""
    words = [str(word) for word in words]
    done = subprocess.run(words, capture_output=True, check=False, timeout=LIMIT)
    if done.returncode:
        fail(f"{' '.join(words)}: exit code {done.returncode}: {done.stderr.decode().strip()}")
    return done.stdout


def run(*words):
    return output(*words).decode()


def wait_until(condition, what, limit=LIMIT):
    """Waits until the condition returns something true, and returns it. `what` is missing when it does not."""
    end = time.monotonic() + limit
    while time.monotonic() < end:
        result = condition()
        if result:
            return result
        time.sleep(0.2)
    return fail(f"GIMP: {what}") if what else None


# ---- GIMP's scripts


class Scripts:
    """GIMP's server for scripts. It answers while a dialog is open."""

    def __init__(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            self.port = free.getsockname()[1]

    def start_command(self):
        return f'(plug-in-script-fu-server RUN-NONINTERACTIVE "127.0.0.1" {self.port} "{WORK}/scripts.log")'

    def is_ready(self):
        try:
            return self.evaluate("(car (gimp-version))")
        except OSError:
            return None

    def evaluate(self, script):
        """The script's value as text. Request: G, length. Answer: G, whether it failed, length."""
        with socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT) as connection:
            request = script.encode()
            connection.sendall(b"G" + struct.pack(">H", len(request)) + request)
            answer = connection.makefile("rb")
            _, failed, size = struct.unpack(">BBH", answer.read(4))
            text = answer.read(size).decode()
        if failed:
            fail(f"GIMP's script {script}: {text}")
        return text

    def open_picture(self, photo, background, has_alpha):
        """Shows the photograph as a layer above the background. Returns the numbers of picture, layer and view."""
        alpha = "(gimp-layer-add-alpha layer)" if has_alpha else ""
        numbers = self.evaluate(f"""
            (let* ((picture (car (gimp-file-load RUN-NONINTERACTIVE "{photo}" "photo.png")))
                   (layer (car (gimp-image-get-active-layer picture)))
                   (below (car (gimp-file-load-layer RUN-NONINTERACTIVE picture "{background}"))))
              (gimp-item-set-name layer "Photograph")
              (gimp-image-insert-layer picture below 0 1)
              (gimp-item-set-name below "Beach")
              (gimp-image-set-active-layer picture layer)
              {alpha}
              (gimp-image-clean-all picture)
              (list picture layer (car (gimp-display-new picture))))""")
        return numbers.strip("()").split()

    def is_changed(self, picture):
        return self.evaluate(f"(car (gimp-image-is-dirty {picture}))") == "1"

    def export(self, picture, layer, file):
        # The colours of transparent pixels are kept.
        self.evaluate(
            f'(file-png-save2 RUN-NONINTERACTIVE {picture} {layer} "{file}" "result" 0 1 0 0 0 0 0 0 1)'
        )


# ---- Windows


def windows():
    """The names of GIMP's visible windows, by their numbers."""
    names = {}
    for window in xdotool("search", "--onlyvisible", "--class", "gimp").split():
        names[window] = xdotool("getwindowname", window)
    return names


def xdotool(*words):
    """What xdotool prints; nothing if no such window exists (any more)."""
    done = subprocess.run(["xdotool", *words], capture_output=True, text=True, check=False, timeout=LIMIT)
    return done.stdout.strip()


def window_named(text):
    return next((window for window, name in windows().items() if text in name), None)


def size_of(window):
    """Width and height."""
    values = dict(line.split("=") for line in run("xdotool", "getwindowgeometry", "--shell", window).split())
    return int(values["WIDTH"]), int(values["HEIGHT"])


def press(*keys):
    run("xdotool", "key", "--delay", 50, *keys)


def focus(window):
    run("xdotool", "windowactivate", window)
    wait_until(lambda: xdotool("getactivewindow") == window, "a window does not get the focus")


def open_dialog():
    """Opens the dialog and chooses the operation. The focus is in the list of operations then. Returns the window."""
    focus(window_named("– GIMP"))
    press("F12")
    dialog = wait_until(lambda: window_named("GEGL Operation"), "the dialog does not open")
    focus(dialog)
    empty = size_of(dialog)
    press("End")
    wait_until(lambda: size_of(dialog) != empty, "the list of operations does not answer")
    # The list is sorted by title, and one entry follows ours in GIMP 2.10.34. That one has no sliders, so its dialog
    # is small. Others could follow in another version.
    for _ in range(6):
        press("Up")
        if wait_until(lambda: size_of(dialog)[1] > 450, None, 30):
            return dialog
    return fail("the list of operations has no Twin Plate Rig")


def choose_background(take_picture):
    """From the list of operations to the button of the aux input, and there to the last layer."""
    before = len(windows())
    press("Tab", "Tab", "Tab", "space")
    wait_until(lambda: len(windows()) > before, "the choice of the aux input does not open")
    press("Down", "Tab", "Tab")
    if take_picture:
        save_picture("gimp-aux")
    press("End", "Return")
    wait_until(lambda: len(windows()) == before, "the choice of the aux input does not close")


def set_sliders():
    """The sliders follow the button of the aux input."""
    press("Tab", *str(REMOVE_GREEN), "Tab", "Tab", *str(ALTER_GREEN), "Tab")


# ---- Pictures


def grab():
    """The two windows, when they have not changed for two seconds: the preview is complete."""
    area = f"{DIALOG_WIDTH + WINDOW_WIDTH + 4 * FRAME}x{DIALOG_HEIGHT + FRAME_TOP + FRAME}+0+0"
    screens = []

    def is_still():
        screens.append(output("import", "-window", "root", "-crop", area, "+repage", "rgb:-"))
        time.sleep(0.5)
        return len(screens) > 4 and len(set(screens[-5:])) == 1

    wait_until(is_still, "the windows keep changing")
    return area


def save_picture(name):
    area = grab()
    file = IMAGES / f"{name}.png"
    run("import", "-window", "root", "-crop", area, "+repage", "-strip", "-define", "png:compression-level=9",
        f"PNG24:{file}")  # fmt: skip
    print(file)


def place_dialog(dialog):
    """To the left of GIMP's window, with the pointer out of the way."""
    run("xdotool", "mousemove", 1279, 1023)
    run("xdotool", "windowsize", dialog, DIALOG_WIDTH, DIALOG_HEIGHT)
    run("xdotool", "windowmove", dialog, 0, 0)


# ---- Cases


def apply_operation(scripts, picture, over, take_pictures):
    dialog = open_dialog()
    if take_pictures:
        place_dialog(dialog)
    if over:
        choose_background(take_pictures)
    else:
        press("Tab", "Tab", "Tab")
    set_sliders()
    if take_pictures:
        save_picture("gimp-dialog")
        press("alt+v")
        save_picture("gimp-split")
    APPLIED.unlink(missing_ok=True)
    press("alt+o")
    wait_until(lambda: scripts.is_changed(picture), "the operation is not applied")
    wait_until(lambda: not window_named("GEGL Operation"), "the dialog does not close")
    wait_until(APPLIED.exists, "another operation was applied")
    for setting in (f"(remove-green {REMOVE_GREEN})", f"(alter-green {ALTER_GREEN})"):
        wait_until(lambda: setting in APPLIED.read_text(), "a slider was not changed")


def check(scripts, depth, over, take_pictures=False):
    plate = WORK / f"plate{depth}"
    photo, background = plate / "photo.png", plate / "background.png"
    result, expected = WORK / "gimp.png", WORK / "frond.png"
    picture, layer, view = scripts.open_picture(photo, background, take_pictures or not over)
    wait_until(lambda: window_named("2 layers"), "the picture is not shown")
    apply_operation(scripts, picture, over, take_pictures)
    scripts.export(picture, layer, result)
    scripts.evaluate(f"(gimp-display-delete {view})")
    wait_until(lambda: not window_named("2 layers"), "the picture does not close")

    target = ["--over", background] if over else ["--transparent"]
    settings = ["--remove-green", REMOVE_GREEN, "--alter-green", ALTER_GREEN]
    run(FROND, "key", photo, *target, *settings, "--quiet", "-o", expected)
    case = f"{depth} bits, {'over the background' if over else 'with transparency'}"
    for channels in [[]] if over else [[], ["--alpha"]]:
        answer = run(FROND, "compare", *channels, result, expected)
        if "no difference" not in answer:
            fail(f"{case}: {result} differs from {expected}: {' '.join(answer.split())}")
    print(f"{case}: the same pixels", flush=True)


def close(scripts, gimp):
    with contextlib.suppress(OSError, struct.error):  # it quits without an answer
        scripts.evaluate("(gimp-quit TRUE)")
    gimp.wait(LIMIT)


def prepare():
    """Plates, and a home folder with the operation and GIMP's settings."""
    shutil.rmtree(WORK, ignore_errors=True)
    operations = WORK / "home/.local/share/gegl-0.4/plug-ins"
    for folder in (operations, SETTINGS):
        folder.mkdir(parents=True)
    shutil.copy(OPERATION, operations)
    for file, text in CONFIGURATION.items():
        (SETTINGS / file).write_text(text)
    for depth in (8, 16):
        run(FROND, "sample", "--size", "540x360", "--depth", depth, WORK / f"plate{depth}")


def start_programs(scripts):
    """openbox gives the windows their frames and the focus. Returns both programs."""
    environment = {name: value for name, value in os.environ.items() if name in ("PATH", "DISPLAY", "TMPDIR")}
    environment |= {"HOME": str(WORK / "home"), "LC_ALL": "C.UTF-8"}
    commands = (["openbox"], ["gimp", "--new-instance", "--no-splash", "--batch", scripts.start_command()])
    programs = []
    for command in commands:
        with open(WORK / f"{command[0]}.log", "wb") as log:
            programs.append(subprocess.Popen(command, env=environment, stdout=log, stderr=log))
    return programs


def main():
    if sys.argv[1:] not in ([], ["--pictures"]):
        print(f"usage: {NAME} [--pictures]", file=sys.stderr)
        sys.exit(2)
    missing = [tool for tool in TOOLS if not shutil.which(tool)]
    if missing:
        print(f"{NAME}: not run: {', '.join(missing)} missing: install gimp xdotool openbox imagemagick xvfb")
        sys.exit(SKIP)
    if "version 2.10" not in output("gimp", "--version").decode():
        print(f"{NAME}: not run: GIMP is not of version 2.10")
        sys.exit(SKIP)
    for file in (FROND, OPERATION):
        if not file.exists():
            sys.exit(f"{NAME}: {file} is missing: build the preset linux with libgegl-dev installed")
    if not os.environ.get("FROND_GIMP_DISPLAY"):  # the user's own display would disturb and be disturbed
        os.environ["FROND_GIMP_DISPLAY"] = "virtual"
        os.execv(PROJECT / "scripts/with_display.sh", ["with_display.sh", __file__, *sys.argv[1:]])
    prepare()
    scripts = Scripts()
    programs = start_programs(scripts)
    try:
        wait_until(scripts.is_ready, "it does not start")
        wait_until(lambda: window_named("GNU Image"), "no window opens")
        if "--pictures" in sys.argv:
            check(scripts, 8, over=True, take_pictures=True)
        else:
            for depth in (8, 16):
                for over in (True, False):
                    check(scripts, depth, over)
        close(scripts, programs[1])
    except (OSError, struct.error, subprocess.SubprocessError) as error:
        fail(f"GIMP does not answer: {error}")
    finally:
        for program in programs:
            program.terminate()
            program.wait()


if __name__ == "__main__":
    main()
