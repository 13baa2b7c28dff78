// The double complex members of Gaussian elimination and Krawczyk against
// Arb's acb_mat_solve, on A = U + i·U + n·I (both parts of every entry from
// U[-1, 1]) and a right-hand side from U + i·U, every entry widened:
// rectangles by 1e-10 in each part, discs by a radius of 1e-10.
//   Solve<M>  - one solve through the exported entry. Counters: ms per solve
//               is the time; max_width the largest width of a part (a
//               disc's diameter); calls the entry wrappers the solve runs
//               (this program's ruf_cfg_file counts them); ns_per_call the
//               time outside LAPACK per wrapper call; lapack_share the time
//               in zgetrf + zgetri (interposed and timed here); meets_arb 1
//               when every component meets Arb's enclosure, 0 when one is
//               disjoint from it, NaN when ours holds NaN.
//   Arb       - acb_mat_solve at 53 bits on the same data, each entry the
//               box of the rectangle (or of the disc).
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "ruf_interval.h"

#ifdef RUF_HAVE_ARB
#include <acb_mat.h>
#endif

namespace {
long g_calls = 0;
double g_lapack_ns = 0;

using Clock = std::chrono::steady_clock;

template <class F> F next_symbol(const char *name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
} // namespace

// In the service library's place: each entry wrapper calls it once.
extern "C" int ruf_cfg_file(int) {
  ++g_calls;
  return 0;
}

// LAPACK's inversion, timed on its way through.
extern "C" void zgetrf_(const int *m, const int *n, std::complex<double> *a, const int *lda,
                        int *ipiv, int *info) {
  using F = void (*)(const int *, const int *, std::complex<double> *, const int *, int *, int *);
  static const F real_zgetrf = next_symbol<F>("zgetrf_");
  const auto t0 = Clock::now();
  real_zgetrf(m, n, a, lda, ipiv, info);
  g_lapack_ns += std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
}
extern "C" void zgetri_(const int *n, std::complex<double> *a, const int *lda, const int *ipiv,
                        std::complex<double> *work, const int *lwork, int *info) {
  using F = void (*)(const int *, std::complex<double> *, const int *, const int *,
                     std::complex<double> *, const int *, int *);
  static const F real_zgetri = next_symbol<F>("zgetri_");
  const auto t0 = Clock::now();
  real_zgetri(n, a, lda, ipiv, work, lwork, info);
  g_lapack_ns += std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
}

namespace {

constexpr double kRadius = 1e-10;

// A complex entry's bounding box, which is what Arb gets.
struct Box {
  double re_lo, re_hi, im_lo, im_hi;
};

double below(double v) {
  return std::nextafter(v, -std::numeric_limits<double>::infinity());
}
double above(double v) {
  return std::nextafter(v, std::numeric_limits<double>::infinity());
}

ruf_zr rect(std::complex<double> c) {
  return {{below(c.real() - kRadius), above(c.real() + kRadius)},
          {below(c.imag() - kRadius), above(c.imag() + kRadius)}};
}
ruf_zc disc(std::complex<double> c) {
  return {c.real(), c.imag(), kRadius};
}
Box box(const ruf_zr &x) {
  return {x.re.inf, x.re.sup, x.im.inf, x.im.sup};
}
Box box(const ruf_zc &x) {
  return {below(x.re - x.rad), above(x.re + x.rad), below(x.im - x.rad), above(x.im + x.rad)};
}
double width(const ruf_zr &x) {
  return std::max(x.re.sup - x.re.inf, x.im.sup - x.im.inf);
}
double width(const ruf_zc &x) {
  return std::isnan(x.re + x.im) ? x.re + x.im : 2 * x.rad;
}

template <class E> struct System {
  int n = 0;
  std::vector<E> a, b; // column-major n x n, and n
};

template <class E> const System<E> &system_of(int n) {
  static std::map<int, System<E>> cache;
  System<E> &s = cache[n];
  if (s.n == n) return s;
  std::mt19937_64 rng(40960 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  const auto entry = [&](double shift) {
    const std::complex<double> c(u(rng) + shift, u(rng));
    if constexpr (std::is_same_v<E, ruf_zr>)
      return rect(c);
    else
      return disc(c);
  };
  s.n = n;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      s.a.push_back(entry(i == j ? n : 0.0));
  for (int i = 0; i < n; ++i)
    s.b.push_back(entry(0.0));
  return s;
}

enum class Method { gegas, gekws };

template <class E> int solve(Method m, const System<E> &s, std::vector<E> &x) {
  std::copy(s.b.begin(), s.b.end(), x.begin());
  int n = s.n, nrhs = 1, info = 0;
  const double eps = 1e-10;
  if constexpr (std::is_same_v<E, ruf_zr>) {
    if (m == Method::gegas)
      ZRGEGAS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &info, 1);
    else
      ZRGEKWS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &eps, &info, 1);
  } else {
    if (m == Method::gegas)
      ZCGEGAS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &info, 1);
    else
      ZCGEKWS("N", &n, &nrhs, s.a.data(), &n, x.data(), &n, &eps, &info, 1);
  }
  return info;
}

#ifdef RUF_HAVE_ARB
void set_box(acb_t e, const Box &b) {
  arf_t lo, hi;
  arf_init(lo);
  arf_init(hi);
  arf_set_d(lo, b.re_lo);
  arf_set_d(hi, b.re_hi);
  arb_set_interval_arf(acb_realref(e), lo, hi, 53);
  arf_set_d(lo, b.im_lo);
  arf_set_d(hi, b.im_hi);
  arb_set_interval_arf(acb_imagref(e), lo, hi, 53);
  arf_clear(lo);
  arf_clear(hi);
}

struct ArbSystem {
  acb_mat_t a, b, x;
  template <class E> explicit ArbSystem(const System<E> &s) {
    acb_mat_init(a, s.n, s.n);
    acb_mat_init(b, s.n, 1);
    acb_mat_init(x, s.n, 1);
    for (int j = 0; j < s.n; ++j)
      for (int i = 0; i < s.n; ++i)
        set_box(acb_mat_entry(a, i, j), box(s.a[i + std::size_t(j) * s.n]));
    for (int i = 0; i < s.n; ++i)
      set_box(acb_mat_entry(b, i, 0), box(s.b[i]));
  }
  ~ArbSystem() {
    acb_mat_clear(a);
    acb_mat_clear(b);
    acb_mat_clear(x);
  }
  ArbSystem(const ArbSystem &) = delete;
  ArbSystem &operator=(const ArbSystem &) = delete;
  bool solve() { return acb_mat_solve(x, a, b, 53) != 0; }
};

// 1 when every component of ours meets Arb's, 0 when one misses it, NaN
// when ours holds NaN (nothing to compare).
template <class E> double meets_arb(const System<E> &s, const std::vector<E> &ours) {
  for (const E &e : ours)
    if (std::isnan(width(e))) return std::numeric_limits<double>::quiet_NaN();
  ArbSystem m(s);
  if (!m.solve()) return std::numeric_limits<double>::quiet_NaN();
  for (int i = 0; i < s.n; ++i) {
    acb_t mine;
    acb_init(mine);
    set_box(mine, box(ours[i]));
    const bool meet = acb_overlaps(mine, acb_mat_entry(m.x, i, 0)) != 0;
    acb_clear(mine);
    if (!meet) return 0;
  }
  return 1;
}
#endif

template <class E, Method M> void BM_Solve(benchmark::State &state) {
  const System<E> &s = system_of<E>(int(state.range(0)));
  std::vector<E> x(s.b.size());
  g_calls = 0;
  g_lapack_ns = 0;
  const int info = solve(M, s, x);
  const double calls = double(g_calls - 1); // less the solver's own entry
  double w = 0;
  for (const E &e : x)
    w = std::isnan(width(e)) || std::isnan(w) ? std::numeric_limits<double>::quiet_NaN()
                                              : std::max(w, width(e));

  g_lapack_ns = 0;
  const auto t0 = Clock::now();
  for (auto _ : state) {
    solve(M, s, x);
    benchmark::DoNotOptimize(x.data());
    benchmark::ClobberMemory();
  }
  const double total = std::chrono::duration<double, std::nano>(Clock::now() - t0).count();
  const double iterations = double(state.iterations());

  state.counters["info"] = info;
  state.counters["max_width"] = w;
  state.counters["calls"] = calls;
  state.counters["ns_per_call"] = (total - g_lapack_ns) / iterations / calls;
  state.counters["lapack_share"] = g_lapack_ns / total;
#ifdef RUF_HAVE_ARB
  state.counters["meets_arb"] = meets_arb(s, x);
#endif
}

#ifdef RUF_HAVE_ARB
template <class E> void BM_Arb(benchmark::State &state) {
  const System<E> &s = system_of<E>(int(state.range(0)));
  ArbSystem m(s);
  if (!m.solve()) {
    state.SkipWithError("acb_mat_solve could not certify the system");
    return;
  }
  double w = 0;
  for (int i = 0; i < s.n; ++i) {
    const acb_srcptr e = acb_mat_entry(m.x, i, 0);
    w = std::max(
        {w, 2 * mag_get_d(arb_radref(acb_realref(e))), 2 * mag_get_d(arb_radref(acb_imagref(e)))});
  }
  for (auto _ : state) {
    m.solve();
    benchmark::ClobberMemory();
  }
  state.counters["max_width"] = w;
}
#endif

#define RUF_SIZES ->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond)
BENCHMARK(BM_Solve<ruf_zr, Method::gegas>) RUF_SIZES;
BENCHMARK(BM_Solve<ruf_zc, Method::gegas>) RUF_SIZES;
BENCHMARK(BM_Solve<ruf_zr, Method::gekws>) RUF_SIZES;
BENCHMARK(BM_Solve<ruf_zc, Method::gekws>) RUF_SIZES;
#ifdef RUF_HAVE_ARB
BENCHMARK(BM_Arb<ruf_zr>) RUF_SIZES;
BENCHMARK(BM_Arb<ruf_zc>) RUF_SIZES;
#endif

} // namespace

BENCHMARK_MAIN();
