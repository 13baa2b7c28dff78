// Householder solver, both members: the solver frame, the breakdown with
// info = 1, the true transposition, and the enclosures: of the exact solution
// (single), of the value of the transformed right-hand side formula (double).
#include <string>
#include <type_traits>
#include <vector>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

// The double member's result for column c of a point system, in near-exact
// arithmetic (512-bit floats, far beyond the widths of the enclosures
// tested): the same reflections (sign from the diagonal entry, zero counted
// positive), then x(i) = (y(i) - sum R(i,j) y(j)) / R(i,i) with y the
// transformed b.
template <class I>
std::vector<Q> transformed_rhs_formula(const IMat<I> &a, const IMat<I> &b, int c) {
  using F = mpf_class;
  mpf_set_default_prec(512);
  const int n = a.rows;
  std::vector<F> w(static_cast<std::size_t>(n) * n), y(n);
  auto W = [&](int i, int j) -> F & { return w[i + static_cast<std::size_t>(j) * n]; };
  for (int i = 0; i < n; ++i) {
    y[i] = double(b(i, c).inf);
    for (int j = 0; j < n; ++j)
      W(i, j) = double(a(i, j).inf);
  }
  for (int k = 0; k + 1 < n; ++k) {
    F s = 0, t = 0;
    for (int i = k; i < n; ++i)
      s += W(i, k) * W(i, k);
    std::vector<F> v(n);
    for (int i = k; i < n; ++i)
      v[i] = W(i, k);
    const F root = sqrt(s);
    v[k] += sgn(W(k, k)) >= 0 ? root : F(-root);
    for (int i = k; i < n; ++i)
      t += v[i] * v[i];
    auto apply = [&](auto &&col) {
      F d = 0;
      for (int i = k; i < n; ++i)
        d += v[i] * col(i);
      const F f = 2 * d / t;
      for (int i = k; i < n; ++i)
        col(i) -= f * v[i];
    };
    for (int j = k; j < n; ++j)
      apply([&](int i) -> F & { return W(i, j); });
    apply([&](int i) -> F & { return y[i]; });
  }
  std::vector<Q> x(n);
  for (int i = n - 1; i >= 0; --i) {
    F acc = y[i];
    for (int j = i + 1; j < n; ++j)
      acc -= W(i, j) * y[j];
    const F xi = acc / W(i, i);
    mpq_set_f(x[i].get_mpq_t(), xi.get_mpf_t()); // exact
  }
  return x;
}

template <class T> class Gehss : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  static constexpr bool reads_transformed_rhs = std::is_same_v<T, double>;
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(digehss, sigehss)(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb,
                              &info, 1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld}, a, b);
  }
  static Outcome probe(const Call &c, const IMat<I> &a) {
    return on_copies([&](IMat<I> &b) { return run(c, a, b); }, filled(3, 2, I{5, 6}));
  }
};
TYPED_TEST_SUITE(Gehss, Precisions);

TYPED_TEST(Gehss, ArgumentErrorsAndEmptyProblems) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGEHSS"),
                             {
                                 {"trans X", [](Call &c) { c.trans = "X"; }, 1},
                                 {"trans blank", [](Call &c) { c.trans = " "; }, 1},
                                 {"trans X and n < 0", [](Call &c) { c.trans = "X", c.n = -1; }, 1},
                                 {"n < 0", [](Call &c) { c.n = -1; }, 2},
                                 {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 3},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 5},
                                 {"lda and ldb < n", [](Call &c) { c.lda = 2, c.ldb = 2; }, 5},
                                 {"ldb < n", [](Call &c) { c.ldb = 2; }, 7},
                                 {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 7},
                                 {"n 0", [](Call &c) { c.trans = "T", c.n = 0; }, 0},
                                 {"nrhs 0", [](Call &c) { c.trans = "T", c.nrhs = 0; }, 0},
                             },
                             [](const Call &c) {
                               return TestFixture::probe(c, filled(3, 3, I{1, 2}));
                             });
}

// Five requests: W, H and three vectors.
TYPED_TEST(Gehss, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGEHSS"), 5, [] {
    return TestFixture::probe({}, diagonal<I>({2, 2, 2}));
  });
}

TYPED_TEST(Gehss, OrderOneDividesWithoutReflection) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> b = rows<I>(1, {pt<I>(1), I{-2, 4}});
  ASSERT_EQ(this->solve(filled(1, 1, I{2, 4}), b), 0);
  EXPECT_TRUE(same(b(0, 0), T(0.25), T(0.5)));
  EXPECT_TRUE(same(b(0, 1), T(-1), T(2)));
}

// The remaining part of a column has a sum of squares containing zero: no
// reflection. The return leaves B as the earlier reflections made it and
// keeps the five work arrays.
TYPED_TEST(Gehss, VanishingColumnStopsWithInfo1) {
  using I = typename TestFixture::I;
  const I o = pt<I>(0), l = pt<I>(1);
  const struct {
    const char *what;
    IMat<I> a;
    bool first_row_negated; // by the reflection made before the breakdown
  } cases[] = {
      {"zero column", rows<I>(3, {o, l, l, o, l, l, o, l, l}), false},
      {"sum of squares [0, 1]", rows<I>(3, {I{-1, 1}, o, o, o, l, o, o, o, l}), false},
      // Column 2 below the diagonal vanishes after the first reflection,
      // which is diag(-1, 1, 1) and has already acted on B.
      {"second column", rows<I>(3, {pt<I>(2), l, o, o, o, o, o, o, l}), true},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const int live = live_allocations();
    IMat<I> b = filled(3, 2, I{5, 6}), want = b;
    if (c.first_row_negated) want(0, 0) = want(0, 1) = I{-6, -5};
    EXPECT_EQ(this->solve(c.a, b), 1);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_TRUE(same_bits(b, want));
    EXPECT_EQ(live_allocations() - live, 5);
  }
  // The last column is never tested: a zero there is divided by.
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->solve(diagonal<I>({1, 0}), b), 0);
}

// A = [1 1; 0 2], b = (3, 4): the reflection is diag(-1, 1), exact, so
// R = [-1 -1; 0 2] and y = (-3, 4). The single member substitutes x(2) = 2
// and finds x(1) = 1; the double member uses y(2) = 4 and finds -1.
TYPED_TEST(Gehss, MembersDifferInTheBackSubstitution) {
  using I = typename TestFixture::I;
  IMat<I> b = rows<I>(2, {pt<I>(3), pt<I>(4)});
  ASSERT_EQ(this->solve(rows<I>(2, {pt<I>(1), pt<I>(1), pt<I>(0), pt<I>(2)}), b), 0);
  const double x1 = TestFixture::reads_transformed_rhs ? -1 : 1;
  EXPECT_TRUE(same(b(0, 0), x1, x1));
  EXPECT_TRUE(same(b(1, 0), 2, 2));
}

// Well-conditioned point systems up to order 10.
TYPED_TEST(Gehss, PointSystemsEncloseTheExpectedValues) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int k = 0; k < scaled(20); ++k) {
    const int n = g.integer(1, 10), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(trial(k, n));
    const IMat<I> a = dominant<I>(g, n, 2 * n, ld), b = points<I>(g, n, nrhs, ld);
    const auto x = solution_target(exact(a), exact(b));
    ASSERT_TRUE(x.has_value());
    IMat<I> got = b;
    ASSERT_EQ(this->solve(a, got), 0);
    for (int c = 0; c < nrhs; ++c) {
      const auto formula = transformed_rhs_formula(a, b, c);
      for (int i = 0; i < n; ++i) {
        const Q want = TestFixture::reads_transformed_rhs ? formula[i] : x->lo(i, c);
        EXPECT_TRUE(contains(got(i, c), want))
            << "x(" << i << "," << c << ") = " << want.get_d() << " not in " << show(got(i, c));
        if (i == n - 1) EXPECT_TRUE(contains(got(i, c), x->lo(i, c))) << "last component";
        const double narrow = std::is_same_v<T, float> ? 1e-2 : 1e-10;
        EXPECT_LT(got(i, c).sup - got(i, c).inf, narrow);
      }
    }
  }
}

// "T" and "C" solve with the true transpose: the same bits as "N" on the
// transposed matrix. Every letter is read in both cases.
TYPED_TEST(Gehss, TransposedRequestSwapsTheEntries) {
  using I = typename TestFixture::I;
  using T = TypeParam;
  Dyadic g(test_seed() + 1);
  const int n = 6;
  IMat<I> a = dominant<I>(g, n, 2 * n);
  for (auto &e : a.v)
    e = I{e.inf, T(e.inf + g.between(0, 0x1p-12))};
  const IMat<I> at = generated<I>(n, n, [&](int i, int j) { return a(j, i); });
  const IMat<I> b0 = intervals<I>(g, n, 2, 0.25);
  IMat<I> want = b0, plain = b0;
  ASSERT_EQ(this->solve(at, want, "N"), 0);
  ASSERT_EQ(this->solve(a, plain, "N"), 0);
  EXPECT_FALSE(same_bits(plain, want)) << "A is not symmetric";
  for (const char *t : {"T", "t", "C", "c", "n"}) {
    IMat<I> got = b0;
    ASSERT_EQ(this->solve(a, got, t), 0);
    EXPECT_TRUE(same_bits(t[0] == 'n' ? plain : want, got)) << t;
  }
}

} // namespace
