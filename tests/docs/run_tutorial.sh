#!/bin/bash
# Follows the tutorial: run_tutorial.sh DOCUMENT ROOT WORK. Takes its program and its commands ("sh run") out of the document
# and runs them, in order and in one shell, against what is installed in ROOT/usr; what a block prints has to be the text
# block right behind it, where there is one, but for item IDs, which are random.
set -euo pipefail
document=$1 root=$2/usr work=$3
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work"
mkdir -p "$work/blocks"
cd "$work"
lib=$(dirname "$(find "$root" -name libpmstore.so)")
export PATH=$root/bin:$PATH LD_LIBRARY_PATH=$lib PKG_CONFIG_PATH=$lib/pkgconfig

sh "$here/code_blocks.sh" "$document" passwords.c >passwords.c
awk '
  /^```/ {
    if (file) { close(file); file = "" }
    else if ($0 == "```sh run") file = sprintf("blocks/%02d.sh", ++block)
    else if ($0 == "```text" && block) file = sprintf("blocks/%02d.expected", block)
    else file = "/dev/null"
    next
  }
  file { print > file }' "$document"

for block in blocks/*.sh; do
  # shellcheck disable=SC1090
  . "./$block" >"${block%.sh}.out" 2>"${block%.sh}.err" || { cat "$block" "${block%.sh}".{out,err}; exit 1; }
  sed 's/^/$ /' "$block"
  cat "${block%.sh}".{out,err}
  [ -e "${block%.sh}.expected" ] || continue
  sed -i -E 's/0x[0-9A-F]{8}/ID/' "${block%.sh}".{expected,out}
  diff -u "${block%.sh}.expected" "${block%.sh}.out"
done
