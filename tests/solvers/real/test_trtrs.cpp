// Interval triangular solve, both members: the solver frame, enclosures of
// exact solutions and solution-set hulls, and the intended behaviours (the
// mirroring behind "T", the report name "?IGETRS", no zero test).
#include <cctype>
#include <limits>
#include <string>
#include <utility>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Trtrs : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    std::string uplo = "L", trans = "N", diag = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  // Options as three letters: call("UTN", n, nrhs).
  static Call call(const char *o, int n, int nrhs, int ld = 0) {
    ld = ld > 0 ? ld : n;
    return {std::string(1, o[0]), std::string(1, o[1]), std::string(1, o[2]), n, nrhs, ld, ld};
  }
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(ditrtrs, sitrtrs)(c.uplo.c_str(), c.trans.c_str(), c.diag.c_str(), &c.n, &c.nrhs,
                              a.v.data(), &c.lda, b.data(), &c.ldb, &info, 1, 1, 1);
    return info;
  }
  static Outcome probe(const Call &c) {
    const IMat<I> a = filled(3, 3, I{1, 2});
    return on_copies([&](IMat<I> &b) { return run(c, a, b); }, filled(3, 2, I{5, 6}));
  }
};
TYPED_TEST_SUITE(Trtrs, Precisions);

// Upper and lower case mixed: every option letter is read in both cases.
const char *const kOptionSets[] = {"LNN", "ltn", "LCU", "unn", "UNU", "UTN", "ucu", "lnu"};

bool is(char option, char letter) {
  return std::toupper(static_cast<unsigned char>(option)) == letter;
}

TYPED_TEST(Trtrs, ArgumentErrorsAndEmptyProblems) {
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(
      name<TypeParam>("ITRTRS"),
      {
          {"uplo X", [](Call &c) { c.uplo = "X"; }, 1},
          {"uplo blank", [](Call &c) { c.uplo = " "; }, 1},
          {"uplo N", [](Call &c) { c.uplo = "N"; }, 1},
          {"trans X", [](Call &c) { c.trans = "X"; }, 2},
          {"trans U", [](Call &c) { c.trans = "U"; }, 2},
          {"diag T", [](Call &c) { c.diag = "T"; }, 3},
          {"diag 1", [](Call &c) { c.diag = "1"; }, 3},
          {"n < 0", [](Call &c) { c.n = -1; }, 4},
          {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 5},
          {"lda < n", [](Call &c) { c.lda = 2; }, 7},
          {"ldb < n", [](Call &c) { c.ldb = 2; }, 9},
          {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 7},
          {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 9},
          {"uplo and n both bad", [](Call &c) { c.uplo = "X", c.n = -1; }, 1},
          {"diag and nrhs bad", [](Call &c) { c.diag = "X", c.nrhs = -1; }, 3},
          {"lda and ldb both bad", [](Call &c) { c.lda = 1, c.ldb = 1; }, 7},
          {"n 0", [](Call &c) { c.n = 0; }, 0},
          {"nrhs 0", [](Call &c) { c.nrhs = 0; }, 0},
          {"n and nrhs 0", [](Call &c) { c.n = 0, c.nrhs = 0; }, 0},
      },
      TestFixture::probe);
}

TYPED_TEST(Trtrs, AllocationFailureIsReportedUnderTheGeneralSolversName) {
  expect_allocation_failures(name<TypeParam>("IGETRS"), 2, [] { return TestFixture::probe({}); });
}

// Random systems, every option set in turn: point systems up to order 30
// against the exact solution, interval systems up to order 4 against the
// exact hull of the solution set, of the matrix the options solve. "T" with
// "U" mirrors the lower triangle (intended): it solves Lo(A)^T and never reads
// the upper one, NaN here like everything else the options exclude. Interval
// off-diagonal entries keep away from zero, so the narrowing multiplication
// rule never applies (it has its own test below).
TYPED_TEST(Trtrs, EnclosesTheExactSolutionOrSolutionSetHull) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(64); ++k) {
    const char *o = kOptionSets[k % 8];
    const bool point = k / 8 % 2 == 0, mirrored = !is(o[0], 'L') && !is(o[1], 'N');
    const int n = g.integer(1, point ? 30 : 4), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(trial(k, n) + " " + o + (point ? " point" : " interval"));
    QBox t;
    const IMat<I> a = triangle<I>(
        n, is(o[0], 'L') || mirrored, is(o[2], 'U'), I{nan, nan},
        [&](int i, int j) {
          if (point) return pt<I>(i == j ? g.between(1, 2) * (g.coin() ? 1 : -1) : g.any() / n);
          return i == j ? away_from_zero<I>(g, 1, 2, 0.5) : away_from_zero<I>(g, 0.125, 1, 0.5);
        },
        t, ld);
    for (int j = 0; j < n && mirrored; ++j)
      for (int i = 0; i < j; ++i)
        std::swap(t.lo(i, j), t.lo(j, i)), std::swap(t.hi(i, j), t.hi(j, i));
    IMat<I> b = point ? points<I>(g, n, nrhs, ld) : intervals<I>(g, n, nrhs, 0.5, ld);
    const auto target = solution_target(t, exact(b));
    ASSERT_TRUE(target.has_value());
    ASSERT_EQ(this->run(this->call(o, n, nrhs, ld), a, b), 0);
    ASSERT_TRUE(encloses(b, *target));
  }
}

// A diagonal entry containing zero is divided by as it stands: the whole line
// comes out and spreads to the later unknowns; info stays 0. The product of
// two intervals that both contain zero keeps the larger of the two lower
// candidates (the arithmetic's intended rule), so the result can miss
// solutions: in the second system x1 = 6 (a12 = 2, b2 = -3) is one.
TYPED_TEST(Trtrs, ZeroInTheDiagonalAndTheNarrowingRule) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T inf = std::numeric_limits<T>::infinity();
  IMat<I> b = filled(2, 1, pt<I>(1));
  const IMat<I> zero = rows<I>(2, {I{-1, 1}, I{0, 0}, pt<I>(1), pt<I>(2)});
  ASSERT_EQ(this->run(this->call("LNN", 2, 1), zero, b), 0);
  EXPECT_TRUE(same(b(0, 0), -inf, inf) && same(b(1, 0), -inf, inf));
  b = rows<I>(2, {pt<I>(0), I{-3, 4}});
  const IMat<I> straddling = rows<I>(2, {pt<I>(1), I{-1, 2}, I{0, 0}, pt<I>(1)});
  ASSERT_EQ(this->run(this->call("UNN", 2, 1), straddling, b), 0);
  EXPECT_TRUE(same(b(1, 0), -3, 4) && same(b(0, 0), -8, 4));
  EXPECT_FALSE(contains(b(0, 0), Q(6L)));
}

// Every elementary operation goes through its wrapper, whose prologue runs
// once per call. Counted for the operation sequence of the method: each
// element move is a copy, and each update s := s - w*x is a product and a
// difference formed in place.
TYPED_TEST(Trtrs, EveryOperationRunsTheEntryPrologue) {
  using I = typename TestFixture::I;
  const int n = 6, nrhs = 2;
  const IMat<I> a = filled(n, n, I{1, 2});
  for (const char *o : kOptionSets) {
    IMat<I> b = filled(n, nrhs, I{1, 1});
    prologues = 0;
    ASSERT_EQ(this->run(this->call(o, n, nrhs), a, b), 0);
    const int mirror = is(o[1], 'N') ? 0 : 3 * n * (n - 1) / 2, unit = is(o[2], 'U') ? n : 0;
    const int per_column = n + 2 * n * (n - 1) / 2 + n + n;
    EXPECT_EQ(prologues, 1 + n * n + mirror + unit + nrhs * per_column) << o;
  }
}

} // namespace
