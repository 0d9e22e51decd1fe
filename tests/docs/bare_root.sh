#!/bin/bash
# Goes each of README's ways in a bare Debian root of its own, with nothing in it but what the way installs:
# bare_root.sh SOURCE WORK. Needs root, mmdebstrap and the package mirror; takes some minutes.
set -euo pipefail
source=$1 work=$2
rm -rf "$work"
mkdir -p "$work/packages"
mmdebstrap --quiet --variant=minbase "$(. /etc/os-release && echo "$VERSION_CODENAME")" "$work/base.tar"

for ways in packager c c++ python pip "cmake uninstall"; do
  root=$work/root
  mkdir -p "$root/src"
  tar -xf "$work/base.tar" -C "$root"
  cp /etc/resolv.conf "$root/etc/"
  tar -C "$source" --exclude=./build --exclude=./.git -cf - . | tar -xf - -C "$root/src"
  mkdir -p "$root/src/build" && cp -r "$work/packages" "$root/src/build"
  # A person's sudo, and their yes.
  printf '#!/bin/sh\nexec "$@"\n' >"$root/usr/bin/sudo" && chmod 755 "$root/usr/bin/sudo"
  printf 'APT::Get::Assume-Yes "true";\nAPT::Sandbox::User "root";\nDpkg::Use-Pty "0";\nquiet "2";\n' >"$root/etc/apt/apt.conf.d/yes"
  chroot "$root" apt-get update
  mount -t proc proc "$root/proc"
  trap 'umount "$root/proc"' EXIT
  for way in $ways; do
    echo "== $way"
    DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 chroot "$root" bash /src/tests/docs/walk.sh /src/README.md $way /src >"$work/$way.log" 2>&1 ||
      { cat "$work/$way.log"; exit 1; }
  done
  umount "$root/proc"
  trap - EXIT
  [ "$ways" != packager ] || cp "$root"/src/build/packages/*.deb "$work/packages"
  rm -rf "$root"
done
echo "all ways lead to the example"
