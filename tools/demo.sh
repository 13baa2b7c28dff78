#!/usr/bin/env bash
# Builds the library and shows it at work on real values.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2 --target arith_demo >/dev/null
./build/examples/arith_demo
