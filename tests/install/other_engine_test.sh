#!/bin/bash
# Usage: other_engine_test.sh HOST_SOURCE REPOSITORY PREFIX OTHER_ENGINE WORK_FOLDER [CMAKE_ARGUMENT...]
# The installed detector library, unchanged, on another libtessmar_ai_engine.so that the loader's
# path puts before the one beside it. HOST_SOURCE is a host that fails unless every call of the
# detector reaches that other engine. EMULATOR in the environment stands before the program.
set -euo pipefail
host_source=$1 repository=$2 prefix=$3 engine=$4 work=$5
shift 5
detector=$(find "$prefix/lib" -name libdirty_seg_detector.so)
libraries=$(dirname "$detector")

rm -rf "$work"
# The host finds the installed libraries by its RUNPATH, and nothing of the other engine.
cmake -S "$host_source" -B "$work" "-DREPOSITORY=$repository" "-DDETECTOR_LIBRARY=$detector" \
  "-DENGINE_LIBRARY=$engine" "$@" -DCMAKE_SKIP_RPATH=ON \
  "-DCMAKE_EXE_LINKER_FLAGS=-Wl,-rpath,$libraries" >/dev/null
cmake --build "$work" >/dev/null

# shellcheck disable=SC2206  # the emulator has arguments
host=(${EMULATOR-} "$work/host" "$work/host.yaml")
if "${host[@]}" >"$work/output" 2>&1; then
  echo "other_engine: without LD_LIBRARY_PATH, too, the host found the other engine"
  exit 1
fi
grep -q scripted_engine "$work/output" || {
  echo "other_engine: without LD_LIBRARY_PATH, expected a missing symbol of the other engine:"
  cat "$work/output"
  exit 1
}
LD_LIBRARY_PATH=$(dirname "$engine") "${host[@]}"
