// Regularity and singularity test, both members: argument checks, quick
// return, workspace failure at each of the nine requests, an eigenvalue
// failure (the system LAPACK's routine, interposed here so that it can be
// told to fail), the documented small examples, and verdicts on matrices
// whose regularity or singularity is known exactly: strictly diagonally
// dominant interval matrices are regular, rank-deficient point matrices and
// intervals built around a singular matrix are not.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cmath>
#include <cstddef>
#include <limits>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

// Decided outcomes keep their workspace on purpose.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

namespace {
int g_eigen_failure = 0; // info the next eigenvalue call reports, 0: run it
}

// The eigenvalue routines, interposed over the LAPACK ones.
#define RUF_TEST_GEEV(name, T)                                                                     \
  extern "C" void name(const char *jl, const char *jr, const int *n, T *a, const int *lda, T *wr,  \
                       T *wi, T *vl, const int *ldvl, T *vr, const int *ldvr, T *work,             \
                       const int *lwork, int *info, std::size_t ll, std::size_t lr) {              \
    if (g_eigen_failure != 0) {                                                                    \
      *info = g_eigen_failure;                                                                     \
      g_eigen_failure = 0;                                                                         \
      return;                                                                                      \
    }                                                                                              \
    using Fn = decltype(&name);                                                                    \
    static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, #name));                          \
    real(jl, jr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr, work, lwork, info, ll, lr);                \
  }
RUF_TEST_GEEV(dgeev_, double)
RUF_TEST_GEEV(sgeev_, float)
#undef RUF_TEST_GEEV

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = digerbr;
  static constexpr const char *name = "DIGERBR";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sigerbr;
  static constexpr const char *name = "SIGERBR";
};

template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

constexpr int kUnset = 77;

template <class T> class Gerbr : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override {
    reset_doubles();
    g_eigen_failure = 0;
  }
  struct Result {
    int info = kUnset, flag = kUnset;
    T r = T(-99);
  };
  static Result run(int n, const IMat<I> &a, int lda) {
    Result res;
    Api<T>::fn(&n, a.v.data(), &lda, &res.r, &res.flag, &res.info);
    return res;
  }
  static Result test(const IMat<I> &a) { return run(a.rows, a, a.ld); }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Gerbr, Precisions);

TYPED_TEST(Gerbr, ArgumentErrorsAndTheEmptyMatrix) {
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
    EXPECT_EQ(res.r, T(-99));
    EXPECT_EQ(allocation_count(), 0);
  }
}

// Ac, D, I, R, G, the pivots, the LAPACK work vector, wr and wi.
TYPED_TEST(Gerbr, AllocationFailureAtEachRequest) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const IMat<I> a = filled(3, 3, I{0, 1});
  for (int k = 1; k <= 9; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    const auto res = this->test(a);
    EXPECT_EQ(res.info, 1000);
    EXPECT_TRUE(reported(Api<T>::name, 1000));
    EXPECT_EQ(res.flag, kUnset);
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
}

// The verdict order and what each outcome leaves: a singular midpoint
// decides at once (r not written), a radius below 1 decides regular, the
// column test decides singular; only the undecided outcome releases the
// nine work arrays.
TYPED_TEST(Gerbr, DocumentedExamples) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  IMat<I> two_singular(2, 2);
  two_singular(0, 0) = pt<I>(1), two_singular(0, 1) = pt<I>(2);
  two_singular(1, 0) = pt<I>(2), two_singular(1, 1) = pt<I>(4);
  // Ac = I, D = 0.75 I off the diagonal: G = |R| D has radius 0.75.
  IMat<I> near_identity = filled(2, 2, I{T(-0.75), T(0.75)});
  near_identity(0, 0) = near_identity(1, 1) = pt<I>(1);
  // Ac = I, D = 1.5 on the diagonal: r = 1.5, and the column test holds
  // (|I - Ac R| + I = I <= D |R| = 1.5 I).
  IMat<I> wide_diagonal = filled(2, 2, I{0, 0});
  wide_diagonal(0, 0) = wide_diagonal(1, 1) = I{T(-0.5), T(2.5)};
  // Ac = I, D = 1 off the diagonal: r = 1, but no column test holds.
  IMat<I> undecided = filled(2, 2, I{-1, 1});
  undecided(0, 0) = undecided(1, 1) = pt<I>(1);
  struct Case {
    const char *what;
    IMat<I> a;
    int flag;
    double r; // NaN: not written
    int kept;
  };
  const double unwritten = std::numeric_limits<double>::quiet_NaN();
  const Case cases[] = {
      {"[1, 3]: Ac 2, D 1, R 0.5, G 0.5", filled(1, 1, I{1, 3}), 1, 0.5, 9},
      {"[-1, 3]: r 2, then G 1 <= S 2", filled(1, 1, I{-1, 3}), -1, 2, 9},
      {"[-2, 2]: the midpoint 0 is singular", filled(1, 1, I{-2, 2}), -1, unwritten, 9},
      {"exactly singular point matrix", two_singular, -1, unwritten, 9},
      {"point identity", filled(1, 1, pt<I>(1)), 1, 0, 9},
      {"identity with off-diagonal radius 0.75", near_identity, 1, 0.75, 9},
      {"identity with diagonal radius 1.5", wide_diagonal, -1, 1.5, 9},
      {"identity with off-diagonal radius 1", undecided, 0, 1, 0},
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
  IMat<I> a = filled(2, 2, I{0, 1});
  a(0, 0) = a(1, 1) = I{3, 4};
  g_eigen_failure = 3;
  const auto res = this->test(a);
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
  for (int trial = 0; trial < scaled(30); ++trial) {
    const int n = g.integer(1, 8);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n);
    // Strictly diagonally dominant with small radii: regular, and the
    // criterion holds with room to spare.
    IMat<I> dominant(n, n, n + g.integer(0, 2));
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        dominant(i, j) = i == j ? away_from_zero<I>(g, 1, 2, 0x1p-8)
                                : away_from_zero<I>(g, 0, 0.5 / n, 0x1p-8 / n);
    auto res = this->test(dominant);
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
    IMat<I> around(n, n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const double c = deficient(i, j).inf;
        around(i, j) = I{T(c - g.between(0x1p-6, 0x1p-4)), T(c + g.between(0x1p-6, 0x1p-4))};
      }
    res = this->test(around);
    EXPECT_NE(res.flag, 1) << "contains a singular matrix";
    if (res.flag == 0) EXPECT_GE(res.r, T(1));
    decided += res.flag == -1;
    ++around_tests;
  }
  EXPECT_GT(decided, around_tests / 4) << "the column test decides most of them";
}

} // namespace
