#!/bin/sh
# check_exports.sh LIBRARY LIST: the library defines exactly the listed names, 80 of them, and no other.
set -eu
found=$(nm -D --defined-only "$1" | awk '{ print $NF }' | sort)
listed=$(sort "$2")
test "$(echo "$listed" | wc -l)" -eq 80 || { echo "$2 does not list 80 names"; exit 1; }
test "$found" = "$listed" && exit 0
echo "$1 does not export what $2 lists:"
{ echo "$found"; echo "$listed"; } | sort | uniq -u
exit 1
