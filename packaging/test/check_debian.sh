#!/bin/bash
# Looks over Debian packages and the library that they carry, and unpacks them: check_debian.sh SOURCE PACKAGES COMPILER ROOT.
set -euo pipefail
source=$1 compiler=$3 root=$4
cd "$2"
sed -s 1q ./*.deb.sha256 | sha256sum --check --quiet
lintian --fail-on error ./*.deb

# What programs built with the first version of this soname rely on is there as it was, and nothing new is unlisted.
rm -rf "$root" bin
for package in *.deb; do dpkg-deb -x "$package" "$root"; done
library=$(echo "$root"/usr/lib/*-linux-gnu/libpmstore.so.1)
objdump -p "$library" | grep -q 'SONAME  *libpmstore.so.1$'
dpkg-gensymbols -c4 -plibpmstore1 -v9 "-e$library" "-I$source/packaging/debian/libpmstore1.symbols" -O/dev/null
"$compiler" -std=c11 -pedantic-errors -Werror -fsyntax-only -I"$source" -I"$source/platform" -I"$source/commonbase/src" "$source/packaging/abi.c"

# The library needs nothing that Debian's base does not have; what uses it depends on it.
needs() { dpkg-deb -f "$1"_*.deb Depends | grep -q "$2" || { echo "$1 does not depend on $2"; exit 1; }; }
needs libpmstore1 '^libc6 ([^,]*)$'
needs pmstore 'libpmstore1 (= '
needs libpmstore-dev 'libpmstore1 (= '
needs python3-pmstore 'libpmstore1 (>= '

# Where dpkg-dev is missing, cpack makes no packages.
mkdir bin
ln -s "$(command -v cpack)" bin/cpack
if PATH=$PWD/bin cpack --config ../debian/CPackConfig.cmake -B none >refused 2>&1; then
  echo "cpack made packages without dpkg-dev"
  exit 1
fi
grep -q 'need dpkg-shlibdeps' refused
