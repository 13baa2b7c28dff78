#!/usr/bin/env bash
# Builds everything (library, tools, examples, tests, benchmarks) and runs
# every test. Usage: tools/check.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
build=${1:-build}
shift || true
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release "$@"
cmake --build "$build" -j2
ctest --test-dir "$build" -j2 --output-on-failure
