// ?IGEVSV and ??GEVSV: the fast verified solver, our own design beside the
// required routines. Nearly all of its work is floating-point LU and matrix
// products (LAPACK, BLAS dgemm); the result is then proven in outward-rounded
// arithmetic of our own, O(n²) per right-hand side. The complex members
// solve the real system of twice the order, [Re A, -Im A; Im A, Re A], whose
// solution set holds the complex one (its two copies of each part vary
// apart); discs are taken in their bounding rectangles and the result's
// rectangles in their bounding discs.
//
//   1. mid-radius data: A ⊆ <Am, Ar>, B ⊆ <Bm, Br>, each midpoint rounded to
//      nearest and each radius rounded up to cover both bounds;
//   2. R ~ Am^-1 (dgetrf, dgetri); X~ = R·Bm, improved once by the residual;
//   3. C = I - R·A and z = R·(B - A·X~) as midpoint-radius matrices: every
//      product is a dgemm, and its rounding error is bounded a priori by
//      |fl(P·Q) - P·Q| <= g_k·|P|·|Q| + k·eta, g_k = k·u / (1 - k·u), with
//      u = 2^-52 (one unit in the last place: it covers every rounding
//      direction and every summation order, so worker threads of a parallel
//      BLAS that do not share the caller's rounding mode change nothing) and
//      eta = 2^-1074 per product for underflow; |P|·|Q| is itself a dgemm,
//      bounded above through (fl(|P|·|Q|) + k·eta) / (1 - g_k); C's radius
//      takes one such product, |R|·(g_n·|Am| + Ar);
//   4. the error e = X - X~ of every solution satisfies e = z + C·e: with
//      Y = <0, y>, |zm| + zr + |C|·y < y (componentwise, rounded up) proves
//      every matrix of [A] regular and e inside <zm, zr + |C|·y>; y starts at
//      |zm| + zr and grows by epsilon-inflation, at most ten times.
// When the proof fails (||C|| near or above 1: an ill-conditioned or too
// wide A), info = 1 and B is the entire line (plane): nothing unproven is ever
// returned as an enclosure. x always holds the approximation X~.
#pragma once

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <utility>

#include "frame/lapack.h"
#include "frame/solver_frame.h"
#include "frame/workspace.h"
#include "scalar/rigorous.h"

namespace ruf::solver {
namespace {

namespace rg = ruf::rigorous;

constexpr double kUnit = 0x1p-52, kEta = 0x1p-1074;

// Floating-point products in round to nearest, whatever the caller's mode.
class Nearest {
public:
  Nearest() : saved_(read_mxcsr()) { write_mxcsr(saved_ & ~kRoundingField); }
  ~Nearest() { write_mxcsr((read_mxcsr() & ~kRoundingField) | (saved_ & kRoundingField)); }

private:
  std::uint32_t saved_;
};

// c := a·b (m x k times k x n), plain dgemm, all leading dimensions tight.
void gemm(int m, int n, int k, const double *a, const double *b, double *c) {
  const double one = 1, zero = 0;
  dgemm_("N", "N", &m, &n, &k, &one, a, &m, b, &k, &zero, c, &m, 1, 1);
}

// The arrays of one call: n x n, then n x nrhs, then vectors.
struct Work {
  ws::Matrix<ws::d> am, ar, r, absr, p, s, t, tmp;
  ws::Matrix<ws::d> bm, br, x, absx, q, u, v, rm, rr, zm, wz, yz;
  ws::Vector<ws::i4> pivots;
  ws::Vector<ws::d> work, y, k; // 64 n, n, n
  bool allocate(frame::Allocation &get, long long order, int nrhs) {
    if (!get.fits(order * order, 8) || !get.fits(order * nrhs, 8)) return false;
    const int n = static_cast<int>(order);
    for (ws::Matrix<ws::d> *m : {&am, &ar, &r, &absr, &p, &s, &t, &tmp})
      if (!get(*m, n, n)) return false;
    for (ws::Matrix<ws::d> *m : {&bm, &br, &x, &absx, &q, &u, &v, &rm, &rr, &zm, &wz, &yz})
      if (!get(*m, n, nrhs)) return false;
    return get(pivots, n) && get(work, 64 * n) && get(y, n) && get(k, n);
  }
  void release() {
    ws::release(am, ar, r, absr, p, s, t, tmp, bm, br, x, absx, q, u, v, rm, rr, zm, wz, yz, pivots,
                work, y, k);
  }
};

// Inside an Upward scope, for a dgemm of inner dimension k with g = g_k:
// the bound on the exact |P|·|Q| entry from its computed value c, and the
// rounding error bound of the matching entry of fl(P·Q).
double abs_product_bound(double c, int k, double g) {
  return rg::div_up(rg::add_up(c, rg::mul_up(double(k), kEta)), rg::sub_down(1.0, g));
}
double product_error(double bound, int k, double g) {
  return rg::add_up(rg::mul_up(g, bound), rg::mul_up(double(k), kEta));
}
// b - a·x (n terms, a with leading dimension n) in twice the working
// precision: products split exactly by fma, sums by TwoSum, the errors
// summed apart (the compensated dot product of Ogita, Rump and Oishi). Run
// in round to nearest; the result r satisfies |r - exact| <= u·|r| +
// g_(n+1)^2·(|a|·|x| + |b|) + underflow terms, bounded by the caller.
double residual(int n, double bi, const double *a, int stride, const double *x) {
  double s = bi, e = 0;
  for (int j = 0; j < n; ++j) {
    const double p = -a[static_cast<std::ptrdiff_t>(j) * stride] * x[j];
    const double pe = std::fma(-a[static_cast<std::ptrdiff_t>(j) * stride], x[j], -p);
    const double t = s + p, z = t - s;
    e += (s - (t - z)) + (p - z) + pe;
    s = t;
  }
  return s + e;
}

// The error of one rounded operation whose result is v: one unit in the
// last place, or eta below the normal range.
double rounding_error(double v) {
  return rg::add_up(rg::mul_up(kUnit, std::fabs(v)), kEta);
}

// The verified solve of a real system of order n in mid-radius form: a(i, j)
// and b(i, j) (from 0) give an element's bounds {lo, hi} and are read inside
// an upward scope; x(i, j, v) receives the approximation, out(i, j, lo, hi)
// a proven enclosure, column by column, inside an upward scope. True when
// every column is proven; B is read whole before any result is written.
template <class ReadA, class ReadB, class WriteX, class WriteB>
bool solve(Work &w, int n, int nrhs, ReadA a, ReadB b, WriteX x, WriteB out) {
  const std::ptrdiff_t nn = static_cast<std::ptrdiff_t>(n) * n;
  const std::ptrdiff_t nb = static_cast<std::ptrdiff_t>(n) * nrhs;
  const auto at = [n](const ws::Matrix<ws::d> &m, int i, int j) -> double & {
    return m.data()[i + static_cast<std::ptrdiff_t>(j) * n];
  };

  // 1. Midpoints and radii.
  bool finite = true;
  {
    rg::Upward scope;
    const auto split = [&](double lo, double hi, double &m, double &rad) {
      m = std::fmin(std::fmax(rg::pinned(lo / 2 + hi / 2), lo), hi); // any point between serves
      rad = std::fmax(rg::sub_up(hi, m), rg::sub_up(m, lo));
      finite = finite && std::isfinite(m) && std::isfinite(rad) && lo <= hi;
    };
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const auto [lo, hi] = a(i, j);
        split(lo, hi, at(w.am, i, j), at(w.ar, i, j));
      }
    for (int j = 0; j < nrhs; ++j)
      for (int i = 0; i < n; ++i) {
        const auto [lo, hi] = b(i, j);
        split(lo, hi, at(w.bm, i, j), at(w.br, i, j));
      }
  }

  // 2. R and X~ in round to nearest.
  bool inverted = finite;
  if (inverted) {
    Nearest nearest;
    double *r = w.r.data();
    for (std::ptrdiff_t q = 0; q < nn; ++q)
      r[q] = w.am.data()[q];
    int status = 0, lwork = 64 * n;
    dgetrf_(&n, &n, r, &n, w.pivots.data(), &status);
    if (status == 0) dgetri_(&n, r, &n, w.pivots.data(), w.work.data(), &lwork, &status);
    inverted = status == 0;
    for (std::ptrdiff_t q = 0; inverted && q < nn; ++q)
      inverted = std::isfinite(r[q]);
    if (inverted) {
      gemm(n, nrhs, n, r, w.bm.data(), w.x.data()); // X~ = R·Bm
      gemm(n, nrhs, n, w.am.data(), w.x.data(), w.q.data());
      for (std::ptrdiff_t q = 0; q < nb; ++q)
        w.rm.data()[q] = w.bm.data()[q] - w.q.data()[q];
      gemm(n, nrhs, n, r, w.rm.data(), w.zm.data()); // one residual correction
      for (std::ptrdiff_t q = 0; q < nb; ++q)
        w.x.data()[q] += w.zm.data()[q];
    }
  }
  for (int j = 0; j < nrhs; ++j)
    for (int i = 0; i < n; ++i)
      x(i, j, inverted ? at(w.x, i, j) : 0.0);

  bool proven = inverted;
  if (proven) {
    // 3. The products: p = R·Am and s = |R|·t with t = g·|Am| + Ar rounded
    // up, one product for both parts of C's radius (the rounding error
    // g·|R|·|Am| of p and |R|·Ar); q = Am·X~, u = |Am|·|X~|, v = Ar·|X~|.
    {
      rg::Upward scope;
      const double g =
          rg::div_up(rg::mul_up(double(n), kUnit), rg::sub_down(1.0, rg::mul_up(double(n), kUnit)));
      for (std::ptrdiff_t q = 0; q < nn; ++q) {
        w.absr.data()[q] = std::fabs(w.r.data()[q]);
        w.tmp.data()[q] = std::fabs(w.am.data()[q]);
        w.t.data()[q] = rg::add_up(rg::mul_up(g, w.tmp.data()[q]), w.ar.data()[q]);
      }
    }
    {
      Nearest nearest;
      for (std::ptrdiff_t q = 0; q < nb; ++q)
        w.absx.data()[q] = std::fabs(w.x.data()[q]);
      gemm(n, n, n, w.r.data(), w.am.data(), w.p.data());
      gemm(n, n, n, w.absr.data(), w.t.data(), w.s.data());
      // The residual's midpoint in twice the working precision, row by row.
      for (int c = 0; c < nrhs; ++c)
        for (int i = 0; i < n; ++i)
          at(w.q, i, c) = residual(n, at(w.bm, i, c), &at(w.am, i, 0), n, &at(w.x, 0, c));
      gemm(n, nrhs, n, w.tmp.data(), w.absx.data(), w.u.data());
      gemm(n, nrhs, n, w.ar.data(), w.absx.data(), w.v.data());
    }
    {
      rg::Upward scope;
      const double g =
          rg::div_up(rg::mul_up(double(n), kUnit), rg::sub_down(1.0, rg::mul_up(double(n), kUnit)));
      // C = I - R·A ⊆ <cm, crad>: cm into p, crad into s, |C| into t. The
      // exact |R|·t bounds g·|R|·|Am| + |R|·Ar; p's error adds n·eta.
      for (int j = 0; j < n; ++j)
        for (int i = 0; i < n; ++i) {
          const double e =
              rg::add_up(abs_product_bound(at(w.s, i, j), n, g), rg::mul_up(double(n), kEta));
          const double cm = rg::sub_up(i == j ? 1.0 : 0.0, at(w.p, i, j));
          const double crad = rg::add_up(e, rounding_error(cm));
          at(w.p, i, j) = cm;
          at(w.s, i, j) = crad;
          at(w.t, i, j) = rg::add_up(std::fabs(cm), crad);
        }
      // The residual B - A·X~ ⊆ <rm, rr>: rm from the compensated dot
      // product, its error u·|rm| + g_(n+1)^2·(|Am|·|X~| + |Bm|) + underflow.
      const double g1 = rg::div_up(rg::mul_up(double(n + 1), kUnit),
                                   rg::sub_down(1.0, rg::mul_up(double(n + 1), kUnit)));
      const double g2 = rg::mul_up(g1, g1);
      for (std::ptrdiff_t q = 0; q < nb; ++q) {
        const double size =
            rg::add_up(abs_product_bound(w.u.data()[q], n, g), std::fabs(w.bm.data()[q]));
        const double eq = rg::add_up(rg::mul_up(g2, size), rg::mul_up(double(4 * n + 4), kEta));
        const double vb = abs_product_bound(w.v.data()[q], n, g);
        const double rm = w.q.data()[q];
        w.rm.data()[q] = rm;
        w.rr.data()[q] =
            rg::add_up(rg::add_up(w.br.data()[q], vb), rg::add_up(eq, rounding_error(rm)));
        w.u.data()[q] = std::fabs(rm);
      }
      for (std::ptrdiff_t q = 0; q < nb; ++q)
        proven = proven && std::isfinite(w.rr.data()[q]);
    }
    // z = R·(residual) ⊆ <zm, zr>: zm = R·rm, wz = |R|·|rm|, yz = |R|·rr.
    {
      Nearest nearest;
      gemm(n, nrhs, n, w.r.data(), w.rm.data(), w.zm.data());
      gemm(n, nrhs, n, w.absr.data(), w.u.data(), w.wz.data());
      gemm(n, nrhs, n, w.absr.data(), w.rr.data(), w.yz.data());
    }
    rg::Upward scope;
    const double g =
        rg::div_up(rg::mul_up(double(n), kUnit), rg::sub_down(1.0, rg::mul_up(double(n), kUnit)));
    for (std::ptrdiff_t q = 0; q < nb; ++q)
      w.yz.data()[q] = rg::add_up(product_error(abs_product_bound(w.wz.data()[q], n, g), n, g),
                                  abs_product_bound(w.yz.data()[q], n, g)); // zr
    // 4. Per column, the existence test on the error e = X - X~.
    for (int c = 0; c < nrhs && proven; ++c) {
      const auto radius = [&](int i) { // zr + |C|·y, the radius of K(Y) about zm
        double s = at(w.yz, i, c);
        for (int j = 0; j < n; ++j)
          s = rg::add_up(s, rg::mul_up(at(w.t, i, j), w.y(j + 1)));
        return s;
      };
      for (int i = 0; i < n; ++i)
        w.y(i + 1) = rg::add_up(
            rg::mul_up(rg::add_up(std::fabs(at(w.zm, i, c)), at(w.yz, i, c)), 1 + 0x1p-20), kEta);
      bool inside = false;
      for (int step = 0; step < 10 && !inside; ++step) {
        inside = true;
        for (int i = 0; i < n; ++i) {
          w.k(i + 1) = radius(i);
          inside = inside && rg::add_up(std::fabs(at(w.zm, i, c)), w.k(i + 1)) < w.y(i + 1);
        }
        if (!inside)
          for (int i = 0; i < n; ++i)
            w.y(i + 1) = rg::add_up(
                rg::mul_up(std::fmax(w.y(i + 1), rg::add_up(std::fabs(at(w.zm, i, c)), w.k(i + 1))),
                           1.1),
                kEta);
      }
      proven = inside;
      // X ⊆ X~ + zm ± (zr + |C|·y).
      for (int i = 0; i < n && proven; ++i) {
        const double centre_lo = rg::add_down(at(w.x, i, c), at(w.zm, i, c));
        const double centre_hi = rg::add_up(at(w.x, i, c), at(w.zm, i, c));
        out(i, c, rg::sub_down(centre_lo, w.k(i + 1)), rg::add_up(centre_hi, w.k(i + 1)));
      }
    }
  }
  return proven;
}

template <class E> constexpr bool is_disc = requires(E e) {
  e.rad;
};

// A single-precision bound from a double one, outward (inside an upward
// scope); a double passes as it is.
template <class T> T outward_lo(double v) {
  if constexpr (std::is_same_v<T, float>)
    return -rg::pinned(static_cast<float>(rg::pinned(-v)));
  else
    return v;
}
template <class T> T outward_hi(double v) {
  if constexpr (std::is_same_v<T, float>)
    return rg::pinned(static_cast<float>(rg::pinned(v)));
  else
    return v;
}

// One body for every member. "T" and "C" read A's lower triangle mirrored,
// as every general solver of the library does; "C" then conjugates every
// element (exactly: the imaginary part negated).
template <class M, class... Lengths>
void gevsv(const char *trans, const int *n_, const int *nrhs_, const typename M::elem *a_,
           const int *lda, typename M::elem *b_, const int *ldb, typename M::point *x_,
           const int *ldx, int *info, Lengths...) {
  using E = typename M::elem;
  using T = typename M::real;
  using P = typename M::point;
  frame::Check check{info};
  check.option(trans, "NnTtCc", 1).order(*n_, 2).order(*nrhs_, 3).lead(*lda, *n_, 5);
  check.lead(*ldb, *n_, 7).lead(*ldx, *n_, 9);
  if (check.failed()) return check.report(M::name);
  const int n = *n_, nrhs = *nrhs_;
  if (n == 0 || nrhs == 0) return;
  constexpr bool complex = M::conjugates;
  const long long order = complex ? 2LL * n : n; // of the real system solved
  frame::Allocation get{info, M::name};
  Work w;
  if (!w.allocate(get, order, nrhs)) return w.release(); // our own routine releases on every return
  const int m = static_cast<int>(order);
  const ws::View<const E> a{a_, *lda};
  const ws::View<E> b{b_, *ldb};
  const ws::View<P> xout{x_, *ldx};
  const bool mirror = frame::option_is(trans, "TtCc"), conjugate = frame::option_is(trans, "Cc");
  using Bounds = std::pair<double, double>;
  const auto element = [&](int i, int j) -> const E & {
    return mirror && i < j ? a(j + 1, i + 1) : a(i + 1, j + 1);
  };
  bool proven;
  if constexpr (!complex) {
    proven = solve(
        w, n, nrhs,
        [&](int i, int j) {
          return Bounds{element(i, j).inf, element(i, j).sup};
        },
        [&](int i, int j) {
          return Bounds{b(i + 1, j + 1).inf, b(i + 1, j + 1).sup};
        },
        [&](int i, int j, double v) { xout(i + 1, j + 1) = static_cast<T>(v); },
        [&](int i, int j, double lo, double hi) {
          b(i + 1, j + 1) = {outward_lo<T>(lo), outward_hi<T>(hi)};
        });
  } else {
    // The bounds of an element's real (part 0) or imaginary (part 1) part, a
    // disc's from its bounding rectangle (inside the upward scope).
    const auto part = [](const E &e, int which) {
      if constexpr (is_disc<E>) {
        const double c = which == 0 ? double(e.re) : double(e.im), r = e.rad;
        return Bounds{rg::sub_down(c, r), rg::add_up(c, r)};
      } else {
        const auto &p = which == 0 ? e.re : e.im;
        return Bounds{p.inf, p.sup};
      }
    };
    const auto negated = [](Bounds v) { return Bounds{-v.second, -v.first}; };
    proven = solve(
        w, m, nrhs,
        [&](int i, int j) { // [Re A, -Im A; Im A, Re A]
          const E &e = element(i % n, j % n);
          if ((i < n) == (j < n)) return part(e, 0);
          const Bounds im = conjugate ? negated(part(e, 1)) : part(e, 1);
          return i < n ? negated(im) : im;
        },
        [&](int i, int j) { return part(b(i % n + 1, j + 1), i < n ? 0 : 1); },
        [&](int i, int j, double v) {
          P &p = xout(i % n + 1, j + 1);
          if (i < n)
            __real__ p = static_cast<T>(v), __imag__ p = 0;
          else
            __imag__ p = static_cast<T>(v);
        },
        [&](int i, int j, double lo, double hi) {
          E &e = b(i % n + 1, j + 1);
          if constexpr (is_disc<E>) {
            // The real part's bounds wait in the centre until the imaginary
            // part's arrive; the disc about the rectangle's midpoint holds it.
            if (i < n) {
              e.re = outward_lo<T>(lo), e.im = outward_hi<T>(hi);
              return;
            }
            const double rlo = e.re, rhi = e.im;
            const double ilo = outward_lo<T>(lo), ihi = outward_hi<T>(hi);
            const T cre = static_cast<T>(rlo / 2 + rhi / 2),
                    cim = static_cast<T>(ilo / 2 + ihi / 2);
            const double dr = std::fmax(rg::sub_up(rhi, double(cre)), rg::sub_up(double(cre), rlo));
            const double di = std::fmax(rg::sub_up(ihi, double(cim)), rg::sub_up(double(cim), ilo));
            e = {cre, cim,
                 outward_hi<T>(rg::sqrt_up(rg::add_up(rg::mul_up(dr, dr), rg::mul_up(di, di))))};
          } else {
            auto &p = i < n ? e.re : e.im;
            p.inf = outward_lo<T>(lo), p.sup = outward_hi<T>(hi);
          }
        });
  }
  if (!proven) {
    *info = 1;
    constexpr T inf = std::numeric_limits<T>::infinity();
    for (int j = 1; j <= nrhs; ++j)
      for (int i = 1; i <= n; ++i) {
        if constexpr (!complex)
          b(i, j) = {-inf, inf};
        else if constexpr (is_disc<E>)
          b(i, j) = {0, 0, inf};
        else
          b(i, j) = {{-inf, inf}, {-inf, inf}};
      }
  }
  w.release();
}

} // namespace
} // namespace ruf::solver
