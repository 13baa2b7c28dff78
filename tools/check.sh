#!/usr/bin/env bash
# Builds the library alone, then everything (tools, examples, tests,
# benchmarks), and runs every test. Usage: tools/check.sh [build-dir] [extra cmake arguments...]
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
build=${1:-build}
shift || true
# The library alone first, as a user builds it, then everything.
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DRUF_BUILD_TESTS=OFF -DRUF_BUILD_BENCH=OFF \
  -DRUF_BUILD_EXAMPLES=OFF "$@"
cmake --build "$build" -j2 --target ruf_interval ruf_service ruf-solve
cmake -S . -B "$build" -DRUF_BUILD_TESTS=ON -DRUF_BUILD_BENCH=ON -DRUF_BUILD_EXAMPLES=ON "$@"
cmake --build "$build" -j2
ctest --test-dir "$build" -j2 --output-on-failure
# A minute of fuzzing per harness when clang is there (tools/fuzz.sh).
if command -v clang++ >/dev/null && [ -z "${RUF_NO_FUZZ:-}" ]; then
  tools/fuzz.sh 60 "$build-fuzz"
fi
