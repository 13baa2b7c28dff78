// The conversions. Every entry of the table runs over targeted source values
// under each of the four caller rounding modes (set in MXCSR directly). The
// reference converts each number with MPFR in the caller's direction (the
// conversions are plain, not outward) and decides rejection by comparing
// the sources exactly as given: a single bound widened against a double one,
// integers as integers. Rejected results must carry the marker bits.
#include <gtest/gtest.h>

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

#include "support/oracle.h"

namespace {

using namespace ruf_test;
using ruf::Shape;
using ruf::Target;

// Sources are held exactly as long double (int32, float and double all fit).
using Exact = long double;

template <class X>
constexpr bool kInterval = std::is_same_v<X, ruf_si> || std::is_same_v<X, ruf_di>;

// A number's parts; a real number is its own real part (GNU C semantics).
template <class P> Exact re_of(const P &v) {
  return __real__ v;
}
template <class P> Exact im_of(const P &v) {
  return __imag__ v;
}

template <class P> std::string show(const P &v) {
  if constexpr (kInterval<P>)
    return ops::show(v);
  else
    return "(" + hex(double(re_of(v))) + ", " + hex(double(im_of(v))) + ")";
}

// ---- source values ----

// The values include pairs that are out of order in double but collapse to
// one single number (1.0f against 1 -+ 2^-40), integers that do so in single
// precision (16777216, 16777217), numbers that narrow inexactly, overflow or
// underflow in single precision, signed zeros, infinities and NaNs.
const std::vector<double> &reals() {
  using L = std::numeric_limits<double>;
  const double e = std::ldexp(1.0, -40), f = std::nextafter(1.0f, 2.0f);
  static const std::vector<double> v = {
      0.0, -0.0, 0.1,    1.0 / 3, -2.0 / 3, 1.0,           1 + e,          1 - e,
      f,   -2.5, 1e-310, 1e-40,   1e300,    L::infinity(), -L::infinity(), L::quiet_NaN()};
  return v;
}

template <class S> std::vector<S> samples() {
  std::vector<S> out;
  if constexpr (std::is_same_v<S, int>) {
    out = {0, 1, -3, 7, 16777216, 16777217, -16777217, 33554435, INT_MAX, INT_MIN};
  } else if constexpr (std::is_floating_point_v<S>) {
    for (double d : reals())
      out.push_back(static_cast<S>(d));
  } else if constexpr (kInterval<S>) {
    using T = decltype(S{}.inf);
    for (double a : reals())
      for (double b : {0.1, -2.5, 1.0 / 3, 1e300, std::numeric_limits<double>::quiet_NaN()})
        out.push_back(S{static_cast<T>(a), static_cast<T>(b)});
  } else {
    using T = std::remove_reference_t<decltype(__real__ std::declval<S &>())>;
    const double parts[] = {0.1, 1.0, -2.5, 1.0 / 3, std::numeric_limits<double>::quiet_NaN()};
    for (double a : parts)
      for (double b : parts)
        out.push_back(S{static_cast<T>(a), static_cast<T>(b)});
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

template <class Out> Wants<Out> numbers(std::initializer_list<Exact> vs, std::uint32_t mode) {
  using T = typename Target<Out>::T;
  Wants<Out> w{};
  std::size_t k = 0;
  for (Exact v : vs)
    w[k++] = Want<T>{false, mxcsr::narrow<T>(mode, v)};
  return w;
}

template <class Out, class A> Wants<Out> expect(const A &a, std::uint32_t mode) {
  constexpr Shape shape = Target<Out>::shape;
  if constexpr (kInterval<A>) {
    if constexpr (shape == Shape::interval)
      return numbers<Out>({a.inf, a.sup}, mode);
    else
      return numbers<Out>({a.inf, a.sup, 0, 0}, mode);
  } else {
    const Exact r = re_of(a), i = im_of(a);
    if constexpr (shape == Shape::interval)
      return numbers<Out>({r, r}, mode);
    else if constexpr (shape == Shape::rect)
      return numbers<Out>({r, r, i, i}, mode);
    else
      return numbers<Out>({r, i, 0}, mode);
  }
}

template <class Out, class A, class B>
Wants<Out> expect(const A &a, const B &b, std::uint32_t mode) {
  using T = typename Target<Out>::T;
  constexpr Shape shape = Target<Out>::shape;
  if constexpr (shape == Shape::disc) {
    const Exact rad = re_of(b);
    if (!(rad >= 0)) return {Want<T>{true, 0}, Want<T>{false, T(0)}, Want<T>{true, 0}};
    return numbers<Out>({re_of(a), im_of(a), rad}, mode);
  } else {
    if (re_of(a) > re_of(b) || im_of(a) > im_of(b)) {
      Wants<Out> w{};
      for (auto &x : w)
        x = Want<T>{true, 0};
      return w;
    }
    if constexpr (shape == Shape::interval)
      return numbers<Out>({re_of(a), re_of(b)}, mode);
    else
      return numbers<Out>({re_of(a), re_of(b), im_of(a), im_of(b)}, mode);
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
  return std::isnan(w.v) ? std::isnan(got) && !is_marker(got) : same(got, w.v);
}

template <class Out> void compare(const Out &r, const Wants<Out> &want, const std::string &what) {
  using T = typename Target<Out>::T;
  std::array<T, count<Out>> got;
  std::memcpy(got.data(), &r, sizeof r);
  for (std::size_t k = 0; k < got.size(); ++k)
    EXPECT_TRUE(matches(got[k], want[k]))
        << what << ": number " << k << " is " << hex(got[k]) << ", want "
        << (want[k].marker ? "the marker" : hex(want[k].v));
}

template <class Out, class A>
void check(void (*f)(Out *, const A *), const char *name, std::uint32_t mode) {
  for (const A &a : samples<A>()) {
    Out r;
    std::memset(&r, 0xA5, sizeof r);
    mxcsr::run_in(mode, [&] { f(&r, &a); });
    compare(r, expect<Out>(a, mode), std::string(name) + "(" + show(a) + ")");
  }
}

template <class Out, class A, class B>
void check(void (*f)(Out *, const A *, const B *), const char *name, std::uint32_t mode) {
  for (const A &a : samples<A>())
    for (const B &b : samples<B>()) {
      Out r;
      std::memset(&r, 0xA5, sizeof r);
      mxcsr::run_in(mode, [&] { f(&r, &a, &b); });
      compare(r, expect<Out>(a, b, mode), std::string(name) + "(" + show(a) + ", " + show(b) + ")");
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
                                            ::testing::ValuesIn(mxcsr::kModes)),
                         [](const auto &info) {
                           return std::string(kEntries[std::get<0>(info.param)].name) + "_" +
                                  mxcsr::name(std::get<1>(info.param));
                         });

TEST(Conversions, TableHasAllSeventyEight) {
  EXPECT_EQ(kEntryCount, 78);
}

// Two intended oddities the table's reference encodes, spelled out: narrowing
// is plain, not outward (the lower bound of 0.1 ends above the source), and a
// negative radius marks the centre's real part and the radius, not the
// imaginary part.
TEST(Conversions, DocumentedOddities) {
  const ruf_di tenth{0.1, 0.1};
  ruf_si s;
  ruf_interval_di_si_convert(&s, &tenth);
  EXPECT_TRUE(s.inf == 0.1f && s.sup == 0.1f && double(s.inf) > 0.1);
  const double one = 1, minus_one = -1;
  ruf_zc z;
  ruf_interval_d_d_zc_convert(&z, &one, &minus_one);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(z.re), 0x7FFFFFFFFFFFFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(z.im), 0u);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(z.rad), 0x7FFFFFFFFFFFFFFFu);
}

} // namespace
