// What the solver tests share, for every member, real and complex: exact
// arithmetic (GMP rationals and Gaussian rationals) with an exact solver and
// the exact solution-set hull of small real systems; each element type's
// containment test and exact sample points; test data exact in single
// precision; the solver routines of each member; a count of entry prologues;
// interposers over the LAPACK routines the solvers call (passing through
// unless told to fail); and the checks every solver owes. Include it from one
// source per test program: it defines the interposers.
#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <type_traits>
#include <vector>

#include "ruf_interval.h"
#include "support/doubles.h"
#include "support/exact.h"
#include "support/oracle.h"
#include "support/solvers.h"

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
RUF_TEST_GETRI(zgetri_, ruf_z)
RUF_TEST_GETRI(cgetri_, ruf_c)
RUF_TEST_GEEV(dgeev_, double)
RUF_TEST_GEEV(sgeev_, float)
RUF_TEST_GESVD(dgesvd_, double)
RUF_TEST_GESVD(sgesvd_, float)
#undef RUF_TEST_GETRI
#undef RUF_TEST_GEEV
#undef RUF_TEST_GESVD

namespace ruf_test {

// ---- Test data ----

// Dyadic numbers with at most 21 significant bits, so that float and double
// hold them exactly and the systems' solutions need rounding.
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
  // A magnitude in [lo, hi] with a random sign.
  double signed_between(double lo, double hi) { return (coin() ? 1 : -1) * between(lo, hi); }
  bool coin() { return integer(0, 1) == 1; }
  int integer(int lo, int hi) { return std::uniform_int_distribution<int>(lo, hi)(rng_); }

private:
  std::mt19937_64 rng_;
};

// ---- Element types ----

// One element type as the tests see it: its real type, its exact field, how
// to make an element of centre c and radius r (a point when r = 0), whether
// it contains an exact value, and exact points inside it for sampling.
template <class E> struct Kind;

template <class E, class T> struct RealKind {
  using Real = T;
  using Field = Q;
  static constexpr bool complex = false, disc = false;
  static E make(double c, double, double r) { return E{T(c - r), T(c + r)}; }
  static bool contains(const E &e, const Q &q) {
    if (std::isnan(e.inf) || std::isnan(e.sup)) return false;
    return (std::isinf(e.inf) ? e.inf < 0 : Q(double(e.inf)) <= q) &&
           (std::isinf(e.sup) ? e.sup > 0 : q <= Q(double(e.sup)));
  }
  // The bounds, or a point between them.
  static Q sample(const E &e, Dyadic &g) {
    const int k = g.integer(0, 2);
    return k == 0   ? Q(double(e.inf))
           : k == 1 ? Q(double(e.sup))
                    : (Q(double(e.inf)) + Q(double(e.sup))) / 2;
  }
  static Q centre(const E &e) { return (Q(double(e.inf)) + Q(double(e.sup))) / 2; }
};
template <> struct Kind<ruf_si> : RealKind<ruf_si, float> {};
template <> struct Kind<ruf_di> : RealKind<ruf_di, double> {};

template <class E, class T> struct RectKind {
  using Real = T;
  using Field = QC;
  static constexpr bool complex = true, disc = false;
  static E make(double re, double im, double r) {
    return E{{T(re - r), T(re + r)}, {T(im - r), T(im + r)}};
  }
  static bool contains(const E &e, const QC &q) {
    return RealKind<decltype(e.re), T>::contains(e.re, q.re) &&
           RealKind<decltype(e.im), T>::contains(e.im, q.im);
  }
  static QC sample(const E &e, Dyadic &g) {
    return {RealKind<decltype(e.re), T>::sample(e.re, g),
            RealKind<decltype(e.im), T>::sample(e.im, g)};
  }
  static QC centre(const E &e) {
    return {RealKind<decltype(e.re), T>::centre(e.re), RealKind<decltype(e.im), T>::centre(e.im)};
  }
};
template <> struct Kind<ruf_cr> : RectKind<ruf_cr, float> {};
template <> struct Kind<ruf_zr> : RectKind<ruf_zr, double> {};

template <class E, class T> struct DiscKind {
  using Real = T;
  using Field = QC;
  static constexpr bool complex = true, disc = true;
  static E make(double re, double im, double r) { return E{T(re), T(im), T(r)}; }
  // |q - c| <= r, decided exactly.
  static bool contains(const E &e, const QC &q) {
    if (std::isnan(e.re) || std::isnan(e.im) || std::isnan(e.rad) || e.rad < 0) return false;
    if (std::isinf(e.rad)) return true;
    const Q dr = q.re - Q(double(e.re)), di = q.im - Q(double(e.im)), r = Q(double(e.rad));
    return dr * dr + di * di <= r * r;
  }
  // The centre, or a point at half the radius in one of eight directions:
  // disc arithmetic has no error terms for its centres, so the boundary is
  // only as sharp as the rounding.
  static QC sample(const E &e, Dyadic &g) {
    const Q c[] = {0, Q(3, 10), Q(2, 5)}, r = Q(double(e.rad));
    const int k = g.integer(0, 8);
    if (k == 0) return centre(e);
    const Q u = c[1 + k % 2] * (k & 2 ? -1 : 1), v = c[2 - k % 2] * (k & 4 ? -1 : 1);
    return {Q(double(e.re)) + r * u, Q(double(e.im)) + r * v};
  }
  static QC centre(const E &e) { return {Q(double(e.re)), Q(double(e.im))}; }
};
template <> struct Kind<ruf_cc> : DiscKind<ruf_cc, float> {};
template <> struct Kind<ruf_zc> : DiscKind<ruf_zc, double> {};

template <class E> using Real = typename Kind<E>::Real;
template <class E> using Field = typename Kind<E>::Field;
// A member's floating-point point: real, or the C complex type.
template <class E> using Point = typename MemberTypes<E>::Point;

// Caller arrays of elements, column-major with a leading dimension.
template <class E> struct IMat {
  int rows = 0, cols = 0, ld = 1;
  std::vector<E> v;
  IMat() = default;
  IMat(int r, int c, int lead = 0) : rows(r), cols(c), ld(lead > 0 ? lead : (r > 1 ? r : 1)) {
    v.assign(static_cast<std::size_t>(ld) * (c > 1 ? c : 1), E{});
  }
  E &operator()(int i, int j) { return v[i + static_cast<std::size_t>(j) * ld]; }
  const E &operator()(int i, int j) const { return v[i + static_cast<std::size_t>(j) * ld]; }
  E *data() { return v.data(); }
  const E *data() const { return v.data(); }
};

template <class E, class Gen> IMat<E> generated(int rows, int cols, Gen gen, int ld = 0) {
  IMat<E> m(rows, cols, ld);
  for (int j = 0; j < cols; ++j)
    for (int i = 0; i < rows; ++i)
      m(i, j) = gen(i, j);
  return m;
}
template <class E> IMat<E> filled(int rows, int cols, E v, int ld = 0) {
  return generated<E>(
      rows, cols, [&](int, int) { return v; }, ld);
}
// Row by row, as written in a comment.
template <class E> IMat<E> rows(int n, std::vector<E> entries) {
  const int cols = static_cast<int>(entries.size()) / n;
  return generated<E>(n, cols, [&](int i, int j) { return entries[i * cols + j]; });
}
// The point c (+ 0i), and the element of real centre c and radius r.
template <class E> E pt(double c) {
  return Kind<E>::make(c, 0, 0);
}
template <class E> E around(double c, double r) {
  return Kind<E>::make(c, 0, r);
}
// A point or an element of radius up to `radius` (at least half of it for a
// disc, whose centre arithmetic has no error terms: its radius must dwarf the
// rounding), with a random centre whose parts have magnitudes in [lo, hi] (an
// imaginary part only for complex members): it never contains zero when lo
// exceeds the radius.
template <class E> E element(Dyadic &g, double lo, double hi, double radius = 0) {
  const double re = g.signed_between(lo, hi);
  const double im = Kind<E>::complex ? g.signed_between(lo, hi) : 0.0;
  const double r = radius > 0 ? g.between(Kind<E>::disc ? radius / 2 : 0, radius) : 0.0;
  return Kind<E>::make(re, im, r);
}
// Diagonal entries of magnitude in [2n, 2n + 1], the others in [0, 1]: the
// matrix and all of its members are strictly diagonally dominant.
template <class E> IMat<E> dominant(Dyadic &g, int n, double radius = 0, int ld = 0) {
  return generated<E>(
      n, n,
      [&](int i, int j) {
        return i == j ? element<E>(g, 2 * n, 2 * n + 1, radius) : element<E>(g, 0, 1, radius);
      },
      ld);
}

// The exact numbers of a point element (its centre).
template <class E> Mat<Field<E>> centres(const IMat<E> &m) {
  Mat<Field<E>> c(m.rows, m.cols);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i)
      c(i, j) = Kind<E>::centre(m(i, j));
  return c;
}
// A point system inside the data: each entry an exact sample of its element.
template <class E> Mat<Field<E>> sampled(const IMat<E> &m, Dyadic &g) {
  Mat<Field<E>> c(m.rows, m.cols);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i)
      c(i, j) = Kind<E>::sample(m(i, j), g);
  return c;
}
// Real data as exact interval bounds, for the solution-set hull.
template <class E> QBox exact(const IMat<E> &m) {
  QBox b(m.rows, m.cols);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i) {
      b.lo(i, j) = static_cast<double>(m(i, j).inf);
      b.hi(i, j) = static_cast<double>(m(i, j).sup);
    }
  return b;
}

// Every entry of got contains the exact value at its place.
template <class E, class F>
::testing::AssertionResult encloses(const IMat<E> &got, const Mat<F> &want) {
  for (int j = 0; j < want.cols; ++j)
    for (int i = 0; i < want.rows; ++i)
      if (!Kind<E>::contains(got(i, j), want(i, j)))
        return ::testing::AssertionFailure()
               << "entry (" << i << "," << j << ") misses the exact value";
  return ::testing::AssertionSuccess();
}
// Every entry of got contains the exact real interval at its place.
template <class E>::testing::AssertionResult encloses(const IMat<E> &got, const QBox &want) {
  for (int j = 0; j < want.lo.cols; ++j)
    for (int i = 0; i < want.lo.rows; ++i)
      if (!Kind<E>::contains(got(i, j), want.lo(i, j)) ||
          !Kind<E>::contains(got(i, j), want.hi(i, j)))
        return ::testing::AssertionFailure() << "entry (" << i << "," << j << ") misses the hull";
  return ::testing::AssertionSuccess();
}

// Bitwise equality of two arrays (NaNs compare by bits).
template <class E> bool same_bits(const IMat<E> &a, const IMat<E> &b) {
  return a.v.size() == b.v.size() &&
         std::memcmp(a.v.data(), b.v.data(), a.v.size() * sizeof(E)) == 0;
}

inline std::string trial(int k, int n) {
  return (testing::Message() << "seed " << test_seed() << " trial " << k << " n " << n).GetString();
}

// ---- The members' routines ----

// The member's routine name for a method: name<ruf_zc>("GEGAS") is "ZCGEGAS".
template <class E> std::string name(const char *method) {
  return MemberTypes<E>::code + std::string(method);
}

// A method on A (written by the inverses and GEMIP: pass one you own) and B
// with c's options and scalars, the orders and leading dimensions from the
// arrays; info, c holding what the call wrote (maxit, flag).
template <class E> int solve(const char *method, const IMat<E> &a, IMat<E> &b, Call<E> &c) {
  c.n = a.rows, c.nrhs = b.cols, c.lda = a.ld, c.ldb = b.ld;
  c.a = const_cast<E *>(a.data()), c.b = b.data();
  return invoke(method, c);
}
template <class E> int solve(const char *method, const IMat<E> &a, IMat<E> &b, Call<E> &&c = {}) {
  return solve(method, a, b, c);
}

// A method run on copies of A and B as a user runs it: the result (B, or A
// for the inverse) and info. "GEMIP+GEGSS" preconditions, encloses by
// elimination for the start and refines that; two equal discs meet in a NaN
// disc (the intersection makes no test for concentric discs), so a disc
// start may be taken at twice its radius.
template <class E>
std::pair<IMat<E>, int> run(const std::string &method, IMat<E> a, IMat<E> b, Call<E> c = {},
                            bool widen_disc_start = false) {
  if (method == "TRTRI") {
    const int info = solve<E>("TRTRI", a, a, c);
    return {a, info};
  }
  std::vector<Point<E>> x(static_cast<std::size_t>(a.rows) * b.cols + 1);
  c.x = x.data(), c.ldx = a.rows;
  if (method != "GEMIP+GEGSS") return {b, solve(method.c_str(), a, b, c)};
  int info = solve<E>("GEMIP", a, b);
  if (info != 0) return {b, info};
  IMat<E> x0 = b;
  if ((info = solve<E>("GEGAS", a, x0)) != 0) return {b, info};
  if constexpr (Kind<E>::disc)
    for (E &e : x0.v)
      e.rad *= widen_disc_start ? 2 : 1;
  c.x0 = x0.data();
  return {b, solve<E>("GEGSS", a, b, c)};
}

using RealMembers = ::testing::Types<ruf_si, ruf_di>;
using AllMembers = ::testing::Types<ruf_si, ruf_di, ruf_cr, ruf_zr, ruf_cc, ruf_zc>;
using ComplexMembers = ::testing::Types<ruf_cr, ruf_zr, ruf_cc, ruf_zc>;

template <class E> class SolverTest : public ::testing::Test {
protected:
  void SetUp() override {
    reset_doubles();
    lapack = {};
    prologues = 0;
  }
};

// ---- What every solver owes ----

// Exactly one xerbla_ report since the last reset, with these contents.
inline ::testing::AssertionResult reported(const std::string &name, int info) {
  const auto &calls = xerbla_calls();
  if (calls.size() != 1) return ::testing::AssertionFailure() << calls.size() << " reports";
  const XerblaCall &c = calls[0];
  if (c.name != name || c.info != info || c.name_len != static_cast<int>(name.size()))
    return ::testing::AssertionFailure()
           << "reported " << c.name << " " << c.info << " length " << c.name_len;
  return ::testing::AssertionSuccess();
}

} // namespace ruf_test
