// H-matrix solver, both members: the solver frame, the method failures, the
// rounding direction each return path leaves, trans and ldb without effect,
// and enclosures of exact solutions and solution-set hulls.
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <string>
#include <type_traits>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

// The rounding field of MXCSR, read directly.
enum Field : std::uint32_t { nearest = 0x0000, down = 0x2000, up = 0x4000, toward_zero = 0x6000 };
std::uint32_t rounding_field() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v & 0x6000u;
}

template <class T> class Gehbs : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  struct Call {
    std::string trans = "N";
    int n = 3, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(digehbs, sigehbs)(c.trans.c_str(), &c.n, a.v.data(), &c.lda, b.data(), &c.ldb, &info,
                              1);
    return info;
  }
  // Solves, then puts the rounding back to nearest for the test's own work.
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    const int info = run({trans, a.rows, a.ld, b.ld}, a, b);
    std::fesetround(FE_TONEAREST);
    return info;
  }
  static Outcome probe(const Call &c, const IMat<I> &a) {
    const Outcome o = on_copies([&](IMat<I> &b) { return run(c, a, b); }, filled(3, 1, I{5, 6}));
    std::fesetround(FE_TONEAREST);
    return o;
  }
  // Strictly diagonally dominant by rows, then columns scaled by powers of
  // two: an H-matrix that need not be dominant itself.
  static IMat<I> h_matrix(Dyadic &g, int n, double width) {
    double scale = 1;
    return generated<I>(n, n, [&](int i, int j) {
      if (i == 0) scale = std::ldexp(1.0, g.integer(-3, 3));
      const I e =
          i == j ? away_from_zero<I>(g, 1, 2, width) : away_from_zero<I>(g, 0, 0.9 / n, width / n);
      return I{T(e.inf * scale), T(e.sup * scale)};
    });
  }
};
TYPED_TEST_SUITE(Gehbs, Precisions);

TYPED_TEST(Gehbs, ArgumentErrors) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGEHBS"),
                             {
                                 {"trans X", [](Call &c) { c.trans = "X"; }, 1},
                                 {"trans L", [](Call &c) { c.trans = "L"; }, 1},
                                 {"trans X and n < 0", [](Call &c) { c.trans = "X", c.n = -1; }, 1},
                                 {"n < 0", [](Call &c) { c.n = -1; }, 2},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 4},
                                 {"lda and ldb < n", [](Call &c) { c.lda = 2, c.ldb = 2; }, 4},
                                 {"ldb < n", [](Call &c) { c.ldb = 2; }, 6},
                                 {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 6},
                             },
                             [](const Call &c) {
                               return TestFixture::probe(c, filled(3, 3, I{1, 2}));
                             });
}

// Every return path, entered in the caller's mode toward zero: the early ones
// leave it alone, the failed positivity test leaves rounding downward, the
// normal return leaves the default, round to nearest. The method failures
// (info 1: the LU of <A> fails; info 2: <A> regular but not shown to be an
// M-matrix) leave b unchanged, report nothing and keep all ten work arrays.
TYPED_TEST(Gehbs, EveryReturnPath) {
  using I = typename TestFixture::I;
  const IMat<I> good = diagonal<I>({4, 4}, pt<I>(1));
  const IMat<I> not_h = diagonal<I>({1, 1}, pt<I>(2)); // <A> = [1 -2; -2 1], regular
  const struct {
    const char *what;
    IMat<I> a;
    int n, lda, fail_at, info;
    std::uint32_t field;
    int kept;
  } cases[] = {
      {"argument error", good, 2, 1, 0, -4, toward_zero, 0},
      {"empty", good, 0, 1, 0, 0, toward_zero, 0},
      {"no workspace", good, 2, 2, 10, 1000, toward_zero, 9},
      {"mignitude 0 at order 1", filled(1, 1, I{-1, 1}), 1, 1, 0, 1, toward_zero, 10},
      {"singular <A>", filled(2, 2, pt<I>(1)), 2, 2, 0, 1, toward_zero, 10},
      {"diagonal containing 0", rows<I>(2, {pt<I>(3), I{0, 0}, I{0, 0}, I{-1, 2}}), 2, 2, 0, 1,
       toward_zero, 10},
      {"not an H-matrix", not_h, 2, 2, 0, 2, down, 10},
      {"solved", good, 2, 2, 0, 0, nearest, 0},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(c.fail_at);
    IMat<I> b = filled(c.a.rows, 1, I{5, 6});
    const IMat<I> before = b;
    ASSERT_EQ(std::fesetround(FE_TOWARDZERO), 0);
    const int info = this->run({c.n == 0 ? "T" : "N", c.n, c.lda, c.a.rows}, c.a, b);
    const std::uint32_t field = rounding_field();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(info, c.info);
    EXPECT_EQ(field, c.field);
    EXPECT_EQ(xerbla_calls().size(), c.info < 0 || c.info == 1000 ? 1u : 0u);
    EXPECT_EQ(same_bits(b, before), c.info != 0 || c.n == 0);
    EXPECT_EQ(live_allocations() - live, c.kept);
    if (c.n == 0) EXPECT_EQ(allocation_count(), 0);
  }
}

// Ten requests: the interval copy, <A>, its inverse, the pivots, the LAPACK
// work vector, z, y, d, w and E.
TYPED_TEST(Gehbs, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGEHBS"), 10, [] {
    return TestFixture::probe({}, diagonal<I>({2, 2, 2}));
  });
}

// H-matrix systems: points up to order 20 against the exact solution (and
// finite), intervals up to order 4 against the exact hull of the solution set.
TYPED_TEST(Gehbs, EnclosesTheExactSolutionOrSolutionSetHull) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(70); ++k) {
    const bool point = k % 2 == 0;
    const int n = g.integer(1, point ? 20 : 4);
    SCOPED_TRACE(trial(k, n) + (point ? " point" : " interval"));
    const IMat<I> a = this->h_matrix(g, n, point ? 0 : 0.25);
    IMat<I> b = point ? points<I>(g, n, 1) : intervals<I>(g, n, 1, 0.5);
    const auto target = solution_target(exact(a), exact(b));
    ASSERT_TRUE(target.has_value());
    ASSERT_EQ(this->solve(a, b), 0);
    ASSERT_TRUE(encloses(b, *target));
    for (int i = 0; i < n; ++i)
      EXPECT_TRUE(std::isfinite(b(i, 0).inf) && std::isfinite(b(i, 0).sup));
  }
}

// A thin diagonal matrix gives b(i) / A(i,i), widened only by the rounding
// errors of the inverse bound.
TYPED_TEST(Gehbs, ThinDiagonalGivesTheQuotients) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = diagonal<I>({3, -5, 0.75});
  const IMat<I> b0 = rows<I>(3, {pt<I>(1), I{2, 4}, pt<I>(-3)});
  IMat<I> b = b0;
  ASSERT_EQ(this->solve(a, b), 0);
  const double rel = std::is_same_v<T, float> ? 0x1p-16 : 0x1p-44;
  for (int i = 0; i < 3; ++i) {
    const Q lo = Q(double(b0(i, 0).inf)) / Q(double(a(i, i).inf)),
            hi = Q(double(b0(i, 0).sup)) / Q(double(a(i, i).inf));
    EXPECT_TRUE(contains(b(i, 0), lo, hi)) << i << ": " << show(b(i, 0));
    const double w = std::fabs(lo.get_d() - hi.get_d());
    EXPECT_LE(double(b(i, 0).sup) - double(b(i, 0).inf), w + rel * std::fabs(hi.get_d())) << i;
  }
}

// trans is checked, and a transposed copy is made, but the result is that of
// "N" whatever the letter; b is read as one contiguous vector whatever ldb.
TYPED_TEST(Gehbs, TransAndLdbDoNotChangeTheResult) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 2);
  const int n = 5;
  const IMat<I> a = this->h_matrix(g, n, 0.125);
  const IMat<I> b0 = intervals<I>(g, n, 1, 0.25);
  IMat<I> want = b0;
  ASSERT_EQ(this->solve(a, want, "N"), 0);
  for (const char *t : {"n", "T", "t", "C", "c"}) {
    IMat<I> got = b0;
    ASSERT_EQ(this->solve(a, got, t), 0);
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
  IMat<I> wide = generated<I>(n + 3, 1, [&](int i, int) { return i < n ? b0(i, 0) : I{7, 8}; });
  ASSERT_EQ(this->run({"N", n, n, n + 3}, a, wide), 0);
  std::fesetround(FE_TONEAREST);
  EXPECT_TRUE(same_bits(generated<I>(n, 1, [&](int i, int) { return wide(i, 0); }), want));
  EXPECT_TRUE(same(wide(n, 0), 7, 8));
}

} // namespace
