// Real interval arithmetic with outward rounding, one body for both precisions.
//
// Every bound is computed with MXCSR rounding toward +infinity. An upper bound
// is the plain operation; a lower bound is the negation of the upward-rounded
// operation on negated data, each negation written as a subtraction from +0,
// so that a zero lower bound comes out as +0.
//
// The case tables are tested in their order with their literal conditions;
// when a NaN bound makes every test false, the last case of the table applies.
//
// The bodies are inline so that the benchmarks can measure the same frame and
// formulas without a call; the library's entry points are in arith_real.cpp.
#pragma once

#include <limits>

#include "ruf_service.h"
#include "scalar/rounding.h"
#include "scalar/types.h"

namespace ruf {

template <class T> [[gnu::always_inline]] inline T neg(T v) {
  return T(0) - v;
}

// Lower bounds, rounded downward under the upward mode.
template <class T> [[gnu::always_inline]] inline T lo_add(T p, T q) {
  return neg(neg(p) - q);
}
template <class T> [[gnu::always_inline]] inline T lo_sub(T p, T q) {
  return neg(neg(p) + q);
}
template <class T> [[gnu::always_inline]] inline T lo_mul(T p, T q) {
  return neg(neg(p) * q);
}
template <class T> [[gnu::always_inline]] inline T lo_div(T p, T q) {
  return neg(neg(p) / q);
}

template <class T> [[gnu::always_inline]] inline T min_of(T p, T q) {
  return p < q ? p : q;
}
template <class T> [[gnu::always_inline]] inline T max_of(T p, T q) {
  return p > q ? p : q;
}

template <class T> [[gnu::always_inline]] inline void store(Interval<T> *r, T lo, T hi) {
  r->inf = lo;
  r->sup = hi;
}

template <class T> [[gnu::always_inline]] inline void entire(Interval<T> *r) {
  store<T>(r, -std::numeric_limits<T>::infinity(), std::numeric_limits<T>::infinity());
}

// Addition and subtraction write the upper bound before they read the
// operands of the lower bound, so a result that overlaps the second operand
// changes what the lower bound sees. Callers keep the two apart.
template <class T>
inline void add(Interval<T> *r, const T *a1, const T *a2, const T *b1, const T *b2) {
  T p = *a2, q = *b2;
  RoundUp frame(p, q);
  T hi = p + q;
  fp_barrier(hi);
  r->sup = hi;
  T lo = lo_add(*a1, *b1);
  frame.restore(lo);
  r->inf = lo;
}

template <class T>
inline void sub(Interval<T> *r, const T *a1, const T *a2, const T *b1, const T *b2) {
  T p = *a2, q = *b1;
  RoundUp frame(p, q);
  T hi = p - q;
  fp_barrier(hi);
  r->sup = hi;
  T lo = lo_sub(*a1, *b2);
  frame.restore(lo);
  r->inf = lo;
}

template <class T> inline void mult(Interval<T> *r, T a1, T a2, T b1, T b2) {
  RoundUp frame(a1, a2, b1, b2);
  T lo, hi;
  if (a1 > 0 && b1 > 0) { // 1
    lo = lo_mul(a1, b1);
    hi = a2 * b2;
  } else if (a1 > 0 && b1 <= 0 && b2 >= 0) { // 2
    lo = lo_mul(a2, b1);
    hi = a2 * b2;
  } else if (a1 > 0 && b2 < 0) { // 3
    lo = lo_mul(a2, b1);
    hi = a1 * b2;
  } else if (a1 <= 0 && a2 < 0 && b1 > 0) { // 4
    lo = lo_mul(a1, b2);
    hi = a2 * b1;
  } else if (a1 <= 0 && a2 < 0 && b1 <= 0 && b2 >= 0) { // 5
    lo = lo_mul(a1, b2);
    hi = a1 * b1;
  } else if (a1 <= 0 && a2 < 0 && b2 < 0) { // 6
    lo = lo_mul(a2, b2);
    hi = a1 * b1;
  } else if (a1 <= 0 && 0 <= a2 && b1 > 0) { // 7
    lo = lo_mul(a1, b2);
    hi = a2 * b2;
  } else if (a1 <= 0 && 0 <= a2 && b1 <= 0 && b2 < 0) { // 8
    lo = lo_mul(a2, b1);
    hi = a1 * b1;
  } else { // 9: both operands straddle zero
    // The lower bound keeps the larger of the candidates a1*b2 and a2*b1, not
    // the smaller: callers rely on exactly this result ([-1,2]*[-3,4] = [-4,8]).
    // The textbook rule, which a process may choose instead, keeps the
    // smaller; both are formed here, and the rule is asked only after the
    // restore, outside the frame.
    const T u = neg(a1) * b2;
    const T v = neg(b1) * a2;
    lo = u > v ? neg(v) : neg(u);
    T textbook = u > v ? neg(u) : neg(v);
    hi = max_of(a1 * b1, a2 * b2);
    frame.restore(lo, hi, textbook);
    store(r, ruf_serv_multiplication() == RUF_MULTIPLICATION_TEXTBOOK ? textbook : lo, hi);
    return;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

// Interval times point, point on the right (x_left false) or on the left.
template <class T> inline void mult_point(Interval<T> *r, T a1, T a2, T y, bool point_left) {
  RoundUp frame(a1, a2, y);
  T lo, hi;
  if (y > 0) {
    lo = point_left ? lo_mul(y, a1) : lo_mul(a1, y);
    hi = point_left ? y * a2 : a2 * y;
  } else {
    lo = point_left ? lo_mul(y, a2) : lo_mul(a2, y);
    hi = point_left ? y * a1 : a1 * y;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

template <class T> inline void divi(Interval<T> *r, T a1, T a2, T b1, T b2) {
  if (!(b1 > 0 || b2 < 0)) { // the divisor contains zero (or a NaN bound)
    entire<T>(r);
    return;
  }
  RoundUp frame(a1, a2, b1, b2);
  T lo, hi;
  if (a1 > 0 && b1 > 0) { // 1
    lo = lo_div(a1, b2);
    hi = a2 / b1;
  } else if (a1 > 0 && b1 <= 0) { // 2
    lo = lo_div(a2, b2);
    hi = a1 / b1;
  } else if (a1 <= 0 && a2 >= 0 && b1 > 0) { // 3
    lo = lo_div(a1, b1);
    hi = a2 / b1;
  } else if (a1 <= 0 && a2 >= 0 && b2 < 0) { // 4
    lo = lo_div(a2, b2);
    hi = a1 / b2;
  } else if (a2 < 0 && b1 > 0) { // 5
    lo = lo_div(a1, b1);
    hi = a2 / b2;
  } else { // 6
    lo = lo_div(a2, b1);
    hi = a1 / b2;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

// x / Y: the divisor test is b1 <= 0 <= b2 itself, so a NaN bound divides.
template <class T> inline void point_divi(Interval<T> *r, T x, T b1, T b2) {
  if (b1 <= 0 && 0 <= b2) {
    entire<T>(r);
    return;
  }
  RoundUp frame(x, b1, b2);
  T lo, hi;
  if (x > 0) {
    lo = lo_div(x, b2);
    hi = x / b1;
  } else {
    lo = lo_div(x, b1);
    hi = x / b2;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

// X / y: a zero or NaN divisor gives the entire line.
template <class T> inline void divi_point(Interval<T> *r, T a1, T a2, T y) {
  if (!(y < 0 || y > 0)) {
    entire<T>(r);
    return;
  }
  RoundUp frame(a1, a2, y);
  T lo, hi;
  if (y > 0) {
    lo = lo_div(a1, y);
    hi = a2 / y;
  } else {
    lo = lo_div(a2, y);
    hi = a1 / y;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

template <class T> inline void sqr(Interval<T> *r, T a1, T a2) {
  RoundUp frame(a1, a2);
  T lo, hi;
  if (a1 >= 0) {
    lo = lo_mul(a1, a1);
    hi = a2 * a2;
  } else if (a1 < 0 && a2 > 0) {
    lo = T(0);
    hi = max_of(a2 * a2, a1 * a1);
  } else {
    lo = lo_mul(a2, a2);
    hi = a1 * a1;
  }
  frame.restore(lo, hi);
  store(r, lo, hi);
}

} // namespace ruf
