// Exact oracles for directed rounding (MPFR at the target precision, with
// the target's exponent range and subnormals), random operand samplers that
// favour the awkward values (signed zeros, subnormals, huge and tiny
// magnitudes, infinities and NaNs), the caller's rounding mode in MXCSR, and
// the scalar routines of both members as one overload set per operation.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <type_traits>

#include "ruf_interval.h"
#include "scalar/types.h"

namespace ruf_test {

enum class Op { add, sub, mul, div, sqrt };

// op(a, b) rounded to T toward +infinity (up) or -infinity (down), exactly as
// IEEE 754 with subnormals would; for Op::sqrt, b is ignored.
template <class T> T up(Op op, T a, T b = T(0));
template <class T> T down(Op op, T a, T b = T(0));
// Lower bound as the library forms it: down() with a zero made +0.
template <class T> T lower(Op op, T a, T b = T(0)) {
  const T v = down(op, a, b);
  return v == T(0) ? T(0) : v;
}
// op(a, b) rounded to nearest.
template <class T> T nearest(Op op, T a, T b = T(0));

// Bit-identical, or both NaN.
template <class T> bool same(T a, T b) {
  if (a != a && b != b) return true;
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <class T> std::string hex(T v);

// The midpoint as the library forms it: a degenerate or unordered pair gives
// its lower bound, otherwise 0.5*a1 + 0.5*a2 rounded to nearest.
template <class T> T nearest_midpoint(T a1, T a2) {
  if (!(a1 < a2 || a1 > a2)) return a1;
  return nearest(Op::add, nearest(Op::mul, T(0.5), a1), nearest(Op::mul, T(0.5), a2));
}

// Seed for the randomised tests: RUF_TEST_SEED or a fixed default; the
// number of cases is scaled by RUF_TEST_SCALE (default 1).
std::uint64_t test_seed();
int scaled(int n);

template <class T> class Sampler {
public:
  explicit Sampler(std::uint64_t seed) : rng_(seed) {}
  // A number from a mix of special and ordinary values.
  T point();
  // A finite, ordinary-sized number (no specials).
  T ordinary();
  // An interval: usually ordered, sometimes degenerate, reversed or with
  // special bounds.
  void interval(T &lo, T &hi);
  std::mt19937_64 &rng() { return rng_; }

private:
  std::mt19937_64 rng_;
};

// The caller's rounding mode, read and set in MXCSR itself (glibc's
// fegetround reads the x87 control word only).
namespace mxcsr {
constexpr std::uint32_t kField = 0x6000, kFlags = 0x3F;
constexpr std::uint32_t kNearest = 0x0000, kDown = 0x2000, kUp = 0x4000, kTowardZero = 0x6000;
constexpr std::uint32_t kModes[] = {kNearest, kDown, kUp, kTowardZero};

inline std::uint32_t read() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
inline void write(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}
// "Nearest", "Down", "Up" or "TowardZero", for test names.
std::string name(std::uint32_t mode);

// f() run with the rounding field set to mode; MXCSR is restored afterwards.
template <class F> auto run_in(std::uint32_t mode, F f) {
  const std::uint32_t saved = read();
  write((saved & ~kField) | mode);
  if constexpr (std::is_void_v<decltype(f())>) {
    f();
    write(saved);
  } else {
    const auto v = f();
    write(saved);
    return v;
  }
}
// The rounding field in force when f, run in mode, returns.
template <class F> std::uint32_t field_after(std::uint32_t mode, F f) {
  return run_in(mode, [&] {
    f();
    return read() & kField;
  });
}

// Whether f, run in mode, leaves mode in force.
template <class F> bool keeps(std::uint32_t mode, F f) {
  return field_after(mode, f) == mode;
}

// op(a, b) rounded to T in the direction of mode.
template <class T> T rounded(std::uint32_t mode, Op op, T a, T b = T(0));
// An exact value (any int, float or double) rounded to T in the direction of mode.
template <class T> T narrow(std::uint32_t mode, long double v);
} // namespace mxcsr

// The scalar routines of both precisions, one overload set per operation, so
// that a typed test calls ops::mult(&r, &x, &y) whatever the member; and
// bitwise comparison and printing of whole values.
namespace ops {
template <class R, class... A> struct Fn {
  R (*f)(A...);
  R operator()(A... a) const { return f(a...); }
};
template <class... F> struct Set : F... { using F::operator()...; };
template <class R, class... A> constexpr Fn<R, A...> fn(R (*f)(A...)) {
  return {f};
}
template <class... F> constexpr Set<F...> set(F... f) {
  return {f...};
}

#define RUF_OPS_REAL(op) fn(ruf_interval_s_##op), fn(ruf_interval_d_##op)
#define RUF_OPS_IV(op) fn(ruf_interval_si_##op), fn(ruf_interval_di_##op)
#define RUF_OPS_CPLX(op)                                                                           \
  fn(ruf_interval_cr_##op), fn(ruf_interval_zr_##op), fn(ruf_interval_cc_##op),                    \
      fn(ruf_interval_zc_##op)
#define RUF_OPS_ARITH(op)                                                                          \
  fn(ruf_interval_si_si_##op), fn(ruf_interval_di_di_##op), fn(ruf_interval_si_sr_##op),           \
      fn(ruf_interval_sr_si_##op), fn(ruf_interval_di_dr_##op), fn(ruf_interval_dr_di_##op)
#define RUF_OPS_CPLX_ARITH(op)                                                                     \
  fn(ruf_interval_cr_cr_##op), fn(ruf_interval_zr_zr_##op), fn(ruf_interval_cc_cc_##op),           \
      fn(ruf_interval_zc_zc_##op)
inline constexpr auto addi = set(RUF_OPS_ARITH(addi), RUF_OPS_CPLX_ARITH(addi));
inline constexpr auto subt = set(RUF_OPS_ARITH(subt), RUF_OPS_CPLX_ARITH(subt));
inline constexpr auto mult = set(RUF_OPS_ARITH(mult), RUF_OPS_CPLX_ARITH(mult));
inline constexpr auto divi = set(RUF_OPS_ARITH(divi), RUF_OPS_CPLX_ARITH(divi));
inline constexpr auto ih = set(RUF_OPS_ARITH(ih));
inline constexpr auto sqr = set(RUF_OPS_IV(sqr));
inline constexpr auto copy = set(RUF_OPS_IV(copy), RUF_OPS_CPLX(copy));
inline constexpr auto conj = set(RUF_OPS_CPLX(conj));
inline constexpr auto inf = set(RUF_OPS_REAL(inf));
inline constexpr auto sup = set(RUF_OPS_REAL(sup));
inline constexpr auto rad = set(RUF_OPS_REAL(rad));
inline constexpr auto wid = set(RUF_OPS_REAL(wid));
inline constexpr auto abs = set(RUF_OPS_REAL(abs));
inline constexpr auto mid = set(RUF_OPS_REAL(mid), RUF_OPS_CPLX(mid));
inline constexpr auto mag = set(RUF_OPS_REAL(mag), RUF_OPS_CPLX(mag));
inline constexpr auto mig = set(RUF_OPS_REAL(mig), RUF_OPS_CPLX(mig));
inline constexpr auto dist = set(RUF_OPS_REAL(dist), RUF_OPS_CPLX(dist));
inline constexpr auto ix = set(RUF_OPS_REAL(ix), RUF_OPS_CPLX(ix));
inline constexpr auto isempty = set(RUF_OPS_REAL(isempty), RUF_OPS_CPLX(isempty));
inline constexpr auto sb = set(RUF_OPS_REAL(sb), RUF_OPS_CPLX(sb));
inline constexpr auto sp = set(RUF_OPS_REAL(sp), RUF_OPS_CPLX(sp));
#undef RUF_OPS_REAL
#undef RUF_OPS_IV
#undef RUF_OPS_CPLX
#undef RUF_OPS_ARITH
#undef RUF_OPS_CPLX_ARITH

// The numbers of an interval, rectangle or disc, in storage order.
template <class X, class T = typename ruf::Target<X>::T> struct Numbers {
  T v[sizeof(X) / sizeof(T)];
  explicit Numbers(const X &x) { std::memcpy(v, &x, sizeof x); }
};
// Every number bit-identical, or both NaN.
template <class X> bool same(const X &a, const X &b) {
  const Numbers<X> p(a), q(b);
  for (std::size_t k = 0; k < sizeof p.v / sizeof p.v[0]; ++k)
    if (!ruf_test::same(p.v[k], q.v[k])) return false;
  return true;
}
// The numbers in hexadecimal: "(lo, hi)", "(re.lo, re.hi, im.lo, im.hi)", "(re, im, rad)".
template <class X> std::string show(const X &x) {
  const Numbers<X> n(x);
  std::string s = "(";
  for (const auto v : n.v)
    s += (s.size() > 1 ? ", " : "") + hex(v);
  return s + ")";
}
} // namespace ops

} // namespace ruf_test
