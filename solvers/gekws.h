// Krawczyk iteration for A·X = B, the method of every member: R ~ mid(A)^-1
// from LAPACK, E = I - R·A and R·B enclosed, a starting box from ||E||inf,
// then x := (R·b + E·x) ∩ x until the total change falls to the tolerance.
// The enclosures overwrite B.
//
// Besides the member's traits, a member of this method names: the count of
// point n x n work matrices; how the unit and zero elements that start E and
// R·B are made (start_unit, start_zero); how the starting box fills x
// (fill_start); the order of the inversion's allocations (pivots_first); and
// what a failed factorisation or inversion means (failed_inversion), and
// whether the method goes on after the inversion could not allocate.
#pragma once

#include <array>
#include <cstddef>

#include "frame/solver_frame.h"
#include "solvers/point_inverse.h"

namespace ruf::solver {

template <class M> using PointMatrix = ws::Matrix<typename M::point_work>;

// R := Am^-1 on a private copy of Am. Allocation failures are reported under
// the method's name (info = 1000) and end the inversion, R as it was. A failed
// factorisation or inversion is the member's failed_inversion(info), which
// answers whether R keeps its contents (true) or takes what LAPACK left.
// Returns false when the inversion could not allocate.
template <class M>
bool krawczyk_inverse(int n, int *info, const PointMatrix<M> &am, const PointMatrix<M> &r) {
  const int lwork = M::lwork_per_order * n;
  frame::Allocation get{info, M::name};
  ws::Vector<typename M::pivot_work> pivots;
  PointMatrix<M> copy;
  ws::Vector<typename M::point_work> work;
  const bool allocated = M::pivots_first ? get(pivots, n) && get(copy, n, n) && get(work, lwork)
                                         : get(copy, n, n) && get(pivots, n) && get(work, lwork);
  if (!allocated) return false;
  const std::size_t count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  for (std::size_t k = 0; k < count; ++k)
    copy.data()[k] = am.data()[k];
  const bool inverted = point_inverse<M>(n, copy.data(), pivots.data(), ready(work, lwork),
                                         [&](Step, int) { return M::failed_inversion(info); });
  if (!inverted) return true;
  for (std::size_t k = 0; k < count; ++k)
    r.data()[k] = copy.data()[k];
  ws::release(pivots, copy, work);
  return true;
}

template <class M, class... Lengths>
void gekws(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, const typename M::real *eps,
           int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  using P = typename M::point;
  frame::Check c{info};
  c.option(trans, "CcTtNn", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  c.lead(*ldb, *n_, 7).nonnegative(*eps, 8);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  std::array<PointMatrix<M>, M::point_matrices> points;
  for (auto &m : points)
    if (!get(m, n, n)) return;
  ws::Matrix<typename M::work> w, em, z;
  ws::Vector<typename M::work> x, y;
  if (!get(w, n, n) || !get(em, n, n) || !get(z, n, nrhs) || !get(x, n) || !get(y, n)) return;
  const PointMatrix<M> &am = points[0], &rm = points[1];

  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  const ws::View<E> wv{w.data(), n}, ev{em.data(), n}, zv{z.data(), n};
  const ws::View<P> amv{am.data(), n}, r{rm.data(), n};
  E *const xp = x.data(), *const yp = y.data();
  const auto xv = [xp](int i) -> E & { return xp[i - 1]; };
  const auto yv = [yp](int i) -> E & { return yp[i - 1]; };

  frame::prepare<M>(wv, a, n, trans);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      amv(i, j) = M::mid(&wv(i, j));
      // R starts at zero, so a failed inversion leaves a defined R behind.
      r(i, j) = P{};
    }

  if (!krawczyk_inverse<M>(n, info, am, rm) && !M::goes_on_without_inverse) return;

  // E := I - R·W and Z := R·B.
  E p;
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      E &e = ev(i, j);
      if (i == j)
        M::start_unit(&e);
      else
        M::start_zero(&e);
      for (int k = 1; k <= n; ++k) {
        M::point_times(&p, &r(i, k), &wv(k, j));
        M::subt(&e, &e, &p);
      }
    }
  for (int col = 1; col <= nrhs; ++col)
    for (int i = 1; i <= n; ++i) {
      E &e = zv(i, col);
      M::start_zero(&e);
      for (int k = 1; k <= n; ++k) {
        M::point_times(&p, &r(i, k), &b(k, col));
        M::addi(&e, &e, &p);
      }
    }

  T q = T(0);
  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += M::mag(&ev(i, j));
    frame::raise_to(q, s);
  }
  // Not a contraction: nothing is verified. B is untouched and the workspace
  // stays allocated; intended, callers act on info = 1 alone.
  if (q >= T(1)) {
    *info = 1;
    return;
  }
  const T tol = (*eps * q) / (T(1) - q);

  E s;
  for (int col = 1; col <= nrhs; ++col) {
    T beta = T(0);
    for (int i = 1; i <= n; ++i)
      frame::raise_to(beta, M::mag(&zv(i, col)));
    M::fill_start(xv, n, beta / (T(1) - q));

    // No iteration limit: the loop ends when the change is at most tol or is
    // NaN, so a NaN tolerance gives one repetition and an infinite one none.
    // Intended; callers choose eps (and so tol) to bound the work.
    if (!(tol >= M::largest)) {
      T d;
      do {
        for (int i = 1; i <= n; ++i) {
          s = zv(i, col);
          for (int j = 1; j <= n; ++j) {
            M::mult(&p, &ev(i, j), &xv(j));
            M::addi(&s, &s, &p);
          }
          M::ix(&yv(i), &s, &xv(i));
        }
        d = T(0);
        for (int i = 1; i <= n; ++i)
          d += M::dist(&xv(i), &yv(i));
        for (int i = 1; i <= n; ++i)
          xv(i) = yv(i);
      } while (d > tol);
    }
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, col), &xv(i));
  }
  for (auto &m : points)
    m.release();
  ws::release(w, em, z, x, y);
}

} // namespace ruf::solver
