#!/bin/sh
# Runs a 32-bit Windows program under Wine: wine32.sh PROGRAM.EXE [ARGUMENT...]
#
# Serves itself from the 32-bit Debian that wine32_root.sh has put into build/wine32, or from a 32-bit Wine that
# the machine has. The program sees the project's folder under its own path and nothing else of the machine.
# Without a DISPLAY it gets an X server of its own. Gives 77 where there is no such Wine.
set -eu
project=$(cd "$(dirname "$0")/.." && pwd)
debian=$project/build/wine32

if [ -e "$debian/ready" ]; then
    [ -n "${DISPLAY:-}" ] || exec "$project/scripts/with_display.sh" "$0" "$@"
    asRoot=
    [ "$(id -u)" = 0 ] || asRoot="sudo -n"
    # The mounts live in a name space of their own and end with it: none is left to be deleted through.
    exec $asRoot unshare --mount --propagation private "$project/scripts/wine32_inside.sh" \
        "$project" "$debian" "$PWD" "$DISPLAY" "$@"
elif [ -x /usr/lib/wine/wine ]; then
    [ -n "${DISPLAY:-}" ] || exec "$project/scripts/with_display.sh" "$0" "$@"
    export WINEPREFIX="${WINEPREFIX:-$project/build/wine32-prefix}" WINEARCH=win32
    export WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="mscoree=;mshtml=;winedbg.exe="
    mkdir -p "$WINEPREFIX"
    exec /usr/lib/wine/wine "$@"
fi
echo "wine32.sh: no 32-bit Wine is installed; scripts/wine32_root.sh fetches one" >&2
exit 77
