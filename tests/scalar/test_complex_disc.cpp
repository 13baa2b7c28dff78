// Complex discs, both members: radii and the measures built from them
// against MPFR, with the moduli taken from the C library's cabs/cabsf in the
// rounding mode the routine uses them in; centres in the caller's mode; the
// documented examples and the intended oddities.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>

#include "support/oracle.h"

extern "C" {
double cabs(ruf_z) noexcept;
float cabsf(ruf_c) noexcept;
}

namespace {

using namespace ruf_test;
using mxcsr::kUp;

// Reached through volatile pointers, so that the compiler cannot move the
// calls across the MXCSR writes around them.
double (*volatile cabs_call)(ruf_z) = cabs;
float (*volatile cabsf_call)(ruf_c) = cabsf;

// To T, rounded upward; a value already of type T passes untouched (a
// signalling NaN stays signalling, and cabsf treats it differently).
template <class T, class U> T to_up(U v) {
  if constexpr (std::is_same_v<T, U>)
    return v;
  else
    return mxcsr::narrow<T>(kUp, v);
}

// The two modulus routines, as the library takes them inside an upward frame:
// single (cabsf of the centre narrowed to binary32) or double (cabs of the
// centre widened to binary64). The value is returned exactly, as a double.
enum class Mod { single, dbl };
template <class T> double modulus_up(Mod k, T re, T im) {
  const ruf_c c{to_up<float>(re), to_up<float>(im)};
  const ruf_z z{double(re), double(im)};
  return k == Mod::single ? mxcsr::run_in(kUp, [&] { return cabsf_call(c); })
                          : mxcsr::run_in(kUp, [&] { return cabs_call(z); });
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

template <class T> class ComplexDisc : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ComplexDisc, Precisions);

// Centres are computed here in round to nearest, the mode the test runs in.
TYPED_TEST(ComplexDisc, RadiiAndMeasuresMatchMpfr) {
  using T = TypeParam;
  using D = typename ruf::Real<T>::disc;
  using M = Model<T>;
  const Op add = Op::add, sub = Op::sub, mul = Op::mul, div = Op::div;
  Sampler<T> s(test_seed());
  const int n = scaled(10000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    D x{s.point(), s.point(), std::fabs(s.point())}, y{s.point(), s.point(), std::fabs(s.point())};
    if (k % 2) { // half the time, ordinary numbers only
      x = {s.ordinary(), s.ordinary(), std::fabs(s.ordinary())};
      y = {s.ordinary(), s.ordinary(), std::fabs(s.ordinary())};
    }
    const T ra = x.rad, rb = y.rad;
    const auto at = [&] { return ops::show(x) + " with " + ops::show(y); };
    D r;

    ops::addi(&r, &x, &y);
    EXPECT_TRUE(ops::same(r, D{x.re + y.re, x.im + y.im, up(add, ra, rb)})) << "X+Y " << at();
    ops::subt(&r, &x, &y);
    EXPECT_TRUE(ops::same(r, D{x.re - y.re, x.im - y.im, up(add, ra, rb)})) << "X-Y " << at();

    const T ma = to_up<T>(modulus_up(M::mult, x.re, x.im));
    const T mb = to_up<T>(modulus_up(M::mult, y.re, y.im));
    ops::mult(&r, &x, &y);
    D want{x.re * y.re - x.im * y.im, x.im * y.re + x.re * y.im,
           up(add, up(add, up(mul, ra, rb), up(mul, ma, rb)), up(mul, ra, mb))};
    EXPECT_TRUE(ops::same(r, want)) << "X*Y " << at() << ": got " << ops::show(r);

    // Quotient: denominator in double from cabs, radius terms from the
    // quotient modulus, centre a * conj(b) / den in the caller's mode.
    const double bb = modulus_up(Mod::dbl, y.re, y.im);
    const T den = to_up<T>(up(sub, up(mul, bb, bb), double(up(mul, rb, rb))));
    const T qa = T(modulus_up(M::quotient, x.re, x.im));
    const T qb = T(modulus_up(M::quotient, y.re, y.im));
    ops::divi(&r, &x, &y);
    want = {(x.re * y.re + x.im * y.im) / den, (x.im * y.re - x.re * y.im) / den,
            up(div, up(add, up(add, up(mul, ra, rb), up(mul, qa, rb)), up(mul, ra, qb)), den)};
    EXPECT_TRUE(ops::same(r, want)) << "X/Y " << at() << ": got " << ops::show(r);

    EXPECT_TRUE(same(ops::mag(&x), up(add, to_up<T>(modulus_up(M::mag, x.re, x.im)), ra)))
        << "mag " << at();

    // MIG: the single modulus in the caller's mode, the difference downward.
    const T m = cabsf(ruf_c{float(x.re), float(x.im)});
    EXPECT_TRUE(same(ops::mig(&x), m > ra ? down(sub, m, ra) : T(0))) << "mig " << at();

    const T dr = up(sub, x.re, y.re), di = up(sub, x.im, y.im);
    const T d = to_up<T>(modulus_up(M::distance, dr, di));
    EXPECT_TRUE(same(ops::dist(&x, &y), up(add, d, std::fabs(up(sub, ra, rb))))) << "dist " << at();
    // The relations add in the caller's mode.
    EXPECT_EQ(ops::sb(&x, &y), ra + d <= rb ? 1 : 0) << "sb " << at();
    EXPECT_EQ(ops::sp(&x, &y), rb + d <= ra ? 1 : 0) << "sp " << at();
  }
}

TYPED_TEST(ComplexDisc, DocumentedExamples) {
  using T = TypeParam;
  using D = typename ruf::Real<T>::disc;
  D r;
  const D a{1, 1, T(0.5)}, b{2, 0, T(0.25)};
  ops::addi(&r, &a, &b);
  EXPECT_TRUE(ops::same(r, D{3, 1, T(0.75)})) << ops::show(r);
  const D two{2, 0, 0}, i3{0, 3, 1};
  ops::mult(&r, &two, &i3);
  EXPECT_TRUE(ops::same(r, D{0, 6, 2})) << ops::show(r);

  const D unit{0, 0, 1}, half{T(0.5), 0, 2};
  EXPECT_EQ(ops::sb(&unit, &half), 1);
  EXPECT_EQ(ops::sp(&unit, &half), 0);
  EXPECT_EQ(ops::sp(&half, &unit), 1);

  const D p{0, 0, 2}, q{3, 0, 2};
  ops::ix(&r, &p, &q);
  EXPECT_TRUE(ops::same(r, D{T(1.5), 0, std::sqrt(T(4) - T(2.25))})) << ops::show(r);
  const D big{0, 0, 5}, small{1, 0, 1};
  ops::ix(&r, &big, &small);
  EXPECT_TRUE(ops::same(r, small)) << ops::show(r);
  ops::ix(&r, &small, &big); // the larger disc is found in either position
  EXPECT_TRUE(ops::same(r, small)) << ops::show(r);

  const D c345{3, 4, 1}, c12{1, 0, 2};
  EXPECT_EQ(ops::mig(&c345), T(4));
  EXPECT_TRUE(same(ops::mig(&c12), T(0))); // +0
  EXPECT_EQ(ops::mag(&c345), T(6));
  EXPECT_EQ(ops::dist(&c345, &c345), T(0));
  EXPECT_EQ(ops::isempty(&c345), 0);

  // CONJ reads its result only; the operand may be anything, even absent.
  r = {1, 2, 3};
  ops::conj(&r, nullptr);
  EXPECT_TRUE(ops::same(r, D{1, -2, 3})) << ops::show(r);

  const auto m = ops::mid(&c345);
  EXPECT_EQ(T(__real__ m), T(3));
  EXPECT_EQ(T(__imag__ m), T(4));
  const D odd{std::numeric_limits<T>::quiet_NaN(), T(-0.0), -std::numeric_limits<T>::infinity()};
  ops::copy(&r, &odd);
  EXPECT_EQ(std::memcmp(&r, &odd, sizeof r), 0);
}

// Degenerate operands are not detected; the formulas give what they give.
TYPED_TEST(ComplexDisc, DegenerateOperandsFollowTheFormulas) {
  using T = TypeParam;
  using D = typename ruf::Real<T>::disc;
  D r;
  // A divisor disc around zero: den = 0.25 - 1 < 0, so the radius is negative.
  const D one{1, 0, 0}, around0{T(0.5), 0, 1};
  ops::divi(&r, &one, &around0);
  EXPECT_EQ(r.rad, up(Op::div, T(1), T(-0.75)));
  // Disjoint discs: R*R - h*h < 0, a NaN radius.
  const D left{0, 0, 1}, right{5, 0, 1};
  ops::ix(&r, &left, &right);
  EXPECT_TRUE(std::isnan(r.rad));
  // Equal concentric discs: 0 / 0 in h, a NaN centre and radius.
  ops::ix(&r, &left, &left);
  EXPECT_TRUE(std::isnan(r.re) && std::isnan(r.rad));
}

// The double quotient's radius takes single-precision moduli of the centres
// (intended): with a = 0.1 the term m(a) is 0.1 narrowed upward to binary32.
TEST(ComplexDiscQuotient, DoubleMemberUsesSinglePrecisionModuli) {
  const ruf_zc x{0.1, 0, 0}, y{1, 0, 0.5};
  ruf_zc r;
  ops::divi(&r, &x, &y);
  const double m = mxcsr::narrow<float>(kUp, 0.1);
  ASSERT_GT(m, 0.1);
  EXPECT_EQ(r.rad, up(Op::div, up(Op::mul, m, 0.5), 0.75));
  EXPECT_GT(r.rad, 0.1 * 0.5 / 0.75 * (1 + 1e-9));
  // MIG likewise: cabsf of the narrowed centre, here 0.1f, not 0.1.
  EXPECT_EQ(ops::mig(&x), double(0.1f));
}

// Sums of centres follow the caller's direction, radii round upward
// whatever it is.
TYPED_TEST(ComplexDisc, CentresInTheCallersModeRadiiUpward) {
  using T = TypeParam;
  using D = typename ruf::Real<T>::disc;
  const T tiny = std::ldexp(T(1), std::numeric_limits<T>::digits == 24 ? -30 : -60);
  const T above1 = std::nextafter(T(1), T(2)), below1 = std::nextafter(T(1), T(0));
  const D x{1, T(0.3), 1}, y{tiny, T(0.7), tiny};
  for (const std::uint32_t mode : mxcsr::kModes) {
    SCOPED_TRACE(mxcsr::name(mode));
    D sum, difference;
    mxcsr::run_in(mode, [&] {
      ops::addi(&sum, &x, &y);
      ops::subt(&difference, &x, &y);
    });
    EXPECT_EQ(sum.re, mode == kUp ? above1 : T(1));
    EXPECT_EQ(difference.re, mode == kUp || mode == mxcsr::kNearest ? T(1) : below1);
    EXPECT_EQ(sum.rad, above1);
    EXPECT_EQ(difference.rad, above1);
  }
}

} // namespace
