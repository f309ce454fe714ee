#!/bin/sh
# Remakes the pictures of the dialog in docs/images: the dialog of the Windows module on the sample plate, opened by
# frond.exe under Wine. Needs builds of the presets linux and win64 and the packages xdotool and imagemagick.
set -eu
project=$(cd "$(dirname "$0")/.." && pwd)
[ -n "${DISPLAY:-}" ] || exec "$project/scripts/with_display.sh" "$0" "$@"
for tool in xdotool import convert; do
    command -v "$tool" >/dev/null || { echo "screenshots.sh: the command $tool is missing" >&2; exit 1; }
done

work=$project/build/screenshots
images=$project/docs/images
mkdir -p "$work" "$images"
cd "$work"
"$project/build/linux/frond" sample .
# A separate Wine prefix with Wine's fonts gives the dialog the font and size that it has on Windows.
export WINEPREFIX="$work/wine"
"$project/scripts/wine64.sh" reg query 'HKCU\Software' >/dev/null 2>&1
cp -sf /usr/share/wine/fonts/* "$WINEPREFIX/drive_c/windows/Fonts/"

# key NAME OPTION...: opens the dialog with these options of frond key, saves its picture and ends the program.
key() {
    name=$1
    shift
    "$project/scripts/wine64.sh" "$project/build/win64/frond.exe" key photo.png --over background.png -o keyed.png \
        --dialog "$@" >frond.log 2>&1 &
    program=$!
    tries=0
    until window=$(xdotool search --onlyvisible --name MarbleFrondKeeperPlugin | head -n 1) && [ -n "$window" ]; do
        tries=$((tries + 1))
        if [ "$tries" -gt 200 ] || ! kill -0 "$program" 2>/dev/null; then
            cat frond.log >&2
            echo "screenshots.sh: no window opens for $name" >&2
            exit 1
        fi
        sleep 0.2
    done
    sleep 2
    import -window "$window" full.png
    # In true colour: dithering would look like noise of the keying.
    convert full.png -strip -define png:compression-level=9 "PNG24:$images/$name.png"
    kill "$program"
    wait "$program" 2>/dev/null || true
    echo "$images/$name.png"
}

key dialog
key dialog-selected --show-matte --no-blend
key dialog-transparency --transparent
