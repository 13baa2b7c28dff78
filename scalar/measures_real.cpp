// Real interval measures, set operations and relations, one body for both
// precisions. Only the radius, width, distance and midpoint touch the
// rounding mode; everything else here is exact.
#include <cmath>

#include "scalar/types.h"

namespace ruf {
namespace {

template <class T> inline T min_of(T p, T q) { return p < q ? p : q; }
template <class T> inline T max_of(T p, T q) { return p > q ? p : q; }

// The single member takes absolute values through double precision.
inline float abs_of(float v) { return static_cast<float>(std::fabs(static_cast<double>(v))); }
inline double abs_of(double v) { return std::fabs(v); }

template <class T> inline T mag(const Interval<T> *x) {
  return max_of(abs_of(x->inf), abs_of(x->sup));
}

template <class T> inline T mig(const Interval<T> *x) {
  const T a = x->inf, b = x->sup;
  if (a > 0 || b < 0) return min_of(std::fabs(a), std::fabs(b));
  return T(0);
}

} // namespace
} // namespace ruf

using ruf::Interval;

#define RUF_MEASURE_IMPL(p, T)                                                                     \
  T ruf_interval_##p##_mig(const Interval<T> *x) { return ruf::mig<T>(x); }                        \
  T ruf_interval_##p##_mag(const Interval<T> *x) { return ruf::mag<T>(x); }

RUF_MEASURE_IMPL(s, float)
RUF_MEASURE_IMPL(d, double)
