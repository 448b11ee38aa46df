#!/bin/bash
# Usage: minimal_host_test.sh cmake|pkg-config PREFIX WORK_FOLDER [CMAKE_ARGUMENT...]
# Builds the installed example in WORK_FOLDER, as its reader would, against what is installed in
# PREFIX, and fails unless it finds on the demo's frame what found.txt lists. EMULATOR in the
# environment stands before the program.
set -euo pipefail
way=$1 prefix=$2 work=$3
shift 3
data=$prefix/share/dirty_seg
expected=$(dirname "$(realpath "$0")")/found.txt

rm -rf "$work"
cp -r "$data/examples/minimal_host" "$work"
cd "$work"
case $way in
  cmake)
    cmake -S . -B build "$@"
    cmake --build build
    ;;
  pkg-config)
    libraries=$(dirname "$(find "$prefix/lib" -name libdirty_seg_detector.so)")
    PKG_CONFIG_PATH=$libraries/pkgconfig make CXXFLAGS=-O1 LDFLAGS="-Wl,-rpath,$libraries"
    mkdir build
    mv minimal_host build
    ;;
esac

# With the classes to re-check as arguments.
run_host() {
  # shellcheck disable=SC2086  # the emulator has arguments
  SPDLOG_SYSTEMD=false ${EMULATOR-} build/minimal_host "$data/demo/dirt-seg.onnx" \
    "$data/sample.yaml" "$data/demo/planks.jpg" "$data/demo/fece-check.onnx" "$@"
}

found=$(run_host 5 | sed 's/score [0-9.]* //' | LC_ALL=C sort)
diff "$expected" - <<<"$found" || {
  echo "minimal_host: expected what stands left (<), found what stands right (>)"
  exit 1
}
if complaint=$(run_host 5x 2>&1) || [ $? -ne 2 ] ||
  [ "${complaint##*$'\n'}" != "CLASS is '5x'; expected a number from 0" ]; then
  echo "minimal_host: CLASS 5x is answered with: $complaint"
  exit 1
fi
echo "minimal_host: built by $way, finds what the demo finds"
