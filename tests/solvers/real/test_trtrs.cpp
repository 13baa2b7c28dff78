// Interval triangular solve, both members: argument checks and reports,
// quick returns, workspace failures, enclosure of exact solutions (GMP
// rationals) and of exact solution-set hulls, and the intended behaviours:
// the mirroring behind "T", the unit diagonal, the report name "?IGETRS".
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "ruf_interval.h"
#include "solvers/real/exact.h"
#include "support/doubles.h"
#include "support/oracle.h"

namespace {
int g_prologues = 0;
}

// Some returns keep their workspace on purpose; a leak checker in a
// sanitized build would count those.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

// Counts entry-wrapper prologues: every elementary operation a solver
// performs passes through one.
extern "C" int ruf_cfg_file(int) {
  ++g_prologues;
  return 0;
}

namespace {

using namespace ruf_test;

template <class T> struct Api;
template <> struct Api<double> {
  using I = ruf_di;
  static constexpr auto fn = ditrtrs;
  static constexpr const char *name = "DITRTRS", *allocation_name = "DIGETRS";
};
template <> struct Api<float> {
  using I = ruf_si;
  static constexpr auto fn = sitrtrs;
  static constexpr const char *name = "SITRTRS", *allocation_name = "SIGETRS";
};

template <class T> class Trtrs : public ::testing::Test {
protected:
  using I = typename Api<T>::I;
  void SetUp() override { reset_doubles(); }

  struct Call {
    std::string uplo = "L", trans = "N", diag = "N";
    int n = 3, nrhs = 2, lda = 3, ldb = 3;
  };
  static int run(const Call &c, const IMat<I> &a, IMat<I> &b) {
    int info = 12345;
    Api<T>::fn(c.uplo.c_str(), c.trans.c_str(), c.diag.c_str(), &c.n, &c.nrhs, a.v.data(), &c.lda,
               b.data(), &c.ldb, &info, 1, 1, 1);
    return info;
  }
};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Trtrs, Precisions);

// The matrix actually solved for each option pair, as a function of A.
enum class Used { lower, upper, lower_transposed };
Used used(const std::string &uplo, const std::string &trans) {
  const bool lower = uplo == "L" || uplo == "l", plain = trans == "N" || trans == "n";
  if (lower) return Used::lower;
  return plain ? Used::upper : Used::lower_transposed;
}

// A with the triangle that the options read filled from gen, every other
// entry (and the diagonal when it is unit) NaN, so that a read of it shows.
template <class I, class Gen> IMat<I> triangle(int n, Used u, bool unit, Gen gen, int ld = 0) {
  using T = decltype(I{}.inf);
  const T nan = std::numeric_limits<T>::quiet_NaN();
  IMat<I> a = filled(n, n, I{nan, nan}, ld);
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      const bool read = u == Used::upper ? i <= j : i >= j;
      if (read && !(i == j && unit)) a(i, j) = gen(i, j);
    }
  return a;
}

// The solved matrix as exact bounds, zeros outside its triangle.
template <class I> QBox solved(const IMat<I> &a, int n, Used u, bool unit) {
  QBox s(n, n);
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j) {
      const bool in = u == Used::upper ? i <= j : u == Used::lower ? i >= j : i <= j;
      if (!in) continue;
      if (i == j && unit) {
        s.lo(i, j) = s.hi(i, j) = Q(1L);
        continue;
      }
      const I &e = u == Used::lower_transposed ? a(j, i) : a(i, j);
      s.lo(i, j) = Q(static_cast<double>(e.inf));
      s.hi(i, j) = Q(static_cast<double>(e.sup));
    }
  return s;
}

const std::vector<std::vector<std::string>> kOptionSets = {
    {"L", "N", "N"}, {"L", "T", "N"}, {"L", "C", "U"}, {"U", "N", "N"},
    {"U", "N", "U"}, {"U", "T", "N"}, {"U", "C", "U"}, {"L", "N", "U"}};

TYPED_TEST(Trtrs, ArgumentErrorsReportTheFirstBadPosition) {
  using I = typename TestFixture::I;
  using Call = typename TestFixture::Call;
  struct Case {
    const char *what;
    void (*bend)(Call &);
    int position;
  };
  const Case cases[] = {
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
      {"diag and nrhs both bad", [](Call &c) { c.diag = "X", c.nrhs = -1; }, 3},
      {"lda and ldb both bad", [](Call &c) { c.lda = 1, c.ldb = 1; }, 7},
  };
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (const Case &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    g_prologues = 0;
    EXPECT_EQ(this->run(c, a, b), -k.position);
    EXPECT_TRUE(reported(Api<TypeParam>::name, k.position));
    EXPECT_TRUE(same_bits(b, before));
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_EQ(g_prologues, 1) << "only the solver's own entry: no elementary operation";
  }
}

TYPED_TEST(Trtrs, EmptyProblemsReturnWithoutAllocating) {
  using I = typename TestFixture::I;
  for (auto [n, nrhs] : {std::pair{0, 2}, std::pair{3, 0}, std::pair{0, 0}}) {
    reset_doubles();
    typename TestFixture::Call c;
    c.n = n, c.nrhs = nrhs;
    const IMat<I> a = filled(3, 3, I{1, 2});
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run(c, a, b), 0);
    EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_TRUE(same_bits(b, before));
  }
}

TYPED_TEST(Trtrs, AllocationFailureIsReportedUnderTheGeneralSolversName) {
  using I = typename TestFixture::I;
  const IMat<I> a = filled(3, 3, I{1, 2});
  for (int k = 1; k <= 2; ++k) {
    SCOPED_TRACE(k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    IMat<I> b = filled(3, 2, I{5, 6});
    const IMat<I> before = b;
    EXPECT_EQ(this->run({}, a, b), 1000);
    EXPECT_TRUE(reported(Api<TypeParam>::allocation_name, 1000));
    EXPECT_TRUE(same_bits(b, before));
    // What was obtained before the failure stays allocated (intended).
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  IMat<I> b = filled(3, 2, I{5, 6});
  EXPECT_EQ(this->run({}, a, b), 0);
  EXPECT_EQ(allocation_count(), 2);
  EXPECT_EQ(live_allocations(), live);
}

TYPED_TEST(Trtrs, LowerCaseOptionsBehaveAsUpperCase) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  const int n = 4;
  IMat<I> a(n, n);
  for (auto &e : a.v)
    e = away_from_zero<I>(g, 0.5, 1.5, 0.25);
  IMat<I> b0(n, 2);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.5);
  for (const auto &o : kOptionSets) {
    typename TestFixture::Call up{o[0], o[1], o[2], n, 2, n, n}, low = up;
    for (auto *s : {&low.uplo, &low.trans, &low.diag})
      (*s)[0] = static_cast<char>(std::tolower((*s)[0]));
    IMat<I> b1 = b0, b2 = b0;
    EXPECT_EQ(this->run(up, a, b1), 0);
    EXPECT_EQ(this->run(low, a, b2), 0);
    EXPECT_TRUE(same_bits(b1, b2)) << o[0] << o[1] << o[2];
  }
}

// Random point systems up to order 30: the exact rational solution of the
// matrix each option pair solves lies inside every enclosure.
TYPED_TEST(Trtrs, PointSystemsEncloseTheExactSolution) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  Dyadic g(test_seed());
  for (int trial = 0; trial < scaled(24); ++trial) {
    const auto &o = kOptionSets[trial % kOptionSets.size()];
    const int n = g.integer(1, 30), nrhs = g.integer(1, 3), ld = n + g.integer(0, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n
                                    << " " << o[0] << o[1] << o[2]);
    const Used u = used(o[0], o[1]);
    const bool unit = o[2] == "U";
    const IMat<I> a = triangle<I>(
        n, u, unit,
        [&](int i, int j) {
          const T v = T(i == j ? g.between(1, 2) * (g.coin() ? 1 : -1) : g.any() / n);
          return I{v, v};
        },
        ld);
    IMat<I> b(n, nrhs, ld);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i) {
        const T v = T(g.any());
        b(i, j) = I{v, v};
      }
    const QMat B = exact_point(b);
    const auto x = solve(solved(a, n, u, unit).lo, B);
    ASSERT_TRUE(x.has_value());
    typename TestFixture::Call c{o[0], o[1], o[2], n, nrhs, ld, ld};
    ASSERT_EQ(this->run(c, a, b), 0);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        ASSERT_TRUE(contains(b(i, j), (*x)(i, j)))
            << "x(" << i << "," << j << ") = " << (*x)(i, j).approx() << " not in "
            << show(b(i, j));
  }
}

// Small interval systems: the exact hull of the solution set lies inside the
// enclosure. Off-diagonal entries keep away from zero, so no product has two
// operands that both contain zero (the narrowing multiplication rule of the
// arithmetic never applies here; it has its own test below).
TYPED_TEST(Trtrs, IntervalSystemsEncloseTheSolutionSetHull) {
  using I = typename TestFixture::I;
  Dyadic g(test_seed() + 1);
  for (int trial = 0; trial < scaled(40); ++trial) {
    const auto &o = kOptionSets[trial % kOptionSets.size()];
    const int n = g.integer(1, 4), nrhs = g.integer(1, 2);
    SCOPED_TRACE(testing::Message() << "seed " << test_seed() << " trial " << trial << " n " << n
                                    << " " << o[0] << o[1] << o[2]);
    const Used u = used(o[0], o[1]);
    const bool unit = o[2] == "U";
    const IMat<I> a = triangle<I>(n, u, unit, [&](int i, int j) {
      return i == j ? away_from_zero<I>(g, 1, 2, 0.5) : away_from_zero<I>(g, 0.125, 1, 0.5);
    });
    IMat<I> b(n, nrhs);
    for (auto &e : b.v)
      e = anywhere<I>(g, 0.5);
    const auto hull = solution_hull(solved(a, n, u, unit), exact(b));
    ASSERT_TRUE(hull.has_value());
    typename TestFixture::Call c{o[0], o[1], o[2], n, nrhs, n, n};
    ASSERT_EQ(this->run(c, a, b), 0);
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i)
        EXPECT_TRUE(contains(b(i, j), hull->lo(i, j), hull->hi(i, j)))
            << "(" << i << "," << j << "): hull [" << hull->lo(i, j).approx() << ", "
            << hull->hi(i, j).approx() << "] not in " << show(b(i, j));
  }
}

// "T" mirrors the lower triangle onto the upper one instead of transposing
// (intended): with "L" it changes nothing, with "U" it solves Lo(A)^T and
// never reads A's upper triangle.
TYPED_TEST(Trtrs, TransposedRequestMirrorsTheLowerTriangle) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 2);
  const int n = 5;
  IMat<I> a(n, n);
  for (auto &e : a.v)
    e = away_from_zero<I>(g, 0.5, 1.5, 0.25);
  IMat<I> b0(n, 2);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.5);

  IMat<I> bn = b0, bt = b0;
  ASSERT_EQ(this->run({"L", "N", "N", n, 2, n, n}, a, bn), 0);
  ASSERT_EQ(this->run({"L", "T", "N", n, 2, n, n}, a, bt), 0);
  EXPECT_TRUE(same_bits(bn, bt));

  IMat<I> mirrored = a, garbage = a;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i)
      mirrored(i, j) = a(j, i), garbage(i, j) = I{nan, nan};
  IMat<I> want = b0, got = b0;
  ASSERT_EQ(this->run({"U", "N", "N", n, 2, n, n}, mirrored, want), 0);
  ASSERT_EQ(this->run({"U", "T", "N", n, 2, n, n}, garbage, got), 0);
  EXPECT_TRUE(same_bits(want, got));

  // An upper triangular A with a zero strict lower triangle: "T" sees a diagonal system.
  IMat<I> upper = a;
  for (int j = 0; j < n; ++j)
    for (int i = j + 1; i < n; ++i)
      upper(i, j) = I{0, 0};
  IMat<I> diag = filled(n, n, I{0, 0}), bd = b0, bu = b0;
  for (int i = 0; i < n; ++i)
    diag(i, i) = a(i, i);
  ASSERT_EQ(this->run({"U", "N", "N", n, 2, n, n}, diag, bd), 0);
  ASSERT_EQ(this->run({"U", "T", "N", n, 2, n, n}, upper, bu), 0);
  EXPECT_TRUE(same_bits(bd, bu));
}

TYPED_TEST(Trtrs, UnitDiagonalIgnoresTheStoredDiagonal) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  Dyadic g(test_seed() + 3);
  const int n = 4;
  IMat<I> a(n, n);
  for (auto &e : a.v)
    e = away_from_zero<I>(g, 0.5, 1.5, 0.25);
  IMat<I> ones = a, odd = a;
  for (int i = 0; i < n; ++i)
    ones(i, i) = I{1, 1}, odd(i, i) = i % 2 ? I{-1, 1} : I{nan, 0};
  IMat<I> b0(n, 1);
  for (auto &e : b0.v)
    e = anywhere<I>(g, 0.5);
  for (const char *uplo : {"L", "U"}) {
    IMat<I> want = b0, got = b0;
    ASSERT_EQ(this->run({uplo, "N", "N", n, 1, n, n}, ones, want), 0);
    ASSERT_EQ(this->run({uplo, "N", "U", n, 1, n, n}, odd, got), 0);
    EXPECT_TRUE(same_bits(want, got)) << uplo;
  }
}

// A diagonal entry containing zero is divided by as it stands: the whole line
// comes out and spreads to the later unknowns; info stays 0.
TYPED_TEST(Trtrs, ZeroInTheDiagonalIsNotDetected) {
  using T = TypeParam;
  using I = typename TestFixture::I;
  const T inf = std::numeric_limits<T>::infinity();
  IMat<I> a = filled(2, 2, I{0, 0});
  a(0, 0) = I{-1, 1}, a(1, 1) = I{2, 2}, a(1, 0) = I{1, 1};
  IMat<I> b = filled(2, 1, I{1, 1});
  ASSERT_EQ(this->run({"L", "N", "N", 2, 1, 2, 2}, a, b), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(b(i, 0).inf, -inf) << i;
    EXPECT_EQ(b(i, 0).sup, inf) << i;
  }
}

// The product of two intervals that both contain zero keeps the larger of
// the two lower candidates (the arithmetic's intended rule), so the result
// can miss solutions: here x1 = 6 (a12 = 2, b2 = -3) is a solution outside.
TYPED_TEST(Trtrs, NarrowingMultiplicationRuleShowsInTheResult) {
  using I = typename TestFixture::I;
  IMat<I> a = filled(2, 2, I{0, 0});
  a(0, 0) = I{1, 1}, a(1, 1) = I{1, 1}, a(0, 1) = I{-1, 2};
  IMat<I> b(2, 1);
  b(0, 0) = I{0, 0}, b(1, 0) = I{-3, 4};
  ASSERT_EQ(this->run({"U", "N", "N", 2, 1, 2, 2}, a, b), 0);
  EXPECT_EQ(b(1, 0).inf, -3);
  EXPECT_EQ(b(1, 0).sup, 4);
  EXPECT_EQ(b(0, 0).inf, -8);
  EXPECT_EQ(b(0, 0).sup, 4);
  EXPECT_FALSE(contains(b(0, 0), Q(6L)));
}

// Every elementary operation goes through its wrapper, whose prologue runs
// once per call. Counted for the operation sequence of the method: each
// element move is a copy, and each update s := s - w*x is a product and a
// difference formed in place.
TYPED_TEST(Trtrs, EveryOperationRunsTheEntryPrologue) {
  using I = typename TestFixture::I;
  const int n = 6, nrhs = 2;
  IMat<I> a = filled(n, n, I{1, 2});
  for (const auto &o : kOptionSets) {
    IMat<I> b = filled(n, nrhs, I{1, 1});
    g_prologues = 0;
    ASSERT_EQ(this->run({o[0], o[1], o[2], n, nrhs, n, n}, a, b), 0);
    const int mirror = o[1] == "N" ? 0 : 3 * n * (n - 1) / 2, unit = o[2] == "U" ? n : 0;
    const int per_column = n + 2 * n * (n - 1) / 2 + n + n;
    EXPECT_EQ(g_prologues, 1 + n * n + mirror + unit + nrhs * per_column) << o[0] << o[1] << o[2];
  }
}

} // namespace
