#!/bin/sh
# Usage: exports_test.sh NM READELF LIBRARY
# Fails unless the library exports the operations of DirtySegDetector, all of them, and nothing else,
# under a SONAME with its major version.
set -eu

nm=$1
readelf=$2
library=$3

readonly CLASS='nuvik::perception::dirty_seg_detector::DirtySegDetector::'
readonly OPERATIONS='Init DoInference PreProcess PopulateData PreProcessFromSingleImageCrop PostProcess
  ConvertToDirtyStatusResult judge_fece PreProcessFece MakeSquare'
readonly SONAME=libdirty_seg_detector.so.1

failed=0
complain() {
  echo "exports: $*"
  failed=1
}

# Address, kind and name of each symbol; the names alone.
exported=$("${nm}" --dynamic --demangle --defined-only "${library}" | cut -d ' ' -f 3-)
[ -n "${exported}" ] || complain "${library} exports nothing"

# shellcheck disable=SC2086  # the list is words
pattern=$(echo ${OPERATIONS} | sed 's/ /|/g')
strangers=$(echo "${exported}" | grep -vE "^${CLASS}(${pattern})\(" || true)
[ -z "${strangers}" ] || complain "these are not operations of ${CLASS%::}:
${strangers}"

for operation in ${OPERATIONS}; do
  count=$(echo "${exported}" | grep -c "^${CLASS}${operation}(" || true)
  [ "${count}" -eq 1 ] || complain "${CLASS}${operation} is exported ${count} times, expected once"
done

"${readelf}" --dynamic "${library}" | grep -q "(SONAME).*\[${SONAME}\]" ||
  complain "the SONAME is not ${SONAME}: $("${readelf}" --dynamic "${library}" | grep SONAME || true)"

[ "${failed}" -eq 0 ] || exit 1
echo "exports: $(echo "${exported}" | wc -l) names, all operations of the class; ${SONAME}"
