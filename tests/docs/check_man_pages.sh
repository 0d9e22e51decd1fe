#!/bin/sh
# check_man_pages.sh ROOT COMPILER: the manual pages are sound; every export has its synopsis in one of them, and the
# header's declaration is the same.
set -eu
cd "$1"
mandoc -T lint -W warning docs/man/*.[13]
synopses=$(awk '
  /^\.Sh/ { inside = $2 == "SYNOPSIS" }
  inside && /^\.Ft/ { sub(/^\.Ft /, ""); gsub(/"/, ""); type = $0 }
  inside && /^\.Fn/ {
    name = $2
    sub(/^\.Fn [A-Za-z]+ /, "")
    gsub(/" "/, ", ")
    gsub(/"/, "")
    print type " " name "(" $0 ");"
  }' docs/man/*.3)
(echo '#include "pmstore.h"' && echo "$synopses") |
  "$2" -x c -std=c11 -Wall -Wextra -Werror -fsyntax-only -I. -Iplatform -Icommonbase/src -
named=$(echo "$synopses" | sed 's/(.*//; s/.*[ *]//' | sort)
exports=$(sed 's/ .*//' exports.txt | sort)
test "$named" = "$exports" || { printf 'the pages describe\n%s\nand exports.txt has\n%s\n' "$named" "$exports"; exit 1; }
