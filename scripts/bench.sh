#!/usr/bin/env bash
# Builds and runs every benchmark; leaves Google Benchmark's JSON under out/bench and prints, last,
# a table of the bounds. Exit status 1 when one does not hold. Wants a quiet machine.
#   scripts/bench.sh [--smoke]     --smoke: a single iteration of each, to see that all of them run;
#                                  into out/bench-smoke, and no bound is judged
set -euo pipefail
cd "$(dirname "$0")/.."

case "$*" in
  "") smoke=() out=out/bench ;;
  --smoke) smoke=(--smoke) out=out/bench-smoke ;;
  *)
    echo "bench: '$*' is unknown; usage: scripts/bench.sh [--smoke]" >&2
    exit 2
    ;;
esac

scripts/setup.sh
cmake --preset bench
cmake --build --preset bench

rm -rf "$out"
mkdir -p "$out"

# The sides of a comparison take turns in one process, in random order.
#   run PROGRAM REPETITIONS MIN_SECONDS
run() {
  local repetitions=$2 seconds=$3
  [[ ${#smoke[@]} -eq 0 ]] || repetitions=1 seconds=0
  "build/bench/bin/$1_bench" \
    --benchmark_enable_random_interleaving=true \
    --benchmark_repetitions="$repetitions" --benchmark_min_time="$seconds" \
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
run idle 5 0.01
bench/program.py "${smoke[@]}" build/bench "$out/program.json"

echo
bench/table.py "${smoke[@]}" "$out"
