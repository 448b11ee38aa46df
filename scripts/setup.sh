#!/usr/bin/env bash
# Installs what the project needs on Debian 12, and only what is missing: Debian packages, and under
# third_party ONNX Runtime, the report's libraries and what the Python package is built and tested
# with; for cross builds a sysroot under build. Root is needed only for Debian packages. With nothing
# to do it needs neither root nor network.
set -euo pipefail

REPO="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
readonly ORT_DIR="${REPO}/third_party/onnxruntime"
readonly WEB_DIR="${REPO}/third_party/web"
# A virtual environment of Debian's Python, and what is in it.
readonly VENV_DIR="${REPO}/third_party/python/venv"
readonly REQUIREMENTS="${REPO}/python/requirements.txt"

# libopencv-dev: OpenCV's CMake package is in none of the smaller -dev packages.
readonly LIBRARY_PACKAGES=(
  libopencv-dev libyaml-cpp-dev libspdlog-dev libfmt-dev libsystemd-dev
  libcli11-dev libpng-dev nettle-dev nlohmann-json3-dev
)
readonly TEST_LIBRARY_PACKAGES=(libgtest-dev libgmock-dev)
readonly BUILD_PACKAGES=(g++ cmake ninja-build pkg-config "${LIBRARY_PACKAGES[@]}")
readonly DEVELOPER_PACKAGES=(
  abigail-tools binutils black chromium chromium-driver clang clang-format clang-tidy flake8 gcovr
  git libclang-rt-14-dev lld make shellcheck systemd valgrind xz-utils zsh
  "${TEST_LIBRARY_PACKAGES[@]}" libbenchmark-dev
  python3-dev python3-jsonschema python3-numpy python3-onnx python3-opencv python3-selenium
  python3-torch python3-venv python3-yaml
)
# To make Debian packages and try them; without root, uidmap lets mmdebstrap make its folder.
readonly PACKAGE_PACKAGES=(dpkg-dev file lintian mmdebstrap uidmap)
# To build for 64-bit Arm on another machine, and to run what was built.
readonly ARM64_PACKAGES=(g++-aarch64-linux-gnu mmdebstrap qemu-user-static)

# The libraries to build against there, as cmake/toolchains/arm64.cmake expects them.
readonly ARM64_SYSROOT="${REPO}/build/arm64-sysroot"
readonly ARM64_SYSROOT_PACKAGES=(
  libc6-dev libstdc++-12-dev "${LIBRARY_PACKAGES[@]}" "${TEST_LIBRARY_PACKAGES[@]}"
)
# What the sysroot is made of, written last: with it, the sysroot is complete.
readonly ARM64_STAMP="${ARM64_SYSROOT}/packages"

usage() {
  cat <<'EOF'
Usage: scripts/setup.sh [--build-only] [--package] [--arm64]
Installs what the project needs, as root or with sudo.
  --build-only  only what it takes to build and run, without test and developer tools
  --package     also what it takes to make Debian packages and to try them
  --arm64       also what it takes to build for 64-bit Arm on this machine and to emulate it
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
        for (i = 1; i <= count; ++i) if (!(name[i] in installed) && !told[name[i]]++) print name[i]
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
  # An unreachable source of the machine's own may not matter here; apt-get install will show.
  run_quietly apt_get -o APT::Update::Error-Mode=any update ||
    say "warning: 'apt-get update' failed; going on with the existing package lists" >&2
  run_quietly apt_get install --no-install-recommends "${missing[@]}" ||
    fail "'apt-get install' failed; its last lines stand above." \
      "Check the network and /etc/apt/sources.list*, then run this again, or by hand: ${by_hand}"
}

# The stamp is a copy of the lock file, written last: what is beside it is complete and of that
# lock file.
is_fetched() { cmp -s "$1/package-lock.json" "$1/node_modules/installed-lock.json"; }

# Removes what is for other systems, over half a gigabyte. FindONNXRuntime.cmake uses what stays.
prune_ort() {
  local modules="${ORT_DIR}/node_modules"
  rm -rf "${modules}"/onnxruntime-node/bin/napi-v6/{darwin,win32}
  find "${modules}/com.github.asus4.onnxruntime/Plugins" \
    ! -type d ! -path '*/ios-arm64/*/Headers/*' -delete
  find "${modules}/com.github.asus4.onnxruntime/Plugins" -type d -empty -delete
}

keep_all() { :; }

# fetch DIR WHAT PRUNE: what the lock file in DIR names, less what PRUNE removes.
fetch() {
  local dir="$1" what="$2" prune="$3"
  # Two of these at once (builds side by side) take turns; the second finds it done.
  exec {lock}<"${dir}/package-lock.json"
  flock "${lock}"
  if ! is_fetched "${dir}"; then
    say "fetching ${what} into ${dir#"${REPO}/"}"
    run_quietly env -C "${dir}" npm ci --ignore-scripts --no-progress ||
      fail "'npm ci' in ${dir#"${REPO}/"} failed; its last lines stand above." \
        "Check the network and npm's settings ('npm config list'), then run this again."
    "${prune}"
    cp "${dir}/package-lock.json" "${dir}/node_modules/installed-lock.json"
  fi
  exec {lock}<&-
}

venv_is_made() { cmp -s "${REQUIREMENTS}" "${VENV_DIR}/installed-requirements.txt"; }

# The stamp, written last, is a copy of the lock file, as above.
make_venv() {
  exec {lock}<"${REQUIREMENTS}"
  flock "${lock}"
  if ! venv_is_made; then
    say "making a virtual environment in ${VENV_DIR#"${REPO}/"} (about 800 MB)"
    rm -rf "${VENV_DIR}"
    mkdir -p "${VENV_DIR%/*}"
    if ! run_quietly /usr/bin/python3 -m venv "${VENV_DIR}" ||
      ! run_quietly "${VENV_DIR}/bin/pip" install --disable-pip-version-check --only-binary :all: \
        --require-hashes --requirement "${REQUIREMENTS}"; then
      fail "'pip install' of python/requirements.txt failed; its last lines stand above." \
        "Check the network and pip's settings ('pip config list'), then run this again."
    fi
    cp "${REQUIREMENTS}" "${VENV_DIR}/installed-requirements.txt"
  fi
  exec {lock}<&-
}

# Also for making packages: a record of what its libraries come from.
arm64_sysroot_is_made() {
  cmp -s <(echo "${ARM64_SYSROOT_PACKAGES[*]}") "${ARM64_STAMP}" &&
    [[ -s "${ARM64_SYSROOT}/var/lib/dpkg/status" ]]
}

# Does what the maintainer scripts, which only Arm can run, would have done for linker and loader.
link_arm64_libraries() {
  local libraries="${ARM64_SYSROOT}/usr/lib/aarch64-linux-gnu" link
  ln -s blas/libblas.so.3 lapack/liblapack.so.3 "${libraries}"
  # The linker follows an absolute link to the machine's own root.
  find "${libraries}" -type l -lname '/*' -print0 |
    while IFS= read -r -d '' link; do
      ln -snfr "${ARM64_SYSROOT}$(readlink "${link}")" "${link}"
    done
}

# ONNX Runtime ends the process when the processors that it reads of are not Arm's.
describe_arm64_processors() {
  local i
  for ((i = 0; i < $(nproc --all); ++i)); do
    printf '%s\t: %s\n' \
      processor "${i}" \
      Features 'fp asimd evtstrm aes pmull sha1 sha2 crc32 cpuid' \
      'CPU implementer' 0x41 'CPU architecture' 8 'CPU variant' 0x0 'CPU part' 0xd03 \
      'CPU revision' 4
    echo
  done
}

make_arm64_sysroot() {
  mkdir -p "${REPO}/build"
  exec {lock}<"${REPO}/build"
  flock "${lock}"
  if ! arm64_sysroot_is_made; then
    say "making a sysroot for 64-bit Arm in build/arm64-sysroot (1.1 GB)"
    rm -rf "${ARM64_SYSROOT}"
    # Packages are unpacked, never configured: no root, and no Arm processor, is needed for that.
    run_quietly mmdebstrap --mode=chrootless --variant=extract --arch=arm64 \
      --include="${ARM64_SYSROOT_PACKAGES[*]}" \
      --extract-hook="${REPO}/packaging/record_packages.sh" bookworm "${ARM64_SYSROOT}" ||
      fail "'mmdebstrap' failed; its last lines stand above." \
        "Check the network, then run this again."
    # Programs under emulation see the sysroot in place of folders that it has.
    rm -rf "${ARM64_SYSROOT:?}"/{bin,dev,sbin,tmp,usr/bin,usr/sbin}
    link_arm64_libraries
    mkdir "${ARM64_SYSROOT}/proc"
    describe_arm64_processors >"${ARM64_SYSROOT}/proc/cpuinfo"
    echo "${ARM64_SYSROOT_PACKAGES[*]}" >"${ARM64_STAMP}"
  fi
  exec {lock}<&-
}

main() {
  local packages=("${BUILD_PACKAGES[@]}") developer=("${DEVELOPER_PACKAGES[@]}") arm64=no option
  for option in "$@"; do
    case "${option}" in
      --build-only) developer=() ;;
      --package) packages+=("${PACKAGE_PACKAGES[@]}") ;;
      --arm64) packages+=("${ARM64_PACKAGES[@]}") arm64=yes ;;
      -h | --help) usage; exit 0 ;;
      *) usage >&2; exit 2 ;;
    esac
  done
  packages+=("${developer[@]}")
  if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    fail "this is not a Debian system." "Install the equivalents of: ${packages[*]}"
  fi

  if ! { is_fetched "${ORT_DIR}" && is_fetched "${WEB_DIR}"; } && ! command -v npm >/dev/null; then
    packages+=(npm)
  fi
  install_packages "${packages[@]}"
  is_fetched "${ORT_DIR}" || fetch "${ORT_DIR}" "ONNX Runtime (about 260 MB)" prune_ort
  is_fetched "${WEB_DIR}" || fetch "${WEB_DIR}" "the report's libraries (4 MB)" keep_all
  [[ ${#developer[@]} -eq 0 ]] || venv_is_made || make_venv
  [[ ${arm64} == no ]] || arm64_sysroot_is_made || make_arm64_sysroot
}

main "$@"
