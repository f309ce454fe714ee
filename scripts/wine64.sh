#!/bin/sh
# Runs a 64-bit Windows program under Wine: wine64.sh PROGRAM.EXE [ARGUMENT...]
#
# Wine's own folder is build/wine64 unless WINEPREFIX names another. Without a DISPLAY the program gets an X
# server of its own, so that windows can open on a machine without a screen. Gives 77 where there is no Wine.
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)

wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64) || {
    echo "wine64.sh: no 64-bit Wine is installed" >&2
    exit 77
}
[ -n "${DISPLAY:-}" ] || exec "$root/scripts/with_display.sh" "$0" "$@"

export WINEPREFIX="${WINEPREFIX:-$root/build/wine64}"
export WINEARCH=win64
export WINEDEBUG="${WINEDEBUG:--all}"
# No offers to download anything, and a crash ends the program instead of opening a debugger.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winedbg.exe=}"
mkdir -p "$WINEPREFIX"
# Without a window manager each window costs Wine seconds of waiting for one; it is told that there is none.
if [ ! -e "$WINEPREFIX/unmanaged" ]; then
    "$wine" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 && touch "$WINEPREFIX/unmanaged"
fi
exec "$wine" "$@"
