#!/usr/bin/env bash
# Builds, then runs frames and loads for long, and holds memory, open files and threads of the
# process flat after the first hundred. Exit status 1 when one grows.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset dev
cmake --build --preset dev --target soak soak_host

host=build/dev/lib/libsoak_host.so
networks=tests/networks
build/dev/bin/soak double 20000
build/dev/bin/soak network 2000 "$host" "$networks/seg-b2-64.onnx"
build/dev/bin/soak network 2000 "$host" "$networks/seg-b1-64.onnx"
build/dev/bin/soak load 1000 "$host" "$networks/seg-b1-64.onnx"
