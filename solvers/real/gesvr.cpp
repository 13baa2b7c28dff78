// Regularity test of A = [Ac - D, Ac + D] by singular values, computed in
// floating point: sigma_min(Ac) > sigma_max(D) shows A regular,
// sigma_max(Ac) < sigma_min(D) shows it singular. The verdicts are not
// guaranteed bounds. Both singular-value ranges are returned as intervals.
#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

template <class R> struct Gesvr;
template <> struct Gesvr<DI> : DI {};
template <> struct Gesvr<SI> : SI {};

template <class M>
void gesvr(const int *n_, const typename M::elem *a_, const int *lda, typename M::elem *sa,
           typename M::elem *sd, int *flag, int *info) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.order(*n_, 1).lead(*lda, *n_, 3);
  if (c.failed()) return c.report(M::name);
  const int n = *n_;
  if (n == 0) return;

  // 64 n: above the singular-value routine's minimum of 5 n for no vectors.
  frame::Allocation get{info, M::name};
  const int lwork = M::lwork_per_order * n;
  ws::Matrix<typename M::real_work> ac, delta;
  ws::Vector<typename M::real_work> s, t, work;
  if (!get(ac, n, n) || !get(delta, n, n) || !get(s, n) || !get(t, n) || !get(work, lwork)) return;

  const float zero = 0.0f;
  M::sr_i_convert(sa, &zero);
  M::sr_i_convert(sd, &zero);
  const ws::View<const E> a{a_, *lda};
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      ac(i, j) = M::mid(&a(i, j));
      delta(i, j) = M::rad(&a(i, j));
    }

  // A failed decomposition leaves the ranges not yet computed at [0, 0],
  // reports LAPACK's count in info and returns undecided, keeping the
  // workspace like every early return of the solvers.
  const int one = 1;
  T unused[1]; // no singular vectors are asked for
  M::gesvd("N", "N", &n, &n, ac.data(), &n, s.data(), unused, &one, unused, &one, work.data(),
           &lwork, info, 1, 1);
  if (*info >= 1) {
    *flag = undecided;
    return;
  }
  M::r_r_i_convert(sa, &s(n), &s(1));
  M::gesvd("N", "N", &n, &n, delta.data(), &n, t.data(), unused, &one, unused, &one, work.data(),
           &lwork, info, 1, 1);
  if (*info >= 1) {
    *flag = undecided;
    return;
  }
  M::r_r_i_convert(sd, &t(n), &t(1));

  // Both comparisons strict: equal singular values decide nothing.
  if (s(1) < t(n))
    *flag = singular;
  else if (s(n) > t(1))
    *flag = regular;
  else
    *flag = undecided;
  ws::release(ac, delta, s, t, work);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gesvr,                               \
                ruf::solver::Gesvr<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GESVR)
