#!/bin/sh
# check_exports.sh LIBRARY LIST: the library defines exactly the listed names, 80 of them, and no other, and looks none
# of them up when it is loaded, where a function of the program would take its place.
set -eu
found=$(nm -D --defined-only "$1" | awk '{ print $NF }' | sort)
listed=$(awk '{ print $1 }' "$2" | sort)
test "$(echo "$listed" | wc -l)" -eq 80 || { echo "$2 does not list 80 names"; exit 1; }
looked_up=$(objdump -R "$1" | awk '{ sub(/[@+-].*/, "", $3); print $3 }' | grep -Fx "$listed" | sort -u || true)
test -z "$looked_up" || { echo "$1 looks up what is its own:" $looked_up; exit 1; }
test "$found" = "$listed" && exit 0
echo "$1 does not export what $2 lists:"
{ echo "$found"; echo "$listed"; } | sort | uniq -u
exit 1
