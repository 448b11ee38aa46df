#!/bin/bash
# Usage: packages_test.sh amd64|arm64 PACKAGE_FOLDER
# Installs, uses and removes the packages in a Debian 12 root that mmdebstrap makes for it and that
# is gone afterwards; packages_inside.sh is what happens in there. Exit status 77, with the reason,
# where such a root cannot be made.
#
# Another machine's packages are emulated. For that the kernel has to know the emulator: root tells
# it so in a user namespace of its own, so that nothing on the machine changes.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
arch=$1 packages=$(realpath "$2")
repository=$(realpath "$here/../..")

skip() {
  echo "packages: skipped: $1"
  exit 77
}

# For a processor: the ELF header of its programs, what of it counts, its emulator.
readonly ARM64_MAGIC='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
readonly ARM64_MASK='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'

tell_kernel_of_emulator() {
  mount -t proc proc /proc
  mount -t binfmt_misc binfmt_misc /proc/sys/fs/binfmt_misc 2>/dev/null ||
    skip "this kernel has no binfmt_misc for user namespaces (Linux 6.7 has)"
  printf '%s\n' ":qemu-aarch64:M::$ARM64_MAGIC:$ARM64_MASK:$(command -v qemu-aarch64-static):FPC" \
    >/proc/sys/fs/binfmt_misc/register
}

# Runs this script again as root of a namespace in which every user is who he was.
enter_user_namespace() {
  local gate=$work/gate child
  mkfifo "$gate"
  # shellcheck disable=SC2016  # the inner shell's
  PACKAGES_NAMESPACE=made unshare --user --mount --pid --fork --kill-child \
    bash -c 'read -r _ <"$0"; exec "$@"' "$gate" "$0" "$arch" "$packages" &
  child=$!
  while [ "$(readlink "/proc/$child/ns/user")" = "$(readlink /proc/self/ns/user)" ]; do
    kill -0 "$child" 2>/dev/null || skip "a user namespace cannot be made"
    sleep 0.1
  done
  echo '0 0 65536' >"/proc/$child/uid_map"
  echo '0 0 65536' >"/proc/$child/gid_map"
  echo open >"$gate"
  wait "$child"
}

make_root_and_test() {
  local emulation=(--mode=auto) afterwards=()
  if [ "$arch" != "$(dpkg --print-architecture)" ]; then
    # /sys may be mounted only where the network is the namespace's own as well. ONNX Runtime ends
    # the process when the processors that it reads of are not Arm's.
    # shellcheck disable=SC2016  # $1 is the root's folder, for mmdebstrap to fill in
    emulation=(--mode=root --skip=check/qemu --skip=chroot/mount/sys
      --customize-hook="mount --bind '$repository/build/arm64-sysroot/proc/cpuinfo'"' "$1/proc/cpuinfo"')
    # shellcheck disable=SC2016
    afterwards=(--customize-hook='umount "$1/proc/cpuinfo"')
  fi
  mkdir "$work/packages"
  cp "$packages"/*_"$arch".deb "$work/packages"
  (cd "$repository" &&
    cp -r --parents tests/install tests/scripted_engine tests/support/foreign_engine \
      "$work/packages")
  mmdebstrap --quiet --variant=apt --arch="$arch" --format=null \
    --customize-hook="copy-in '$work/packages' /" "${emulation[@]}" \
    --chrooted-customize-hook='exec /packages/tests/install/packages_inside.sh' \
    "${afterwards[@]}" bookworm
}

command -v mmdebstrap >/dev/null || skip "mmdebstrap is not installed"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ "$arch" != "$(dpkg --print-architecture)" ] && [ "${PACKAGES_NAMESPACE-}" != made ]; then
  command -v qemu-aarch64-static >/dev/null || skip "qemu-user-static is not installed"
  [ "$(id -u)" -eq 0 ] || skip "only root may tell the kernel of an emulator"
  enter_user_namespace
  exit
fi
if [ "${PACKAGES_NAMESPACE-}" = made ]; then
  tell_kernel_of_emulator
elif [ "$(id -u)" -eq 0 ]; then
  unshare --mount true 2>/dev/null || skip "this root may not mount, which a root folder takes"
else
  command -v newuidmap >/dev/null || skip "newuidmap, of Debian's uidmap, is not installed"
  grep -q "^$(id -un):" /etc/subuid || skip "neither root nor an entry in /etc/subuid"
fi
make_root_and_test
