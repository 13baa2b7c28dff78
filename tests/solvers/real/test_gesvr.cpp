// Singular-value regularity test, both members: the solver frame, a failing
// decomposition, the documented small examples, and the ranges and verdicts
// against the system LAPACK on matrices of known regularity.
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

constexpr int kUnset = 77;

template <class T> class Gesvr : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    int n = 3, lda = 3;
  };
  struct Result {
    int info = kUnset, flag = kUnset;
    I sa{T(-9), T(-9)}, sd{T(-9), T(-9)};
  };
  static Result run(const Call &c, const IMat<I> &a) {
    Result res;
    pick<T>(digesvr, sigesvr)(&c.n, a.v.data(), &c.lda, &res.sa, &res.sd, &res.flag, &res.info);
    return res;
  }
  static Result test(const IMat<I> &a) { return run({a.rows, a.ld}, a); }
  static Outcome probe(const Call &c) {
    const Result res = run(c, filled(3, 3, I{0, 1}));
    return {res.info, res.flag == kUnset && same(res.sa, -9, -9) && same(res.sd, -9, -9)};
  }
  // Singular values of a point matrix by the system LAPACK, descending.
  static std::vector<T> singular_values(std::vector<T> m, int n) {
    std::vector<T> s(n), work(static_cast<std::size_t>(64) * n);
    const int lwork = 64 * n, one = 1;
    int info = 0;
    T unused[1];
    lapack.gesvd_fail_at = -1;
    pick<T>(dgesvd_, sgesvd_)("N", "N", &n, &n, m.data(), &n, s.data(), unused, &one, unused, &one,
                              work.data(), &lwork, &info, 1, 1);
    EXPECT_EQ(info, 0);
    return s;
  }
};
TYPED_TEST_SUITE(Gesvr, Precisions);

template <class I> bool identical(const I &x, const I &y) {
  return same_bits(filled(1, 1, x), filled(1, 1, y));
}

TYPED_TEST(Gesvr, ArgumentErrorsAndTheEmptyMatrix) {
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGESVR"),
                             {
                                 {"n < 0", [](Call &c) { c.n = -1; }, 1},
                                 {"n < 0 and lda 0", [](Call &c) { c.n = -1, c.lda = 0; }, 1},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 3},
                                 {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 3},
                                 {"empty", [](Call &c) { c.n = 0, c.lda = 1; }, 0},
                             },
                             TestFixture::probe);
}

// Ac, D, s, t and the LAPACK work vector. Nothing is written before the
// last request succeeds.
TYPED_TEST(Gesvr, AllocationFailureAtEachRequest) {
  expect_allocation_failures(name<TypeParam>("IGESVR"), 5, [] { return TestFixture::probe({}); });
}

// A failing decomposition: LAPACK's count in info, undecided, the ranges not
// yet computed left at [0, 0], the workspace kept.
TYPED_TEST(Gesvr, DecompositionFailureLeavesTheRangesNotYetComputed) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a = filled(2, 2, I{0, 0});
  a(0, 0) = I{3, 5}, a(1, 1) = I{-1, 1};
  for (int failing : {1, 2}) {
    SCOPED_TRACE(failing);
    const int live = live_allocations();
    lapack.gesvd_calls = 0, lapack.gesvd_fail_at = failing, lapack.gesvd_status = 2;
    const auto res = this->test(a);
    EXPECT_EQ(res.info, 2);
    EXPECT_EQ(res.flag, 0);
    const I zero{0, 0}, mid{0, 4};
    EXPECT_TRUE(identical(res.sa, failing == 1 ? zero : mid)) << show(res.sa);
    EXPECT_TRUE(identical(res.sd, zero)) << show(res.sd);
    EXPECT_EQ(live_allocations() - live, 5);
  }
}

TYPED_TEST(Gesvr, DocumentedExamples) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const struct {
    const char *what;
    IMat<I> a;
    int flag;
    I sa, sd;
  } cases[] = {
      {"[-1, 1]: 0 < 1", filled(1, 1, I{-1, 1}), -1, {0, 0}, {1, 1}},
      {"[0, 2]: 1 = 1, strict comparisons", filled(1, 1, I{0, 2}), 0, {1, 1}, {1, 1}},
      {"[1, 3]: 2 > 1", filled(1, 1, I{1, 3}), 1, {2, 2}, {1, 1}},
      {"point 5", filled(1, 1, pt<I>(5)), 1, {5, 5}, {0, 0}},
      {"diag([2, 4], [-3, -1]): 2 > 1",
       rows<I>(2, {I{2, 4}, I{0, 0}, I{0, 0}, I{-3, -1}}),
       1,
       {2, 3},
       {1, 1}},
      {"diag([-1, 1], [-1, 1]): 0 < 1",
       rows<I>(2, {I{-1, 1}, I{0, 0}, I{0, 0}, I{-1, 1}}),
       -1,
       {0, 0},
       {1, 1}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const int live = live_allocations();
    const auto res = this->test(c.a);
    EXPECT_EQ(res.info, 0);
    EXPECT_EQ(res.flag, c.flag);
    // LAPACK's values, exact up to its own rounding.
    for (auto [got, want] : {std::pair{res.sa, c.sa}, std::pair{res.sd, c.sd}})
      EXPECT_TRUE(std::fabs(got.inf - want.inf) < 1e-6 && std::fabs(got.sup - want.sup) < 1e-6)
          << show(got);
    EXPECT_EQ(live_allocations(), live);
  }
}

// Random matrices: the ranges are LAPACK's extreme singular values of the
// midpoint and radius matrices; a point nonsingular matrix is regular with
// sd = [0, 0]; an interval around a rank-deficient matrix, with radii at
// least twice the distance of its midpoint, is never called regular.
TYPED_TEST(Gesvr, RangesAndVerdictsOnKnownMatrices) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(30); ++k) {
    const int n = g.integer(1, 8), ld = n + g.integer(0, 2);
    SCOPED_TRACE(trial(k, n));
    IMat<I> point(n, n, ld);
    std::vector<T> m(static_cast<std::size_t>(n) * n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double v = i == j ? g.between(1, 2) * n : g.any();
        point(i, j) = pt<I>(v);
        m[i + static_cast<std::size_t>(j) * n] = T(v);
      }
    auto res = this->test(point);
    const auto s = this->singular_values(m, n);
    EXPECT_EQ(res.flag, 1);
    EXPECT_TRUE(identical(res.sa, I{s[n - 1], s[0]})) << show(res.sa);
    EXPECT_TRUE(identical(res.sd, I{0, 0}));

    // Around a matrix whose last row repeats the first: the midpoint is off
    // by at most 2^-8, the radii are at least 2^-7.
    IMat<I> around(n, n);
    std::vector<T> mid(m.size()), rad(m.size());
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double c = i == n - 1 ? double(around(0, j).inf + around(0, j).sup) / 2 : g.any();
        const double shift = g.between(-0x1p-8, 0x1p-8), r = g.between(0x1p-7, 0x1p-5);
        around(i, j) = I{T(c + shift - r), T(c + shift + r)};
        // Bounds, midpoint and radius are exact on this grid.
        mid[i + static_cast<std::size_t>(j) * n] = T(c + shift);
        rad[i + static_cast<std::size_t>(j) * n] = T(r);
      }
    res = this->test(around);
    EXPECT_NE(res.flag, 1) << "contains a singular matrix";
    const auto sm = this->singular_values(mid, n), sr = this->singular_values(rad, n);
    EXPECT_TRUE(identical(res.sa, I{sm[n - 1], sm[0]})) << show(res.sa);
    EXPECT_TRUE(identical(res.sd, I{sr[n - 1], sr[0]})) << show(res.sd);
  }
}

} // namespace
