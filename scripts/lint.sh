#!/bin/sh
# Checks the sources: format, includes, Clang's warnings and clang-tidy, which also checks names.
#
#   lint.sh            all sources; some minutes on two cores
#   lint.sh --changed  sources that differ from main, or on main itself from the commit before, and one source for each
#                      header that differs; some seconds a source
#   lint.sh --format   format and includes alone; a second
#
# Prints what is wrong and ends with 1 when anything is. Takes the compile commands of the presets clang and win64, which
# it configures and does not build. Tests and benchmarks are checked for warnings and names only. A source without
# findings is checked again when it, a header or the check itself has changed.
set -eu
cd "$(dirname "$0")/.."
folders="src host images sample_plate frond gegl resources tests fuzz bench"
failed=0

# shellcheck disable=SC2086
find $folders docs -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror || failed=1
scripts/check_includes.py || failed=1
[ "${1:-}" != --format ] || exit $failed

work=build/lint
mkdir -p $work/windows
if [ "${1:-}" = --changed ]; then
    base=$(git merge-base HEAD main 2>/dev/null || git rev-parse HEAD)
    [ "$base" != "$(git rev-parse HEAD)" ] || base=HEAD~
    { git diff --name-only --diff-filter=d "$base"; git ls-files --others --exclude-standard; } >$work/changed
    {
        grep '\.cpp$' $work/changed || true
        # A header is checked with the source of the same name, or with one that includes it.
        for header in $(grep '\.h$' $work/changed); do
            source=${header%.h}.cpp
            # shellcheck disable=SC2086
            [ -f "$source" ] || source=$(grep -rlF --include='*.cpp' "include \"${header#src/}\"" $folders | head -n 1)
            echo "$source"
        done
    } | grep . | sort -u >$work/sources || exit $failed
else
    # shellcheck disable=SC2086
    find $folders -name '*.cpp' | sort >$work/sources
fi

# What every source's findings depend on. Remove build/lint when a library's headers have changed.
mkdir -p $work/clean
# shellcheck disable=SC2086
common=$({ clang-tidy --version; cat scripts/lint.sh; find .clang-tidy $folders -name .clang-tidy -o -name '*.h' | sort | xargs cat; } | sha256sum)

# Prints the sources of a list that have no mark for their content, with the names of these marks.
without_mark() {
    key=$({ echo "$common $*"; cat "$database/compile_commands.json"; } | sha256sum)
    while read -r source; do
        mark=$work/clean/$({ echo "$key $source"; cat "$source"; } | sha256sum | cut -c 1-32)
        [ -e "$mark" ] || echo "$source $mark"
    done
}

# check DATABASE LIST [OPTION...]: clang-tidy on those sources of the list that the database knows.
check() {
    database=$1 list=$2
    shift 2
    sed -n "s#^ *\"file\": \"$PWD/\(.*\)\",*\$#\1#p" "$database/compile_commands.json" | sort -u >$work/known
    # shellcheck disable=SC2016
    sort -u "$list" | comm -12 - $work/known | without_mark "$@" |
        xargs -r -P "$(nproc)" -I LINE sh -c 'line=$1; shift; clang-tidy --quiet "$@" "${line% *}" && : >"${line#* }"' \
            sh LINE "$@" -p "$database" \
            2>$work/log || { grep -vE '^[0-9]+ (warnings?|errors?) ' $work/log || true; failed=1; }
}

cmake --preset clang -B $work/clang -DFROND_BUILD_FUZZERS=ON >$work/configure.log 2>&1 || {
    cat $work/configure.log
    exit 1
}
# The vector variants compile the same sources once for each instruction set; one of them is enough.
awk 'BEGIN { RS = "},?\n"; ORS = ""; print "[\n" }
    /"command"/ && !/-DFROND_VARIANT=avx/ { sub(/^\[\n/, ""); print comma $0 "}"; comma = ",\n" }
    END { print "\n]\n" }' $work/clang/compile_commands.json >$work/compile_commands.json
grep -vE '^(tests|bench)/' $work/sources >$work/product || true
grep -E '^(tests|bench)/' $work/sources >$work/checks || true
check $work $work/product
check $work $work/checks --checks='-*,clang-diagnostic-*,readability-identifier-naming' --header-filter='/(tests|bench)/'

# Sources for Windows, with the cross compiler's headers.
# shellcheck disable=SC2046
windows=$(xargs -r grep -lE '<windows\.h>|_win32\.h"|/wic\.h"' <$work/product || true)
if [ -n "$windows" ]; then
    echo "$windows" >$work/windows/sources
    cmake --preset win64 -B $work/win64 >$work/win64.log 2>&1 || {
        cat $work/win64.log
        exit 1
    }
    cross=x86_64-w64-mingw32
    headers=$($cross-g++-posix -print-file-name=include/c++)
    sed "s#[^\" ]*/$cross-g++-posix#clang++ --target=$cross -isystem $headers -isystem $headers/$cross#" \
        $work/win64/compile_commands.json >$work/windows/compile_commands.json
    check $work/windows $work/windows/sources
fi
exit $failed
