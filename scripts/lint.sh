#!/usr/bin/env bash
# Holds all sources and scripts to their style: clang-format, black, flake8, shellcheck, clang-tidy,
# each by its configuration in the repository's root. Builds nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
git ls-files -z '*.py' | xargs -0 black --check --quiet --diff
git ls-files -z '*.py' | xargs -0 flake8
git grep -lz '^#!.*sh$' | xargs -0 shellcheck
echo "lint: format, Python and shell scripts are right"

cmake --preset lint >/dev/null
readonly BUILD=build/lint
# A source that several targets compile is checked once, as the first of them compiles it.
readonly COMMANDS=$BUILD/once
mkdir -p "$COMMANDS" "$BUILD/passed"
/usr/bin/python3 -c '
import json, sys
commands = {command["file"]: command for command in reversed(json.load(sys.stdin))}
json.dump(list(commands.values()), sys.stdout)
' <$BUILD/compile_commands.json >$COMMANDS/compile_commands.json

# A source that passed is checked again only after it, a header or a rule changed.
check() {
  local source=$1 stamp output
  stamp=$BUILD/passed/${source//\//_}
  if [ -f "$stamp" ] && [ -z "$(find -L .clang-tidy include src apps "${source%%/*}" \
    -newer "$stamp" \( -name '*.h' -o -name .clang-tidy -o -path "$source" \) -print -quit)" ]; then
    return
  fi
  touch "$stamp.begun"
  if ! output=$(clang-tidy -p "$COMMANDS" --quiet "$source" 2>&1); then
    echo "$output"
    exit 1
  fi
  mv "$stamp.begun" "$stamp"
}
export BUILD COMMANDS
export -f check
# shellcheck disable=SC2016  # the inner shell has the file's name
git ls-files -z '*.cpp' | xargs -0 -P "$(nproc)" -n 1 bash -c 'check "$1"' check
echo "lint: clang-tidy has nothing to say"
