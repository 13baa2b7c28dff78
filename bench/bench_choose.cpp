// Width of the enclosure and time against the order, one series per method,
// for point systems and for interval systems, for docs/choosing-a-solver.md
// (bench/plot.py draws it from this program's JSON output):
//   <method>/<kind>/n   kind "point": A = U[-1, 1] + n·I, b from U[-1, 1];
//                       kind "interval": every entry widened by 1e-3.
// Counters: max_width (the largest component width; 0 counts as the width
// of a point result at the rounding), info.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "ruf_interval.h"

namespace {

struct System {
  int n;
  std::vector<ruf_di> a, b;
};

System system_of(int n, double radius) {
  std::mt19937_64 rng(5150 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const auto widened = [&](double m) {
    return ruf_di{std::nextafter(m - radius, -INFINITY), std::nextafter(m + radius, INFINITY)};
  };
  System s{n, {}, {}};
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      s.a.push_back(widened(u(rng) + (i == j ? n : 0.0)));
  for (int i = 0; i < n; ++i)
    s.b.push_back(widened(u(rng)));
  return s;
}

using Solve = std::function<int(const System &, std::vector<ruf_di> &)>;

int gepps_box(const System &s, std::vector<ruf_di> &x) {
  int n = s.n, worst = 0;
  const double eps = 1e-10;
  for (int k = 1; k <= n; ++k)
    for (const char *ul : {"L", "U"}) {
      int maxit = 100000, info;
      ruf_di bound;
      digepps("N", &n, s.a.data(), &n, s.b.data(), &k, &eps, ul, &maxit, &bound, &info, 1, 1);
      worst = std::max(worst, info);
      (*ul == 'L' ? x[k - 1].inf : x[k - 1].sup) = *ul == 'L' ? bound.inf : bound.sup;
    }
  return worst;
}

const std::vector<std::pair<std::string, std::pair<Solve, int>>> &methods() {
  static const std::vector<std::pair<std::string, std::pair<Solve, int>>> m = {
      {"gegas",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, one = 1, info;
          digegas("N", &n, &one, s.a.data(), &n, x.data(), &n, &info, 1);
          return info;
        },
        256}},
      {"gekws",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, one = 1, info;
          const double eps = 1e-10;
          digekws("N", &n, &one, s.a.data(), &n, x.data(), &n, &eps, &info, 1);
          return info;
        },
        256}},
      {"gemip+gegss",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, one = 1, info, sweeps = 100;
          const double eps = 1e-10;
          std::vector<ruf_di> a = s.a;
          digemip(&n, &one, a.data(), &n, x.data(), &n, &info);
          if (info != 0) return info;
          std::vector<ruf_di> x0 = x;
          digegas("N", &n, &one, a.data(), &n, x0.data(), &n, &info, 1);
          if (info != 0) return info;
          digegss("N", &n, &one, a.data(), &n, x.data(), &n, x0.data(), &eps, &sweeps, &info, 1);
          return info;
        },
        256}},
      {"gehbs",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, info;
          digehbs("N", &n, s.a.data(), &n, x.data(), &n, &info, 1);
          return info;
        },
        256}},
      {"gehss",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, one = 1, info;
          digehss("N", &n, &one, s.a.data(), &n, x.data(), &n, &info, 1);
          return info;
        },
        64}},
      {"vsv",
       {[](const System &s, std::vector<ruf_di> &x) {
          int n = s.n, one = 1, info;
          std::vector<double> approx(n);
          digevsv("N", &n, &one, s.a.data(), &n, x.data(), &n, approx.data(), &n, &info, 1);
          return info;
        },
        256}},
      {"gepps (hull)", {gepps_box, 16}},
  };
  return m;
}

void run(benchmark::State &state, const Solve &solve, int n, double radius) {
  const System s = system_of(n, radius);
  std::vector<ruf_di> x = s.b;
  const int info = solve(s, x);
  double width = 0;
  for (const ruf_di &e : x)
    width = std::max(width, e.sup - e.inf);
  for (auto _ : state) {
    x = s.b;
    solve(s, x);
    benchmark::DoNotOptimize(x.data());
  }
  state.counters["max_width"] = width;
  state.counters["info"] = info;
}

const int registered = [] {
  for (const auto &[name, m] : methods())
    for (const auto &[kind, radius] : {std::pair{"point", 0.0}, std::pair{"interval", 1e-3}})
      for (int n = 4; n <= m.second; n *= 2)
        benchmark::RegisterBenchmark((name + "/" + kind + "/" + std::to_string(n)).c_str(), run,
                                     m.first, n, radius)
            ->Unit(benchmark::kMillisecond);
  return 0;
}();

} // namespace

BENCHMARK_MAIN();
