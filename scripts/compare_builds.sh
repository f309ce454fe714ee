#!/bin/bash
# Compares the speed of two builds: compare_builds.sh A B [option of frond_bench...]
#
# A and B are build folders, or git revisions, which are built in build/compare. Their frond_bench run in turn, A B A B,
# ROUNDS times (environment; 5), each with one repetition. Prints the smallest nanoseconds per pixel of each stage in A
# and in B, and the median of the rounds' B / A: under 1, B is faster. The two runs of a round are neighbours in time, so
# that the ratio holds on a machine whose speed changes. Without options: --size=2, every stage, variant and depth.
set -euo pipefail
cd "$(dirname "$0")/.."
[ $# -ge 2 ] || {
    sed -n '2,/^set/s/^# \{0,1\}//p' "$0" >&2
    exit 2
}
a=$1 b=$2
shift 2
[ $# -gt 0 ] || set -- --size=2
work=$PWD/build/compare
mkdir -p "$work"

# Prints the frond_bench of a build folder or of a revision, which it builds when necessary.
program() {
    local revision tree
    if [ -d "$1" ]; then
        cmake --build "$1" --target frond_bench >"$work/log" 2>&1 || { tail -n 20 "$work/log" >&2; return 1; }
        realpath "$1/bench/frond_bench"
        return
    fi
    revision=$(git rev-parse --verify --short "$1^{commit}")
    tree=$work/$revision
    [ -d "$tree" ] || git worktree add --quiet --detach "$tree" "$revision"
    { cmake -S "$tree" -B "$tree/build/compare" -G Ninja -DCMAKE_BUILD_TYPE=Release -DFROND_BUILD_TESTS=OFF &&
        cmake --build "$tree/build/compare" --target frond_bench; } >"$work/log" 2>&1 ||
        { tail -n 20 "$work/log" >&2; return 1; }
    echo "$tree/build/compare/bench/frond_bench"
}
a=$(program "$a") b=$(program "$b")

rm -f "$work"/run.*
for round in $(seq "${ROUNDS:-5}"); do
    for build in a b; do
        echo "round $round, ${build^}" >&2
        "${!build}" "$@" --repeat=1 2>"$work/run.$build.$round" >/dev/null || { cat "$work/run.$build.$round" >&2; exit 1; }
    done
done

# A line of frond_bench: stage/picture/size/depth/variant: 12.34 ns per pixel (in older revisions: a pixel)
awk -F ': ' '
    / ns (per|a) pixel$/ {
        n = split(FILENAME, part, "."); build = part[n - 1]; round = part[n]; time = $2 + 0
        if (!($1 in known)) { known[$1]; names[++count] = $1 }
        if (!((build, $1) in least) || time < least[build, $1]) least[build, $1] = time
        times[build, $1, round] = time
        if (round > rounds) rounds = round + 0
    }
    function MedianRatio(name,    round, n, i, j, ratio, sorted) {
        for (round = 1; round <= rounds; ++round) {
            if (!(("a", name, round) in times) || !(("b", name, round) in times)) continue
            ratio = times["b", name, round] / times["a", name, round]
            for (i = ++n; i > 1 && sorted[i - 1] > ratio; --i) sorted[i] = sorted[i - 1]
            sorted[i] = ratio
        }
        j = int((n + 1) / 2)
        return n % 2 ? sorted[j] : (sorted[j] + sorted[j + 1]) / 2
    }
    END {
        if (!count) { print "compare_builds.sh: frond_bench printed no times" > "/dev/stderr"; exit 1 }
        printf "%-44s %9s %9s %7s\n", "smallest ns/px; median of B / A", "A", "B", "B / A"
        for (i = 1; i <= count; ++i) {
            n = names[i]
            if (("a", n) in least && ("b", n) in least)
                printf "%-44s %9.2f %9.2f %7.3f\n", n, least["a", n], least["b", n], MedianRatio(n)
        }
    }' "$work"/run.*
