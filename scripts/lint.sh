#!/usr/bin/env bash
# Holds every source to .clang-format, those of the libraries and the host program to .clang-tidy,
# Python to black (pyproject.toml) and flake8 (.flake8), and shell scripts to shellcheck.
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

git ls-files -z '*.py' | xargs -0 black --check --quiet --diff
git ls-files -z '*.py' | xargs -0 flake8
git grep -lz '^#!.*sh$' | xargs -0 shellcheck
echo "lint: Python and shell scripts are right"

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
# shellcheck disable=SC2016  # the inner shell has the words
git ls-files -z 'src/*.cpp' 'apps/*.cpp' |
  xargs -0 -P "$(nproc)" -I{} bash -c 'check "$0" "$1" "$2"' "$stamps" "$build" {}
echo "lint: clang-tidy has nothing to say"
