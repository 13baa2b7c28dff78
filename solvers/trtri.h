// Triangular inverse, the method of every member: T·X = I solved column by
// column by substitution, the whole n x n result written over A.
#pragma once

#include "solvers/trtrs.h"

namespace ruf::solver {

template <class M, class... Lengths>
void trtri(const char *uplo, const char *diag, const int *n_, typename M::elem *a_, const int *lda,
           int *info, Lengths...) {
  using E = typename M::elem;
  frame::Check c{info};
  c.option(uplo, "UuLl", 1).option(diag, "NnUu", 2).order(*n_, 3).lead(*lda, *n_, 5);
  if (c.failed()) return c.report(M::name);
  const int n = *n_;
  if (n == 0) return;

  frame::Allocation get{info, allocation_name<M>()};
  ws::Matrix<typename M::work> w;
  ws::Vector<typename M::work> x;
  ws::Matrix<typename M::work> e;
  if (!get(w, n, n) || !get(x, n) || !get(e, n, n)) return;

  // Contiguous work arrays, indexed through plain views that the compiler
  // keeps in registers across the elementary calls.
  const ws::View<E> wv{w.data(), n}, ev{e.data(), n};
  E *const xp = x.data();
  const auto xv = [xp](int i) -> E & { return xp[i - 1]; };
  const ws::View<E> a{a_, *lda};
  frame::copy_square<M>(wv, a, n);
  if (frame::option_is(diag, "Uu")) frame::unit_diagonal<M>(wv, n);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i)
      M::zero(&ev(i, j));
  frame::unit_diagonal<M>(ev, n);

  const bool lower = frame::option_is(uplo, "Ll");
  for (int col = 1; col <= n; ++col) {
    frame::substitute<M>(
        lower, wv, n, [&](int i) -> const E & { return ev(i, col); }, xv);
    // The whole column is written, so the opposite triangle receives the
    // quotients computed for it rather than keeping A's values: intended.
    for (int i = 1; i <= n; ++i)
      M::copy(&a(i, col), &xv(i));
  }
  ws::release(w, x, e);
}

} // namespace ruf::solver
