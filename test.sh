#!/bin/bash
# Installs what is missing, builds everything and runs all tests: ./test.sh [PRESET...]
#
# Without presets: scripts/lint.sh, then linux, asan, tsan, fuzz, win64 and win32, the Windows ones under Wine. The presets
# debug and clang run by name only. Each preset leaves its logs in build/PRESET. Ends with the number of tests that
# passed, failed and were skipped; 0 when none failed.
set -euo pipefail
cd "$(dirname "$0")"
presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(linux asan tsan fuzz win64 win32)

passed=0 failed=0 skipped=0
wine32=

# Fetches a 32-bit Wine while the other presets are being built and tested.
fetch_wine32() {
    mkdir -p build
    local as_root=()
    [ "$(id -u)" = 0 ] || as_root=(sudo -n)
    PATH=$PATH:/usr/sbin:/sbin "${as_root[@]}" scripts/wine32_root.sh >build/wine32.log 2>&1 </dev/null &
    wine32=$!
    trap 'kill "$wine32" 2>/dev/null || true' EXIT
}

await_wine32() {
    [ -n "$wine32" ] || return 0
    wait "$wine32" || echo "   no 32-bit Wine here (build/wine32.log says why); its tests are skipped"
    trap - EXIT
    wine32=
}

build() {
    local preset=$1 log=build/$1/build.log
    mkdir -p "build/$preset"
    if ! { cmake --preset "$preset" -DFROND_BUILD_TESTS=ON && cmake --build --preset "$preset"; } >"$log" 2>&1; then
        tail -n 40 "$log"
        return 1
    fi
}

# Counts what GoogleTest reports case by case, and any other test as one; shows the output of what failed.
report() {
    awk '
        { sub(/\r$/, "") }
        /^[0-9]+: / {
            n = $1
            if (!/: \[( RUN|       OK|----)/) output[n] = output[n] "   " $0 "\n"
            if (/ ms\)$/) {
                if (/\[       OK \]/) ok[n]++
                if (/\[  FAILED  \]/) bad[n]++
                if (/\[  SKIPPED \]/) skip[n]++
            }
        }
        /^ *[0-9]+\/[0-9]+ Test +#[0-9]+:/ {
            n = $0
            sub(/^.*Test +#/, "", n)
            sub(/:.*/, ":", n)
            if (/\*\*\*Skipped/) skip[n]++
            else if (/ Passed /) { if (!ok[n] && !skip[n]) ok[n] = 1 }
            else {
                if (!bad[n]) bad[n] = 1
                printf "%s", output[n] > "/dev/stderr"
                print "   " $0 > "/dev/stderr"
            }
            p += ok[n]; f += bad[n]; s += skip[n]
        }
        END { print p + 0, f + 0, s + 0 }' "$1"
}

run_tests() {
    local preset=$1 log=build/$1/test.log display=() jobs status=0 p f s
    jobs=$(nproc)
    # One after the other under Wine, where the first makes the folder of all, and windows want a quiet machine.
    case $preset in win*) display=(scripts/with_display.sh) jobs=1 ;; esac
    "${display[@]}" ctest --preset "$preset" --parallel "$jobs" --verbose >"$log" 2>&1 </dev/null || status=$?
    read -r p f s < <(report "$log")
    # A run that broke off, or had nothing to run, has failed whatever it counted.
    if [ $((p + f + s)) = 0 ] || { [ $status != 0 ] && [ "$f" = 0 ]; }; then
        tail -n 20 "$log"
        f=$((f + 1))
    fi
    echo "   $p passed, $f failed, $s skipped"
    passed=$((passed + p)) failed=$((failed + f)) skipped=$((skipped + s))
}

scripts/install.sh test
case " ${presets[*]} " in *" win32 "*) fetch_wine32 ;; esac

if [ $# = 0 ]; then
    echo "== the sources' style and Clang's findings"
    if scripts/lint.sh; then passed=$((passed + 1)); else failed=$((failed + 1)); fi
fi

for preset in "${presets[@]}"; do
    SECONDS=0
    echo "== $preset: building"
    if build "$preset"; then
        echo "== $preset: built in $SECONDS s, testing"
        [ "$preset" != win32 ] || await_wine32
        run_tests "$preset"
    else
        echo "   does not build"
        failed=$((failed + 1))
    fi
done

echo "$passed passed, $failed failed, $skipped skipped"
[ "$failed" = 0 ]
