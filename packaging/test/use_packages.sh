#!/bin/bash
# Builds and runs the examples against installed packages: use_packages.sh SOURCE ROOT WORK.
set -euo pipefail
source=$1 root=$2/usr work=$3
rm -rf "$work"
mkdir -p "$work"
cd "$work"
lib=$(dirname "$(find "$root" -name libpmstore.so)")
export LD_LIBRARY_PATH=$lib PKG_CONFIG_PATH=$lib/pkgconfig

# What a program prints, item IDs taken out, is what its example is expected to print.
check() {
  local name=$1
  shift
  "$@" | sed -E 's/item [0-9a-f]+:/item ID:/' | diff -u "$source/examples/expected/$name.txt" -
}

cc "$source/examples/hello.c" $(pkg-config --cflags --libs pmstore) -o hello
check hello ./hello

cmake -S "$source/packaging/test/project" -B build -DEXAMPLES="$source/examples" -DCMAKE_PREFIX_PATH="$root" >/dev/null
cmake --build build >/dev/null
check hello build/hello
check wrapper build/wrapper

PYTHONPATH=$root/lib/python3/dist-packages check python python3 -B "$source/examples/wrapper.py"

"$root/bin/pmstore" check wrapper.vault
for page in man1/pmstore.1 man3/pmstore.3; do
  zcat "$root/share/man/$page.gz" | cmp - "$source/docs/man/${page##*/}"
done
