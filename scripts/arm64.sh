#!/usr/bin/env bash
# Builds everything for 64-bit Arm on another machine and runs the whole test suite under emulation:
# as a Cortex-A53, which is Armv8.0 and nothing more, and as the most that QEMU knows.
#   scripts/arm64.sh [--cpu cortex-a53|max|both] [ctest arguments]     default: both
# Root, or sudo, is needed to install missing Debian packages, and for nothing else.
set -euo pipefail
cd "$(dirname "$0")/.."

cpu=both
if [ "${1-}" = --cpu ]; then
  cpu=${2-}
  shift $(($# < 2 ? $# : 2))
fi
case "$cpu" in
  both) cpus=(cortex-a53 max) ;;
  cortex-a53 | max) cpus=("$cpu") ;;
  *)
    echo "arm64: --cpu takes cortex-a53, max or both, not '$cpu'" >&2
    exit 2
    ;;
esac
if [ "$(uname -m)" = aarch64 ]; then
  echo "arm64: this machine is 64-bit Arm itself; run: scripts/test.sh" >&2
  exit 2
fi

scripts/setup.sh --arm64
cmake --preset arm64
cmake --build --preset arm64

failed=()
for cpu in "${cpus[@]}"; do
  echo "arm64: the tests on $cpu"
  QEMU_CPU=$cpu ctest --preset arm64 "$@" || failed+=("$cpu")
done
if [ ${#failed[@]} -gt 0 ]; then
  echo "arm64: tests failed on ${failed[*]}" >&2
  exit 1
fi
