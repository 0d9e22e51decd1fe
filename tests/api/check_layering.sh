#!/bin/sh
# check_layering.sh ROOT: every layer includes only itself and the layers under it, and headers of the system are
# included in platform/ only.
set -eu
cd "$1"

# The rank of the layer that a file or an include belongs to; public headers are included by their bare names.
awk -v files="$(find platform commonbase storage catalogue library.cpp pmstore.h -name '*.cpp' -o -name '*.h')" '
function rank(path) {
  if (path ~ /^platform\// || path == "pmtypes.h") return 1
  if (path ~ /^commonbase\// || path ~ /^(nodepool|slist|avltree|file|dlist)\.h$/) return 2
  if (path ~ /^storage\//) return 3
  if (path ~ /^catalogue\// || path == "pmstore.h") return 4
  if (path == "library.cpp") return 5
  return 9
}
BEGIN {
  standard = "^(c?(assert|ctype|errno|inttypes|limits|math|stdarg|stddef|stdint|stdio|stdlib|string|time|uchar|wchar)(\\.h)?" \
             "|algorithm|array|atomic|immintrin\\.h|initializer_list|limits|memory|new|type_traits|utility)$"
  for (n = split(files, file, "\n"); n > 0; --n) {
    ++checked
    while ((getline line < file[n]) > 0) {
      if (line !~ /^[ \t]*#[ \t]*include/) continue
      split(line, part, /["<>]/)
      if (line ~ /</ ? part[2] !~ standard && file[n] !~ /^platform\// : rank(part[2]) > rank(file[n])) {
        print file[n] ": " line
        ++wrong
      }
    }
  }
  if (checked < 10) print "only " checked " files found"
  exit wrong > 0 || checked < 10
}'
