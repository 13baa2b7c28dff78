// Cost of the midpoint-inverse methods on A = U[-1, 1] + n·I with radius
// 1e-10 and a random B (one column), n = 50, 100, 200:
//   Gekws - DIGEKWS("N", eps = 1e-10)
//   Gemip - DIGEMIP (R·A and R·B in place)
// Counters per solve (the mean of the solver's own time, copies of the input
// excluded; the parts are the fastest of a few runs each):
//   ms_per_solve
//   lapack_ms, lapack_share     - dgetrf + dgetri (work length 64·n) on the
//                                 same midpoint matrix, timed on their own
//   products_ms, products_share - the n^3 interval products of the method
//                                 (C = I - R·A for Gekws, R·A for Gemip) alone,
//                                 through the same exported wrappers
#include <benchmark/benchmark.h>

#include <chrono>
#include <vector>

#include "ruf_interval.h"
#include "bench/systems.h"

extern "C" {
void dgetrf_(const int *m, const int *n, double *a, const int *lda, int *ipiv, int *info);
void dgetri_(const int *n, double *a, const int *lda, const int *ipiv, double *work,
             const int *lwork, int *info);
}

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point t0) {
  return std::chrono::duration<double>(Clock::now() - t0).count();
}

struct Problem {
  int n = 0;
  std::vector<ruf_di> a, b; // column-major, leading dimension n
  std::vector<double> mid;  // mid(A), as the solvers form it
};

// The shared benchmark system, with mid(A) as the solvers form it.
Problem make_problem(int n) {
  const bench::System &s = bench::system_of(n);
  Problem p;
  p.n = n;
  p.a = s.a;
  p.b = s.b;
  p.mid.resize(p.a.size());
  for (std::size_t k = 0; k < p.a.size(); ++k)
    p.mid[k] = D_MID(&p.a[k]);
  return p;
}

// dgetrf + dgetri on a copy of mid(A); returns the fastest of `reps`
// inversions in seconds and leaves the inverse in r.
double time_lapack(const Problem &p, std::vector<double> &r, int reps) {
  const int n = p.n, lwork = 64 * n;
  std::vector<double> work(lwork);
  std::vector<int> pivots(n);
  double best = 0;
  for (int k = 0; k < reps; ++k) {
    r = p.mid;
    const auto t0 = Clock::now();
    int info = 0;
    dgetrf_(&n, &n, r.data(), &n, pivots.data(), &info);
    dgetri_(&n, r.data(), &n, pivots.data(), work.data(), &lwork, &info);
    const double s = seconds_since(t0);
    if (k == 0 || s < best) best = s;
  }
  return best;
}

// The n^3 products R(i,k)·A(k,j) accumulated into an n x n result with the
// method's own operation: a difference from the unit (Krawczyk) or a sum
// from zero (preconditioning).
enum class Accumulate { subtract_from_unit, add_to_zero };

double time_products_once(const Problem &p, const std::vector<double> &r, Accumulate how) {
  const int n = p.n;
  std::vector<ruf_di> c(static_cast<std::size_t>(n) * n);
  ruf_di prod;
  const auto t0 = Clock::now();
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      ruf_di &e = c[i + j * n];
      const bool unit = how == Accumulate::subtract_from_unit && i == j;
      e = {unit ? 1.0 : 0.0, unit ? 1.0 : 0.0};
      for (int k = 0; k < n; ++k) {
        dr_di_mult(&prod, &r[i + k * n], &p.a[k + j * n]);
        if (how == Accumulate::subtract_from_unit)
          di_di_subt(&e, &e, &prod);
        else
          di_di_addi(&e, &e, &prod);
      }
    }
  const double s = seconds_since(t0);
  benchmark::DoNotOptimize(c.data());
  return s;
}

// The fastest of three runs.
double time_products(const Problem &p, const std::vector<double> &r, Accumulate how) {
  double best = 0;
  for (int k = 0; k < 3; ++k) {
    const double s = time_products_once(p, r, how);
    if (k == 0 || s < best) best = s;
  }
  return best;
}

void report(benchmark::State &state, const Problem &p, double solve_s, Accumulate how) {
  const double per_solve = solve_s / static_cast<double>(state.iterations());
  std::vector<double> r;
  const double lapack = time_lapack(p, r, 5);
  const double products = time_products(p, r, how);
  state.counters["ms_per_solve"] = per_solve * 1e3;
  state.counters["lapack_ms"] = lapack * 1e3;
  state.counters["lapack_share"] = lapack / per_solve;
  state.counters["products_ms"] = products * 1e3;
  state.counters["products_share"] = products / per_solve;
}

void BM_Gekws(benchmark::State &state) {
  const Problem p = make_problem(static_cast<int>(state.range(0)));
  const int n = p.n, nrhs = 1;
  const double eps = 1e-10;
  double solve_s = 0;
  int info = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<ruf_di> b = p.b;
    state.ResumeTiming();
    const auto t0 = Clock::now();
    DIGEKWS("N", &n, &nrhs, p.a.data(), &n, b.data(), &n, &eps, &info, 1);
    solve_s += seconds_since(t0);
    benchmark::DoNotOptimize(b.data());
  }
  if (info != 0) state.SkipWithError("DIGEKWS info != 0");
  report(state, p, solve_s, Accumulate::subtract_from_unit);
}

void BM_Gemip(benchmark::State &state) {
  const Problem p = make_problem(static_cast<int>(state.range(0)));
  const int n = p.n, nrhs = 1;
  double solve_s = 0;
  int info = 0;
  for (auto _ : state) {
    state.PauseTiming();
    std::vector<ruf_di> a = p.a, b = p.b;
    state.ResumeTiming();
    const auto t0 = Clock::now();
    DIGEMIP(&n, &nrhs, a.data(), &n, b.data(), &n, &info);
    solve_s += seconds_since(t0);
    benchmark::DoNotOptimize(a.data());
  }
  if (info != 0) state.SkipWithError("DIGEMIP info != 0");
  report(state, p, solve_s, Accumulate::add_to_zero);
}

} // namespace

BENCHMARK(BM_Gekws)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gemip)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
