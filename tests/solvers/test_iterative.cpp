// The intended behaviours of the iterative and preconditioning methods that no
// enclosure property states: the Gauss-Seidel sweep rule on hand-checked
// systems; the Krawczyk start (one element for every component, built in a
// static element in the complex members), its tolerances (an infinite one
// stops before the first step, a NaN one after it), its contraction test and
// its failed inversions; and what preconditioning leaves after a singular
// midpoint or a failed inversion.
#include <cmath>
#include <tuple>
#include <type_traits>
#include <limits>
#include <string>
#include <vector>

#include "solvers/harness.h"

namespace {

using namespace ruf_test;

template <class E> class Iterative : public SolverTest<E> {};
TYPED_TEST_SUITE(Iterative, AllMembers);
template <class E> class RealIterative : public SolverTest<E> {};
TYPED_TEST_SUITE(RealIterative, RealMembers);

template <class E> int gekws(const IMat<E> &a, IMat<E> &b, Real<E> eps) {
  return solve<E>("GEKWS", a, b, {.eps = eps});
}
template <class E> int gemip(IMat<E> &a, IMat<E> &b) {
  return solve<E>("GEMIP", a, b);
}
template <class E> IMat<E> diagonal(int n, E d) {
  return generated<E>(n, n, [&](int i, int j) { return i == j ? d : pt<E>(0); });
}

// Sweeps on small systems whose iterates are known exactly; `want` lists B's
// exact entries, column by column, when they are known (a NaN bound standing
// for NaN bounds). Every result lies inside X0 or is NaN.
TYPED_TEST(RealIterative, GaussSeidelSweepRule) {
  using E = TypeParam;
  using T = Real<E>;
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const IMat<E> eye = diagonal<E>(2, pt<E>(1)), wide = filled(2, 1, E{-8, 8});
  const IMat<E> upper = rows<E>(2, {pt<E>(1), pt<E>(0.5), pt<E>(0), pt<E>(1)});
  const IMat<E> lower = rows<E>(2, {pt<E>(1), pt<E>(0), pt<E>(0.5), pt<E>(1)});
  const IMat<E> quarter = rows<E>(2, {pt<E>(1), pt<E>(0.25), pt<E>(0.25), pt<E>(1)});
  const IMat<E> rhs = rows<E>(2, {pt<E>(1), pt<E>(2)}), one = filled(2, 1, pt<E>(1));
  const struct {
    const char *what;
    IMat<E> a, b, x0;
    T eps;
    int maxit, sweeps;
    std::vector<std::pair<double, double>> want;
  } cases[] = {
      // A = I: the threshold is infinite and the first sweep ends the
      // iteration; B receives X0, the iterate before it.
      {"identity",
       eye,
       rows<E>(2, {E{1, 2}, pt<E>(0.5), pt<E>(1.5), E{3, 3.5}}),
       rows<E>(2, {E{-3, 5}, E{0, 1}, E{1, 2}, E{-1, 4}}),
       std::numeric_limits<T>::denorm_min(),
       7,
       1,
       {{-3, 5}, {1, 2}, {0, 1}, {-1, 4}}},
      {"maxit 0: no sweep", upper, one, wide, T(1e-6), 0, 1, {{-8, 8}, {-8, 8}}},
      {"maxit -3: no sweep", upper, one, wide, T(1e-6), -3, 1, {{-8, 8}, {-8, 8}}},
      // rho = 1/2, b = (1, 2); every product uses the previous iterate. Only
      // the last row decides convergence (intended): in the upper system row
      // 2 settles in the first sweep, so the second stops although row 1
      // still moves; B receives the iterate before that sweep. In the lower
      // system row 2 moves twice; with maxit = 2 the sweeps run out, the count
      // is maxit + 1 and B holds the last sweep's result.
      {"upper", upper, rhs, wide, T(1e-6), 50, 2, {{-3, 5}, {2, 2}}},
      {"lower", lower, rhs, wide, T(1e-6), 50, 3, {{1, 1}, {1.5, 1.5}}},
      {"lower, maxit 2", lower, rhs, wide, T(1e-6), 2, 3, {{1, 1}, {1.5, 1.5}}},
      {"lower, maxit 1", lower, rhs, wide, T(1e-6), 1, 2, {{1, 1}, {-2, 6}}},
      // rho = 1/4: the threshold (1 - rho)·eps/rho is 3·eps. The last row
      // changes by 7.25, 1.8125, 0.453125, 0.11328125, 0.0283203125, so eps =
      // 0.04 stops at the fourth sweep and eps = 0.037 at the fifth.
      {"rho 1/4, eps 0.04",
       quarter,
       filled(2, 1, pt<E>(1.25)),
       wide,
       T(0.04),
       100,
       4,
       {{0.890625, 1.140625}, {0.890625, 1.140625}}},
      {"rho 1/4, eps 0.037",
       quarter,
       filled(2, 1, pt<E>(1.25)),
       wide,
       T(0.037),
       100,
       5,
       {{0.96484375, 1.02734375}, {0.96484375, 1.02734375}}},
      // rho = 1 makes the threshold 0: not even a sweep that changes nothing
      // stops the iteration.
      {"rho 1",
       rows<E>(2, {pt<E>(1), E{-1, 1}, E{-1, 1}, pt<E>(1)}),
       filled(2, 1, E{0.25, 0.5}),
       filled(2, 1, E{-1, 1}),
       T(1e-6),
       7,
       8,
       {}},
      // X0 misses the solution: the empty intersection shows only as NaN
      // bounds (no interval counts as empty, so that early return never
      // fires), and a NaN change never converges.
      {"X0 misses the solution",
       eye,
       one,
       filled(2, 1, E{5, 6}),
       T(1e-6),
       4,
       5,
       {{nan, nan}, {nan, nan}}},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    IMat<E> b = k.b;
    Call<E> c{.maxit = k.maxit, .eps = k.eps, .x0 = const_cast<E *>(k.x0.data())};
    EXPECT_EQ(solve<E>("GEGSS", k.a, b, c), 0);
    EXPECT_EQ(c.maxit, k.sweeps);
    for (std::size_t e = 0; e < k.want.size(); ++e) {
      const E &x = b.v[e];
      const auto [lo, hi] = k.want[e];
      EXPECT_TRUE(std::isnan(lo) ? std::isnan(x.inf) && std::isnan(x.sup)
                                 : x.inf == lo && x.sup == hi)
          << e << ": " << ops::show(x);
    }
  }
}

// A 1x1 system [1, 3]·x = [3, 3]: R = 1/2, C = [-1/2, 1/2], ||C|| = 1/2 and
// the start box is [-3, 3]. The first step gives [0, 3]; the next product
// [-1/2, 1/2]·[0, 3] has two zero-straddling operands, and the default rule's
// narrowing keeps [0, 3/2] of it: [3/2, 3], while the solutions fill [1, 3].
// With the largest eps the tolerance is too, and the start box is the result,
// its lower bound formed as 0 - r, so r = 0 gives [+0, +0].
TYPED_TEST(RealIterative, KrawczykOneByOne) {
  using E = TypeParam;
  using T = Real<E>;
  const IMat<E> a = filled(1, 1, E{1, 3});
  IMat<E> b = filled(1, 1, pt<E>(3));
  ASSERT_EQ(gekws(a, b, T(1e-6)), 0);
  EXPECT_TRUE(ops::same(b(0, 0), E{1.5, 3}));
  b = filled(1, 1, pt<E>(3));
  ASSERT_EQ(gekws(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_TRUE(ops::same(b(0, 0), E{-3, 3}));
  b = filled(1, 1, pt<E>(0));
  ASSERT_EQ(gekws(a, b, std::numeric_limits<T>::max()), 0);
  EXPECT_TRUE(ops::same(b(0, 0), E{0, 0}));
}

// With an infinite eps the tolerance is infinite (no step: B(i) is the start
// for every i, one element centred on 0 reaching past max |R·b|, a box or a
// disc); on the point identity it is inf·0, NaN (exactly one step: B is the
// right-hand side). eps = 0 is accepted: the steps go on until one changes
// nothing, the second here.
TYPED_TEST(Iterative, KrawczykInfiniteAndNaNTolerances) {
  using E = TypeParam;
  const Real<E> inf = std::numeric_limits<Real<E>>::infinity();
  const IMat<E> b0 = rows<E>(2, {around<E>(1, 0.5), around<E>(-3, 0.25)});
  IMat<E> b = b0;
  ASSERT_EQ(gekws(diagonal<E>(2, around<E>(2, 0.25)), b, inf), 0);
  EXPECT_TRUE(ops::same(b(0, 0), b(1, 0))) << "one start for every component";
  const E &s = b(0, 0);
  if constexpr (Kind<E>::disc)
    EXPECT_TRUE(s.re == 0 && s.im == 0 && s.rad >= 1.5) << ops::show(s);
  else if constexpr (Kind<E>::complex)
    EXPECT_TRUE(ops::same(s.re, s.im) && s.re.inf == -s.re.sup && s.re.sup >= 1.5) << ops::show(s);
  else
    EXPECT_TRUE(s.inf == -s.sup && s.sup >= 1.5) << ops::show(s);
  for (const Real<E> eps : {inf, Real<E>(0)}) {
    // For discs that second step meets two equal discs: a NaN intersection.
    if (Kind<E>::disc && eps == 0) continue;
    b = b0;
    ASSERT_EQ(gekws(diagonal<E>(2, pt<E>(1)), b, eps), 0);
    EXPECT_TRUE(same_bits(b, b0)) << eps;
  }
}

// ||I - R·A|| >= 1: info = 1 and B untouched, nothing reported. A failed
// getri: the real members keep R = 0 (then I - R·A = I, info 1), the complex
// members go on with the inverse getri left (info 0, the enclosure).
TYPED_TEST(Iterative, KrawczykWithoutContraction) {
  using E = TypeParam;
  const IMat<E> b0 = filled(2, 1, around<E>(1, 0.5));
  IMat<E> b = b0;
  EXPECT_EQ(gekws(diagonal<E>(2, around<E>(1, 1)), b, Real<E>(1e-6)), 1);
  EXPECT_TRUE(same_bits(b, b0));
  EXPECT_TRUE(xerbla_calls().empty());
  lapack.getri_status = 3;
  EXPECT_EQ(gekws(diagonal<E>(2, pt<E>(2)), b, Real<E>(1e-6)), Kind<E>::complex ? 0 : 1);
  EXPECT_EQ(same_bits(b, b0), !Kind<E>::complex);
}

// The real members report a failed inversion with info = 2 and go on: with
// mid(A) = [[inf, 0], [0, 0]], C is not finite, its NaN norm does not stop the
// method, and B receives NaN bounds.
TYPED_TEST(RealIterative, KrawczykFailedInversionIsInfo2) {
  using E = TypeParam;
  const Real<E> inf = std::numeric_limits<Real<E>>::infinity();
  IMat<E> b = filled(2, 1, E{1, 2});
  EXPECT_EQ(gekws(rows<E>(2, {E{1, inf}, pt<E>(0), pt<E>(0), pt<E>(0)}), b, Real<E>(1e-6)), 2);
  EXPECT_TRUE(std::isnan(b(0, 0).inf) && std::isnan(b(1, 0).sup));
}

// Preconditioning with R = I or R = I/2 is exact; a zero pivot of mid(A) is
// info = its index with A, B and the workspace kept (the single real member
// has not obtained getri's work vector then); a failed getri is info = 1, the
// work and pivot vectors released first.
TYPED_TEST(Iterative, PreconditioningOutcomes) {
  using E = TypeParam;
  Dyadic g(test_seed() + 21);
  const IMat<E> b0 = generated<E>(3, 2, [&](int, int) { return element<E>(g, 0, 1, 0.25); });
  IMat<E> a = diagonal<E>(3, pt<E>(1)), b = b0;
  ASSERT_EQ(gemip(a, b), 0);
  EXPECT_TRUE(same_bits(a, diagonal<E>(3, pt<E>(1))) && same_bits(b, b0));
  a = diagonal<E>(3, pt<E>(2));
  ASSERT_EQ(gemip(a, b), 0);
  EXPECT_TRUE(same_bits(a, diagonal<E>(3, pt<E>(1))));
  const E halving = pt<E>(0.5);
  IMat<E> half = b0;
  for (std::size_t k = 0; k < half.v.size(); ++k)
    ops::mult(&half.v[k], &halving, &b0.v[k]);
  EXPECT_TRUE(same_bits(b, half)) << "halved exactly";

  const bool late_work = std::is_same_v<E, ruf_si>;
  for (const auto &[what, matrix, info] :
       {std::tuple{"third pivot",
                   rows<E>(3, {pt<E>(1), pt<E>(0), pt<E>(0), pt<E>(0), pt<E>(2), pt<E>(0), pt<E>(0),
                               pt<E>(0), pt<E>(0)}),
                   3},
        std::tuple{"dependent columns", filled(3, 3, around<E>(1, 2)), 2}}) {
    SCOPED_TRACE(what);
    const int live = live_allocations();
    a = matrix, b = b0;
    EXPECT_EQ(gemip(a, b), info);
    EXPECT_TRUE(same_bits(a, matrix) && same_bits(b, b0));
    EXPECT_EQ(live_allocations() - live, late_work ? 4 : 5);
  }
  lapack.getri_status = 1;
  const int live = live_allocations();
  a = diagonal<E>(3, pt<E>(2)), b = b0;
  EXPECT_EQ(gemip(a, b), 1);
  EXPECT_TRUE(same_bits(b, b0));
  EXPECT_EQ(live_allocations() - live, 3);
}

} // namespace
