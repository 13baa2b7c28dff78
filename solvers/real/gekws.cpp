// Krawczyk iteration for A·X = B: R ~ mid(A)^-1 from LAPACK, C = I - R·A and
// R·B enclosed, a starting box from ||C||inf, then x := (R·b + C·x) ∩ x until
// the total change falls to the tolerance. The enclosures overwrite B.
#include <array>
#include <cmath>

#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

// Elements move as plain values in this method: no copy operation is called.
template <class Base> struct KrawczykMember : Base {
  using E = typename Base::elem;
  static void copy(E *r, const E *x) { *r = *x; }
};

// The members differ in how the unit and zero intervals that start C and R·B
// are made (the double member's constants, the single member's conversions of
// 1.0f and 0.0f, each made where it is used), and in the count of point n x n
// work matrices: the single member reserves a third one, which holds nothing
// but is part of its workspace.
template <class R> struct Gekws;
template <> struct Gekws<DI> : KrawczykMember<DI> {
  static constexpr int real_matrices = 2;
  static void start_unit(ruf_di *r) { *r = iunit; }
  static void start_zero(ruf_di *r) { *r = izero; }
};
template <> struct Gekws<SI> : KrawczykMember<SI> {
  static constexpr int real_matrices = 3;
  static void start_unit(ruf_si *r) {
    static const float one = 1.0f;
    sr_i_convert(r, &one);
  }
  static void start_zero(ruf_si *r) {
    static const float nought = 0.0f;
    sr_i_convert(r, &nought);
  }
};

template <class M> using PointMatrix = ws::Matrix<typename M::point_work>;

// R := mid(A)^-1 through getrf and getri on a private copy of Am. On success
// info is 0 and the copy's work arrays are released. A failed allocation sets
// info to 1000 and reports it; a failed factorisation or inversion sets info
// to 2. On both failures R keeps what it held and the arrays obtained stay
// allocated; the caller goes on with that R regardless (intended: callers see
// the result of the whole computation, flagged by info).
template <class M>
void rminversion(int n, int *info, const PointMatrix<M> &am, const PointMatrix<M> &r) {
  *info = 0;
  const int lwork = M::lwork_per_order * n;
  frame::Allocation get{info, M::name};
  ws::Vector<typename M::pivot_work> pivots;
  PointMatrix<M> copy;
  ws::Vector<typename M::point_work> work;
  if (!get(pivots, n) || !get(copy, n, n) || !get(work, lwork)) return;
  const std::size_t count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
  for (std::size_t k = 0; k < count; ++k)
    copy.data()[k] = am.data()[k];
  int status = 0;
  M::getrf(&n, &n, copy.data(), &n, pivots.data(), &status);
  if (status == 0) M::getri(&n, copy.data(), &n, pivots.data(), work.data(), &lwork, &status);
  if (status != 0) {
    *info = 2;
    return;
  }
  for (std::size_t k = 0; k < count; ++k)
    r.data()[k] = copy.data()[k];
  ws::release(pivots, copy, work);
}

template <class M, class... Lengths>
void gekws(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, const typename M::real *eps,
           int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.option(trans, "CcTtNn", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  c.lead(*ldb, *n_, 7).nonnegative(*eps, 8);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  std::array<PointMatrix<M>, M::real_matrices> points;
  for (auto &m : points)
    if (!get(m, n, n)) return;
  ws::Matrix<typename M::work> w, cm, z;
  ws::Vector<typename M::work> x, y;
  if (!get(w, n, n) || !get(cm, n, n) || !get(z, n, nrhs) || !get(x, n) || !get(y, n)) return;
  const PointMatrix<M> &am = points[0], &rm = points[1];

  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  const ws::View<E> wv{w.data(), n}, cv{cm.data(), n}, zv{z.data(), n};
  const ws::View<T> amv{am.data(), n}, r{rm.data(), n};
  E *const xp = x.data(), *const yp = y.data();
  const auto xv = [xp](int i) -> E & { return xp[i - 1]; };
  const auto yv = [yp](int i) -> E & { return yp[i - 1]; };

  frame::copy_square<M>(wv, a, n);
  if (frame::option_is(trans, "TtCc")) frame::mirror_lower<M>(wv, n);
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      amv(i, j) = M::mid(&wv(i, j));
      // R starts at zero, so a failed inversion leaves a defined R behind.
      r(i, j) = T(0);
    }

  // info is not looked at here: the computation goes on with whatever R holds.
  rminversion<M>(n, info, am, rm);

  // C := I - R·W and Z := R·B.
  E p;
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i <= n; ++i) {
      E &e = cv(i, j);
      if (i == j)
        M::start_unit(&e);
      else
        M::start_zero(&e);
      for (int k = 1; k <= n; ++k) {
        M::r_i_mult(&p, &r(i, k), &wv(k, j));
        M::subt(&e, &e, &p);
      }
    }
  for (int col = 1; col <= nrhs; ++col)
    for (int i = 1; i <= n; ++i) {
      E &e = zv(i, col);
      M::start_zero(&e);
      for (int k = 1; k <= n; ++k) {
        M::r_i_mult(&p, &r(i, k), &b(k, col));
        M::addi(&e, &e, &p);
      }
    }

  T beta = T(0);
  for (int i = 1; i <= n; ++i) {
    T s = T(0);
    for (int j = 1; j <= n; ++j)
      s += M::mag(&cv(i, j));
    frame::raise_to(beta, s);
  }
  // Not a contraction: nothing is verified. B is untouched and the workspace
  // stays allocated; intended, callers act on info = 1 alone.
  if (beta >= T(1)) {
    *info = 1;
    return;
  }
  const T q = (*eps * beta) / (T(1) - beta);

  E s;
  for (int col = 1; col <= nrhs; ++col) {
    T alpha = T(0);
    for (int i = 1; i <= n; ++i)
      frame::raise_to(alpha, M::mag(&zv(i, col)));
    const T rad = alpha / (T(1) - beta);
    const T lo = T(0) - rad; // a zero radius gives [+0, +0]
    for (int i = 1; i <= n; ++i)
      M::r_r_i_convert(&xv(i), &lo, &rad);

    // No iteration limit: the loop ends when the change is at most q or is
    // NaN. Intended; callers choose eps (and so q) to bound the work.
    if (!(q >= M::largest)) {
      T delta;
      do {
        for (int i = 1; i <= n; ++i) {
          s = zv(i, col);
          for (int j = 1; j <= n; ++j) {
            M::mult(&p, &cv(i, j), &xv(j));
            M::addi(&s, &s, &p);
          }
          M::ix(&yv(i), &s, &xv(i));
        }
        delta = T(0);
        for (int i = 1; i <= n; ++i)
          delta += M::dist(&xv(i), &yv(i));
        for (int i = 1; i <= n; ++i)
          xv(i) = yv(i);
      } while (delta > q);
    }
    for (int i = 1; i <= n; ++i)
      M::copy(&b(i, col), &xv(i));
  }
  for (auto &m : points)
    m.release();
  ws::release(w, cm, z, x, y);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gekws,                               \
                ruf::solver::Gekws<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GEKWS)
