#!/bin/sh
# Prints the code of a Markdown document whose fence names a file: code_blocks.sh DOCUMENT NAME. Blocks of the same name
# follow each other.
set -eu
awk -v name="$2" '
  /^```/ { if (inside) { inside = 0 } else { inside = 1; taken = ($2 == name); next } taken = 0 }
  taken' "$1"
