// Complex discs, both members: radii and the measures built from them
// against MPFR, with the moduli taken from the C library's cabs/cabsf in the
// rounding mode the routine uses them in; centres in the caller's mode; the
// documented examples, the intended oddities, and the caller's rounding mode
// read back from MXCSR.
#include <gtest/gtest.h>

#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "ruf_interval.h"
#include "support/oracle.h"

extern "C" {
double cabs(ruf_z) noexcept;
float cabsf(ruf_c) noexcept;
}

using ruf_test::down;
using ruf_test::Op;
using ruf_test::same;
using ruf_test::up;

namespace {

constexpr std::uint32_t kField = 0x6000, kUp = 0x4000;
std::uint32_t mxcsr() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
void set_mxcsr(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}

// Reached through volatile pointers, so that the compiler cannot move the
// calls across the MXCSR writes around them.
double (*volatile cabs_call)(ruf_z) = cabs;
float (*volatile cabsf_call)(ruf_c) = cabsf;

template <class F> auto in_mode(std::uint32_t field, F f) {
  const std::uint32_t saved = mxcsr();
  set_mxcsr((saved & ~kField) | field);
  const auto v = f();
  set_mxcsr(saved);
  return v;
}

// double -> float rounded upward, as the processor narrows under that mode.
float narrow_up(double v) {
  mpfr_t m;
  mpfr_init2(m, 53);
  mpfr_set_d(m, v, MPFR_RNDN);
  const float f = mpfr_get_flt(m, MPFR_RNDU);
  mpfr_clear(m);
  return f;
}
// To T, rounded upward; a value already of type T passes untouched (a
// signalling NaN stays signalling, and cabsf treats it differently).
template <class T, class U> T to_up(U v) {
  if constexpr (std::is_same_v<T, U>)
    return v;
  else
    return narrow_up(v);
}

// The two modulus routines, as the library takes them inside an upward frame:
// single (cabsf of the centre narrowed to binary32) or double (cabs of the
// centre widened to binary64). The value is returned exactly, as a double.
enum class Mod { single, dbl };
template <class T> double modulus_up(Mod k, T re, T im) {
  if (k == Mod::single) {
    ruf_c z;
    __real__ z = to_up<float>(re);
    __imag__ z = to_up<float>(im);
    return in_mode(kUp, [&] { return cabsf_call(z); });
  }
  ruf_z z;
  __real__ z = re;
  __imag__ z = im;
  return in_mode(kUp, [&] { return cabs_call(z); });
}

// Which modulus each member uses where.
template <class T> struct Model;
template <> struct Model<float> {
  static constexpr Mod mult = Mod::single, quotient = Mod::single, mag = Mod::dbl,
                       distance = Mod::single;
};
template <> struct Model<double> {
  static constexpr Mod mult = Mod::dbl, quotient = Mod::single, mag = Mod::dbl, distance = Mod::dbl;
};

template <class T> struct Api;
#define RUF_TEST_API(T, p, D, C)                                                                   \
  template <> struct Api<T> {                                                                      \
    using Disc = D;                                                                                \
    using Cx = C;                                                                                  \
    static constexpr auto addi = ruf_interval_##p##_##p##_addi;                                    \
    static constexpr auto subt = ruf_interval_##p##_##p##_subt;                                    \
    static constexpr auto mult = ruf_interval_##p##_##p##_mult;                                    \
    static constexpr auto divi = ruf_interval_##p##_##p##_divi;                                    \
    static constexpr auto conj = ruf_interval_##p##_conj;                                          \
    static constexpr auto copy = ruf_interval_##p##_copy;                                          \
    static constexpr auto dist = ruf_interval_##p##_dist;                                          \
    static constexpr auto isempty = ruf_interval_##p##_isempty;                                    \
    static constexpr auto ix = ruf_interval_##p##_ix;                                              \
    static constexpr auto mag = ruf_interval_##p##_mag;                                            \
    static constexpr auto mid = ruf_interval_##p##_mid;                                            \
    static constexpr auto mig = ruf_interval_##p##_mig;                                            \
    static constexpr auto sb = ruf_interval_##p##_sb;                                              \
    static constexpr auto sp = ruf_interval_##p##_sp;                                              \
  };
RUF_TEST_API(float, cc, ruf_cc, ruf_c)
RUF_TEST_API(double, zc, ruf_zc, ruf_z)
#undef RUF_TEST_API

template <class D> bool same_disc(const D &a, const D &b) {
  return same(a.re, b.re) && same(a.im, b.im) && same(a.rad, b.rad);
}
template <class D> std::string show(const D &d) {
  using ruf_test::hex;
  return "<" + hex(d.re) + " + " + hex(d.im) + "i, " + hex(d.rad) + ">";
}

template <class T> class ComplexDisc : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ComplexDisc, Precisions);

// Centres are computed here in round to nearest, the mode the test runs in.
TYPED_TEST(ComplexDisc, RadiiAndMeasuresMatchMpfr) {
  using T = TypeParam;
  using A = Api<T>;
  using D = typename A::Disc;
  using M = Model<T>;
  const Op add = Op::add, sub = Op::sub, mul = Op::mul, div = Op::div;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  const int n = ruf_test::scaled(10000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    D x{s.point(), s.point(), std::fabs(s.point())}, y{s.point(), s.point(), std::fabs(s.point())};
    if (k % 2) { // half the time, ordinary numbers only
      x = {s.ordinary(), s.ordinary(), std::fabs(s.ordinary())};
      y = {s.ordinary(), s.ordinary(), std::fabs(s.ordinary())};
    }
    const T ra = x.rad, rb = y.rad;
    const auto ctx = [&] { return show(x) + " with " + show(y); };
    D r;

    A::addi(&r, &x, &y);
    EXPECT_TRUE(same_disc(r, D{x.re + y.re, x.im + y.im, up(add, ra, rb)})) << "X+Y " << ctx();
    A::subt(&r, &x, &y);
    EXPECT_TRUE(same_disc(r, D{x.re - y.re, x.im - y.im, up(add, ra, rb)})) << "X-Y " << ctx();

    const T ma = to_up<T>(modulus_up(M::mult, x.re, x.im));
    const T mb = to_up<T>(modulus_up(M::mult, y.re, y.im));
    A::mult(&r, &x, &y);
    D want{x.re * y.re - x.im * y.im, x.im * y.re + x.re * y.im,
           up(add, up(add, up(mul, ra, rb), up(mul, ma, rb)), up(mul, ra, mb))};
    EXPECT_TRUE(same_disc(r, want)) << "X*Y " << ctx() << ": got " << show(r);

    // Quotient: denominator in double from cabs, radius terms from the
    // quotient modulus, centre a * conj(b) / den in the caller's mode.
    const double bb = modulus_up(Mod::dbl, y.re, y.im);
    const T den = to_up<T>(up(sub, up(mul, bb, bb), double(up(mul, rb, rb))));
    const T qa = T(modulus_up(M::quotient, x.re, x.im));
    const T qb = T(modulus_up(M::quotient, y.re, y.im));
    A::divi(&r, &x, &y);
    want = {(x.re * y.re + x.im * y.im) / den, (x.im * y.re - x.re * y.im) / den,
            up(div, up(add, up(add, up(mul, ra, rb), up(mul, qa, rb)), up(mul, ra, qb)), den)};
    EXPECT_TRUE(same_disc(r, want)) << "X/Y " << ctx() << ": got " << show(r);

    EXPECT_TRUE(same(A::mag(&x), up(add, to_up<T>(modulus_up(M::mag, x.re, x.im)), ra)))
        << "mag " << show(x);

    // MIG: the single modulus in the caller's mode, the difference downward.
    ruf_c c;
    __real__ c = static_cast<float>(x.re);
    __imag__ c = static_cast<float>(x.im);
    const T m = cabsf(c);
    EXPECT_TRUE(same(A::mig(&x), m > ra ? down(sub, m, ra) : T(0))) << "mig " << show(x);

    const T dr = up(sub, x.re, y.re), di = up(sub, x.im, y.im);
    const T d = to_up<T>(modulus_up(M::distance, dr, di));
    EXPECT_TRUE(same(A::dist(&x, &y), up(add, d, std::fabs(up(sub, ra, rb))))) << "dist " << ctx();
    // The relations add in the caller's mode.
    EXPECT_EQ(A::sb(&x, &y), ra + d <= rb ? 1 : 0) << "sb " << ctx();
    EXPECT_EQ(A::sp(&x, &y), rb + d <= ra ? 1 : 0) << "sp " << ctx();
  }
}

TYPED_TEST(ComplexDisc, DocumentedExamples) {
  using T = TypeParam;
  using A = Api<T>;
  using D = typename A::Disc;
  D r;
  const D a{1, 1, T(0.5)}, b{2, 0, T(0.25)};
  A::addi(&r, &a, &b);
  EXPECT_TRUE(same_disc(r, D{3, 1, T(0.75)})) << show(r);
  const D two{2, 0, 0}, i3{0, 3, 1};
  A::mult(&r, &two, &i3);
  EXPECT_TRUE(same_disc(r, D{0, 6, 2})) << show(r);

  const D unit{0, 0, 1}, half{T(0.5), 0, 2};
  EXPECT_EQ(A::sb(&unit, &half), 1);
  EXPECT_EQ(A::sp(&unit, &half), 0);
  EXPECT_EQ(A::sp(&half, &unit), 1);

  const D p{0, 0, 2}, q{3, 0, 2};
  A::ix(&r, &p, &q);
  EXPECT_EQ(r.re, T(1.5));
  EXPECT_EQ(r.im, T(0));
  EXPECT_EQ(r.rad, std::sqrt(T(4) - T(2.25)));
  const D big{0, 0, 5}, small{1, 0, 1};
  A::ix(&r, &big, &small);
  EXPECT_TRUE(same_disc(r, small)) << show(r);
  A::ix(&r, &small, &big); // the larger disc is found in either position
  EXPECT_TRUE(same_disc(r, small)) << show(r);

  const D c345{3, 4, 1}, c12{1, 0, 2};
  EXPECT_EQ(A::mig(&c345), T(4));
  EXPECT_EQ(A::mig(&c12), T(0));
  EXPECT_FALSE(std::signbit(A::mig(&c12)));
  EXPECT_EQ(A::mag(&c345), T(6));
  EXPECT_EQ(A::dist(&c345, &c345), T(0));
  EXPECT_EQ(A::isempty(&c345), 0);

  // CONJ reads its result only; the operand may be anything, even absent.
  r = {1, 2, 3};
  A::conj(&r, nullptr);
  EXPECT_TRUE(same_disc(r, D{1, -2, 3})) << show(r);

  const typename A::Cx m = A::mid(&c345);
  EXPECT_EQ(T(__real__ m), T(3));
  EXPECT_EQ(T(__imag__ m), T(4));
  const D odd{std::numeric_limits<T>::quiet_NaN(), T(-0.0), -std::numeric_limits<T>::infinity()};
  A::copy(&r, &odd);
  EXPECT_EQ(std::memcmp(&r, &odd, sizeof r), 0);
}

// Degenerate operands are not detected; the formulas give what they give.
TYPED_TEST(ComplexDisc, DegenerateOperandsFollowTheFormulas) {
  using T = TypeParam;
  using A = Api<T>;
  using D = typename A::Disc;
  D r;
  // A divisor disc around zero: den = 0.25 - 1 < 0, so the radius is negative.
  const D one{1, 0, 0}, around0{T(0.5), 0, 1};
  A::divi(&r, &one, &around0);
  EXPECT_LT(r.rad, T(0));
  EXPECT_EQ(r.rad, up(Op::div, T(1), T(-0.75)));
  // Disjoint discs: R*R - h*h < 0, a NaN radius.
  const D left{0, 0, 1}, right{5, 0, 1};
  A::ix(&r, &left, &right);
  EXPECT_TRUE(std::isnan(r.rad));
  // Equal concentric discs: 0 / 0 in h, a NaN centre and radius.
  A::ix(&r, &left, &left);
  EXPECT_TRUE(std::isnan(r.re) && std::isnan(r.rad));
}

// The double quotient's radius takes single-precision moduli of the centres
// (intended): with a = 0.1 the term m(a) is 0.1 narrowed upward to binary32.
TEST(ComplexDiscQuotient, DoubleMemberUsesSinglePrecisionModuli) {
  const ruf_zc x{0.1, 0, 0}, y{1, 0, 0.5};
  ruf_zc r;
  ruf_interval_zc_zc_divi(&r, &x, &y);
  const double m = narrow_up(0.1);
  ASSERT_GT(m, 0.1);
  EXPECT_EQ(r.rad, up(Op::div, up(Op::mul, m, 0.5), 0.75));
  EXPECT_GT(r.rad, 0.1 * 0.5 / 0.75 * (1 + 1e-9));
  // MIG likewise: cabsf of the narrowed centre, here 0.1f, not 0.1.
  const ruf_zc c{0.1, 0, 0};
  EXPECT_EQ(ruf_interval_zc_mig(&c), double(0.1f));
}

// ---- The caller's rounding mode, read from MXCSR itself ----

class DiscCallerMode : public ::testing::TestWithParam<std::uint32_t> {
protected:
  template <class T> void run();
};

template <class T> void DiscCallerMode::run() {
  using A = Api<T>;
  using D = typename A::Disc;
  const std::uint32_t mode = GetParam();
  const T tiny = std::ldexp(T(1), std::numeric_limits<T>::digits == 24 ? -30 : -60);
  const D x{1, T(0.3), 1}, y{tiny, T(0.7), tiny}, z{T(0.2), T(-0.9), T(0.1)};
  D r = x;
  T got = 0;
  const auto field_after = [&](auto f) {
    return in_mode(mode, [&] {
      f();
      return mxcsr() & kField;
    });
  };
  const auto expect_mode = [&](const char *what, std::uint32_t field) {
    EXPECT_EQ(field, mode) << what;
  };
  // Centre in the caller's mode, radius upward: 1 + tiny.
  expect_mode("addi", field_after([&] { A::addi(&r, &x, &y); }));
  EXPECT_EQ(r.re, mode == kUp ? std::nextafter(T(1), T(2)) : T(1));
  EXPECT_EQ(r.rad, std::nextafter(T(1), T(2)));
  expect_mode("subt", field_after([&] { A::subt(&r, &x, &y); }));
  EXPECT_EQ(r.re, mode == kUp || mode == 0 ? T(1) : std::nextafter(T(1), T(0)));
  EXPECT_EQ(r.rad, std::nextafter(T(1), T(2)));
  expect_mode("mult", field_after([&] { A::mult(&r, &x, &z); }));
  expect_mode("divi", field_after([&] { A::divi(&r, &x, &z); }));
  expect_mode("conj", field_after([&] { A::conj(&r, &x); }));
  expect_mode("ix", field_after([&] { A::ix(&r, &x, &z); }));
  expect_mode("mag", field_after([&] { got = A::mag(&z); }));
  expect_mode("mig", field_after([&] { got = A::mig(&x); }));
  expect_mode("dist", field_after([&] { got = A::dist(&x, &z); }));
  expect_mode("sb", field_after([&] { got = T(A::sb(&x, &z) + A::sp(&x, &z)); }));
  expect_mode("CC/ZC upper-case", field_after([&] {
                if constexpr (sizeof(T) == 4)
                  CC_CC_MULT(&r, &x, &z);
                else
                  ZC_ZC_MULT(&r, &x, &z);
              }));
}

TEST_P(DiscCallerMode, IsBackAfterEveryRoutine) {
  run<float>();
  run<double>();
}

INSTANTIATE_TEST_SUITE_P(AllDirections, DiscCallerMode,
                         ::testing::Values(0x0000u, 0x2000u, 0x4000u, 0x6000u));

} // namespace
