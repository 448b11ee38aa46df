#!/usr/bin/env bash
# Installs what is missing, builds and runs every test.
# Arguments go to ctest: scripts/test.sh -R Patch
#   scripts/test.sh --coverage     prints instead how much of the libraries their tests reach, and
#                                  fails when that is too little
set -euo pipefail
cd "$(dirname "$0")/.."

readonly MIN_LINES=98 MIN_BRANCHES=90  # percent

# Branches that only an exception takes are left out: every call has one.
coverage() {
  local programs=(geometry_tests network_tests decode_tests engine_tests detector_tests)
  cmake --preset coverage
  cmake --build --preset coverage --target "${programs[@]}"
  find build/coverage -name '*.gcda' -delete
  local program
  for program in "${programs[@]}"; do "build/coverage/bin/$program" --gtest_brief=1; done
  local counted=(
    --filter src/dirty_seg_detector/ --filter src/logger/
    --filter src/decode/ --filter src/engine/ --filter src/network/ --filter src/geometry/
    --exclude-throw-branches --exclude-unreachable-branches
  )
  gcovr "${counted[@]}" build/coverage
  gcovr "${counted[@]}" --branches --print-summary \
    --fail-under-line "${MIN_LINES}" --fail-under-branch "${MIN_BRANCHES}" build/coverage
}

scripts/setup.sh
if [ "${1-}" = --coverage ]; then
  coverage
  exit
fi
cmake --preset dev
cmake --build --preset dev
ctest --preset dev "$@"
