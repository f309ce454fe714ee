#!/bin/sh
# Runs a 64-bit Windows program under Wine: wine64.sh PROGRAM.EXE [ARGUMENT...]
#
# Wine's prefix is build/wine64 unless WINEPREFIX is set. Starts an X server if DISPLAY is not set. Returns 77 if there
# is no 64-bit Wine.
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
# No offers to download components; a crash ends the program and opens no debugger.
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winedbg.exe=}"
mkdir -p "$WINEPREFIX"
# Without a window manager Wine would wait seconds for one at each window.
if [ ! -e "$WINEPREFIX/unmanaged" ]; then
    "$wine" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1 && touch "$WINEPREFIX/unmanaged"
fi
exec "$wine" "$@"
