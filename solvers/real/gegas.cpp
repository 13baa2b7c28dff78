// Interval Gaussian elimination with partial pivoting by mignitude, then
// interval back substitution; the enclosures overwrite B.
#include "solvers/real/real_traits.h"

namespace ruf::real {
namespace {

template <class R> struct Gegas;
template <> struct Gegas<DI> : DI { static constexpr frame::Name name = "DIGEGAS"; };
template <> struct Gegas<SI> : SI { static constexpr frame::Name name = "SIGEGAS"; };

template <class M>
void gegas(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, int *info) {
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
  frame::copy_square<M>(wv, a, n);
  if (frame::option_is(trans, "TtCc")) frame::mirror_lower<M>(wv, n);

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

  // Back substitution in place: B(i) itself accumulates the row, and each
  // solved component is used by the rows above.
  for (int col = 1; col <= nrhs; ++col)
    for (int i = n; i >= 1; --i) {
      E &s = b(i, col);
      for (int j = i + 1; j <= n; ++j)
        frame::sub_product<M>(s, wv(i, j), b(j, col));
      M::divi(&s, &s, &wv(i, i));
    }
  ws::release(w);
}

} // namespace
} // namespace ruf::real

using ruf::real::DI;
using ruf::real::Gegas;
using ruf::real::SI;

#define RUF_GEGAS_ENTRY(p, M)                                                                      \
  void ruf_interval_##p##gegas(const char *trans, const int *n, const int *nrhs, const M::elem *a, \
                               const int *lda, M::elem *b, const int *ldb, int *info,              \
                               ruf_strlen) {                                                       \
    ruf::real::gegas<M>(trans, n, nrhs, a, lda, b, ldb, info);                                     \
  }
RUF_GEGAS_ENTRY(di, Gegas<DI>)
RUF_GEGAS_ENTRY(si, Gegas<SI>)
