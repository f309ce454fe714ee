#!/bin/sh
# Replaces the kept traces and hashes by those of the present code: remake_traces.sh [linux|win64]
#
# Builds and runs the tests of the preset (default: linux) and copies the texts that differ to tests/. The dialog's
# traces need win64 and Wine. Review the difference that git then shows.
set -eu
cd "$(dirname "$0")/.."
preset=${1:-linux} build=build/${1:-linux}

tests="engine_tests frond_tests"
[ "$preset" != win64 ] || tests="engine_tests frond_tests dialog_tests"
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" --target $tests
rm -rf "$build/found"
cd "$build"
for test in $tests; do
    if [ "$preset" = win64 ]; then
        ../../scripts/wine64.sh "tests/$test.exe" --gtest_brief=1 --gtest_filter=-Soak.* || true
    else
        "tests/$test" --gtest_brief=1 --gtest_filter=-Soak.* || true
    fi
done
cd ../..
[ ! -d "$build/found" ] || cp -r "$build/found/." .
git status --short tests
