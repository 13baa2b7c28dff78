// The hull bounds against the exact hull of small systems (GMP, by vertex
// enumeration): every bracket holds the exact endpoint, for both routines,
// both members, both sides, "N" and "T"; with eps = 0 the orthant bracket is
// a few units of the last place wide; the two routines agree; maxit and a
// matrix not proven regular give their infos.
#include <limits>

#include "solvers/harness.h"

namespace {

using namespace ruf_test;

template <class E> class Hull : public SolverTest<E> {};
TYPED_TEST_SUITE(Hull, RealMembers);

// One bound of component k by GEPPS or GEPSS: the bracket, info and the
// work done.
template <class E> struct Bound {
  E bound{};
  int info, used;
};
template <class E>
Bound<E> run(const char *method, const char *trans, const IMat<E> &a, const IMat<E> &b, int k,
             Real<E> eps, const char *ul, int maxit) {
  Bound<E> r;
  Call<E> c{.trans = trans, .ul = ul, .n = a.rows, .lda = a.ld, .k = k, .maxit = maxit, .eps = eps};
  c.a = const_cast<E *>(a.data()), c.b = const_cast<E *>(b.data()), c.lo = &r.bound;
  r.info = invoke(method, c);
  r.used = c.maxit;
  return r;
}

// The width in units of the last place of max(1, |x|): the sums behind a
// bracket carry absolute rounding errors of the data's size, about 1 here.
template <class E> double ulps(const E &x) {
  using T = Real<E>;
  const T m = std::fmax(T(1), std::fmax(std::fabs(x.inf), std::fabs(x.sup)));
  const T unit = std::nextafter(m, std::numeric_limits<T>::infinity()) - m;
  return (x.sup - x.inf) / unit;
}

// The transposed request mirrors A's lower triangle, as the other solvers do.
template <class E> IMat<E> mirrored(IMat<E> a) {
  for (int j = 0; j < a.cols; ++j)
    for (int i = 0; i < j; ++i)
      a(i, j) = a(j, i);
  return a;
}

TYPED_TEST(Hull, BracketsHoldTheExactEndpoints) {
  using E = TypeParam;
  Dyadic g(test_seed());
  int tight = 0;
  for (int t = 0; t < 24; ++t) {
    const int n = 1 + t % 3;
    SCOPED_TRACE(trial(t, n));
    // Wide enough that the solution set crosses orthants now and then.
    const IMat<E> a = dominant<E>(g, n, 0.5);
    const IMat<E> b = generated<E>(n, 1, [&](int, int) { return element<E>(g, 0, 1, 1); });
    const char *trans = t % 4 == 3 ? "T" : "N";
    const auto hull = solution_hull(exact(*trans == 'T' ? mirrored(a) : a), exact(b));
    ASSERT_TRUE(hull);
    for (int k = 1; k <= n; ++k)
      for (const char *ul : {"L", "U"}) {
        const Q &want = *ul == 'L' ? hull->lo(k - 1, 0) : hull->hi(k - 1, 0);
        const Bound<E> pps = run("GEPPS", trans, a, b, k, Real<E>(0), ul, 1000);
        const Bound<E> pss = run("GEPSS", trans, a, b, k, Real<E>(1e-4), ul, 4000);
        EXPECT_TRUE(Kind<E>::contains(pps.bound, want)) << k << ul;
        EXPECT_TRUE(Kind<E>::contains(pss.bound, want)) << k << ul;
        // Every orthant done: the bracket is as narrow as the arithmetic
        // allows, and eps = 0 still asks for more.
        EXPECT_LE(ulps(pps.bound), 8) << k << ul;
        EXPECT_LE(pps.info, 1);
        EXPECT_EQ(pss.info, 0) << k << ul;
        EXPECT_LE(pss.bound.inf, pps.bound.sup);
        EXPECT_LE(pps.bound.inf, pss.bound.sup);
        tight += pps.bound.inf == pps.bound.sup || ulps(pps.bound) <= 2;
      }
  }
  EXPECT_GT(tight, 0);
}

// Textbook systems whose hulls are known: Barth and Nuding's, [-4, 4] in
// each component, and Hansen's, x1 in [-120, 90], x2 in [-60, 240].
TYPED_TEST(Hull, TextbookSystems) {
  using E = TypeParam;
  const struct {
    IMat<E> a, b;
    double lo[2], hi[2];
  } systems[] = {
      {rows<E>(2, {E{2, 4}, E{-2, 1}, E{-1, 2}, E{2, 4}}),
       rows<E>(2, {E{-2, 2}, E{-2, 2}}),
       {-4, -4},
       {4, 4}},
      {rows<E>(2, {E{2, 3}, E{0, 1}, E{1, 2}, E{2, 3}}),
       rows<E>(2, {E{0, 120}, E{60, 240}}),
       {-120, -60},
       {90, 240}},
  };
  for (const auto &s : systems)
    for (const char *route : {"GEPPS", "GEPSS"})
      for (int k = 1; k <= 2; ++k)
        for (const char *ul : {"L", "U"}) {
          const double want = *ul == 'L' ? s.lo[k - 1] : s.hi[k - 1];
          const Bound<E> c = run(route, "N", s.a, s.b, k, Real<E>(1e-6), ul, 5000);
          EXPECT_EQ(c.info, 0);
          EXPECT_TRUE(Kind<E>::contains(c.bound, Q(want))) << k << ul;
          EXPECT_LE(c.bound.sup - c.bound.inf, 1e-5 * std::fabs(want));
        }
}

// maxit reached: info 1 with a bracket still valid; [A] singular or too
// wide to prove regular: info 2 and the entire line.
TYPED_TEST(Hull, WorkLimitAndUnprovenRegularity) {
  using E = TypeParam;
  const IMat<E> a = rows<E>(2, {E{2, 4}, E{-2, 1}, E{-1, 2}, E{2, 4}});
  const IMat<E> b = rows<E>(2, {E{-2, 2}, E{-2, 2}});
  for (const char *route : {"GEPPS", "GEPSS"}) {
    const Bound<E> c = run(route, "N", a, b, 1, Real<E>(0), "U", 1);
    EXPECT_EQ(c.info, 1);
    EXPECT_EQ(c.used, 1);
    EXPECT_TRUE(Kind<E>::contains(c.bound, Q(4)));
    for (const IMat<E> &singular :
         {rows<E>(1, {E{-1, 1}}), rows<E>(2, {E{1, 2}, E{1, 2}, E{1, 2}, E{1, 2}})}) {
      const IMat<E> one = filled(singular.rows, 1, pt<E>(1));
      const Bound<E> s = run(route, "N", singular, one, 1, Real<E>(1e-3), "L", 100);
      EXPECT_EQ(s.info, 2);
      EXPECT_EQ(s.bound.inf, -std::numeric_limits<Real<E>>::infinity());
      EXPECT_EQ(s.bound.sup, std::numeric_limits<Real<E>>::infinity());
    }
  }
}

} // namespace
