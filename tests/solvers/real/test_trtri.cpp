// Interval triangular inverse, both members: argument checks, quick return,
// workspace failures at each of the three requests (reported as "?IGETRI"),
// enclosure of exact inverses and of the exact hull of the inverses of small
// interval matrices, and the whole-column write of the result.
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <limits>
#include <string>

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
  static constexpr auto fn = ditrtri;
  static constexpr const char *name = "DITRTRI", *allocation_name = "DIGETRI";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sitrtri;
  static constexpr const char *name = "SITRTRI", *allocation_name = "SIGETRI";
};

template <class T> class Trtri : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  struct Call {
    std::string uplo = "L", diag = "N";
    int n = 3, lda = 3;
  };
  static int run(const Call &c, IMat<I> &a) {
    int info = 12345;
    Api<T>::fn(c.uplo.c_str(), c.diag.c_str(), &c.n, a.data(), &c.lda, &info, 1, 1);
    return info;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Trtri, Precisions);

// A triangular A (the other triangle holds `other`) and its triangle as exact bounds.
template <class I, class Gen>
IMat<I> triangular(int n, bool lower, bool unit, I other, Gen gen, QBox &exact_triangle,
                   int ld = 0) {
  IMat<I> a = filled(n, n, other, ld);
  exact_triangle = QBox(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      if (lower ? i < j : i > j) continue;
      a(i, j) = gen(i, j);
      const I e = (i == j && unit) ? I{1, 1} : a(i, j);
      exact_triangle.lo(i, j) = Q(static_cast<double>(e.inf));
      exact_triangle.hi(i, j) = Q(static_cast<double>(e.sup));
    }
  return a;
}

TYPED_TEST(Trtri, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"uplo X", [](Call &c) { c.uplo = "X"; }, 1},
      {"uplo C", [](Call &c) { c.uplo = "C"; }, 1},
      {"diag X", [](Call &c) { c.diag = "X"; }, 2},
      {"diag L", [](Call &c) { c.diag = "L"; }, 2},
      {"n < 0", [](Call &c) { c.n = -1; }, 3},
      {"lda < n", [](Call &c) { c.lda = 2; }, 5},
      {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 5},
      {"diag and n both bad", [](Call &c) { c.diag = "X", c.n = -1; }, 2},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> a = filled(3, 3, I{1, 2});
    const IMat<I> before = a;
    EXPECT_EQ(this->run(c, a), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(a, before));
    EXPECT_EQ(allocation_count(), 0);
  }
}

TYPED_TEST(Trtri, OrderZeroReturnsWithoutAllocating) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(1, 1, I{3, 4});
  const IMat<I> before = a;
  EXPECT_EQ(this->run({"U", "N", 0, 1}, a), 0);
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(allocation_count(), 0);
  EXPECT_TRUE(same_bits(a, before));
}

TYPED_TEST(Trtri, AllocationFailureIsReportedUnderTheGeneralInversesName) {
  using I = typename TestFixture::I;
  for (int k = 1; k <= 3; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> a = filled(3, 3, I{1, 2});
    const IMat<I> before = a;
    EXPECT_EQ(this->run({}, a), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::allocation_name, 1000));
    EXPECT_TRUE(same_bits(a, before));
    EXPECT_EQ(live_allocations() - live, k - 1) << "earlier workspace stays allocated (intended)";
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> a = filled(3, 3, I{1, 2});
  EXPECT_EQ(this->run({}, a), 0);
  EXPECT_EQ(allocation_count(), 3);
  EXPECT_EQ(live_allocations(), live);
}

TYPED_TEST(Trtri, OrderOne) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a = filled(1, 1, I{2, 4});
  ASSERT_EQ(this->run({"L", "N", 1, 1}, a), 0);
  EXPECT_EQ(a(0, 0).inf, T(0.25));
  EXPECT_EQ(a(0, 0).sup, T(0.5));
  a = filled(1, 1, I{T(3), T(3)});
  ASSERT_EQ(this->run({"U", "N", 1, 1}, a), 0);
  EXPECT_TRUE(contains(a(0, 0), Q(1L) / Q(3L)));
  EXPECT_LT(a(0, 0).inf, a(0, 0).sup) << "1/3 rounds outward";
  a = filled(1, 1, I{-5, 7});
  ASSERT_EQ(this->run({"u", "u", 1, 1}, a), 0);
  EXPECT_EQ(a(0, 0).inf, 1);
  EXPECT_EQ(a(0, 0).sup, 1);
}

// Random point triangles up to order 30: every entry of the exact inverse,
// the zeros of the opposite triangle included, lies in the result.
TYPED_TEST(Trtri, PointMatricesEncloseTheExactInverse) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int trial = 0; trial < scaled(16); ++trial) {
    const bool lower = trial % 2 == 0, unit = trial % 4 >= 2;
    const int n = g.integer(1, 30), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    QBox t;
    IMat<I> a = triangular<I>(
        n, lower, unit, I{7, 7},
        [&](int i, int j) {
          const T v = T(i == j ? g.between(1, 2) * (g.coin() ? 1 : -1) : g.any() / n);
          return I{v, v};
        },
        t, ld);
    const auto inv = solve(t.lo, identity(n));
    ASSERT_TRUE(inv.has_value());
    ASSERT_EQ(this->run({lower ? "L" : "U", unit ? "U" : "N", n, ld}, a), 0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(contains(a(i, j), (*inv)(i, j)))
            << "(" << i << "," << j << ") " << (*inv)(i, j).approx() << " not in " << show(a(i, j));
  }
}

// Small interval triangles: the exact hull of { T^-1 : T in [T] } lies in the
// result. Off-diagonal entries keep away from zero, so the narrowing product
// rule of the arithmetic never applies.
TYPED_TEST(Trtri, IntervalMatricesEncloseTheHullOfTheInverses) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 1);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const bool lower = trial % 2 == 0, unit = trial % 4 >= 2;
    const int n = g.integer(1, 4);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    QBox t;
    IMat<I> a = triangular<I>(
        n, lower, unit, I{7, 7},
        [&](int i, int j) {
          return i == j ? away_from_zero<I>(g, 1, 2, 0.5) : away_from_zero<I>(g, 0.125, 1, 0.5);
        },
        t);
    QBox e(n, n);
    e.lo = e.hi = identity(n);
    const auto hull = solution_hull(t, e);
    ASSERT_TRUE(hull.has_value());
    ASSERT_EQ(this->run({lower ? "L" : "U", unit ? "U" : "N", n, n}, a), 0);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(contains(a(i, j), hull->lo(i, j), hull->hi(i, j)))
            << "(" << i << "," << j << "): hull [" << hull->lo(i, j).approx() << ", "
            << hull->hi(i, j).approx() << "] not in " << show(a(i, j));
  }
}

// The whole column is written (intended): the opposite triangle gets the
// quotients computed for it, zero over the diagonal, not A's old values; a
// diagonal entry containing zero turns its whole row into the entire line.
TYPED_TEST(Trtri, TheOppositeTriangleIsOverwritten) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T inf = std::numeric_limits<T>::infinity();
  for (const bool lower : {true, false}) {
    SCOPED_TRACE(lower ? "lower" : "upper");
    IMat<I> a = filled(3, 3, I{7, 7});
    for (int i = 0; i < 3; ++i)
      a(i, i) = I{2, 4};
    ASSERT_EQ(this->run({lower ? "L" : "U", "N", 3, 3}, a), 0);
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 3; ++i)
        if (lower ? i < j : i > j) EXPECT_TRUE(a(i, j).inf == 0 && a(i, j).sup == 0) << i << j;

    IMat<I> z = filled(3, 3, I{7, 7});
    for (int i = 0; i < 3; ++i)
      z(i, i) = I{2, 4};
    const int row = lower ? 0 : 2;
    z(row, row) = I{-1, 1};
    ASSERT_EQ(this->run({lower ? "L" : "U", "N", 3, 3}, z), 0);
    for (int j = 0; j < 3; ++j)
      if (j != row) EXPECT_TRUE(z(row, j).inf == -inf && z(row, j).sup == inf) << j;
  }
}

TYPED_TEST(Trtri, LowerCaseOptionsBehaveAsUpperCase) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 2);
  IMat<I> a0(4, 4);
  for (auto &e : a0.v)
    e = away_from_zero<I>(g, 0.5, 1.5, 0.25);
  for (const char *uplo : {"L", "U"})
    for (const char *diag : {"N", "U"}) {
      const std::string lu(1, static_cast<char>(std::tolower(uplo[0])));
      const std::string ld(1, static_cast<char>(std::tolower(diag[0])));
      IMat<I> up = a0, low = a0;
      ASSERT_EQ(this->run({uplo, diag, 4, 4}, up), 0);
      ASSERT_EQ(this->run({lu, ld, 4, 4}, low), 0);
      EXPECT_TRUE(same_bits(up, low)) << uplo << diag;
    }
}

// Every elementary operation goes through its wrapper (one prologue each),
// counted for the method's sequence: copies of A and of the unit diagonal,
// the identity E, and per column the substitution (each update a product and
// a difference formed in place) and the copy of the column into A.
TYPED_TEST(Trtri, EveryOperationRunsTheEntryPrologue) {
  using I = typename TestFixture::I;
  const int n = 5;
  for (const char *diag : {"N", "U"}) {
    IMat<I> a = filled(n, n, I{1, 2});
    g_prologues = 0;
    ASSERT_EQ(this->run({"U", diag, n, n}, a), 0);
    const int unit = diag[0] == 'U' ? n : 0;
    const int per_column = n + 2 * n * (n - 1) / 2 + n + n;
    EXPECT_EQ(g_prologues, 1 + n * n + unit + n * n + n + n * per_column) << diag;
  }
}

} // namespace
