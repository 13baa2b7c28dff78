// Interval Gaussian elimination, both members: argument checks, quick
// returns, workspace failure, enclosure of exact solutions of point systems
// (GMP rationals) and of the exact solution-set hull of small interval
// systems, and the intended behaviours: mignitude pivoting with ties to the
// earlier row and no NaN winner, info = 1 with B partly transformed and the
// workspace kept, the mirroring behind "T".
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

namespace {
int g_prologues = 0;
}

// Some returns keep their workspace on purpose; a leak checker in a
// sanitized build would count those.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

extern "C" int ruf_cfg_file(int) {
  ++g_prologues;
  return 0;
}

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digegas;
  static constexpr const char *name = "DIGEGAS";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigegas;
  static constexpr const char *name = "SIGEGAS";
};

template <class T> class Gegas : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb, &info, 1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld}, a, b);
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gegas, Precisions);

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

TYPED_TEST(Gegas, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"trans X", [](Call &c) { c.trans = "X"; }, 1},
      {"trans U", [](Call &c) { c.trans = "U"; }, 1},
      {"trans blank", [](Call &c) { c.trans = " "; }, 1},
      {"trans X and n < 0", [](Call &c) { c.trans = "X", c.n = -1; }, 1},
      {"n < 0", [](Call &c) { c.n = -2; }, 2},
      {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 3},
      {"lda < n", [](Call &c) { c.lda = 2; }, 5},
      {"lda and ldb < n", [](Call &c) { c.lda = 2, c.ldb = 2; }, 5},
      {"ldb < n", [](Call &c) { c.ldb = 2; }, 7},
      {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 7},
  };
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    g_prologues = 0;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_EQ(g_prologues, 1) << "only the solver's own entry: no elementary operation";
  }
}

TYPED_TEST(Gegas, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 2}, std::pair{3, 0}}) {
    reset_doubles();
    const IMat<I> a = filled(3, 3, I{1, 2});
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run({"T", n, nrhs, 3, 3}, a, b), 0);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(b, before));
  }
}

TYPED_TEST(Gegas, AllocationFailureReportsInfo1000) {
  using I = typename TestFixture::I;
  const int live = live_allocations();
  arm_allocation_failure(1);
  const IMat<I> a = filled(3, 3, I{1, 2});
  IMat<I> b = filled(3, 2, I{5, 6});
  const IMat<I> before = b;
  EXPECT_EQ(this->run({}, a, b), 1000);
  EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
  EXPECT_TRUE(same_bits(b, before));
  EXPECT_EQ(live_allocations(), live);

  reset_doubles();
  IMat<I> d = filled(3, 3, I{0, 0});
  for (int i = 0; i < 3; ++i)
    d(i, i) = I{2, 2};
  EXPECT_EQ(this->solve(d, b), 0);
  EXPECT_EQ(allocation_count(), 1);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
}

TYPED_TEST(Gegas, OrderOne) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = filled(1, 1, I{2, 4});
  IMat<I> b = filled(1, 1, I{1, 1});
  ASSERT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(b(0, 0).inf, T(0.25));
  EXPECT_EQ(b(0, 0).sup, T(0.5));
}

// Random point systems up to order 30: whenever elimination succeeds, the
// exact rational solution lies inside the enclosure. Diagonally dominant
// systems must succeed; general ones may stop with info = 1.
TYPED_TEST(Gegas, PointSystemsEncloseTheExactSolution) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  int solved = 0;
  for (int trial = 0; trial < scaled(24); ++trial) {
    const bool dominant = trial % 2 == 0;
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n
                                    << (dominant ? " dominant" : " general"));
    IMat<I> a(n, n, ld), b(n, nrhs, ld);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        a(i, j) = pt<I>(dominant && i == j ? (g.coin() ? 1 : -1) * g.between(1, 2)
                                           : g.any() / (dominant ? n : 1));
    for (auto &e : b.v)
      e = pt<I>(g.any());
    const auto x = ruf_test::solve(exact_point(a), exact_point(b));
    if (!x) continue;
    const int info = this->solve(a, b);
    if (dominant) ASSERT_EQ(info, 0);
    if (info != 0) continue;
    ++solved;
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(contains(b(i, j), (*x)(i, j)))
            << "x(" << i << "," << j << ") = " << (*x)(i, j).approx() << " not in "
            << show(b(i, j));
  }
  EXPECT_GE(solved, scaled(24) / 2);
}

// Small interval M-matrix systems (positive diagonal, off-diagonal entries
// strictly negative, dominant by rows and columns) with any right-hand side:
// the exact solution-set hull lies inside the enclosure. No product there has
// two operands that both contain zero, so the narrowing multiplication rule
// never applies (it has its own test below). With B >= 0 the elimination of
// an M-matrix is exact up to rounding, so the enclosure is also close to the hull.
TYPED_TEST(Gegas, IntervalSystemsEncloseTheSolutionSetHull) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 1);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    const bool nonnegative = trial % 3 == 0;
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    IMat<I> a(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        if (i == j) {
          const double d = g.between(1, 2);
          a(i, j) = I{T(d), T(d + g.between(0, 0.5))};
        } else {
          const double u = g.between(0.0625, 0.25);
          a(i, j) = I{T(-u - g.between(0, 0.0625)), T(-u)};
        }
      }
    IMat<I> b(n, nrhs);
    for (auto &e : b.v) {
      e = anywhere<I>(g, 0.5);
      if (nonnegative) {
        const double m = g.between(0, 1);
        e = I{T(m), T(m + g.between(0, 0.5))};
      }
    }
    const auto hull = solution_hull(exact(a), exact(b));
    ASSERT_TRUE(hull.has_value());
    for (const char *trans : {"N", "T"}) {
      IMat<I> x = b, at = a;
      if (trans[0] == 'T') // "T" solves the symmetric matrix from the lower triangle
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            at(i, j) = I{T(-9), T(9)};
      QBox s = exact(a);
      if (trans[0] == 'T')
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            s.lo(i, j) = s.lo(j, i), s.hi(i, j) = s.hi(j, i);
      const auto h = trans[0] == 'T' ? solution_hull(s, exact(b)) : hull;
      ASSERT_TRUE(h.has_value());
      ASSERT_EQ(this->solve(at, x, trans), 0) << trans;
      for (int j = 0; j < nrhs; ++j)
        for (int i = 0; i < n; ++i) {
          EXPECT_TRUE(contains(x(i, j), h->lo(i, j), h->hi(i, j)))
              << trans << " (" << i << "," << j << "): hull [" << h->lo(i, j).approx() << ", "
              << h->hi(i, j).approx() << "] not in " << show(x(i, j));
          if (nonnegative) {
            const double slack =
                (std::is_same_v<T, float> ? 1e-5 : 1e-13) * (1 + std::fabs(h->hi(i, j).approx()));
            EXPECT_LE(h->lo(i, j).approx() - x(i, j).inf, slack)
                << trans << " lower bound near the hull";
            EXPECT_LE(x(i, j).sup - h->hi(i, j).approx(), slack)
                << trans << " upper bound near the hull";
          }
        }
    }
  }
}

// The pivot is the first candidate of strictly largest mignitude: observed
// through the row order of B when the next column has no usable pivot.
TYPED_TEST(Gegas, PivotTiesKeepTheEarlierRow) {
  using I = typename TestFixture::I;
  const int live = live_allocations();
  // Column 1: mignitudes 2 and 2 (a tie): no interchange. Then W(2,2) = 0.
  IMat<I> a(2, 2);
  a(0, 0) = pt<I>(2), a(1, 0) = I{-4, -2}, a(0, 1) = pt<I>(1), a(1, 1) = pt<I>(-1);
  IMat<I> b(2, 1);
  b(0, 0) = pt<I>(3), b(1, 0) = pt<I>(5);
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_EQ(b(0, 0).inf, 3) << "row 1 stays the pivot row";
  EXPECT_EQ(b(0, 0).sup, 3);
  // B is left as the first step made it (row 2 reduced), and W is not
  // released on this return: intended, the caller only learns info = 1.
  EXPECT_TRUE(contains(b(1, 0), Q(5L) + Q(3L)));
  EXPECT_EQ(live_allocations() - live, 1);

  // A strictly larger mignitude below wins: rows are interchanged in B too.
  a(1, 0) = I{-3, -3}, a(1, 1) = pt<I>(-1.5);
  b(0, 0) = pt<I>(3), b(1, 0) = pt<I>(5);
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_EQ(b(0, 0).inf, 5);
  EXPECT_EQ(b(0, 0).sup, 5);
}

TYPED_TEST(Gegas, NaNMignitudeNeverWins) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  // mig([1, NaN]) is NaN. As the diagonal candidate it cannot be replaced,
  // and a NaN pivot counts as no pivot.
  IMat<I> a(2, 2);
  a(0, 0) = I{1, nan}, a(1, 0) = pt<I>(4), a(0, 1) = pt<I>(1), a(1, 1) = pt<I>(1);
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->solve(a, b), 1);
  // Below the diagonal it never replaces a real candidate: had it won, the
  // NaN pivot would have stopped the first step with B untouched.
  a(0, 0) = pt<I>(1), a(1, 0) = I{4, nan};
  b = filled(2, 1, pt<I>(1));
  this->solve(a, b);
  EXPECT_FALSE(b(1, 0).inf == 1 && b(1, 0).sup == 1) << "the first step eliminated row 2";
}

TYPED_TEST(Gegas, NoUsablePivotInTheLastColumn) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, I{0, 0});
  a(0, 0) = pt<I>(2), a(1, 1) = pt<I>(2), a(2, 2) = I{-1, 1};
  IMat<I> b = filled(3, 1, pt<I>(1));
  EXPECT_EQ(this->solve(a, b), 1);
  IMat<I> c = filled(3, 3, I{0, 0});
  IMat<I> d = filled(3, 1, pt<I>(1));
  const IMat<I> before = d;
  EXPECT_EQ(this->solve(c, d), 1);
  EXPECT_TRUE(same_bits(d, before)) << "stopped at the first column";
}

// "T" mirrors A's lower triangle onto the upper one instead of transposing
// (intended): it solves the symmetric matrix S(i,j) = A(max(i,j), min(i,j))
// and never reads A's upper triangle.
TYPED_TEST(Gegas, TransposedRequestSolvesTheSymmetricMatrixOfTheLowerTriangle) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 3);
  const int n = 6;
  IMat<I> a(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const double m = g.any() / 8;
      a(i, j) = i == j ? away_from_zero<I>(g, 3, 4, 0.25) : I{T(m), T(m + g.between(0, 0.03125))};
    }
  IMat<I> sym = a, garbage = a;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i)
      sym(i, j) = a(j, i), garbage(i, j) = I{nan, nan};
  IMat<I> b0(n, 2);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.25);
  IMat<I> want = b0;
  ASSERT_EQ(this->solve(sym, want, "N"), 0);
  for (const char *t : {"T", "t", "C", "c"}) {
    IMat<I> got = b0;
    ASSERT_EQ(this->solve(garbage, got, t), 0);
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
  IMat<I> lower_case = b0, upper_case = b0;
  ASSERT_EQ(this->solve(a, upper_case, "N"), 0);
  ASSERT_EQ(this->solve(a, lower_case, "n"), 0);
  EXPECT_TRUE(same_bits(upper_case, lower_case));
}

// Both operands of a product contain zero: the arithmetic keeps the larger
// lower candidate (intended), and the enclosure misses the solution x1 = 6
// (a12 = 2, b2 = -3) of the system below.
TYPED_TEST(Gegas, NarrowingMultiplicationRuleShowsInTheResult) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(2, 2, I{0, 0});
  a(0, 0) = pt<I>(1), a(1, 1) = pt<I>(1), a(0, 1) = I{-1, 2};
  IMat<I> b(2, 1);
  b(0, 0) = pt<I>(0), b(1, 0) = I{-3, 4};
  ASSERT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(b(0, 0).inf, -8);
  EXPECT_EQ(b(0, 0).sup, 4);
  EXPECT_FALSE(contains(b(0, 0), Q(6L)));
  QBox box = exact(a);
  box.lo(0, 1) = box.hi(0, 1) = Q(2L);
  QBox rhs(2, 1);
  rhs.lo(1, 0) = rhs.hi(1, 0) = Q(-3L);
  EXPECT_EQ(solution_hull(box, rhs)->lo(0, 0), Q(6L));
}

TYPED_TEST(Gegas, CallersRoundingModeIsLeftAlone) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, I{-1, 1});
  for (int i = 0; i < 3; ++i)
    a(i, i) = I{5, 6};
  IMat<I> b = filled(3, 1, I{1, 2});
  ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
  const int info = this->solve(a, b);
  const int mode = std::fegetround();
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(info, 0);
  EXPECT_EQ(mode, FE_TOWARDZERO);
}

// Every elementary operation goes through its wrapper (one prologue each),
// counted for the method's sequence on a system that needs no interchange:
// the copy of A; per column the pivot copy, the mignitudes, and per row below
// a quotient and the updates (each a product and a difference formed in
// place); then the back substitution, accumulated in B itself.
TYPED_TEST(Gegas, EveryOperationRunsTheEntryPrologue) {
  using I = typename TestFixture::I;
  const int n = 5, nrhs = 2;
  IMat<I> a = filled(n, n, I{-1, 1});
  for (int i = 0; i < n; ++i)
    a(i, i) = I{9, 10};
  for (const char *trans : {"N", "T"}) {
    IMat<I> b = filled(n, nrhs, I{1, 2});
    g_prologues = 0;
    ASSERT_EQ(this->solve(a, b, trans), 0);
    int ops = n * n + (trans[0] == 'T' ? 3 * n * (n - 1) / 2 : 0);
    for (int k = 1; k <= n; ++k)
      ops += 1 + (n - k + 1) + (n - k) * (1 + 2 * (n - k) + 2 * nrhs);
    ops += nrhs * (2 * n * (n - 1) / 2 + n);
    EXPECT_EQ(g_prologues, 1 + ops) << trans;
  }
}

} // namespace
