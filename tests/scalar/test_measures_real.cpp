// Real interval measures and the intersection. Radius, width and distance
// are checked bit for bit against MPFR with upward rounding, the midpoint
// against MPFR with rounding to nearest, in both precisions and under every
// caller rounding mode; the exact measures and the intersection against the
// documented values, NaN bounds and the empty marker's bits included.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "ruf_interval.h"
#include "support/oracle.h"

using ruf_test::nearest;
using ruf_test::Op;
using ruf_test::same;
using ruf_test::up;

namespace {

template <class T> struct Api;

#define RUF_TEST_API(T, p, I)                                                                      \
  template <> struct Api<T> {                                                                      \
    using Iv = I;                                                                                  \
    static constexpr auto inf = ruf_interval_##p##_inf;                                            \
    static constexpr auto sup = ruf_interval_##p##_sup;                                            \
    static constexpr auto mid = ruf_interval_##p##_mid;                                            \
    static constexpr auto rad = ruf_interval_##p##_rad;                                            \
    static constexpr auto wid = ruf_interval_##p##_wid;                                            \
    static constexpr auto mag = ruf_interval_##p##_mag;                                            \
    static constexpr auto mig = ruf_interval_##p##_mig;                                            \
    static constexpr auto abs = ruf_interval_##p##_abs;                                            \
    static constexpr auto dist = ruf_interval_##p##_dist;                                          \
    static constexpr auto ix = ruf_interval_##p##_ix;                                              \
    static constexpr auto isempty = ruf_interval_##p##_isempty;                                    \
  };
RUF_TEST_API(float, s, ruf_si)
RUF_TEST_API(double, d, ruf_di)
#undef RUF_TEST_API

constexpr std::uint32_t kField = 0x6000;

std::uint32_t mxcsr() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
void set_mxcsr(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}

// Runs f with the caller's rounding field set to mode; returns the field
// found on return from f. The previous MXCSR is back afterwards.
template <class F> std::uint32_t under_mode(std::uint32_t mode, F f) {
  const std::uint32_t saved = mxcsr();
  set_mxcsr((saved & ~kField) | mode);
  f();
  const std::uint32_t after = mxcsr() & kField;
  set_mxcsr(saved);
  return after;
}

// The references, each from MPFR in the direction the operation uses.
template <class T> T ref_wid(T a1, T a2) {
  return up(Op::sub, a2, a1);
}
template <class T> T ref_rad(T a1, T a2) {
  return up(Op::mul, up(Op::sub, a2, a1), T(0.5));
}
template <class T> T ref_dist(T a1, T a2, T b1, T b2) {
  const T d1 = std::fabs(up(Op::sub, a1, b1)), d2 = std::fabs(up(Op::sub, a2, b2));
  return d1 > d2 ? d1 : d2;
}
template <class T> T ref_mid(T a1, T a2) {
  if (!(a1 < a2 || a1 > a2)) return a1;
  return nearest(Op::add, nearest(Op::mul, T(0.5), a1), nearest(Op::mul, T(0.5), a2));
}

template <class T> std::string show(T a1, T a2) {
  return "[" + ruf_test::hex(a1) + ", " + ruf_test::hex(a2) + "]";
}

template <class T> class MeasuresReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MeasuresReal, Precisions);

TYPED_TEST(MeasuresReal, RoundedMeasuresMatchMpfr) {
  using T = TypeParam;
  using A = Api<T>;
  using I = typename A::Iv;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  const int n = ruf_test::scaled(40000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    T a1, a2, b1, b2;
    s.interval(a1, a2);
    s.interval(b1, b2);
    const I x{a1, a2}, y{b1, b2};
    EXPECT_TRUE(same(A::wid(&x), ref_wid(a1, a2))) << "wid " << show(a1, a2);
    EXPECT_TRUE(same(A::rad(&x), ref_rad(a1, a2))) << "rad " << show(a1, a2);
    EXPECT_TRUE(same(A::mid(&x), ref_mid(a1, a2))) << "mid " << show(a1, a2);
    EXPECT_TRUE(same(A::dist(&x, &y), ref_dist(a1, a2, b1, b2)))
        << "dist " << show(a1, a2) << " " << show(b1, b2);
  }
}

// The caller's direction neither leaks into the results (the midpoint is
// computed to nearest, the others upward, whatever the caller set) nor is
// lost: it is in force again on return.
class CallerMode : public ::testing::TestWithParam<std::uint32_t> {};

template <class T> void check_under_mode(std::uint32_t mode, int n) {
  using A = Api<T>;
  using I = typename A::Iv;
  ruf_test::Sampler<T> s(ruf_test::test_seed() + mode);
  for (int k = 0; k < n; ++k) {
    T a1, a2, b1, b2;
    s.interval(a1, a2);
    s.interval(b1, b2);
    const I x{a1, a2}, y{b1, b2};
    T w, r, m, d;
    EXPECT_EQ(under_mode(mode, [&] { w = A::wid(&x); }), mode) << "wid";
    EXPECT_EQ(under_mode(mode, [&] { r = A::rad(&x); }), mode) << "rad";
    EXPECT_EQ(under_mode(mode, [&] { m = A::mid(&x); }), mode) << "mid";
    EXPECT_EQ(under_mode(mode, [&] { d = A::dist(&x, &y); }), mode) << "dist";
    ASSERT_TRUE(same(w, ref_wid(a1, a2))) << "wid " << show(a1, a2);
    ASSERT_TRUE(same(r, ref_rad(a1, a2))) << "rad " << show(a1, a2);
    ASSERT_TRUE(same(m, ref_mid(a1, a2))) << "mid " << show(a1, a2);
    ASSERT_TRUE(same(d, ref_dist(a1, a2, b1, b2))) << "dist " << show(a1, a2) << show(b1, b2);
  }
}

TEST_P(CallerMode, RoundedMeasuresKeepTheCallersDirection) {
  check_under_mode<float>(GetParam(), ruf_test::scaled(3000));
  check_under_mode<double>(GetParam(), ruf_test::scaled(3000));
}

INSTANTIATE_TEST_SUITE_P(AllDirections, CallerMode,
                         ::testing::Values(0x0000u, 0x2000u, 0x4000u, 0x6000u),
                         [](const auto &info) {
                           switch (info.param) {
                           case 0x2000u:
                             return std::string("Down");
                           case 0x4000u:
                             return std::string("Up");
                           case 0x6000u:
                             return std::string("TowardZero");
                           default:
                             return std::string("Nearest");
                           }
                         });

TYPED_TEST(MeasuresReal, DocumentedExamples) {
  using T = TypeParam;
  using A = Api<T>;
  using I = typename A::Iv;
  const T inf = std::numeric_limits<T>::infinity();
  I r;
  I x{-1, 2};
  EXPECT_EQ(A::mig(&x), T(0));
  x = {-3, -2};
  EXPECT_EQ(A::mig(&x), T(2));
  x = {-3, 2};
  EXPECT_EQ(A::mag(&x), T(3));
  A::abs(&r, &x);
  EXPECT_EQ(r.inf, T(0));
  EXPECT_FALSE(std::signbit(r.inf));
  EXPECT_EQ(r.sup, T(3));
  x = {-3, -2};
  A::abs(&r, &x);
  EXPECT_EQ(r.inf, T(2));
  EXPECT_EQ(r.sup, T(3));
  x = {1, 1};
  EXPECT_EQ(A::mid(&x), T(1));
  x = {-inf, inf};
  EXPECT_TRUE(std::isnan(A::mid(&x)));
  x = {T(0.25), T(7)};
  EXPECT_EQ(A::inf(&x), T(0.25));
  EXPECT_EQ(A::sup(&x), T(7));
  EXPECT_EQ(A::isempty(&x), 0);
}

// The shortcut of the midpoint treats an unordered pair as equal and returns
// the lower bound as it is, even when only the upper bound is a NaN.
TYPED_TEST(MeasuresReal, MidpointOfANaNPairIsItsLowerBound) {
  using T = TypeParam;
  using I = typename Api<T>::Iv;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  I x{T(1.5), nan};
  EXPECT_EQ(Api<T>::mid(&x), T(1.5));
  x = {nan, T(1.5)};
  EXPECT_TRUE(std::isnan(Api<T>::mid(&x)));
  x = {T(-0.0), T(0.0)};
  EXPECT_TRUE(std::signbit(Api<T>::mid(&x)));
}

// A negative difference is rounded upward, i.e. toward zero, before its
// absolute value is taken, so this distance is below the exact 1 - 2^-k.
TYPED_TEST(MeasuresReal, DistanceRoundsTheSignedDifferenceUpward) {
  using T = TypeParam;
  using I = typename Api<T>::Iv;
  const int digits = std::numeric_limits<T>::digits;
  const T tiny = std::ldexp(T(1), -digits - 7);
  const I x{tiny, tiny}, y{1, 1};
  EXPECT_EQ(Api<T>::dist(&x, &y), T(1) - std::ldexp(T(1), -digits));
  EXPECT_EQ(Api<T>::dist(&y, &x), T(1)); // positive difference: rounded up to 1
}

TYPED_TEST(MeasuresReal, IntersectionOfTouchingIntervalsIsAPoint) {
  using T = TypeParam;
  using I = typename Api<T>::Iv;
  const I x{1, 2}, y{2, 3};
  I r;
  Api<T>::ix(&r, &x, &y);
  EXPECT_EQ(r.inf, T(2));
  EXPECT_EQ(r.sup, T(2));
  const I z{T(-0.5), 5};
  Api<T>::ix(&r, &x, &z);
  EXPECT_EQ(r.inf, T(1));
  EXPECT_EQ(r.sup, T(2));
}

TEST(MeasuresRealMarkers, EmptyIntersectionWritesTheMarkerBits) {
  const ruf_si xs{1, 2}, ys{3, 4};
  ruf_si rs;
  ruf_interval_s_ix(&rs, &xs, &ys);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rs.inf), 0x7F8FFFFFu);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(rs.sup), 0x7F8FFFFFu);
  EXPECT_EQ(ruf_interval_s_isempty(&rs), 0);

  const ruf_di xd{1, 2}, yd{3, 4};
  ruf_di rd;
  ruf_interval_d_ix(&rd, &yd, &xd);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rd.inf), 0x7FF9FFFFE0000000u);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rd.sup), 0x7FF9FFFFE0000000u);
  EXPECT_EQ(ruf_interval_d_isempty(&rd), 0);
}

// The two members order abs(x1), abs(x2) differently on purpose: the double
// member takes min and max (a NaN loses), the single member swaps only when
// abs(x1) > abs(x2) (a NaN stays where it is).
TEST(MeasuresRealAbs, MembersDifferOnNaNBounds) {
  const float fn = std::numeric_limits<float>::quiet_NaN();
  const double dn = std::numeric_limits<double>::quiet_NaN();
  ruf_si rs;
  ruf_di rd;
  const ruf_si s1{fn, -1};
  const ruf_di d1{dn, -1};
  ruf_interval_s_abs(&rs, &s1);
  ruf_interval_d_abs(&rd, &d1);
  EXPECT_TRUE(std::isnan(rs.inf));
  EXPECT_EQ(rs.sup, 1.0f);
  EXPECT_EQ(rd.inf, 1.0);
  EXPECT_EQ(rd.sup, 1.0);

  const ruf_si s2{1, fn};
  const ruf_di d2{1, dn};
  ruf_interval_s_abs(&rs, &s2);
  ruf_interval_d_abs(&rd, &d2);
  EXPECT_EQ(rs.inf, 1.0f);
  EXPECT_TRUE(std::isnan(rs.sup));
  EXPECT_TRUE(std::isnan(rd.inf));
  EXPECT_TRUE(std::isnan(rd.sup));

  // Without NaNs the two agree, including on sorting reversed magnitudes.
  const ruf_si s3{-5, -2};
  const ruf_di d3{-5, -2};
  ruf_interval_s_abs(&rs, &s3);
  ruf_interval_d_abs(&rd, &d3);
  EXPECT_EQ(rs.inf, 2.0f);
  EXPECT_EQ(rs.sup, 5.0f);
  EXPECT_EQ(rd.inf, 2.0);
  EXPECT_EQ(rd.sup, 5.0);
}

// The single magnitude goes through double: a signalling NaN bound comes
// back quieted, as the widening conversion leaves it.
TEST(MeasuresRealMag, SingleMagnitudeGoesThroughDouble) {
  const float snan = std::bit_cast<float>(0x7F8FFFFFu);
  const ruf_si x{snan, snan};
  const float m = ruf_interval_s_mag(&x);
  EXPECT_EQ(std::bit_cast<std::uint32_t>(m), 0x7FCFFFFFu);
}

} // namespace
