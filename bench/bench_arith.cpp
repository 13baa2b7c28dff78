// Cost of one elementary operation, on operands that stay in cache:
//   Wrapper  - the exported entry (threading prologue, then the implementation)
//   Impl     - ruf_interval_di_di_* called directly
//   Inline   - the same rounding frame and formulas compiled into the loop
//   Boost    - boost::numeric::interval<double> with its default policies
// Operand sets: "positive" (case 1 of the tables) and "mixed" (positive,
// negative, straddling and touching zero, every pairing in turn).
// A third set, "straddling" (argument 2), has both operands straddle zero:
// case 9, the only case that asks for the multiplication rule
// (bench/rule_cost.sh measures what the rule costs there).
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "ruf_interval.h"
#include "scalar/arith_real.h"

#ifdef RUF_HAVE_BOOST
#include <boost/numeric/interval.hpp>
#endif

namespace {

constexpr int kN = 256;

struct Operands {
  std::vector<ruf_di> x, y;
};

// kind 0: positive, 1: mixed, 2: straddling.
Operands make_operands(int kind) {
  Operands s{std::vector<ruf_di>(kN), std::vector<ruf_di>(kN)};
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> u(0.5, 4.0);
  for (int i = 0; i < kN; ++i) {
    const double a = u(rng), b = a + u(rng);
    const ruf_di shapes[4] = {{a, b}, {-b, -a}, {-a, b}, {0.0, b}};
    s.x[i] = kind == 1 ? shapes[i % 4] : kind == 2 ? shapes[2] : shapes[0];
    s.y[i] = kind == 1   ? shapes[(i / 4) % 4]
             : kind == 2 ? ruf_di{-u(rng), u(rng)}
                         : ruf_di{u(rng), 4.0 + u(rng)};
  }
  return s;
}

const char *kind_label(long kind) {
  return kind == 0 ? "positive" : kind == 1 ? "mixed" : "straddling";
}

const Operands &operands(long kind) {
  static const Operands sets[3] = {make_operands(0), make_operands(1), make_operands(2)};
  return sets[kind];
}

enum class Which { add, mult };

using Fn = void (*)(ruf_di *, const ruf_di *, const ruf_di *);

template <Which W> void run_calls(benchmark::State &state, Fn f) {
  const Operands &o = operands(state.range(0));
  std::vector<ruf_di> r(kN);
  for (auto _ : state) {
    for (int i = 0; i < kN; ++i)
      f(&r[i], &o.x[i], &o.y[i]);
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_op"] = benchmark::Counter(
      double(kN), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel(kind_label(state.range(0)));
}

template <Which W> void BM_Wrapper(benchmark::State &state) {
  run_calls<W>(state, W == Which::add ? DI_DI_ADDI : DI_DI_MULT);
}
template <Which W> void BM_Impl(benchmark::State &state) {
  run_calls<W>(state, W == Which::add ? ruf_interval_di_di_addi : ruf_interval_di_di_mult);
}

template <Which W> void BM_Inline(benchmark::State &state) {
  const Operands &o = operands(state.range(0));
  std::vector<ruf_di> r(kN);
  for (auto _ : state) {
    for (int i = 0; i < kN; ++i) {
      const ruf_di &x = o.x[i], &y = o.y[i];
      if constexpr (W == Which::add)
        ruf::add<double>(&r[i], &x.inf, &x.sup, &y.inf, &y.sup);
      else
        ruf::mult<double>(&r[i], x.inf, x.sup, y.inf, y.sup);
    }
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_op"] = benchmark::Counter(
      double(kN), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel(kind_label(state.range(0)));
}

#ifdef RUF_HAVE_BOOST
template <Which W> void BM_Boost(benchmark::State &state) {
  using I = boost::numeric::interval<double>;
  const Operands &o = operands(state.range(0));
  std::vector<I> x, y, r(kN);
  for (int i = 0; i < kN; ++i) {
    x.emplace_back(o.x[i].inf, o.x[i].sup);
    y.emplace_back(o.y[i].inf, o.y[i].sup);
  }
  for (auto _ : state) {
    for (int i = 0; i < kN; ++i)
      r[i] = W == Which::add ? x[i] + y[i] : x[i] * y[i];
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["ns_per_op"] = benchmark::Counter(
      double(kN), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  state.SetLabel(kind_label(state.range(0)));
}
BENCHMARK(BM_Boost<Which::add>)->Arg(0)->Arg(1);
BENCHMARK(BM_Boost<Which::mult>)->Arg(0)->Arg(1);
#endif


BENCHMARK(BM_Wrapper<Which::add>)->Arg(0)->Arg(1);
BENCHMARK(BM_Impl<Which::add>)->Arg(0)->Arg(1);
BENCHMARK(BM_Inline<Which::add>)->Arg(0)->Arg(1);
BENCHMARK(BM_Wrapper<Which::mult>)->Arg(0)->Arg(1)->Arg(2);
BENCHMARK(BM_Impl<Which::mult>)->Arg(0)->Arg(1);
BENCHMARK(BM_Inline<Which::mult>)->Arg(0)->Arg(1);

} // namespace

BENCHMARK_MAIN();
