// Triangular solve, the method of every member: forward or back substitution
// in the member's outward-rounded arithmetic, the solutions written over B.
#pragma once

#include "frame/solver_frame.h"

namespace ruf::solver {

// The name an allocation failure is reported under: the routine's own,
// unless the member's traits name another (a few do, on purpose).
template <class M> constexpr frame::Name allocation_name() {
  if constexpr (requires { M::allocation_name; })
    return M::allocation_name;
  else
    return M::name;
}

// Lengths: the options' hidden lengths, unused (one character is compared).
template <class M, class... Lengths>
void trtrs(const char *uplo, const char *trans, const char *diag, const int *n_, const int *nrhs_,
           const typename M::elem *a_, const int *lda, typename M::elem *b_, const int *ldb,
           int *info, Lengths...) {
  using E = typename M::elem;
  frame::Check c{info};
  c.option(uplo, "UuLl", 1).option(trans, "NnTtCc", 2).option(diag, "NnUu", 3);
  c.order(*n_, 4).order(*nrhs_, 5).lead(*lda, *n_, 7).lead(*ldb, *n_, 9);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, allocation_name<M>()};
  ws::Matrix<typename M::work> w;
  ws::Vector<typename M::work> x;
  if (!get(w, n, n) || !get(x, n)) return;

  // Contiguous work arrays, indexed through plain views that the compiler
  // keeps in registers across the elementary calls.
  const ws::View<E> wv{w.data(), n};
  E *const xp = x.data();
  const auto xv = [xp](int i) -> E & { return xp[i - 1]; };
  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  frame::prepare<M>(wv, a, n, trans);
  if (frame::option_is(diag, "Uu")) frame::unit_diagonal<M>(wv, n);

  // The triangle is chosen by uplo alone, also after a mirroring.
  const bool lower = frame::option_is(uplo, "Ll");
  for (int col = 1; col <= nrhs; ++col) {
    // The column is written only once it is solved: B is read as the start of each row.
    frame::substitute<M>(
        lower, wv, n, [&](int i) -> const E & { return b(i, col); }, xv);
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, col), &xv(i));
  }
  ws::release(w, x);
}

} // namespace ruf::solver
