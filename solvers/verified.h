// A verified enclosure of the solution set of a real interval system, in
// the rigorous arithmetic of scalar/rigorous.h, for the routines of our own
// design and for ruf-solve's verdicts. Storage belongs to the caller (the
// library's routines take it from the workspace module), so nothing here
// allocates.
//
// With any point matrix R (in practice ~ mid(A)^-1) and C = I - R·A, the map
// K(y) = R·b + C·y sends every solution of A x = b, A in [A], b in [b], to
// itself. If K(Y) lies in the interior of Y, every A in [A] is regular and
// the whole solution set lies in K(Y). Intersecting with K and with a
// Gauss-Seidel sweep on the preconditioned system keeps every solution.
//
// Every function below must run inside a rigorous::Upward scope.
#pragma once

#include <cmath>
#include <cstddef>

#include "ruf_interval.h"
#include "scalar/rigorous.h"

namespace ruf::verified {

namespace rg = ruf::rigorous;
using Iv = rg::Interval<double>;

inline Iv iv(const ruf_di &x) {
  return {x.inf, x.sup};
}
inline ruf_di di(const Iv &x) {
  return {x.lo, x.hi};
}

// Column-major n x n interval matrix with leading dimension ld, 0-based.
inline ruf_di &at(ruf_di *a, int ld, int i, int j) {
  return a[i + static_cast<std::ptrdiff_t>(j) * ld];
}
inline const ruf_di &at(const ruf_di *a, int ld, int i, int j) {
  return a[i + static_cast<std::ptrdiff_t>(j) * ld];
}
inline double at(const double *r, int n, int i, int j) {
  return r[i + static_cast<std::ptrdiff_t>(j) * n];
}

// c := I - R·A, all n x n.
inline void residual(int n, const double *r, const ruf_di *a, int lda, ruf_di *c) {
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      Iv s = rg::point(i == j ? 1.0 : 0.0);
      for (int k = 0; k < n; ++k)
        s = rg::sub(s, rg::mul(rg::point(at(r, n, i, k)), iv(at(a, lda, k, j))));
      at(c, n, i, j) = di(s);
    }
}

// rb := R·b for one column b(0..n-1).
inline void apply(int n, const double *r, const ruf_di *b, ruf_di *rb) {
  for (int i = 0; i < n; ++i) {
    Iv s = rg::point(0.0);
    for (int l = 0; l < n; ++l)
      s = rg::add(s, rg::mul(rg::point(at(r, n, i, l)), iv(b[l])));
    rb[i] = di(s);
  }
}

// The map of one column: k := R·b + C·y.
struct Map {
  int n;
  const ruf_di *c;  // I - R·A, n x n
  const ruf_di *rb; // R·b, n
  void operator()(const ruf_di *y, ruf_di *k) const {
    for (int i = 0; i < n; ++i) {
      Iv s = iv(rb[i]);
      for (int j = 0; j < n; ++j)
        s = rg::add(s, rg::mul(iv(at(c, n, i, j)), iv(y[j])));
      k[i] = di(s);
    }
  }
};

// x grown by a part of its width and a little of its magnitude.
inline ruf_di grown(const ruf_di &x, double part) {
  const Iv v = iv(x);
  const double w = rg::sub_up(v.hi, v.lo), m = rg::mag(v);
  const double d = rg::add_up(rg::mul_up(w, part), rg::add_up(rg::mul_up(m, 0x1p-45), 0x1p-1000));
  return {rg::sub_down(v.lo, d), rg::add_up(v.hi, d)};
}

// The existence test by epsilon-inflation from y (n, overwritten): y is
// grown a little, then while K(y) is not inside its interior, y := hull(y,
// K(y)) grown by a tenth, at most ten times. On success k holds K(y), which
// holds the solution set, and every A in [A] is proven regular.
inline bool exists(const Map &image, ruf_di *y, ruf_di *k) {
  const int n = image.n;
  for (int i = 0; i < n; ++i)
    y[i] = grown(y[i], 0x1p-20);
  for (int step = 0; step < 10; ++step) {
    image(y, k);
    bool inside = true;
    for (int i = 0; i < n; ++i)
      inside = inside && rg::interior(iv(k[i]), iv(y[i]));
    if (inside) return true;
    for (int i = 0; i < n; ++i)
      y[i] = grown({std::fmin(y[i].inf, k[i].inf), std::fmax(y[i].sup, k[i].sup)}, 0.1);
  }
  return false;
}

// x := x ∩ y in place; says whether x shrank. An empty result has inf > sup
// (or NaN bounds): the callers check for it.
inline bool cut(ruf_di &x, const Iv &y) {
  const ruf_di c{std::fmax(x.inf, y.lo), std::fmin(x.sup, y.hi)};
  const bool shrank = c.inf > x.inf || c.sup < x.sup;
  x = c;
  return shrank;
}

// One narrowing step on the box k (n), next is scratch (n): k := K(k) ∩ k,
// then a Gauss-Seidel sweep on (R·A) x = R·b, R·A = I - C. Returns whether
// the box shrank.
inline bool narrow_once(const Map &image, ruf_di *k, ruf_di *next) {
  const int n = image.n;
  image(k, next);
  bool shrank = false;
  for (int i = 0; i < n; ++i)
    shrank = cut(k[i], iv(next[i])) || shrank;
  for (int i = 0; i < n; ++i) {
    const Iv d = rg::sub(rg::point(1.0), iv(at(image.c, n, i, i)));
    if (!(d.lo > 0)) continue;
    Iv s = iv(image.rb[i]);
    for (int j = 0; j < n; ++j)
      if (j != i) s = rg::add(s, rg::mul(iv(at(image.c, n, i, j)), iv(k[j])));
    shrank = cut(k[i], rg::div(s, d)) || shrank;
  }
  return shrank;
}

// Narrows k until done(k) holds, the box stops shrinking, or `steps` steps.
// A box that comes out empty held no solution; that cannot happen to a box
// that held the solution set, so it proves nothing and ends the narrowing.
template <class Done>
bool narrow(const Map &image, ruf_di *k, ruf_di *next, Done done, int steps = 30) {
  bool fits = done(k);
  for (int step = 0; step < steps && !fits; ++step) {
    const bool shrank = narrow_once(image, k, next);
    for (int i = 0; i < image.n; ++i)
      if (!(k[i].inf <= k[i].sup)) return false;
    fits = done(k);
    if (!shrank) break;
  }
  return fits;
}

} // namespace ruf::verified
