#!/bin/bash
# Usage: engine_elsewhere_test.sh PREFIX WORK_FOLDER [CMAKE_ARGUMENT...]
# The installed detector where the engine's library has gone to another folder, WORK_FOLDER/platform,
# as a platform's would lie: its CMake package has to find it there, given by an argument.
set -euo pipefail
prefix=$1 work=$2
shift 2

rm -rf "$work"
mkdir -p "$work/platform"
cp -r "$prefix" "$work/prefix"
engine=$(find "$work/prefix/lib" -name libtessmar_ai_engine.so)
libraries=$(dirname "$engine")
mv "$engine" "$libraries/dirty_seg_detector" "$work/platform"

"$(dirname "$0")/minimal_host_test.sh" cmake "$work/prefix" "$work/host" "$@" \
  "-DDirtySegDetector_DIR=$libraries/cmake/DirtySegDetector"
