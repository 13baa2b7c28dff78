// The conversions. Every entry of the table runs over targeted source values
// under each of the four caller rounding modes (set in MXCSR directly). The
// reference converts each number with MPFR in the caller's direction (the
// conversions are plain, not outward) and decides rejection by comparing
// the sources exactly as given: a single bound widened against a double one,
// integers as integers. Rejected results must carry the marker bits.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <array>
#include <bit>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "ruf_interval.h"
#include "scalar/types.h"

namespace {

constexpr std::uint32_t kField = 0x6000;
constexpr std::uint32_t kModes[] = {0x0000u, 0x2000u, 0x4000u, 0x6000u};

std::uint32_t mxcsr() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
void set_mxcsr(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}

template <class F> void under_mode(std::uint32_t mode, F f) {
  const std::uint32_t saved = mxcsr();
  set_mxcsr((saved & ~kField) | mode);
  f();
  set_mxcsr(saved);
}

mpfr_rnd_t rnd_of(std::uint32_t mode) {
  switch (mode) {
  case 0x2000u:
    return MPFR_RNDD;
  case 0x4000u:
    return MPFR_RNDU;
  case 0x6000u:
    return MPFR_RNDZ;
  default:
    return MPFR_RNDN;
  }
}

const char *mode_name(std::uint32_t mode) {
  switch (mode) {
  case 0x2000u:
    return "Down";
  case 0x4000u:
    return "Up";
  case 0x6000u:
    return "TowardZero";
  default:
    return "Nearest";
  }
}

// Sources are held exactly as long double (int32, float and double all fit).
using Exact = long double;

// v rounded to T in direction rnd, as IEEE with subnormals does.
template <class T> T rounded(Exact v, mpfr_rnd_t rnd) {
  mpfr_t m;
  mpfr_init2(m, 64);
  mpfr_set_ld(m, v, MPFR_RNDN); // exact
  T r;
  if constexpr (std::is_same_v<T, float>) {
    r = mpfr_get_flt(m, rnd);
  } else {
    r = mpfr_get_d(m, rnd);
  }
  mpfr_clear(m);
  return r;
}

// ---- the types of the table, seen generically ----

template <class X> struct Kind { static constexpr bool interval = false, complex = false; };
template <> struct Kind<ruf_si> { static constexpr bool interval = true, complex = false; };
template <> struct Kind<ruf_di> { static constexpr bool interval = true, complex = false; };
template <> struct Kind<ruf_c> { static constexpr bool interval = false, complex = true; };
template <> struct Kind<ruf_z> { static constexpr bool interval = false, complex = true; };

using ruf::Shape;
using ruf::Target;

template <class P> Exact re_of(const P &v) {
  if constexpr (Kind<P>::complex)
    return __real__ v;
  else
    return v;
}
template <class P> Exact im_of(const P &v) {
  if constexpr (Kind<P>::complex)
    return __imag__ v;
  else
    return 0;
}

template <class P> std::string show(const P &v) {
  std::ostringstream s;
  s.precision(21);
  if constexpr (Kind<P>::interval)
    s << "[" << v.inf << ", " << v.sup << "]";
  else if constexpr (Kind<P>::complex)
    s << "(" << re_of(v) << ", " << im_of(v) << ")";
  else
    s << v;
  return s.str();
}

// ---- source values ----

// The values include pairs that are out of order in double but collapse to
// one single number (1.0f against 1 -+ 2^-40), integers that do so in single
// precision (16777216, 16777217), numbers that narrow inexactly, overflow or
// underflow in single precision, signed zeros, infinities and NaNs.
const std::vector<double> &reals() {
  static const std::vector<double> v = {0.0,
                                        -0.0,
                                        0.1,
                                        1.0 / 3,
                                        -2.0 / 3,
                                        1.0,
                                        1.0 + std::ldexp(1.0, -40),
                                        1.0 - std::ldexp(1.0, -40),
                                        static_cast<double>(std::nextafter(1.0f, 2.0f)),
                                        -2.5,
                                        1e-310,
                                        1e-40,
                                        1e300,
                                        std::numeric_limits<double>::infinity(),
                                        -std::numeric_limits<double>::infinity(),
                                        std::numeric_limits<double>::quiet_NaN()};
  return v;
}

template <class S> std::vector<S> samples() {
  std::vector<S> out;
  if constexpr (std::is_same_v<S, int>) {
    out = {0, 1, -3, 7, 16777216, 16777217, -16777217, 33554435, INT_MAX, INT_MIN};
  } else if constexpr (std::is_floating_point_v<S>) {
    for (double d : reals())
      out.push_back(static_cast<S>(d));
  } else if constexpr (Kind<S>::interval) {
    using T = decltype(S{}.inf);
    for (double a : reals())
      for (double b : {0.1, -2.5, 1.0 / 3, 1e300, std::numeric_limits<double>::quiet_NaN()})
        out.push_back(S{static_cast<T>(a), static_cast<T>(b)});
  } else {
    using T = std::remove_reference_t<decltype(__real__ std::declval<S &>())>;
    const double parts[] = {0.1, 1.0, -2.5, 1.0 / 3, std::numeric_limits<double>::quiet_NaN()};
    for (double a : parts)
      for (double b : parts) {
        S z;
        __real__ z = static_cast<T>(a);
        __imag__ z = static_cast<T>(b);
        out.push_back(z);
      }
  }
  return out;
}

// ---- expected results ----

// One number of a result: a value (any NaN accepted where the value is a
// NaN) or the invalid-input marker (exact bits).
template <class T> struct Want {
  bool marker;
  T v;
};

template <class Out> constexpr std::size_t count = sizeof(Out) / sizeof(typename Target<Out>::T);

template <class Out> using Wants = std::array<Want<typename Target<Out>::T>, count<Out>>;

template <class Out> Wants<Out> numbers(std::initializer_list<Exact> vs, mpfr_rnd_t rnd) {
  using T = typename Target<Out>::T;
  Wants<Out> w{};
  std::size_t k = 0;
  for (Exact v : vs)
    w[k++] = Want<T>{false, rounded<T>(v, rnd)};
  return w;
}

template <class Out, class A> Wants<Out> expect(const A &a, mpfr_rnd_t rnd) {
  constexpr Shape shape = Target<Out>::shape;
  if constexpr (Kind<A>::interval) {
    if constexpr (shape == Shape::interval)
      return numbers<Out>({a.inf, a.sup}, rnd);
    else
      return numbers<Out>({a.inf, a.sup, 0, 0}, rnd);
  } else {
    const Exact r = re_of(a), i = im_of(a);
    if constexpr (shape == Shape::interval)
      return numbers<Out>({r, r}, rnd);
    else if constexpr (shape == Shape::rect)
      return numbers<Out>({r, r, i, i}, rnd);
    else
      return numbers<Out>({r, i, 0}, rnd);
  }
}

template <class Out, class A, class B> Wants<Out> expect(const A &a, const B &b, mpfr_rnd_t rnd) {
  using T = typename Target<Out>::T;
  constexpr Shape shape = Target<Out>::shape;
  if constexpr (shape == Shape::disc) {
    const Exact rad = re_of(b);
    if (!(rad >= 0)) return {Want<T>{true, 0}, Want<T>{false, T(0)}, Want<T>{true, 0}};
    return numbers<Out>({re_of(a), im_of(a), rad}, rnd);
  } else {
    if (re_of(a) > re_of(b) || im_of(a) > im_of(b)) {
      Wants<Out> w{};
      for (auto &x : w)
        x = Want<T>{true, 0};
      return w;
    }
    if constexpr (shape == Shape::interval)
      return numbers<Out>({re_of(a), re_of(b)}, rnd);
    else
      return numbers<Out>({re_of(a), re_of(b), im_of(a), im_of(b)}, rnd);
  }
}

template <class T> bool is_marker(T v) {
  if constexpr (std::is_same_v<T, float>)
    return std::bit_cast<std::uint32_t>(v) == 0x7F8FFFFFu;
  else
    return std::bit_cast<std::uint64_t>(v) == 0x7FFFFFFFFFFFFFFFu;
}

template <class T> bool matches(T got, const Want<T> &w) {
  if (w.marker) return is_marker(got);
  if (std::isnan(w.v)) return std::isnan(got) && !is_marker(got);
  return std::bit_cast<std::array<unsigned char, sizeof(T)>>(got) ==
         std::bit_cast<std::array<unsigned char, sizeof(T)>>(w.v);
}

template <class Out> void compare(const Out &r, const Wants<Out> &want, const std::string &what) {
  using T = typename Target<Out>::T;
  std::array<T, count<Out>> got;
  std::memcpy(got.data(), &r, sizeof r);
  for (std::size_t k = 0; k < got.size(); ++k) {
    std::ostringstream s;
    s.precision(10);
    s << what << ": number " << k << " is " << std::hexfloat << got[k];
    if (want[k].marker)
      s << ", want the marker";
    else
      s << ", want " << want[k].v;
    EXPECT_TRUE(matches(got[k], want[k])) << s.str();
  }
}

template <class Out, class A>
void check(void (*f)(Out *, const A *), const char *name, std::uint32_t mode) {
  for (const A &a : samples<A>()) {
    Out r;
    std::memset(&r, 0xA5, sizeof r);
    under_mode(mode, [&] { f(&r, &a); });
    compare(r, expect<Out>(a, rnd_of(mode)), std::string(name) + "(" + show(a) + ")");
  }
}

template <class Out, class A, class B>
void check(void (*f)(Out *, const A *, const B *), const char *name, std::uint32_t mode) {
  for (const A &a : samples<A>())
    for (const B &b : samples<B>()) {
      Out r;
      std::memset(&r, 0xA5, sizeof r);
      under_mode(mode, [&] { f(&r, &a, &b); });
      compare(r, expect<Out>(a, b, rnd_of(mode)),
              std::string(name) + "(" + show(a) + ", " + show(b) + ")");
    }
}

struct Entry {
  const char *name;
  void (*run)(const char *, std::uint32_t);
};

// Every conversion of the routine table.
const Entry kEntries[] = {
#define RUF_ROUTINE(UPPER, lower, ret, params, args)                                               \
  {#UPPER, [](const char *n, std::uint32_t m) { check(ruf_interval_##lower, n, m); }},
#include "ruf_interval/convert.def"
#undef RUF_ROUTINE
};
constexpr int kEntryCount = sizeof(kEntries) / sizeof(kEntries[0]);

class EveryConversion : public ::testing::TestWithParam<std::tuple<int, std::uint32_t>> {};

TEST_P(EveryConversion, FollowsTheCallersModeAndRejectsReversedInput) {
  const Entry &e = kEntries[std::get<0>(GetParam())];
  e.run(e.name, std::get<1>(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Table, EveryConversion,
                         ::testing::Combine(::testing::Range(0, kEntryCount),
                                            ::testing::ValuesIn(kModes)),
                         [](const auto &info) {
                           return std::string(kEntries[std::get<0>(info.param)].name) + "_" +
                                  mode_name(std::get<1>(info.param));
                         });

TEST(Conversions, TableHasAllSeventyEight) {
  EXPECT_EQ(kEntryCount, 78);
}

// ---- the documented cases, spelled out ----

TEST(Conversions, ReversedBoundsGiveTheMarker) {
  const double two = 2, one = 1;
  ruf_di r;
  ruf_interval_dr_dr_di_convert(&r, &two, &one);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(r.inf), 0x7FFFFFFFFFFFFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(r.sup), 0x7FFFFFFFFFFFFFFFu);
  ruf_interval_dr_dr_di_convert(&r, &one, &one);
  EXPECT_EQ(r.inf, 1.0);
  EXPECT_EQ(r.sup, 1.0);
  ruf_si s;
  ruf_interval_dr_dr_si_convert(&s, &two, &one);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(s.inf), 0x7F8FFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(s.sup), 0x7F8FFFFFu);
}

TEST(Conversions, NarrowingIsNotOutward) {
  const ruf_di x{0.1, 0.1};
  ruf_si r;
  ruf_interval_di_si_convert(&r, &x);
  EXPECT_EQ(r.inf, 0.1f);
  EXPECT_EQ(r.sup, 0.1f);
  EXPECT_GT(static_cast<double>(r.inf), 0.1) << "the lower bound is above the source";
}

TEST(Conversions, IntegerBoundsRoundToNearestSingle) {
  const int big = 16777217;
  ruf_si r;
  ruf_interval_i_i_si_convert(&r, &big, &big);
  EXPECT_EQ(r.inf, 16777216.0f);
  EXPECT_EQ(r.sup, 16777216.0f);
}

TEST(Conversions, NegativeRadiusMarksCentreAndRadius) {
  const double one = 1, minus_one = -1;
  ruf_zc r;
  ruf_interval_d_d_zc_convert(&r, &one, &minus_one);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(r.re), 0x7FFFFFFFFFFFFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(r.rad), 0x7FFFFFFFFFFFFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(r.im), 0u);
  ruf_cc c;
  ruf_interval_d_d_cc_convert(&c, &one, &minus_one);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(c.re), 0x7F8FFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(c.rad), 0x7F8FFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(c.im), 0u);
  // A NaN radius is rejected too; a zero one is not.
  const float nan = std::numeric_limits<float>::quiet_NaN(), zero = -0.0f;
  ruf_c z;
  __real__ z = 1.5f;
  __imag__ z = -2.0f;
  ruf_interval_c_s_cc_convert(&c, &z, &nan);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(c.re), 0x7F8FFFFFu);
  EXPECT_EQ(c.im, 0.0f);
  ruf_interval_c_s_cc_convert(&c, &z, &zero);
  EXPECT_EQ(c.re, 1.5f);
  EXPECT_EQ(c.im, -2.0f);
  EXPECT_EQ(c.rad, 0.0f);
  const int neg = -1;
  ruf_interval_i_i_cc_convert(&c, &neg, &neg);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(c.rad), 0x7F8FFFFFu);
}

TEST(Conversions, CornersOutOfOrderInEitherPartGiveTheMarker) {
  ruf_c a, b;
  __real__ a = 1;
  __imag__ a = 2;
  __real__ b = 3;
  __imag__ b = 1;
  ruf_cr r;
  ruf_interval_c_c_cr_convert(&r, &a, &b);
  for (float v : {r.re.inf, r.re.sup, r.im.inf, r.im.sup})
    EXPECT_EQ(std::bit_cast<std::uint32_t>(v), 0x7F8FFFFFu);
  __imag__ b = 2;
  ruf_interval_c_c_cr_convert(&r, &a, &b);
  EXPECT_EQ(r.re.inf, 1.0f);
  EXPECT_EQ(r.re.sup, 3.0f);
  EXPECT_EQ(r.im.inf, 2.0f);
  EXPECT_EQ(r.im.sup, 2.0f);
}

} // namespace
