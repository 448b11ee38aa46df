#!/usr/bin/env bash
# Measures replays on Ray and prints the tables of docs/FLEET.md, in about twenty minutes. Wants a
# quiet machine and 8 GB of memory.
#   scripts/fleet_bench.sh [--smoke]     --smoke: a few frames, to see that all of it runs
set -euo pipefail
cd "$(dirname "$0")/.."

case "$*" in
  "") smoke=() frames=60 ;;
  --smoke) smoke=(--smoke) frames=4 ;;
  *)
    echo "fleet_bench: '$*' is unknown; usage: scripts/fleet_bench.sh [--smoke]" >&2
    exit 2
    ;;
esac
readonly OUT=out/fleet-bench

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --target dirty_seg_python_package dirty_seg

rm -rf "$OUT"
mkdir -p "$OUT"
/usr/bin/python3 training/render_frames.py --frames "$frames" --clean 0 --seed 23 \
  --output "$OUT/rendered"
PYTHONPATH=$PWD/build/dev/python third_party/python/venv/bin/python bench/fleet/bench.py \
  "${smoke[@]}" build/dev/bin/dirty_seg "$OUT/rendered/frames" "$OUT/work"
