#!/usr/bin/env bash
# Writes the ABI of both libraries anew, as the one that later changes are compared with. Part of a
# release that changes it; docs/RELEASING.md says when that is permitted.
#   packaging/abi/update.sh [BUILD_FOLDER]     of the preset dev (the default) or arm64
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build/dev}

for name in dirty_seg_detector tessmar_ai_engine; do
  library=$build/lib/lib$name.so
  case $(readelf -h "$library") in
    *X86-64*) processor=x86_64 ;;
    *AArch64*) processor=aarch64 ;;
    *) echo "abi: $library is for neither x86-64 nor aarch64" >&2; exit 1 ;;
  esac
  dump=packaging/abi/lib$name.$processor.abi
  # Nothing that tells where or when the library was built; all types, since abidw, told to drop
  # private ones, drops those of include/ too when the compiler was given relative paths.
  abidw --exported-interfaces-only --no-corpus-path --no-comp-dir-path --no-show-locs \
    --type-id-style hash "$library" | sed "s|path='[^']*/src/|path='src/|" >"$dump"
  xz --force -9 "$dump"
  echo "abi: $dump.xz"
done
