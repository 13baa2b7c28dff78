// Midpoint-inverse preconditioning in place, the method of every member:
// R ~ mid(A)^-1 from LAPACK in point arithmetic, then A := R·A and B := R·B,
// both products enclosed.
#pragma once

#include <optional>
#include <utility>

#include "frame/solver_frame.h"
#include "solvers/point_inverse.h"

namespace ruf::solver {

// d(i, j) := the sum over k ascending of r(i, k)·x(k, j), from the point 0.
template <class M, class Dst, class Pt, class Src>
void point_times_matrix(const Dst &d, const Pt &r, const Src &x, int n, int cols) {
  typename M::elem p;
  for (int j = 1; j <= cols; ++j)
    for (int i = 1; i <= n; ++i) {
      typename M::elem &s = d(i, j);
      M::zero(&s);
      for (int k = 1; k <= n; ++k) {
        M::point_times(&p, &r(i, k), &x(k, j));
        M::addi(&s, &s, &p); // the sum may be its own first operand
      }
    }
}

// The name a failed allocation of the pivot vector is reported under.
template <class M> constexpr frame::Name pivots_name() {
  if constexpr (requires { M::pivots_name; })
    return M::pivots_name;
  else
    return M::name;
}

// A member names when getri's work vector is obtained: with the pivots before
// the factorisation (work_before_factoring), or only after a successful one.
template <class M>
void gemip(const int *n_, const int *nrhs_, typename M::elem *a_, const int *lda,
           typename M::elem *b_, const int *ldb, int *info) {
  using E = typename M::elem;
  using P = typename M::point;
  frame::Check c{info};
  c.order(*n_, 1).order(*nrhs_, 2).lead(*lda, *n_, 4).lead(*ldb, *n_, 6);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  ws::Matrix<typename M::point_work> am;
  ws::Matrix<typename M::work> p, q;
  if (!get(am, n, n) || !get(p, n, n) || !get(q, n, nrhs)) return;

  const ws::View<E> a{a_, *lda}, b{b_, *ldb};
  const ws::View<P> r{am.data(), n};
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      r(i, j) = M::mid(&a(i, j));

  const int lwork = M::lwork_per_order * n;
  ws::Vector<typename M::point_work> work;
  ws::Vector<typename M::pivot_work> pivots;
  if constexpr (M::work_before_factoring) {
    if (!get(work, lwork)) return;
  }
  if (!get(pivots, n, pivots_name<M>())) return;
  const auto late_work = [&]() -> std::pair<P *, int> {
    if constexpr (!M::work_before_factoring) {
      if (!get(work, lwork)) return {nullptr, 0};
    }
    return {work.data(), lwork};
  };
  // A zero pivot is reported as the factorisation's own index, a failed
  // inversion as 1. A and B are untouched, and the workspace stays allocated
  // except the work and pivot vectors once getri has run: intended, callers
  // only act on info.
  std::optional<Step> failed;
  const bool inverted =
      point_inverse<M>(n, am.data(), pivots.data(), late_work, [&](Step step, int status) {
        failed = step;
        *info = step == Step::factorisation ? status : 1;
        return true;
      });
  if (!inverted && failed != Step::inversion) return;
  ws::release(work, pivots);
  if (!inverted) return;

  // R itself is a plain point matrix: only the products are enclosed, and
  // nothing checks how close R·A comes to the identity.
  const ws::View<E> pv{p.data(), n}, qv{q.data(), n};
  point_times_matrix<M>(pv, r, a, n, n);
  point_times_matrix<M>(qv, r, b, n, nrhs);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&a(i, j), &pv(i, j));
  for (int j = 1; j <= nrhs; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, j), &qv(i, j));
  ws::release(am, p, q);
}

} // namespace ruf::solver
