#!/bin/bash
# Makes the package of a build, unpacks it in another folder and uses it: check_package.sh BUILD VERSION
set -euo pipefail
build=$(realpath "$1") version=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
place=$(mktemp -d)
trap 'rm -rf "$place"' EXIT

fail() {
    echo "$*" >&2
    exit 1
}

rm -f "$build"/packages/*.deb "$build"/packages/*.zip
cmake --build "$build" --target package >"$build/package.log" 2>&1 || { tail -n 20 "$build/package.log" >&2; exit 1; }
package=$(find "$build"/packages -maxdepth 1 -name "marble-frond-keeper_$version*" -o -name "MarbleFrondKeeper-$version*")
cd "$place"
case $package in
*.deb)
    dpkg-deb -x "$package" .
    [ ! -e usr/include ] || fail "$package: holds headers"
    dpkg-deb -x "$build"/packages/libmarble-frond-keeper-dev_"$version"_*.deb development
    header=usr/include/marble-frond-keeper/keying.h
    [ -s development/$header ] && [ ! -e development/usr/bin ] || fail "the development package lacks $header, or holds programs"
    operation=$(find "$build"/packages -maxdepth 1 -name "marble-frond-keeper-gegl_$version*")
    if [ -n "$operation" ]; then
        dpkg-deb -x "$operation" gegl
        [ -s "gegl$(pkg-config --variable=pluginsdir gegl-0.4)/marble-twin-plate-rig.so" ] && [ ! -e gegl/usr/bin ] ||
            fail "$operation: lacks the operation, or holds programs"
    fi
    frond=(usr/bin/frond)
    wanted="usr/share/man/man1/frond.1.gz usr/share/bash-completion/completions/frond
        usr/share/doc/marble-frond-keeper/copyright usr/share/marble-frond-keeper/start/hair.json"
    guide=usr/share/doc/marble-frond-keeper
    ;;
*.zip)
    unzip -q "$package"
    mv -- */* .
    frond=("$root/scripts/wine64.sh" 64-bit/frond.exe)
    wanted="64-bit/MarbleFrondKeeper.8bf 32-bit/MarbleFrondKeeper.8bf start/hair.json LICENSE.txt CHANGES.txt"
    guide=guide
    ;;
*) fail "$build: made no package of version $version" ;;
esac

pictures=$(grep -ohE 'images/[a-z/-]+\.(jpg|png)' "$guide"/guide.* | sed "s:^:$guide/:")
for file in $wanted $pictures; do
    [ -s "$file" ] || fail "$package: lacks $file"
done

# Nothing but what was unpacked may serve it.
unset FROND_MODULE
"${frond[@]}" --version | tr -d '\r' >version || exit $?
[ "$(cat version)" = "frond $version" ] || fail "$package: says it is $(cat version)"
"${frond[@]}" sample --size 96x64 plate
"${frond[@]}" key plate/photo.png --over plate/background.png --quiet --start hair -o keyed.png
[ -s keyed.png ] || fail "$package: its frond keys nothing"

case $package in
*.deb)
    # The module is loaded by name: nothing may run ldconfig for it.
    dpkg-deb --info "$package" | grep -E 'postinst|postrm|triggers' && fail "$package: has maintainer scripts"
    # Within another project: nothing but what is installed is built, and where that project says.
    printf '%s\n' 'cmake_minimum_required(VERSION 3.25)' 'project(Other CXX)' "add_subdirectory(\"$root\" frond)" \
        >CMakeLists.txt
    cmake -G Ninja -S . -B other -DCMAKE_BUILD_TYPE=Release -DFROND_BUILD_PROGRAM=ON -DCMAKE_INSTALL_LIBDIR=lib64 >other.log || { cat other.log >&2; exit 1; }
    grep -E '^build (test|package|[a-z/]*(tests|bench)):' other/build.ninja && fail "another project gets tests"
    grep -q '/lib64/marble-frond-keeper/modules"' other/frond/src/cmake_install.cmake ||
        fail "the module is not installed in the given lib folder"
    grep -qF '\"../lib64/marble-frond-keeper/modules\"' other/build.ninja || fail "frond looks in another lib folder"
    ninja -C "$build" -t inputs all | grep -E '^(tests|bench)/' && fail "packaging builds the tests"
    # The manual page and the completion are the program's own. docs/frond.md has the parameters' texts of --help.
    "${frond[@]}" manual page | cmp - <(gunzip -c usr/share/man/man1/frond.1.gz)
    "${frond[@]}" manual completion | cmp - usr/share/bash-completion/completions/frond
    "${frond[@]}" key --help | awk '/^The filter/ { inside = 1 } /^$/ { inside = 0 }
        inside && /^          / { sub(/^ +/, " "); text = text $0; next }
        text { sub(/; default.*/, "", text); print substr(text, 2); text = "" }' >texts
    while read -r text; do
        grep -qiF -e "$text" "$root/docs/frond.md" || fail "docs/frond.md: lacks \"$text\""
    done <texts
    [ "$(wc -l <texts)" = 11 ] || fail "frond key --help: $(wc -l <texts) parameters"
    # --module comes before FROND_MODULE, and that before the module that was installed.
    export FROND_MODULE=none
    key() { "${frond[@]}" key plate/photo.png --over plate/background.png -o again.png "$@"; }
    key 2>message && fail "FROND_MODULE is not heeded"
    grep -q "none: no such module (FROND_MODULE)" message || fail "FROND_MODULE: $(cat message)"
    key --module "$(find usr -name MarbleFrondKeeper.so)"
    ;;
*.zip)
    cmp 64-bit/MarbleFrondKeeper.8bf "$build/MarbleFrondKeeper.8bf"
    "${frond[@]}" info 64-bit/MarbleFrondKeeper.8bf | tr -d '\r' | diff "$root/tests/frond/cases/info.txt" - || fail "frond info differs"
    for bits in 32 64; do
        "${frond[@]}" info $bits-bit/MarbleFrondKeeper.8bf | grep -q "Twin Plate Rig" || fail "$bits-bit: is no module"
    done
    ;;
esac
