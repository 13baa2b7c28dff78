// Interval Gaussian elimination, both members: the solver frame, enclosures
// of exact solutions and solution-set hulls, and the intended behaviours
// (mignitude pivoting, info = 1 with B partly transformed, "T" mirroring).
#include <cfenv>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Gegas : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(digegas, sigegas)(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb,
                              &info, 1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld}, a, b);
  }
  static Outcome probe(const Call &c) {
    const IMat<I> a = filled(3, 3, I{1, 2});
    return on_copies([&](IMat<I> &b) { return run(c, a, b); }, filled(3, 2, I{5, 6}));
  }
};
TYPED_TEST_SUITE(Gegas, Precisions);

// The symmetric matrix of A's lower triangle, which "T" solves.
template <class M> M mirrored(M a) {
  for (int j = 0; j < a.rows; ++j)
    for (int i = 0; i < j; ++i)
      a(i, j) = a(j, i);
  return a;
}
QBox mirrored(QBox b) {
  b.lo = mirrored(b.lo), b.hi = mirrored(b.hi);
  return b;
}

TYPED_TEST(Gegas, ArgumentErrorsAndEmptyProblems) {
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGEGAS"),
                             {
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
                                 {"n 0", [](Call &c) { c.trans = "T", c.n = 0; }, 0},
                                 {"nrhs 0", [](Call &c) { c.trans = "T", c.nrhs = 0; }, 0},
                             },
                             TestFixture::probe);
}

TYPED_TEST(Gegas, AllocationFailureReportsInfo1000) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGEGAS"), 1, [] {
    const IMat<I> a = diagonal<I>({2, 2, 2});
    return on_copies([&](IMat<I> &b) { return TestFixture::solve(a, b); }, filled(3, 2, I{5, 6}));
  });
}

// Random point systems up to order 30: whenever elimination succeeds, the
// exact rational solution lies inside the enclosure. Diagonally dominant
// systems must succeed; general ones may stop with info = 1.
TYPED_TEST(Gegas, PointSystemsEncloseTheExactSolution) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  int solved = 0;
  for (int k = 0; k < scaled(24); ++k) {
    const bool dominant_system = k % 2 == 0;
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(trial(k, n) + (dominant_system ? " dominant" : " general"));
    const IMat<I> a = dominant_system ? dominant<I>(g, n, n, ld) : points<I>(g, n, n, ld);
    IMat<I> b = points<I>(g, n, nrhs, ld);
    const auto x = solution_target(exact(a), exact(b));
    if (!x) continue;
    const int info = this->solve(a, b);
    if (dominant_system) ASSERT_EQ(info, 0);
    if (info != 0) continue;
    ++solved;
    ASSERT_TRUE(encloses(b, *x));
  }
  EXPECT_GE(solved, scaled(24) / 2);
}

// Small interval M-matrix systems (positive diagonal, off-diagonal entries
// strictly negative, dominant by rows and columns) with any right-hand side:
// the exact solution-set hull lies inside the enclosure. "T" mirrors A's
// lower triangle onto the upper one instead of transposing (intended): it
// solves S(i,j) = A(max(i,j), min(i,j)) and never reads A's upper triangle,
// NaN here. Every letter is read in both cases. No product here has two
// operands that both contain zero, so the narrowing multiplication rule
// never applies (it has its own test below). With B >= 0 the elimination of
// an M-matrix is exact up to rounding, so the enclosure is also close to the
// hull.
TYPED_TEST(Gegas, IntervalSystemsEncloseTheSolutionSetHull) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 1);
  for (int k = 0; k < scaled(40); ++k) {
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    const bool nonnegative = k % 3 == 0;
    SCOPED_TRACE(trial(k, n));
    const IMat<I> a = generated<I>(n, n, [&](int i, int j) {
      if (i == j) {
        const double d = g.between(1, 2);
        return I{T(d), T(d + g.between(0, 0.5))};
      }
      const double u = g.between(0.0625, 0.25);
      return I{T(-u - g.between(0, 0.0625)), T(-u)};
    });
    const IMat<I> b = generated<I>(n, nrhs, [&](int, int) {
      const I e = anywhere<I>(g, 0.5);
      if (!nonnegative) return e;
      const double m = g.between(0, 1);
      return I{T(m), T(m + g.between(0, 0.5))};
    });
    const char *const transposed[] = {"T", "t", "C", "c"};
    for (const char *trans : {k % 2 ? "n" : "N", transposed[k % 4]}) {
      const bool t = trans[0] != 'N' && trans[0] != 'n';
      const auto h = solution_hull(t ? mirrored(exact(a)) : exact(a), exact(b));
      ASSERT_TRUE(h.has_value());
      IMat<I> x = b;
      const IMat<I> at = generated<I>(n, n, [&](int i, int j) {
        return t && i < j ? I{nan, nan} : a(i, j);
      });
      ASSERT_EQ(this->solve(at, x, trans), 0) << trans;
      EXPECT_TRUE(encloses(x, *h)) << trans;
      if (!nonnegative) continue;
      for (int j = 0; j < nrhs; ++j)
        for (int i = 0; i < n; ++i) {
          const double slack =
              (std::is_same_v<T, float> ? 1e-5 : 1e-13) * (1 + std::fabs(h->hi(i, j).get_d()));
          EXPECT_LE(h->lo(i, j).get_d() - x(i, j).inf, slack) << trans << " lower bound";
          EXPECT_LE(x(i, j).sup - h->hi(i, j).get_d(), slack) << trans << " upper bound";
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
  IMat<I> a = rows<I>(2, {pt<I>(2), pt<I>(1), I{-4, -2}, pt<I>(-1)});
  IMat<I> b = rows<I>(2, {pt<I>(3), pt<I>(5)});
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_TRUE(same(b(0, 0), 3, 3)) << "row 1 stays the pivot row";
  // B is left as the first step made it (row 2 reduced), and W is not
  // released on this return: intended, the caller only learns info = 1.
  EXPECT_TRUE(contains(b(1, 0), Q(5L) + Q(3L)));
  EXPECT_EQ(live_allocations() - live, 1);

  // A strictly larger mignitude below wins: rows are interchanged in B too.
  a(1, 0) = I{-3, -3}, a(1, 1) = pt<I>(-1.5);
  b = rows<I>(2, {pt<I>(3), pt<I>(5)});
  EXPECT_EQ(this->solve(a, b), 1);
  EXPECT_TRUE(same(b(0, 0), 5, 5));
}

TYPED_TEST(Gegas, NaNMignitudeNeverWins) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  // mig([1, NaN]) is NaN. As the diagonal candidate it cannot be replaced,
  // and a NaN pivot counts as no pivot.
  IMat<I> a = rows<I>(2, {I{1, nan}, pt<I>(1), pt<I>(4), pt<I>(1)});
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->solve(a, b), 1);
  // Below the diagonal it never replaces a real candidate: had it won, the
  // NaN pivot would have stopped the first step with B untouched.
  a(0, 0) = pt<I>(1), a(1, 0) = I{4, nan};
  b = filled(2, 1, pt<I>(1));
  this->solve(a, b);
  EXPECT_FALSE(same(b(1, 0), 1, 1)) << "the first step eliminated row 2";
}

TYPED_TEST(Gegas, NoUsablePivotInTheLastColumn) {
  using I = typename TestFixture::I;
  IMat<I> a = diagonal<I>({2, 2, 0});
  a(2, 2) = I{-1, 1};
  IMat<I> b = filled(3, 1, pt<I>(1));
  EXPECT_EQ(this->solve(a, b), 1);
  const IMat<I> before = filled(3, 1, pt<I>(1));
  b = before;
  EXPECT_EQ(this->solve(filled(3, 3, I{0, 0}), b), 1);
  EXPECT_TRUE(same_bits(b, before)) << "stopped at the first column";
}

// Both operands of a product contain zero: the arithmetic keeps the larger
// lower candidate (intended), and the enclosure misses the solution x1 = 6
// (a12 = 2, b2 = -3) of the system below.
TYPED_TEST(Gegas, NarrowingMultiplicationRuleShowsInTheResult) {
  using I = typename TestFixture::I;
  const IMat<I> a = rows<I>(2, {pt<I>(1), I{-1, 2}, I{0, 0}, pt<I>(1)});
  IMat<I> b = rows<I>(2, {pt<I>(0), I{-3, 4}});
  ASSERT_EQ(this->solve(a, b), 0);
  EXPECT_TRUE(same(b(0, 0), -8, 4));
  EXPECT_FALSE(contains(b(0, 0), Q(6L)));
}

// Every elementary operation goes through its wrapper (one prologue each),
// counted for the method's sequence on a system that needs no interchange:
// the copy of A; per column the pivot copy, the mignitudes, and per row below
// a quotient and the updates (each a product and a difference formed in
// place); then the back substitution, each row accumulated from a copy of
// B(i) and divided into B(i). The caller's rounding mode is left alone.
TYPED_TEST(Gegas, EveryOperationRunsTheEntryPrologue) {
  using I = typename TestFixture::I;
  const int n = 5, nrhs = 2;
  IMat<I> a = diagonal<I>({9, 9, 9, 9, 9}, I{-1, 1});
  for (const char *trans : {"N", "T"}) {
    IMat<I> b = filled(n, nrhs, I{1, 2});
    prologues = 0;
    ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
    ASSERT_EQ(this->solve(a, b, trans), 0);
    EXPECT_EQ(std::fegetround(), FE_TOWARDZERO);
    std::fesetround(FE_TONEAREST);
    int ops = n * n + (trans[0] == 'T' ? 3 * n * (n - 1) / 2 : 0);
    for (int k = 1; k <= n; ++k)
      ops += 1 + (n - k + 1) + (n - k) * (1 + 2 * (n - k) + 2 * nrhs);
    ops += nrhs * (2 * n * (n - 1) / 2 + 2 * n);
    EXPECT_EQ(prologues, 1 + ops) << trans;
  }
}

} // namespace
