#!/bin/sh
# Usage: record_packages.sh ROOT
# Writes down, as dpkg would, which package brought each shared library of a sysroot whose packages
# are unpacked but never installed, and what depending on it takes. dpkg-shlibdeps reads that when
# packages are made for that machine. A hook of mmdebstrap, which still has the packages then.
set -eu
database=$1/var/lib/dpkg
mkdir -p "$database/info"
echo 1 >"$database/info/format"  # the names of files there may carry an architecture

for package in "$1"/var/cache/apt/archives/*.deb; do
  # Others bring no library that anything is linked to.
  shlibs=$(dpkg-deb --info "$package" shlibs 2>/dev/null) || continue
  name=$(dpkg-deb --field "$package" Package)
  if [ "$(dpkg-deb --field "$package" Multi-Arch)" = same ]; then
    name=$name:$(dpkg-deb --field "$package" Architecture)
  fi
  echo "$shlibs" >"$database/info/$name.shlibs"
  symbols=$(dpkg-deb --info "$package" symbols 2>/dev/null) &&
    echo "$symbols" >"$database/info/$name.symbols"
  dpkg-deb --fsys-tarfile "$package" | tar --list | sed 's|^\./$|./.|; s|^\.||; s|/$||' \
    >"$database/info/$name.list"
  dpkg-deb --field "$package" | sed 's/^Package: .*/&\nStatus: install ok installed/' \
    >>"$database/status"
  echo >>"$database/status"
done
