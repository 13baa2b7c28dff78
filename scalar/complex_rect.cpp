// Complex rectangular intervals: a real-part interval and an imaginary-part
// interval. One body serves both members; the traits bind each member to the
// real interval operations of its precision and hold the one place where the
// members differ.
//
// Addition, subtraction and the measures compute inline in their own
// rounding frame. Multiplication, division and the intersection are built
// from the real operations, called through their implementation spelling.
#include <cmath>

#include "scalar/arith_real.h"
#include "scalar/rounding.h"
#include "scalar/types.h"

namespace ruf::rect {
namespace {

template <class T> using Rect = typename Real<T>::rect;
template <class T> using Complex = typename Real<T>::complex;

// Whose squared magnitude a quotient is scaled by.
enum class Operand { dividend, divisor };

template <class T> struct RectMember;

template <> struct RectMember<float> {
  static constexpr auto addi = ruf_interval_si_si_addi;
  static constexpr auto subt = ruf_interval_si_si_subt;
  static constexpr auto mult = ruf_interval_si_si_mult;
  static constexpr auto divi = ruf_interval_si_si_divi;
  static constexpr auto sqr = ruf_interval_si_sqr;
  static constexpr auto ix = ruf_interval_s_ix;
  static constexpr auto isempty = ruf_interval_cr_isempty;
  static constexpr Operand squared_magnitude_of = Operand::divisor;
};

template <> struct RectMember<double> {
  static constexpr auto addi = ruf_interval_di_di_addi;
  static constexpr auto subt = ruf_interval_di_di_subt;
  static constexpr auto mult = ruf_interval_di_di_mult;
  static constexpr auto divi = ruf_interval_di_di_divi;
  static constexpr auto sqr = ruf_interval_di_sqr;
  static constexpr auto ix = ruf_interval_d_ix;
  static constexpr auto isempty = ruf_interval_zr_isempty;
  // X / Y is scaled by sqr(Xr) + sqr(Xi), X's own squared magnitude, not the
  // divisor's. Intended: callers rely on exactly these quotients.
  static constexpr Operand squared_magnitude_of = Operand::dividend;
};

template <class T> inline Complex<T> complex_of(T re, T im) {
  Complex<T> z;
  __real__ z = re;
  __imag__ z = im;
  return z;
}

// The two upper bounds are stored before the lower bounds' operands are read.
template <class T> inline void add(Rect<T> *r, const Rect<T> *x, const Rect<T> *y) {
  T xr2 = x->re.sup, yr2 = y->re.sup, xi2 = x->im.sup, yi2 = y->im.sup;
  RoundUp frame(xr2, yr2, xi2, yi2);
  r->re.sup = xr2 + yr2;
  r->im.sup = xi2 + yi2;
  // Storage that overlaps an operand sees the new upper bounds: the compiler
  // may not read the lower bounds' operands any earlier.
  asm volatile("" ::: "memory");
  T lr = lo_add(x->re.inf, y->re.inf), li = lo_add(x->im.inf, y->im.inf);
  frame.restore(lr, li);
  r->re.inf = lr;
  r->im.inf = li;
}

// All eight numbers are read before anything is written, so the result may
// be either operand.
template <class T> inline void sub(Rect<T> *r, const Rect<T> *x, const Rect<T> *y) {
  T xr1 = x->re.inf, xr2 = x->re.sup, xi1 = x->im.inf, xi2 = x->im.sup;
  T yr1 = y->re.inf, yr2 = y->re.sup, yi1 = y->im.inf, yi2 = y->im.sup;
  RoundUp frame(xr1, xr2, xi1, xi2, yr1, yr2, yi1, yi2);
  T lr = lo_sub(xr1, yr2), hr = xr2 - yr1, li = lo_sub(xi1, yi2), hi = xi2 - yi1;
  frame.restore(lr, hr, li, hi);
  r->re.inf = lr;
  r->re.sup = hr;
  r->im.inf = li;
  r->im.sup = hi;
}

// The real part is stored before the operands are read again: the result
// must not share storage with an operand.
template <class T> inline void mult(Rect<T> *r, const Rect<T> *x, const Rect<T> *y) {
  using M = RectMember<T>;
  Interval<T> t, u;
  M::mult(&t, &x->re, &y->re);
  M::mult(&u, &x->im, &y->im);
  M::subt(&r->re, &t, &u);
  M::mult(&t, &x->re, &y->im);
  M::mult(&u, &x->im, &y->re);
  M::addi(&r->im, &t, &u);
}

// A squared magnitude that contains zero makes both parts the entire line.
template <class T> inline void divi(Rect<T> *r, const Rect<T> *x, const Rect<T> *y) {
  using M = RectMember<T>;
  const Rect<T> *scaled_by = M::squared_magnitude_of == Operand::divisor ? y : x;
  Interval<T> d, t, u, v;
  M::sqr(&t, &scaled_by->re);
  M::sqr(&u, &scaled_by->im);
  M::addi(&d, &t, &u);
  M::mult(&t, &x->re, &y->re);
  M::mult(&u, &x->im, &y->im);
  M::addi(&v, &t, &u);
  M::divi(&r->re, &v, &d);
  M::mult(&t, &x->im, &y->re);
  M::mult(&u, &x->re, &y->im);
  M::subt(&v, &t, &u);
  M::divi(&r->im, &v, &d);
}

// Works on the result alone: its imaginary part becomes [-s, s] for its own
// upper bound s, in the caller's rounding mode. Intended, and callers rely
// on it; the operand is never read.
template <class T> inline void conj(Rect<T> *r) {
  const T s = r->im.sup;
  const T lo = T(0) - s;
  r->im.inf = lo;
  r->im.sup = T(0) - lo;
}

template <class T> inline T mid_part(T p1, T p2) {
  // An unordered pair counts as equal and gives p1 unchanged.
  return (p1 < p2 || p1 > p2) ? T(0.5) * p1 + T(0.5) * p2 : p1;
}

template <class T> inline Complex<T> mid(const Rect<T> *x) {
  T r1 = x->re.inf, r2 = x->re.sup, i1 = x->im.inf, i2 = x->im.sup;
  RoundNearest frame(r1, r2, i1, i2);
  T re = mid_part(r1, r2), im = mid_part(i1, i2);
  frame.restore(re, im);
  return complex_of(re, im);
}

// The sum of squares is rounded upward; its square root is taken in the
// caller's mode.
template <class T> inline T mag(const Rect<T> *x) {
  T r1 = x->re.inf, r2 = x->re.sup, i1 = x->im.inf, i2 = x->im.sup;
  RoundUp frame(r1, r2, i1, i2);
  const T a = max_of(std::fabs(r1), std::fabs(r2)), b = max_of(std::fabs(i1), std::fabs(i2));
  T s = a * a + b * b;
  frame.restore(s);
  fp_barrier(s);
  return std::sqrt(s);
}

template <class T> inline T mig_part(T p1, T p2) {
  return (p1 > 0 || p2 < 0) ? min_of(std::fabs(p1), std::fabs(p2)) : T(0);
}

// The sum of squares is rounded downward; its square root is taken in the
// caller's mode.
template <class T> inline T mig(const Rect<T> *x) {
  T r1 = x->re.inf, r2 = x->re.sup, i1 = x->im.inf, i2 = x->im.sup;
  RoundDown frame(r1, r2, i1, i2);
  const T mr = mig_part(r1, r2), mi = mig_part(i1, i2);
  T s = mr * mr + mi * mi;
  frame.restore(s);
  fp_barrier(s);
  return std::sqrt(s);
}

// Each difference is rounded upward before its absolute value is taken, as
// for a real interval.
template <class T> inline T dist(const Rect<T> *x, const Rect<T> *y) {
  T xr1 = x->re.inf, xr2 = x->re.sup, xi1 = x->im.inf, xi2 = x->im.sup;
  T yr1 = y->re.inf, yr2 = y->re.sup, yi1 = y->im.inf, yi2 = y->im.sup;
  RoundUp frame(xr1, xr2, xi1, xi2, yr1, yr2, yi1, yi2);
  const T dr = max_of(std::fabs(xr1 - yr1), std::fabs(xr2 - yr2));
  const T di = max_of(std::fabs(xi1 - yi1), std::fabs(xi2 - yi2));
  T d = dr + di;
  frame.restore(d);
  return d;
}

template <class T> inline void ix(Rect<T> *r, const Rect<T> *x, const Rect<T> *y) {
  RectMember<T>::ix(&r->re, &x->re, &y->re);
  RectMember<T>::ix(&r->im, &x->im, &y->im);
}

// SB and SP compare X's imaginary upper bound with Y's imaginary LOWER
// bound. Intended: callers rely on exactly this test.
template <class T> inline bool sb(const Rect<T> *x, const Rect<T> *y) {
  if (RectMember<T>::isempty(x)) return true;
  return x->re.inf >= y->re.inf && x->re.sup <= y->re.sup && x->im.inf >= y->im.inf &&
         x->im.sup <= y->im.inf;
}

template <class T> inline bool sp(const Rect<T> *x, const Rect<T> *y) {
  if (RectMember<T>::isempty(y)) return true;
  return x->re.inf <= y->re.inf && x->re.sup >= y->re.sup && x->im.inf <= y->im.inf &&
         x->im.sup >= y->im.inf;
}

} // namespace
} // namespace ruf::rect

using ruf::rect::Complex;
using ruf::rect::Rect;

#define RUF_RECT_IMPL(p, T)                                                                        \
  void ruf_interval_##p##_##p##_addi(Rect<T> *res, const Rect<T> *x, const Rect<T> *y) {           \
    ruf::rect::add<T>(res, x, y);                                                                  \
  }                                                                                                \
  void ruf_interval_##p##_##p##_subt(Rect<T> *res, const Rect<T> *x, const Rect<T> *y) {           \
    ruf::rect::sub<T>(res, x, y);                                                                  \
  }                                                                                                \
  void ruf_interval_##p##_##p##_mult(Rect<T> *res, const Rect<T> *x, const Rect<T> *y) {           \
    ruf::rect::mult<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_##p##_divi(Rect<T> *res, const Rect<T> *x, const Rect<T> *y) {           \
    ruf::rect::divi<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_conj(Rect<T> *res, const Rect<T> *) {                                    \
    ruf::rect::conj<T>(res);                                                                       \
  }                                                                                                \
  void ruf_interval_##p##_copy(Rect<T> *res, const Rect<T> *x) {                                   \
    *res = *x;                                                                                     \
  }                                                                                                \
  T ruf_interval_##p##_dist(const Rect<T> *x, const Rect<T> *y) {                                  \
    return ruf::rect::dist<T>(x, y);                                                               \
  }                                                                                                \
  /* A rectangle is never empty. */                                                                \
  int ruf_interval_##p##_isempty(const Rect<T> *) {                                                \
    return 0;                                                                                      \
  }                                                                                                \
  void ruf_interval_##p##_ix(Rect<T> *res, const Rect<T> *x, const Rect<T> *y) {                   \
    ruf::rect::ix<T>(res, x, y);                                                                   \
  }                                                                                                \
  T ruf_interval_##p##_mag(const Rect<T> *x) {                                                     \
    return ruf::rect::mag<T>(x);                                                                   \
  }                                                                                                \
  Complex<T> ruf_interval_##p##_mid(const Rect<T> *x) {                                            \
    return ruf::rect::mid<T>(x);                                                                   \
  }                                                                                                \
  T ruf_interval_##p##_mig(const Rect<T> *x) {                                                     \
    return ruf::rect::mig<T>(x);                                                                   \
  }                                                                                                \
  int ruf_interval_##p##_sb(const Rect<T> *x, const Rect<T> *y) {                                  \
    return ruf::rect::sb<T>(x, y) ? 1 : 0;                                                         \
  }                                                                                                \
  int ruf_interval_##p##_sp(const Rect<T> *x, const Rect<T> *y) {                                  \
    return ruf::rect::sp<T>(x, y) ? 1 : 0;                                                         \
  }

RUF_RECT_IMPL(cr, float)
RUF_RECT_IMPL(zr, double)
