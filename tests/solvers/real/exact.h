// Exact oracles for the solver tests: GMP rationals, exact solutions and
// inverses of point systems, the exact hull of the solution set of a small
// interval system, containment checks, generators of test data (all exact in
// float), caller arrays, and a check of the error report.
#pragma once

#include <gmp.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/doubles.h"

namespace ruf_test {

// An exact rational number.
class Q {
public:
  Q() { mpq_init(v_); }
  Q(long n) : Q() { mpq_set_si(v_, n, 1); }
  // Exact for every finite float or double.
  explicit Q(double d) : Q() { mpq_set_d(v_, d); }
  Q(const Q &o) : Q() { mpq_set(v_, o.v_); }
  Q(Q &&o) noexcept : Q() { mpq_swap(v_, o.v_); }
  Q &operator=(const Q &o) {
    mpq_set(v_, o.v_);
    return *this;
  }
  Q &operator=(Q &&o) noexcept {
    mpq_swap(v_, o.v_);
    return *this;
  }
  ~Q() { mpq_clear(v_); }

  friend Q operator+(const Q &a, const Q &b) { return op(mpq_add, a, b); }
  friend Q operator-(const Q &a, const Q &b) { return op(mpq_sub, a, b); }
  friend Q operator*(const Q &a, const Q &b) { return op(mpq_mul, a, b); }
  friend Q operator/(const Q &a, const Q &b) { return op(mpq_div, a, b); }
  Q operator-() const {
    Q r;
    mpq_neg(r.v_, v_);
    return r;
  }
  friend int cmp(const Q &a, const Q &b) { return mpq_cmp(a.v_, b.v_); }
  friend bool operator<(const Q &a, const Q &b) { return cmp(a, b) < 0; }
  friend bool operator<=(const Q &a, const Q &b) { return cmp(a, b) <= 0; }
  friend bool operator==(const Q &a, const Q &b) { return mpq_equal(a.v_, b.v_) != 0; }
  int sign() const { return mpq_sgn(v_); }
  double approx() const { return mpq_get_d(v_); }

private:
  template <class F> static Q op(F f, const Q &a, const Q &b) {
    Q r;
    f(r.v_, a.v_, b.v_);
    return r;
  }
  mpq_t v_;
};

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
    while (r < n && A(r, k).sign() == 0)
      ++r;
    if (r == n) return std::nullopt;
    if (r != k) {
      for (int j = 0; j < n; ++j)
        std::swap(A(k, j), A(r, j));
      for (int j = 0; j < B.cols; ++j)
        std::swap(B(k, j), B(r, j));
    }
    for (int i = k + 1; i < n; ++i) {
      if (A(i, k).sign() == 0) continue;
      const Q f = A(i, k) / A(k, k);
      for (int j = k + 1; j < n; ++j)
        A(i, j) = A(i, j) - f * A(k, j);
      for (int j = 0; j < B.cols; ++j)
        B(i, j) = B(i, j) - f * B(k, j);
    }
  }
  for (int c = 0; c < B.cols; ++c)
    for (int i = n - 1; i >= 0; --i) {
      Q s = B(i, c);
      for (int j = i + 1; j < n; ++j)
        s = s - A(i, j) * B(j, c);
      B(i, c) = s / A(i, i);
    }
  return B;
}

inline QMat identity(int n) {
  QMat e(n, n);
  for (int i = 0; i < n; ++i)
    e(i, i) = Q(1L);
  return e;
}

// An interval matrix or right-hand side with exact bounds.
struct QBox {
  QMat lo, hi;
  QBox() = default;
  QBox(int r, int c) : lo(r, c), hi(r, c) {}
};

// The exact hull of { X : A X = B, A in [A], B in [B] }, column by column,
// for a regular interval matrix of small order. The hull's extreme points are
// solutions of the sign-vertex systems (Ac - Ty D Tz) x = bc + Ty d over all
// sign vectors y and z (Rohn), so 4^n exact solves give it exactly. Every
// candidate is itself a solution, so containment of the candidates alone is
// already a necessary condition. nullopt when a vertex system is singular.
inline std::optional<QBox> solution_hull(const QBox &A, const QBox &B) {
  const int n = A.lo.rows;
  QBox hull(n, B.lo.cols);
  std::vector<bool> seen(B.lo.cols, false);
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
      for (int c = 0; c < B.lo.cols; ++c) {
        for (int i = 0; i < n; ++i) {
          if (!seen[c] || (*x)(i, c) < hull.lo(i, c)) hull.lo(i, c) = (*x)(i, c);
          if (!seen[c] || hull.hi(i, c) < (*x)(i, c)) hull.hi(i, c) = (*x)(i, c);
        }
        seen[c] = true;
      }
    }
  return hull;
}

// Whether the interval [lo, hi] (doubles or floats) contains q; NaN bounds
// contain nothing.
template <class T> bool contains(T lo, T hi, const Q &q) {
  if (std::isnan(lo) || std::isnan(hi)) return false;
  const bool lo_ok = std::isinf(lo) ? lo < 0 : Q(static_cast<double>(lo)) <= q;
  const bool hi_ok = std::isinf(hi) ? hi > 0 : q <= Q(static_cast<double>(hi));
  return lo_ok && hi_ok;
}
template <class I> bool contains(const I &iv, const Q &q) {
  return contains(iv.inf, iv.sup, q);
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

// Test data: dyadic numbers with at most 21 significant bits, so that float
// and double hold them exactly and the systems' solutions need rounding.
class Dyadic {
public:
  explicit Dyadic(std::uint64_t seed) : rng_(seed) {}
  // Uniform in [-1, 1] on the grid 2^-20.
  double any() { return std::uniform_int_distribution<int>(-(1 << 20), 1 << 20)(rng_) * 0x1p-20; }
  // In [lo, hi] on the grid 2^-20.
  double between(double lo, double hi) {
    const int a = static_cast<int>(std::ceil(lo * 0x1p20)),
              b = static_cast<int>(std::floor(hi * 0x1p20));
    return std::uniform_int_distribution<int>(a, b)(rng_) * 0x1p-20;
  }
  bool coin() { return std::uniform_int_distribution<int>(0, 1)(rng_) == 1; }
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

// Caller arrays of intervals, column-major with a leading dimension, and
// their exact counterparts.
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

template <class I> IMat<I> filled(int rows, int cols, I v, int ld = 0) {
  IMat<I> m(rows, cols, ld);
  for (auto &e : m.v)
    e = v;
  return m;
}

// Exactly one xerbla_ report since the last reset, with these contents.
inline ::testing::AssertionResult reported(const std::string &name, int info, int name_len = 7) {
  const auto &calls = xerbla_calls();
  if (calls.size() != 1) return ::testing::AssertionFailure() << calls.size() << " reports";
  const XerblaCall &c = calls[0];
  if (c.name != name || c.info != info || c.name_len != name_len)
    return ::testing::AssertionFailure()
           << "reported " << c.name << " " << c.info << " length " << c.name_len;
  return ::testing::AssertionSuccess();
}

template <class I> QBox exact(const IMat<I> &m) {
  QBox b(m.rows, m.cols);
  for (int j = 0; j < m.cols; ++j)
    for (int i = 0; i < m.rows; ++i) {
      b.lo(i, j) = Q(static_cast<double>(m(i, j).inf));
      b.hi(i, j) = Q(static_cast<double>(m(i, j).sup));
    }
  return b;
}

// The point matrix of a thin interval matrix.
template <class I> QMat exact_point(const IMat<I> &m) {
  return exact(m).lo;
}

// Bitwise equality of two interval arrays (NaNs compare by bits).
template <class I> bool same_bits(const IMat<I> &a, const IMat<I> &b) {
  return a.v.size() == b.v.size() &&
         std::memcmp(a.v.data(), b.v.data(), a.v.size() * sizeof(I)) == 0;
}

} // namespace ruf_test
