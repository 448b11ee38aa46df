#!/usr/bin/env bash
# Installs what is missing, builds, holds the sources to their style and runs every test.
# Arguments go to ctest: scripts/test.sh -R Patch
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev
scripts/lint.sh build/dev
ctest --preset dev "$@"
