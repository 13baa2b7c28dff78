// Regularity and singularity test, both members: the solver frame, a failing
// eigenvalue computation, the documented small examples, and verdicts on
// matrices whose regularity or singularity is known exactly.
#include <cmath>
#include <limits>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

constexpr int kUnset = 77;

template <class T> class Gerbr : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    int n = 3, lda = 3;
  };
  struct Result {
    int info = kUnset, flag = kUnset;
    T r = T(-99);
  };
  static Result run(const Call &c, const IMat<I> &a) {
    Result res;
    pick<T>(digerbr, sigerbr)(&c.n, a.v.data(), &c.lda, &res.r, &res.flag, &res.info);
    return res;
  }
  static Result test(const IMat<I> &a) { return run({a.rows, a.ld}, a); }
  static Outcome probe(const Call &c, const IMat<I> &a) {
    const Result res = run(c, a);
    return {res.info, res.flag == kUnset && res.r == T(-99)};
  }
};
TYPED_TEST_SUITE(Gerbr, Precisions);

TYPED_TEST(Gerbr, ArgumentErrorsAndTheEmptyMatrix) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGERBR"),
                             {
                                 {"n < 0", [](Call &c) { c.n = -1; }, 1},
                                 {"n < 0 and lda 0", [](Call &c) { c.n = -1, c.lda = 0; }, 1},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 3},
                                 {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 3},
                                 {"empty", [](Call &c) { c.n = 0, c.lda = 1; }, 0},
                             },
                             [](const Call &c) {
                               return TestFixture::probe(c, filled(3, 3, I{1, 2}));
                             });
}

// Ac, D, I, R, G, the pivots, the LAPACK work vector, wr and wi. On a matrix
// that stays undecided, the one outcome that releases them.
TYPED_TEST(Gerbr, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGERBR"), 9, [] {
    const IMat<I> a = diagonal<I>({1, 1}, I{-1, 1});
    return TestFixture::probe({2, 2}, a);
  });
}

// The verdict order and what each outcome leaves: a singular midpoint
// decides at once (r not written), a radius below 1 decides regular, the
// column test decides singular; only the undecided outcome releases the
// nine work arrays.
TYPED_TEST(Gerbr, DocumentedExamples) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  // Ac = I, D = 1.5 on the diagonal: r = 1.5, and the column test holds
  // (|I - Ac R| + I = I <= D |R| = 1.5 I).
  IMat<I> wide_diagonal = diagonal<I>({0, 0});
  wide_diagonal(0, 0) = wide_diagonal(1, 1) = I{T(-0.5), T(2.5)};
  const double unwritten = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char *what;
    IMat<I> a;
    int flag;
    double r; // NaN: not written
    int kept;
  } cases[] = {
      {"[1, 3]: Ac 2, D 1, R 0.5, G 0.5", filled(1, 1, I{1, 3}), 1, 0.5, 9},
      {"[-1, 3]: r 2, then G 1 <= S 2", filled(1, 1, I{-1, 3}), -1, 2, 9},
      {"[-2, 2]: the midpoint 0 is singular", filled(1, 1, I{-2, 2}), -1, unwritten, 9},
      {"exactly singular point matrix", rows<I>(2, {pt<I>(1), pt<I>(2), pt<I>(2), pt<I>(4)}), -1,
       unwritten, 9},
      {"point identity", filled(1, 1, pt<I>(1)), 1, 0, 9},
      // Ac = I, D = 0.75 off the diagonal: G = |R| D has radius 0.75.
      {"identity with off-diagonal radius 0.75", diagonal<I>({1, 1}, I{T(-0.75), T(0.75)}), 1, 0.75,
       9},
      {"identity with diagonal radius 1.5", wide_diagonal, -1, 1.5, 9},
      // Ac = I, D = 1 off the diagonal: r = 1, but no column test holds.
      {"identity with off-diagonal radius 1", diagonal<I>({1, 1}, I{-1, 1}), 0, 1, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const int live = live_allocations();
    const auto res = this->test(c.a);
    EXPECT_EQ(res.info, 0);
    EXPECT_EQ(res.flag, c.flag);
    if (std::isnan(c.r))
      EXPECT_EQ(res.r, T(-99));
    else
      EXPECT_NEAR(res.r, c.r, 1e-6);
    EXPECT_EQ(live_allocations() - live, c.kept);
  }
}

// A failing eigenvalue computation: its count in info, undecided, r not
// written, the workspace kept.
TYPED_TEST(Gerbr, EigenvalueFailureIsPassedOn) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const int live = live_allocations();
  lapack.geev_status = 3;
  const auto res = this->test(rows<I>(2, {I{3, 4}, I{0, 1}, I{0, 1}, I{3, 4}}));
  EXPECT_EQ(res.info, 3);
  EXPECT_EQ(res.flag, 0);
  EXPECT_EQ(res.r, T(-99));
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(live_allocations() - live, 9);
}

// Verdicts against exactly known answers.
TYPED_TEST(Gerbr, VerdictsAgreeWithKnownRegularityAndSingularity) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  int decided = 0, around_tests = 0;
  for (int k = 0; k < scaled(30); ++k) {
    const int n = g.integer(1, 8);
    SCOPED_TRACE(trial(k, n));
    // Strictly diagonally dominant with small radii: regular, and the
    // criterion holds with room to spare.
    auto res = this->test(generated<I>(
        n, n,
        [&](int i, int j) {
          return i == j ? away_from_zero<I>(g, 1, 2, 0x1p-8)
                        : away_from_zero<I>(g, 0, 0.5 / n, 0x1p-8 / n);
        },
        n + g.integer(0, 2)));
    EXPECT_EQ(res.flag, 1) << "dominant";
    EXPECT_LT(res.r, T(1));
    if (n < 2) continue;
    // Rank-deficient point matrix: the last row repeats the first.
    IMat<I> deficient(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        deficient(i, j) = pt<I>(i == n - 1 ? double(deficient(0, j).inf) : g.integer(-4, 4));
    res = this->test(deficient);
    EXPECT_NE(res.flag, 1) << "rank-deficient";
    // Around that singular matrix, radii up to 2^-4 placed unevenly, so
    // that the midpoint itself is regular: never regular, and the radius
    // is at least 1.
    res = this->test(generated<I>(n, n, [&](int i, int j) {
      const double c = deficient(i, j).inf;
      return I{T(c - g.between(0x1p-6, 0x1p-4)), T(c + g.between(0x1p-6, 0x1p-4))};
    }));
    EXPECT_NE(res.flag, 1) << "contains a singular matrix";
    if (res.flag == 0) EXPECT_GE(res.r, T(1));
    decided += res.flag == -1;
    ++around_tests;
  }
  EXPECT_GT(decided, around_tests / 4) << "the column test decides most of them";
}

} // namespace
