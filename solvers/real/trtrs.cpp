// Interval triangular solve: forward or back substitution in outward-rounded
// interval arithmetic, the solutions written over B.
#include "solvers/real/real_traits.h"

namespace ruf::real {
namespace {

template <class R> struct Trtrs;
// An allocation failure is reported under the general solver's name. That is
// intended and kept: callers match their error handling on it.
template <> struct Trtrs<DI> : DI {
  static constexpr frame::Name name = "DITRTRS", allocation_name = "DIGETRS";
};
template <> struct Trtrs<SI> : SI {
  static constexpr frame::Name name = "SITRTRS", allocation_name = "SIGETRS";
};

template <class M>
void trtrs(const char *uplo, const char *trans, const char *diag, const int *n_, const int *nrhs_,
           const typename M::elem *a_, const int *lda, typename M::elem *b_, const int *ldb,
           int *info) {
  using E = typename M::elem;
  frame::Check c{info};
  c.option(uplo, "UuLl", 1).option(trans, "NnTtCc", 2).option(diag, "NnUu", 3);
  c.order(*n_, 4).order(*nrhs_, 5).lead(*lda, *n_, 7).lead(*ldb, *n_, 9);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::allocation_name};
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
  frame::copy_square<M>(wv, a, n);
  if (frame::option_is(trans, "TtCc")) frame::mirror_lower<M>(wv, n);
  if (frame::option_is(diag, "Uu")) frame::set_diagonal<M>(wv, n, M::unit);

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

} // namespace
} // namespace ruf::real

using ruf::real::DI;
using ruf::real::SI;
using ruf::real::Trtrs;

#define RUF_TRTRS_ENTRY(p, M)                                                                      \
  void ruf_interval_##p##trtrs(const char *uplo, const char *trans, const char *diag,              \
                               const int *n, const int *nrhs, const M::elem *a, const int *lda,    \
                               M::elem *b, const int *ldb, int *info, ruf_strlen, ruf_strlen,      \
                               ruf_strlen) {                                                       \
    ruf::real::trtrs<M>(uplo, trans, diag, n, nrhs, a, lda, b, ldb, info);                         \
  }
RUF_TRTRS_ENTRY(di, Trtrs<DI>)
RUF_TRTRS_ENTRY(si, Trtrs<SI>)
