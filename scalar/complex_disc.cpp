// Complex circular intervals (discs): a complex centre and a radius.
//
// Centres are computed in the caller's rounding mode; only radii (and the
// measures built from them) are rounded upward, MIG downward. Moduli come
// from the C library's cabs/cabsf, taken in whatever mode is in force where
// they are used. Which modulus each operation takes is part of each member's
// contract and is tabulated in the traits below.
#include <cmath>

#include "frame/imports.h"
#include "scalar/rounding.h"
#include "scalar/types.h"

namespace ruf::disc {
namespace {

template <class T> using Disc = typename Real<T>::disc;
template <class T> using Complex = typename Real<T>::complex;

template <class T> inline Complex<T> complex_of(T re, T im) {
  Complex<T> z;
  __real__ z = re;
  __imag__ z = im;
  return z;
}

// The two modulus routines. Each converts the centre to its own precision
// (narrowing rounds in the mode in force) and returns a value of that
// precision; the caller converts the result to the precision it works in.
struct SingleModulus {
  using real = float;
  template <class T> static float of(T re, T im) {
    return cabsf(complex_of(static_cast<float>(re), static_cast<float>(im)));
  }
};
struct DoubleModulus {
  using real = double;
  template <class T> static double of(T re, T im) {
    return cabs(complex_of(static_cast<double>(re), static_cast<double>(im)));
  }
};

template <class T> struct DiscMember;

template <> struct DiscMember<float> {
  static constexpr auto conj = conjf;
  static constexpr auto creal = crealf;
  static constexpr auto cimag = cimagf;
  static constexpr auto isempty = ruf_interval_cc_isempty;
  // Moduli: the product's radius, the quotient's radius terms, its
  // denominator, MAG, MIG, and the centre distance of DIST, SB, SP and IX.
  // The quotient's denominator and MAG go through double precision even in
  // this member. Intended: callers rely on exactly these values.
  using mult_modulus = SingleModulus;
  using quotient_modulus = SingleModulus;
  using denominator_modulus = DoubleModulus;
  using mag_modulus = DoubleModulus;
  using mig_modulus = SingleModulus;
  using distance_modulus = SingleModulus;
};

template <> struct DiscMember<double> {
  static constexpr auto conj = ::conj;
  static constexpr auto creal = ::creal;
  static constexpr auto cimag = ::cimag;
  static constexpr auto isempty = ruf_interval_zc_isempty;
  using mult_modulus = DoubleModulus;
  // The quotient's radius terms and MIG take single-precision moduli of the
  // centres. Intended: callers rely on exactly these values.
  using quotient_modulus = SingleModulus;
  using denominator_modulus = DoubleModulus;
  using mag_modulus = DoubleModulus;
  using mig_modulus = SingleModulus;
  using distance_modulus = DoubleModulus;
};

template <class T, class Modulus> inline T modulus(T re, T im) {
  return static_cast<T>(Modulus::of(re, im));
}

// The product of the centres in the caller's mode.
template <class T> inline void centre_product(T ar, T ai, T br, T bi, T &re, T &im) {
  re = ar * br - ai * bi;
  im = ai * br + ar * bi;
}

// ra + rb rounded upward.
template <class T> inline T radius_sum(T ra, T rb) {
  RoundUp frame(ra, rb);
  T s = ra + rb;
  frame.restore(s);
  return s;
}

// The centre is stored before the radii are read.
template <class T> inline void addi(Disc<T> *r, const Disc<T> *x, const Disc<T> *y) {
  r->re = x->re + y->re;
  r->im = x->im + y->im;
  r->rad = radius_sum(x->rad, y->rad);
}

template <class T> inline void subt(Disc<T> *r, const Disc<T> *x, const Disc<T> *y) {
  r->re = x->re - y->re;
  r->im = x->im - y->im;
  r->rad = radius_sum(x->rad, y->rad);
}

// The centre is stored first and the radius reads the operands from memory
// afterwards: the result must not share storage with an operand.
template <class T> inline void mult(Disc<T> *r, const Disc<T> *x, const Disc<T> *y) {
  using Mod = typename DiscMember<T>::mult_modulus;
  centre_product(x->re, x->im, y->re, y->im, r->re, r->im);
  T ar = x->re, ai = x->im, ra = x->rad, br = y->re, bi = y->im, rb = y->rad;
  RoundUp frame(ar, ai, ra, br, bi, rb);
  T rad = ra * rb + modulus<T, Mod>(ar, ai) * rb + ra * modulus<T, Mod>(br, bi);
  frame.restore(rad);
  r->rad = rad;
}

// A divisor disc around zero is not detected: the denominator is then zero or
// negative, and the radius infinite or negative.
template <class T> inline void divi(Disc<T> *r, const Disc<T> *x, const Disc<T> *y) {
  using M = DiscMember<T>;
  using Num = typename M::quotient_modulus;
  using Den = typename M::denominator_modulus;
  using W = typename Den::real;
  T ar = x->re, ai = x->im, ra = x->rad, br = y->re, bi = y->im, rb = y->rad;
  // a * conj(b) in the caller's mode, formed before the switch.
  const Complex<T> cb = M::conj(complex_of(br, bi));
  T nr, ni;
  centre_product(ar, ai, M::creal(cb), M::cimag(cb), nr, ni);
  fp_barrier(nr, ni);

  RoundUp frame(ar, ai, ra, br, bi, rb);
  // The denominator is formed in the precision of its modulus routine.
  const W mb = Den::of(br, bi);
  T den = static_cast<T>(mb * mb - static_cast<W>(rb * rb));
  T rad = (ra * rb + modulus<T, Num>(ar, ai) * rb + ra * modulus<T, Num>(br, bi)) / den;
  frame.restore(rad, den);
  fp_barrier(den); // the centre is divided in the caller's mode
  r->rad = rad;
  r->re = nr / den;
  r->im = ni / den;
}

// Works on the result alone: its centre is conjugated in place, its radius
// kept. Intended, and callers rely on it; the operand is never read.
template <class T> inline void conj(Disc<T> *r) {
  using M = DiscMember<T>;
  const Complex<T> z = M::conj(complex_of(r->re, r->im));
  r->re = M::creal(z);
  r->im = M::cimag(z);
}

template <class T> inline T mag(const Disc<T> *x) {
  T re = x->re, im = x->im, ra = x->rad;
  RoundUp frame(re, im, ra);
  T m = modulus<T, typename DiscMember<T>::mag_modulus>(re, im) + ra;
  frame.restore(m);
  return m;
}

// The modulus is taken in the caller's mode, the difference rounded downward.
template <class T> inline T mig(const Disc<T> *x) {
  T m = modulus<T, typename DiscMember<T>::mig_modulus>(x->re, x->im);
  T ra = x->rad;
  if (!(m > ra)) return T(0);
  RoundDown frame(m, ra);
  T d = m - ra;
  frame.restore(d);
  return d;
}

template <class T> inline T dist(const Disc<T> *x, const Disc<T> *y) {
  T ar = x->re, ai = x->im, ra = x->rad, br = y->re, bi = y->im, rb = y->rad;
  RoundUp frame(ar, ai, ra, br, bi, rb);
  T d = modulus<T, typename DiscMember<T>::distance_modulus>(ar - br, ai - bi) + std::fabs(ra - rb);
  frame.restore(d);
  return d;
}

// abs(a - b), rounded upward, handed back for use in the caller's mode.
template <class T> inline T centre_distance(const Disc<T> *x, const Disc<T> *y) {
  T ar = x->re, ai = x->im, br = y->re, bi = y->im;
  RoundUp frame(ar, ai, br, bi);
  T d = modulus<T, typename DiscMember<T>::distance_modulus>(ar - br, ai - bi);
  frame.restore(d);
  fp_barrier(d);
  return d;
}

template <class T> inline bool sb(const Disc<T> *x, const Disc<T> *y) {
  if (DiscMember<T>::isempty(x)) return true;
  const T d = centre_distance<T>(x, y);
  return x->rad + d <= y->rad;
}

template <class T> inline bool sp(const Disc<T> *x, const Disc<T> *y) {
  if (DiscMember<T>::isempty(y)) return true;
  const T d = centre_distance<T>(x, y);
  return y->rad + d <= x->rad;
}

// A disc around the lens where the two discs meet, in the caller's mode.
// Disjoint or concentric discs are not detected: the formulas then give a
// not-a-number radius or centre.
template <class T> inline void ix(Disc<T> *r, const Disc<T> *x, const Disc<T> *y) {
  // Ties make X the larger disc.
  const bool y_larger = x->rad < y->rad;
  const Disc<T> large = y_larger ? *y : *x, small = y_larger ? *x : *y;
  const T big = large.rad, s = small.rad;
  const T d = modulus<T, typename DiscMember<T>::distance_modulus>(large.re - small.re,
                                                                   large.im - small.im);
  // Distance from the larger centre to the chord through the crossing points.
  const T h = ((big * big - s * s) + d * d) * T(0.5) / d;
  if (h >= d) {
    *r = small;
    return;
  }
  const T t = h / d;
  r->re = large.re * (T(1) - t) + small.re * t;
  r->im = large.im * (T(1) - t) + small.im * t;
  r->rad = std::sqrt(big * big - h * h);
}

} // namespace
} // namespace ruf::disc

using ruf::disc::Complex;
using ruf::disc::Disc;

#define RUF_DISC_IMPL(p, T)                                                                        \
  void ruf_interval_##p##_##p##_addi(Disc<T> *res, const Disc<T> *x, const Disc<T> *y) {           \
    ruf::disc::addi<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_##p##_subt(Disc<T> *res, const Disc<T> *x, const Disc<T> *y) {           \
    ruf::disc::subt<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_##p##_mult(Disc<T> *res, const Disc<T> *x, const Disc<T> *y) {           \
    ruf::disc::mult<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_##p##_divi(Disc<T> *res, const Disc<T> *x, const Disc<T> *y) {           \
    ruf::disc::divi<T>(res, x, y);                                                                 \
  }                                                                                                \
  void ruf_interval_##p##_conj(Disc<T> *res, const Disc<T> *) {                                    \
    ruf::disc::conj<T>(res);                                                                       \
  }                                                                                                \
  void ruf_interval_##p##_copy(Disc<T> *res, const Disc<T> *x) {                                   \
    *res = *x;                                                                                     \
  }                                                                                                \
  T ruf_interval_##p##_dist(const Disc<T> *x, const Disc<T> *y) {                                  \
    return ruf::disc::dist<T>(x, y);                                                               \
  }                                                                                                \
  /* A disc is never empty. */                                                                     \
  int ruf_interval_##p##_isempty(const Disc<T> *) {                                                \
    return 0;                                                                                      \
  }                                                                                                \
  void ruf_interval_##p##_ix(Disc<T> *res, const Disc<T> *x, const Disc<T> *y) {                   \
    ruf::disc::ix<T>(res, x, y);                                                                   \
  }                                                                                                \
  T ruf_interval_##p##_mag(const Disc<T> *x) {                                                     \
    return ruf::disc::mag<T>(x);                                                                   \
  }                                                                                                \
  /* The centre, unchanged. */                                                                     \
  Complex<T> ruf_interval_##p##_mid(const Disc<T> *x) {                                            \
    return ruf::disc::complex_of(x->re, x->im);                                                    \
  }                                                                                                \
  T ruf_interval_##p##_mig(const Disc<T> *x) {                                                     \
    return ruf::disc::mig<T>(x);                                                                   \
  }                                                                                                \
  int ruf_interval_##p##_sb(const Disc<T> *x, const Disc<T> *y) {                                  \
    return ruf::disc::sb<T>(x, y) ? 1 : 0;                                                         \
  }                                                                                                \
  int ruf_interval_##p##_sp(const Disc<T> *x, const Disc<T> *y) {                                  \
    return ruf::disc::sp<T>(x, y) ? 1 : 0;                                                         \
  }

RUF_DISC_IMPL(cc, float)
RUF_DISC_IMPL(zc, double)
