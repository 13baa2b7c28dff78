// Gauss-Seidel refinement, both members: the solver frame, the sweep rule on
// hand-checked systems, and the enclosures after midpoint-inverse
// preconditioning and Gaussian elimination for the starting box.
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Gegss : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    std::string trans = "N";
    int n = 2, nrhs = 1, lda = 2, ldb = 2;
    T eps = T(1e-6);
    int maxit = 50;
  };
  // Returns info; c.maxit receives the sweep count.
  static int run(Call &c, const IMat<I> &a, IMat<I> &b, const IMat<I> &x0) {
    int info = 12345;
    pick<T>(digegss, sigegss)(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb,
                              x0.v.data(), &c.eps, &c.maxit, &info, 1);
    return info;
  }
  // Sweeps from x0 with at most `maxit`; returns the sweep count, info 0 expected.
  static int sweep(const IMat<I> &a, IMat<I> &b, const IMat<I> &x0, int maxit,
                   const char *trans = "N", T eps = T(1e-6)) {
    Call c{trans, a.rows, b.cols, a.ld, b.ld, eps, maxit};
    EXPECT_EQ(run(c, a, b, x0), 0);
    return c.maxit;
  }
  static Outcome probe(Call c, const IMat<I> &a) {
    const IMat<I> x0 = filled(2, 1, I{-9, 9});
    Outcome o = on_copies([&](IMat<I> &b) { return run(c, a, b, x0); }, filled(2, 1, I{1, 2}));
    o.untouched &= c.maxit == 50;
    return o;
  }
};
TYPED_TEST_SUITE(Gegss, Precisions);

constexpr int kArrays = 6; // A's copy, two iterates, |A - I|, two power-iteration vectors

TYPED_TEST(Gegss, ArgumentErrorsAndEmptyProblems) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(
      name<T>("IGEGSS"),
      {
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
          {"n 0", [](Call &c) { c.trans = "T", c.n = 0; }, 0},
          {"nrhs 0", [](Call &c) { c.trans = "T", c.nrhs = 0; }, 0},
      },
      [](Call &c) {
        return TestFixture::probe(c, diagonal<I>({1, 1}));
      });
}

TYPED_TEST(Gegss, AllocationFailureAtEveryAllocation) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGEGSS"), kArrays, [] {
    return TestFixture::probe({}, rows<I>(2, {pt<I>(1), pt<I>(0.5), pt<I>(0), pt<I>(1)}));
  });
}

// Sweeps on small systems whose iterates are known exactly. Every result
// lies inside X0 (or is NaN); `want` lists B's exact entries when they are
// known, column by column, a NaN bound standing for NaN bounds.
TYPED_TEST(Gegss, SweepRule) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const IMat<I> eye = diagonal<I>({1, 1}), wide = filled(2, 1, I{-8, 8});
  const IMat<I> upper = rows<I>(2, {pt<I>(1), pt<I>(0.5), pt<I>(0), pt<I>(1)});
  const IMat<I> lower = rows<I>(2, {pt<I>(1), pt<I>(0), pt<I>(0.5), pt<I>(1)});
  const IMat<I> quarter = rows<I>(2, {pt<I>(1), pt<I>(0.25), pt<I>(0.25), pt<I>(1)});
  const IMat<I> rhs = rows<I>(2, {pt<I>(1), pt<I>(2)}), one = filled(2, 1, pt<I>(1));
  const struct {
    const char *what;
    IMat<I> a, b, x0;
    T eps;
    int maxit, sweeps;
    std::vector<std::pair<double, double>> want;
  } cases[] = {
      // A = I: |A - I| = 0, so the threshold is infinite and the first sweep
      // (Z = B ∩ X0) ends the iteration; B receives X0, the iterate before
      // it. The smallest positive eps is accepted.
      {"identity",
       eye,
       rows<I>(2, {I{1, 2}, pt<I>(0.5), pt<I>(1.5), I{3, 3.5}}),
       rows<I>(2, {I{-3, 5}, I{0, 1}, I{1, 2}, I{-1, 4}}),
       std::numeric_limits<T>::denorm_min(),
       7,
       1,
       {{-3, 5}, {1, 2}, {0, 1}, {-1, 4}}},
      {"maxit 0: no sweep", upper, one, wide, T(1e-6), 0, 1, {{-8, 8}, {-8, 8}}},
      {"maxit -3: no sweep", upper, one, wide, T(1e-6), -3, 1, {{-8, 8}, {-8, 8}}},
      // rho = 1/2 (threshold eps), b = (1, 2). The sweeps are Jacobi-like:
      // every product uses the previous iterate. Only the last row of the
      // column decides convergence (intended): in the upper system row 2
      // settles in the first sweep, so the second stops although row 1 still
      // moves from [-3, 5] to [0, 0]; B receives the iterate before that
      // sweep. In the lower system row 2 moves in sweeps 1 and 2, so the
      // third stops; with maxit = 2 it runs out, returns maxit + 1 and B
      // holds the last sweep's result.
      {"upper", upper, rhs, wide, T(1e-6), 50, 2, {{-3, 5}, {2, 2}}},
      {"lower", lower, rhs, wide, T(1e-6), 50, 3, {{1, 1}, {1.5, 1.5}}},
      {"lower, maxit 2", lower, rhs, wide, T(1e-6), 2, 3, {{1, 1}, {1.5, 1.5}}},
      {"lower, maxit 1", lower, rhs, wide, T(1e-6), 1, 2, {{1, 1}, {-2, 6}}},
      // The power iteration gives rho = 1/4 and the threshold (1 - rho)·eps/rho
      // = 3·eps. The changes of the last row are 7.25, 1.8125, 0.453125,
      // 0.11328125, 0.0283203125, all exact, so eps = 0.04 stops at the
      // fourth sweep and eps = 0.037 at the fifth; B is the third (fourth)
      // sweep's iterate.
      {"rho 1/4, eps 0.04",
       quarter,
       filled(2, 1, pt<I>(1.25)),
       wide,
       T(0.04),
       100,
       4,
       {{0.890625, 1.140625}, {0.890625, 1.140625}}},
      {"rho 1/4, eps 0.037",
       quarter,
       filled(2, 1, pt<I>(1.25)),
       wide,
       T(0.037),
       100,
       5,
       {{0.96484375, 1.02734375}, {0.96484375, 1.02734375}}},
      // rho >= 1 makes the threshold zero or negative: no sweep can stop the
      // iteration, all maxit run and maxit returns maxit + 1.
      {"rho 1",
       diagonal<I>({1, 1}, I{-1, 1}),
       filled(2, 1, I{0.25, 0.5}),
       filled(2, 1, I{-1, 1}),
       T(1e-6),
       7,
       8,
       {}},
      {"rho 2",
       diagonal<I>({1, 1}, I{-2, 2}),
       filled(2, 1, I{0.25, 0.5}),
       filled(2, 1, I{-1, 1}),
       T(1e-6),
       7,
       8,
       {}},
      // X0 misses the solution: the intersection is empty, which shows only
      // as NaN bounds (no real interval counts as empty, so the early return
      // for an empty intersection is never taken). A NaN change never counts
      // as converged: all sweeps run and B holds the NaN bounds.
      {"X0 misses the solution",
       eye,
       one,
       filled(2, 1, I{5, 6}),
       T(1e-6),
       4,
       5,
       {{nan, nan}, {nan, nan}}},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    IMat<I> b = k.b;
    EXPECT_EQ(this->sweep(k.a, b, k.x0, k.maxit, "N", k.eps), k.sweeps);
    for (int j = 0; j < b.cols; ++j)
      for (int i = 0; i < 2; ++i) {
        const I &x = b(i, j), &box = k.x0(i, j);
        const bool nan_bounds = std::isnan(x.inf) && std::isnan(x.sup);
        EXPECT_TRUE(nan_bounds || (x.inf >= box.inf && x.sup <= box.sup)) << show(x);
        if (k.want.empty()) continue;
        const auto [lo, hi] = k.want[i + 2 * j];
        EXPECT_TRUE(std::isnan(lo) ? nan_bounds : same(x, lo, hi)) << show(x);
      }
  }
}

// The pipeline on copies: precondition with the midpoint inverse, enclose
// the preconditioned system by Gaussian elimination for X0, then sweep; the
// sweeps converge well before 100 and stay inside X0. Point systems up to
// order 30 against the exact solution, interval systems up to order 4 whose
// solutions keep away from zero (a product of two intervals that both contain
// zero is narrowed on purpose by the arithmetic) against the exact hull of
// the solution set.
TYPED_TEST(Gegss, PipelineEnclosesTheExactSolutionOrSolutionSetHull) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 31);
  for (int k = 0; k < scaled(64); ++k) {
    const bool point = k % 2 == 0;
    const int n = g.integer(1, point ? 30 : 4), nrhs = g.integer(1, 3);
    SCOPED_TRACE(trial(k, n) + (point ? " point" : " interval"));
    IMat<I> a = point ? dominant<I>(g, n, n, n + g.integer(0, 2))
                      : dominant<I>(g, n, n, 0, 1.0 / 256, 1.0 / 64);
    IMat<I> b = point ? points<I>(g, n, nrhs, n + g.integer(0, 2)) : rhs_away_from_zero(g, a, nrhs);
    const auto target = solution_target(exact(a), exact(b));
    ASSERT_TRUE(target.has_value());
    int info = 0;
    pick<T>(digemip, sigemip)(&n, &nrhs, a.data(), &a.ld, b.data(), &b.ld, &info);
    ASSERT_EQ(info, 0);
    IMat<I> x0 = b;
    pick<T>(digegas, sigegas)("N", &n, &nrhs, a.data(), &a.ld, x0.data(), &x0.ld, &info, 1);
    ASSERT_EQ(info, 0);
    EXPECT_LE(this->sweep(a, b, x0, 100, "N", T(1e-10)), 100);
    ASSERT_TRUE(encloses(b, *target));
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(b(i, j).inf >= x0(i, j).inf && b(i, j).sup <= x0(i, j).sup) << "inside X0";
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
  IMat<I> sym(n, n), garbage = filled(n, n, I{nan, nan});
  for (int j = 0; j < n; ++j)
    for (int i = j; i < n; ++i) {
      const double m = i == j ? g.between(1, 1.125) : g.any() / 16;
      garbage(i, j) = sym(i, j) = sym(j, i) = I{T(m), T(m + g.between(0, 1.0 / 64))};
    }
  const IMat<I> b = intervals<I>(g, n, 2, 0.25), x0 = filled(n, 2, I{-8, 8});
  IMat<I> want = b;
  const int sweeps = this->sweep(sym, want, x0, 100, "N");
  for (const char *t : {"T", "t", "C", "c"}) {
    IMat<I> got = b;
    EXPECT_EQ(this->sweep(garbage, got, x0, 100, t), sweeps) << t;
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
}

} // namespace
