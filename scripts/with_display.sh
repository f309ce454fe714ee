#!/bin/sh
# Runs a command with a virtual X server: with_display.sh COMMAND [ARGUMENT...]
# Keys that programs send are not repeated, which a busy machine would do.
set -eu
number=$(mktemp)
Xvfb -displayfd 3 -ac -screen 0 1280x1024x24 -nolisten tcp -r 3>"$number" >/dev/null 2>&1 &
server=$!
trap 'kill "$server" 2>/dev/null || true; rm -f "$number"' EXIT
trap 'exit 130' INT TERM

tries=0
until [ -s "$number" ]; do
    tries=$((tries + 1))
    if [ "$tries" -gt 3000 ] || ! kill -0 "$server" 2>/dev/null; then
        echo "with_display.sh: the X server Xvfb does not start" >&2
        exit 127
    fi
    sleep 0.1
done
DISPLAY=":$(cat "$number")" "$@"
