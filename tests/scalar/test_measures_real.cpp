// Real interval measures and the intersection. Width, radius and distance
// are checked bit for bit against MPFR rounded upward, the midpoint against
// MPFR to nearest, in both precisions under every caller rounding mode, which
// must be in force again on return; the exact measures and the intersection
// against the documented values, NaN bounds and the empty marker's bits
// included.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>

#include "support/oracle.h"

namespace {

using namespace ruf_test;

template <class T> void check_rounded_measures(std::uint32_t mode, int n) {
  using I = ruf::Interval<T>;
  Sampler<T> s(test_seed() + mode);
  for (int k = 0; k < n; ++k) {
    I x, y;
    s.interval(x.inf, x.sup);
    s.interval(y.inf, y.sup);
    T w, r, m, d;
    mxcsr::run_in(
        mode, [&] { w = ops::wid(&x), r = ops::rad(&x), m = ops::mid(&x), d = ops::dist(&x, &y); });
    const T d1 = std::fabs(up(Op::sub, x.inf, y.inf)), d2 = std::fabs(up(Op::sub, x.sup, y.sup));
    const auto at = [&] { return ops::show(x) + " " + ops::show(y); };
    ASSERT_TRUE(same(w, up(Op::sub, x.sup, x.inf))) << "wid " << at();
    ASSERT_TRUE(same(r, up(Op::mul, up(Op::sub, x.sup, x.inf), T(0.5)))) << "rad " << at();
    ASSERT_TRUE(same(m, nearest_midpoint(x.inf, x.sup))) << "mid " << at();
    ASSERT_TRUE(same(d, d1 > d2 ? d1 : d2)) << "dist " << at();
  }
}

// The caller's direction does not leak into the results: the midpoint is
// computed to nearest, the others upward.
class CallerMode : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(CallerMode, RoundedMeasuresMatchMpfr) {
  check_rounded_measures<float>(GetParam(), scaled(10000));
  check_rounded_measures<double>(GetParam(), scaled(10000));
}

INSTANTIATE_TEST_SUITE_P(AllDirections, CallerMode, ::testing::ValuesIn(mxcsr::kModes),
                         [](const auto &info) { return mxcsr::name(info.param); });

template <class T> class MeasuresReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(MeasuresReal, Precisions);

TYPED_TEST(MeasuresReal, DocumentedValues) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  const T inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
  const I a{-1, 2}, b{-3, -2}, c{-3, 2}, one{1, 1}, line{-inf, inf}, q{T(0.25), 7};
  EXPECT_EQ(ops::mig(&a), T(0));
  EXPECT_EQ(ops::mig(&b), T(2));
  EXPECT_EQ(ops::mag(&c), T(3));
  EXPECT_EQ(ops::mid(&one), T(1));
  EXPECT_TRUE(std::isnan(ops::mid(&line)));
  EXPECT_EQ(ops::inf(&q), T(0.25));
  EXPECT_EQ(ops::sup(&q), T(7));
  // NaN bounds: an interval that only touches zero has mignitude 0, and the
  // smaller absolute value is taken with NaN losing when it comes first.
  const I zero_nan{0, nan}, nan_neg{nan, -1};
  EXPECT_EQ(ops::mig(&zero_nan), T(0));
  EXPECT_EQ(ops::mig(&nan_neg), T(1));

  // The midpoint's shortcut treats an unordered pair as equal and returns the
  // lower bound as it is, even when only the upper bound is a NaN (intended).
  const I nan_hi{T(1.5), nan}, nan_lo{nan, T(1.5)}, zeros{T(-0.0), T(0)};
  EXPECT_EQ(ops::mid(&nan_hi), T(1.5));
  EXPECT_TRUE(std::isnan(ops::mid(&nan_lo)));
  EXPECT_TRUE(std::signbit(ops::mid(&zeros)));

  // A negative difference is rounded upward, i.e. toward zero, before its
  // absolute value is taken: this distance is below the exact 1 - 2^-k.
  const int digits = std::numeric_limits<T>::digits;
  const T tiny = std::ldexp(T(1), -digits - 7);
  const I t{tiny, tiny};
  EXPECT_EQ(ops::dist(&t, &one), T(1) - std::ldexp(T(1), -digits));
  EXPECT_EQ(ops::dist(&one, &t), T(1)); // positive difference: rounded up to 1

  // Touching intervals intersect in a point.
  const I x{1, 2}, y{2, 3}, z{T(-0.5), 5};
  I r;
  ops::ix(&r, &x, &y);
  EXPECT_TRUE(ops::same(r, I{2, 2})) << ops::show(r);
  ops::ix(&r, &x, &z);
  EXPECT_TRUE(ops::same(r, x)) << ops::show(r);
}

// The two members order |x1|, |x2| differently on purpose: the double member
// takes min and max (a NaN loses), the single member swaps only when
// |x1| > |x2| (a NaN stays where it is). Without NaNs they agree.
TYPED_TEST(MeasuresReal, AbsOrdersTheMagnitudesAsTheMemberDoes) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  const struct {
    I x, single, dbl;
  } rows[] = {{{-3, 2}, {0, 3}, {0, 3}},
              {{-3, -2}, {2, 3}, {2, 3}},
              {{-5, -2}, {2, 5}, {2, 5}},
              {{nan, -1}, {nan, 1}, {1, 1}},
              {{1, nan}, {1, nan}, {nan, nan}}};
  for (const auto &row : rows) {
    I r;
    ops::abs(&r, &row.x);
    EXPECT_TRUE(ops::same(r, sizeof(T) == 4 ? row.single : row.dbl))
        << ops::show(row.x) << " gives " << ops::show(r); // same(): the zero must be +0
  }
}

TEST(MeasuresReal, EmptyIntersectionWritesTheMarkerBits) {
  const ruf_si xs{1, 2}, ys{3, 4};
  ruf_si rs;
  ops::ix(&rs, &xs, &ys);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rs), 0x7F8FFFFF'7F8FFFFFu);
  EXPECT_EQ(ops::isempty(&rs), 0);
  const ruf_di xd{1, 2}, yd{3, 4};
  ruf_di rd;
  ops::ix(&rd, &yd, &xd);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rd.inf), 0x7FF9FFFFE0000000u);
  EXPECT_EQ(std::bit_cast<std::uint64_t>(rd.sup), 0x7FF9FFFFE0000000u);
  EXPECT_EQ(ops::isempty(&rd), 0);
}

// The single magnitude goes through double: a signalling NaN bound comes
// back quieted, as the widening conversion leaves it.
TEST(MeasuresReal, SingleMagnitudeGoesThroughDouble) {
  const float snan = std::bit_cast<float>(0x7F8FFFFFu);
  const ruf_si x{snan, snan};
  EXPECT_EQ(std::bit_cast<std::uint32_t>(ops::mag(&x)), 0x7FCFFFFFu);
}

} // namespace
