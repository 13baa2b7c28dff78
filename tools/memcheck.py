#!/usr/bin/env python3
"""Runs every test program of a build under valgrind memcheck, each once in
full (not test by test), and reports memory errors and leaks.

Valgrind runs SSE arithmetic in round-to-nearest whatever MXCSR says, so the
directed-rounding assertions fail under it: test failures are expected and
ignored; what counts is valgrind's own verdict (invalid reads and writes,
uses of uninitialised values, and definite leaks in the programs that make
only normal returns). The deliberate unreleased-workspace returns are
exercised by the frame and solver tests, counted there by the allocator
double, and left out of the leak check here rather than suppressed.

Usage: tools/memcheck.py [build dir]   (default: build)
"""
import json
import os
import subprocess
import sys

build = sys.argv[1] if len(sys.argv) > 1 else "build"
# Programs whose every call returns normally: their leaks are real leaks.
NORMAL_RETURNS_ONLY = {"frame_test_threads", "solvers_test_hull", "solvers_test_vsv",
                       "scalar_test_rigorous", "tools_verify", "tools_parse", "arith_demo",
                       "solve_system", "solve_system_f"}
MEMCHECK_ERROR = 99

tests = json.loads(subprocess.run(["ctest", "--test-dir", build, "--show-only=json-v1"],
                                  check=True, capture_output=True, text=True).stdout)["tests"]
# The test programs the build made (not the interpreters, compilers and
# scripts some tests run).
root = os.path.realpath(build)
programs = sorted({t["command"][0] for t in tests
                   if t.get("command") and os.path.realpath(t["command"][0]).startswith(root)})
failed = []
for program in programs:
    name = os.path.basename(program)
    leaks = name in NORMAL_RETURNS_ONLY
    cmd = ["valgrind", "--quiet", f"--error-exitcode={MEMCHECK_ERROR}",
           "--leak-check=" + ("full" if leaks else "no"),
           "--errors-for-leak-kinds=definite,indirect", "--show-leak-kinds=definite,indirect",
           program]
    run = subprocess.run(cmd, capture_output=True, text=True)
    verdict = "memory errors" if run.returncode == MEMCHECK_ERROR else "clean"
    print(f"{verdict:14s} {name}{' (with leak check)' if leaks else ''}", flush=True)
    if run.returncode == MEMCHECK_ERROR:
        failed.append(name)
        print("\n".join(line for line in run.stderr.splitlines() if line.startswith("==")))
print(f"{len(programs) - len(failed)} of {len(programs)} programs clean")
sys.exit(1 if failed else 0)
