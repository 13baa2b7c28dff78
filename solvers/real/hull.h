// What the two hull-bound solvers share: the argument frame, the verified
// starting enclosure, verified points of the solution set, the bracket and
// the saved variables. Our own design, rigorous throughout: every interval
// product is the textbook one of scalar/rigorous.h, never the elementary
// multiplication (whose rule for two zero-straddling factors narrows it),
// and no bound is rebuilt from a midpoint and a radius.
//
// The routines bracket one endpoint of the hull of the united solution set
// S = {x : A x = b, A in [A], b in [b]}: for "U" the largest x_k over S, for
// "L" the smallest. The lower endpoint of x_k is minus the upper endpoint of
// the system with b negated, so the methods only ever bracket a maximum.
//
// Both members compute in double: single data widen exactly, and the single
// bracket is the double one rounded outward.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <type_traits>

#include "ruf_interval.h"

#include "frame/lapack.h"
#include "frame/solver_frame.h"
#include "frame/workspace.h"
#include "scalar/rigorous.h"
#include "solvers/verified.h"

namespace ruf::solver::hull {

namespace rg = ruf::rigorous;
namespace vf = ruf::verified;
using vf::di;
using vf::Iv;
using vf::iv;

// The double arrays one call works on, all from the workspace module.
struct Arrays {
  int n = 0;
  ws::Matrix<ws::di> a;  // the prepared copy of A, widened to double
  ws::Vector<ws::di> b;  // b, negated for a lower endpoint
  ws::Matrix<ws::d> r;   // ~ mid(A)^-1
  ws::Matrix<ws::di> c;  // I - R·A
  ws::Vector<ws::di> rb; // R·b
  ws::Vector<ws::di> x;  // the verified enclosure of S
  ws::Vector<ws::di> s1, s2;
  ws::Vector<ws::i4> pivots;
  ws::Vector<ws::d> work;

  ruf_di *pa() const { return a.data(); }
  vf::Map map() const { return {n, c.data(), rb.data()}; }
  void release() { ws::release(a, b, r, c, rb, x, s1, s2, pivots, work); }
};

// One workspace record (a dis/sis or dlst/slst), reported like the arrays.
inline bool record(void (*allocate)(void **, int *), void **p, int *info, frame::Name name) {
  int stat = 0;
  allocate(p, &stat);
  if (stat == 0 || stat == 2) return true;
  *info = RUF_INFO_NO_WORKSPACE;
  xerbla_(name.text, info, name.length);
  return false;
}

// Checks in declared order: trans (1), n (2), lda (4), k (6), eps (7), ul
// (8), maxit (9).
template <class T>
bool checks_fail(frame::Check &c, const char *trans, int n, int lda, int k, T eps, const char *ul,
                 int maxit) {
  c.option(trans, "NnTtCc", 1).order(n, 2).lead(lda, n, 4).rule(k >= 1 && k <= (n > 1 ? n : 1), 6);
  c.nonnegative(eps, 7).option(ul, "UuLl", 8).rule(maxit >= 1, 9);
  return c.failed();
}

// Allocations, then W := A widened (the lower triangle mirrored onto the
// upper one for "T" and "C", as every general real solver prepares its
// copy), b (negated for "L").
template <class E>
bool prepare(frame::Allocation &get, Arrays &w, int n, const E *a_, int lda, const E *b_,
             const char *trans, bool lower) {
  w.n = n;
  // n x n intervals are the largest arrays here; the methods check their own.
  if (!get.fits(static_cast<long long>(n) * n, 16)) return false;
  if (!get(w.a, n, n) || !get(w.b, n) || !get(w.r, n, n) || !get(w.c, n, n) || !get(w.rb, n) ||
      !get(w.x, n) || !get(w.s1, n) || !get(w.s2, n) || !get(w.pivots, n) || !get(w.work, 64 * n))
    return false;
  const ws::View<const E> a{a_, lda};
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      w.a(i, j) = {a(i, j).inf, a(i, j).sup};
  if (frame::option_is(trans, "TtCc"))
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i < j; ++i)
        w.a(i, j) = w.a(j, i);
  for (int i = 1; i <= n; ++i)
    w.b(i) = lower ? ruf_di{-b_[i - 1].sup, -b_[i - 1].inf} : ruf_di{b_[i - 1].inf, b_[i - 1].sup};
  return true;
}

// R := a floating-point inverse of the midpoint matrix (any R would do: it
// only has to make the existence test succeed), then C and R·b, and the
// enclosure x of S. False when R or the test fails: [A] is then not proven
// regular, and S may be unbounded.
inline bool enclose(Arrays &w) {
  const int n = w.n;
  double *r = w.r.data();
  const ruf_di *a = w.pa();
  for (std::ptrdiff_t q = 0; q < static_cast<std::ptrdiff_t>(n) * n; ++q)
    r[q] = a[q].inf / 2 + a[q].sup / 2;
  int status = 0, lwork = 64 * n;
  dgetrf_(&n, &n, r, &n, w.pivots.data(), &status);
  if (status != 0) return false;
  dgetri_(&n, r, &n, w.pivots.data(), w.work.data(), &lwork, &status);
  if (status != 0) return false;
  for (std::ptrdiff_t q = 0; q < static_cast<std::ptrdiff_t>(n) * n; ++q)
    if (!std::isfinite(r[q])) return false;
  rg::Upward scope;
  vf::residual(n, r, a, n, w.c.data());
  vf::apply(n, r, w.b.data(), w.rb.data());
  ruf_di *x = w.x.data();
  for (int i = 0; i < n; ++i) {
    const double m = w.rb(i + 1).inf / 2 + w.rb(i + 1).sup / 2;
    x[i] = {m, m};
  }
  if (!vf::exists(w.map(), x, w.s1.data())) return false;
  for (int i = 0; i < n; ++i)
    x[i] = w.s1(i + 1);
  vf::narrow(w.map(), x, w.s2.data(), [](const ruf_di *) { return false; });
  return true;
}

// Storage of vertex_point.
struct VertexWork {
  ws::Matrix<ws::d> r;     // the vertex matrix's own inverse
  ws::Matrix<ws::di> a, c; // the vertex matrix, I - R·A_v
  ws::Vector<ws::di> rb, y, z;
  ws::Vector<ws::i4> signs, rows; // the search's current vertex
  bool allocate(frame::Allocation &get, int n) {
    return get(r, n, n) && get(a, n, n) && get(c, n, n) && get(rb, n) && get(y, n) && get(z, n) &&
           get(signs, n) && get(rows, n);
  }
  void release() { ws::release(r, a, c, rb, y, z, signs, rows); }
};

// A verified point of S: the solution of the vertex system whose rows are
// picked by `row_upper(i)` (true: the matrix that minimises row i over [A]
// in the orthant of signs `sign`, with b's upper bound; false: the one that
// maximises it, with b's lower bound), enclosed by the Krawczyk test with
// the vertex matrix's own inverse. For x in the orthant of signs s, min over
// [A] of (A x)_i takes A's lower endpoint where s_j = +1 and the upper one
// elsewhere; those endpoints are entries of some A in [A], so the solution is
// a point of S. Returns the lower bound of its component k (-inf when the
// vertex matrix cannot be inverted or the test fails).
template <class Sign, class Upper>
double vertex_point(Arrays &w, VertexWork &v, int k, Sign sign, Upper row_upper) {
  const int n = w.n;
  constexpr double none = -std::numeric_limits<double>::infinity();
  ruf_di *av = v.a.data(), *rb = v.rb.data(), *y = v.y.data(), *z = v.z.data();
  double *r = v.r.data();
  for (int i = 0; i < n; ++i) {
    const bool upper = row_upper(i);
    for (int j = 0; j < n; ++j) {
      const ruf_di &e = w.a(i + 1, j + 1);
      const double x = upper == (sign(j) >= 0) ? e.inf : e.sup;
      vf::at(av, n, i, j) = {x, x};
      r[i + static_cast<std::ptrdiff_t>(j) * n] = x;
    }
    const double bi = upper ? w.b(i + 1).sup : w.b(i + 1).inf;
    y[i] = {bi, bi};
  }
  int status = 0, lwork = 64 * n;
  dgetrf_(&n, &n, r, &n, w.pivots.data(), &status);
  if (status != 0) return none;
  dgetri_(&n, r, &n, w.pivots.data(), w.work.data(), &lwork, &status);
  if (status != 0) return none;
  for (std::ptrdiff_t q = 0; q < static_cast<std::ptrdiff_t>(n) * n; ++q)
    if (!std::isfinite(r[q])) return none;
  rg::Upward scope;
  vf::residual(n, r, av, n, v.c.data());
  vf::apply(n, r, y, rb);
  const vf::Map image{n, v.c.data(), rb};
  for (int i = 0; i < n; ++i) {
    const double m = rb[i].inf / 2 + rb[i].sup / 2;
    y[i] = {m, m};
  }
  if (!vf::exists(image, y, z)) return none;
  vf::narrow(
      image, z, y, [](const ruf_di *) { return false; }, 4);
  return z[k].inf;
}

// A local search for a large x_k over the vertices (the sign-accord idea):
// from the vertex of `sign` and `row_upper`, move to the vertex that the
// derivatives of x_k at the last verified point favour, d x_k / d b_i = r_i
// and d x_k / d A_ij = -r_i x_j with r the row k of the vertex matrix's
// inverse, until the vertex repeats (at most n + 2 moves). Returns the best
// lower bound found.
template <class Sign, class Upper>
double best_vertex(Arrays &w, VertexWork &v, int k, Sign sign, Upper row_upper) {
  const int n = w.n;
  for (int i = 0; i < n; ++i) {
    v.signs(i + 1) = sign(i) >= 0 ? 1 : -1;
    v.rows(i + 1) = row_upper(i) ? 1 : 0;
  }
  double best = -std::numeric_limits<double>::infinity();
  for (int move = 0; move < n + 2; ++move) {
    const double lo = vertex_point(
        w, v, k, [&](int j) { return v.signs(j + 1); }, [&](int i) { return v.rows(i + 1) != 0; });
    best = std::fmax(best, lo);
    if (!(lo > -std::numeric_limits<double>::infinity())) break;
    bool moved = false;
    for (int i = 0; i < n; ++i) {
      const int up = vf::at(v.r.data(), n, k, i) >= 0 ? 1 : 0;
      const ruf_di &x = v.z(i + 1);
      const int s = x.inf / 2 + x.sup / 2 >= 0 ? 1 : -1;
      moved = moved || up != v.rows(i + 1) || s != v.signs(i + 1);
      v.rows(i + 1) = up;
      v.signs(i + 1) = s;
    }
    if (!moved) break;
  }
  return best;
}

// The result: the bracket [lo, hi] of the maximum, turned back for "L",
// rounded outward to the member's precision; info 0 when its width meets
// eps, else 1 (the work ran out, or eps asks for more than the arithmetic
// can prove). Returns the relative width for $EPS.
template <class E, class T>
double finish(double lo, double hi, bool lower, T eps, E *bound, int *info) {
  if (lower) {
    const double t = lo;
    lo = -hi;
    hi = -t;
  }
  if constexpr (std::is_same_v<T, float>) {
    rg::Upward scope;
    const float up = rg::pinned(static_cast<float>(rg::pinned(hi)));
    const float down = -rg::pinned(static_cast<float>(rg::pinned(-lo)));
    *bound = {down, up};
  } else {
    *bound = {lo, hi};
  }
  double width, scale;
  {
    rg::Upward scope;
    width = rg::sub_up(static_cast<double>(bound->sup), static_cast<double>(bound->inf));
    scale = std::fmax(1.0, std::fmax(std::fabs(static_cast<double>(bound->inf)),
                                     std::fabs(static_cast<double>(bound->sup))));
  }
  *info = width <= static_cast<double>(eps) * scale ? 0 : 1;
  return width / scale;
}

// [A] not proven regular: the bound is the entire line, info 2.
template <class E> void unproven(E *bound, int *info) {
  using T = decltype(bound->inf);
  *bound = {-std::numeric_limits<T>::infinity(), std::numeric_limits<T>::infinity()};
  *info = 2;
}

} // namespace ruf::solver::hull
