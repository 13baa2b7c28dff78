// The hull bounds: time per endpoint against the order, and how far every
// other solver's enclosure is from the exact hull on the same systems.
//   Endpoint<R>/n  - both ends of every component of a random system of
//                    order n: A = U[-1, 1] + n·I with every entry widened by
//                    a radius of 0.02·n (so that the solution set crosses a
//                    few orthants), b from U[-1, 1] widened by 0.5. Counters:
//                    ms_per_endpoint, work (maxit used per endpoint) and
//                    info (the largest info met).
//   Textbook<R>/s  - the same on Barth and Nuding's system (s = 0) and on
//                    Hansen's (s = 1).
//   Overestimation/n - once per n: for each solver, the largest ratio of its
//                    component width to the hull's (1 is the hull itself; -1
//                    when the enclosure misses part of the hull, NaN when the
//                    solver gave no enclosure).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "ruf_interval.h"

namespace {

struct System {
  int n = 0;
  std::vector<ruf_di> a, b;
};

ruf_di widened(double m, double r) {
  return {std::nextafter(m - r, -INFINITY), std::nextafter(m + r, INFINITY)};
}

const System &random_system(int n) {
  static std::map<int, System> cache;
  System &s = cache[n];
  if (s.n == n) return s;
  std::mt19937_64 rng(777 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  s.n = n;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      s.a.push_back(widened(u(rng) + (i == j ? n : 0.0), 0.02 * n));
  for (int i = 0; i < n; ++i)
    s.b.push_back(widened(u(rng), 0.5));
  return s;
}

const System &textbook(int which) {
  static const System barth_nuding{2, {{2, 4}, {-1, 2}, {-2, 1}, {2, 4}}, {{-2, 2}, {-2, 2}}};
  static const System hansen{2, {{2, 3}, {1, 2}, {0, 1}, {2, 3}}, {{0, 120}, {60, 240}}};
  return which == 0 ? barth_nuding : hansen;
}

enum class Route { pps, pss };

// Every endpoint of the hull: the outer box [inf L, sup U] per component and,
// when asked, the inner one [sup L, inf U]. Returns the work and the largest
// info.
std::pair<long, int> hull(Route route, const System &s, std::vector<ruf_di> &box,
                          std::vector<ruf_di> *inner = nullptr) {
  int n = s.n;
  long work = 0;
  int worst = 0;
  box.assign(n, ruf_di{0, 0});
  if (inner) inner->assign(n, ruf_di{0, 0});
  const double eps = 1e-10;
  for (int k = 1; k <= n; ++k)
    for (const char *ul : {"L", "U"}) {
      int maxit = 100000, info = 0;
      ruf_di bound;
      (route == Route::pps ? digepps : digepss)("N", &n, s.a.data(), &n, s.b.data(), &k, &eps, ul,
                                                &maxit, &bound, &info, 1, 1);
      work += maxit;
      worst = std::max(worst, info);
      (*ul == 'L' ? box[k - 1].inf : box[k - 1].sup) = *ul == 'L' ? bound.inf : bound.sup;
      if (inner)
        (*ul == 'L' ? (*inner)[k - 1].inf : (*inner)[k - 1].sup) =
            *ul == 'L' ? bound.sup : bound.inf;
    }
  return {work, worst};
}

template <Route R> void run(benchmark::State &state, const System &s) {
  std::vector<ruf_di> box;
  const auto [work, info] = hull(R, s, box);
  const auto t0 = std::chrono::steady_clock::now();
  for (auto _ : state) {
    hull(R, s, box);
    benchmark::DoNotOptimize(box.data());
  }
  const std::chrono::duration<double, std::milli> dt = std::chrono::steady_clock::now() - t0;
  state.counters["ms_per_endpoint"] = dt.count() / double(state.iterations()) / (2.0 * s.n);
  state.counters["work"] = double(work) / (2.0 * s.n);
  state.counters["info"] = info;
}

template <Route R> void BM_Endpoint(benchmark::State &state) {
  run<R>(state, random_system(int(state.range(0))));
}
template <Route R> void BM_Textbook(benchmark::State &state) {
  run<R>(state, textbook(int(state.range(0))));
}

// -1 when x provably misses part of the hull: a bound of x lies inside the
// inner box, so on the wrong side of a verified point of the solution set (a
// deliberate narrowing acted).
double largest_ratio(const std::vector<ruf_di> &x, const std::vector<ruf_di> &hull,
                     const std::vector<ruf_di> &inner) {
  double r = 0;
  for (std::size_t i = 0; i < x.size(); ++i) {
    if (x[i].inf > inner[i].inf || x[i].sup < inner[i].sup) return -1;
    r = std::max(r, (x[i].sup - x[i].inf) / (hull[i].sup - hull[i].inf));
  }
  return r;
}

void overestimation(benchmark::State &state, const System &s) {
  std::vector<ruf_di> h, inner;
  hull(Route::pps, s, h, &inner);
  int n = s.n, one = 1, info = 0;
  const double eps = 1e-10;
  std::map<std::string, double> ratio;
  std::vector<ruf_di> x;
  const auto solve = [&](const char *name, auto f) {
    x = s.b;
    f();
    ratio[name] = info == 0 ? largest_ratio(x, h, inner) : NAN;
  };
  solve("gegas", [&] { digegas("N", &n, &one, s.a.data(), &n, x.data(), &n, &info, 1); });
  solve("gekws", [&] { digekws("N", &n, &one, s.a.data(), &n, x.data(), &n, &eps, &info, 1); });
  solve("gehbs", [&] { digehbs("N", &n, s.a.data(), &n, x.data(), &n, &info, 1); });
  solve("gehss", [&] { digehss("N", &n, &one, s.a.data(), &n, x.data(), &n, &info, 1); });
  solve("gemip_gegss", [&] {
    std::vector<ruf_di> a = s.a, x0;
    digemip(&n, &one, a.data(), &n, x.data(), &n, &info);
    if (info != 0) return;
    x0 = x;
    digegas("N", &n, &one, a.data(), &n, x0.data(), &n, &info, 1);
    if (info != 0) return;
    int sweeps = 100;
    digegss("N", &n, &one, a.data(), &n, x.data(), &n, x0.data(), &eps, &sweeps, &info, 1);
  });
  for (auto _ : state)
    benchmark::DoNotOptimize(ratio.size());
  for (const auto &[name, r] : ratio)
    state.counters[name] = r;
}

void BM_Overestimation(benchmark::State &state) {
  overestimation(state, random_system(int(state.range(0))));
}
void BM_OverestimationTextbook(benchmark::State &state) {
  overestimation(state, textbook(int(state.range(0))));
}

BENCHMARK(BM_Endpoint<Route::pps>)->DenseRange(2, 10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Endpoint<Route::pss>)->DenseRange(2, 10)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Textbook<Route::pps>)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Textbook<Route::pss>)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Overestimation)->DenseRange(2, 10)->Iterations(1);
BENCHMARK(BM_OverestimationTextbook)->Arg(0)->Arg(1)->Iterations(1);

} // namespace

BENCHMARK_MAIN();
