// Rigorous interval arithmetic for the routines of our own design (hull
// bounds, the fast verified solver, a-posteriori verification): every bound is
// rounded outward and the product of two intervals is the textbook one, the
// smallest and largest of the four candidate products. The elementary
// operations of the exported families follow their own rules (a product of
// two zero-straddling intervals keeps the larger lower candidate); nothing
// here calls them.
//
// Upward rounding is set once for a stretch of code by an Upward scope; lower
// bounds are negations of upward-rounded results on negated data. Every
// operation passes its operands and its result through an empty asm, so that
// none can be moved across the scope's MXCSR writes (see rounding.h).
#pragma once

#include <cmath>
#include <limits>

#include "scalar/rounding.h"

namespace ruf::rigorous {

// Upward rounding in the calling thread from construction to destruction;
// then the caller's rounding field is restored, and nothing else.
class Upward {
public:
  Upward() {
    const std::uint32_t csr = read_mxcsr();
    saved_ = csr & kRoundingField;
    write_mxcsr((csr & ~kRoundingField) | static_cast<std::uint32_t>(Direction::up));
  }
  ~Upward() { write_mxcsr((read_mxcsr() & ~kRoundingField) | saved_); }
  Upward(const Upward &) = delete;
  Upward &operator=(const Upward &) = delete;

private:
  std::uint32_t saved_;
};

// Each of these is exact to the rounding direction only inside an Upward scope.
template <class T> [[gnu::always_inline]] inline T pinned(T r) {
  fp_barrier(r);
  return r;
}
template <class T> inline T add_up(T a, T b) {
  fp_barrier(a, b);
  return pinned(a + b);
}
template <class T> inline T sub_up(T a, T b) {
  fp_barrier(a, b);
  return pinned(a - b);
}
template <class T> inline T mul_up(T a, T b) {
  fp_barrier(a, b);
  return pinned(a * b);
}
template <class T> inline T div_up(T a, T b) {
  fp_barrier(a, b);
  return pinned(a / b);
}
template <class T> inline T sqrt_up(T a) {
  fp_barrier(a);
  return pinned(std::sqrt(a));
}
template <class T> inline T add_down(T a, T b) {
  return -sub_up(-a, b);
}
template <class T> inline T sub_down(T a, T b) {
  return -add_up(-a, b);
}
template <class T> inline T mul_down(T a, T b) {
  return -mul_up(-a, b);
}
template <class T> inline T div_down(T a, T b) {
  return -div_up(-a, b);
}

// A closed interval [lo, hi]; NaN bounds mean "unknown" and propagate into
// every bound they touch, so that a NaN never passes for a proof.
template <class T> struct Interval { T lo, hi; };

template <class T> Interval<T> point(T x) {
  return {x, x};
}
template <class T> Interval<T> entire() {
  constexpr T inf = std::numeric_limits<T>::infinity();
  return {-inf, inf};
}
template <class T> bool has_nan(const Interval<T> &x) {
  return std::isnan(x.lo) || std::isnan(x.hi);
}

template <class T> Interval<T> unknown() {
  constexpr T nan = std::numeric_limits<T>::quiet_NaN();
  return {nan, nan};
}

// The extremes of the four candidates of a product or quotient. A candidate
// inf/inf is NaN and is passed over: the neighbouring candidates already
// reach 0 and infinity.
template <class T, class Lo, class Hi>
Interval<T> corners(const Interval<T> &x, const Interval<T> &y, Lo lo, Hi hi) {
  return {std::fmin(std::fmin(lo(x.lo, y.lo), lo(x.lo, y.hi)),
                    std::fmin(lo(x.hi, y.lo), lo(x.hi, y.hi))),
          std::fmax(std::fmax(hi(x.lo, y.lo), hi(x.lo, y.hi)),
                    std::fmax(hi(x.hi, y.lo), hi(x.hi, y.hi)))};
}

// Inside an Upward scope:
template <class T> Interval<T> add(const Interval<T> &x, const Interval<T> &y) {
  return {add_down(x.lo, y.lo), add_up(x.hi, y.hi)};
}
template <class T> Interval<T> sub(const Interval<T> &x, const Interval<T> &y) {
  return {sub_down(x.lo, y.hi), sub_up(x.hi, y.lo)};
}
// The textbook product. 0 * infinity counts as 0: an unbounded factor times
// a zero bound of the other contributes nothing beyond the other candidates.
template <class T> Interval<T> mul(const Interval<T> &x, const Interval<T> &y) {
  if (has_nan(x) || has_nan(y)) return unknown<T>();
  return corners(
      x, y, [](T a, T b) { return a == T(0) || b == T(0) ? T(0) : mul_down(a, b); },
      [](T a, T b) { return a == T(0) || b == T(0) ? T(0) : mul_up(a, b); });
}
// x / y; a divisor that contains zero gives the entire line.
template <class T> Interval<T> div(const Interval<T> &x, const Interval<T> &y) {
  if (has_nan(x) || has_nan(y)) return unknown<T>();
  if (y.lo <= T(0) && y.hi >= T(0)) return entire<T>();
  return corners(
      x, y, [](T a, T b) { return a == T(0) ? T(0) : div_down(a, b); },
      [](T a, T b) { return a == T(0) ? T(0) : div_up(a, b); });
}
// The largest absolute value of the interval's numbers (exact).
template <class T> T mag(const Interval<T> &x) {
  return has_nan(x) ? x.lo + x.hi : std::fmax(std::fabs(x.lo), std::fabs(x.hi));
}
// x strictly inside y: interior in both bounds (NaN: false).
template <class T> bool interior(const Interval<T> &x, const Interval<T> &y) {
  return y.lo < x.lo && x.hi < y.hi;
}
template <class T> bool contains(const Interval<T> &y, const Interval<T> &x) {
  return y.lo <= x.lo && x.hi <= y.hi;
}

} // namespace ruf::rigorous
