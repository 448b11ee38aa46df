#!/bin/bash
# Usage: journal_test.sh WITH_JOURNAL MINIMAL_HOST PREFIX
# Fails unless the host's standard output holds only detections and the journal the detector's log.
# EMULATOR in the environment stands before the program.
set -euo pipefail
with_journal=$1 host=$2 data=$3/share/dirty_seg

output=$(mktemp)
trap 'rm -f "$output"' EXIT
status=0
# shellcheck disable=SC2086  # the emulator has arguments
journal=$("$with_journal" ${EMULATOR-} "$host" "$data/demo/dirt-seg.onnx" "$data/sample.yaml" \
  "$data/demo/planks.jpg" 2>"$output") || status=$?
if [ "$status" -ne 0 ]; then
  echo "journal: skipped: $journal"
  cat "$output"
  exit "$status"
fi

failed=0
if [ ! -s "$output" ] || grep -v '^label [0-9]* score ' "$output"; then
  echo "journal: standard output holds nothing, or the lines above beside detections"
  failed=1
fi
for message in 'Initing dirty seg detector model succeed' 'inference cost time is'; do
  grep -q "\"MESSAGE\":\"[^\"]*\[INFO\] [^\"]*$message" <<<"$journal" || {
    echo "journal: no entry with '$message' among: $journal"
    failed=1
  }
done
exit "$failed"
