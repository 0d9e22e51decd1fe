#!/bin/bash
# Makes the Debian packages of a build and unpacks them into an empty root: install_debian.sh BUILD PACKAGES ROOT.
set -euo pipefail
build=$1 packages=$2 root=$3
rm -rf "$packages" "$root"
mkdir -p "$packages" "$root"

(cd "$build" && cpack -G DEB -B "$packages" >"$packages/log" 2>&1) || { cat "$packages/log"; exit 1; }
(cd "$packages" && sed -s 1q ./*.deb.sha256 | sha256sum --check --quiet)

for name in libpmstore1 libpmstore-dev pmstore python3-pmstore; do
  package=$(echo "$packages/${name}"_*.deb)
  [ -f "$package" ] || { echo "no package $name"; exit 1; }
  dpkg-deb -x "$package" "$root"
  echo "$name: $(dpkg-deb -f "$package" Architecture), needs $(dpkg-deb -f "$package" Depends)"
done

# The library needs nothing that Debian's base does not have, and the tool needs the library.
dpkg-deb -f "$packages"/libpmstore1_*.deb Depends | grep -q '^libc6 ' || { echo "libpmstore1 does not depend on libc6"; exit 1; }
dpkg-deb -f "$packages"/pmstore_*.deb Depends | grep -q 'libpmstore1 (= ' || { echo "the tool does not depend on its library"; exit 1; }
