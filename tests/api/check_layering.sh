#!/bin/sh
# check_layering.sh ROOT: every layer includes only itself and the layers under it, and headers of the system are
# included in platform/ only.
set -eu
cd "$1"
containers='nodepool\.h|slist\.h|avltree\.h|file\.h|dlist\.h'
above='cli/|tests/|bench/|include/|library\.cpp'
refuse() { # PATTERN FILES...: no include among them matches
  pattern=$1
  shift
  ! grep -rnE "^[ \t]*#[ \t]*include[ \t]*\"($pattern)" "$@"
}
refuse "$above|pmstore\.h|catalogue/|storage/|commonbase/|$containers" platform
refuse "$above|pmstore\.h|catalogue/|storage/" platform commonbase
refuse "$above|pmstore\.h|catalogue/" platform commonbase storage
refuse "$above" platform commonbase storage catalogue library.cpp pmstore.h
standard='c?(assert|ctype|errno|inttypes|limits|math|stdarg|stddef|stdint|stdio|stdlib|string|time|uchar|wchar)(\.h)?'
standard="$standard|algorithm|array|atomic|immintrin\.h|initializer_list|limits|memory|new|type_traits|utility"
includes=$(grep -rhE '^[ \t]*#[ \t]*include[ \t]*<' commonbase storage catalogue library.cpp pmstore.h)
echo "$includes" | { ! grep -vE "<($standard)>"; }
