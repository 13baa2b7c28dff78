// The harness the solver test programs share: exact oracles (GMP rationals,
// exact solutions, solution-set hulls, containment), test data exact in
// float, both members as one typed fixture, a count of entry prologues,
// interposers over the LAPACK routines the solvers call (passing through
// unless told to fail), and the checks every solver owes.
#pragma once

#include <dlfcn.h>
#include <gmpxx.h>
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "ruf_interval.h"
#include "support/doubles.h"
#include "support/oracle.h"

// Some returns keep their workspace on purpose; a leak checker in a
// sanitized build would count those.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

namespace ruf_test {

// Entry-wrapper prologues since the last reset: every elementary operation a
// solver performs passes through one.
inline int prologues = 0;

// What the interposed LAPACK routines do besides passing through.
struct LapackHooks {
  int getri_lwork = 0;  // the work length the last inversion was given
  int getri_status = 0; // nonzero: the inversion runs, then reports this
  int geev_status = 0;  // nonzero: the next eigenvalue call reports this instead of running
  int gesvd_calls = 0;  // since the last reset
  int gesvd_fail_at = 0, gesvd_status = 0; // that call reports the status instead of running
};
inline LapackHooks lapack;

} // namespace ruf_test

extern "C" int ruf_cfg_file(int) {
  ++ruf_test::prologues;
  return 0;
}

#define RUF_TEST_NEXT(name) reinterpret_cast<decltype(&name)>(dlsym(RTLD_NEXT, #name))
#define RUF_TEST_GETRI(name, T)                                                                    \
  extern "C" void name(const int *n, T *a, const int *lda, const int *ipiv, T *work,               \
                       const int *lwork, int *info) {                                              \
    static const auto real = RUF_TEST_NEXT(name);                                                  \
    ruf_test::lapack.getri_lwork = *lwork;                                                         \
    real(n, a, lda, ipiv, work, lwork, info);                                                      \
    if (ruf_test::lapack.getri_status != 0) *info = ruf_test::lapack.getri_status;                 \
  }
#define RUF_TEST_GEEV(name, T)                                                                     \
  extern "C" void name(const char *jl, const char *jr, const int *n, T *a, const int *lda, T *wr,  \
                       T *wi, T *vl, const int *ldvl, T *vr, const int *ldvr, T *work,             \
                       const int *lwork, int *info, std::size_t ll, std::size_t lr) {              \
    if (const int status = ruf_test::lapack.geev_status; status != 0) {                            \
      ruf_test::lapack.geev_status = 0;                                                            \
      *info = status;                                                                              \
      return;                                                                                      \
    }                                                                                              \
    static const auto real = RUF_TEST_NEXT(name);                                                  \
    real(jl, jr, n, a, lda, wr, wi, vl, ldvl, vr, ldvr, work, lwork, info, ll, lr);                \
  }
#define RUF_TEST_GESVD(name, T)                                                                    \
  extern "C" void name(const char *ju, const char *jv, const int *m, const int *n, T *a,           \
                       const int *lda, T *s, T *u, const int *ldu, T *vt, const int *ldvt,         \
                       T *work, const int *lwork, int *info, std::size_t lu, std::size_t lv) {     \
    if (++ruf_test::lapack.gesvd_calls == ruf_test::lapack.gesvd_fail_at) {                        \
      *info = ruf_test::lapack.gesvd_status;                                                       \
      return;                                                                                      \
    }                                                                                              \
    static const auto real = RUF_TEST_NEXT(name);                                                  \
    real(ju, jv, m, n, a, lda, s, u, ldu, vt, ldvt, work, lwork, info, lu, lv);                    \
  }
RUF_TEST_GETRI(dgetri_, double)
RUF_TEST_GETRI(sgetri_, float)
RUF_TEST_GEEV(dgeev_, double)
RUF_TEST_GEEV(sgeev_, float)
RUF_TEST_GESVD(dgesvd_, double)
RUF_TEST_GESVD(sgesvd_, float)
#undef RUF_TEST_GETRI
#undef RUF_TEST_GEEV
#undef RUF_TEST_GESVD

namespace ruf_test {

// An exact rational number; Q(d) is exact for every finite float or double.
using Q = mpq_class;

// Column-major rational matrix, 0-based.
struct QMat {
  int rows = 0, cols = 0;
  std::vector<Q> a;
  QMat() = default;
  QMat(int r, int c) : rows(r), cols(c), a(static_cast<std::size_t>(r) * c) {}
  Q &operator()(int i, int j) { return a[i + static_cast<std::size_t>(j) * rows]; }
  const Q &operator()(int i, int j) const { return a[i + static_cast<std::size_t>(j) * rows]; }
};

// Solves A X = B exactly (any nonzero pivot); nullopt when A is singular.
inline std::optional<QMat> solve(QMat A, QMat B) {
  const int n = A.rows;
  for (int k = 0; k < n; ++k) {
    int r = k;
    while (r < n && sgn(A(r, k)) == 0)
      ++r;
    if (r == n) return std::nullopt;
    if (r != k) {
      for (int j = 0; j < n; ++j)
        std::swap(A(k, j), A(r, j));
      for (int j = 0; j < B.cols; ++j)
        std::swap(B(k, j), B(r, j));
    }
    for (int i = k + 1; i < n; ++i) {
      if (sgn(A(i, k)) == 0) continue;
      const Q f = A(i, k) / A(k, k);
      for (int j = k + 1; j < n; ++j)
        A(i, j) -= f * A(k, j);
      for (int j = 0; j < B.cols; ++j)
        B(i, j) -= f * B(k, j);
    }
  }
  for (int c = 0; c < B.cols; ++c)
    for (int i = n - 1; i >= 0; --i) {
      for (int j = i + 1; j < n; ++j)
        B(i, c) -= A(i, j) * B(j, c);
      B(i, c) /= A(i, i);
    }
  return B;
}

// An interval matrix or right-hand side with exact bounds.
struct QBox {
  QMat lo, hi;
  QBox() = default;
  QBox(int r, int c) : lo(r, c), hi(r, c) {}
};

inline QBox identity(int n) {
  QBox e(n, n);
  for (int i = 0; i < n; ++i)
    e.lo(i, i) = e.hi(i, i) = 1;
  return e;
}

// The exact hull of { X : A X = B, A in [A], B in [B] }, column by column,
// for a regular interval matrix of small order. The hull's extreme points are
// solutions of the sign-vertex systems (Ac - Ty D Tz) x = bc + Ty d over all
// sign vectors y and z (Rohn), so 4^n exact solves give it exactly. Every
// candidate is itself a solution, so containment of the candidates alone is
// already a necessary condition. nullopt when a vertex system is singular.
inline std::optional<QBox> solution_hull(const QBox &A, const QBox &B) {
  const int n = A.lo.rows;
  QBox hull(n, B.lo.cols);
  for (unsigned y = 0; y < (1u << n); ++y)
    for (unsigned z = 0; z < (1u << n); ++z) {
      QMat M(n, n), rhs(n, B.lo.cols);
      for (int i = 0; i < n; ++i) {
        const bool yi = (y >> i) & 1u;
        for (int j = 0; j < n; ++j)
          M(i, j) = (yi == bool((z >> j) & 1u)) ? A.lo(i, j) : A.hi(i, j);
        for (int c = 0; c < B.lo.cols; ++c)
          rhs(i, c) = yi ? B.hi(i, c) : B.lo(i, c);
      }
      const auto x = solve(M, rhs);
      if (!x) return std::nullopt;
      for (std::size_t k = 0; k < x->a.size(); ++k) {
        if ((y | z) == 0 || x->a[k] < hull.lo.a[k]) hull.lo.a[k] = x->a[k];
        if ((y | z) == 0 || hull.hi.a[k] < x->a[k]) hull.hi.a[k] = x->a[k];
      }
    }
  return hull;
}

// What an enclosure of the solutions of A X = B must contain: the exact
// solution for point data, else the exact hull of the solution set.
inline std::optional<QBox> solution_target(const QBox &A, const QBox &B) {
  if (A.lo.a != A.hi.a || B.lo.a != B.hi.a) return solution_hull(A, B);
  const auto x = solve(A.lo, B.lo);
  if (!x) return std::nullopt;
  QBox target;
  target.lo = target.hi = *x;
  return target;
}

// Whether the interval contains q; NaN bounds contain nothing.
template <class I> bool contains(const I &iv, const Q &q) {
  if (std::isnan(iv.inf) || std::isnan(iv.sup)) return false;
  return (std::isinf(iv.inf) ? iv.inf < 0 : Q(static_cast<double>(iv.inf)) <= q) &&
         (std::isinf(iv.sup) ? iv.sup > 0 : q <= Q(static_cast<double>(iv.sup)));
}
template <class I> bool contains(const I &iv, const Q &lo, const Q &hi) {
  return contains(iv, lo) && contains(iv, hi);
}

template <class I> std::string show(const I &iv) {
  std::ostringstream s;
  s.precision(17);
  s << "[" << iv.inf << ", " << iv.sup << "]";
  return s.str();
}

template <class I> bool same(const I &x, double lo, double hi) {
  return x.inf == lo && x.sup == hi;
}

// Test data: dyadic numbers with at most 21 significant bits, so that float
// and double hold them exactly and the systems' solutions need rounding.
class Dyadic {
public:
  explicit Dyadic(std::uint64_t seed) : rng_(seed) {}
  // Uniform in [-1, 1] on the grid 2^-20.
  double any() { return between(-1, 1); }
  // In [lo, hi] on the grid 2^-20.
  double between(double lo, double hi) {
    return integer(static_cast<int>(std::ceil(lo * 0x1p20)),
                   static_cast<int>(std::floor(hi * 0x1p20))) *
           0x1p-20;
  }
  bool coin() { return integer(0, 1) == 1; }
  int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }

private:
  std::mt19937_64 rng_;
};

// An interval whose magnitude lies in [lo, hi] with a random sign, of width
// up to `width` (a point when width is 0); it never touches zero when lo > 0.
template <class I> I away_from_zero(Dyadic &g, double lo, double hi, double width) {
  using T = decltype(I{}.inf);
  const double m = g.between(lo, hi), w = width > 0 ? g.between(0, width) : 0.0;
  return g.coin() ? I{T(m), T(m + w)} : I{T(-m - w), T(-m)};
}
// Any interval inside [-1, 1 + width], possibly containing zero.
template <class I> I anywhere(Dyadic &g, double width) {
  using T = decltype(I{}.inf);
  const double m = g.any(), w = width > 0 ? g.between(0, width) : 0.0;
  return I{T(m), T(m + w)};
}
template <class I> I pt(double v) {
  using T = decltype(I{}.inf);
  return I{T(v), T(v)};
}

// Caller arrays of intervals, column-major with a leading dimension.
template <class I> struct IMat {
  int rows = 0, cols = 0, ld = 1;
  std::vector<I> v;
  IMat() = default;
  IMat(int r, int c, int lead = 0) : rows(r), cols(c), ld(lead > 0 ? lead : (r > 1 ? r : 1)) {
    v.assign(static_cast<std::size_t>(ld) * (c > 1 ? c : 1), I{});
  }
  I &operator()(int i, int j) { return v[i + static_cast<std::size_t>(j) * ld]; }
  const I &operator()(int i, int j) const { return v[i + static_cast<std::size_t>(j) * ld]; }
  I *data() { return v.data(); }
};

template <class I, class Gen> IMat<I> generated(int rows, int cols, Gen gen, int ld = 0) {
  IMat<I> m(rows, cols, ld);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i)
      m(i, j) = gen(i, j);
  return m;
}
template <class I> IMat<I> filled(int rows, int cols, I v, int ld = 0) {
  return generated<I>(
      rows, cols, [&](int, int) { return v; }, ld);
}
template <class I> IMat<I> diagonal(std::vector<double> d, I off = I{0, 0}) {
  const int n = static_cast<int>(d.size());
  return generated<I>(n, n, [&](int i, int j) { return i == j ? pt<I>(d[i]) : off; });
}
// Row by row, as written in a comment.
template <class I> IMat<I> rows(int n, std::vector<I> entries) {
  const int cols = static_cast<int>(entries.size()) / n;
  return generated<I>(n, cols, [&](int i, int j) { return entries[i * cols + j]; });
}
template <class I> IMat<I> points(Dyadic &g, int rows, int cols, int ld = 0) {
  return generated<I>(
      rows, cols, [&](int, int) { return pt<I>(g.any()); }, ld);
}
template <class I> IMat<I> intervals(Dyadic &g, int rows, int cols, double width, int ld = 0) {
  return generated<I>(
      rows, cols, [&](int, int) { return anywhere<I>(g, width); }, ld);
}
// A matrix with diagonal midpoints of magnitude in [1, 2] and off-diagonal
// midpoints in [-1/k, 1/k] (strictly diagonally dominant when k >= n), radii
// in [lo, hi] (points when hi is 0).
template <class I>
IMat<I> dominant(Dyadic &g, int n, double k, int ld = 0, double lo = 0, double hi = 0) {
  using T = decltype(I{}.inf);
  return generated<I>(
      n, n,
      [&](int i, int j) {
        const double m = i == j ? (g.coin() ? 1 : -1) * g.between(1, 2) : g.any() / k;
        return I{T(m), T(m + (hi > 0 ? g.between(lo, hi) : 0))};
      },
      ld);
}
// A right-hand side of width up to 1/64 around mid(A)·x, for x with
// components of magnitude in [1, 2]: the solutions keep away from zero.
template <class I> IMat<I> rhs_away_from_zero(Dyadic &g, const IMat<I> &a, int nrhs) {
  using T = decltype(I{}.inf);
  const int n = a.rows;
  IMat<I> b(n, nrhs);
  for (int c = 0; c < nrhs; ++c) {
    std::vector<double> x(n);
    for (auto &e : x)
      e = (g.coin() ? 1 : -1) * g.between(1, 2);
    for (int i = 0; i < n; ++i) {
      double s = 0;
      for (int j = 0; j < n; ++j)
        s += 0.5 * (double(a(i, j).inf) + double(a(i, j).sup)) * x[j];
      const double m = std::ldexp(std::round(std::ldexp(s, 16)), -16);
      b(i, c) = I{T(m), T(m + g.between(0, 1.0 / 64))};
    }
  }
  return b;
}

template <class I> QBox exact(const IMat<I> &m) {
  QBox b(m.rows, m.cols);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i) {
      b.lo(i, j) = static_cast<double>(m(i, j).inf);
      b.hi(i, j) = static_cast<double>(m(i, j).sup);
    }
  return b;
}

// A triangular matrix: gen fills the lower (or upper) triangle, `other` the
// rest and a unit diagonal. t receives the triangle as exact bounds, 1 on a
// unit diagonal, zeros elsewhere.
template <class I, class Gen>
IMat<I> triangle(int n, bool lower, bool unit, I other, Gen gen, QBox &t, int ld = 0) {
  t = identity(n);
  return generated<I>(
      n, n,
      [&](int i, int j) {
        if ((lower ? i < j : i > j) || (i == j && unit)) return other;
        const I e = gen(i, j);
        t.lo(i, j) = static_cast<double>(e.inf);
        t.hi(i, j) = static_cast<double>(e.sup);
        return e;
      },
      ld);
}

// Bitwise equality of two interval arrays (NaNs compare by bits).
template <class I> bool same_bits(const IMat<I> &a, const IMat<I> &b) {
  return a.v.size() == b.v.size() &&
         std::memcmp(a.v.data(), b.v.data(), a.v.size() * sizeof(I)) == 0;
}

// Every entry of got contains the exact [lo, hi] at its place.
template <class I>::testing::AssertionResult encloses(const IMat<I> &got, const QBox &want) {
  for (int j = 0; j < want.lo.cols; ++j)
    for (int i = 0; i < want.lo.rows; ++i)
      if (!contains(got(i, j), want.lo(i, j), want.hi(i, j)))
        return ::testing::AssertionFailure()
               << "(" << i << "," << j << "): [" << want.lo(i, j).get_d() << ", "
               << want.hi(i, j).get_d() << "] not in " << show(got(i, j));
  return ::testing::AssertionSuccess();
}

inline std::string trial(int k, int n) {
  return (testing::Message() << "seed " << test_seed() << " trial " << k << " n " << n).GetString();
}

// Exactly one xerbla_ report since the last reset, with these contents.
inline ::testing::AssertionResult reported(const std::string &name, int info) {
  const auto &calls = xerbla_calls();
  if (calls.size() != 1) return ::testing::AssertionFailure() << calls.size() << " reports";
  const XerblaCall &c = calls[0];
  if (c.name != name || c.info != info || c.name_len != 7)
    return ::testing::AssertionFailure()
           << "reported " << c.name << " " << c.info << " length " << c.name_len;
  return ::testing::AssertionSuccess();
}

using Precisions = ::testing::Types<float, double>;

// The member of a routine pair for T: pick<T>(digegas, sigegas).
template <class T, class D, class S> constexpr auto pick(D d, S s) {
  if constexpr (std::is_same_v<T, double>)
    return d;
  else
    return s;
}
// The interval type of T's member, and its 7-letter report name:
// name<T>("IGEGAS").
template <class T> using Interval = std::conditional_t<std::is_same_v<T, double>, ruf_di, ruf_si>;
template <class T> std::string name(const char *rest) {
  return pick<T>("D", "S") + std::string(rest);
}

template <class T> class SolverTest : public ::testing::Test {
protected:
  using I = Interval<T>;
  void SetUp() override {
    reset_doubles();
    lapack = {};
    prologues = 0;
  }
  void TearDown() override { std::fesetround(FE_TONEAREST); }
};

// What a call did: its info, and whether every output kept its bits.
struct Outcome {
  int info;
  bool untouched;
};

// Calls call(copies...) on copies of the outputs.
template <class Call, class... M> Outcome on_copies(Call call, M... copies) {
  const std::tuple<M...> before{copies...};
  const int info = call(copies...);
  return {info, std::apply([&](const M &...b) { return (same_bits(b, copies) && ...); }, before)};
}

// A call with one argument bent: the position it makes invalid, or 0 for an
// empty problem.
template <class Call> struct Bent {
  const char *what;
  void (*bend)(Call &);
  int position;
};

// Each bent call returns info = -position after reporting that position once
// under `name` (an empty problem: info 0 and no report), writes no output,
// and returns before any allocation or elementary operation.
template <class Call, class Probe>
void expect_early_returns(const std::string &name, std::initializer_list<Bent<Call>> cases,
                          Probe probe) {
  for (const Bent<Call> &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    Call c;
    k.bend(c);
    prologues = 0;
    const Outcome o = probe(c);
    EXPECT_EQ(o.info, -k.position);
    EXPECT_TRUE(o.untouched) << "an output was written";
    if (k.position > 0)
      EXPECT_TRUE(reported(name, k.position));
    else
      EXPECT_TRUE(xerbla_calls().empty());
    EXPECT_EQ(allocation_count(), 0);
    EXPECT_EQ(prologues, 1) << "the routine's own entry only: no elementary operation";
  }
}

// A failure at each of the `requests` allocations of probe() in turn is
// reported under `name` with info 1000, writes no output and keeps the
// requests before it (intended); the call returns info 1000 at once, or 1
// when the failure is past the first `own` requests, in a step the routine
// survives. Without a failure the call succeeds after exactly `requests`
// allocations and releases them all.
template <class Probe>
void expect_allocation_failures(const std::string &name, int requests, Probe probe,
                                int own = 1 << 30) {
  for (int k = 1; k <= requests; ++k) {
    SCOPED_TRACE(testing::Message() << "allocation " << k);
    reset_doubles();
    const int live = live_allocations();
    arm_allocation_failure(k);
    const Outcome o = probe();
    EXPECT_EQ(o.info, k <= own ? 1000 : 1);
    EXPECT_TRUE(o.untouched) << "an output was written";
    EXPECT_TRUE(reported(name, 1000));
    EXPECT_EQ(allocation_count(), k);
    EXPECT_EQ(live_allocations() - live, k - 1);
  }
  reset_doubles();
  const int live = live_allocations();
  EXPECT_EQ(probe().info, 0);
  EXPECT_EQ(allocation_count(), requests);
  EXPECT_EQ(live_allocations(), live) << "released on the normal path";
}

} // namespace ruf_test
