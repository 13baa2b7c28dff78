// H-matrix solver, both members: argument checks, quick return, workspace
// failure at each of the ten requests, the two method failures, the rounding
// direction left in MXCSR by every return path, trans without effect, and the
// enclosures: exact solutions of point H-matrix systems up to order 20 and the
// exact solution-set hull of small interval H-matrix systems (GMP rationals).
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <string>
#include <type_traits>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

// Some returns keep their workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digehbs;
  static constexpr const char *name = "DIGEHBS";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigehbs;
  static constexpr const char *name = "SIGEHBS";
};

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

// The rounding field of MXCSR, read directly.
enum Field : std::uint32_t { nearest = 0x0000, down = 0x2000, up = 0x4000, toward_zero = 0x6000 };
std::uint32_t rounding_field() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v & 0x6000u;
}

template <class T> class Gehbs : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  void TearDown() override { std::fesetround(FE_TONEAREST); }
  struct Call {
    std::string trans = "N";
    int n = 3, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(c.trans.c_str(), &c.n, a.v.data(), &c.lda, b.data(), &c.ldb, &info, 1);
    return info;
  }
  // Solves, then puts the rounding back to nearest for the test's own work.
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    const int info = run({trans, a.rows, a.ld, b.ld}, a, b);
    std::fesetround(FE_TONEAREST);
    return info;
  }
  // Strictly diagonally dominant by rows, then columns scaled by powers of
  // two: an H-matrix that need not be dominant itself.
  static IMat<I> h_matrix(Dyadic &g, int n, double width) {
    IMat<I> a(n, n);
    for (int j = 0; j < n; ++j) {
      const double scale = std::ldexp(1.0, g.integer(-3, 3));
      for (int i = 0; i < n; ++i) {
        const I e = i == j ? away_from_zero<I>(g, 1, 2, width)
                           : away_from_zero<I>(g, 0, 0.9 / n, width / n);
        a(i, j) = I{decltype(e.inf)(e.inf * scale), decltype(e.inf)(e.sup * scale)};
      }
    }
    return a;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gehbs, Precisions);

TYPED_TEST(Gehbs, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"trans X", [](Call &c) { c.trans = "X"; }, 1},
      {"trans L", [](Call &c) { c.trans = "L"; }, 1},
      {"trans X and n < 0", [](Call &c) { c.trans = "X", c.n = -1; }, 1},
      {"n < 0", [](Call &c) { c.n = -1; }, 2},
      {"lda < n", [](Call &c) { c.lda = 2; }, 4},
      {"lda and ldb < n", [](Call &c) { c.lda = 2, c.ldb = 2; }, 4},
      {"ldb < n", [](Call &c) { c.ldb = 2; }, 6},
      {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 6},
  };
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(3, 1, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), 0);
  }
}

// Every return path, entered in the caller's mode toward zero: the early ones
// leave it alone, the failed positivity test leaves rounding downward, the
// normal return leaves the default, round to nearest. The method failures
// (info 1: the LU of <A> fails; info 2: <A> regular but not shown to be an
// M-matrix) leave b unchanged, report nothing and keep all ten work arrays.
TYPED_TEST(Gehbs, EveryReturnPath) {
  using I = typename TestFixture::I;
  IMat<I> good = filled(2, 2, pt<I>(1));
  good(0, 0) = good(1, 1) = pt<I>(4);
  IMat<I> not_h = filled(2, 2, pt<I>(2)); // <A> = [1 -2; -2 1], regular
  not_h(0, 0) = not_h(1, 1) = pt<I>(1);
  IMat<I> zero_diagonal = filled(2, 2, I{0, 0});
  zero_diagonal(0, 0) = pt<I>(3), zero_diagonal(1, 1) = I{-1, 2};
  struct Case {
    const char *what;
    IMat<I> a;
    int lda, fail_at, info;
    std::uint32_t field;
    int kept;
  };
  const Case cases[] = {
      {"argument error", good, 1, 0, -4, toward_zero, 0},
      {"no workspace", good, 2, 10, 1000, toward_zero, 9},
      {"mignitude 0 at order 1", filled(1, 1, I{-1, 1}), 1, 0, 1, toward_zero, 10},
      {"singular <A>", filled(2, 2, pt<I>(1)), 2, 0, 1, toward_zero, 10},
      {"diagonal containing 0", zero_diagonal, 2, 0, 1, toward_zero, 10},
      {"not an H-matrix", not_h, 2, 0, 2, down, 10},
      {"solved", good, 2, 0, 0, nearest, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(c.fail_at);
    IMat<I> b = filled(c.a.rows, 1, I{5, 6});
    const IMat<I> before = b;
    ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
    const int info = this->run({"N", c.a.rows, c.lda, c.a.rows}, c.a, b);
    const std::uint32_t field = rounding_field();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(info, c.info);
    EXPECT_EQ(field, c.field);
    EXPECT_EQ(xerbla_calls().size(), c.info < 0 || c.info == 1000 ? 1u : 0u);
    EXPECT_EQ(same_bits(b, before), c.info != 0);
    EXPECT_EQ(live_allocations() - live, c.kept);
  }
}

// Ten requests: the interval copy, <A>, its inverse, the pivots, the LAPACK
// work vector, z, y, d, w and E. A failure at the k-th keeps the k-1 before it.
TYPED_TEST(Gehbs, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, I{0, 0});
  for (int i = 0; i < 3; ++i)
    a(i, i) = pt<I>(2);
  for (int k = 1; k <= 10; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> b = filled(3, 1, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->solve(a, b), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> b = filled(3, 1, I{5, 6});
  EXPECT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(allocation_count(), 10);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
}

TYPED_TEST(Gehbs, EmptyProblemReturnsWithoutAllocating) {
  using I = typename TestFixture::I;
  const IMat<I> a = filled(1, 1, I{1, 2});
  IMat<I> b = filled(1, 1, I{5, 6});
  const IMat<I> before = b;
  ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
  EXPECT_EQ(this->run({"T", 0, 1, 1}, a, b), 0);
  EXPECT_EQ(rounding_field(), toward_zero);
  std::fesetround(FE_TONEAREST);
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(allocation_count(), 0);
  EXPECT_TRUE(same_bits(b, before));
}

// Point H-matrix systems up to order 20 against the exact solution.
TYPED_TEST(Gehbs, PointSystemsEncloseTheExactSolution) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int trial = 0; trial < scaled(30); ++trial) {
    const int n = g.integer(1, 20);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    const IMat<I> a = this->h_matrix(g, n, 0);
    IMat<I> b(n, 1);
    for (auto &e : b.v)
      e = pt<I>(g.any());
    const auto x = ruf_test::solve(exact_point(a), exact_point(b));
    ASSERT_TRUE(x.has_value());
    ASSERT_EQ(this->solve(a, b), 0);
    for (int i = 0; i < n; ++i) {
      ASSERT_TRUE(contains(b(i, 0), (*x)(i, 0)))
          << "x(" << i << ") = " << (*x)(i, 0).approx() << " not in " << show(b(i, 0));
      EXPECT_TRUE(std::isfinite(b(i, 0).inf) && std::isfinite(b(i, 0).sup));
    }
  }
  (void)sizeof(T);
}

// Small interval H-matrix systems against the exact hull of the solution set.
TYPED_TEST(Gehbs, IntervalSystemsEncloseTheSolutionSetHull) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 1);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const int n = g.integer(1, 4);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    const IMat<I> a = this->h_matrix(g, n, 0.25);
    IMat<I> b(n, 1);
    for (auto &e : b.v)
      e = anywhere<I>(g, 0.5);
    const auto hull = solution_hull(exact(a), exact(b));
    ASSERT_TRUE(hull.has_value());
    ASSERT_EQ(this->solve(a, b), 0);
    for (int i = 0; i < n; ++i)
      EXPECT_TRUE(contains(b(i, 0), hull->lo(i, 0), hull->hi(i, 0)))
          << "(" << i << "): hull [" << hull->lo(i, 0).approx() << ", " << hull->hi(i, 0).approx()
          << "] not in " << show(b(i, 0));
  }
}

// A thin diagonal matrix gives b(i) / A(i,i), widened only by the rounding
// errors of the inverse bound.
TYPED_TEST(Gehbs, ThinDiagonalGivesTheQuotients) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, I{0, 0});
  a(0, 0) = pt<I>(3), a(1, 1) = pt<I>(-5), a(2, 2) = pt<I>(0.75);
  IMat<I> b(3, 1);
  b(0, 0) = pt<I>(1), b(1, 0) = I{2, 4}, b(2, 0) = pt<I>(-3);
  const IMat<I> b0 = b;
  ASSERT_EQ(this->solve(a, b), 0);
  const double rel = std::is_same_v<T, float> ? 0x1p-16 : 0x1p-44;
  for (int i = 0; i < 3; ++i) {
    const Q lo = Q(double(b0(i, 0).inf)) / Q(double(a(i, i).inf)),
            hi = Q(double(b0(i, 0).sup)) / Q(double(a(i, i).inf));
    EXPECT_TRUE(contains(b(i, 0), lo, hi)) << i << ": " << show(b(i, 0));
    const double w = std::fabs(lo.approx() - hi.approx());
    EXPECT_LE(double(b(i, 0).sup) - double(b(i, 0).inf), w + rel * std::fabs(hi.approx())) << i;
  }
}

// trans is checked, and a transposed copy is made, but the result is that of
// "N" whatever the letter; b is read as one contiguous vector whatever ldb.
TYPED_TEST(Gehbs, TransAndLdbDoNotChangeTheResult) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 2);
  const int n = 5;
  const IMat<I> a = this->h_matrix(g, n, 0.125);
  IMat<I> b0(n, 1);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.25);
  IMat<I> want = b0;
  ASSERT_EQ(this->solve(a, want, "N"), 0);
  for (const char *t : {"n", "T", "t", "C", "c"}) {
    IMat<I> got = b0;
    ASSERT_EQ(this->solve(a, got, t), 0);
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
  IMat<I> wide(n + 3, 1);
  for (int i = 0; i < n; ++i)
    wide(i, 0) = b0(i, 0);
  for (int i = n; i < n + 3; ++i)
    wide(i, 0) = I{7, 8};
  ASSERT_EQ(this->run({"N", n, n, n + 3}, a, wide), 0);
  std::fesetround(FE_TONEAREST);
  for (int i = 0; i < n; ++i)
    EXPECT_TRUE(same_bits(filled(1, 1, wide(i, 0)), filled(1, 1, want(i, 0)))) << i;
  EXPECT_EQ(wide(n, 0).inf, 7);
}

} // namespace
