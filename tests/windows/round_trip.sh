#!/bin/sh
# round_trip.sh SOURCES WORK PMSTORE...: the tool, run by the command PMSTORE, stores a folder in a vault and gives it
# back as it was.
set -eu
sources=$1
work=$2
shift 2

rm -rf "$work"
mkdir -p "$work/in/Tresör/保险"
cp -r "$sources/docs" "$sources/storage" "$work/in"
: >"$work/in/empty"
head -c 1000 "$sources/pmstore.h" >"$work/in/Tresör/保险/one block"
cat "$sources"/*/*.h "$sources"/*/*.cpp "$sources"/*/*/*.cpp >"$work/in/large"
find "$work/in" -type d -empty -delete

cd "$work"
"$@" --quiet import vault.db in
"$@" --quiet check vault.db
"$@" --quiet import vault.db in # once more: every item is replaced
"$@" --quiet export vault.db out
diff -r in out
test ! -e .vault.db.bak
