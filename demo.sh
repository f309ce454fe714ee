#!/bin/bash
# Installs the missing packages, builds the module and the program, renders a photograph with a green backdrop and keys
# it. The pictures are in build/demo.
set -euo pipefail
cd "$(dirname "$0")"
pictures=build/demo
log=build/demo.log

scripts/install.sh build

echo "Building"
mkdir -p build
if ! { cmake --preset linux -DFROND_BUILD_TESTS=OFF -DFROND_BUILD_BENCH=OFF &&
    cmake --build --preset linux; } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "demo.sh: the build failed; the log is $log" >&2
    exit 1
fi

echo "Rendering the photograph and its new background"
build/linux/frond sample "$pictures"

echo "Keying"
build/linux/frond key "$pictures/photo.png" --over "$pictures/background.png" -o "$pictures/keyed.png" \
    --matte "$pictures/matte.png"

cat <<END

Photograph       $pictures/photo.png
Background       $pictures/background.png
Result           $pictures/keyed.png
Matte            $pictures/matte.png
A perfect key    $pictures/composite.png, with its matte in alpha.png

With your own pictures:
  build/linux/frond key PHOTO --over BACKGROUND -o OUT.png
END
