#!/usr/bin/env bash
# Replays whose workers, drivers and nodes are killed at random moments, whose disk is full, whose
# memory is taken, whose object store fails: each so often, held against an undisturbed run.
#   scripts/fleet_kills.sh [ROUNDS]     default: 20, which take about an hour
# Root is needed for the full disk, and for nothing else; without it that test is skipped.
set -euo pipefail
cd "$(dirname "$0")/.."

readonly ROUNDS=${1:-20} LOG=out/fleet-kills.txt
if ! [[ $ROUNDS =~ ^[1-9][0-9]*$ ]]; then
  echo "fleet_kills: '$ROUNDS' is not a number of rounds; usage: scripts/fleet_kills.sh [ROUNDS]" >&2
  exit 2
fi

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --target dirty_seg_python_package dirty_seg

mkdir -p out
status=0
DIRTY_SEG_KILLS=$ROUNDS DIRTY_SEG_PROGRAM=$PWD/build/dev/bin/dirty_seg \
  PYTHONPATH=$PWD/build/dev/python:$PWD/python/tests PYTHONDONTWRITEBYTECODE=1 \
  third_party/python/venv/bin/python -m pytest -v -s -p no:cacheprovider -c python/pyproject.toml \
  python/tests/test_fleet_run.py \
  -k "killed or kills or lack_of_memory or full_disk or often_fails" >"$LOG" 2>&1 || status=$?

echo "fleet_kills: $ROUNDS rounds, all output in $LOG"
# By test: how often it passed, failed or was skipped.
grep -oE '^[^ ]*::test_[a-z0-9_]+\[[0-9]+\]|(PASSED|FAILED|SKIPPED|ERROR)' "$LOG" |
  awk '/::/ {sub(/.*::/, ""); sub(/\[.*/, ""); name = $0; next}
       name != "" {count[name " " $0]++; name = ""}
       END {for (key in count) print count[key], key}' | sort -k2
echo "workers killed: $(grep -oE 'killed [0-9]+ workers' "$LOG" | awk '{n += $2} END {print n + 0}')"
tail -n 1 "$LOG"
exit "$status"
