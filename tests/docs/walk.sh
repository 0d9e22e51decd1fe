#!/bin/bash
# Goes one of README's ways from nothing to a running program: walk.sh SOURCE WAY [ROOT]. It runs the commands of the
# blocks "sh WAY" in SOURCE, after saving the programs that README shows there; the last line printed has to be the
# program's. With ROOT what would be installed goes there, and nothing on this machine changes.
set -euo pipefail
source=$1 way=$2 root=${3:-}
cd "$source"
for program in hello.c hello.cpp hello.py; do
  sh tests/docs/code_blocks.sh README.md $program >$program
done

if [ -n "$root" ]; then
  sudo() {
    case "$1" in
      apt) for word in "$@"; do case $word in *.deb) dpkg-deb -x "$word" "$root" ;; esac; done ;;
      ldconfig) ;;
      cmake) DESTDIR=$root "$@" ;;
      xargs) sed "s|^|$root|" | "$@" ;;
    esac
  }
  export PATH=/usr/sbin:/usr/bin:/sbin:/bin LD_LIBRARY_PATH=$root/usr/local/lib PKG_CONFIG_PATH=$root/usr/local/lib/pkgconfig
  lib=$root/usr/lib/$(gcc -print-multiarch)
  case $way in c | c++ | python)
    export LD_LIBRARY_PATH=$lib PKG_CONFIG_PATH=$lib/pkgconfig PYTHONPATH=$root/usr/lib/python3/dist-packages
  esac
fi

commands=$(sh tests/docs/code_blocks.sh README.md "$way")
[ -n "$commands" ] || { echo "README shows no way \"$way\""; exit 1; }
eval "$commands" </dev/null | tee walk.out
case $way in
  packager) ls build/packages/*.deb >/dev/null ;;
  uninstall) [ -z "$(find "$root/usr/local" -iname '*pmstore*' ! -type d)" ] ;;
  *) tail -n 1 walk.out | grep -qE '^item [0-9a-f]{8}: Hello, vault$' ;;
esac
