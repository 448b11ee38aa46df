#!/usr/bin/env bash
# Changes the sources of the two libraries, one place at a time, and reports which changes no test
# notices. Works on a copy of the tree under build/mutate; see scripts/mutate.sh --help.
set -euo pipefail
cd "$(dirname "$0")/.."
exec /usr/bin/python3 scripts/mutate/run.py "$@"
