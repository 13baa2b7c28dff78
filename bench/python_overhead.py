#!/usr/bin/env python3
"""Call overhead of the NumPy binding per elementary operation: one
DI_DI_ADDI call from a Python loop through ctypes (ri.add over an array),
one through the generated declaration directly, against the C wrapper
alone (bench_arith's figure, about 20 ns). Medians of 5 runs.

  PYTHONPATH=build/python RUF_INTERVAL_LIB=build/libruf_interval.so.0 \\
  RUF_SERVICE_LIB=build/libruf_service.so.0 /usr/bin/python3 bench/python_overhead.py
"""
import statistics
import time

import numpy as np

import ruf_interval as ri

N = 20000
x = ri.interval(np.linspace(-1, 1, N), np.linspace(0, 2, N))
y = ri.interval(np.linspace(1, 2, N), np.linspace(2, 3, N))


def median_ns(f):
    times = []
    for _ in range(5):
        t0 = time.perf_counter()
        f()
        times.append((time.perf_counter() - t0) / N * 1e9)
    return statistics.median(times)


def direct():
    r = np.empty(1, dtype=ri.di)
    f, xr, yr = ri.lib.DI_DI_ADDI, x.ctypes.data, y.ctypes.data
    rp = r.ctypes.data
    for k in range(N):
        f(rp, xr + 16 * k, yr + 16 * k)


print(f"ri.add over {N} intervals: {median_ns(lambda: ri.add(x, y)):.0f} ns per operation")
print(f"DI_DI_ADDI from a Python loop: {median_ns(direct):.0f} ns per operation")
