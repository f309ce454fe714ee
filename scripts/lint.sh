#!/bin/sh
# Holds the sources to .clang-format and .clang-tidy, with Clang's own warnings, which are all that tests and
# benchmarks are held to: lint.sh, or lint.sh --format for the format alone. Prints what is wrong and ends with 1 when
# anything is. Takes the compile commands of the presets clang and win64, which it configures and does not build; three
# minutes on two cores.
set -eu
cd "$(dirname "$0")/.."

find src host images sample_plate frond resources tests fuzz bench -name '*.cpp' -o -name '*.h' | xargs clang-format --dry-run -Werror
[ "${1:-}" != --format ] || exit 0

mkdir -p build/lint/windows
cmake --preset clang -DFROND_BUILD_FUZZERS=ON >build/clang-configure.log 2>&1 || {
    cat build/clang-configure.log
    exit 1
}
# The sources of the faster forms stand there once for each instruction set; once is enough.
awk 'BEGIN { RS = "},?\n"; ORS = ""; print "[\n" }
    /"command"/ && !/-DFROND_VARIANT=avx/ { sub(/^\[\n/, ""); print comma $0 "}"; comma = ",\n" }
    END { print "\n]\n" }' build/clang/compile_commands.json >build/lint/compile_commands.json
sed -n "s#^ *\"file\": \"\($PWD/\(src\|host\|images\|sample_plate\|frond\|fuzz\)/.*\)\",*\$#\1#p" build/lint/compile_commands.json | sort -u |
    xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/lint 2>/dev/null
# What speaks to Windows, under the cross compiler's headers: of these Clang finds all but those of C++.
cmake --preset win64 -B build/lint/win64 >build/lint/win64.log 2>&1 || {
    cat build/lint/win64.log
    exit 1
}
cross=x86_64-w64-mingw32
headers=$($cross-g++-posix -print-file-name=include/c++)
sed "s#[^\" ]*/$cross-g++-posix#clang++ --target=$cross -isystem $headers -isystem $headers/$cross#" \
    build/lint/win64/compile_commands.json >build/lint/windows/compile_commands.json
grep -rlE --include='*.cpp' '<windows\.h>|_win32\.h"|/wic\.h"' src host images frond |
    xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/lint/windows 2>/dev/null
# The commands of the build, -Werror among their options, without its output.
sed -n "s#^ *\"command\": \"\(.*\) -o [^ ]* -c \($PWD/\(tests\|bench\)/.*\)\",*\$#\1 -fsyntax-only \2#p" \
    build/lint/compile_commands.json | sort -u | xargs -P "$(nproc)" -d '\n' -n 1 sh -c
