// The Householder, H-matrix and Schulz solvers on A = U[-1,1] + n·I, every
// entry (and the right-hand side, drawn from U[-1,1]) widened to midpoint
// ± 1e-10, one right-hand side:
//   Digehss, Digehbs - one solve through the exported entry;
//   Digeszi          - the inverse enclosure of A.
// Counters: max_width is the largest width of the method's enclosure;
// gegas_width and gekws_width are those of DIGEGAS and DIGEKWS (eps 1e-12) on
// the same system (for the inverse: on B = I), computed once outside the
// timing. A negative width marks a method that returned info != 0.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "ruf_interval.h"
#include "bench/systems.h"

namespace {

using bench::System;
using bench::system_of;

double max_width(const std::vector<ruf_di> &x, int info) {
  return info != 0 ? -1 : bench::max_width(x);
}

// Each returns the routine's info; x receives the enclosure.
int gehss(const System &s, std::vector<ruf_di> &x) {
  x = s.b;
  int n = s.n, nrhs = 1, info = 0;
  DIGEHSS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &info, 1);
  return info;
}
int gehbs(const System &s, std::vector<ruf_di> &x) {
  x = s.b;
  int n = s.n, info = 0;
  DIGEHBS("N", &n, s.a.data(), &n, x.data(), &n, &info, 1);
  return info;
}
int geszi(const System &s, std::vector<ruf_di> &x) {
  x = s.a;
  int n = s.n, info = 0;
  DIGESZI(&n, x.data(), &n, &info);
  return info;
}

// The comparison widths on B = b (one column) or B = I.
struct Peers {
  double gegas, gekws;
};
Peers peers(const System &s, bool inverse) {
  std::vector<ruf_di> x = inverse ? s.eye : s.b;
  int n = s.n, nrhs = inverse ? n : 1, info = 0;
  DIGEGAS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &info, 1);
  Peers p{max_width(x, info), 0};
  x = inverse ? s.eye : s.b;
  const double eps = 1e-12;
  DIGEKWS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &eps, &info, 1);
  p.gekws = max_width(x, info);
  return p;
}

template <int (*Solve)(const System &, std::vector<ruf_di> &), bool Inverse>
void BM_Solver(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)));
  std::vector<ruf_di> x;
  const int info = Solve(s, x);
  const double width = max_width(x, info);
  const Peers p = peers(s, Inverse);
  for (auto _ : state) {
    Solve(s, x);
    benchmark::DoNotOptimize(x.data());
    benchmark::ClobberMemory();
  }
  state.counters["max_width"] = width;
  state.counters["gegas_width"] = p.gegas;
  state.counters["gekws_width"] = p.gekws;
}

void BM_Digehss(benchmark::State &state) {
  BM_Solver<gehss, false>(state);
}
void BM_Digehbs(benchmark::State &state) {
  BM_Solver<gehbs, false>(state);
}
void BM_Digeszi(benchmark::State &state) {
  BM_Solver<geszi, true>(state);
}

BENCHMARK(BM_Digehss)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Digehbs)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Digeszi)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
