// The fast verified solver against LAPACK's dgesv, DIGEGAS and Arb, on
// A = U[-1, 1] + n·I and b from U[-1, 1], every entry widened by the radius
// r (0 or 1e-10; bench/systems.h's generator for r = 1e-10). One right-hand
// side.
//   Vsv/n/r      DIGEVSV; counters max_width, info
//   Dgesv/n      LAPACK's dgesv on the midpoints (no enclosure)
//   Gegas/n      DIGEGAS on the same data (n <= 400)
//   Arb/n        arb_mat_solve at 53 bits (n <= 400)
//   Complex/m/n/r  the complex members on A = U[-1, 1] + U[-1, 1]·i + n·I:
//                m = 0 ZRGEVSV, 1 ZRGEKWS, 2 ZCGEVSV, 3 ZCGEGAS; counter
//                max_width (a disc's diameter), info
// Which BLAS and LAPACK run is the loader's choice: reference by default,
// OpenBLAS with LD_LIBRARY_PATH=/usr/lib/x86_64-linux-gnu/openblas-pthread.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <vector>

#include "ruf_interval.h"

#ifdef RUF_HAVE_ARB
#include <arb_mat.h>
#endif

extern "C" void dgesv_(const int *n, const int *nrhs, double *a, const int *lda, int *ipiv,
                       double *b, const int *ldb, int *info);

namespace {

struct System {
  int n = 0;
  std::vector<ruf_di> a, b;
  std::vector<double> am, bm;
};

const System &system_of(int n, double radius) {
  static std::map<std::pair<int, double>, System> cache;
  System &s = cache[{n, radius}];
  if (s.n == n) return s;
  std::mt19937_64 rng(20240 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const auto widened = [&](double m) {
    return radius == 0 ? ruf_di{m, m}
                       : ruf_di{std::nextafter(m - radius, -INFINITY),
                                std::nextafter(m + radius, INFINITY)};
  };
  s.n = n;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double m = u(rng) + (i == j ? n : 0.0);
      s.a.push_back(widened(m));
      s.am.push_back(m);
    }
  for (int i = 0; i < n; ++i) {
    const double m = u(rng);
    s.b.push_back(widened(m));
    s.bm.push_back(m);
  }
  return s;
}

double radius_of(benchmark::State &state) {
  return state.range(1) == 0 ? 0.0 : 1e-10;
}

double max_width(const std::vector<ruf_di> &x) {
  double w = 0;
  for (const ruf_di &e : x)
    w = std::max(w, e.sup - e.inf);
  return w;
}

void BM_Vsv(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)), radius_of(state));
  std::vector<ruf_di> b = s.b;
  std::vector<double> x(s.n);
  int n = s.n, one = 1, info = 0;
  for (auto _ : state) {
    b = s.b;
    digevsv("N", &n, &one, s.a.data(), &n, b.data(), &n, x.data(), &n, &info, 1);
    benchmark::DoNotOptimize(b.data());
  }
  state.counters["max_width"] = max_width(b);
  state.counters["info"] = info;
}

void BM_Dgesv(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)), 0);
  std::vector<double> a, b;
  std::vector<int> pivots(s.n);
  int n = s.n, one = 1, info = 0;
  for (auto _ : state) {
    a = s.am;
    b = s.bm;
    dgesv_(&n, &one, a.data(), &n, pivots.data(), b.data(), &n, &info);
    benchmark::DoNotOptimize(b.data());
  }
}

void BM_Gegas(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)), radius_of(state));
  std::vector<ruf_di> b;
  int n = s.n, one = 1, info = 0;
  for (auto _ : state) {
    b = s.b;
    digegas("N", &n, &one, s.a.data(), &n, b.data(), &n, &info, 1);
    benchmark::DoNotOptimize(b.data());
  }
  state.counters["max_width"] = max_width(b);
}

// The complex system of order n, as rectangles and as discs of the same
// centres (rectangles of half-width r, discs of radius r).
struct ComplexSystem {
  std::vector<ruf_zr> ar, br;
  std::vector<ruf_zc> ac, bc;
};
const ComplexSystem &complex_system_of(int n, double radius) {
  static std::map<std::pair<int, double>, ComplexSystem> cache;
  ComplexSystem &s = cache[{n, radius}];
  if (!s.ar.empty()) return s;
  std::mt19937_64 rng(20250 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const auto add = [&](std::vector<ruf_zr> &r, std::vector<ruf_zc> &c, double re, double im) {
    const double lo = radius == 0 ? 0 : std::nextafter(radius, INFINITY);
    r.push_back({{re - lo, re + lo}, {im - lo, im + lo}});
    c.push_back({re, im, radius});
  };
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double re = u(rng) + (i == j ? n : 0.0), im = u(rng);
      add(s.ar, s.ac, re, im);
    }
  for (int i = 0; i < n; ++i) {
    const double re = u(rng), im = u(rng);
    add(s.br, s.bc, re, im);
  }
  return s;
}

void BM_Complex(benchmark::State &state) {
  const int method = int(state.range(0)), n0 = int(state.range(1));
  const ComplexSystem &s = complex_system_of(n0, state.range(2) == 0 ? 0.0 : 1e-10);
  std::vector<ruf_zr> br;
  std::vector<ruf_zc> bc;
  std::vector<ruf_z> x(n0);
  int n = n0, one = 1, info = 0;
  const double eps = 1e-10;
  for (auto _ : state) {
    br = s.br;
    bc = s.bc;
    switch (method) {
    case 0:
      zrgevsv("N", &n, &one, s.ar.data(), &n, br.data(), &n, x.data(), &n, &info, 1);
      break;
    case 1:
      zrgekws("N", &n, &one, s.ar.data(), &n, br.data(), &n, &eps, &info, 1);
      break;
    case 2:
      zcgevsv("N", &n, &one, s.ac.data(), &n, bc.data(), &n, x.data(), &n, &info, 1);
      break;
    default:
      zcgegas("N", &n, &one, s.ac.data(), &n, bc.data(), &n, &info, 1);
    }
    benchmark::ClobberMemory();
  }
  double w = 0;
  for (int i = 0; i < n; ++i)
    w = method < 2 ? std::max({w, br[i].re.sup - br[i].re.inf, br[i].im.sup - br[i].im.inf})
                   : std::max(w, 2 * bc[i].rad);
  state.counters["max_width"] = w;
  state.counters["info"] = info;
}

#ifdef RUF_HAVE_ARB
void BM_Arb(benchmark::State &state) {
  const System &s = system_of(int(state.range(0)), radius_of(state));
  arb_mat_t a, b, x;
  arb_mat_init(a, s.n, s.n);
  arb_mat_init(b, s.n, 1);
  arb_mat_init(x, s.n, 1);
  const auto set = [](arb_t e, const ruf_di &v) {
    arf_t lo, hi;
    arf_init(lo);
    arf_init(hi);
    arf_set_d(lo, v.inf);
    arf_set_d(hi, v.sup);
    arb_set_interval_arf(e, lo, hi, 53);
    arf_clear(lo);
    arf_clear(hi);
  };
  for (int j = 0; j < s.n; ++j)
    for (int i = 0; i < s.n; ++i)
      set(arb_mat_entry(a, i, j), s.a[i + std::size_t(j) * s.n]);
  for (int i = 0; i < s.n; ++i)
    set(arb_mat_entry(b, i, 0), s.b[i]);
  for (auto _ : state) {
    arb_mat_solve(x, a, b, 53);
    benchmark::ClobberMemory();
  }
  double w = 0;
  for (int i = 0; i < s.n; ++i)
    w = std::max(w, 2 * mag_get_d(arb_radref(arb_mat_entry(x, i, 0))));
  state.counters["max_width"] = w;
  arb_mat_clear(a);
  arb_mat_clear(b);
  arb_mat_clear(x);
}
BENCHMARK(BM_Arb)->Args({200, 0})->Args({200, 1})->Args({400, 0})->Args({400, 1})->Unit(
    benchmark::kMillisecond);
#endif

BENCHMARK(BM_Vsv)
    ->Args({200, 0})
    ->Args({200, 1})
    ->Args({400, 0})
    ->Args({400, 1})
    ->Args({1000, 0})
    ->Args({1000, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Dgesv)->Args({200, 0})->Args({400, 0})->Args({1000, 0})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Gegas)->Args({200, 1})->Args({400, 1})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Complex)
    ->ArgsProduct({{0, 1, 2, 3}, {100, 200}, {0, 1}})
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
