#!/bin/bash
# Runs in a bare Debian root that has the packages and a part of the repository in /packages:
# installs what a robot gets, uses it, puts a platform's engine before ours, adds what an integrator
# gets, builds the example and another engine with only that, and removes it all.
set -euo pipefail
cd /packages
tests=$PWD/tests/install
# What steers builds on the machine outside means nothing in here.
unset CC CXX CPPFLAGS CFLAGS CXXFLAGS LDFLAGS "${!CMAKE_@}" "${!PKG_CONFIG_@}"
export DEBIAN_FRONTEND=noninteractive HOME=/tmp/home
mkdir -p "$HOME"

say() { echo "packages: $*"; }

fail() {
  say "$*"
  exit 1
}

install() { apt-get -q -y install --no-install-recommends "$@" >apt.log 2>&1 || {
  tail -n 30 apt.log
  fail "apt-get install $* failed"
}; }

# Shows the last line of what a command prints, and all of it when it fails.
quietly() {
  "$@" >command.log 2>&1 || {
    cat command.log
    fail "$* failed"
  }
  tail -n 1 command.log
}

# Files of ours, and libraries of ours that the loader knows.
traces() {
  find / -xdev \( -path /packages -o -path /proc -o -path /sys -o -path /tmp \) -prune -o \
    \( -iname '*dirty[-_]seg*' -o -name '*tessmar*' -o -name '*onnxruntime*' \) -print
  ldconfig -p | grep -E 'dirty_seg|tessmar|onnxruntime' || true
}

# need_notice FILE WORDS
need_notice() { grep -q "$2" "$1" || fail "$1 has no '$2', whose work is in the package"; }

engine_library() { ldconfig -p | sed -n 's/.*libtessmar_ai_engine.so .*=> //p'; }

test_notices() {
  local doc=/usr/share/doc runtime=/usr/share/dirty_seg/onnxruntime holder
  need_notice "$doc/libtessmar-ai-engine/copyright" Microsoft
  need_notice "$runtime/LICENSE" Microsoft
  for holder in Eigen curl/curl 'Mbed TLS'; do
    need_notice "$runtime/ThirdPartyNotices.txt" "$holder"
  done
  for holder in 'University of Cincinnati' 'Niels Lohmann' 'Leon Sorokin' 'Tanner Linsley'; do
    need_notice "$doc/dirty-seg-tools/copyright" "$holder"
  done
}

# As they are handed out: built and stripped by another way than developers' builds.
test_hardening() {
  local libraries
  libraries=$(dirname "$(engine_library)")
  quietly "$tests/hardening_test.sh" readelf "$libraries"/libdirty_seg_detector.so.? \
    "$libraries/libtessmar_ai_engine.so" "$libraries/dirty_seg_detector/libdirty_seg_media.so" \
    /usr/bin/dirty_seg
}

test_program() {
  local labels
  dirty_seg --version
  cd /usr/share/dirty_seg
  dirty_seg detect --model demo/dirt-seg.onnx --config sample.yaml \
    --fece-model demo/fece-check.onnx --fece-class-ids 5 --output /tmp/found demo/planks.jpg
  cd /packages
  labels=$(grep -o '"labels":\[[0-9,]*' /tmp/found/results.jsonl | grep -oE '[0-9]+' | sort)
  diff <(sed 's/label \([0-9]*\).*/\1/' "$tests/found.txt" | sort) <(echo "$labels") ||
    fail "the program found other labels (>) than expected (<)"
  [ -s /tmp/found/planks.overlay.jpg ] || fail "the program wrote no overlay"
  say "the program finds what the demo finds"
}

# By ld.so.conf, as a platform would, for every process. The copy plays the part of another engine.
test_platform_engine() {
  local ours platform=/opt/platform/lib
  ours=$(engine_library)
  mkdir -p "$platform"
  cp -r "$ours" "$(dirname "$ours")/dirty_seg_detector" "$platform"
  echo "$platform" >/etc/ld.so.conf.d/00-platform.conf
  ldconfig
  ldd "$(command -v dirty_seg)" | grep "libtessmar_ai_engine.so => $platform/" ||
    fail "ld.so.conf does not put a platform's engine before ours: $(ldd "$(command -v dirty_seg)")"
  rm -r /opt/platform /etc/ld.so.conf.d/00-platform.conf
  ldconfig
}

# What compiles with the packages' headers answers the packages' detector.
test_other_engine() {
  install libyaml-cpp-dev
  mkdir -p /tmp/engine
  g++ -std=c++17 -shared -fPIC -I/usr/include/dirty_seg -I/usr/include/opencv4 \
    tests/scripted_engine/scripted_engine.cpp -o /tmp/engine/libtessmar_ai_engine.so \
    -Wl,-soname,libtessmar_ai_engine.so -lopencv_core -lyaml-cpp
  ln -sf /usr/include/dirty_seg include
  quietly "$tests/other_engine_test.sh" "$PWD/tests/support/foreign_engine" "$PWD" /usr \
    /tmp/engine/libtessmar_ai_engine.so /tmp/other_engine
}

[ -z "$(traces)" ] || fail "the root is not bare: $(traces)"
apt-get -q update >/dev/null
install ./libdirty-seg-detector1_*.deb ./libtessmar-ai-engine_*.deb ./dirty-seg-tools_*.deb
say "installed: $(dpkg-query -W -f '${Package} ' '*dirty-seg*' '*tessmar*')"
test_notices
test_program
test_platform_engine

install ./libdirty-seg-detector-dev_*.deb g++ make cmake pkg-config
test_hardening
quietly "$tests/minimal_host_test.sh" cmake /usr /tmp/by_cmake
quietly "$tests/minimal_host_test.sh" pkg-config /usr /tmp/by_pkg_config
test_other_engine

apt-get -q -y purge '*dirty-seg*' libtessmar-ai-engine >apt.log 2>&1 || { cat apt.log; exit 1; }
[ -z "$(traces)" ] || fail "removing the packages left: $(traces)"
say "removed without a trace"
