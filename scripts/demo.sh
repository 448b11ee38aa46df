#!/usr/bin/env bash
# From a fresh machine to a picture: installs what is missing, builds, and finds the dirt on the
# demo frames with the demo networks. Leaves the results under out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --build-only
cmake --preset release
cmake --build --preset release

# Class 5, solid waste, is what the second network re-checks.
rm -rf out/demo
build/release/bin/dirty_seg detect \
  --model models/dirt-seg.onnx --config models/demo.yaml \
  --fece-model models/fece-check.onnx --fece-class-ids 5 \
  --fece-score-threshold 0.5 --fece-area-threshold 400 \
  --merge --output out/demo models/frames
build/release/bin/dirty_seg report out/demo

echo
echo "results:  $PWD/out/demo/results.jsonl"
for picture in "$PWD"/out/demo/*.overlay.jpg; do echo "picture:  $picture"; done
echo "page:     $PWD/out/demo/report.html"
