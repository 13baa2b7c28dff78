// Krawczyk solver, both members: argument checks, quick returns, workspace
// failure in the solver and in its midpoint inversion, enclosure of exact
// solutions (GMP rationals) of point systems and of solution-set hulls of
// small interval systems, and the intended behaviours: info = 1 with B and
// the workspace left as they were, the zero R a failed inversion leaves, info
// = 2 with the computation completed, eps = 0 accepted, the start box [0 - r, r]
// taken as the result when q is out of range, the getri work length.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
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

namespace {
int g_prologues = 0;
int g_lwork = 0;
} // namespace

// Some returns keep their workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

extern "C" int ruf_cfg_file(int) {
  ++g_prologues;
  return 0;
}

// The inversions pass through, recording the work length they were given.
#define RUF_RECORDING_GETRI(name, T)                                                               \
  extern "C" void name(const int *n, T *a, const int *lda, const int *ipiv, T *work,               \
                       const int *lwork, int *info) {                                              \
    using Fn = void (*)(const int *, T *, const int *, const int *, T *, const int *, int *);      \
    static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, #name));                          \
    g_lwork = *lwork;                                                                              \
    real(n, a, lda, ipiv, work, lwork, info);                                                      \
  }
RUF_RECORDING_GETRI(dgetri_, double)
RUF_RECORDING_GETRI(sgetri_, float)

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digekws;
  static constexpr const char *name = "DIGEKWS";
  static constexpr int arrays = 7; // two point matrices, three interval arrays, two vectors
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigekws;
  static constexpr const char *name = "SIGEKWS";
  static constexpr int arrays = 8; // a third point matrix
};
constexpr int kInversionArrays = 3; // pivots, the copy of mid(A), getri's work

template <class T> class Gekws : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
    T eps = T(1e-6);
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb, &c.eps, &info,
               1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, T eps = T(1e-6), const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld, eps}, a, b);
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gekws, Precisions);

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

template <class I> IMat<I> identity_matrix(int n, double scale = 1) {
  IMat<I> a = filled(n, n, pt<I>(0));
  for (int i = 0; i < n; ++i)
    a(i, i) = pt<I>(scale);
  return a;
}

// A random interval matrix around a dominant midpoint: diagonal magnitudes in
// [1, 2], off-diagonal midpoints within 1/n (general: within 1), radii in
// [lo, hi].
template <class I>
IMat<I> random_matrix(Dyadic &g, int n, bool dominant, double lo = 0, double hi = 0) {
  using T = decltype(I{}.inf);
  IMat<I> a(n, n, n + g.integer(0, 2));
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      double m = dominant ? g.any() / n : g.any();
      if (i == j && dominant) m = (g.coin() ? 1 : -1) * g.between(1, 2);
      const double w = hi > 0 ? g.between(lo, hi) : 0;
      a(i, j) = I{T(m), T(m + w)};
    }
  return a;
}

// A right-hand side of width up to 1/64 around mid(A)·x, for x with
// components of magnitude in [1, 2].
template <class I> IMat<I> rhs_for_solutions_away_from_zero(Dyadic &g, const QBox &a, int nrhs) {
  using T = decltype(I{}.inf);
  const int n = a.lo.rows;
  IMat<I> b(n, nrhs);
  for (int c = 0; c < nrhs; ++c) {
    std::vector<double> x(n);
    for (auto &e : x)
      e = (g.coin() ? 1 : -1) * g.between(1, 2);
    for (int i = 0; i < n; ++i) {
      double s = 0;
      for (int j = 0; j < n; ++j)
        s += 0.5 * (a.lo(i, j).approx() + a.hi(i, j).approx()) * x[j];
      const double m = std::ldexp(std::round(std::ldexp(s, 16)), -16);
      b(i, c) = I{T(m), T(m + g.between(0, 1.0 / 64))};
    }
  }
  return b;
}

TYPED_TEST(Gekws, ArgumentErrorsReportTheFirstBadPosition) {
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
      {"trans X and eps < 0", [](Call &c) { c.trans = "X", c.eps = -1; }, 1},
      {"n < 0", [](Call &c) { c.n = -1; }, 2},
      {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 3},
      {"lda < n", [](Call &c) { c.lda = 2; }, 5},
      {"ldb < n", [](Call &c) { c.ldb = 2; }, 7},
      {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 7},
      {"eps < 0", [](Call &c) { c.eps = T(-1e-30); }, 8},
      {"eps -inf", [](Call &c) { c.eps = -std::numeric_limits<T>::infinity(); }, 8},
      {"eps NaN", [](Call &c) { c.eps = std::numeric_limits<T>::quiet_NaN(); }, 8},
      {"eps < 0 with n 0", [](Call &c) { c.n = 0, c.eps = -1; }, 8},
  };
  const IMat<I> a = identity_matrix<I>(3);
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<T>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), 0);
  }
}

TYPED_TEST(Gekws, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 2}, std::pair{3, 0}}) {
    reset_doubles();
    const IMat<I> a = identity_matrix<I>(3);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run({"T", n, nrhs, 3, 3, 0}, a, b), 0);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(b, before));
  }
}

// A failure among the solver's own arrays stops at once with info = 1000 and
// keeps the arrays obtained before it. One inside the midpoint inversion is
// reported with 1000 too, but the solver goes on with R = 0: then C = I,
// ||C|| = 1, and the call ends with info = 1, B untouched.
TYPED_TEST(Gekws, AllocationFailureAtEveryAllocation) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const int own = Api<T>::arrays, all = own + kInversionArrays;
  IMat<I> a = identity_matrix<I>(3, 2);
  a(2, 0) = I{-1, 1};
  for (int k = 1; k <= all; ++k) {
    SCOPED_TRACE(testing::Message() << "allocation " << k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    const int info = this->solve(a, b);
    EXPECT_TRUE(reported(Api<T>::name, 1000));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), k);
    EXPECT_EQ(live_allocations() - live, k - 1) << "nothing is released";
    EXPECT_EQ(info, k <= own ? 1000 : 1);
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> b = filled(3, 2, I{5, 6});
  EXPECT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(allocation_count(), all);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
  EXPECT_EQ(g_lwork, 64 * 3) << "getri's work length";
}

TYPED_TEST(Gekws, PointIdentityReturnsBUnchanged) {
  using I = typename TestFixture::I;
  const IMat<I> a = identity_matrix<I>(4);
  IMat<I> b(4, 2);
  Dyadic g(test_seed() + 11);
  for (auto &e : b.v)
    e = anywhere<I>(g, 0.5);
  const IMat<I> before = b;
  for (double eps : {0.0, 1e-3}) {
    IMat<I> x = b;
    ASSERT_EQ(this->solve(a, x, eps), 0);
    EXPECT_TRUE(same_bits(x, before)) << eps;
  }
}

// A 1x1 system [1, 3]·x = [3, 3]: R = 1/2, C = [-1/2, 1/2], ||C|| = 1/2 and
// the start box is [-3, 3]. The first step gives [0, 3]; the next product
// [-1/2, 1/2]·[0, 3] has two operands containing zero, and the arithmetic's
// intended narrowing keeps [0, 3/2] of it, so the result is [3/2, 3] while
// the solutions fill [1, 3]. Callers of the arithmetic rely on that rule; it
// shows here. With eps at the largest value q is too, and the start box is
// the result; its lower bound is formed as 0 - r, so r = 0 gives [+0, +0].
TYPED_TEST(Gekws, OneByOneSystemShowsStartBoxAndNarrowing) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = filled(1, 1, I{1, 3});
  IMat<I> b = filled(1, 1, pt<I>(3));
  ASSERT_EQ(this->solve(a, b, T(1e-6)), 0);
  EXPECT_EQ(b(0, 0).inf, 1.5);
  EXPECT_EQ(b(0, 0).sup, 3);
  EXPECT_FALSE(contains(b(0, 0), Q(1L)));

  b = filled(1, 1, pt<I>(3));
  ASSERT_EQ(this->solve(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_EQ(b(0, 0).inf, -3);
  EXPECT_EQ(b(0, 0).sup, 3);

  b = filled(1, 1, pt<I>(0));
  ASSERT_EQ(this->solve(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_EQ(b(0, 0).inf, 0);
  EXPECT_FALSE(std::signbit(b(0, 0).inf)) << "0 - r, not -r";
  EXPECT_EQ(b(0, 0).sup, 0);
}

// ||I - R·A|| >= 1: nothing is verified. B is untouched and the workspace is
// kept (the inversion's own arrays were released when it succeeded).
TYPED_TEST(Gekws, NotAContractionGivesInfo1) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a = identity_matrix<I>(3);
  a(0, 0) = I{1, 3}; // C(1,1) = 1 - [1/2, 3/2], one half on its own
  a(0, 1) = I{-1, 1};
  const int live = live_allocations();
  IMat<I> b = filled(3, 2, I{1, 2});
  const IMat<I> before = b;
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_TRUE(same_bits(b, before));
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(live_allocations() - live, Api<T>::arrays);
}

// An exactly singular midpoint matrix: the factorisation fails (info 2), R
// keeps its starting zeros and the inversion's arrays stay allocated. With R
// = 0, C is the identity, so a finite matrix then ends with info = 1.
TYPED_TEST(Gekws, SingularMidpointOfAFiniteMatrixEndsWithInfo1) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, pt<I>(1));
  a(0, 0) = I{0, 2};
  const int live = live_allocations();
  IMat<I> b = filled(3, 1, I{1, 2});
  const IMat<I> before = b;
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_TRUE(same_bits(b, before));
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(live_allocations() - live, Api<T>::arrays + kInversionArrays);
}

// When C is not finite its norm is NaN, which does not stop the method: the
// computation completes, B receives its (NaN) result and info stays 2. Only
// the inversion's arrays are left allocated.
TYPED_TEST(Gekws, FailedInversionWithTheComputationCompletedGivesInfo2) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T inf = std::numeric_limits<T>::infinity();
  IMat<I> a = filled(2, 2, pt<I>(0));
  a(0, 0) = I{1, inf}; // mid(A) = [[inf, 0], [0, 0]]: the second pivot is zero
  const int live = live_allocations();
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->solve(a, b), 2);
  EXPECT_TRUE(xerbla_calls().empty());
  for (int i = 0; i < 2; ++i)
    EXPECT_TRUE(std::isnan(b(i, 0).inf) && std::isnan(b(i, 0).sup)) << show(b(i, 0));
  EXPECT_EQ(live_allocations() - live, kInversionArrays);
}

// The system with one more equation x(n+1) = k, coupled to nothing. Its
// solution k widens the start box, so that every other component lies well
// inside it, and the first step's products, whose operands both contain zero
// and which the arithmetic narrows on purpose (see above), cannot cut into
// the solution set. That needs the entries of I - R·A to be near-symmetric
// about zero, which every radius of A being far above the rounding noise
// ensures.
template <class I>
std::pair<IMat<I>, IMat<I>> decoupled(const IMat<I> &a, const IMat<I> &b, double k) {
  const int n = a.rows;
  IMat<I> a1 = filled(n + 1, n + 1, pt<I>(0), a.ld + 1), b1(n + 1, b.cols, b.ld + 1);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      a1(i, j) = a(i, j);
  a1(n, n) = pt<I>(1);
  for (int j = 0; j < b.cols; ++j) {
    for (int i = 0; i < n; ++i)
      b1(i, j) = b(i, j);
    b1(n, j) = pt<I>(k);
  }
  return {a1, b1};
}

// Random point matrices up to order 30, right-hand sides of width 2^-32
// (double) or 2^-10 (single), eps from 0 up: the exact solution of the
// midpoint system lies inside. The width matters: with an exactly point B,
// an entry of I - R·A such as [0, u] meets the start box [-r, r] in a product
// whose operands both contain zero, which the arithmetic narrows on purpose;
// the result can then miss the solution by a rounding unit.
TYPED_TEST(Gekws, PointMatricesEncloseTheExactSolution) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const double width = std::is_same_v<T, float> ? 0x1p-10 : 0x1p-32;
  Dyadic g(test_seed() + 12);
  const double epss[] = {0, 1e-12, 1e-6, 1e-2};
  for (int trial = 0; trial < scaled(24); ++trial) {
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3);
    const double eps = epss[trial % 4];
    SCOPED_TRACE(testing::Message()
                 << "seed " << test_seed() << " trial " << trial << " n " << n << " eps " << eps);
    const IMat<I> a = random_matrix<I>(g, n, true);
    IMat<I> b(n, nrhs, n + g.integer(0, 2)), mid(n, nrhs);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i) {
        const double m = g.any();
        b(i, j) = I{T(m - width), T(m + width)}, mid(i, j) = pt<I>(m);
      }
    const auto x = ruf_test::solve(exact_point(a), exact_point(mid));
    ASSERT_TRUE(x.has_value());
    ASSERT_EQ(this->solve(a, b, T(eps)), 0);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(contains(b(i, j), (*x)(i, j)))
            << "x(" << i << "," << j << ") = " << (*x)(i, j).approx() << " not in "
            << show(b(i, j));
  }
}

// Small interval systems, every entry of A of radius at least 1/256, with
// one decoupled equation as above: the exact hull of the solution set lies
// inside. The transposed request solves the symmetric matrix of the lower
// triangle; A's upper triangle is never read.
TYPED_TEST(Gekws, IntervalSystemsEncloseTheSolutionSetHull) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 13);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    const IMat<I> a0 = random_matrix<I>(g, n, true, 1.0 / 256, 1.0 / 64);
    for (const char *trans : {"N", "t"}) {
      IMat<I> sym = a0;
      if (trans[0] == 't')
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            sym(i, j) = a0(j, i);
      auto [a, b] = decoupled(sym, rhs_for_solutions_away_from_zero<I>(g, exact(sym), nrhs), 4);
      const auto h = solution_hull(exact(a), exact(b));
      ASSERT_TRUE(h.has_value());
      if (trans[0] == 't')
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            a(i, j) = I{nan, nan};
      ASSERT_EQ(this->solve(a, b, T(1e-8), trans), 0) << trans;
      for (int j = 0; j < nrhs; ++j)
        for (int i = 0; i <= n; ++i)
          EXPECT_TRUE(contains(b(i, j), h->lo(i, j), h->hi(i, j)))
              << trans << " (" << i << "," << j << "): hull [" << h->lo(i, j).approx() << ", "
              << h->hi(i, j).approx() << "] not in " << show(b(i, j));
    }
  }
}

// The double member starts C and R·B from its constants; the single member
// converts 1.0f and 0.0f where each entry starts, one operation more per
// entry of C and of R·B. On the identity both members take the same steps.
TYPED_TEST(Gekws, UnitAndZeroOfTheSingleMemberAreConversions) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const int n = 3, nrhs = 2;
  const IMat<I> a = identity_matrix<I>(n);
  IMat<I> b = filled(n, nrhs, pt<I>(2));
  g_prologues = 0;
  ASSERT_EQ(this->solve(a, b, 0), 0);
  // Midpoints; C and R·B (a product and a sum each); the norms; per column
  // the start box and two steps (products, sums, intersections, distances).
  int ops =
      n * n + 2 * n * n * n + 2 * n * n * nrhs + n * n + nrhs * (n + n + 2 * (2 * n * n + 2 * n));
  if (std::is_same_v<T, float>) ops += n * n + n * nrhs;
  EXPECT_EQ(g_prologues, 1 + ops);
}

} // namespace
