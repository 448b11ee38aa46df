#!/usr/bin/env bash
# Builds every fuzz target with libFuzzer, address and undefined behaviour sanitizer and runs each
# for SECONDS, one after another. Exit status 1 when one found something: the input then lies under
# out/fuzz/findings, and its log beside it.
#   scripts/fuzz.sh [SECONDS [TARGET...]]     default: 20, all targets
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1-20}
[[ $seconds =~ ^[1-9][0-9]*$ ]] || {
  echo "fuzz: '$seconds' is not a number of seconds; usage: scripts/fuzz.sh [SECONDS [TARGET...]]" >&2
  exit 2
}
targets=("${@:2}")
[[ ${#targets[@]} -gt 0 ]] ||
  targets=(yaml_file pipeline decoder model_file arguments things run_length)

scripts/setup.sh
cmake --preset fuzz
cmake --build --preset fuzz

out=out/fuzz
mkdir -p "$out/findings"

# The option for the target's words, where it has any: libFuzzer takes one file only.
dictionary_option() {
  local words=()
  case $1 in
    yaml_file) words=(fuzz/yaml.dict) ;;
    arguments) words=(fuzz/arguments.dict fuzz/yaml.dict) ;;
    model_file) words=(fuzz/onnx.dict) ;;
    *) return ;;
  esac
  cat "${words[@]}" >"$out/$1.dict"
  echo "-dict=$out/$1.dict"
}

failed=0
for target in "${targets[@]}"; do
  grown=$out/corpus/$target
  seeds=(fuzz/corpus/"$target")
  [[ $target != model_file ]] || seeds+=(tests/networks)
  [[ ! -d fuzz/regressions/$target ]] || seeds+=(fuzz/regressions/"$target")
  mkdir -p "$grown"
  read -ra options < <(dictionary_option "$target"; echo)
  status=0
  # What the code under test prints would drown the fuzzer's own lines.
  build/fuzz/bin/fuzz_"$target" -max_total_time="$seconds" -timeout=25 -rss_limit_mb=4096 \
    -close_fd_mask=3 -print_final_stats=1 "${options[@]}" \
    -artifact_prefix="$out/findings/$target-" "$grown" "${seeds[@]}" >"$out/$target.log" 2>&1 ||
    status=$?
  executions=$(sed -n 's/^stat::number_of_executed_units: *//p' "$out/$target.log")
  if [[ $status -eq 0 ]]; then
    echo "fuzz: $target: ${executions:-?} executions in $seconds s, nothing found"
  else
    echo "fuzz: $target: FOUND something after ${executions:-?} executions; $out/$target.log ends:"
    tail -n 25 "$out/$target.log" | sed 's/^/  | /'
    failed=1
  fi
done
exit "$failed"
