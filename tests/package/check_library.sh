#!/bin/bash
# Installs the engine's library and builds the example with it, then with add_subdirectory: check_library.sh BUILD
set -euo pipefail
build=$(realpath "$1") root=$(cd "$(dirname "$0")/../.." && pwd)
example=$root/docs/examples/key_in_memory
work=$build/installed_library
rm -rf "$work"
mkdir -p "$work/within"

quietly() {
    "$@" >"$work/log" 2>&1 || { tail -n 30 "$work/log" >&2; exit 1; }
}

printf '%s\n' 'backdrop 41 190 51' '20 60 220' '200 30 50' >"$work/expected"
check() {
    quietly cmake -G Ninja -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=Release -DCMAKE_PREFIX_PATH="$work/prefix"
    quietly cmake --build "$2"
    "$2/key_in_memory" | diff "$work/expected" -
}

quietly cmake --install "$build" --prefix "$work/prefix" --component development
check "$example" "$work/found"
# Within another project: the same program, and only the engine's library.
sed "s#^find_package.*#add_subdirectory($root frond)#; s#key_in_memory\.cpp#$example/&#" "$example/CMakeLists.txt" \
    >"$work/within/CMakeLists.txt"
check "$work/within" "$work/within/build"
! grep -E '^build [^ ]*(vips|MarbleFrondKeeper\.so|frond_logic|tests|package)[^ ]*:' "$work/within/build/build.ninja"
