#!/usr/bin/env bash
# Builds the libFuzzer harnesses with clang under AddressSanitizer and
# UndefinedBehaviorSanitizer and runs each for a while from its seed corpus.
#   tools/fuzz.sh [seconds per harness] [build dir]     (default: 60, build-fuzz)
# Findings go to <build dir>/findings; the run fails on the first one.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
build=${2:-build-fuzz}
CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DRUF_FUZZ=ON \
  -DRUF_SANITIZE=address,undefined >/dev/null
cmake --build "$build" -j2 --target fuzz_reader fuzz_solvers >/dev/null
mkdir -p "$build/findings"
for h in reader solvers; do
  corpus="$build/corpus_$h"
  mkdir -p "$corpus"
  # The memory limit is far below what an order of 10^6 would take: a
  # reader that allocates before refusing it fails here. Leaks are not
  # checked: some documented error returns keep their workspace on purpose
  # (tools/memcheck.py checks the programs that make normal returns only).
  ASAN_OPTIONS=detect_leaks=0 "$build/tests/fuzz/fuzz_$h" "$corpus" "tests/fuzz/corpus_$h" -max_total_time="$seconds" \
    -rss_limit_mb=1024 -malloc_limit_mb=512 -timeout=30 -timeout_exitcode=0 -max_len=4096 \
    -detect_leaks=0 \
    -artifact_prefix="$build/findings/$h-" -print_final_stats=1 2>&1 |
    grep -E "^(stat::number_of_executed_units|stat::peak_rss_mb|==[0-9]+==|SUMMARY|#[0-9]+ +DONE)" || true
  # A crash, a sanitizer report or too much memory fails the run. A timeout
  # is reported but does not: on a loaded machine one input can stall for
  # seconds, and every timeout seen so far replayed in milliseconds.
  for t in "$build"/findings/"$h"-timeout-*; do
    [ -e "$t" ] && echo "fuzz_$h: a slow input (replay it): $t"
  done
  if ls "$build"/findings/"$h"-{crash,oom,leak}-* >/dev/null 2>&1; then
    echo "fuzz_$h found a failure: $build/findings"
    exit 1
  fi
done
