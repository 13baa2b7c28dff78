// The exported real interval arithmetic: one instantiation per precision.
#include "scalar/arith_real.h"

using ruf::Interval;

// One set of extern "C" implementations per precision.
#define RUF_ARITH_IMPL(p, r, T)                                                                    \
  void ruf_interval_##p##_##p##_addi(Interval<T> *res, const Interval<T> *x,                       \
                                     const Interval<T> *y) {                                       \
    ruf::add<T>(res, &x->inf, &x->sup, &y->inf, &y->sup);                                          \
  }                                                                                                \
  void ruf_interval_##p##_##p##_subt(Interval<T> *res, const Interval<T> *x,                       \
                                     const Interval<T> *y) {                                       \
    ruf::sub<T>(res, &x->inf, &x->sup, &y->inf, &y->sup);                                          \
  }                                                                                                \
  void ruf_interval_##p##_##p##_mult(Interval<T> *res, const Interval<T> *x,                       \
                                     const Interval<T> *y) {                                       \
    ruf::mult<T>(res, x->inf, x->sup, y->inf, y->sup);                                             \
  }                                                                                                \
  void ruf_interval_##p##_##p##_divi(Interval<T> *res, const Interval<T> *x,                       \
                                     const Interval<T> *y) {                                       \
    ruf::divi<T>(res, x->inf, x->sup, y->inf, y->sup);                                             \
  }                                                                                                \
  void ruf_interval_##p##_##p##_ih(Interval<T> *res, const Interval<T> *x, const Interval<T> *y) { \
    const T lo = ruf::min_of(x->inf, y->inf), hi = ruf::max_of(x->sup, y->sup);                    \
    ruf::store(res, lo, hi);                                                                       \
  }                                                                                                \
  void ruf_interval_##p##_##r##_addi(Interval<T> *res, const Interval<T> *x, const T *y) {         \
    ruf::add<T>(res, &x->inf, &x->sup, y, y);                                                      \
  }                                                                                                \
  void ruf_interval_##p##_##r##_subt(Interval<T> *res, const Interval<T> *x, const T *y) {         \
    ruf::sub<T>(res, &x->inf, &x->sup, y, y);                                                      \
  }                                                                                                \
  void ruf_interval_##p##_##r##_mult(Interval<T> *res, const Interval<T> *x, const T *y) {         \
    ruf::mult_point<T>(res, x->inf, x->sup, *y, false);                                            \
  }                                                                                                \
  void ruf_interval_##p##_##r##_divi(Interval<T> *res, const Interval<T> *x, const T *y) {         \
    ruf::divi_point<T>(res, x->inf, x->sup, *y);                                                   \
  }                                                                                                \
  void ruf_interval_##p##_##r##_ih(Interval<T> *res, const Interval<T> *x, const T *y) {           \
    const T lo = ruf::min_of(x->inf, *y), hi = ruf::max_of(x->sup, *y);                            \
    ruf::store(res, lo, hi);                                                                       \
  }                                                                                                \
  void ruf_interval_##r##_##p##_addi(Interval<T> *res, const T *x, const Interval<T> *y) {         \
    ruf::add<T>(res, x, x, &y->inf, &y->sup);                                                      \
  }                                                                                                \
  void ruf_interval_##r##_##p##_subt(Interval<T> *res, const T *x, const Interval<T> *y) {         \
    ruf::sub<T>(res, x, x, &y->inf, &y->sup);                                                      \
  }                                                                                                \
  void ruf_interval_##r##_##p##_mult(Interval<T> *res, const T *x, const Interval<T> *y) {         \
    ruf::mult_point<T>(res, y->inf, y->sup, *x, true);                                             \
  }                                                                                                \
  void ruf_interval_##r##_##p##_divi(Interval<T> *res, const T *x, const Interval<T> *y) {         \
    ruf::point_divi<T>(res, *x, y->inf, y->sup);                                                   \
  }                                                                                                \
  void ruf_interval_##r##_##p##_ih(Interval<T> *res, const T *x, const Interval<T> *y) {           \
    const T lo = ruf::min_of(y->inf, *x), hi = ruf::max_of(*x, y->sup);                            \
    ruf::store(res, lo, hi);                                                                       \
  }                                                                                                \
  void ruf_interval_##p##_sqr(Interval<T> *res, const Interval<T> *x) {                            \
    ruf::sqr<T>(res, x->inf, x->sup);                                                              \
  }                                                                                                \
  void ruf_interval_##p##_copy(Interval<T> *res, const Interval<T> *x) {                           \
    *res = *x;                                                                                     \
  }

RUF_ARITH_IMPL(si, sr, float)
RUF_ARITH_IMPL(di, dr, double)
