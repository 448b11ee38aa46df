#!/usr/bin/env bash
# Installs what the project needs on Debian 12, and only what is missing: Debian packages, and
# ONNX Runtime under third_party/onnxruntime. With nothing to do it needs neither root nor network.
set -euo pipefail

REPO="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
readonly ORT_DIR="${REPO}/third_party/onnxruntime"
# A copy of the lock file, written last: what stands beside it is complete and of that lock file.
readonly ORT_STAMP="${ORT_DIR}/node_modules/installed-lock.json"

# libopencv-dev: OpenCV's CMake package is in none of the smaller -dev packages.
readonly BUILD_PACKAGES=(
  g++ cmake ninja-build pkg-config
  libopencv-dev libyaml-cpp-dev libspdlog-dev libfmt-dev libsystemd-dev
  libcli11-dev nlohmann-json3-dev
)
readonly DEVELOPER_PACKAGES=(
  binutils git clang-format clang-tidy
  libgtest-dev libgmock-dev libbenchmark-dev
  python3-numpy python3-onnx python3-opencv
)

usage() {
  cat <<'EOF'
Usage: scripts/setup.sh [--build-only]
Installs what the project needs, as root or with sudo.
  --build-only  only what it takes to build and run, without test and developer tools
EOF
}

say() { echo "setup: $*"; }

fail() {
  echo "setup: error: $1" >&2
  shift
  printf '  %s\n' "$@" >&2
  exit 1
}

# Runs a command silently; when it fails, shows the end of what it printed and gives its status.
run_quietly() {
  local log status=0
  log="$(mktemp)"
  "$@" >"${log}" 2>&1 </dev/null || status=$?
  if [[ ${status} -ne 0 ]]; then
    tail -n 15 "${log}" | sed 's/^/  | /' >&2
  fi
  rm -f "${log}"
  return "${status}"
}

as_root() {
  if [[ ${EUID} -eq 0 ]]; then "$@"; else sudo "$@"; fi
}

apt_get() {
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get -q -y -o DPkg::Lock::Timeout=300 "$@"
}

# Prints those of the named Debian packages that are not installed.
missing_packages() {
  dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null |
    awk -v names="$*" '
      $1 == "installed" { installed[$2] }
      END {
        count = split(names, name, " ")
        for (i = 1; i <= count; ++i) if (!(name[i] in installed)) print name[i]
      }'
}

install_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  [[ ${#missing[@]} -gt 0 ]] || return 0

  local by_hand="apt-get install --no-install-recommends ${missing[*]}"
  if [[ ${EUID} -ne 0 ]] && ! command -v sudo >/dev/null; then
    fail "Debian packages are missing, and only root may install them." "Run as root: ${by_hand}"
  fi
  printf 'setup: installing Debian package %s\n' "${missing[@]}"
  # An unreachable source of the machine's own may not matter here; apt-get install will tell.
  run_quietly apt_get -o APT::Update::Error-Mode=any update ||
    say "warning: 'apt-get update' failed; going on with the package lists that are there" >&2
  run_quietly apt_get install --no-install-recommends "${missing[@]}" ||
    fail "'apt-get install' failed; its last lines stand above." \
      "Check the network and /etc/apt/sources.list*, then run this again, or by hand: ${by_hand}"
}

ort_is_fetched() { cmp -s "${ORT_DIR}/package-lock.json" "${ORT_STAMP}"; }

# Removes what is for other systems, over half a gigabyte. FindONNXRuntime.cmake uses what stays.
prune_ort() {
  local modules="${ORT_DIR}/node_modules"
  rm -rf "${modules}"/onnxruntime-node/bin/napi-v6/{darwin,win32}
  find "${modules}/com.github.asus4.onnxruntime/Plugins" \
    ! -type d ! -path '*/ios-arm64/*/Headers/*' -delete
  find "${modules}/com.github.asus4.onnxruntime/Plugins" -type d -empty -delete
}

fetch_ort() {
  # Two of these at once (builds side by side) take turns; the second finds it done.
  exec {lock}<"${ORT_DIR}/package-lock.json"
  flock "${lock}"
  if ! ort_is_fetched; then
    say "fetching ONNX Runtime into third_party/onnxruntime (about 260 MB)"
    run_quietly env -C "${ORT_DIR}" npm ci --ignore-scripts --no-progress ||
      fail "'npm ci' in third_party/onnxruntime failed; its last lines stand above." \
        "Check the network and npm's settings ('npm config list'), then run this again."
    prune_ort
    cp "${ORT_DIR}/package-lock.json" "${ORT_STAMP}"
  fi
  exec {lock}<&-
}

main() {
  local packages=("${BUILD_PACKAGES[@]}" "${DEVELOPER_PACKAGES[@]}")
  case "${1-}" in
    "") ;;
    --build-only) packages=("${BUILD_PACKAGES[@]}") ;;
    -h | --help) usage; exit 0 ;;
    *) usage >&2; exit 2 ;;
  esac
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    fail "this is no Debian system." "Install the equivalents of: ${packages[*]}"
  fi

  if ! ort_is_fetched && ! command -v npm >/dev/null; then packages+=(npm); fi
  install_packages "${packages[@]}"
  ort_is_fetched || fetch_ort
}

main "$@"
