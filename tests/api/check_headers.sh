#!/bin/sh
# check_headers.sh ROOT COMPILER...: every public header compiles by itself and twice, in each language and standard
# that it promises, with every warning an error.
set -eu
cd "$1"
shift
checked=0
for compiler in "$@"; do
  case $compiler in
    *++*) language=c++ standards="c++11 c++14 c++17 c++20" strict= ;;
    *) language=c standards="c99 c11 c17" strict=-Wstrict-prototypes ;;
  esac
  for standard in $standards; do
    headers="pmstore.h pmtypes.h nodepool.h slist.h avltree.h file.h dlist.h"
    case $standard in c++17 | c++20) headers="$headers pmerror.hpp pmsharing.hpp pmstore.hpp pmtext.hpp" ;; esac
    for header in $headers; do
      printf '#include "%s"\n#include "%s"\n#include "pmtypes.h"\nint F(void);\nint F(void) { return PM_TEXT("x")[0]; }\n' \
        "$header" "$header" |
        "$compiler" -x $language -std=$standard -pedantic-errors -Wall -Wextra -Wshadow -Wconversion $strict -Werror \
          -fsyntax-only -I. -Iinclude -Iplatform -Icommonbase/src - || { echo "$compiler, $standard: $header"; exit 1; }
      checked=$((checked + 1))
    done
  done
done
test $checked -gt 40
