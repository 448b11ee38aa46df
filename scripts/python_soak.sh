#!/usr/bin/env bash
# The Python package for longer than its tests: arrays and configurations of any kind for so many
# minutes, then 10,000 frames whose memory has to stay flat.
#   scripts/python_soak.sh [MINUTES]     default: 60
set -euo pipefail
cd "$(dirname "$0")/.."

readonly MINUTES=${1:-60}
if ! [[ $MINUTES =~ ^[1-9][0-9]*$ ]]; then
  echo "python_soak: '$1' is not a number of minutes; usage: scripts/python_soak.sh [MINUTES]" >&2
  exit 2
fi

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --target dirty_seg_python_package dirty_seg

cd python/tests
export PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$PWD/../../build/dev/python:$PWD
export DIRTY_SEG_PROGRAM=$PWD/../../build/dev/bin/dirty_seg
readonly PYTEST=(../../third_party/python/venv/bin/python -m pytest -q -p no:cacheprovider
  -c ../pyproject.toml)

# Each round has examples of its own; its seed is printed.
rounds=0 end=$((SECONDS + MINUTES * 60))
while [ "$SECONDS" -lt "$end" ]; do
  seed=$RANDOM
  DIRTY_SEG_EXAMPLES=2000 "${PYTEST[@]}" --hypothesis-seed="$seed" -k 'any' \
    test_arrays.py test_setup.py || { echo "python_soak: failed with seed $seed" >&2; exit 1; }
  rounds=$((rounds + 1))
done
echo "python_soak: $rounds rounds in $MINUTES minutes, none of which ended the interpreter"

DIRTY_SEG_LEAK_FRAMES=10000 "${PYTEST[@]}" -k memory_is_flat test_lifetime.py
echo "python_soak: memory stays flat over 10,000 frames"
