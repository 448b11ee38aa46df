#!/usr/bin/env bash
# Usage: bare_root_test.sh WHEEL FOLDER_OF_PIP
# Installs the wheel in a Debian 12 root that has nothing but Python, which mmdebstrap makes and which
# is gone afterwards, and runs bare_root.py on the demo there. Exit status 77, with the reason, where
# such a root cannot be made.
set -euo pipefail
here=$(dirname "$(realpath "$0")")
wheel=$(realpath "$1") bin=$(realpath -s "$2")
repository=$(realpath "$here/../..")

skip() {
  echo "bare root: skipped: $1"
  exit 77
}

command -v mmdebstrap >/dev/null || skip "mmdebstrap is not installed (scripts/setup.sh --package)"
if [ "$(id -u)" -eq 0 ]; then
  unshare --mount true 2>/dev/null || skip "this root may not mount, which a root folder takes"
else
  command -v newuidmap >/dev/null || skip "newuidmap, of Debian's uidmap, is not installed"
  grep -q "^$(id -un):" /etc/subuid || skip "neither root nor an entry in /etc/subuid"
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/demo/wheels"
cp "$wheel" "$work/demo/wheels"
cp -r "$repository"/models "$here/bare_root.py" "$work/demo"
# The root has no network: what the wheel needs comes along.
needs=$("$bin/pip" list --format freeze |
  grep -E '^(numpy|opencv-python-headless|pycocotools)==')
# shellcheck disable=SC2086  # one requirement a word
"$bin/pip" --disable-pip-version-check download --quiet --no-deps --only-binary :all: \
  --dest "$work/demo/wheels" $needs
/usr/bin/python3 "$repository/training/render_frames.py" \
  --frames 4 --clean 1 --seed 977 --output "$work/demo/frames" >/dev/null
/usr/bin/python3 "$repository/training/coco_truth.py" \
  --frames "$work/demo/frames" --output "$work/demo/coco.json"

mmdebstrap --quiet --variant=apt --include=python3,python3-venv --format=null \
  --customize-hook="copy-in '$work/demo' /" \
  --chrooted-customize-hook='
    set -e
    python3 -m venv /venv
    /venv/bin/pip --disable-pip-version-check install --quiet --no-index \
      --find-links /demo/wheels "dirty-seg[evaluate]" opencv-python-headless
    cd /demo && /venv/bin/python bare_root.py
    /venv/bin/python -m dirty_seg.evaluate results.jsonl coco.json --label 19=5' bookworm
echo "bare root: the wheel is installed, finds what the demo shows, and is measured"
