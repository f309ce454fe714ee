#!/bin/sh
# Prints how many source lines the native tests run, by folder, then the files below 90 %. Builds in build/coverage with
# Clang's counters. build/coverage/show.txt has the count of each line. Covers what Linux builds, in all variants that
# the machine runs.
set -eu
cd "$(dirname "$0")/.."
build=$PWD/build/coverage

scripts/install.sh coverage
rm -rf "$build/profiles"
mkdir -p "$build"
cmake --preset linux -B "$build" -DFROND_BUILD_TESTS=ON -DFROND_BUILD_BENCH=OFF -DCMAKE_CXX_COMPILER=clang++ \
    -DCMAKE_CXX_FLAGS="-fprofile-instr-generate -fcoverage-mapping -fcoverage-compilation-dir=$PWD" \
    -DCMAKE_CXX_FLAGS_RELEASE="-O1 -DNDEBUG" >"$build/configure.log"
cmake --build "$build" --target all checks >"$build/build.log" || {
    tail -n 20 "$build/build.log" >&2
    exit 1
}
# Omits tests that build again, that check files only, or in which a program cannot write its counters (full disks,
# kills).
LLVM_PROFILE_FILE="$build/profiles/%m.profraw" \
    ctest --test-dir "$build" --output-on-failure -E '^(guide_pictures|installed_library|package|module_.*|files_.*)$'

llvm-profdata merge -o "$build/profile" "$build"/profiles/*.profraw
objects=
for program in MarbleFrondKeeper.so tests/engine_tests tests/frond_tests tests/frond_program_tests tests/allocation_operators_test; do
    objects="$objects -object $build/$program"
done
# A source that is built several times, such as a vector variant, counts once: a line counts when any build ran it.
for what in report show; do
    llvm-cov $what -instr-profile "$build/profile" -ignore-filename-regex='(^/usr|/tests|/headers)/' \
        "$build/frond" $objects >"$build/$what.txt"
done
awk '$8 ~ /^[0-9]+$/ && $1 ~ /\// {
        folder = $1
        sub("/[^/]*$", "", folder)
        lines[folder] += $8; missed[folder] += $9
        if ($9 > 0.1 * $8) low = low sprintf("  %s: %d of %d\n", $1, $8 - $9, $8)
    }
    $1 == "TOTAL" { lines["all"] = $8; missed["all"] = $9 }
    END {
        for (folder in lines)
            printf "%-14s %6d of %6d lines, %5.1f %%\n", folder, lines[folder] - missed[folder], lines[folder],
                100 - 100 * missed[folder] / lines[folder] | "sort"
        close("sort")
        printf "%s", low
    }' "$build/report.txt"
