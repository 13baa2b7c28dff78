// Gauss-Seidel refinement of a caller's starting enclosure X0 of A·X = B, the
// method of every member, for a matrix already preconditioned towards the
// identity. The sweeps stop by a test calibrated with a weighted-norm bound on
// the spectral radius of |A - I|; the result overwrites B.
#pragma once

#include "frame/solver_frame.h"

namespace ruf::solver {

// A positive weight vector u of the nonnegative matrix mag (n x n), by the
// power iteration of at most 1000 updates: on return u(i) > 0 or u(i) == 0
// for each i. The thresholds c9 and c1 and the starting value largest come
// from the member's traits.
template <class M, class Mat>
void perron_vector(const Mat &mag, typename M::real *u0, typename M::real *v0, int n) {
  using T = typename M::real;
  const auto u = [u0](int i) -> T & { return u0[i - 1]; };
  const auto v = [v0](int i) -> T & { return v0[i - 1]; };
  const auto row = [&](int i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += mag(i, j) * u(j);
    return s;
  };
  for (int i = 1; i <= n; ++i)
    u(i) = T(1);
  T previous = M::largest;
  for (int counter = -1000; counter != 0;) {
    T lambda = -M::largest;
    for (int i = 1; i <= n; ++i) {
      if (u(i) == T(0)) continue;
      const T r = row(i) / u(i);
      if (lambda <= r) lambda = r;
    }
    if (lambda > M::c9 * previous || lambda < M::c1) return;
    for (int i = 1; i <= n; ++i)
      v(i) = row(i) / lambda;
    for (int i = 1; i <= n; ++i)
      u(i) = v(i);
    previous = lambda;
    ++counter;
  }
}

template <class M, class... Lengths>
void gegss(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, const typename M::elem *x_,
           const typename M::real *eps, int *maxit, int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.option(trans, "CcTtNn", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  c.lead(*ldb, *n_, 7).positive(*eps, 9);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  ws::Matrix<typename M::work> w, y, z;
  ws::Matrix<typename M::real_work> mag;
  ws::Vector<typename M::real_work> u, v;
  if (!get(w, n, n) || !get(y, n, nrhs) || !get(z, n, nrhs) || !get(mag, n, n) || !get(u, n) ||
      !get(v, n))
    return;

  const ws::View<const E> a{a_, *lda}, x0{x_, *ldb};
  const ws::View<E> b{b_, *ldb};
  const ws::View<E> wv{w.data(), n}, yv{y.data(), n}, zv{z.data(), n};
  const ws::View<T> mv{mag.data(), n};
  T *const up = u.data();
  const auto uv = [up](int i) -> T & { return up[i - 1]; };

  frame::prepare<M>(wv, a, n, trans);

  // |A - I|: magnitudes, then the diagonal's as those of W(i,i) - 1.
  E t;
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      mv(i, j) = M::mag(&wv(i, j));
  typename M::one_type one;
  M::make_one(&one);
  for (int i = 1; i <= n; ++i) {
    M::minus_one(&t, &wv(i, i), &one);
    mv(i, i) = M::mag(&t);
  }

  // rho = max_i (|A - I|·u)_i / u_i with weights w = 1/u (1 where u is 0).
  perron_vector<M>(mv, u.data(), v.data(), n);
  for (int i = 1; i <= n; ++i)
    uv(i) = uv(i) > T(0) ? T(1) / uv(i) : T(1);
  T rho = T(0);
  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += mv(i, j) / uv(j);
    const T r = uv(i) * s;
    if (rho <= r) rho = r;
  }
  // rho = 0 makes tau infinite (one sweep); rho >= 1 makes it non-positive,
  // so every sweep runs.
  const T tau = ((T(1) - rho) * *eps) / rho;

  for (int j = 1; j <= nrhs; ++j)
    for (int i = 1; i <= n; ++i) {
      M::copy(&yv(i, j), &x0(i, j));
      M::copy(&zv(i, j), &x0(i, j));
    }

  // Sweeps: every product uses the previous iterate Y (Jacobi order).
  E s, p;
  const int limit = *maxit;
  long long k = 1;
  for (; k <= limit; ++k) {
    T delta = T(0);
    for (int col = 1; col <= nrhs; ++col) {
      T d = T(0);
      for (int i = 1; i <= n; ++i) {
        M::copy(&s, &b(i, col));
        for (int j = 1; j <= n; ++j) {
          if (j == i) continue;
          M::mult(&p, &wv(i, j), &yv(j, col));
          M::subt(&s, &s, &p);
        }
        M::divi(&t, &s, &wv(i, i));
        M::ix(&zv(i, col), &t, &yv(i, col));
        // Never true (no element is ever empty); an empty intersection shows
        // as NaN numbers, which reach the distance instead.
        if (M::isempty(&zv(i, col)) != 0) return;
        d = M::dist(&zv(i, col), &yv(i, col));
      }
      // Only the last row of the column counts towards the change; the other
      // rows' distances are discarded. Intended: callers rely on this rule.
      // A NaN distance (an empty intersection) keeps the sweeps going.
      frame::raise_to(delta, d);
    }
    if (delta < tau) break;
    for (int j = 1; j <= nrhs; ++j)
      for (int i = 1; i <= n; ++i)
        yv(i, j) = zv(i, j);
  }
  // The sweep count: the converged sweep's number, or the entry value + 1
  // when the sweeps ran out (1 when none was allowed).
  *maxit = static_cast<int>(k);

  // On convergence this is the iterate before the last sweep: the newer Z is
  // discarded. Intended, callers rely on getting Y.
  for (int j = 1; j <= nrhs; ++j)
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, j), &yv(i, j));
  ws::release(w, y, z, mag, u, v);
}

} // namespace ruf::solver
