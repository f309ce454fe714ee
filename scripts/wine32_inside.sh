#!/bin/sh
# The second half of wine32.sh, as root in a mount name space of its own:
# wine32_inside.sh PROJECT DEBIAN FOLDER DISPLAY PROGRAM.EXE [ARGUMENT...]
set -eu
project=$1
debian=$2
folder=$3
display=$4
shift 4

mkdir -p "$debian$project"
mount --bind "$project" "$debian$project"
mount -t proc proc "$debian/proc" 2>/dev/null || mount --rbind /proc "$debian/proc"
exec chroot "$debian" /usr/bin/env -i PATH=/usr/bin:/bin HOME=/root LANG=C.UTF-8 DISPLAY="$display" \
    WINEPREFIX=/root/wine WINEARCH=win32 WINEDEBUG="${WINEDEBUG:--all}" \
    WINEDLLOVERRIDES="mscoree=;mshtml=;winedbg.exe=" \
    /bin/sh -c 'cd "$1" && shift && exec /usr/lib/wine/wine "$@"' wine "$folder" "$@"
