#!/usr/bin/env bash
# Builds the Python package's wheel, puts the libraries that it needs into it, runs the package's
# tests on it, and tries it in a Debian 12 root that has nothing but Python. Leaves it under
# out/wheels.
#   scripts/wheel.sh [--no-root]     --no-root: without the Debian root, which needs root
set -euo pipefail
cd "$(dirname "$0")/.."

fail() {
  echo "wheel: error: $*" >&2
  exit 2
}

tries_root=yes
case "${1-}" in
  "") ;;
  --no-root) tries_root=no ;;
  *) fail "'$1' is not an option; usage: scripts/wheel.sh [--no-root]" ;;
esac

scripts/setup.sh
cmake --preset release
cmake --build --preset release --target dirty_seg

readonly BIN=$PWD/third_party/python/venv/bin OUT=$PWD/out/wheels BUILD=$PWD/build/wheel
rm -rf "$OUT" "$BUILD"/{built,installed}
mkdir -p "$OUT" "$BUILD"/{built,installed}
"$BIN/python" -m pip --disable-pip-version-check wheel --quiet --no-deps --no-build-isolation \
  --config-settings "build-dir=$BUILD/cmake" --wheel-dir "$BUILD/built" ./python
PATH=$BIN:$PATH "$BIN/auditwheel" repair --wheel-dir "$OUT" "$BUILD"/built/*.whl
wheel=$(echo "$OUT"/*.whl)
[ -f "$wheel" ] || fail "auditwheel left no wheel in out/wheels"

"$BIN/python" -m pip --disable-pip-version-check install --quiet --no-deps \
  --target "$BUILD/installed" "$wheel"
(
  cd python/tests
  PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=$BUILD/installed:$PWD \
    DIRTY_SEG_PROGRAM=$PWD/../../build/release/bin/dirty_seg \
    "$BIN/python" -m pytest -q -p no:cacheprovider -c ../pyproject.toml .
  PYTHONPATH=$BUILD/installed "$BIN/python" ../bench.py
)

if [ "$tries_root" = yes ]; then
  tried=0
  python/tests/bare_root_test.sh "$wheel" "$BIN" || tried=$?
  [ "$tried" -eq 0 ] || [ "$tried" -eq 77 ] || exit 1
fi

echo
echo "wheel: $(du -h "$wheel" | cut -f 1) $wheel"
"$BIN/python" - "$wheel" <<'END'
import sys, zipfile

with zipfile.ZipFile(sys.argv[1]) as wheel:
    large = sorted(wheel.infolist(), key=lambda file: -file.file_size)[:8]
for file in large:
    print(f"  {file.file_size / 2**20:6.1f} MiB  {file.filename}")
END
