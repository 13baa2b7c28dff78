#!/usr/bin/env python3
"""Runs bench_arith once (median of repetitions) and prints the medians and the
ratios wrapper/inline (a/c), impl/inline (b/c) and wrapper/Boost (a/d) as a
Markdown table.  Usage: bench/ratios.py build/bench/bench_arith"""
import json
import subprocess
import sys

exe = sys.argv[1] if len(sys.argv) > 1 else "build/bench/bench_arith"
out = subprocess.run([exe, "--benchmark_min_time=0.2", "--benchmark_repetitions=7",
                      "--benchmark_report_aggregates_only=true", "--benchmark_format=json"],
                     check=True, capture_output=True, text=True).stdout
med = {}
for b in json.loads(out)["benchmarks"]:
    if b.get("aggregate_name") != "median":
        continue
    if "<Which::" not in b["run_name"]:
        continue
    kind, rest = b["run_name"].split("<Which::")
    op, arg = rest.split(">/")
    if arg not in ("0", "1"):
        continue
    med[(kind.replace("BM_", ""), op, "mixed" if arg == "1" else "positive")] = b["ns_per_op"] * 1e9

print("| operation | operands | a: wrapper | b: impl | c: inline | d: Boost | a/c | b/c | a/d |")
print("|---|---|---|---|---|---|---|---|---|")
for op in ("add", "mult"):
    for sign in ("positive", "mixed"):
        a, b, c = (med[(k, op, sign)] for k in ("Wrapper", "Impl", "Inline"))
        d = med.get(("Boost", op, sign))
        ds = f"{d:.1f}" if d else "n/a"
        ad = f"{a / d:.2f}" if d else "n/a"
        print(f"| {op} | {sign} | {a:.1f} | {b:.1f} | {c:.1f} | {ds} | {a / c:.2f} | {b / c:.2f} | {ad} |")
