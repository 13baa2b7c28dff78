// Conversions between point numbers, integers and the interval types.
//
// Every number is an exact copy or a plain conversion in the caller's
// rounding mode. Nothing here rounds outward, not even the narrowing from
// double to single precision: a narrowed interval has both bounds rounded the
// same way and need not contain its source. That is intended; callers use
// these routines to build values, not enclosures.
//
// The bodies are generated from the routine table: the argument types of an
// entry select the rule (an interval source, a point, two bounds or corners,
// a centre and a radius), so each rule is written once.
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "scalar/types.h"

namespace ruf {
namespace {

template <class A>
inline constexpr bool is_interval = std::is_same_v<A, ruf_si> || std::is_same_v<A, ruf_di>;

// Real and complex sources seen alike: a real point has imaginary part 0 of
// its own type (so two integers are still compared as integers).
template <class P> inline P re(P v) {
  return v;
}
template <class P> inline P im(P) {
  return P(0);
}
inline float re(ruf_c z) {
  return __real__ z;
}
inline float im(ruf_c z) {
  return __imag__ z;
}
inline double re(ruf_z z) {
  return __real__ z;
}
inline double im(ruf_z z) {
  return __imag__ z;
}

// The processor's conversion, in the current rounding mode.
template <class T, class S> inline T to(S v) {
  return static_cast<T>(v);
}

// Rejected input is marked by a NaN with fixed bits, which callers test for.
inline void put_marker(float &dst) {
  const std::uint32_t bits = 0x7F8FFFFFu;
  std::memcpy(&dst, &bits, sizeof dst);
}
inline void put_marker(double &dst) {
  const std::uint64_t bits = 0x7FFFFFFFFFFFFFFFu;
  std::memcpy(&dst, &bits, sizeof dst);
}

template <class I, class L, class H> inline void set_interval(I &r, L lo, H hi) {
  using T = typename PointOf<I>::type;
  r.inf = to<T>(lo);
  r.sup = to<T>(hi);
}

// A real interval in another precision, or as the real part of a rectangle.
template <class Out, class In> inline void from_interval(Out *r, const In &x) {
  if constexpr (Target<Out>::shape == Shape::interval) {
    set_interval(*r, x.inf, x.sup);
  } else {
    static_assert(Target<Out>::shape == Shape::rect);
    set_interval(r->re, x.inf, x.sup);
    set_interval(r->im, 0, 0);
  }
}

// A point: [x, x], ([re, re], [im, im]) or <re + im i, 0>.
template <class Out, class P> inline void from_point(Out *r, P x) {
  using T = typename Target<Out>::T;
  if constexpr (Target<Out>::shape == Shape::interval) {
    set_interval(*r, x, x);
  } else if constexpr (Target<Out>::shape == Shape::rect) {
    set_interval(r->re, re(x), re(x));
    set_interval(r->im, im(x), im(x));
  } else {
    r->re = to<T>(re(x));
    r->im = to<T>(im(x));
    r->rad = T(0);
  }
}

// Two bounds, or two complex corners. The test runs on the sources as given:
// a single bound meets a double one widened, integers meet as integers.
template <class Out, class A, class B> inline void corners(Out *r, A a, B b) {
  const bool reversed = re(a) > re(b) || im(a) > im(b);
  if constexpr (Target<Out>::shape == Shape::interval) {
    if (reversed) {
      put_marker(r->inf);
      put_marker(r->sup);
      return;
    }
    set_interval(*r, a, b);
  } else {
    static_assert(Target<Out>::shape == Shape::rect);
    if (reversed) {
      put_marker(r->re.inf);
      put_marker(r->re.sup);
      put_marker(r->im.inf);
      put_marker(r->im.sup);
      return;
    }
    set_interval(r->re, re(a), re(b));
    set_interval(r->im, im(a), im(b));
  }
}

// A centre and a radius. A radius that is not >= 0 (negative or NaN) marks
// the real part and the radius; the imaginary part is then 0.
template <class Out, class C, class R> inline void centre_radius(Out *r, C c, R rad) {
  using T = typename Target<Out>::T;
  if (!(rad >= 0)) {
    put_marker(r->re);
    r->im = T(0);
    put_marker(r->rad);
    return;
  }
  r->re = to<T>(re(c));
  r->im = to<T>(im(c));
  r->rad = to<T>(rad);
}

template <class Out, class A> inline void convert(Out *r, const A *x) {
  if constexpr (is_interval<A>) {
    from_interval(r, *x);
  } else {
    from_point(r, *x);
  }
}

template <class Out, class A, class B> inline void convert(Out *r, const A *a, const B *b) {
  if constexpr (Target<Out>::shape == Shape::disc) {
    centre_radius(r, *a, *b);
  } else {
    corners(r, *a, *b);
  }
}

} // namespace
} // namespace ruf

#define RUF_ROUTINE(UPPER, lower, ret, params, args)                                               \
  ret ruf_interval_##lower params {                                                                \
    ruf::convert args;                                                                             \
  }
#include "ruf_interval/convert.def"
#undef RUF_ROUTINE
