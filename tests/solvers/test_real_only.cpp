// The methods only the real members have: Householder, H-matrix, Schulz
// inverse and the two regularity tests. What each encloses or decides against
// exact answers, and the behaviours they keep on purpose: the Householder
// members' different back substitutions and its true transposition; the
// H-matrix solver's return paths, each with the rounding direction it leaves,
// and its trans and ldb without effect; the verdict order of the regularity
// tests and what a failing LAPACK routine leaves behind.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "solvers/harness.h"

namespace {

using namespace ruf_test;

template <class E> class RealOnly : public SolverTest<E> {};
TYPED_TEST_SUITE(RealOnly, RealMembers);

template <class E> IMat<E> diagonal(std::vector<double> d, E off = E{0, 0}) {
  const int n = static_cast<int>(d.size());
  return generated<E>(n, n, [&](int i, int j) { return i == j ? pt<E>(d[i]) : off; });
}
template <class E> int gehss(const IMat<E> &a, IMat<E> &b, const char *trans = "N") {
  return solve<E>("GEHSS", a, b, {.trans = trans});
}
template <class E> int gehbs(const IMat<E> &a, IMat<E> &b, const char *trans = "N", int ldb = 0) {
  Call<E> c{.trans = trans};
  c.n = a.rows, c.lda = a.ld, c.ldb = ldb > 0 ? ldb : b.ld, c.a = const_cast<E *>(a.data());
  c.b = b.data();
  return invoke("GEHBS", c);
}
// Point systems (dominant) with exact solutions, and small interval ones with
// their exact solution-set hulls.
template <class E> Mat<Q> exact_solution(const IMat<E> &a, const IMat<E> &b) {
  return *solve(centres(a), centres(b));
}

// The members differ in the back substitution, on purpose: for A = [1 1; 0 2]
// and b = (3, 4) the reflection is diag(-1, 1), so R = [-1 -1; 0 2] and y =
// (-3, 4); the single member substitutes the solved x(2) = 2 and finds x(1) =
// 1, the double member the transformed y(2) = 4 and finds -1. So the single
// member encloses exact solutions, the double member its last component.
TYPED_TEST(RealOnly, HouseholderBackSubstitutionAndEnclosures) {
  using E = TypeParam;
  const bool single = sizeof(Real<E>) == 4;
  IMat<E> b = rows<E>(2, {pt<E>(3), pt<E>(4)});
  ASSERT_EQ(gehss(rows<E>(2, {pt<E>(1), pt<E>(1), pt<E>(0), pt<E>(2)}), b), 0);
  EXPECT_TRUE(ops::same(b(0, 0), pt<E>(single ? 1 : -1)) && ops::same(b(1, 0), pt<E>(2)));
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(12); ++k) {
    const int n = g.integer(1, 10);
    SCOPED_TRACE(trial(k, n));
    const IMat<E> a = dominant<E>(g, n), b0 = dominant<E>(g, n);
    IMat<E> x = b0;
    ASSERT_EQ(gehss(a, x), 0);
    const Mat<Q> want = exact_solution(a, b0);
    for (int j = 0; j < n; ++j)
      for (int i = single ? 0 : n - 1; i < n; ++i)
        EXPECT_TRUE(Kind<E>::contains(x(i, j), want(i, j))) << i << "," << j;
  }
}

// A column whose remaining part has a sum of squares containing zero stops
// with info = 1, B as the earlier reflections made it, the five work arrays
// kept; the last column is never tested. "T" and "C" solve with the true
// transpose, unlike the elimination methods.
TYPED_TEST(RealOnly, HouseholderBreakdownAndTransposition) {
  using E = TypeParam;
  const E o = pt<E>(0), l = pt<E>(1);
  const int live = live_allocations();
  IMat<E> b = filled(3, 2, E{5, 6}), want = b;
  want(0, 0) = want(0, 1) = E{-6, -5}; // the first reflection, diag(-1, 1, 1)
  EXPECT_EQ(gehss(rows<E>(3, {pt<E>(2), l, o, o, o, o, o, o, l}), b), 1);
  EXPECT_TRUE(same_bits(b, want));
  EXPECT_EQ(live_allocations() - live, 5);
  b = filled(2, 1, l);
  EXPECT_EQ(gehss(diagonal<E>({1, 0}), b), 0);

  Dyadic g(test_seed() + 1);
  const IMat<E> a = dominant<E>(g, 5, 0x1p-12), b0 = dominant<E>(g, 5, 0x1p-4);
  const IMat<E> at = generated<E>(5, 5, [&](int i, int j) { return a(j, i); });
  IMat<E> transposed = b0, plain = b0;
  ASSERT_EQ(gehss(at, transposed), 0);
  ASSERT_EQ(gehss(a, plain), 0);
  for (const char *t : {"T", "c", "n"}) {
    IMat<E> got = b0;
    ASSERT_EQ(gehss(a, got, t), 0);
    EXPECT_TRUE(same_bits(t[0] == 'n' ? plain : transposed, got)) << t;
  }
}

// Every return path of the H-matrix solver, entered in the caller's direction
// toward zero: the failed positivity test (info 2: <A> regular but not shown
// an M-matrix) leaves rounding downward, the normal return the default; the
// failures before any switch leave the caller's. Failures leave b unchanged,
// report nothing and keep the ten work arrays.
TYPED_TEST(RealOnly, HMatrixReturnPaths) {
  using E = TypeParam;
  namespace mx = mxcsr;
  const struct {
    const char *what;
    IMat<E> a;
    int info;
    std::uint32_t field;
  } cases[] = {
      {"mignitude 0 at order 1", filled(1, 1, E{-1, 1}), 1, mx::kTowardZero},
      {"singular <A>", filled(2, 2, pt<E>(1)), 1, mx::kTowardZero},
      {"not an H-matrix", diagonal<E>({1, 1}, pt<E>(2)), 2, mx::kDown},
      {"solved", diagonal<E>({4, 4}, pt<E>(1)), 0, mx::kNearest},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const int live = live_allocations();
    IMat<E> b = filled(c.a.rows, 1, E{5, 6});
    const IMat<E> before = b;
    int info = 99;
    EXPECT_EQ(mx::field_after(mx::kTowardZero, [&] { info = gehbs(c.a, b); }), c.field);
    EXPECT_EQ(info, c.info);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(same_bits(b, before), c.info != 0);
    EXPECT_EQ(live_allocations() - live, c.info != 0 ? 10 : 0);
  }
}

// H-matrix systems (diagonal dominance by rows): points up to order 12 against
// the exact solution, intervals up to order 3 against the exact hull. trans is
// checked but has no effect, and b is read as one contiguous vector whatever
// ldb.
TYPED_TEST(RealOnly, HMatrixEnclosures) {
  using E = TypeParam;
  Dyadic g(test_seed() + 2);
  for (int k = 0; k < scaled(20); ++k) {
    const bool point = k % 2 == 0;
    const int n = g.integer(1, point ? 12 : 3);
    SCOPED_TRACE(trial(k, n));
    const double radius = point ? 0 : 0x1p-4;
    const IMat<E> a = dominant<E>(g, n, radius);
    IMat<E> b = generated<E>(n, 1, [&](int, int) { return element<E>(g, 0, 1, 2 * radius); });
    const IMat<E> b0 = b;
    ASSERT_EQ(gehbs(a, b), 0);
    if (point)
      EXPECT_TRUE(encloses(b, exact_solution(a, b0)));
    else
      EXPECT_TRUE(encloses(b, *solution_hull(exact(a), exact(b0))));
    IMat<E> t = b0;
    ASSERT_EQ(gehbs(a, t, k % 3 ? "T" : "c", n + 3), 0);
    EXPECT_TRUE(same_bits(t, b));
  }
}

// The Schulz iteration encloses exact inverses of well-conditioned point
// matrices and reaches the identity's exactly.
TYPED_TEST(RealOnly, SchulzInverse) {
  using E = TypeParam;
  Dyadic g(test_seed() + 3);
  for (int k = 0; k < scaled(12); ++k) {
    const int n = g.integer(1, 8);
    SCOPED_TRACE(trial(k, n));
    IMat<E> a = k == 0 ? diagonal<E>(std::vector<double>(n, 1.0)) : dominant<E>(g, n);
    const IMat<E> a0 = a;
    const Mat<Q> inverse = *solve(centres(a), identity<Q>(n));
    ASSERT_EQ(solve<E>("GESZI", a, a), 0);
    if (k == 0)
      EXPECT_TRUE(same_bits(a, a0));
    else
      EXPECT_TRUE(encloses(a, inverse));
  }
}

template <class E> struct Verdict {
  int info = 77, flag = 77;
  Real<E> r = -99;
  E sa{-9, -9}, sd{-9, -9};
};
template <class E> Verdict<E> verdict(const char *method, const IMat<E> &a) {
  Verdict<E> v;
  Call<E> c{.n = a.rows, .lda = a.ld, .flag = v.flag, .a = const_cast<E *>(a.data())};
  c.r = &v.r, c.lo = &v.sa, c.hi = &v.sd;
  v.info = invoke(method, c);
  v.flag = c.flag;
  return v;
}

// The verdict order of the spectral test and what each outcome leaves: a
// singular midpoint decides at once (r not written), a radius below 1 decides
// regular, the column test singular; only the undecided outcome releases its
// nine work arrays. A failing eigenvalue computation passes its count on.
TYPED_TEST(RealOnly, SpectralRegularityTest) {
  using E = TypeParam;
  IMat<E> wide_diagonal = diagonal<E>({0, 0});
  wide_diagonal(0, 0) = wide_diagonal(1, 1) = E{-0.5, 2.5};
  const double unwritten = -99;
  const struct {
    const char *what;
    IMat<E> a;
    int flag;
    double r;
  } cases[] = {
      {"[1, 3]", filled(1, 1, E{1, 3}), 1, 0.5},
      {"[-1, 3]: r 2, then the column test", filled(1, 1, E{-1, 3}), -1, 2},
      {"[-2, 2]: a singular midpoint", filled(1, 1, E{-2, 2}), -1, unwritten},
      {"identity, off-diagonal radius 0.75", diagonal<E>({1, 1}, E{-0.75, 0.75}), 1, 0.75},
      {"identity, diagonal radius 1.5", wide_diagonal, -1, 1.5},
      {"identity, off-diagonal radius 1: undecided", diagonal<E>({1, 1}, E{-1, 1}), 0, 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const int live = live_allocations();
    const auto v = verdict("GERBR", c.a);
    EXPECT_EQ(v.info, 0);
    EXPECT_EQ(v.flag, c.flag);
    EXPECT_NEAR(v.r, c.r, 1e-6);
    EXPECT_EQ(live_allocations() - live, c.flag == 0 ? 0 : 9);
  }
  lapack.geev_status = 3;
  const auto v = verdict("GERBR", rows<E>(2, {E{3, 4}, E{0, 1}, E{0, 1}, E{3, 4}}));
  EXPECT_TRUE(v.info == 3 && v.flag == 0 && v.r == -99);
}

// The singular-value test: the ranges are the extreme singular values of the
// midpoint and radius matrices, the comparisons strict; a failing
// decomposition leaves the ranges not yet computed at [0, 0].
TYPED_TEST(RealOnly, SingularValueRegularityTest) {
  using E = TypeParam;
  const struct {
    const char *what;
    IMat<E> a;
    int flag;
    E sa, sd;
  } cases[] = {
      {"[-1, 1]: 0 < 1", filled(1, 1, E{-1, 1}), -1, {0, 0}, {1, 1}},
      {"[0, 2]: 1 = 1, strict comparisons", filled(1, 1, E{0, 2}), 0, {1, 1}, {1, 1}},
      {"[1, 3]: 2 > 1", filled(1, 1, E{1, 3}), 1, {2, 2}, {1, 1}},
      {"diag([2, 4], [-3, -1])",
       rows<E>(2, {E{2, 4}, pt<E>(0), pt<E>(0), E{-3, -1}}),
       1,
       {2, 3},
       {1, 1}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const auto v = verdict("GESVR", c.a);
    EXPECT_EQ(v.info, 0);
    EXPECT_EQ(v.flag, c.flag);
    for (const auto &[got, want] : {std::pair{v.sa, c.sa}, std::pair{v.sd, c.sd}})
      EXPECT_TRUE(std::fabs(got.inf - want.inf) < 1e-6 && std::fabs(got.sup - want.sup) < 1e-6)
          << ops::show(got);
  }
  const IMat<E> a = rows<E>(2, {E{3, 5}, pt<E>(0), pt<E>(0), E{-1, 1}});
  for (int failing : {1, 2}) {
    lapack = {};
    lapack.gesvd_fail_at = failing, lapack.gesvd_status = 2;
    const auto v = verdict("GESVR", a);
    EXPECT_TRUE(v.info == 2 && v.flag == 0) << failing;
    EXPECT_TRUE(ops::same(v.sa, failing == 1 ? E{0, 0} : E{0, 4}) && ops::same(v.sd, E{0, 0}));
  }
}

} // namespace
