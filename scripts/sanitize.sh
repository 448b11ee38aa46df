#!/usr/bin/env bash
# The whole test suite under the address and undefined behaviour sanitizers, then under the thread
# sanitizer; the detector's under valgrind. Exit status 1 when one has something to say.
#   scripts/sanitize.sh [asan | tsan | valgrind]...     default: all three
set -euo pipefail
cd "$(dirname "$0")/.."
runs=("$@")
[[ ${#runs[@]} -gt 0 ]] || runs=(asan tsan valgrind)

scripts/setup.sh

suite() {
  cmake --preset "$1"
  cmake --build --preset "$1"
  ctest --preset "$1"
}

for run in "${runs[@]}"; do
  echo "sanitize: $run"
  case $run in
    asan | tsan) suite "$run" ;;
    valgrind)
      cmake --preset dev
      cmake --build --preset dev --target detector_tests logger_probe threads_tests
      # Tests of the systemd journal and of the exact order of bytes on pipes start other programs,
      # which are not followed. Frames of memory that valgrind stands before fence themselves.
      for tests in detector_tests threads_tests; do
        valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
          --num-callers=30 "build/dev/bin/$tests" --gtest_brief=1
      done
      ;;
    *)
      echo "sanitize: '$run' is unknown; expected asan, tsan or valgrind" >&2
      exit 2
      ;;
  esac
done
echo "sanitize: nothing found by: ${runs[*]}"
