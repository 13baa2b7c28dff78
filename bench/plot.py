#!/usr/bin/env python3
"""Draws docs/choosing-a-solver.svg from bench_choose's JSON output: the
largest enclosure width and the time per solve against the order, one line
per method, for point and for interval systems.

Usage:
  build/bench/bench_choose --benchmark_format=json > choose.json
  /usr/bin/python3 bench/plot.py choose.json docs/choosing-a-solver.svg
(Debian's python3-matplotlib.)
"""
import collections
import json
import sys

import matplotlib

matplotlib.use("svg")
import matplotlib.pyplot as plt  # noqa: E402

runs = json.load(open(sys.argv[1]))["benchmarks"]
series = collections.defaultdict(list)  # (kind, method) -> [(n, ms, width)]
for r in runs:
    method, kind, n = r["name"].rsplit("/", 2)
    ms = r["real_time"] * {"ms": 1, "us": 1e-3, "ns": 1e-6, "s": 1e3}[r["time_unit"]]
    series[(kind, method)].append((int(n), ms, r["max_width"], r["info"]))

fig, axes = plt.subplots(2, 2, figsize=(11, 8.5))
plt.rcParams["svg.hashsalt"] = "ruf-interval"  # the same file for the same data
for col, kind in enumerate(("point", "interval")):
    for (k, method), points in sorted(series.items()):
        if k != kind:
            continue
        points.sort()
        ok = [p for p in points if p[3] == 0]
        ns = [p[0] for p in ok]
        axes[0][col].plot(ns, [max(p[2], 1e-17) for p in ok], marker="o", label=method)
        axes[1][col].plot(ns, [p[1] for p in ok], marker="o", label=method)
    axes[0][col].set_title(f"{kind} systems: largest width of the enclosure")
    axes[1][col].set_title(f"{kind} systems: time per solve (ms)")
    for row in (0, 1):
        ax = axes[row][col]
        ax.set_xscale("log", base=2)
        ax.set_yscale("log")
        ax.set_xlabel("n")
        ax.grid(True, which="both", alpha=0.3)
        ax.legend(fontsize=8)
fig.suptitle("A = U[-1, 1] + n·I, b from U[-1, 1]; interval systems: every entry ± 1e-3")
fig.tight_layout()
fig.savefig(sys.argv[2], metadata={"Date": None})
