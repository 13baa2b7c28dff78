// Interval triangular inverse, both members: the solver frame (workspace
// failures reported as "?IGETRI"), enclosures of exact inverses and of the
// hull of the inverses, and the whole-column write of the result.
#include <cctype>
#include <limits>
#include <string>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Trtri : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    std::string uplo = "L", diag = "N";
    int n = 3, lda = 3;
  };
  static int run(const Call &c, IMat<I> &a) {
    int info = 12345;
    pick<T>(ditrtri, sitrtri)(c.uplo.c_str(), c.diag.c_str(), &c.n, a.data(), &c.lda, &info, 1, 1);
    return info;
  }
  static Outcome probe(const Call &c) {
    return on_copies([&](IMat<I> &a) { return run(c, a); }, filled(3, 3, I{1, 2}));
  }
};
TYPED_TEST_SUITE(Trtri, Precisions);

// Upper and lower case mixed: every option letter is read in both cases.
const char *const kOptionSets[] = {"LN", "UN", "LU", "UU", "ln", "un", "lu", "uu"};

TYPED_TEST(Trtri, ArgumentErrorsAndTheEmptyMatrix) {
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(
      name<TypeParam>("ITRTRI"),
      {
          {"uplo X", [](Call &c) { c.uplo = "X"; }, 1},
          {"uplo C", [](Call &c) { c.uplo = "C"; }, 1},
          {"diag X", [](Call &c) { c.diag = "X"; }, 2},
          {"diag L", [](Call &c) { c.diag = "L"; }, 2},
          {"n < 0", [](Call &c) { c.n = -1; }, 3},
          {"lda < n", [](Call &c) { c.lda = 2; }, 5},
          {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 5},
          {"diag and n both bad", [](Call &c) { c.diag = "X", c.n = -1; }, 2},
          {"n 0", [](Call &c) { c.uplo = "U", c.n = 0, c.lda = 1; }, 0},
      },
      TestFixture::probe);
}

TYPED_TEST(Trtri, AllocationFailureIsReportedUnderTheGeneralInversesName) {
  expect_allocation_failures(name<TypeParam>("IGETRI"), 3, [] { return TestFixture::probe({}); });
}

TYPED_TEST(Trtri, OrderOneIsTheExactReciprocal) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(1, 1, I{2, 4});
  ASSERT_EQ(this->run({"L", "N", 1, 1}, a), 0);
  EXPECT_TRUE(same(a(0, 0), 0.25, 0.5));
}

// Random triangles, every option set in turn: every entry of the exact
// inverse of a point triangle up to order 30, the zeros of the opposite
// triangle included, and of the exact hull of { T^-1 : T in [T] } for an
// interval triangle up to order 4 lies in the result. Interval off-diagonal
// entries keep away from zero, so the narrowing product rule of the
// arithmetic never applies.
TYPED_TEST(Trtri, EnclosesTheExactInverseOrTheHullOfTheInverses) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(64); ++k) {
    const char *o = kOptionSets[k % 8];
    const bool point = k / 8 % 2 == 0;
    const int n = g.integer(1, point ? 30 : 4), ld = n + g.integer(0, 2);
    SCOPED_TRACE(trial(k, n) + " " + o + (point ? " point" : " interval"));
    QBox t;
    IMat<I> a = triangle<I>(
        n, std::toupper(o[0]) == 'L', std::toupper(o[1]) == 'U', I{7, 7},
        [&](int i, int j) {
          if (point) return pt<I>(i == j ? g.between(1, 2) * (g.coin() ? 1 : -1) : g.any() / n);
          return i == j ? away_from_zero<I>(g, 1, 2, 0.5) : away_from_zero<I>(g, 0.125, 1, 0.5);
        },
        t, ld);
    const auto target = solution_target(t, identity(n));
    ASSERT_TRUE(target.has_value());
    ASSERT_EQ(this->run({std::string(1, o[0]), std::string(1, o[1]), n, ld}, a), 0);
    ASSERT_TRUE(encloses(a, *target));
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
    IMat<I> a = generated<I>(3, 3, [](int i, int j) { return i == j ? I{2, 4} : I{7, 7}; }), z = a;
    ASSERT_EQ(this->run({lower ? "L" : "U", "N", 3, 3}, a), 0);
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 3; ++i)
        if (lower ? i < j : i > j) EXPECT_TRUE(same(a(i, j), 0, 0)) << i << j;

    const int row = lower ? 0 : 2;
    z(row, row) = I{-1, 1};
    ASSERT_EQ(this->run({lower ? "L" : "U", "N", 3, 3}, z), 0);
    for (int j = 0; j < 3; ++j)
      if (j != row) EXPECT_TRUE(same(z(row, j), -inf, inf)) << j;
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
    prologues = 0;
    ASSERT_EQ(this->run({"U", diag, n, n}, a), 0);
    const int unit = diag[0] == 'U' ? n : 0;
    const int per_column = n + 2 * n * (n - 1) / 2 + n + n;
    EXPECT_EQ(prologues, 1 + n * n + unit + n * n + n + n * per_column) << diag;
  }
}

} // namespace
