// A dense two-phase simplex for the small linear programs of the hull
// bounds: maximise c·u subject to G u <= h and u >= 0. It works in plain
// floating point with Bland's rule (no cycling). Nothing depends on its
// accuracy: the callers turn the multipliers it returns into rigorous bounds
// by weak duality, and its points into verified ones.
#pragma once

#include <cmath>
#include <cstddef>

namespace ruf::solver::lp {

enum class Status { optimal, infeasible, stalled };

// The tableau lives in caller storage: rows() x width() doubles (row-major)
// and rows() - 1 basis entries. Columns: the n structural variables, the m
// slacks, the m artificials, the right-hand side. Row m is the objective
// row, holding reduced costs.
struct Simplex {
  int m, n;
  double *t;
  int *basis;

  Simplex(int rows, int cols, double *tableau, int *basis_)
      : m(rows), n(cols), t(tableau), basis(basis_) {}

  static int width(int m, int n) { return n + 2 * m + 1; }
  int w() const { return width(m, n); }
  double &at(int r, int c) const { return t[static_cast<std::ptrdiff_t>(r) * w() + c]; }
  int rhs() const { return n + 2 * m; }
  bool artificial(int c) const { return c >= n + m && c < n + 2 * m; }

  // Multipliers of the rows, read from the objective row: y_i = -d(slack i).
  // Rows whose right-hand side was negative were negated for the start, and
  // the formula holds for both signs.
  void multipliers(double *y) const {
    for (int i = 0; i < m; ++i)
      y[i] = std::fmax(0.0, -at(m, n + i));
  }

  // g: m x n column-major (ld m); h: m; c: n. After optimal, u receives the
  // point and y the multipliers of the optimum; after infeasible, y receives
  // the phase-one multipliers (a Farkas combination: y·G >= 0, y·h < 0).
  Status solve(const double *g, const double *h, const double *c, double *u, double *y) {
    double scale = 1;
    for (int i = 0; i < m; ++i) {
      scale = std::fmax(scale, std::fabs(h[i]));
      for (int j = 0; j < n; ++j)
        scale = std::fmax(scale, std::fabs(g[i + static_cast<std::ptrdiff_t>(j) * m]));
    }
    tol_ = 1e-11 * scale;
    for (int r = 0; r <= m; ++r)
      for (int col = 0; col < w(); ++col)
        at(r, col) = 0;
    for (int i = 0; i < m; ++i) {
      const double s = h[i] < 0 ? -1.0 : 1.0;
      for (int j = 0; j < n; ++j)
        at(i, j) = s * g[i + static_cast<std::ptrdiff_t>(j) * m];
      at(i, n + i) = s;
      at(i, rhs()) = s * h[i];
      if (s < 0) {
        at(i, n + m + i) = 1;
        basis[i] = n + m + i;
      } else {
        basis[i] = n + i;
      }
    }
    // Phase one: maximise minus the sum of the artificials.
    for (int col = 0; col < w(); ++col) {
      double d = artificial(col) ? -1.0 : 0.0;
      for (int i = 0; i < m; ++i)
        if (artificial(basis[i])) d += at(i, col);
      at(m, col) = artificial(col) && is_basic(col) ? 0.0 : d;
    }
    if (!iterate(true)) return Status::stalled;
    if (at(m, rhs()) > tol_) { // the objective row holds -(-sum): positive when infeasible
      multipliers(y);
      return Status::infeasible;
    }
    drive_out_artificials();
    // Phase two: the objective row from c.
    for (int col = 0; col < w(); ++col) {
      double d = col < n ? c[col] : 0.0;
      for (int i = 0; i < m; ++i)
        if (basis[i] < n) d -= c[basis[i]] * at(i, col);
      at(m, col) = d;
    }
    for (int i = 0; i < m; ++i)
      if (basis[i] < n) at(m, basis[i]) = 0;
    if (!iterate(false)) return Status::stalled;
    for (int j = 0; j < n; ++j)
      u[j] = 0;
    for (int i = 0; i < m; ++i)
      if (basis[i] < n) u[basis[i]] = std::fmax(0.0, at(i, rhs()));
    multipliers(y);
    return Status::optimal;
  }

private:
  double tol_ = 0;

  bool is_basic(int col) const {
    for (int i = 0; i < m; ++i)
      if (basis[i] == col) return true;
    return false;
  }

  void pivot(int r, int col) {
    const double p = at(r, col);
    for (int c2 = 0; c2 < w(); ++c2)
      at(r, c2) /= p;
    at(r, col) = 1;
    for (int r2 = 0; r2 <= m; ++r2) {
      if (r2 == r) continue;
      const double f = at(r2, col);
      if (f == 0) continue;
      for (int c2 = 0; c2 < w(); ++c2)
        at(r2, c2) -= f * at(r, c2);
      at(r2, col) = 0;
    }
    basis[r] = col;
  }

  // Bland's rule until no reduced cost is positive. The objective value sits
  // in the objective row's right-hand side, negated.
  bool iterate(bool phase_one) {
    const int limit = 50 * (m + n) + 100;
    for (int step = 0; step < limit; ++step) {
      int enter = -1;
      for (int col = 0; col < rhs() && enter < 0; ++col)
        if ((phase_one || !artificial(col)) && at(m, col) > tol_) enter = col;
      if (enter < 0) return true;
      int leave = -1;
      double best = 0;
      for (int i = 0; i < m; ++i) {
        if (!(at(i, enter) > tol_)) continue;
        const double ratio = at(i, rhs()) / at(i, enter);
        if (leave < 0 || ratio < best || (ratio == best && basis[i] < basis[leave])) {
          leave = i;
          best = ratio;
        }
      }
      if (leave < 0) return false; // unbounded: the callers' programs are bounded
      pivot(leave, enter);
    }
    return false;
  }

  void drive_out_artificials() {
    for (int i = 0; i < m; ++i) {
      if (!artificial(basis[i])) continue;
      for (int col = 0; col < n + m; ++col)
        if (std::fabs(at(i, col)) > tol_) {
          pivot(i, col);
          break;
        }
    }
  }
};

} // namespace ruf::solver::lp
