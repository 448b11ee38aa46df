#!/usr/bin/env bash
# Builds and runs every benchmark; leaves Google Benchmark's JSON under out/bench and prints, last,
# a table of the bounds. Exit status 1 when one does not hold. Wants a quiet machine.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset bench
cmake --build --preset bench

out=out/bench
rm -rf "$out"
mkdir -p "$out"

# The sides of a comparison take turns in one process, in random order.
#   run PROGRAM REPETITIONS LEAST_SECONDS
run() {
  "build/bench/bin/$1_bench" \
    --benchmark_enable_random_interleaving=true \
    --benchmark_repetitions="$2" --benchmark_min_time="$3" \
    --benchmark_display_aggregates_only=true \
    --benchmark_out="$out/$1.json" --benchmark_out_format=json
}
run populate 15 0.05
run patches 15 0.05
run fece 15 0.05
run decode 9 0.05
run convert 15 0.05
run growth 9 0.02
run frame 15 0.01
run first_frame 7 0.01

echo
bench/table.py "$out"
