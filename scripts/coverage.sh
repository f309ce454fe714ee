#!/bin/sh
# How many of the sources' lines the native tests run. Builds into build/coverage with GCC's counters, runs the tests
# there and prints the share of each folder, then the files below nine tenths; build/coverage/lines.txt names the lines
# that were not run. Sees what Linux builds, in all forms that the machine runs.
set -eu
cd "$(dirname "$0")/.."
build=build/coverage

scripts/install.sh coverage
mkdir -p $build
cmake --preset linux -B $build -DFROND_BUILD_TESTS=ON -DFROND_BUILD_BENCH=OFF \
    -DCMAKE_CXX_FLAGS="--coverage" -DCMAKE_CXX_FLAGS_RELEASE="-O1 -DNDEBUG" >$build/configure.log
cmake --build $build >$build/build.log || {
    tail -n 20 $build/build.log >&2
    exit 1
}
find $build -name '*.gcda' -delete
# A program that may not write its counters must not say so: the tests read what it prints. What is left out builds
# anew, or looks at files and not at what the program does.
GCOV_ERROR_FILE=/dev/null ctest --test-dir $build --output-on-failure \
    -E '^(guide_pictures|package|module_.*)$'

# A source that is built several times, as the faster forms are, counts once: a line is run when any build ran it.
gcovr -j "$(nproc)" --root . --filter src/ --filter host/ --txt $build/lines.txt --csv $build/files.csv $build
awk -F, 'NR > 1 {
        folder = $1
        sub("/[^/]*$", "", folder)
        lines[folder] += $2; run[folder] += $3
        lines["all"] += $2; run["all"] += $3
        if ($3 < 0.9 * $2) low = low sprintf("  %s: %d of %d\n", $1, $3, $2)
    }
    END {
        for (folder in lines)
            printf "%-14s %6d of %6d lines, %5.1f %%\n", folder, run[folder], lines[folder],
                100 * run[folder] / lines[folder] | "sort"
        close("sort")
        printf "%s", low
    }' $build/files.csv
