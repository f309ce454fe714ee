#!/bin/sh
# Installs a small 32-bit Debian with Wine in build/wine32, for wine32.sh. Needs root; takes a minute or two.
#
# The machine's own set of architectures does not change. Packages come from the machine's package source. On failure
# nothing remains and the exit code is not 0.
set -eu
project=$(cd "$(dirname "$0")/.." && pwd)
debian=$project/build/wine32
[ ! -e "$debian/ready" ] || exit 0

. /etc/os-release
source=$(apt-get indextargets --format '$(REPO_URI)' 'Created-By: Packages' "Codename: $VERSION_CODENAME" | head -n 1)

begin=$debian.new
rm -rf "$begin"
trap 'rm -rf "$begin"' EXIT
trap 'exit 130' INT TERM
mkdir -p "$begin"
debootstrap --arch=i386 --variant=minbase "$VERSION_CODENAME" "$begin" "$source"
apt-config dump | grep -i '^Acquire::.*Proxy' >"$begin/etc/apt/apt.conf.d/90proxy" || true
chroot "$begin" /usr/bin/env DEBIAN_FRONTEND=noninteractive apt-get -qq update
chroot "$begin" /usr/bin/env DEBIAN_FRONTEND=noninteractive \
    apt-get -qq install -y --no-install-recommends wine32 wine
chroot "$begin" apt-get clean
# Wine needs /proc only for its own path, so a link replaces the mount.
mkdir -p "$begin/proc/self"
ln -sfn /usr/lib/wine/wine "$begin/proc/self/exe"
touch "$begin/ready"
rm -rf "$debian"
mv "$begin" "$debian"
