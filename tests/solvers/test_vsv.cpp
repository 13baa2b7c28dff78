// The fast verified solver. Its results must contain the exact solutions of
// point systems drawn from the data (GMP), with the BLAS as it is and with a
// BLAS that errs as far as the error model lets it: an interposed dgemm that
// moves every entry of its result by just under the bound the solver
// assumes, in both directions over the matrix. Point systems come out a few
// units in the last place wide; a system too ill-conditioned to prove gives
// info = 1, the entire line and the approximation.
#include <dlfcn.h>

#include <cmath>
#include <cstddef>

#include "solvers/harness.h"

namespace {
bool g_worst_dgemm = false;
}

// The BLAS product, then (when asked) each entry moved by
// (1 - 2^-10)·(g_k·(|A|·|B|) + k·2^-1074), up or down by a pattern.
extern "C" void dgemm_(const char *ta, const char *tb, const int *m, const int *n, const int *k,
                       const double *alpha, const double *a, const int *lda, const double *b,
                       const int *ldb, const double *beta, double *c, const int *ldc,
                       std::size_t la, std::size_t lb) {
  using F = void (*)(const char *, const char *, const int *, const int *, const int *,
                     const double *, const double *, const int *, const double *, const int *,
                     const double *, double *, const int *, std::size_t, std::size_t);
  static const F real = reinterpret_cast<F>(dlsym(RTLD_NEXT, "dgemm_"));
  real(ta, tb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc, la, lb);
  if (!g_worst_dgemm) return;
  const double u = 0x1p-52, g = *k * u / (1 - *k * u);
  for (int j = 0; j < *n; ++j)
    for (int i = 0; i < *m; ++i) {
      double s = 0;
      for (int l = 0; l < *k; ++l)
        s += std::fabs(a[i + l * *lda]) * std::fabs(b[l + j * *ldb]);
      const double bound = (1 - 0x1p-10) * (g * s + *k * 0x1p-1074);
      c[i + j * *ldc] += (i * 7 + j * 3) % 2 ? bound : -bound;
    }
}

namespace {

using namespace ruf_test;

template <class E> class Vsv : public SolverTest<E> {};
TYPED_TEST_SUITE(Vsv, AllMembers);
template <class E> class RealVsv : public SolverTest<E> {};
TYPED_TEST_SUITE(RealVsv, RealMembers);

// B's enclosure and info; the approximation into *x when asked.
template <class E>
std::pair<IMat<E>, int> vsv(const IMat<E> &a, IMat<E> b, std::vector<Point<E>> *x = nullptr) {
  std::vector<Point<E>> approx(static_cast<std::size_t>(a.rows) * b.cols);
  const int info = solve<E>("GEVSV", a, b, {.ldx = a.rows, .x = approx.data()});
  if (x) *x = approx;
  return {b, info};
}

TYPED_TEST(Vsv, EnclosesExactSolutionsWhateverTheBlasErr) {
  using E = TypeParam;
  Dyadic g(test_seed());
  for (const bool worst : {false, true}) {
    g_worst_dgemm = worst;
    for (int t = 0; t < 40; ++t) {
      const int n = 1 + t % 7;
      SCOPED_TRACE(trial(t, n) + (worst ? ", worst dgemm" : ""));
      const double radius = t % 3 == 0 ? 0.0 : 0x1p-12;
      const IMat<E> a = dominant<E>(g, n, radius);
      const IMat<E> b = generated<E>(n, 2, [&](int, int) { return element<E>(g, 0, 1, radius); });
      const auto [x, info] = vsv(a, b);
      ASSERT_EQ(info, 0);
      for (int s = 0; s < 3; ++s) {
        const auto exact =
            solve(s == 0 ? centres(a) : sampled(a, g), s == 0 ? centres(b) : sampled(b, g));
        ASSERT_TRUE(exact);
        EXPECT_TRUE(encloses(x, *exact));
      }
    }
  }
  g_worst_dgemm = false;
}

// Orders large enough for a threaded BLAS to split its products (CTest runs
// this program again under OpenBLAS with two threads when it is installed).
// b = A·x is formed exactly: entries of A are multiples of 2^-8 below 1 off
// the diagonal, x holds small integers.
TYPED_TEST(RealVsv, LargeSystemsEncloseTheirExactSolution) {
  using E = TypeParam;
  Dyadic g(test_seed() + 2);
  for (const int n : {150, 300}) {
    SCOPED_TRACE(n);
    std::vector<double> x(n);
    for (double &v : x)
      v = g.integer(-8, 8);
    const IMat<E> a = generated<E>(n, n, [&](int i, int j) {
      return pt<E>(i == j ? double(n) : g.integer(-255, 255) * 0x1p-8);
    });
    const IMat<E> b = generated<E>(n, 1, [&](int i, int) {
      double s = 0;
      for (int j = 0; j < n; ++j)
        s += double(a(i, j).inf) * x[j];
      return pt<E>(s);
    });
    const auto [got, info] = vsv(a, b);
    ASSERT_EQ(info, 0);
    for (int i = 0; i < n; ++i)
      EXPECT_TRUE(got(i, 0).inf <= x[i] && x[i] <= got(i, 0).sup) << "component " << i;
  }
}

TYPED_TEST(RealVsv, PointSystemsAreFewUnitsWide) {
  using E = TypeParam;
  using T = Real<E>;
  Dyadic g(test_seed() + 1);
  for (int t = 0; t < 20; ++t) {
    const int n = 2 + t % 9;
    const IMat<E> a = dominant<E>(g, n);
    const IMat<E> b = generated<E>(n, 1, [&](int, int) { return element<E>(g, 0.5, 1); });
    const auto [x, info] = vsv(a, b);
    ASSERT_EQ(info, 0);
    for (const E &e : x.v) {
      const T m = std::fmax(std::fabs(e.inf), std::fabs(e.sup));
      EXPECT_LE(e.sup - e.inf, 8 * (std::nextafter(m, T(INFINITY)) - m)) << trial(t, n);
    }
  }
}

// A system too ill-conditioned to prove gives info = 1, the entire line (or
// plane) and the approximation: Hilbert's matrix of order 13 in double (its
// condition number is beyond any proof in double precision), and an exactly
// singular one.
TYPED_TEST(Vsv, IllConditionedSystemsAreRefused) {
  using E = TypeParam;
  std::vector<IMat<E>> refused = {rows<E>(2, {pt<E>(1), pt<E>(2), pt<E>(2), pt<E>(4)})};
  if constexpr (sizeof(Real<E>) == 8)
    refused.push_back(generated<E>(13, 13, [](int i, int j) { return pt<E>(1.0 / (i + j + 1)); }));
  const Q big = Q(1e300) * Q(1e300);
  Field<E> far, opposite; // beyond every finite bound, on both sides
  if constexpr (Kind<E>::complex)
    far = {big, big}, opposite = {-big, -big};
  else
    far = big, opposite = -big;
  for (const IMat<E> &m : refused) {
    std::vector<Point<E>> approx;
    const auto [x, info] = vsv(m, filled(m.rows, 1, pt<E>(1)), &approx);
    EXPECT_EQ(info, 1);
    for (const E &e : x.v)
      EXPECT_TRUE(Kind<E>::contains(e, far) && Kind<E>::contains(e, opposite));
    EXPECT_TRUE(std::isfinite(double(__real__ approx[0])));
  }
}

} // namespace
