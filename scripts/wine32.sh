#!/bin/sh
# Runs a 32-bit Windows program under Wine: wine32.sh PROGRAM.EXE [ARGUMENT...]
#
# Serves itself from the 32-bit Debian that wine32_root.sh has put into build/wine32, as root or through sudo, or
# else from a 32-bit Wine that the machine has. In that Debian the program sees build/win32 under its own path and
# nothing else of the machine; what it writes stays below build/wine32. Without a DISPLAY it gets an X server of
# its own. Gives 77 where there is no such Wine.
set -eu
project=$(cd "$(dirname "$0")/.." && pwd)
debian=$project/build/wine32

if [ ! -e "$debian/ready" ] && [ ! -x /usr/lib/wine/wine ]; then
    echo "wine32.sh: no 32-bit Wine is installed; scripts/wine32_root.sh fetches one" >&2
    exit 77
fi
[ -n "${DISPLAY:-}" ] || exec "$project/scripts/with_display.sh" "$0" "$@"

WINEDEBUG="${WINEDEBUG:--all}"
# No offers to download anything, and a crash ends the program instead of opening a debugger.
WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winedbg.exe=}"
# Without a window manager each window costs Wine seconds of waiting for one; it is told that there is none.
unmanaged='mkdir -p "$WINEPREFIX" && { [ -e "$WINEPREFIX/unmanaged" ] || {
    /usr/lib/wine/wine reg add "HKCU\Software\Wine\X11 Driver" /v Managed /d N /f >/dev/null 2>&1
    touch "$WINEPREFIX/unmanaged"
}; }'

if [ -e "$debian/ready" ]; then
    asRoot=
    # Who started sudo cannot stop what runs under it; a program that hangs is ended from inside.
    [ "$(id -u)" = 0 ] || asRoot="sudo -n timeout 600"
    # Linked, not mounted: nothing is left behind, and a deleted build/wine32 takes nothing else with it.
    $asRoot mkdir -p "$debian$PWD" "$debian$project/build"
    $asRoot cp -alf "$project/build/win32" "$debian$project/build"
    exec $asRoot chroot "$debian" /usr/bin/env -i PATH=/usr/bin:/bin HOME=/root LANG=C.UTF-8 \
        DISPLAY="$DISPLAY" WINEDEBUG="$WINEDEBUG" WINEDLLOVERRIDES="$WINEDLLOVERRIDES" \
        WINEPREFIX=/root/wine WINEARCH=win32 \
        /bin/sh -c 'cd "$1" && shift && '"$unmanaged"' && exec /usr/lib/wine/wine "$@"' sh "$PWD" "$@"
fi

export WINEDEBUG WINEDLLOVERRIDES WINEPREFIX="${WINEPREFIX:-$project/build/wine32-prefix}" WINEARCH=win32
eval "$unmanaged"
exec /usr/lib/wine/wine "$@"
