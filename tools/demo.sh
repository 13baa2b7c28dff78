#!/usr/bin/env bash
# Builds the library and shows it at work on real values: ruf-solve on its
# built-in interval system, then the arithmetic example.
set -euo pipefail
cd "$(dirname "$0")/.."
tools/install-deps.sh
cmake -S . -B build -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j2 --target ruf-solve arith_demo >/dev/null
# An interval linear system solved by every method, side by side.
./build/tools/ruf-solve
echo
# The elementary operations, with the outward rounding made visible.
./build/examples/arith_demo
