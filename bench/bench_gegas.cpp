// DIGEGAS on A = U[-1,1] + n·I, every entry (and the right-hand side, drawn
// from U[-1,1]) widened to midpoint ± 1e-10, one right-hand side:
//   Digegas    - one solve through the exported entry; ops_per_solve is the
//                number of entry wrappers the solve runs, counted by this
//                program's ruf_cfg_file (each wrapper calls it once), less
//                the solver's own entry. ns_per_op = time per solve / ops,
//                ratio = ns_per_op / standalone DI_DI_MULT wrapper call.
//   WrapperMult - the standalone DI_DI_MULT wrapper call on 256 cached
//                operand pairs taken from the same matrix.
//   Arb        - arb_mat_solve at 53 bits on the same matrices, each ball
//                the smallest one arb_set_interval_arf gives for the interval.
// max_width is the largest width of the computed enclosure of x.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <vector>

#include "ruf_interval.h"
#include "bench/systems.h"

#ifdef RUF_HAVE_ARB
#include <arb_mat.h>
#endif

namespace {
long g_wrapper_calls = 0;
}

// Takes the service library's place (its ruf_cfg_file only answers 0), so the
// solve and the standalone call pay the same prologue.
extern "C" int ruf_cfg_file(int) {
  ++g_wrapper_calls;
  return 0;
}

namespace {

using bench::max_width;
using bench::System;
using bench::system_of;

constexpr int kPairs = 256;

// Returns the solver's info; x receives the enclosure.
int digegas(const System &s, std::vector<ruf_di> &x) {
  std::copy(s.b.begin(), s.b.end(), x.begin());
  int n = s.n, nrhs = 1, info = 0;
  DIGEGAS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &info, 1);
  return info;
}

// Operand pairs for the standalone call: entries of the n = 50 matrix
// against the entries of its transpose (mixed signs, one large diagonal).
struct Pairs {
  std::vector<ruf_di> x, y;
};

const Pairs &pairs() {
  static const Pairs p = [] {
    const System &s = system_of(50);
    Pairs q;
    for (int i = 0; i < kPairs; ++i) {
      const int r = i % 50, c = (i * 7) % 50;
      q.x.push_back(s.a[r + std::size_t(c) * 50]);
      q.y.push_back(s.a[c + std::size_t(r) * 50]);
    }
    return q;
  }();
  return p;
}

[[gnu::noinline]] void mult_pairs(const Pairs &p, std::vector<ruf_di> &r) {
  for (int i = 0; i < kPairs; ++i)
    DI_DI_MULT(&r[i], &p.x[i], &p.y[i]);
  benchmark::DoNotOptimize(r.data());
  benchmark::ClobberMemory();
}

// The standalone wrapper call measured once per run for the ratio counter:
// the median of 15 batches of 2000 x 256 calls.
double standalone_mult_ns() {
  static const double ns = [] {
    const Pairs &p = pairs();
    std::vector<ruf_di> r(kPairs);
    std::vector<double> batch;
    for (int rep = 0; rep < 15; ++rep) {
      const auto t0 = std::chrono::steady_clock::now();
      for (int k = 0; k < 2000; ++k)
        mult_pairs(p, r);
      const std::chrono::duration<double, std::nano> dt = std::chrono::steady_clock::now() - t0;
      batch.push_back(dt.count() / (2000.0 * kPairs));
    }
    std::nth_element(batch.begin(), batch.begin() + 7, batch.end());
    return batch[7];
  }();
  return ns;
}

void BM_WrapperMult(benchmark::State &state) {
  const Pairs &p = pairs();
  std::vector<ruf_di> r(kPairs);
  for (auto _ : state)
    mult_pairs(p, r);
  state.counters["ns_per_op"] = benchmark::Counter(
      double(kPairs), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Digegas(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)));
  std::vector<ruf_di> x(s.b.size());
  const double standalone = standalone_mult_ns();
  g_wrapper_calls = 0;
  if (digegas(s, x) != 0) {
    state.SkipWithError("DIGEGAS found no pivot");
    return;
  }
  const double ops = double(g_wrapper_calls - 1);
  const double width = max_width(x);

  const auto t0 = std::chrono::steady_clock::now();
  for (auto _ : state) {
    digegas(s, x);
    benchmark::DoNotOptimize(x.data());
    benchmark::ClobberMemory();
  }
  const std::chrono::duration<double, std::nano> dt = std::chrono::steady_clock::now() - t0;
  const double ns_per_op = dt.count() / double(state.iterations()) / ops;

  state.counters["ops_per_solve"] = ops;
  state.counters["ns_per_op"] = ns_per_op;
  state.counters["standalone_ns"] = standalone;
  state.counters["ratio"] = ns_per_op / standalone;
  state.counters["max_width"] = width;
}

#ifdef RUF_HAVE_ARB
struct ArbSystem {
  arb_mat_t a, b, x;
  explicit ArbSystem(const System &s) {
    arb_mat_init(a, s.n, s.n);
    arb_mat_init(b, s.n, 1);
    arb_mat_init(x, s.n, 1);
    for (int j = 0; j < s.n; ++j)
      for (int i = 0; i < s.n; ++i)
        set(arb_mat_entry(a, i, j), s.a[i + std::size_t(j) * s.n]);
    for (int i = 0; i < s.n; ++i)
      set(arb_mat_entry(b, i, 0), s.b[i]);
  }
  ~ArbSystem() {
    arb_mat_clear(a);
    arb_mat_clear(b);
    arb_mat_clear(x);
  }
  ArbSystem(const ArbSystem &) = delete;
  ArbSystem &operator=(const ArbSystem &) = delete;

  static void set(arb_t e, const ruf_di &v) {
    arf_t lo, hi;
    arf_init(lo);
    arf_init(hi);
    arf_set_d(lo, v.inf);
    arf_set_d(hi, v.sup);
    arb_set_interval_arf(e, lo, hi, 53);
    arf_clear(lo);
    arf_clear(hi);
  }
};

void BM_Arb(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)));
  ArbSystem m(s);
  if (arb_mat_solve(m.x, m.a, m.b, 53) == 0) {
    state.SkipWithError("arb_mat_solve could not certify the system");
    return;
  }
  // Both methods enclose the same solution set, so their enclosures meet.
  std::vector<ruf_di> ours(s.b.size());
  digegas(s, ours);
  double width = 0;
  for (int i = 0; i < s.n; ++i) {
    arb_t mine;
    arb_init(mine);
    ArbSystem::set(mine, ours[i]);
    const bool meet = arb_overlaps(mine, arb_mat_entry(m.x, i, 0)) != 0;
    arb_clear(mine);
    if (!meet) {
      state.SkipWithError("the two enclosures are disjoint");
      return;
    }
    width = std::max(width, 2 * mag_get_d(arb_radref(arb_mat_entry(m.x, i, 0))));
  }

  for (auto _ : state) {
    arb_mat_solve(m.x, m.a, m.b, 53);
    benchmark::ClobberMemory();
  }
  state.counters["max_width"] = width;
}
#endif

BENCHMARK(BM_WrapperMult)->Unit(benchmark::kNanosecond);
BENCHMARK(BM_Digegas)->Arg(50)->Arg(100)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond);
#ifdef RUF_HAVE_ARB
BENCHMARK(BM_Arb)->Arg(50)->Arg(100)->Arg(200)->Arg(400)->Unit(benchmark::kMillisecond);
#endif

} // namespace

BENCHMARK_MAIN();
