// Exact arithmetic for the oracles: GMP rationals, Gaussian rationals, and
// column-major matrices over either with an exact solver.
#pragma once

#include <gmpxx.h>

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

namespace ruf_test {

using Q = mpq_class;

// A Gaussian rational.
struct QC {
  Q re, im;
  QC(Q r = 0, Q i = 0) : re(std::move(r)), im(std::move(i)) {}
  friend QC operator+(const QC &a, const QC &b) { return {a.re + b.re, a.im + b.im}; }
  friend QC operator-(const QC &a, const QC &b) { return {a.re - b.re, a.im - b.im}; }
  friend QC operator*(const QC &a, const QC &b) {
    return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
  }
  friend QC operator/(const QC &a, const QC &b) {
    const Q d = b.re * b.re + b.im * b.im;
    return {(a.re * b.re + a.im * b.im) / d, (a.im * b.re - a.re * b.im) / d};
  }
  QC &operator-=(const QC &b) { return *this = *this - b; }
  QC &operator/=(const QC &b) { return *this = *this / b; }
  friend bool operator==(const QC &a, const QC &b) { return a.re == b.re && a.im == b.im; }
};
inline bool is_zero(const Q &q) {
  return sgn(q) == 0;
}
inline bool is_zero(const QC &q) {
  return sgn(q.re) == 0 && sgn(q.im) == 0;
}
inline QC conj(const QC &q) {
  return {q.re, -q.im};
}
inline Q conj(const Q &q) {
  return q;
}

// Column-major exact matrix, 0-based.
template <class F> struct Mat {
  int rows = 0, cols = 0;
  std::vector<F> a;
  Mat() = default;
  Mat(int r, int c) : rows(r), cols(c), a(static_cast<std::size_t>(r) * c) {}
  F &operator()(int i, int j) { return a[i + static_cast<std::size_t>(j) * rows]; }
  const F &operator()(int i, int j) const { return a[i + static_cast<std::size_t>(j) * rows]; }
};
using QMat = Mat<Q>;

template <class F> Mat<F> identity(int n) {
  Mat<F> e(n, n);
  for (int i = 0; i < n; ++i)
    e(i, i) = F(1);
  return e;
}

// Solves A X = B exactly (any nonzero pivot); nullopt when A is singular.
template <class F> std::optional<Mat<F>> solve(Mat<F> A, Mat<F> B) {
  const int n = A.rows;
  for (int k = 0; k < n; ++k) {
    int r = k;
    while (r < n && is_zero(A(r, k)))
      ++r;
    if (r == n) return std::nullopt;
    for (int j = 0; j < n && r != k; ++j)
      std::swap(A(k, j), A(r, j));
    for (int j = 0; j < B.cols && r != k; ++j)
      std::swap(B(k, j), B(r, j));
    for (int i = k + 1; i < n; ++i) {
      if (is_zero(A(i, k))) continue;
      const F f = A(i, k) / A(k, k);
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

// An exact real interval matrix.
struct QBox {
  QMat lo, hi;
  QBox() = default;
  QBox(int r, int c) : lo(r, c), hi(r, c) {}
};

// The exact hull of { X : A X = B, A in [A], B in [B] }, column by column,
// for a regular real interval matrix of small order. The hull's extreme points
// are solutions of the sign-vertex systems (Ac - Ty D Tz) x = bc + Ty d over
// all sign vectors y and z (Rohn), so 4^n exact solves give it exactly.
// nullopt when a vertex system is singular.
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

} // namespace ruf_test
