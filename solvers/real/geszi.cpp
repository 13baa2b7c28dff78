// Newton-Schulz iteration for an enclosure of the inverse of an interval
// matrix, started from the scaled transpose; the result overwrites A.
#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

template <class R> struct Geszi;
template <> struct Geszi<DI> : DI { static constexpr double tolerance = 1e-10; };
template <> struct Geszi<SI> : SI { static constexpr float tolerance = 1e-6f; };

// The larger of m and v; a NaN v leaves m.
template <class T> T larger(T m, T v) {
  return v > m ? v : m;
}

template <class M> void geszi(const int *n_, typename M::elem *a_, const int *lda, int *info) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.order(*n_, 1).lead(*lda, *n_, 3);
  if (c.failed()) return c.report(M::name);
  const int n = *n_;
  if (n == 0) return;

  frame::Allocation get{info, M::name};
  ws::Matrix<typename M::work> x, r, y;
  ws::Matrix<typename M::real_work> xm;
  if (!get(x, n, n) || !get(r, n, n) || !get(y, n, n) || !get(xm, n, n)) return;

  const ws::View<E> a{a_, *lda};

  // Start: A^T / (|A|_inf |A|_1), in the caller's rounding mode.
  T rows = T(0), cols = T(0);
  for (int i = 1; i <= n; ++i) {
    T sr = T(0), sc = T(0);
    for (int j = 1; j <= n; ++j) {
      sr += M::mag(&a(i, j));
      sc += M::mag(&a(j, i));
    }
    rows = larger(rows, sr);
    cols = larger(cols, sc);
  }
  const T s = T(1) / (rows * cols);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      M::r_i_mult(&x(i, j), &s, &a(j, i));

  // No iteration limit and no intersection with the previous iterate: the
  // loop ends only when the change ratio reaches the tolerance. Intended;
  // callers that need a bound on the work use another solver.
  E acc, p, t;
  for (;;) {
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i)
        xm(i, j) = M::mid(&x(i, j));
    // R encloses I - A Xm.
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) {
        const T e = i == j ? T(1) : T(0);
        M::r_i_convert(&acc, &e);
        for (int l = 1; l <= n; ++l) {
          M::i_r_mult(&p, &a(i, l), &xm(l, j));
          M::subt(&t, &acc, &p);
          M::copy(&acc, &t);
        }
        M::copy(&r(i, j), &acc);
      }
    // Y = Xm + X R.
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i) {
        M::r_i_convert(&acc, &xm(i, j));
        for (int l = 1; l <= n; ++l) {
          M::mult(&p, &x(i, l), &r(l, j));
          M::addi(&t, &acc, &p);
          M::copy(&acc, &t);
        }
        M::copy(&y(i, j), &acc);
      }
    // Change relative to the size of the iterate, both by rows.
    T change = T(0), size = T(0);
    for (int i = 1; i <= n; ++i) {
      T sd = T(0), sm = T(0);
      for (int j = 1; j <= n; ++j) {
        sd += M::dist(&x(i, j), &y(i, j));
        sm += M::mag(&x(i, j));
      }
      change = larger(change, sd);
      size = larger(size, sm);
    }
    const T ratio = change / size;
    for (int j = 1; j <= n; ++j)
      for (int i = 1; i <= n; ++i)
        M::copy(&x(i, j), &y(i, j));
    if (ratio <= M::tolerance) break;
  }

  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&a(i, j), &x(i, j));
  ws::release(x, r, y, xm);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::geszi,                               \
                ruf::solver::Geszi<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GESZI)
