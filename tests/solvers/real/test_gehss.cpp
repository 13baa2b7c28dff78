// Householder solver, both members: argument checks, quick returns, workspace
// failure at each request, the breakdown with info = 1 (work kept), the
// true transposition, and the enclosures: the single member's
// contains the exact solution (GMP rationals); the double member's back
// substitution reads the transformed right-hand side, so its result contains
// that formula's value, computed here by a triangularisation in 512-bit
// arithmetic, and the exact last component.
#include <gtest/gtest.h>

#include <gmp.h>

#include <string>
#include <type_traits>
#include <vector>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

// The breakdown keeps its workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digehss;
  static constexpr const char *name = "DIGEHSS";
  static constexpr bool reads_transformed_rhs = true;
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigehss;
  static constexpr const char *name = "SIGEHSS";
  static constexpr bool reads_transformed_rhs = false;
};

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

// A 512-bit float, far beyond the widths of the enclosures tested.
class F {
public:
  F() { mpf_init2(v_, 512); }
  explicit F(double d) : F() { mpf_set_d(v_, d); }
  F(const F &o) : F() { mpf_set(v_, o.v_); }
  F &operator=(const F &o) {
    mpf_set(v_, o.v_);
    return *this;
  }
  ~F() { mpf_clear(v_); }
  friend F operator+(const F &a, const F &b) { return op(mpf_add, a, b); }
  friend F operator-(const F &a, const F &b) { return op(mpf_sub, a, b); }
  friend F operator*(const F &a, const F &b) { return op(mpf_mul, a, b); }
  friend F operator/(const F &a, const F &b) { return op(mpf_div, a, b); }
  friend F sqrt(const F &a) {
    F r;
    mpf_sqrt(r.v_, a.v_);
    return r;
  }
  int sign() const { return mpf_sgn(v_); }
  // The value as a sum of doubles peeled off one at a time: exact.
  Q exact() const {
    F rest = *this;
    Q sum(0L);
    for (int k = 0; k < 12 && rest.sign() != 0; ++k) {
      const double d = mpf_get_d(rest.v_);
      sum = sum + Q(d);
      rest = rest - F(d);
    }
    return sum;
  }

private:
  template <class Fn> static F op(Fn f, const F &a, const F &b) {
    F r;
    f(r.v_, a.v_, b.v_);
    return r;
  }
  mpf_t v_;
};

// The double member's result for a point system, in near-exact arithmetic:
// the same reflections (sign from the diagonal entry, zero counted positive),
// then x(i) = (y(i) - sum R(i,j) y(j)) / R(i,i) with y the transformed b.
std::vector<F> transformed_rhs_formula(const std::vector<double> &a, const std::vector<double> &b,
                                       int n) {
  std::vector<F> w(a.size()), y(b.size());
  for (std::size_t k = 0; k < a.size(); ++k)
    w[k] = F(a[k]);
  for (std::size_t k = 0; k < b.size(); ++k)
    y[k] = F(b[k]);
  auto W = [&](int i, int j) -> F & { return w[i + static_cast<std::size_t>(j) * n]; };
  for (int k = 0; k + 1 < n; ++k) {
    F s(0.0);
    for (int i = k; i < n; ++i)
      s = s + W(i, k) * W(i, k);
    std::vector<F> v(n, F(0.0));
    for (int i = k; i < n; ++i)
      v[i] = W(i, k);
    v[k] = W(k, k).sign() >= 0 ? v[k] + sqrt(s) : v[k] - sqrt(s);
    F t(0.0);
    for (int i = k; i < n; ++i)
      t = t + v[i] * v[i];
    const F two(2.0);
    auto apply = [&](auto &&col) {
      F d(0.0);
      for (int i = k; i < n; ++i)
        d = d + v[i] * col(i);
      const F f = two * d / t;
      for (int i = k; i < n; ++i)
        col(i) = col(i) - f * v[i];
    };
    for (int j = k; j < n; ++j)
      apply([&](int i) -> F & { return W(i, j); });
    apply([&](int i) -> F & { return y[i]; });
  }
  std::vector<F> x(n);
  for (int i = n - 1; i >= 0; --i) {
    F acc = y[i];
    for (int j = i + 1; j < n; ++j)
      acc = acc - W(i, j) * y[j];
    x[i] = acc / W(i, i);
  }
  return x;
}

template <class T> class Gehss : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }
  struct Call {
    std::string trans = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(c.trans.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda, b.data(), &c.ldb, &info, 1);
    return info;
  }
  static int solve(const IMat<I> &a, IMat<I> &b, const char *trans = "N") {
    return run({trans, a.rows, b.cols, a.ld, b.ld}, a, b);
  }
  static IMat<I> dominant(Dyadic &g, int n, int ld = 0) {
    IMat<I> a(n, n, ld);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        a(i, j) = pt<I>(i == j ? (g.coin() ? 1 : -1) * g.between(1, 2) : g.any() / (2 * n));
    return a;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gehss, Precisions);

TYPED_TEST(Gehss, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"trans X", [](Call &c) { c.trans = "X"; }, 1},
      {"trans blank", [](Call &c) { c.trans = " "; }, 1},
      {"trans X and n < 0", [](Call &c) { c.trans = "X", c.n = -1; }, 1},
      {"n < 0", [](Call &c) { c.n = -1; }, 2},
      {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 3},
      {"lda < n", [](Call &c) { c.lda = 2; }, 5},
      {"lda and ldb < n", [](Call &c) { c.lda = 2, c.ldb = 2; }, 5},
      {"ldb < n", [](Call &c) { c.ldb = 2; }, 7},
      {"ldb 0 with n 0", [](Call &c) { c.n = 0, c.ldb = 0; }, 7},
  };
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), 0);
  }
}

TYPED_TEST(Gehss, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 2}, std::pair{3, 0}}) {
    reset_doubles();
    const IMat<I> a = filled(3, 3, I{1, 2});
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run({"T", n, nrhs, 3, 3}, a, b), 0);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(b, before));
  }
}

// Five requests (W, H and three vectors); a failure at the k-th keeps the
// k-1 before it.
TYPED_TEST(Gehss, AllocationFailureAtEachRequest) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(3, 3, I{0, 0});
  for (int i = 0; i < 3; ++i)
    a(i, i) = pt<I>(2);
  for (int k = 1; k <= 5; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->solve(a, b), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> b = filled(3, 2, I{5, 6});
  EXPECT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(allocation_count(), 5);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
}

TYPED_TEST(Gehss, OrderOneDividesWithoutReflection) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = filled(1, 1, I{2, 4});
  IMat<I> b(1, 2);
  b(0, 0) = pt<I>(1), b(0, 1) = I{-2, 4};
  ASSERT_EQ(this->solve(a, b), 0);
  EXPECT_EQ(b(0, 0).inf, T(0.25));
  EXPECT_EQ(b(0, 0).sup, T(0.5));
  EXPECT_EQ(b(0, 1).inf, T(-1));
  EXPECT_EQ(b(0, 1).sup, T(2));
}

// The remaining part of a column has a sum of squares containing zero: no
// reflection. The return leaves B as the earlier reflections made it and
// keeps the five work arrays.
TYPED_TEST(Gehss, VanishingColumnStopsWithInfo1) {
  using I = typename TestFixture::I;
  struct Case {
    const char *what;
    IMat<I> a;
    bool first_row_negated; // by the reflection made before the breakdown
  };
  IMat<I> zero_first = filled(3, 3, pt<I>(1));
  for (int i = 0; i < 3; ++i)
    zero_first(i, 0) = pt<I>(0);
  IMat<I> straddling = filled(3, 3, I{0, 0});
  straddling(0, 0) = I{-1, 1}, straddling(1, 1) = straddling(2, 2) = pt<I>(1);
  // Column 2 below the diagonal vanishes after the first reflection, which
  // is diag(-1, 1, 1) and has already acted on B.
  IMat<I> second = filled(3, 3, I{0, 0});
  second(0, 0) = pt<I>(2), second(0, 1) = pt<I>(1), second(2, 2) = pt<I>(1);
  const Case cases[] = {{"zero column", zero_first, false},
                        {"sum of squares [0, 1]", straddling, false},
                        {"second column", second, true}};
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const int live = live_allocations();
    IMat<I> b = filled(3, 2, I{5, 6});
    IMat<I> want = b;
    if (c.first_row_negated) want(0, 0) = want(0, 1) = I{-6, -5};
    EXPECT_EQ(this->solve(c.a, b), 1);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_TRUE(same_bits(b, want));
    EXPECT_EQ(live_allocations() - live, 5);
  }
  // The last column is never tested: a zero there is divided by.
  IMat<I> last = filled(2, 2, I{0, 0});
  last(0, 0) = pt<I>(1);
  IMat<I> b = filled(2, 1, pt<I>(1));
  EXPECT_EQ(this->solve(last, b), 0);
}

// A = [1 1; 0 2], b = (3, 4): the reflection is diag(-1, 1), exact, so
// R = [-1 -1; 0 2] and y = (-3, 4). The single member substitutes x(2) = 2
// and finds x(1) = 1; the double member uses y(2) = 4 and finds -1.
TYPED_TEST(Gehss, MembersDifferInTheBackSubstitution) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> a(2, 2);
  a(0, 0) = pt<I>(1), a(0, 1) = pt<I>(1), a(1, 0) = pt<I>(0), a(1, 1) = pt<I>(2);
  IMat<I> b(2, 1);
  b(0, 0) = pt<I>(3), b(1, 0) = pt<I>(4);
  ASSERT_EQ(this->solve(a, b), 0);
  const T x1 = Api<T>::reads_transformed_rhs ? T(-1) : T(1);
  EXPECT_EQ(b(0, 0).inf, x1);
  EXPECT_EQ(b(0, 0).sup, x1);
  EXPECT_EQ(b(1, 0).inf, T(2));
  EXPECT_EQ(b(1, 0).sup, T(2));
}

// Well-conditioned point systems up to order 10.
TYPED_TEST(Gehss, PointSystemsEncloseTheExpectedValues) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int trial = 0; trial < scaled(20); ++trial) {
    const int n = g.integer(1, 10), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    const IMat<I> a = this->dominant(g, n, ld);
    IMat<I> b(n, nrhs, ld);
    for (auto &e : b.v)
      e = pt<I>(g.any());
    const auto x = ruf_test::solve(exact_point(a), exact_point(b));
    ASSERT_TRUE(x.has_value());
    IMat<I> got = b;
    ASSERT_EQ(this->solve(a, got), 0);
    for (int c = 0; c < nrhs; ++c) {
      std::vector<double> ad(static_cast<std::size_t>(n) * n), bd(n);
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i)
          ad[i + static_cast<std::size_t>(j) * n] = a(i, j).inf;
      for (int i = 0; i < n; ++i)
        bd[i] = b(i, c).inf;
      const auto formula = transformed_rhs_formula(ad, bd, n);
      for (int i = 0; i < n; ++i) {
        const Q want = Api<T>::reads_transformed_rhs ? formula[i].exact() : (*x)(i, c);
        EXPECT_TRUE(contains(got(i, c), want))
            << "x(" << i << "," << c << ") = " << want.approx() << " not in " << show(got(i, c));
        if (i == n - 1) EXPECT_TRUE(contains(got(i, c), (*x)(i, c))) << "last component";
        const double narrow = std::is_same_v<T, float> ? 1e-2 : 1e-10;
        EXPECT_LT(got(i, c).sup - got(i, c).inf, narrow);
      }
    }
  }
}

// "T" and "C" solve with the true transpose: the same bits as "N" on the
// transposed matrix.
TYPED_TEST(Gehss, TransposedRequestSwapsTheEntries) {
  using I = typename TestFixture::I;
  using T = TypeParam;
  Dyadic g(test_seed() + 1);
  const int n = 6;
  IMat<I> a = this->dominant(g, n);
  for (auto &e : a.v)
    e = I{e.inf, T(e.inf + g.between(0, 0x1p-12))};
  IMat<I> at(n, n);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      at(i, j) = a(j, i);
  IMat<I> b0(n, 2);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.25);
  IMat<I> want = b0;
  ASSERT_EQ(this->solve(at, want, "N"), 0);
  for (const char *t : {"T", "t", "C", "c"}) {
    IMat<I> got = b0;
    ASSERT_EQ(this->solve(a, got, t), 0);
    EXPECT_TRUE(same_bits(want, got)) << t;
  }
  IMat<I> upper = b0, lower = b0;
  ASSERT_EQ(this->solve(a, upper, "N"), 0);
  ASSERT_EQ(this->solve(a, lower, "n"), 0);
  EXPECT_TRUE(same_bits(upper, lower));
  EXPECT_FALSE(same_bits(upper, want)) << "A is not symmetric";
}

} // namespace
