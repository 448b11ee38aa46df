#!/usr/bin/env bash
# Installs what is missing, builds and runs every test.
# Arguments go to ctest: scripts/test.sh -R Patch
#   scripts/test.sh --coverage     prints instead how much of the libraries their tests reach, and
#                                  fails when that is too little
set -euo pipefail
cd "$(dirname "$0")/.."

readonly LEAST_LINES=98 LEAST_BRANCHES=90  # percent

# Branches that only an exception takes are left out: every call has one.
coverage() {
  cmake --preset coverage
  cmake --build --preset coverage --target detector_tests engine_tests
  find build/coverage -name '*.gcda' -delete
  build/coverage/bin/detector_tests --gtest_brief=1
  build/coverage/bin/engine_tests --gtest_brief=1
  local counted=(
    --filter src/dirty_seg_detector/ --filter src/logger/
    --filter src/decode/ --filter src/engine/ --filter src/network/
    --exclude-throw-branches --exclude-unreachable-branches
  )
  gcovr "${counted[@]}" build/coverage
  gcovr "${counted[@]}" --branches --print-summary \
    --fail-under-line "${LEAST_LINES}" --fail-under-branch "${LEAST_BRANCHES}" build/coverage
}

scripts/setup.sh
if [ "${1-}" = --coverage ]; then
  coverage
  exit
fi
cmake --preset dev
cmake --build --preset dev
ctest --preset dev "$@"
