#!/bin/sh
# Installs the missing packages on Debian 12, as root or with sudo, without questions:
#
#   install.sh build      to build the program
#   install.sh test       to run all tests as well
#   install.sh coverage   to measure the coverage of the native tests
set -eu

packages="g++ cmake ninja-build libvips-dev pkg-config libcli11-dev nlohmann-json3-dev"
case ${1:-} in
build) ;;
coverage) packages="$packages googletest libvips-tools clang libclang-rt-14-dev llvm" ;;
test)
    packages="$packages googletest libbenchmark-dev"
    packages="$packages clang libclang-rt-14-dev clang-format clang-tidy"
    packages="$packages g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix"
    packages="$packages wine wine64 fonts-wine xvfb debootstrap"
    packages="$packages libgegl-dev gegl"
    packages="$packages libvips-tools dpkg-dev file python3-markdown unzip groff-base parallel rsync"
    # The package starts a server where systemd runs. Without the package the test with several machines is skipped.
    [ -d /run/systemd/system ] || packages="$packages openssh-server"
    ;;
*)
    echo "usage: install.sh build|test|coverage" >&2
    exit 2
    ;;
esac

if ! command -v apt-get >/dev/null; then
    echo "install.sh: this machine has no apt-get; install these packages of Debian: $packages" >&2
    exit 1
fi

missing=
for package in $packages; do
    dpkg-query -W -f '${db:Status-Status}\n' "$package" 2>/dev/null | grep -qx installed || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

asRoot=
if [ "$(id -u)" != 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "install.sh: root or sudo is needed to install:$missing" >&2
        exit 1
    fi
    asRoot=sudo
fi

echo "Installing:$missing"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# An unreachable package source does not matter if another one has the packages.
$asRoot apt-get -q update >"$log" 2>&1 </dev/null || true
if ! $asRoot env DEBIAN_FRONTEND=noninteractive apt-get -q install -y --no-install-recommends $missing \
    >>"$log" 2>&1 </dev/null; then
    tail -n 20 "$log" >&2
    echo "install.sh: the packages cannot be installed" >&2
    exit 1
fi
