// Singular-value regularity test, both members: argument checks, quick
// return, workspace failure at each of the five requests, the outputs left by
// a failing decomposition (the system LAPACK's routine is interposed here so
// that either call can be told to fail), the ranges against the system
// LAPACK, the documented small examples with the strict comparisons, and
// verdicts on matrices known to be regular or to contain a singular matrix.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <algorithm>
#include <cstddef>
#include <vector>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

// The failing decompositions keep their workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

namespace {
int g_svd_calls = 0;   // since the last reset
int g_svd_fail_at = 0; // this call reports g_svd_info instead of running
int g_svd_info = 0;
} // namespace

#define RUF_TEST_GESVD(name, T)                                                                    \
  extern "C" void name(const char *ju, const char *jv, const int *m, const int *n, T *a,           \
                       const int *lda, T *s, T *u, const int *ldu, T *vt, const int *ldvt,         \
                       T *work, const int *lwork, int *info, std::size_t lu, std::size_t lv) {     \
    if (++g_svd_calls == g_svd_fail_at) {                                                          \
      *info = g_svd_info;                                                                          \
      return;                                                                                      \
    }                                                                                              \
    using Fn = decltype(&name);                                                                    \
    static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, #name));                          \
    real(ju, jv, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, info, lu, lv);                    \
  }
RUF_TEST_GESVD(dgesvd_, double)
RUF_TEST_GESVD(sgesvd_, float)
#undef RUF_TEST_GESVD

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digesvr;
  static constexpr auto gesvd = dgesvd_;
  static constexpr const char *name = "DIGESVR";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigesvr;
  static constexpr auto gesvd = sgesvd_;
  static constexpr const char *name = "SIGESVR";
};

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

constexpr int kUnset = 77;

template <class T> class Gesvr : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override {
    reset_doubles();
    g_svd_calls = g_svd_fail_at = g_svd_info = 0;
  }
  struct Result {
    int info = kUnset, flag = kUnset;
    I sa{T(-9), T(-9)}, sd{T(-9), T(-9)};
  };
  static Result run(int n, const IMat<I> &a, int lda) {
    Result res;
    Api<T>::fn(&n, a.v.data(), &lda, &res.sa, &res.sd, &res.flag, &res.info);
    return res;
  }
  static Result test(const IMat<I> &a) { return run(a.rows, a, a.ld); }
  // Singular values of a point matrix by the system LAPACK, descending.
  static std::vector<T> singular_values(std::vector<T> m, int n) {
    std::vector<T> s(n), work(static_cast<std::size_t>(64) * n);
    const int lwork = 64 * n, one = 1;
    int info = 0;
    T unused[1];
    g_svd_fail_at = -1;
    Api<T>::gesvd("N", "N", &n, &n, m.data(), &n, s.data(), unused, &one, unused, &one, work.data(),
                  &lwork, &info, 1, 1);
    EXPECT_EQ(info, 0);
    return s;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gesvr, Precisions);

template <class I> bool same(const I &x, const I &y) {
  return same_bits(filled(1, 1, x), filled(1, 1, y));
}

TYPED_TEST(Gesvr, ArgumentErrorsAndTheEmptyMatrix) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  struct Case {
    const char *what;
    int n, lda, info;
  };
  const Case cases[] = {
      {"n < 0", -1, 3, -1},  {"n < 0 and lda 0", -1, 0, -1},
      {"lda < n", 3, 2, -3}, {"lda 0 with n 0", 0, 0, -3},
      {"empty", 0, 1, 0},
  };
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    reset_doubles();
    const auto res = this->run(c.n, a, c.lda);
    EXPECT_EQ(res.info, c.info);
    if (c.info < 0)
      EXPECT_TRUE(reported(Api<T>::name, -c.info));
    else
      EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(res.flag, kUnset);
    EXPECT_EQ(res.sa.inf, T(-9));
    EXPECT_EQ(res.sd.sup, T(-9));
    EXPECT_EQ(allocation_count(), 0);
  }
}

// Ac, D, s, t and the LAPACK work vector. Nothing is written before the
// last request succeeds.
TYPED_TEST(Gesvr, AllocationFailureAtEachRequest) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = filled(3, 3, I{0, 1});
  for (int k = 1; k <= 5; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    const auto res = this->test(a);
    EXPECT_EQ(res.info, 1000);
    EXPECT_TRUE(reported(Api<T>::name, 1000));
    EXPECT_EQ(res.flag, kUnset);
    EXPECT_EQ(res.sa.inf, T(-9));
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  EXPECT_EQ(this->test(a).info, 0);
  EXPECT_EQ(live_allocations(), live) << "released when both decompositions succeed";
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
    g_svd_calls = 0, g_svd_fail_at = failing, g_svd_info = 2;
    const auto res = this->test(a);
    EXPECT_EQ(res.info, 2);
    EXPECT_EQ(res.flag, 0);
    const I zero{0, 0}, mid{0, 4};
    EXPECT_TRUE(same(res.sa, failing == 1 ? zero : mid)) << show(res.sa);
    EXPECT_TRUE(same(res.sd, zero)) << show(res.sd);
    EXPECT_EQ(live_allocations() - live, 5);
  }
}

TYPED_TEST(Gesvr, DocumentedExamples) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> diagonal = filled(2, 2, I{0, 0});
  diagonal(0, 0) = I{2, 4}, diagonal(1, 1) = I{-3, -1}; // Ac diag(3, -2), D = I
  IMat<I> centred = filled(2, 2, I{0, 0});
  centred(0, 0) = centred(1, 1) = I{-1, 1}; // Ac = 0, D = I
  struct Case {
    const char *what;
    IMat<I> a;
    int flag;
    I sa, sd;
  };
  const Case cases[] = {
      {"[-1, 1]: 0 < 1", filled(1, 1, I{-1, 1}), -1, {0, 0}, {1, 1}},
      {"[0, 2]: 1 = 1, strict comparisons", filled(1, 1, I{0, 2}), 0, {1, 1}, {1, 1}},
      {"[1, 3]: 2 > 1", filled(1, 1, I{1, 3}), 1, {2, 2}, {1, 1}},
      {"point 5", filled(1, 1, pt<I>(5)), 1, {5, 5}, {0, 0}},
      {"diag([2, 4], [-3, -1]): 2 > 1", diagonal, 1, {2, 3}, {1, 1}},
      {"diag([-1, 1], [-1, 1]): 0 < 1", centred, -1, {0, 0}, {1, 1}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.what);
    const int live = live_allocations();
    const auto res = this->test(c.a);
    EXPECT_EQ(res.info, 0);
    EXPECT_EQ(res.flag, c.flag);
    // LAPACK's values, exact up to its own rounding.
    EXPECT_NEAR(res.sa.inf, c.sa.inf, 1e-6);
    EXPECT_NEAR(res.sa.sup, c.sa.sup, 1e-6);
    EXPECT_NEAR(res.sd.inf, c.sd.inf, 1e-6);
    EXPECT_NEAR(res.sd.sup, c.sd.sup, 1e-6);
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
  for (int trial = 0; trial < scaled(30); ++trial) {
    const int n = g.integer(1, 8), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
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
    EXPECT_TRUE(same(res.sa, I{s[n - 1], s[0]})) << show(res.sa);
    EXPECT_TRUE(same(res.sd, I{0, 0}));

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
    EXPECT_TRUE(same(res.sa, I{sm[n - 1], sm[0]})) << show(res.sa);
    EXPECT_TRUE(same(res.sd, I{sr[n - 1], sr[0]})) << show(res.sd);
  }
}

} // namespace
