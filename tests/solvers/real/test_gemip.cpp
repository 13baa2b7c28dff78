// Midpoint-inverse preconditioning, both members: the solver frame, the
// factorisation's pivot index as info, a failed inversion, and R·A and R·B
// enclosing the exact products with R recomputed by the system LAPACK.
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "solvers/real/harness.h"

namespace {

using namespace ruf_test;

template <class T> class Gemip : public SolverTest<T> {
protected:
  using I = typename SolverTest<T>::I;
  // Before a zero pivot is met: the double member has its work vector too.
  static constexpr int arrays_at_factoring = pick<T>(5, 4);
  struct Call {
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    pick<T>(digemip, sigemip)(&c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info);
    return info;
  }
  static int precondition(IMat<I> &a, IMat<I> &b) {
    return run({a.rows, b.cols, a.ld, b.ld}, a, b);
  }
  static Outcome probe(const Call &c, const IMat<I> &a0) {
    auto call = [&](IMat<I> &a, IMat<I> &b) { return run(c, a, b); };
    return on_copies(call, a0, filled(a0.rows, 2, I{5, 6}));
  }
};
TYPED_TEST_SUITE(Gemip, Precisions);

constexpr int kArrays = 5; // mid(A), R·A, R·B, then the work vector and the pivots

TYPED_TEST(Gemip, ArgumentErrorsAndEmptyProblems) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  expect_early_returns<Call>(name<TypeParam>("IGEMIP"),
                             {
                                 {"n < 0", [](Call &c) { c.n = -1; }, 1},
                                 {"n < 0 and nrhs < 0", [](Call &c) { c.n = -1, c.nrhs = -1; }, 1},
                                 {"nrhs < 0", [](Call &c) { c.nrhs = -1; }, 2},
                                 {"lda < n", [](Call &c) { c.lda = 2; }, 4},
                                 {"lda 0 with n 0", [](Call &c) { c.n = 0, c.lda = 0; }, 4},
                                 {"ldb < n", [](Call &c) { c.ldb = 2; }, 6},
                                 {"ldb < n with nrhs 0", [](Call &c) { c.nrhs = 0, c.ldb = 2; }, 6},
                                 {"n 0", [](Call &c) { c.n = 0; }, 0},
                                 {"nrhs 0", [](Call &c) { c.nrhs = 0; }, 0},
                             },
                             [](const Call &c) {
                               return TestFixture::probe(c, diagonal<I>({2, 2, 2}));
                             });
}

TYPED_TEST(Gemip, AllocationFailureAtEveryAllocation) {
  using I = typename TestFixture::I;
  expect_allocation_failures(name<TypeParam>("IGEMIP"), kArrays, [] {
    return TestFixture::probe({}, diagonal<I>({2, 4, 8}));
  });
  EXPECT_EQ(lapack.getri_lwork, 64 * 3) << "getri's work length";
}

// An exactly zero pivot in the factorisation of mid(A): info is its index,
// A and B are untouched and everything allocated stays allocated. The double
// member has obtained its work vector by then, the single member has not.
TYPED_TEST(Gemip, SingularMidpointReturnsThePivotIndex) {
  using I = typename TestFixture::I;
  const struct {
    const char *what;
    IMat<I> a;
    int info;
  } cases[] = {
      {"zero matrix", filled(3, 3, pt<I>(0)), 1},
      {"third pivot", diagonal<I>({1, 2, 0, 4}), 3},
      {"dependent rows of the midpoints [[1, 2], [2, 4]]",
       rows<I>(2, {pt<I>(1), pt<I>(2), I{1, 3}, I{3, 5}}), 2},
      {"dependent columns", filled(3, 3, I{-1, 3}), 2},
  };
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    const int live = live_allocations();
    const Outcome o = this->probe({k.a.rows, 2, k.a.rows, k.a.rows}, k.a);
    EXPECT_EQ(o.info, k.info);
    EXPECT_TRUE(o.untouched);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), TestFixture::arrays_at_factoring);
    EXPECT_EQ(live_allocations() - live, TestFixture::arrays_at_factoring);
  }
}

// getri reports a failure: info = 1 with A and B untouched. Its work vector
// and the pivots are released first; the three other arrays are kept.
TYPED_TEST(Gemip, FailedInversionGivesInfo1) {
  using I = typename TestFixture::I;
  for (int status : {1, 3, -2}) {
    reset_doubles();
    lapack.getri_status = status;
    const int live = live_allocations();
    const Outcome o = this->probe({}, diagonal<I>({2, 4, 8}));
    EXPECT_EQ(o.info, 1) << status;
    EXPECT_TRUE(o.untouched);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(live_allocations() - live, 3);
  }
}

TYPED_TEST(Gemip, IdentityAndTwiceTheIdentity) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 21);
  const IMat<I> b = intervals<I>(g, 4, 3, 0.5);
  IMat<I> a = diagonal<I>({1, 1, 1, 1}), x = b;
  ASSERT_EQ(this->precondition(a, x), 0);
  EXPECT_TRUE(same_bits(a, diagonal<I>({1, 1, 1, 1})));
  EXPECT_TRUE(same_bits(x, b));

  a = diagonal<I>({2, 2, 2, 2}), x = b;
  ASSERT_EQ(this->precondition(a, x), 0);
  EXPECT_TRUE(same_bits(a, diagonal<I>({1, 1, 1, 1})));
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 4; ++i)
      EXPECT_TRUE(same(x(i, j), b(i, j).inf / 2, b(i, j).sup / 2)) << "halved exactly";
}

// R is recomputed here from the library's midpoints with the system LAPACK
// (the same routines on the same data give the same R). Every entry of the
// results must contain the exact range of sum_k R(i,k)·X(k,j) over the
// intervals X(k,j), and exceed it by no more than the rounding of n terms.
TYPED_TEST(Gemip, ProductsEncloseTheExactProductsWithR) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  using Getrf = void (*)(const int *, const int *, T *, const int *, int *, int *);
  const auto getrf = reinterpret_cast<Getrf>(dlsym(RTLD_DEFAULT, pick<T>("dgetrf_", "sgetrf_")));
  ASSERT_NE(getrf, nullptr);
  const double unit = std::numeric_limits<T>::epsilon();
  Dyadic g(test_seed() + 22);
  for (int k = 0; k < scaled(16); ++k) {
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3);
    SCOPED_TRACE(trial(k, n));
    IMat<I> a = generated<I>(
        n, n,
        [&](int i, int j) {
          return i == j ? away_from_zero<I>(g, 1, 2, 0.125) : anywhere<I>(g, 0.125);
        },
        n + g.integer(0, 2));
    IMat<I> b = intervals<I>(g, n, nrhs, 0.5, n + g.integer(0, 2));

    std::vector<T> r(static_cast<std::size_t>(n) * n), work(64 * n);
    std::vector<int> pivots(n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i)
        r[i + j * n] = pick<T>(ruf_interval_d_mid, ruf_interval_s_mid)(&a(i, j));
    int status = 0;
    const int lwork = 64 * n;
    getrf(&n, &n, r.data(), &n, pivots.data(), &status);
    ASSERT_EQ(status, 0);
    pick<T>(dgetri_, sgetri_)(&n, r.data(), &n, pivots.data(), work.data(), &lwork, &status);
    ASSERT_EQ(status, 0);

    const IMat<I> a0 = a, b0 = b;
    ASSERT_EQ(this->precondition(a, b), 0);
    EXPECT_EQ(lapack.getri_lwork, 64 * n);
    auto check = [&](const IMat<I> &x0, const IMat<I> &got, const char *what) {
      const QBox x = exact(x0);
      QBox want(n, x0.cols);
      for (int j = 0; j < x0.cols; ++j)
        for (int i = 0; i < n; ++i) {
          double scale = 0;
          for (int k = 0; k < n; ++k) {
            const Q rk = double(r[i + k * n]), p = rk * x.lo(k, j), q = rk * x.hi(k, j);
            want.lo(i, j) += p < q ? p : q;
            want.hi(i, j) += p < q ? q : p;
            scale += std::fabs(r[i + k * n]) *
                     std::max(std::fabs(double(x0(k, j).inf)), std::fabs(double(x0(k, j).sup)));
          }
          const double slack = 2 * n * unit * scale + std::numeric_limits<T>::denorm_min();
          EXPECT_LE(want.lo(i, j).get_d() - got(i, j).inf, slack)
              << what << " lower bound too wide";
          EXPECT_LE(got(i, j).sup - want.hi(i, j).get_d(), slack)
              << what << " upper bound too wide";
        }
      ASSERT_TRUE(encloses(got, want)) << what;
    };
    check(a0, a, "R·A");
    check(b0, b, "R·B");
  }
}

} // namespace
