// Krawczyk solver, both members: the solver frame with failures inside the
// midpoint inversion, the method failures, the start box and narrowing on a
// hand-checked system, and enclosures of exact solutions and hulls.
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Gekws : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  // Two point matrices, three interval arrays, two vectors; the single
  // member has a third point matrix.
  static constexpr int arrays = pick<T>(7, 8);
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
    T eps = T(1e-6);
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(digekws, sigekws)(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb,
                              &c.eps, &info, 1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, T eps = T(1e-6), const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld, eps}, a, b);
  }
  static Outcome probe(const Call &c, const IMat<I> &a = diagonal<I>({1, 1, 1})) {
    return on_copies([&](IMat<I> &b) { return run(c, a, b); }, filled(3, 2, I{5, 6}));
  }
};
TYPED_TEST_SUITE(Gekws, Precisions);

constexpr int kInversionArrays = 3; // pivots, the copy of mid(A), getri's work

TYPED_TEST(Gekws, ArgumentErrorsAndEmptyProblems) {
  using T = TypeParam;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(
      name<T>("IGEKWS"),
      {
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
          {"n 0", [](Call &c) { c.trans = "T", c.n = 0, c.eps = 0; }, 0},
          {"nrhs 0", [](Call &c) { c.trans = "T", c.nrhs = 0, c.eps = 0; }, 0},
      },
      [](const Call &c) { return TestFixture::probe(c); });
}

// A failure among the solver's own arrays stops at once with info = 1000 and
// keeps the arrays obtained before it. One inside the midpoint inversion is
// reported with 1000 too, but the solver goes on with R = 0: then C = I,
// ||C|| = 1, and the call ends with info = 1, B untouched.
TYPED_TEST(Gekws, AllocationFailureAtEveryAllocation) {
  using I = typename TestFixture::I;
  const int own = TestFixture::arrays;
  expect_allocation_failures(
      name<TypeParam>("IGEKWS"), own + kInversionArrays,
      [] {
        IMat<I> a = diagonal<I>({2, 2, 2});
        a(2, 0) = I{-1, 1};
        return TestFixture::probe({}, a);
      },
      own);
  EXPECT_EQ(lapack.getri_lwork, 64 * 3) << "getri's work length";
}

// Nothing verified: B is left as it was and the workspace is kept, except
// when C is not finite: its norm is NaN, which does not stop the method, so
// the computation completes, B receives its (NaN) result and info stays 2.
TYPED_TEST(Gekws, MethodFailures) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T inf = std::numeric_limits<T>::infinity();
  const I o = pt<I>(0), l = pt<I>(1);
  const struct {
    const char *what;
    IMat<I> a;
    int info, kept;
  } cases[] = {
      // C(1,1) = 1 - [1/2, 3/2], one half on its own.
      {"||I - R·A|| >= 1", rows<I>(3, {I{1, 3}, I{-1, 1}, o, o, l, o, o, o, l}), 1,
       TestFixture::arrays},
      // The factorisation fails (info 2), R keeps its starting zeros and the
      // inversion's arrays stay allocated; with R = 0, C is the identity.
      {"singular midpoint of a finite matrix", rows<I>(3, {I{0, 2}, l, l, l, l, l, l, l, l}), 1,
       TestFixture::arrays + kInversionArrays},
      // mid(A) = [[inf, 0], [0, 0]]: the second pivot is zero.
      {"failed inversion, C not finite", rows<I>(2, {I{1, inf}, o, o, o}), 2, kInversionArrays},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    const int live = live_allocations();
    const IMat<I> b0 = filled(k.a.rows, 1, I{1, 2});
    IMat<I> b = b0;
    EXPECT_EQ(this->solve(k.a, b), k.info);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(live_allocations() - live, k.kept);
    if (k.info == 1) EXPECT_TRUE(same_bits(b, b0));
    for (int i = 0; i < b.rows && k.info == 2; ++i)
      EXPECT_TRUE(std::isnan(b(i, 0).inf) && std::isnan(b(i, 0).sup)) << show(b(i, 0));
  }
}

TYPED_TEST(Gekws, PointIdentityReturnsBUnchanged) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 11);
  const IMat<I> b = intervals<I>(g, 4, 2, 0.5);
  for (double eps : {0.0, 1e-3}) {
    IMat<I> x = b;
    ASSERT_EQ(this->solve(diagonal<I>({1, 1, 1, 1}), x, eps), 0);
    EXPECT_TRUE(same_bits(x, b)) << eps;
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
  EXPECT_TRUE(same(b(0, 0), 1.5, 3));
  EXPECT_FALSE(contains(b(0, 0), Q(1L)));

  b = filled(1, 1, pt<I>(3));
  ASSERT_EQ(this->solve(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_TRUE(same(b(0, 0), -3, 3));

  b = filled(1, 1, pt<I>(0));
  ASSERT_EQ(this->solve(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_TRUE(same(b(0, 0), 0, 0));
  EXPECT_FALSE(std::signbit(b(0, 0).inf)) << "0 - r, not -r";
}

// The system with one more equation x(n+1) = k, coupled to nothing. Its
// solution k widens the start box so that the first step's products, which
// the arithmetic narrows on purpose (see above), cannot cut into the solution
// set, given entries of I - R·A near-symmetric about zero: every radius of A
// is far above the rounding noise.
template <class I>
std::pair<IMat<I>, IMat<I>> decoupled(const IMat<I> &a, const IMat<I> &b, double k) {
  const int n = a.rows;
  return {generated<I>(n + 1, n + 1,
                       [&](int i, int j) { return i < n && j < n ? a(i, j) : pt<I>(i == j); }),
          generated<I>(n + 1, b.cols, [&](int i, int j) { return i < n ? b(i, j) : pt<I>(k); })};
}

// Random point matrices up to order 30, eps from 0 up: the exact solution of
// the midpoint system lies inside. B has width 2^-32 (double) or 2^-10
// (single): with a point B, an entry of I - R·A such as [0, u] meets the start
// box [-r, r] in a product the arithmetic narrows on purpose, and the result
// can miss the solution by a rounding unit.
TYPED_TEST(Gekws, PointMatricesEncloseTheExactSolution) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const double width = std::is_same_v<T, float> ? 0x1p-10 : 0x1p-32;
  Dyadic g(test_seed() + 12);
  const double epss[] = {0, 1e-12, 1e-6, 1e-2};
  for (int k = 0; k < scaled(24); ++k) {
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3);
    const double eps = epss[k % 4];
    SCOPED_TRACE(trial(k, n) + " eps " + std::to_string(eps));
    const IMat<I> a = dominant<I>(g, n, n, n + g.integer(0, 2));
    const IMat<I> mid = points<I>(g, n, nrhs);
    IMat<I> b = generated<I>(
        n, nrhs,
        [&](int i, int j) {
          return I{T(mid(i, j).inf - width), T(mid(i, j).inf + width)};
        },
        n + g.integer(0, 2));
    const auto x = solution_target(exact(a), exact(mid));
    ASSERT_TRUE(x.has_value());
    ASSERT_EQ(this->solve(a, b, T(eps)), 0);
    ASSERT_TRUE(encloses(b, *x));
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
  for (int k = 0; k < scaled(40); ++k) {
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    SCOPED_TRACE(trial(k, n));
    const IMat<I> a0 = dominant<I>(g, n, n, 0, 1.0 / 256, 1.0 / 64);
    for (const char *trans : {"N", "t"}) {
      IMat<I> sym = a0;
      if (trans[0] == 't')
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            sym(i, j) = a0(j, i);
      auto [a, b] = decoupled(sym, rhs_away_from_zero(g, sym, nrhs), 4);
      const auto h = solution_hull(exact(a), exact(b));
      ASSERT_TRUE(h.has_value());
      if (trans[0] == 't')
        for (int j = 0; j < n; ++j)
          for (int i = 0; i < j; ++i)
            a(i, j) = I{nan, nan};
      ASSERT_EQ(this->solve(a, b, T(1e-8), trans), 0) << trans;
      EXPECT_TRUE(encloses(b, *h)) << trans;
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
  IMat<I> b = filled(n, nrhs, pt<I>(2));
  prologues = 0;
  ASSERT_EQ(this->solve(diagonal<I>({1, 1, 1}), b, 0), 0);
  // Midpoints; C and R·B (a product and a sum each); the norms; per column
  // the start box and two steps (products, sums, intersections, distances).
  int ops =
      n * n + 2 * n * n * n + 2 * n * n * nrhs + n * n + nrhs * (n + n + 2 * (2 * n * n + 2 * n));
  if (std::is_same_v<T, float>) ops += n * n + n * nrhs;
  EXPECT_EQ(prologues, 1 + ops);
}

} // namespace
