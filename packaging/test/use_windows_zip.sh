#!/bin/bash
# Makes the Windows zip of a build, unpacks it, and builds and runs programs against what is in it, with the compilers
# for PROCESSOR: use_windows_zip.sh SOURCE BUILD WORK PROCESSOR.
set -euo pipefail
source=$1 build=$2 work=$3 triple=$4-w64-mingw32
rm -rf "$work"
mkdir -p "$work"
(cd "$build" && cpack -G ZIP -B "$work/packages" >"$work/log" 2>&1) || { cat "$work/log"; exit 1; }
cd "$work"
(cd packages && sha256sum --check --quiet ./*.zip.sha256)
cmake -E tar xf packages/*.zip
root=$(echo "$work"/pmstore-*-windows-"$4")
(cd "$root" && sha256sum --check --quiet SHA256SUMS)
wine() { "$source/cmake/run-under-wine" "$build" "$@"; }

# What the documents point to is there, and what only the system would tell of the tool stands in it.
find "$root" -name '*.md' | while read -r page; do
  { grep -o '](\([^)#:]*\))' "$page" || true; } | tr -d '()]' | while read -r target; do
    [ -e "$(dirname "$page")/$target" ] || { echo "$page: there is no $target"; exit 1; }
  done
done
grep -q longPathAware "$root/bin/pmstore.exe"
[ "$4" != i686 ] || "$triple-objdump" -p "$root/bin/pmstore.exe" | grep 'large address aware'

# The DLL has the listed names under their numbers, needs the system alone, and says who made it.
{ printf '%s\n' ADVAPI32.dll KERNEL32.dll msvcrt.dll && cat "$source/exports.txt"; } | sort >listed
"$triple-objdump" -p "$root/bin/pmstore.dll" | awk '/DLL Name/ { print $3 }
  /^Ordinal Base/ { base = $3 }
  /^\t\[ *[0-9]+\] [A-Z]/ { gsub(/[][]/, ""); print $2 " @" $1 + base }' | sort | diff listed -
for text in 'The pmstore developers' pmstore pmstore.dll "$(basename "$root" | cut -d- -f2)"; do
  strings -el "$root/bin/pmstore.dll" | grep -Fx "$text" || { echo "pmstore.dll does not say $text"; exit 1; }
done

cmake -S "$source/packaging/test/project" -B project -DCMAKE_TOOLCHAIN_FILE="$source/cmake/windows-$4.cmake" \
  -DEXAMPLES="$source/examples" -Dpmstore_DIR="$root/lib/cmake/pmstore" >/dev/null
cmake --build project >/dev/null
cp "$root/bin/pmstore.dll" .
for name in hello wrapper; do
  cp "project/$name.exe" .
  wine "./$name.exe" | tr -d '\r' | sed -E 's/item [0-9a-f]+:/item ID:/' | diff -u "$source/examples/expected/$name.txt" -
done
wine "$root/bin/pmstore.exe" check wrapper.vault

# A console; an import library made from the list of exports.
"$triple-dlltool" -d "$root/lib/pmstore.def" -l libmade.a
"$triple-gcc-posix" -municode -I"$root/include/pmstore" "$source/packaging/test/console.c" libmade.a -o console.exe
script -qec "'$source/cmake/run-under-wine' '$build' ./console.exe '$root/bin/pmstore.exe'" typescript </dev/null
grep -a 'Тайна .* é.vault: .*sound' typescript
[ -e 'Тайна 🔑 é.vault' ]

# The import library itself, given to the linker of another compiler.
"$triple-gcc-posix" -c -fno-stack-protector -I"$root/include/pmstore" "$source/packaging/test/plain.c"
lld-link /entry:Start /subsystem:console /out:plain.exe plain.o "$root/lib/pmstore.lib"
wine ./plain.exe
