// Midpoint-inverse preconditioning, both members: argument checks, quick
// returns, workspace failure at every allocation, the factorisation's pivot
// index returned as info, a failed inversion, and R·A and R·B enclosing the
// exact products (GMP rationals) with R recomputed by the system LAPACK.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

namespace {
int g_lwork = 0;
int g_getri_status = 0; // nonzero: the inversion reports this status
} // namespace

// Some returns keep their workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

// The inversions pass through, recording the work length they were given,
// and report a failure when told to.
#define RUF_GETRI_DOUBLE(name, T)                                                                  \
  extern "C" void name(const int *n, T *a, const int *lda, const int *ipiv, T *work,               \
                       const int *lwork, int *info) {                                              \
    using Fn = void (*)(const int *, T *, const int *, const int *, T *, const int *, int *);      \
    static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, #name));                          \
    g_lwork = *lwork;                                                                              \
    real(n, a, lda, ipiv, work, lwork, info);                                                      \
    if (g_getri_status != 0) *info = g_getri_status;                                               \
  }
RUF_GETRI_DOUBLE(dgetri_, double)
RUF_GETRI_DOUBLE(sgetri_, float)

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digemip;
  static constexpr auto mid = ruf_interval_d_mid;
  static constexpr auto getri = dgetri_;
  static constexpr const char *name = "DIGEMIP";
  static constexpr const char *getrf = "dgetrf_";
  // Before a zero pivot is met: the double member has its work vector too.
  static constexpr int arrays_at_factoring = 5;
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigemip;
  static constexpr auto mid = ruf_interval_s_mid;
  static constexpr auto getri = sgetri_;
  static constexpr const char *name = "SIGEMIP";
  static constexpr const char *getrf = "sgetrf_";
  static constexpr int arrays_at_factoring = 4;
};
constexpr int kArrays = 5; // mid(A), R·A, R·B, then the work vector and the pivots

template <class T> class Gemip : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override {
    reset_doubles();
    g_getri_status = 0;
  }
  void TearDown() override { g_getri_status = 0; }
  struct Call {
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(&c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info);
    return info;
  }
  static int precondition(IMat<I> &a, IMat<I> &b) {
    return run({a.rows, b.cols, a.ld, b.ld}, a, b);
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gemip, Precisions);

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

template <class I> IMat<I> diagonal(std::vector<double> d) {
  const int n = static_cast<int>(d.size());
  IMat<I> a = filled(n, n, pt<I>(0));
  for (int i = 0; i < n; ++i)
    a(i, i) = pt<I>(d[i]);
  return a;
}

TYPED_TEST(Gemip, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
      {"n < 0", [](Call &c) { c.n = -1; }, 1},
      {"n < 0 and nrhs < 0", [](Call &c) { c.n = -1, c.nrhs = -1; }, 1},
      {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 2},
      {"lda < n", [](Call &c) { c.lda = 2; }, 4},
      {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 4},
      {"ldb < n", [](Call &c) { c.ldb = 2; }, 6},
      {"ldb < n with nrhs 0", [](Call &c) { c.nrhs = 0, c.ldb = 2; }, 6},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> a = diagonal<I>({2, 2, 2}), b = filled(3, 2, I{5, 6});
    const IMat<I> a0 = a, b0 = b;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(a, a0) && same_bits(b, b0));
    EXPECT_EQ(allocation_count(), 0);
  }
}

TYPED_TEST(Gemip, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 2}, std::pair{3, 0}}) {
    reset_doubles();
    IMat<I> a = diagonal<I>({2, 2, 2}), b = filled(3, 2, I{5, 6});
    const IMat<I> a0 = a, b0 = b;
    EXPECT_EQ(this->run({n, nrhs, 3, 3}, a, b), 0);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(a, a0) && same_bits(b, b0));
  }
}

TYPED_TEST(Gemip, AllocationFailureAtEveryAllocation) {
  using I = typename TestFixture::I;
  for (int k = 1; k <= kArrays; ++k) {
    SCOPED_TRACE(testing::Message() << "allocation " << k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> a = diagonal<I>({2, 4, 8}), b = filled(3, 2, I{5, 6});
    const IMat<I> a0 = a, b0 = b;
    EXPECT_EQ(this->precondition(a, b), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::name, 1000));
    EXPECT_TRUE(same_bits(a, a0) && same_bits(b, b0));
    EXPECT_EQ(live_allocations() - live, k - 1) << "nothing is released";
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> a = diagonal<I>({2, 4, 8}), b = filled(3, 2, I{5, 6});
  EXPECT_EQ(this->precondition(a, b), 0);
  EXPECT_EQ(allocation_count(), kArrays);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
  EXPECT_EQ(g_lwork, 64 * 3) << "getri's work length";
}

// An exactly zero pivot in the factorisation of mid(A): info is its index,
// A and B are untouched and everything allocated stays allocated. The double
// member has obtained its work vector by then, the single member has not.
TYPED_TEST(Gemip, SingularMidpointReturnsThePivotIndex) {
  using I = typename TestFixture::I;
  IMat<I> twice(2, 2); // midpoints [[1, 2], [2, 4]]
  twice(0, 0) = pt<I>(1), twice(0, 1) = pt<I>(2), twice(1, 0) = I{1, 3}, twice(1, 1) = I{3, 5};
  const struct {
    const char *what;
    IMat<I> a;
    int info;
  } cases[] = {
      {"zero matrix", filled(3, 3, pt<I>(0)), 1},
      {"third pivot", diagonal<I>({1, 2, 0, 4}), 3},
      {"dependent rows of the midpoints", twice, 2},
      {"dependent columns", filled(3, 3, I{-1, 3}), 2},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    const int live = live_allocations();
    IMat<I> a = k.a, b = filled(k.a.rows, 2, I{1, 2});
    const IMat<I> a0 = a, b0 = b;
    EXPECT_EQ(this->precondition(a, b), k.info);
    EXPECT_TRUE(same_bits(a, a0) && same_bits(b, b0));
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), Api<TypeParam>::arrays_at_factoring);
    EXPECT_EQ(live_allocations() - live, Api<TypeParam>::arrays_at_factoring);
  }
}

// getri reports a failure: info = 1 with A and B untouched. Its work vector
// and the pivots are released first; the three other arrays are kept.
TYPED_TEST(Gemip, FailedInversionGivesInfo1) {
  using I = typename TestFixture::I;
  for (int status : {1, 3, -2}) {
    reset_doubles();
    g_getri_status = status;
    const int live = live_allocations();
    IMat<I> a = diagonal<I>({2, 4, 8}), b = filled(3, 2, I{5, 6});
    const IMat<I> a0 = a, b0 = b;
    EXPECT_EQ(this->precondition(a, b), 1) << status;
    EXPECT_TRUE(same_bits(a, a0) && same_bits(b, b0));
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(live_allocations() - live, 3);
  }
}

TYPED_TEST(Gemip, IdentityAndTwiceTheIdentity) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 21);
  IMat<I> b(4, 3);
  for (auto &e : b.v)
    e = anywhere<I>(g, 0.5);
  IMat<I> a = diagonal<I>({1, 1, 1, 1}), x = b;
  ASSERT_EQ(this->precondition(a, x), 0);
  EXPECT_TRUE(same_bits(a, diagonal<I>({1, 1, 1, 1})));
  EXPECT_TRUE(same_bits(x, b));

  a = diagonal<I>({2, 2, 2, 2}), x = b;
  ASSERT_EQ(this->precondition(a, x), 0);
  for (int j = 0; j < 4; ++j)
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(a(i, j).inf, i == j ? 1 : 0);
      EXPECT_EQ(a(i, j).sup, i == j ? 1 : 0);
    }
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(x(i, j).inf, b(i, j).inf / 2) << "halved exactly";
      EXPECT_EQ(x(i, j).sup, b(i, j).sup / 2);
    }
}

// R is recomputed here from the library's midpoints with the system LAPACK
// (the same routines on the same data give the same R). Every entry of the
// results must contain the exact range of sum_k R(i,k)·X(k,j) over the
// intervals X(k,j), and exceed it by no more than the rounding of n terms.
TYPED_TEST(Gemip, ProductsEncloseTheExactProductsWithR) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  using Getrf = void (*)(const int *, const int *, T *, const int *, int *, int *);
  const auto getrf = reinterpret_cast<Getrf>(dlsym(RTLD_DEFAULT, Api<T>::getrf));
  ASSERT_NE(getrf, nullptr);
  const double unit = std::numeric_limits<T>::epsilon();
  Dyadic g(test_seed() + 22);
  for (int trial = 0; trial < scaled(16); ++trial) {
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    IMat<I> a(n, n, n + g.integer(0, 2)), b(n, nrhs, n + g.integer(0, 2));
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        a(i, j) = i == j ? away_from_zero<I>(g, 1, 2, 0.125) : anywhere<I>(g, 0.125);
    for (auto &e : b.v)
      e = anywhere<I>(g, 0.5);

    std::vector<T> r(static_cast<std::size_t>(n) * n), work(64 * n);
    std::vector<int> pivots(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        r[i + j * n] = Api<T>::mid(&a(i, j));
    int status = 0;
    const int lwork = 64 * n;
    getrf(&n, &n, r.data(), &n, pivots.data(), &status);
    ASSERT_EQ(status, 0);
    Api<T>::getri(&n, r.data(), &n, pivots.data(), work.data(), &lwork, &status);
    ASSERT_EQ(status, 0);

    const IMat<I> a0 = a, b0 = b;
    ASSERT_EQ(this->precondition(a, b), 0);
    EXPECT_EQ(g_lwork, 64 * n);
    auto check = [&](const IMat<I> &x0, const IMat<I> &got, const char *what) {
      for (int j = 0; j < x0.cols; ++j)
        for (int i = 0; i < n; ++i) {
          Q lo(0L), hi(0L);
          double scale = 0;
          for (int k = 0; k < n; ++k) {
            const Q rk(static_cast<double>(r[i + k * n]));
            const Q p = rk * Q(static_cast<double>(x0(k, j).inf)),
                    q = rk * Q(static_cast<double>(x0(k, j).sup));
            lo = lo + (p < q ? p : q);
            hi = hi + (p < q ? q : p);
            scale += std::fabs(r[i + k * n]) *
                     std::max(std::fabs(double(x0(k, j).inf)), std::fabs(double(x0(k, j).sup)));
          }
          ASSERT_TRUE(contains(got(i, j), lo, hi))
              << what << "(" << i << "," << j << "): [" << lo.approx() << ", " << hi.approx()
              << "] not in " << show(got(i, j));
          const double slack = 2 * n * unit * scale + std::numeric_limits<T>::denorm_min();
          EXPECT_LE(lo.approx() - got(i, j).inf, slack) << what << " lower bound too wide";
          EXPECT_LE(got(i, j).sup - hi.approx(), slack) << what << " upper bound too wide";
        }
    };
    check(a0, a, "R·A");
    check(b0, b, "R·B");
  }
}

} // namespace
