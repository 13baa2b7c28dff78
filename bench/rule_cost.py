#!/usr/bin/env python3
"""What the multiplication rule costs a DI_DI_MULT call.

Runs the same bench_arith binary against the library as it was before the
rule existed (the parent of the commit that added it, built in a scratch
worktree) and against today's library under each rule, three rounds
interleaved in one run, and prints the medians in ns per call as a Markdown
table.   Usage: bench/rule_cost.py [build dir]   (default: build)
"""
import collections
import json
import os
import statistics
import subprocess
import sys
import tempfile

build = os.path.realpath(sys.argv[1] if len(sys.argv) > 1 else "build")
top = subprocess.run(["git", "rev-parse", "--show-toplevel"], check=True, capture_output=True,
                     text=True).stdout.strip()
commit = subprocess.run(["git", "-C", top, "log", "--format=%H", "-1",
                         "--grep=A multiplication rule a process can choose"],
                        check=True, capture_output=True, text=True).stdout.strip()


def run(lib, rule):
    env = dict(os.environ, LD_LIBRARY_PATH=lib, RUF_MULTIPLICATION=rule)
    out = subprocess.run([os.path.join(build, "bench", "bench_arith"),
                          "--benchmark_filter=BM_Wrapper<Which::mult>",
                          "--benchmark_min_time=0.2", "--benchmark_repetitions=5",
                          "--benchmark_report_aggregates_only=true",
                          "--benchmark_format=json"],
                         check=True, capture_output=True, text=True, env=env).stdout
    return {b["label"]: b["ns_per_op"] * 1e9 for b in json.loads(out)["benchmarks"]
            if b.get("aggregate_name") == "median"}


with tempfile.TemporaryDirectory() as scratch:
    src, old = os.path.join(scratch, "src"), os.path.join(scratch, "build")
    subprocess.run(["git", "-C", top, "worktree", "add", "--detach", src, commit + "^"],
                   check=True, capture_output=True)
    try:
        subprocess.run(["cmake", "-S", src, "-B", old, "-DCMAKE_BUILD_TYPE=Release"], check=True,
                       capture_output=True)
        subprocess.run(["cmake", "--build", old, "-j2", "--target", "ruf_interval",
                        "ruf_service"], check=True, capture_output=True)
        times = collections.defaultdict(list)
        for _ in range(3):
            for who, lib, rule in (("before", old, ""), ("default", build, ""),
                                   ("textbook", build, "textbook")):
                for label, ns in run(lib, rule).items():
                    times[(who, label)].append(ns)
    finally:
        subprocess.run(["git", "-C", top, "worktree", "remove", "--force", src],
                       capture_output=True)

print("| operands | before the rule | default rule | textbook rule | default - before |"
      " textbook - before |")
print("|---|---|---|---|---|---|")
for label in ("positive", "mixed", "straddling"):
    m = {who: statistics.median(times[(who, label)]) for who in ("before", "default", "textbook")}
    print(f"| {label} | {m['before']:.2f} | {m['default']:.2f} | {m['textbook']:.2f} |"
          f" {m['default'] - m['before']:+.2f} | {m['textbook'] - m['before']:+.2f} |")
