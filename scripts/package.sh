#!/usr/bin/env bash
# Makes the Debian packages, has lintian look at them, then installs, uses and removes them in a
# Debian 12 root of its own (see tests/install/packages_test.sh for what that takes). Leaves them
# under out/packages.
#   scripts/package.sh [--arch amd64|arm64]     default: this machine's
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
  echo "package: error: $*" >&2
  exit 2
}

machine=$(dpkg --print-architecture)
arch=$machine
case "${1-}" in
  "") ;;
  --arch) arch=${2-} ;;
  *) fail "'$1' is not an option; usage: scripts/package.sh [--arch amd64|arm64]" ;;
esac
[ $# -le 2 ] || fail "'$3' is too many; usage: scripts/package.sh [--arch amd64|arm64]"
case $machine-$arch in
  amd64-amd64 | arm64-arm64) preset=release setup=() ;;
  amd64-arm64) preset=arm64 setup=(--arm64) ;;
  *) fail "--arch '$arch' cannot be built on $machine; amd64 builds amd64 and arm64, arm64 itself" ;;
esac

scripts/setup.sh --build-only --package "${setup[@]}"

build=build/package-$arch
triplet=$(dpkg-architecture -a "$arch" -q DEB_HOST_MULTIARCH)
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)
export SOURCE_DATE_EPOCH
# Libraries lie where the loader looks anyway; see cmake/Install.cmake.
cmake --preset "$preset" -B "$build" -DDIRTY_SEG_DEVELOPER=OFF -DDIRTY_SEG_RELOCATABLE=OFF \
  -DCMAKE_INSTALL_PREFIX=/usr "-DCMAKE_INSTALL_LIBDIR=lib/$triplet"
cmake --build "$build"

database=()
if [ "$arch" != "$machine" ]; then
  # dpkg-shlibdeps asks which package brought a library by the path where it found it, which is
  # inside the sysroot.
  sysroot=$PWD/build/$arch-sysroot
  rm -rf "$build/dpkg"
  cp -r "$sysroot/var/lib/dpkg" "$build/dpkg"
  sed -i "s|^/|$sysroot/|" "$build"/dpkg/info/*.list
  database=("DPKG_ADMINDIR=$PWD/$build/dpkg" "DEB_HOST_ARCH=$arch")
fi
rm -f out/packages/*_"$arch".deb
env -C "$build" "${database[@]}" cpack

# These packages are for robots, not for Debian's archive, whose bug numbers they need not name.
lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs \
  out/packages/*_"$arch".deb
echo "package: lintian has nothing to say"

tried=0
tests/install/packages_test.sh "$arch" out/packages || tried=$?
[ "$tried" -eq 0 ] || [ "$tried" -eq 77 ] || exit 1
echo
stat -c '%s bytes  %n' out/packages/*_"$arch".deb
[ "$tried" -eq 0 ] || echo "package: made, but not installed and tried, for the reason above"
