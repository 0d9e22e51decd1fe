#!/bin/bash
# Does what a document shows: walk.sh DOCUMENT WAY FOLDER [ROOT]. In FOLDER it saves every program that the document
# shows under a name, and runs the blocks "sh WAY", in order and in one shell; what a block prints last has to be the
# text block right behind it, where there is one, but for item IDs, which are random. With ROOT what would be installed
# goes there, and nothing on this machine changes.
set -euo pipefail
document=$(realpath "$1") way=$2 root=${4:-}
cd "$3"
rm -rf walk.blocks && mkdir walk.blocks
awk -v way="$way" '
  /^```/ && !file {
    file = $2 ~ /\./ ? $2 : $0 == "```sh " way ? sprintf("walk.blocks/%02d.sh", ++block) : \
      $0 == "```text" && last ~ /\.sh$/ ? sprintf("walk.blocks/%02d.expected", block) : "/dev/null"
    if (!(file in seen)) printf "" > file
    seen[file]
    next
  }
  /^```/ { last = file; file = ""; next }
  file { print > file }' "$document"
[ -e walk.blocks/01.sh ] || { echo "$document shows no way \"$way\""; exit 1; }

if [ -n "$root" ]; then
  sudo() {
    case "$1" in
      apt) for word in "$@"; do case $word in *.deb) dpkg-deb -x "$word" "$root" ;; esac; done ;;
      cmake) DESTDIR=$root "$@" ;;
      xargs) sed "s|^|$root|" | "$@" ;;
    esac
  }
  export PATH=$root/usr/bin:/usr/sbin:/usr/bin:/sbin:/bin
  case $way in
    pip | cmake | uninstall) lib=$root/usr/local/lib ;;
    *) lib=$root/usr/lib/$(gcc -print-multiarch) && export PYTHONPATH=$root/usr/lib/python3/dist-packages ;;
  esac
  export LD_LIBRARY_PATH=$lib PKG_CONFIG_PATH=$lib/pkgconfig
fi
for block in walk.blocks/*.sh; do
  # shellcheck disable=SC1090
  . "./$block" >"${block%.sh}.out" 2>"${block%.sh}.err" || { tail -n 50 "$block" "${block%.sh}".{out,err}; exit 1; }
  tail -n 20 "$block" "${block%.sh}".{out,err}
  [ -e "${block%.sh}.expected" ] || continue
  tail -n "$(wc -l <"${block%.sh}.expected")" "${block%.sh}.out" >"${block%.sh}.last"
  sed -i -E 's/\b(0x)?[0-9A-Fa-f]{8}\b/ID/' "${block%.sh}".{expected,last}
  diff -u "${block%.sh}.expected" "${block%.sh}.last"
done
