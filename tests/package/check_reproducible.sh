#!/bin/sh
# Builds the module a second time, from a copy in another folder, and compares the bytes.
# Arguments: the project's folder, a folder to work in, the first build's module, then CMake's options.
set -eu
project=$1
work=$2
module=$3
shift 3

# Time stamps are kept, so that nothing is compiled again that has not changed since the last time.
copy=$work/a/longer/path/to/the/sources
rm -rf "$copy"
mkdir -p "$copy"
cp -rp "$project/CMakeLists.txt" "$project/cmake" "$project/src" "$project/resources" "$copy"

cmake -S "$copy" -B "$work/build" -G Ninja \
    -DFROND_BUILD_PROGRAM=OFF -DFROND_BUILD_GEGL=OFF -DFROND_BUILD_TESTS=OFF -DFROND_BUILD_BENCH=OFF "$@" >"$work/log" 2>&1 &&
    cmake --build "$work/build" --target MarbleFrondKeeper >>"$work/log" 2>&1 || {
    tail -n 30 "$work/log" >&2
    exit 1
}
cmp "$module" "$work/build/$(basename "$module")"
