#!/bin/bash
# Installs what is missing, builds the module and the program, renders a photograph before a green backdrop and
# keys it: ./demo.sh. The pictures stay in build/demo.
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
    echo "demo.sh: does not build; the whole log is $log" >&2
    exit 1
fi

echo "Rendering the photograph and its new background"
build/linux/frond sample "$pictures"

echo "Keying"
build/linux/frond key "$pictures/photo.png" --over "$pictures/background.png" -o "$pictures/keyed.png" \
    --matte "$pictures/matte.png"

cat <<END

The photograph          $pictures/photo.png
Its new background      $pictures/background.png
The finished picture    $pictures/keyed.png
What was kept, as grey  $pictures/matte.png
What a perfect key is   $pictures/composite.png, with its matte in alpha.png

With pictures of your own:
  build/linux/frond key PHOTO --over BACKGROUND -o OUT.png
END
