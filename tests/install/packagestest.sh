#!/usr/bin/env bash
# packagestest.sh PACKAGE DEVELOPMENT-PACKAGE: tries the two in a system that has nothing else but a compiler. As root.
set -euo pipefail
tests=$(dirname "$(realpath "$0")")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
chmod 755 "$root"

sources=/etc/apt/sources.list.d/debian.sources
[[ -f $sources ]] || sources=/etc/apt/sources.list
mmdebstrap --quiet --mode=root --variant=minbase --skip=cleanup/apt bookworm "$root" "$sources" \
    --include=cmake,curl,g++,iproute2,make
mkdir "$root/tried"
cp "$1" "$2" "$tests/insidetest.sh" "$root/tried"

# The next release has other files of configuration.
dpkg-deb -R "$1" "$root/tried/next"
sed -i 's/^Version: .*/&.1/' "$root/tried/next/DEBIAN/control"
sed -i '1i# The next release.' "$root"/tried/next/etc/webhttpserver/webhttpserver.*
rm "$root/tried/next/DEBIAN/md5sums"
dpkg-deb --root-owner-group -b "$root/tried/next" "$root/tried/next.deb" >/dev/null

chroot "$root" /tried/insidetest.sh
