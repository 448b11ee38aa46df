#!/usr/bin/env bash
# Holds every source to .clang-format and those of the libraries and the host program to
# .clang-tidy; every script has to be one that its interpreter can read.
#   scripts/lint.sh [BUILD_FOLDER]     a configured one, for its compile commands; default build/dev
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/dev}
[ -f "$build/compile_commands.json" ] || {
  echo "lint: $build has no compile_commands.json; run: cmake --preset dev" >&2
  exit 2
}

git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
echo "lint: format is right"

git ls-files -z '*.sh' .ci/run | xargs -0 -n 1 bash -n
git ls-files -z '*.py' | xargs -0 /usr/bin/python3 -c '
import sys
for path in sys.argv[1:]:
    compile(open(path, "rb").read(), path, "exec")'
echo "lint: scripts can be read"

# A source that passed is checked again only after it, a header or a rule changed.
stamps=$build/lint
mkdir -p "$stamps"
check() {
  local stamp
  stamp=$1/$(echo "$3" | tr / _)
  if [ -f "$stamp" ] && [ -z "$(find .clang-tidy include src apps -newer "$stamp" \
      \( -name '*.h' -o -name .clang-tidy -o -path "$3" \) -print -quit)" ]; then
    return
  fi
  rm -f "$stamp"
  if ! output=$(clang-tidy -p "$2" --quiet "$3" 2>&1); then
    echo "$output"
    exit 1
  fi
  touch "$stamp"
}
export -f check
git ls-files -z 'src/*.cpp' 'apps/*.cpp' |
  xargs -0 -P "$(nproc)" -I{} bash -c 'check "$0" "$1" "$2"' "$stamps" "$build" {}
echo "lint: clang-tidy has nothing to say"
