#!/bin/bash
# Usage: hardening_test.sh READELF FILE...
# Fails unless each ELF file carries the defences of cmake/Hardening.cmake.
set -euo pipefail
readelf=$1
shift

failed=0
# need FILE WHAT PATTERN: a line of standard input matches.
need() {
  grep -qE "$3" || {
    echo "hardening: $1: no $2"
    failed=1
  }
}

for file in "$@"; do
  headers=$("$readelf" -Whl "$file")
  dynamic=$("$readelf" -Wd "$file")
  symbols=$("$readelf" -W --dyn-syms "$file")
  need "$file" "read-only relocations (RELRO)" '^ *GNU_RELRO ' <<<"$headers"
  need "$file" "stack that cannot be executed" '^ *GNU_STACK .* RW +0x' <<<"$headers"
  need "$file" "position-independent code" 'Type: +DYN ' <<<"$headers"
  need "$file" "binding at load (BIND_NOW)" '\(FLAGS(_1)?\).*NOW' <<<"$dynamic"
  need "$file" "stack protector" ' UND __stack_chk_fail(@|$)' <<<"$symbols"
  # The media library fills no memory whose length the compiler knows.
  [[ $file == */libdirty_seg_media.so ]] ||
    need "$file" "length checks of glibc (fortify)" ' UND __[a-z]+_chk(@|$)' <<<"$symbols"
  if grep -q ' INTERP ' <<<"$headers"; then
    need "$file" "PIE flag" '\(FLAGS_1\).*PIE' <<<"$dynamic"
  fi
done
[ "$failed" -eq 0 ] || exit 1
echo "hardening: all there in $# files"
