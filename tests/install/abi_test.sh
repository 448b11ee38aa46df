#!/bin/bash
# Usage: abi_test.sh LIBRARY DUMP COMPILER
# Holds a library with debug information against the ABI of the last release, DUMP, an abidw file
# packed by xz. Any difference fails: docs/RELEASING.md says what it takes. Exit status 77 where the
# comparison would say nothing.
set -euo pipefail
library=$1 dump=$2 compiler=$3

skip() {
  echo "abi: skipped: $1"
  exit 77
}
command -v abidiff >/dev/null || skip "abidiff is not installed (Debian package abigail-tools)"
[ -f "$dump" ] || skip "there is no $dump for this processor"
# Another release of the compiler brings another standard library, whose insides are in the dump.
case $compiler in
  "GNU 12."*) ;;
  *) skip "the dump was made with GNU 12, this library with $compiler" ;;
esac

# Without it abidiff compares only the names.
[[ "$(readelf -S "$library")" == *.debug_info* ]] || {
  echo "abi: $library has no debug information, expected a build with -g"
  exit 1
}

old=$(mktemp --suffix=.abi)
trap 'rm -f "$old"' EXIT
xz --decompress --stdout "$dump" >"$old"
grep -q 'type-decl\|class-decl' "$old" || {
  echo "abi: $dump describes no types"
  exit 1
}
# Without --harmless it passes over a new enumerator, or a member of another type of the same size.
abidiff --harmless "$old" "$library"
echo "abi: $(basename "$library") is as released"
