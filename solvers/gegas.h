// Gaussian elimination with partial pivoting by mignitude, then back
// substitution, the method of every member; the enclosures overwrite B.
#pragma once

#include "frame/solver_frame.h"

namespace ruf::solver {

template <class M, class... Lengths>
void gegas(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.option(trans, "CcTtNn", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  c.lead(*ldb, *n_, 7);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  ws::Matrix<typename M::work> w;
  if (!get(w, n, n)) return;

  // W is contiguous: index it through a plain view, which the compiler keeps
  // in registers across the elementary calls.
  const ws::View<E> wv{w.data(), n};
  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  frame::prepare<M>(wv, a, n, trans);

  E p, f;
  for (int k = 1; k <= n; ++k) {
    // Pivot: the largest mignitude in the column, strictly larger to replace
    // the current choice, so ties keep the earlier row and a NaN never wins.
    M::copy(&p, &wv(k, k));
    T m = M::mig(&p);
    int r = k;
    for (int i = k + 1; i <= n; ++i) {
      const T mi = M::mig(&wv(i, k));
      if (mi > m) {
        M::copy(&p, &wv(i, k));
        m = mi;
        r = i;
      }
    }
    // Every candidate contains zero. B keeps what the earlier steps made of
    // it and W stays allocated; intended, callers get info = 1 and nothing more.
    if (!(m > T(0))) {
      *info = 1;
      return;
    }
    *info = 0;
    if (r != k) {
      for (int j = k; j <= n; ++j)
        frame::exchange<M>(wv(k, j), wv(r, j));
      for (int col = 1; col <= nrhs; ++col)
        frame::exchange<M>(b(k, col), b(r, col));
    }
    // Entries below the pivot are left as they are; nothing reads them again.
    for (int i = k + 1; i <= n; ++i) {
      M::divi(&f, &wv(i, k), &p);
      for (int j = k + 1; j <= n; ++j)
        frame::sub_product<M>(wv(i, j), f, wv(k, j));
      for (int col = 1; col <= nrhs; ++col)
        frame::sub_product<M>(b(i, col), f, b(k, col));
    }
  }

  // Back substitution in place: each solved component is used by the rows
  // above. The row is accumulated in a temporary, which the quotient only
  // reads: some members' quotients write a part before reading the dividend's.
  E s;
  for (int col = 1; col <= nrhs; ++col)
    for (int i = n; i >= 1; --i) {
      M::copy(&s, &b(i, col));
      for (int j = i + 1; j <= n; ++j)
        frame::sub_product<M>(s, wv(i, j), b(j, col));
      M::divi(&b(i, col), &s, &wv(i, i));
    }
  ws::release(w);
}

} // namespace ruf::solver
