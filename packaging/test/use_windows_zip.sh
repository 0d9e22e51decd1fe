#!/bin/bash
# Makes the Windows zip of a build, unpacks it, and builds and runs the examples against what is in it:
# use_windows_zip.sh SOURCE BUILD WORK.
set -euo pipefail
source=$1 build=$2 work=$3
rm -rf "$work"
mkdir -p "$work"
(cd "$build" && cpack -G ZIP -B "$work/packages" >"$work/log" 2>&1) || { cat "$work/log"; exit 1; }
cd "$work"
(cd packages && sha256sum --check --quiet ./*.zip.sha256)
cmake -E tar xf packages/*.zip
root=$(echo "$work"/pmstore-*-windows-i686)
(cd "$root" && sha256sum --check --quiet SHA256SUMS)
for file in bin/pmstore.dll bin/pmstore.exe lib/libpmstore.dll.a lib/pmstore.def include/pmstore/pmstore.h; do
  [ -f "$root/$file" ] || { echo "the zip lacks $file"; exit 1; }
done

cmake -S "$source/packaging/test/project" -B project -DCMAKE_TOOLCHAIN_FILE="$source/cmake/windows-i686.cmake" \
  -DEXAMPLES="$source/examples" -Dpmstore_DIR="$root/lib/cmake/pmstore" >/dev/null
cmake --build project >/dev/null
for name in hello wrapper; do
  cp "$root/bin/pmstore.dll" "project/$name.exe" .
  "$source/cmake/run-under-wine" "$build" "./$name.exe" | tr -d '\r' | sed -E 's/item [0-9a-f]+:/item ID:/' |
    diff -u "$source/examples/expected/$name.txt" -
done
"$source/cmake/run-under-wine" "$build" "$root/bin/pmstore.exe" check wrapper.vault
