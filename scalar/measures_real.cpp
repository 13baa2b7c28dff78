// Real interval measures, set operations and relations, one body for both
// precisions. Only the radius, width, distance and midpoint touch the
// rounding mode; everything else here is exact.
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "scalar/rounding.h"
#include "scalar/types.h"

namespace ruf {
namespace {

template <class T> inline T min_of(T p, T q) {
  return p < q ? p : q;
}
template <class T> inline T max_of(T p, T q) {
  return p > q ? p : q;
}

// An ordered "equal" written as the absence of inequality: a NaN compares
// equal to everything. EQ, NE and the midpoint's shortcut are defined so.
template <class T> inline bool not_unequal(T p, T q) {
  return !(p < q || p > q);
}

// What the two members do differently, on purpose.
template <class T> struct Member;

template <> struct Member<float> {
  static constexpr auto isempty = ruf_interval_s_isempty;
  // MAG takes the absolute values through double precision; the barrier
  // keeps the widening a real conversion (it quiets a signalling NaN).
  static float mag_abs(float v) {
    double d = static_cast<double>(v);
    fp_barrier(d);
    return static_cast<float>(std::fabs(d));
  }
  // ABS orders abs(x1), abs(x2) with one comparison and a swap, not min/max;
  // with a NaN bound the result differs from the double member's, as intended.
  static constexpr bool abs_by_swap = true;
};

template <> struct Member<double> {
  static constexpr auto isempty = ruf_interval_d_isempty;
  static double mag_abs(double v) { return std::fabs(v); }
  static constexpr bool abs_by_swap = false;
};

template <class T> inline T mag(const Interval<T> *x) {
  return max_of(Member<T>::mag_abs(x->inf), Member<T>::mag_abs(x->sup));
}

template <class T> inline T mig(const Interval<T> *x) {
  const T a = x->inf, b = x->sup;
  if (a > 0 || b < 0) return min_of(std::fabs(a), std::fabs(b));
  return T(0);
}

template <class T> inline void abs(Interval<T> *r, const Interval<T> *x) {
  const T x1 = x->inf, x2 = x->sup;
  T lo, hi;
  if constexpr (Member<T>::abs_by_swap) {
    lo = std::fabs(x1);
    hi = std::fabs(x2);
    if (lo > hi) {
      const T t = lo;
      lo = hi;
      hi = t;
    }
  } else {
    lo = min_of(std::fabs(x1), std::fabs(x2));
    hi = max_of(std::fabs(x1), std::fabs(x2));
  }
  if (!(x1 > 0 || x2 < 0)) lo = T(0);
  r->inf = lo;
  r->sup = hi;
}

template <class T> inline T mid(const Interval<T> *x) {
  T a = x->inf, b = x->sup;
  if (not_unequal(a, b)) return a;
  RoundNearest frame(a, b);
  T m = T(0.5) * a + T(0.5) * b;
  frame.restore(m);
  return m;
}

template <class T> inline T rad(const Interval<T> *x) {
  T a = x->inf, b = x->sup;
  RoundUp frame(a, b);
  T r = (b - a) * T(0.5);
  frame.restore(r);
  return r;
}

template <class T> inline T wid(const Interval<T> *x) {
  T a = x->inf, b = x->sup;
  RoundUp frame(a, b);
  T w = b - a;
  frame.restore(w);
  return w;
}

template <class T> inline T dist(const Interval<T> *x, const Interval<T> *y) {
  if (Member<T>::isempty(x) || Member<T>::isempty(y)) return std::numeric_limits<T>::infinity();
  T x1 = x->inf, x2 = x->sup, y1 = y->inf, y2 = y->sup;
  RoundUp frame(x1, x2, y1, y2);
  // Each difference is rounded upward and only then made absolute, so a
  // negative difference rounds toward zero in magnitude; callers rely on
  // exactly these values.
  T d1 = x1 - y1, d2 = x2 - y2;
  frame.restore(d1, d2);
  return max_of(std::fabs(d1), std::fabs(d2));
}

// The empty intersection is marked by the single-precision NaN with bits
// 0x7F8FFFFF; the double member stores that value as the processor widens
// it (quieted: 0x7FF9FFFFE0000000). Callers compare against these bits.
inline constexpr std::uint32_t kEmptyBits = 0x7F8FFFFFu;

template <class T> inline void set_empty(Interval<T> *r) {
  if constexpr (sizeof(T) == sizeof(float)) {
    r->inf = r->sup = std::bit_cast<float>(kEmptyBits);
  } else {
    float f = std::bit_cast<float>(kEmptyBits);
    fp_barrier(f); // a real conversion, not one folded by the compiler
    const double d = static_cast<double>(f);
    r->inf = r->sup = d;
  }
}

template <class T> inline void ix(Interval<T> *r, const Interval<T> *x, const Interval<T> *y) {
  const T lo = max_of(x->inf, y->inf), hi = min_of(x->sup, y->sup);
  if (lo > hi) {
    set_empty<T>(r);
    return;
  }
  r->inf = lo;
  r->sup = hi;
}

// The relations. Tests written !(p >= q) or !(p > q) are true when the
// comparison is unordered; that is the defined NaN behaviour of each
// relation, so none of them may be simplified to p < q or p <= q.
template <class T> struct Relations {
  using I = Interval<T>;
  static bool empty(const I &v) { return Member<T>::isempty(&v) != 0; }

  static bool eq(const I &x, const I &y) {
    return not_unequal(x.inf, y.inf) && not_unequal(x.sup, y.sup);
  }
  static bool ne(const I &x, const I &y) { return !eq(x, y); }
  static bool lt(const I &x, const I &y) { return !(x.inf >= y.inf) && !(x.sup >= y.sup); }
  static bool le(const I &x, const I &y) { return !(x.inf > y.inf) && !(x.sup > y.sup); }
  static bool gt(const I &x, const I &y) { return x.inf > y.inf && x.sup > y.sup; }
  static bool ge(const I &x, const I &y) { return x.inf >= y.inf && x.sup >= y.sup; }
  static bool slt(const I &x, const I &y) { return !(x.sup >= y.inf); }
  static bool sle(const I &x, const I &y) { return !(x.sup > y.inf); }
  static bool sgt(const I &x, const I &y) { return x.inf > y.sup; }
  static bool sge(const I &x, const I &y) { return x.inf >= y.sup; }
  static bool wlt(const I &x, const I &y) { return !(x.inf >= y.sup); }
  static bool wle(const I &x, const I &y) { return !(x.inf > y.sup); }
  static bool wgt(const I &x, const I &y) { return x.sup > y.inf; }
  static bool wge(const I &x, const I &y) { return x.sup >= y.inf; }
  static bool in(T x, const I &y) { return y.inf <= x && !(x > y.sup); }

  // The set relations ask ISEMPTY first; it never answers yes for a real
  // interval, so these steps never decide, but they are part of the contract.
  static bool sb(const I &x, const I &y) {
    if (empty(x)) return true;
    return x.inf >= y.inf && !(x.sup > y.sup);
  }
  static bool sp(const I &x, const I &y) {
    if (empty(y)) return true;
    return !(x.inf > y.inf) && x.sup >= y.sup;
  }
  static bool psb(const I &x, const I &y) {
    if (empty(x)) return !empty(y);
    if (empty(y)) return false;
    return (x.inf > y.inf && x.sup <= y.sup) || (x.inf >= y.inf && x.sup < y.sup);
  }
  static bool psp(const I &x, const I &y) {
    if (empty(y)) return !empty(x);
    if (empty(x)) return false;
    return (x.inf < y.inf && x.sup >= y.sup) || (x.inf <= y.inf && x.sup > y.sup);
  }
  static bool itr(const I &x, const I &y) {
    if (empty(x)) return true;
    if (empty(y)) return false;
    return y.inf < x.inf && !(x.sup >= y.sup);
  }
  static bool dj(const I &x, const I &y) { return x.inf > y.sup || !(x.sup >= y.inf); }
};

} // namespace
} // namespace ruf

using ruf::Interval;

// clang-format off
// The twenty relations between two intervals, by operation word.
#define RUF_RELATION_WORDS(X, p, T)                                                                \
  X(p, T, eq) X(p, T, ne) X(p, T, lt) X(p, T, le) X(p, T, gt) X(p, T, ge) X(p, T, slt)             \
  X(p, T, sle) X(p, T, sgt) X(p, T, sge) X(p, T, wlt) X(p, T, wle) X(p, T, wgt) X(p, T, wge)      \
  X(p, T, sb) X(p, T, sp) X(p, T, psb) X(p, T, psp) X(p, T, itr) X(p, T, dj)

#define RUF_RELATION_IMPL(p, T, w)                                                                 \
  int ruf_interval_##p##_##w(const Interval<T> *x, const Interval<T> *y) {                         \
    return ruf::Relations<T>::w(*x, *y) ? 1 : 0;                                                   \
  }

// A real interval is never empty: ISEMPTY answers 0 for every argument.
#define RUF_MEASURE_IMPL(p, T)                                                                     \
  T ruf_interval_##p##_inf(const Interval<T> *x) { return x->inf; }                                \
  T ruf_interval_##p##_sup(const Interval<T> *x) { return x->sup; }                                \
  T ruf_interval_##p##_mid(const Interval<T> *x) { return ruf::mid<T>(x); }                        \
  T ruf_interval_##p##_rad(const Interval<T> *x) { return ruf::rad<T>(x); }                        \
  T ruf_interval_##p##_wid(const Interval<T> *x) { return ruf::wid<T>(x); }                        \
  T ruf_interval_##p##_mig(const Interval<T> *x) { return ruf::mig<T>(x); }                        \
  T ruf_interval_##p##_mag(const Interval<T> *x) { return ruf::mag<T>(x); }                        \
  void ruf_interval_##p##_abs(Interval<T> *res, const Interval<T> *x) { ruf::abs<T>(res, x); }     \
  T ruf_interval_##p##_dist(const Interval<T> *x, const Interval<T> *y) {                          \
    return ruf::dist<T>(x, y);                                                                     \
  }                                                                                                \
  void ruf_interval_##p##_ix(Interval<T> *res, const Interval<T> *x, const Interval<T> *y) {       \
    ruf::ix<T>(res, x, y);                                                                         \
  }                                                                                                \
  int ruf_interval_##p##_isempty(const Interval<T> *) { return 0; }                                \
  int ruf_interval_##p##_in(const T *x, const Interval<T> *y) {                                    \
    return ruf::Relations<T>::in(*x, *y) ? 1 : 0;                                                  \
  }                                                                                                \
  RUF_RELATION_WORDS(RUF_RELATION_IMPL, p, T)
// clang-format on

RUF_MEASURE_IMPL(s, float)
RUF_MEASURE_IMPL(d, double)
