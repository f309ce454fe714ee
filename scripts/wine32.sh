#!/bin/sh
# Runs a 32-bit Windows program under Wine: wine32.sh PROGRAM.EXE [ARGUMENT...]
#
# Uses the 32-bit Debian that wine32_root.sh installs in build/wine32, as root or with sudo, or else the machine's own
# 32-bit Wine. In that Debian the program sees only build/win32, under its usual path, and writes only below
# build/wine32. Starts an X server if DISPLAY is not set. Returns 77 if there is no 32-bit Wine.
set -eu
project=$(cd "$(dirname "$0")/.." && pwd)
debian=$project/build/wine32

if [ ! -e "$debian/ready" ] && [ ! -x /usr/lib/wine/wine ]; then
    echo "wine32.sh: no 32-bit Wine is installed; scripts/wine32_root.sh installs one" >&2
    exit 77
fi
[ -n "${DISPLAY:-}" ] || exec "$project/scripts/with_display.sh" "$0" "$@"

WINEDEBUG="${WINEDEBUG:--all}"
# No offers to download components; a crash ends the program and opens no debugger.
WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winedbg.exe=}"
# Without a window manager Wine would wait seconds for one at each window.
unmanaged='mkdir -p "$WINEPREFIX" && { [ -e "$WINEPREFIX/unmanaged" ] || {
    /usr/lib/wine/wine reg add "HKCU\Software\Wine\X11 Driver" /v Managed /d N /f >/dev/null 2>&1
    touch "$WINEPREFIX/unmanaged"
}; }'

if [ -e "$debian/ready" ]; then
    asRoot=
    # A user cannot stop what sudo runs, so timeout ends a program that hangs.
    [ "$(id -u)" = 0 ] || asRoot="sudo -n timeout 3600"
    # Hard links, not mounts: nothing must be unmounted, and build/wine32 can be deleted safely.
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
