#!/usr/bin/env bash
# From a fresh machine to a picture: installs what is missing, builds, and finds the dirt on the
# demo frame with the demo networks. Leaves the results under out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --build-only
cmake --preset release
cmake --build --preset release

# Class 3 is what the second network re-checks.
rm -rf out/demo
build/release/bin/dirty_seg detect \
  --model tests/floor/dirt-seg.onnx --config tests/floor/floor.yaml \
  --fece-model tests/floor/fece-check.onnx --fece-class-ids 3 \
  --fece-score-threshold 0.5 --fece-area-threshold 400 \
  --output out/demo tests/floor/floor.jpg
build/release/bin/dirty_seg report out/demo

echo
echo "results: $PWD/out/demo/results.jsonl"
echo "picture: $PWD/out/demo/floor.overlay.jpg"
echo "page:    $PWD/out/demo/report.html"
