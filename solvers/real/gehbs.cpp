// Enclosure of the solution set of A x = b for an H-matrix A, after the
// Hansen-Bliek-Rohn bound in the form of Ning and Kearfott: the comparison
// matrix <A> is inverted in floating point, the inverse is raised to a
// guaranteed upper bound of <A>^-1 under directed rounding, and each
// component of x is one interval quotient. One right-hand side, overwritten.
#include <cmath>

#include "solvers/point_inverse.h"
#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

template <class R> struct Gehbs;
template <> struct Gehbs<DI> : DI {};
template <> struct Gehbs<SI> : SI {};

template <class M, class... Lengths>
void gehbs(const char *trans, const int *n_, const typename M::elem *a_, const int *lda,
           typename M::elem *b, const int *ldb, int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  using frame::IeeeRounding;
  frame::Check c{info};
  c.option(trans, "NnTtCc", 1).order(*n_, 2).lead(*lda, *n_, 4).lead(*ldb, *n_, 6);
  if (c.failed()) return c.report(M::name);
  const int n = *n_;
  if (n == 0) return;

  frame::Allocation get{info, M::name};
  const int lwork = M::lwork_per_order * n;
  ws::Matrix<typename M::work> at;
  ws::Matrix<typename M::real_work> cm, m, e;
  ws::Vector<typename M::pivot_work> ipiv;
  ws::Vector<typename M::real_work> work, z, y, d, w;
  if (!get(at, n, n) || !get(cm, n, n) || !get(m, n, n) || !get(ipiv, n) || !get(work, lwork) ||
      !get(z, n) || !get(y, n) || !get(d, n) || !get(w, n) || !get(e, n, n))
    return;

  const ws::View<const E> a{a_, *lda};
  // The transposed copy is made and never read: every step below uses the
  // caller's A, so trans is checked but has no effect. Intended; callers
  // rely on "T" giving the same result as "N".
  frame::copy_square<M>(at, a, n);
  if (frame::option_is(trans, "TtCc"))
    for (int j = 1; j <= n; ++j)
      for (int i = j + 1; i <= n; ++i)
        frame::exchange<M>(at(i, j), at(j, i));

  // Comparison matrix <A>, and a copy to factorise.
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      cm(i, j) = i == j ? M::mig(&a(i, i)) : T(0) - M::mag(&a(i, j));
      m(i, j) = cm(i, j);
    }

  // Approximate inverse in the caller's rounding mode. A failure returns
  // with b unchanged and the workspace kept.
  if (!point_inverse<M>(n, m.data(), ipiv.data(), ready(work, lwork), [&](Step, int) {
        *info = 1;
        return true;
      }))
    return;

  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += m(i, j);
    y(i) = std::abs(s);
    d(i) = cm(i, i);
  }

  frame::ieee_rounding(IeeeRounding::downward);
  // z = <A> y rounded down must be positive for <A> to be shown an
  // M-matrix. The failing return leaves the rounding toward minus infinity
  // and the workspace allocated: intended, callers restore the mode.
  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int l = 1; l <= n; ++l)
      s += cm(i, l) * y(l);
    z(i) = s;
  }
  for (int i = 1; i <= n; ++i)
    if (z(i) <= T(0)) {
      *info = 2;
      return;
    }
  // Lower bound of the residual <A> M - I.
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      T s = i == j ? T(-1) : T(0);
      for (int l = 1; l <= n; ++l)
        s += cm(i, l) * m(l, j);
      e(i, j) = s;
    }

  frame::ieee_rounding(IeeeRounding::upward);
  for (int i = 1; i <= n; ++i) {
    w(i) = T(0);
    T mi = -std::numeric_limits<T>::infinity();
    for (int l = 1; l <= n; ++l) {
      const T q = e(i, l) / (T(0) - z(i));
      if (q > mi) mi = q;
    }
    if (mi > T(0)) w(i) = mi;
  }
  // Upper bound of <A>^-1.
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      m(i, j) = m(i, j) + y(i) * w(j);

  // u (in z) from the entry values of b; then each component in turn.
  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += m(i, j) * M::mag(&b[j - 1]);
    z(i) = s;
  }
  for (int i = 1; i <= n; ++i) {
    d(i) = m(i, i);
    const T alpha = T(-1) / d(i) + cm(i, i);
    const T beta = z(i) / d(i) - M::mag(&b[i - 1]);
    const T nalpha = T(0) - alpha, nbeta = T(0) - beta;
    E ra, rb, num, den;
    M::r_r_i_convert(&rb, &nbeta, &beta);
    M::r_r_i_convert(&ra, &nalpha, &alpha);
    M::addi(&num, &b[i - 1], &rb);
    M::addi(&den, &a(i, i), &ra);
    M::divi(&b[i - 1], &num, &den);
  }

  frame::ieee_rounding(IeeeRounding::to_default);
  ws::release(at, cm, m, ipiv, work, z, y, d, w, e);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gehbs,                               \
                ruf::solver::Gehbs<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GEHBS)
