#!/usr/bin/env bash
# Holds all sources and scripts to their style: clang-format, black, flake8, shellcheck, clang-tidy,
# each by its configuration in the repository's root, and the Python package to ruff and mypy by its
# own. Builds nothing.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh

git ls-files -z '*.h' '*.cpp' | xargs -0 clang-format --dry-run -Werror
git ls-files -z '*.py' | xargs -0 black --check --quiet --diff
git ls-files -z '*.py' | xargs -0 flake8
third_party/python/venv/bin/ruff check --quiet python
(cd python && ../third_party/python/venv/bin/mypy --config-file pyproject.toml src/dirty_seg)
git grep -lz '^#!.*sh$' | xargs -0 shellcheck
echo "lint: format, Python and shell scripts are right"

cmake --preset lint >/dev/null
readonly BUILD=build/lint
# A source that several targets compile is checked once, as the first of them compiles it. Not
# checked are those that the build makes or that include what it makes (*.inc), and those of the
# tests' own small projects.
readonly COMMANDS=$BUILD/once SOURCES=$BUILD/sources
mkdir -p "$COMMANDS" "$BUILD/passed"
git ls-files '*.cpp' | /usr/bin/python3 -c '
import json, pathlib, sys
build, once = sys.argv[1:]
tracked = {str(pathlib.Path(name.strip()).resolve()): name.strip() for name in sys.stdin}
commands = {c["file"]: c for c in reversed(json.load(open(f"{build}/compile_commands.json")))}
json.dump(list(commands.values()), open(f"{once}/compile_commands.json", "w"))
known = {file: open(file).read() for file in commands if file in tracked}
print(*sorted(tracked[file] for file, text in known.items() if ".inc\"\n" not in text), sep="\n")
' "$BUILD" "$COMMANDS" >"$SOURCES"

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
xargs -P "$(nproc)" -n 1 bash -c 'check "$1"' check <"$SOURCES"
echo "lint: clang-tidy has nothing to say"
