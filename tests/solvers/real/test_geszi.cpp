// Schulz inverse iteration, both members: argument checks, quick return,
// workspace failure at each of the four requests, the enclosure of exact
// inverses of point matrices (GMP rationals), and the iteration count on the
// identity, where the scaled-transpose start is already the fixed point.
// Inputs whose iteration never settles are not run: the routine has no
// iteration limit.
#include <gtest/gtest.h>

#include <cmath>
#include <type_traits>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

namespace {
int g_prologues = 0;
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
  static constexpr auto fn = digeszi;
  static constexpr const char *name = "DIGESZI";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigeszi;
  static constexpr const char *name = "SIGESZI";
};

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

template <class T> class Geszi : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  static int run(int n, IMat<I> &a, int lda) {
    int info = 12345;
    Api<T>::fn(&n, a.data(), &lda, &info);
    return info;
  }
  static int invert(IMat<I> &a) { return run(a.rows, a, a.ld); }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Geszi, Precisions);

TYPED_TEST(Geszi, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  struct Case {
    const char *what;
    int n, lda, position;
  };
  const Case cases[] = {
      {"n < 0", -1, 3, 1},
      {"n < 0 and lda 0", -1, 0, 1},
      {"lda < n", 3, 2, 3},
      {"lda 0 with n 0", 0, 0, 3},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    IMat<I> a = filled(3, 3, I{1, 2});
    const IMat<I> before = a;
    EXPECT_EQ(this->run(c.n, a, c.lda), -c.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, c.position));
    EXPECT_TRUE(same_bits(a, before));
    EXPECT_EQ(allocation_count(), 0);
  }
  reset_doubles();
  IMat<I> a = filled(3, 3, I{1, 2});
  const IMat<I> before = a;
  EXPECT_EQ(this->run(0, a, 1), 0);
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(allocation_count(), 0);
  EXPECT_TRUE(same_bits(a, before));
}

// X, R, Y and the midpoints; a failure at the k-th keeps the k-1 before it.
TYPED_TEST(Geszi, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  IMat<I> eye = filled(3, 3, I{0, 0});
  for (int i = 0; i < 3; ++i)
    eye(i, i) = pt<I>(1);
  for (int k = 1; k <= 4; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> a = eye;
    a(0, 1) = I{-1, 1};
    const IMat<I> before = a;
    EXPECT_EQ(this->invert(a), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
    EXPECT_TRUE(same_bits(a, before));
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> a = eye;
  EXPECT_EQ(this->invert(a), 0);
  EXPECT_EQ(allocation_count(), 4);
  EXPECT_EQ(live_allocations(), live);
}

// The identity: s = 1, X starts at I, R = 0, Y = I, the ratio is 0 after one
// iteration. Counted through the entry prologues of the operations: the
// norms (2n^2), the start (n^2), one iteration (midpoints n^2, R and Y each
// n^2 (2 + 3n), the ratio 2n^2, X = Y n^2) and the result (n^2).
TYPED_TEST(Geszi, IdentityIsReachedInOneIteration) {
  using I = typename TestFixture::I;
  const int n = 4;
  IMat<I> a = filled(n, n, I{0, 0}, n + 1);
  for (int i = 0; i < n; ++i)
    a(i, i) = pt<I>(1);
  const IMat<I> eye = a;
  g_prologues = 0;
  ASSERT_EQ(this->invert(a), 0);
  EXPECT_TRUE(same_bits(a, eye));
  EXPECT_EQ(g_prologues, 1 + n * n * (12 + 6 * n));
}

TYPED_TEST(Geszi, OrderOne) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  for (double v : {3.0, -0.375, 1e3}) {
    IMat<I> a = filled(1, 1, pt<I>(v));
    ASSERT_EQ(this->invert(a), 0);
    EXPECT_TRUE(contains(a(0, 0), Q(1L) / Q(double(T(v))))) << v << ": " << show(a(0, 0));
    const double narrow = (std::is_same_v<T, float> ? 1e-5 : 1e-13) / std::fabs(v);
    EXPECT_LT(a(0, 0).sup - a(0, 0).inf, narrow);
  }
}

// Well-conditioned point matrices: the result contains the exact inverse.
TYPED_TEST(Geszi, PointMatricesEncloseTheExactInverse) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int trial = 0; trial < scaled(16); ++trial) {
    const int n = g.integer(1, 10), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    IMat<I> a(n, n, ld);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        a(i, j) = pt<I>(i == j ? (g.coin() ? 1 : -1) * g.between(1, 2) : g.any() / (4 * n));
    const auto inv = ruf_test::solve(exact_point(a), identity(n));
    ASSERT_TRUE(inv.has_value());
    ASSERT_EQ(this->invert(a), 0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(contains(a(i, j), (*inv)(i, j)))
            << "(" << i << "," << j << "): " << (*inv)(i, j).approx() << " not in "
            << show(a(i, j));
  }
}

} // namespace
