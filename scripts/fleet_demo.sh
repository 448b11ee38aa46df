#!/usr/bin/env bash
# What another network would have said on a robot's log: renders frames, writes them as a log, runs
# the demo's network and its 8-bit form over it, compares both, and writes the log with what was
# found in it. Leaves all under out/fleet.
#   scripts/fleet_demo.sh [FRAMES]     default: 60
set -euo pipefail
cd "$(dirname "$0")/.."

readonly FRAMES=${1:-60} OUT=out/fleet
if ! [[ $FRAMES =~ ^[1-9][0-9]*$ ]]; then
  echo "fleet_demo: '$FRAMES' is not a number of frames; usage: scripts/fleet_demo.sh [FRAMES]" >&2
  exit 2
fi

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --target dirty_seg_python_package dirty_seg

rm -rf "$OUT"
mkdir -p "$OUT"
/usr/bin/python3 training/render_frames.py --frames "$FRAMES" --clean 0 --seed 23 --output "$OUT/frames"
/usr/bin/python3 training/render_data.py --scenes 16 --output "$OUT/scenes"
/usr/bin/python3 training/quantise.py static --model models/dirt-seg.onnx \
  --output "$OUT/dirt-seg-8bit.onnx" --data "$OUT/scenes"

python() { PYTHONPATH=$PWD/build/dev/python third_party/python/venv/bin/python "$@"; }
python python/examples/write_log.py "$OUT/frames/frames" "$OUT/drive.mcap"

# Exit status 1 says that frames failed: none may here.
for form in float 8bit; do
  model=models/dirt-seg.onnx
  [ "$form" = float ] || model=$OUT/dirt-seg-8bit.onnx
  python -m dirty_seg.fleet detect "$OUT/drive.mcap" --topic /camera/front \
    --model "$model" --config models/demo.yaml --output "$OUT/$form"
done
python -m dirty_seg.fleet compare "$OUT/float" "$OUT/8bit" \
  --report "$OUT/changes.html" --program build/dev/bin/dirty_seg
python -m dirty_seg.fleet annotate "$OUT/8bit" "$OUT/drive.mcap" --output "$OUT/annotated.mcap"
python -m dirty_seg.fleet export "$OUT/8bit" --jsonl "$OUT/results.jsonl"

echo
echo "page:     $PWD/$OUT/changes.html"
echo "log:      $PWD/$OUT/annotated.mcap"
echo "results:  $PWD/$OUT/results.jsonl"
