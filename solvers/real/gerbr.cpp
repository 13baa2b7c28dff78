// Floating-point regularity and singularity test of an interval matrix
// A = [Ac - D, Ac + D]. Regular when the spectral radius of
// |I - R Ac| + |R| D is below 1 for R ~ Ac^-1; singular when Ac is singular
// in floating point, or when some column j has |I - Ac R| + I <= D |R|
// throughout (with an exact inverse: (D |Ac^-1|)(j,j) >= 1). Rounds to
// nearest throughout: the verdicts are not guaranteed.
#include <cmath>
#include <limits>

#include "solvers/point_inverse.h"
#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

template <class R> struct Gerbr;
template <> struct Gerbr<DI> : DI {};
template <> struct Gerbr<SI> : SI {};

template <class M>
void gerbr(const int *n_, const typename M::elem *a_, const int *lda, typename M::real *radius,
           int *flag, int *info) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.order(*n_, 1).lead(*lda, *n_, 3);
  if (c.failed()) return c.report(M::name);
  const int n = *n_;
  if (n == 0) return;

  // The eigenvalue routine works in the getri work vector: 64 n exceeds
  // its minimum of 3 n.
  frame::Allocation get{info, M::name};
  const int lwork = M::lwork_per_order * n;
  ws::Matrix<typename M::real_work> ac, delta, id, r, g;
  ws::Vector<typename M::pivot_work> ipiv;
  ws::Vector<typename M::real_work> work, wr, wi;
  if (!get(ac, n, n) || !get(delta, n, n) || !get(id, n, n) || !get(r, n, n) || !get(g, n, n) ||
      !get(ipiv, n) || !get(work, lwork) || !get(wr, n) || !get(wi, n))
    return;

  const ws::View<const E> a{a_, *lda};
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      ac(i, j) = M::mid(&a(i, j));
      delta(i, j) = M::rad(&a(i, j));
      id(i, j) = T(0);
      r(i, j) = ac(i, j);
    }
  for (int i = 1; i <= n; ++i)
    id(i, i) = T(1);

  // Every decided outcome returns at once and keeps the workspace; only
  // the undecided one releases it. Intended; callers rely on nothing else.
  // An exactly singular midpoint is the singular verdict; a failed inversion
  // goes on with what getri left.
  if (!point_inverse<M>(n, r.data(), ipiv.data(), ready(work, lwork), [&](Step step, int status) {
        if (step != Step::factorisation || status < 0) return false;
        *flag = singular;
        return true;
      }))
    return;

  // G = |I - R Ac| + |R| D.
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      T p = T(0), q = T(0);
      for (int l = 1; l <= n; ++l) {
        p += r(i, l) * ac(l, j);
        q += std::abs(r(i, l)) * delta(l, j);
      }
      g(i, j) = std::abs(id(i, j) - p) + q;
    }

  const int one = 1;
  T unused[1]; // no eigenvectors are asked for
  M::geev("N", "N", &n, g.data(), &n, wr.data(), wi.data(), unused, &one, unused, &one, work.data(),
          &lwork, info, 1, 1);
  if (*info > 0) {
    *flag = undecided;
    return;
  }
  // G is nonnegative: its spectral radius is an eigenvalue and bounds every
  // real part, so the largest real part is the radius.
  T rho = -std::numeric_limits<T>::infinity();
  for (int i = 1; i <= n; ++i)
    if (wr(i) > rho) rho = wr(i);
  *radius = rho;
  if (rho < T(1)) {
    *flag = regular;
    return;
  }

  *flag = undecided;
  // G = |I - Ac R| + I, then S = D |R| over R, column by column through wr.
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      T t = T(0);
      for (int l = 1; l <= n; ++l)
        t += ac(i, l) * r(l, j);
      g(i, j) = std::abs(id(i, j) - t) + id(i, j);
    }
  for (int j = 1; j <= n; ++j) {
    for (int i = 1; i <= n; ++i) {
      T s = T(0);
      for (int l = 1; l <= n; ++l)
        s += delta(i, l) * std::abs(r(l, j));
      wr(i) = s;
    }
    for (int i = 1; i <= n; ++i)
      r(i, j) = wr(i);
  }
  for (int j = 1; j <= n; ++j) {
    bool column = true;
    for (int i = 1; i <= n && column; ++i)
      column = g(i, j) <= r(i, j);
    if (column) {
      *flag = singular;
      return;
    }
  }
  ws::release(ac, delta, id, r, g, ipiv, work, wr, wi);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gerbr,                               \
                ruf::solver::Gerbr<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GERBR)
