#!/usr/bin/env bash
# The whole recipe, from nothing to two measured networks, on two cores: about two and a half hours.
#   training/recipe.sh [FOLDER]     default out/training
# A step whose result exists is not done again; training goes on from its last checkpoint. So
# after an interruption the same command goes on, and after a change to the recipe a new folder is
# needed. The host program has to be built (release).
set -euo pipefail
cd "$(dirname "$0")/.."

out=${1:-out/training}
python=(/usr/bin/python3)
# Threads that wait for each other by spinning would slow the workers down.
export OMP_WAIT_POLICY=PASSIVE

step() { echo "$(date +%T) $*"; }

train() {
  local task=$1 resume=()
  [[ ! -f ${out}/${task}/network.pt ]] || return 0
  [[ ! -f ${out}/${task}/checkpoint.pt ]] || resume=(--resume)
  step "training: ${task}"
  "${python[@]}" training/train.py "${task}" --data "${out}/data" --output "${out}/${task}" \
    --threads 1 --log-every 100 "${resume[@]}"  # the other core prepares samples
}

# Writes a network in its three forms.
export_forms() {
  local task=$1 name=$2
  step "export: ${name}"
  "${python[@]}" training/export.py "${task}" --weights "${out}/${task}/network.pt" \
    --output "${out}/${name}.onnx"
  for form in float16 static; do
    "${python[@]}" training/quantise.py "${form}" --model "${out}/${name}.onnx" \
      --output "${out}/${name}-${form}.onnx" --data "${out}/data"
  done
}

measure() {
  local task=$1 name=$2 form
  for form in '' -float16 -static; do
    step "evaluation: ${name}${form}"
    "${python[@]}" training/evaluate.py "${task}" --frames "${out}/frames" \
      --model "${out}/${name}${form}.onnx" --json "${out}/${name}${form}.json"
  done
}

step "rendering: training scenes"
"${python[@]}" training/render_data.py --output "${out}/data" --scenes 3000
if [[ ! -f ${out}/frames/truth/index.jsonl ]]; then
  step "rendering: frames to measure on"
  "${python[@]}" training/render_frames.py --output "${out}/frames" --frames 500 --clean 100
fi
train segment
train classify
export_forms segment dirt-seg
export_forms classify fece-check
measure segment dirt-seg
measure classify fece-check
step "done: networks and figures are in ${out}"
