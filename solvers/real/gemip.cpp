// Midpoint-inverse preconditioning in place: R ~ mid(A)^-1 from LAPACK in
// point arithmetic, then A := R·A and B := R·B, both products enclosed.
#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

// The members differ in when the work vector of getri is obtained: the double
// member takes it with the pivots before the factorisation, the single member
// only after a successful one. Callers see the difference in which
// allocations a failed factorisation leaves behind, so it is kept.
template <class R> struct Gemip;
template <> struct Gemip<DI> : DI { static constexpr bool work_before_factoring = true; };
template <> struct Gemip<SI> : SI { static constexpr bool work_before_factoring = false; };

// d(i, j) := sum over k ascending of r(i, k)·x(k, j), from IZERO.
template <class M, class Dst, class Pt, class Src>
void point_times_interval(const Dst &d, const Pt &r, const Src &x, int n, int cols) {
  typename M::elem p;
  for (int j = 1; j <= cols; ++j)
    for (int i = 1; i <= n; ++i) {
      typename M::elem &s = d(i, j);
      M::zero(&s);
      for (int k = 1; k <= n; ++k) {
        M::r_i_mult(&p, &r(i, k), &x(k, j));
        M::addi(&s, &s, &p); // the sum may be its own first operand
      }
    }
}

template <class M>
void gemip(const int *n_, const int *nrhs_, typename M::elem *a_, const int *lda,
           typename M::elem *b_, const int *ldb, int *info) {
  using E = typename M::elem;
  using T = typename M::real;
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
  const ws::View<T> r{am.data(), n};
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      r(i, j) = M::mid(&a(i, j));

  const int lwork = M::lwork_per_order * n;
  ws::Vector<typename M::point_work> work;
  ws::Vector<typename M::pivot_work> pivots;
  if constexpr (M::work_before_factoring) {
    if (!get(work, lwork)) return;
  }
  if (!get(pivots, n)) return;
  // A zero pivot is reported as the factorisation's own index. A and B are
  // untouched and the workspace stays allocated: intended, callers only act
  // on info.
  M::getrf(&n, &n, am.data(), &n, pivots.data(), info);
  if (*info != 0) return;
  if constexpr (!M::work_before_factoring) {
    if (!get(work, lwork)) return;
  }
  int status = 0;
  M::getri(&n, am.data(), &n, pivots.data(), work.data(), &lwork, &status);
  ws::release(work, pivots);
  if (status != 0) {
    *info = 1;
    return;
  }

  // R itself is a plain point matrix: only the products are enclosed, and
  // nothing checks how close R·A comes to the identity.
  const ws::View<E> pv{p.data(), n}, qv{q.data(), n};
  point_times_interval<M>(pv, r, a, n, n);
  point_times_interval<M>(qv, r, b, n, nrhs);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&a(i, j), &pv(i, j));
  for (int j = 1; j <= nrhs; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, j), &qv(i, j));
  ws::release(am, p, q);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gemip,                               \
                ruf::solver::Gemip<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GEMIP)
