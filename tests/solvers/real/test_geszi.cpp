// Schulz inverse iteration, both members: the solver frame, the identity in
// one iteration, and enclosures of exact inverses. Inputs whose iteration
// never settles are not run: the routine has no iteration limit.
#include <array>
#include <cmath>
#include <type_traits>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Geszi : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    int n = 3, lda = 3;
  };
  static int run(const Call &c, IMat<I> &a) {
    int info = 12345;
    pick<T>(digeszi, sigeszi)(&c.n, a.data(), &c.lda, &info);
    return info;
  }
  static int invert(IMat<I> &a) { return run({a.rows, a.ld}, a); }
  static Outcome probe(const Call &c, const IMat<I> &a) {
    return on_copies([&](IMat<I> &copy) { return run(c, copy); }, a);
  }
};
TYPED_TEST_SUITE(Geszi, Precisions);

TYPED_TEST(Geszi, ArgumentErrorsAndTheEmptyMatrix) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGESZI"),
                             {
                                 {"n < 0", [](Call &c) { c.n = -1; }, 1},
                                 {"n < 0 and lda 0", [](Call &c) { c.n = -1, c.lda = 0; }, 1},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 3},
                                 {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 3},
                                 {"n 0", [](Call &c) { c.n = 0, c.lda = 1; }, 0},
                             },
                             [](const Call &c) {
                               return TestFixture::probe(c, filled(3, 3, I{1, 2}));
                             });
}

// X, R, Y and the midpoints.
TYPED_TEST(Geszi, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGESZI"), 4, [] {
    IMat<I> a = diagonal<I>({1, 1, 1});
    a(0, 1) = I{-1, 1};
    return TestFixture::probe({}, a);
  });
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
  prologues = 0;
  ASSERT_EQ(this->invert(a), 0);
  EXPECT_TRUE(same_bits(a, eye));
  EXPECT_EQ(prologues, 1 + n * n * (12 + 6 * n));
}

// Well-conditioned point matrices: the result contains the exact inverse,
// and at order one it is narrow.
TYPED_TEST(Geszi, PointMatricesEncloseTheExactInverse) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(16) + 3; ++k) {
    const int n = k < 3 ? 1 : g.integer(1, 10);
    SCOPED_TRACE(trial(k, n));
    IMat<I> a = k < 3 ? filled(1, 1, pt<I>(std::array{3.0, -0.375, 1e3}[k]))
                      : dominant<I>(g, n, 4 * n, n + g.integer(0, 2));
    const auto inv = solution_target(exact(a), identity(n));
    ASSERT_TRUE(inv.has_value());
    ASSERT_EQ(this->invert(a), 0);
    EXPECT_TRUE(encloses(a, *inv));
    if (n == 1)
      EXPECT_LT(a(0, 0).sup - a(0, 0).inf,
                (std::is_same_v<T, float> ? 1e-5 : 1e-13) * std::fabs(inv->lo(0, 0).get_d()));
  }
}

} // namespace
