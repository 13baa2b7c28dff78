// Gauss-Seidel refinement, both members: argument checks, quick returns,
// workspace failure, the sweep rule (only the last row of each column decides,
// the iterate before the converged sweep is returned, maxit on exit), a
// threshold that never lets the sweeps stop, a starting box that misses the
// solution, and the pipeline midpoint-inverse preconditioning, Gaussian
// elimination for a starting box, then the sweeps, whose result must contain
// the exact solution (GMP rationals) or solution-set hull.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

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
  static constexpr auto fn = digegss;
  static constexpr auto mip = digemip;
  static constexpr auto gas = digegas;
  static constexpr const char *name = "DIGEGSS";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigegss;
  static constexpr auto mip = sigemip;
  static constexpr auto gas = sigegas;
  static constexpr const char *name = "SIGEGSS";
};
constexpr int kArrays = 6; // A's copy, two iterates, |A - I|, two power-iteration vectors

template <class T> class Gegss : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  struct Call {
    std::string trans = "N";
    int n = 2, nrhs = 1, lda = 2, ldb = 2;
    T eps = T(1e-6);
    int maxit = 50;
  };
  // Returns info; c.maxit receives the sweep count.
  static int run(Call &c, const IMat<I> &a, IMat<I> &b, const IMat<I> &x0) {
    int info = 12345;
    Api<T>::fn(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb, x0.v.data(),
               &c.eps, &c.maxit, &info, 1);
    return info;
  }
  // Sweeps from x0 with at most `maxit`; returns the sweep count, info 0 asserted.
  static int sweep(const IMat<I> &a, IMat<I> &b, const IMat<I> &x0, int maxit,
                   const char *trans = "N") {
    Call c{trans, a.rows, b.cols, a.ld, b.ld, T(1e-6), maxit};
    EXPECT_EQ(run(c, a, b, x0), 0);
    return c.maxit;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gegss, Precisions);

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

template <class I> IMat<I> matrix(int n, std::vector<I> rows) {
  IMat<I> a(n, static_cast<int>(rows.size()) / n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < a.cols; ++j)
      a(i, j) = rows[i * a.cols + j];
  return a;
}

template <class I> bool same(const I &x, double lo, double hi) {
  return x.inf == lo && x.sup == hi;
}

TYPED_TEST(Gegss, ArgumentErrorsReportTheFirstBadPosition) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"trans X", [](Call &c) { c.trans = "X"; }, 1},
      {"trans X and eps 0", [](Call &c) { c.trans = "X", c.eps = 0; }, 1},
      {"n < 0", [](Call &c) { c.n = -1; }, 2},
      {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 3},
      {"lda < n", [](Call &c) { c.lda = 1; }, 5},
      {"ldb < n", [](Call &c) { c.ldb = 1; }, 7},
      {"eps 0", [](Call &c) { c.eps = 0; }, 9},
      {"eps -0", [](Call &c) { c.eps = -T(0); }, 9},
      {"eps < 0", [](Call &c) { c.eps = -1; }, 9},
      {"eps NaN", [](Call &c) { c.eps = std::numeric_limits<T>::quiet_NaN(); }, 9},
      {"eps 0 with n 0", [](Call &c) { c.n = 0, c.eps = 0; }, 9},
  };
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0), pt<I>(0), pt<I>(1)});
  const IMat<I> x0 = filled(2, 1, I{-9, 9});
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(2, 1, I{1, 2});
    const IMat<I> before = b;
    EXPECT_EQ(this->run(c, a, b, x0), -k.position);
    EXPECT_TRUE(reported(Api<T>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(c.maxit, 50);
    EXPECT_EQ(allocation_count(), 0);
  }
}

TYPED_TEST(Gegss, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 1}, std::pair{2, 0}}) {
    reset_doubles();
    const IMat<I> a = filled(2, 2, pt<I>(1)), x0 = filled(2, 1, I{-9, 9});
    IMat<I> b = filled(2, 1, I{1, 2});
    const IMat<I> before = b;
    typename TestFixture::Call c{"T", n, nrhs, 2, 2};
    EXPECT_EQ(this->run(c, a, b, x0), 0);
    EXPECT_EQ(c.maxit, 50);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(b, before));
  }
}

TYPED_TEST(Gegss, AllocationFailureAtEveryAllocation) {
  using I = typename TestFixture::I;
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0.5), pt<I>(0), pt<I>(1)});
  const IMat<I> x0 = filled(2, 1, I{-9, 9});
  for (int k = 1; k <= kArrays; ++k) {
    SCOPED_TRACE(testing::Message() << "allocation " << k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> b = filled(2, 1, I{1, 2});
    const IMat<I> before = b;
    typename TestFixture::Call c;
    EXPECT_EQ(this->run(c, a, b, x0), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(c.maxit, 50);
    EXPECT_EQ(live_allocations() - live, k - 1) << "nothing is released";
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> b = filled(2, 1, I{1, 2});
  this->sweep(a, b, x0, 50);
  EXPECT_EQ(allocation_count(), kArrays);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
}

// A = I: |A - I| = 0, so the threshold is infinite and the first sweep
// (Z = B ∩ X0) ends the iteration; B receives X0, the iterate before it. The
// smallest positive eps is accepted.
TYPED_TEST(Gegss, IdentityStopsAfterOneSweepWithX0) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0), pt<I>(0), pt<I>(1)});
  const IMat<I> x0 = matrix<I>(2, {I{-3, 5}, I{0, 1}, I{1, 2}, I{-1, 4}});
  IMat<I> b = matrix<I>(2, {I{1, 2}, I{0.5, 0.5}, I{1.5, 1.5}, I{3, 3.5}});
  typename TestFixture::Call c{"N", 2, 2, 2, 2, std::numeric_limits<T>::denorm_min(), 7};
  EXPECT_EQ(this->run(c, a, b, x0), 0);
  EXPECT_EQ(c.maxit, 1);
  EXPECT_TRUE(same_bits(b, x0));
}

TYPED_TEST(Gegss, NoSweepWhenMaxitIsNotPositive) {
  using I = typename TestFixture::I;
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0.5), pt<I>(0), pt<I>(1)});
  const IMat<I> x0 = filled(2, 1, I{-8, 8});
  for (int maxit : {0, -3}) {
    IMat<I> b = filled(2, 1, pt<I>(1));
    EXPECT_EQ(this->sweep(a, b, x0, maxit), 1) << maxit;
    EXPECT_TRUE(same_bits(b, x0));
  }
}

// Two triangular systems with rho = 1/2 (threshold eps), b = (1, 2), X0 =
// [-8, 8]^2. The sweeps are Jacobi-like: every product uses the previous
// iterate. Only the last row of the column decides convergence (intended):
// - A = [1 1/2; 0 1]: row 2 settles in the first sweep, so the second sweep
//   stops although row 1 still moves from [-3, 5] to [0, 0]; B receives the
//   iterate before that sweep, with x1 = [-3, 5], and maxit = 2.
// - A = [1 0; 1/2 1]: row 2 moves in sweeps 1 and 2, so the third sweep stops.
// With maxit = 2 the second system runs out: maxit = 3 and B holds the last
// sweep's result.
TYPED_TEST(Gegss, OnlyTheLastRowOfAColumnDecides) {
  using I = typename TestFixture::I;
  const IMat<I> x0 = filled(2, 1, I{-8, 8});
  const IMat<I> rhs = matrix<I>(2, {pt<I>(1), pt<I>(2)});
  const IMat<I> upper = matrix<I>(2, {pt<I>(1), pt<I>(0.5), pt<I>(0), pt<I>(1)});
  const IMat<I> lower = matrix<I>(2, {pt<I>(1), pt<I>(0), pt<I>(0.5), pt<I>(1)});

  IMat<I> b = rhs;
  EXPECT_EQ(this->sweep(upper, b, x0, 50), 2);
  EXPECT_TRUE(same(b(0, 0), -3, 5)) << show(b(0, 0));
  EXPECT_TRUE(same(b(1, 0), 2, 2)) << show(b(1, 0));

  b = rhs;
  EXPECT_EQ(this->sweep(lower, b, x0, 50), 3);
  EXPECT_TRUE(same(b(0, 0), 1, 1)) << show(b(0, 0));
  EXPECT_TRUE(same(b(1, 0), 1.5, 1.5)) << show(b(1, 0));

  b = rhs;
  EXPECT_EQ(this->sweep(lower, b, x0, 2), 3) << "entry value + 1";
  EXPECT_TRUE(same(b(0, 0), 1, 1)) << show(b(0, 0));
  EXPECT_TRUE(same(b(1, 0), 1.5, 1.5)) << show(b(1, 0));

  b = rhs;
  EXPECT_EQ(this->sweep(lower, b, x0, 1), 2);
  EXPECT_TRUE(same(b(1, 0), -2, 6)) << show(b(1, 0));
}

// A = [1 1/4; 1/4 1], b = (5/4, 5/4), X0 = [-8, 8]^2: the power iteration
// gives rho = 1/4 and the threshold (1 - rho)·eps/rho = 3·eps. The changes
// of the last row are 7.25, 1.8125, 0.453125, 0.11328125, 0.0283203125, all
// exact, so eps = 0.04 stops at the fourth sweep and eps = 0.037 at the
// fifth; B is the third (fourth) sweep's iterate.
TYPED_TEST(Gegss, ThresholdFromTheSpectralRadiusBound) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0.25), pt<I>(0.25), pt<I>(1)});
  const IMat<I> x0 = filled(2, 1, I{-8, 8});
  const struct {
    double eps;
    int sweeps;
    double lo, hi;
  } cases[] = {{0.04, 4, 0.890625, 1.140625}, {0.037, 5, 0.96484375, 1.02734375}};
  for (const auto &k : cases) {
    IMat<I> b = filled(2, 1, pt<I>(1.25));
    typename TestFixture::Call c{"N", 2, 1, 2, 2, T(k.eps), 100};
    ASSERT_EQ(this->run(c, a, b, x0), 0);
    EXPECT_EQ(c.maxit, k.sweeps) << k.eps;
    for (int i = 0; i < 2; ++i)
      EXPECT_TRUE(same(b(i, 0), k.lo, k.hi)) << k.eps << " " << show(b(i, 0));
  }
}

// |A - I| with rho >= 1 makes the threshold zero or negative: no sweep can
// stop the iteration, all maxit run and maxit returns maxit + 1. The result
// stays inside X0.
TYPED_TEST(Gegss, NonPositiveThresholdRunsEverySweep) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  for (double w : {1.0, 2.0}) {
    const I off{T(-w), T(w)};
    const IMat<I> a = matrix<I>(2, {pt<I>(1), off, off, pt<I>(1)});
    const IMat<I> x0 = filled(2, 1, I{-1, 1});
    IMat<I> b = filled(2, 1, I{0.25, 0.5});
    EXPECT_EQ(this->sweep(a, b, x0, 7), 8) << w;
    for (int i = 0; i < 2; ++i)
      EXPECT_TRUE(b(i, 0).inf >= -1 && b(i, 0).sup <= 1) << show(b(i, 0));
  }
}

// X0 misses the solution: the intersection is empty, which shows only as NaN
// bounds (no real interval counts as empty, so the early return for an empty
// intersection is never taken). A NaN change never counts as converged: all
// sweeps run and B holds the NaN bounds.
TYPED_TEST(Gegss, StartingBoxThatMissesTheSolution) {
  using I = typename TestFixture::I;
  const IMat<I> a = matrix<I>(2, {pt<I>(1), pt<I>(0), pt<I>(0), pt<I>(1)});
  const IMat<I> x0 = filled(2, 1, I{5, 6});
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->sweep(a, b, x0, 4), 5);
  for (int i = 0; i < 2; ++i)
    EXPECT_TRUE(std::isnan(b(i, 0).inf) && std::isnan(b(i, 0).sup)) << show(b(i, 0));
}

// The pipeline on copies: precondition with the midpoint inverse, enclose the
// preconditioned system by Gaussian elimination for X0, then sweep. Returns
// false when a step reports a nonzero info.
template <class T>
bool pipeline(const IMat<typename Api<T>::I> &a0, IMat<typename Api<T>::I> &b, int &sweeps) {
  using I = typename Api<T>::I;
  IMat<I> a = a0;
  const int n = a.rows, nrhs = b.cols;
  int info = 0;
  Api<T>::mip(&n, &nrhs, a.data(), &a.ld, b.data(), &b.ld, &info);
  if (info != 0) return false;
  IMat<I> x0 = b;
  Api<T>::gas("N", &n, &nrhs, a.data(), &a.ld, x0.data(), &x0.ld, &info, 1);
  if (info != 0) return false;
  const T eps = T(1e-10);
  sweeps = 100;
  Api<T>::fn("N", &n, &nrhs, a.data(), &a.ld, b.data(), &b.ld, x0.data(), &eps, &sweeps, &info, 1);
  EXPECT_EQ(info, 0);
  for (int j = 0; j < nrhs; ++j)
    for (int i = 0; i < n; ++i)
      EXPECT_TRUE(b(i, j).inf >= x0(i, j).inf && b(i, j).sup <= x0(i, j).sup) << "inside X0";
  return info == 0;
}

// Random point systems up to order 30: the exact solution lies inside, and
// the sweeps converge well before 100.
TYPED_TEST(Gegss, PipelineEnclosesTheExactSolutionOfPointSystems) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 31);
  for (int trial = 0; trial < scaled(24); ++trial) {
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    IMat<I> a(n, n, n + g.integer(0, 2)), b(n, nrhs, n + g.integer(0, 2));
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        a(i, j) = pt<I>(i == j ? (g.coin() ? 1 : -1) * g.between(1, 2) : g.any() / n);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        b(i, j) = pt<I>(g.any());
    const auto x = ruf_test::solve(exact_point(a), exact_point(b));
    ASSERT_TRUE(x.has_value());
    int sweeps = 0;
    ASSERT_TRUE(pipeline<T>(a, b, sweeps));
    EXPECT_LE(sweeps, 100);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(contains(b(i, j), (*x)(i, j)))
            << "x(" << i << "," << j << ") = " << (*x)(i, j).approx() << " not in "
            << show(b(i, j));
  }
}

// Small interval systems whose solutions keep away from zero (a product of
// two intervals that both contain zero is narrowed on purpose by the
// arithmetic): the exact hull of the solution set lies inside.
TYPED_TEST(Gegss, PipelineEnclosesTheSolutionSetHullOfIntervalSystems) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 32);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    IMat<I> a(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double m = i == j ? (g.coin() ? 1 : -1) * g.between(1, 2) : g.any() / n;
        a(i, j) = I{T(m), T(m + g.between(1.0 / 256, 1.0 / 64))};
      }
    // B around mid(A)·x for x with components of magnitude in [1, 2].
    IMat<I> b(n, nrhs);
    for (int c = 0; c < nrhs; ++c) {
      std::vector<double> x(n);
      for (auto &e : x)
        e = (g.coin() ? 1 : -1) * g.between(1, 2);
      for (int i = 0; i < n; ++i) {
        double s = 0;
        for (int j = 0; j < n; ++j)
          s += 0.5 * (double(a(i, j).inf) + double(a(i, j).sup)) * x[j];
        const double m = std::ldexp(std::round(std::ldexp(s, 16)), -16);
        b(i, c) = I{T(m), T(m + g.between(0, 1.0 / 64))};
      }
    }
    const auto h = solution_hull(exact(a), exact(b));
    ASSERT_TRUE(h.has_value());
    int sweeps = 0;
    ASSERT_TRUE(pipeline<T>(a, b, sweeps));
    EXPECT_LE(sweeps, 100);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(contains(b(i, j), h->lo(i, j), h->hi(i, j)))
            << "(" << i << "," << j << "): hull [" << h->lo(i, j).approx() << ", "
            << h->hi(i, j).approx() << "] not in " << show(b(i, j));
  }
}

// "T" mirrors A's lower triangle onto the upper one instead of transposing
// (intended): it sweeps with the symmetric matrix of the lower triangle and
// never reads A's upper triangle.
TYPED_TEST(Gegss, TransposedRequestUsesTheSymmetricMatrixOfTheLowerTriangle) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 33);
  const int n = 5;
  IMat<I> sym(n, n), garbage(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) {
      const double m = i == j ? g.between(1, 1.125) : g.any() / 16;
      sym(i, j) = sym(j, i) = I{T(m), T(m + g.between(0, 1.0 / 64))};
      garbage(j, i) = I{nan, nan}, garbage(i, j) = sym(i, j);
    }
  IMat<I> b(n, 2);
  for (auto &e : b.v)
    e = anywhere<I>(g, 0.25);
  const IMat<I> x0 = filled(n, 2, I{-8, 8});
  IMat<I> want = b;
  const int sweeps = this->sweep(sym, want, x0, 100, "N");
  for (const char *t : {"T", "t", "C", "c"}) {
    IMat<I> got = b;
    EXPECT_EQ(this->sweep(garbage, got, x0, 100, t), sweeps) << t;
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
}

} // namespace
