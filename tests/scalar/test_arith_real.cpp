// Real interval arithmetic against MPFR: every bound of every operation, both
// precisions, bit for bit, over operands that include signed zeros,
// subnormals, huge and tiny magnitudes, infinities, NaNs and reversed bounds.
// The reference picks its case from the same tables as the library and
// rounds each candidate bound with MPFR.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "support/oracle.h"

using ruf_test::lower;
using ruf_test::Op;
using ruf_test::up;
namespace ops = ruf_test::ops;

namespace {

template <class T> struct Ref { T lo, hi; };

template <class T> T max_rule(T p, T q) {
  return p > q ? p : q;
}
template <class T> T min_rule(T p, T q) {
  return p < q ? p : q;
}
// 0 - v, rounded up.
template <class T> T neg0(T v) {
  return v == T(0) ? T(0) : -v;
}

template <class T> Ref<T> ref_mult(T a1, T a2, T b1, T b2) {
  const Op m = Op::mul;
  if (a1 > 0 && b1 > 0) return {lower(m, a1, b1), up(m, a2, b2)};
  if (a1 > 0 && b1 <= 0 && b2 >= 0) return {lower(m, a2, b1), up(m, a2, b2)};
  if (a1 > 0 && b2 < 0) return {lower(m, a2, b1), up(m, a1, b2)};
  if (a1 <= 0 && a2 < 0 && b1 > 0) return {lower(m, a1, b2), up(m, a2, b1)};
  if (a1 <= 0 && a2 < 0 && b1 <= 0 && b2 >= 0) return {lower(m, a1, b2), up(m, a1, b1)};
  if (a1 <= 0 && a2 < 0 && b2 < 0) return {lower(m, a2, b2), up(m, a1, b1)};
  if (a1 <= 0 && 0 <= a2 && b1 > 0) return {lower(m, a1, b2), up(m, a2, b2)};
  if (a1 <= 0 && 0 <= a2 && b1 <= 0 && b2 < 0) return {lower(m, a2, b1), up(m, a1, b1)};
  const T u = up(m, T(0) - a1, b2), v = up(m, T(0) - b1, a2);
  return {u > v ? neg0(v) : neg0(u), max_rule(up(m, a1, b1), up(m, a2, b2))};
}

template <class T> Ref<T> ref_divi(T a1, T a2, T b1, T b2) {
  const T inf = std::numeric_limits<T>::infinity();
  if (!(b1 > 0 || b2 < 0)) return {-inf, inf};
  const Op d = Op::div;
  if (a1 > 0 && b1 > 0) return {lower(d, a1, b2), up(d, a2, b1)};
  if (a1 > 0 && b1 <= 0) return {lower(d, a2, b2), up(d, a1, b1)};
  if (a1 <= 0 && a2 >= 0 && b1 > 0) return {lower(d, a1, b1), up(d, a2, b1)};
  if (a1 <= 0 && a2 >= 0 && b2 < 0) return {lower(d, a2, b2), up(d, a1, b2)};
  if (a2 < 0 && b1 > 0) return {lower(d, a1, b1), up(d, a2, b2)};
  return {lower(d, a2, b1), up(d, a1, b2)};
}

template <class T> Ref<T> ref_sqr(T a1, T a2) {
  const Op m = Op::mul;
  if (a1 >= 0) return {lower(m, a1, a1), up(m, a2, a2)};
  if (a1 < 0 && a2 > 0) return {T(0), max_rule(up(m, a2, a2), up(m, a1, a1))};
  return {lower(m, a2, a2), up(m, a1, a1)};
}

template <class I, class T>
void expect_bounds(const I &got, Ref<T> want, const char *what, T a1, T a2, T b1, T b2) {
  EXPECT_TRUE(ruf_test::same(got.inf, want.lo) && ruf_test::same(got.sup, want.hi))
      << what << " [" << ruf_test::hex(a1) << ", " << ruf_test::hex(a2) << "] with ["
      << ruf_test::hex(b1) << ", " << ruf_test::hex(b2) << "]: got [" << ruf_test::hex(got.inf)
      << ", " << ruf_test::hex(got.sup) << "], want [" << ruf_test::hex(want.lo) << ", "
      << ruf_test::hex(want.hi) << "]";
}

template <class T> class ArithReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ArithReal, Precisions);

TYPED_TEST(ArithReal, EveryBoundMatchesMpfr) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  const int n = ruf_test::scaled(40000);
  // The caller's direction cycles through all four: no bound may depend on it.
  for (int k = 0; k < n && !this->HasFailure(); ++k)
    ruf_test::mxcsr::run_in(ruf_test::mxcsr::kModes[k % 4], [&] {
      T a1, a2, b1, b2;
      s.interval(a1, a2);
      s.interval(b1, b2);
      const T y = s.point();
      const I x{a1, a2}, yy{b1, b2};
      I r;
      ops::addi(&r, &x, &yy);
      expect_bounds(r, Ref<T>{lower(Op::add, a1, b1), up(Op::add, a2, b2)}, "X+Y", a1, a2, b1, b2);
      ops::subt(&r, &x, &yy);
      expect_bounds(r, Ref<T>{lower(Op::sub, a1, b2), up(Op::sub, a2, b1)}, "X-Y", a1, a2, b1, b2);
      ops::mult(&r, &x, &yy);
      expect_bounds(r, ref_mult(a1, a2, b1, b2), "X*Y", a1, a2, b1, b2);
      ops::divi(&r, &x, &yy);
      expect_bounds(r, ref_divi(a1, a2, b1, b2), "X/Y", a1, a2, b1, b2);
      ops::sqr(&r, &x);
      expect_bounds(r, ref_sqr(a1, a2), "sqr X", a1, a2, a1, a2);

      // Mixed forms: the point stands for [y, y].
      ops::addi(&r, &x, &y);
      expect_bounds(r, Ref<T>{lower(Op::add, a1, y), up(Op::add, a2, y)}, "X+y", a1, a2, y, y);
      ops::subt(&r, &x, &y);
      expect_bounds(r, Ref<T>{lower(Op::sub, a1, y), up(Op::sub, a2, y)}, "X-y", a1, a2, y, y);
      ops::addi(&r, &y, &yy);
      expect_bounds(r, Ref<T>{lower(Op::add, y, b1), up(Op::add, y, b2)}, "x+Y", y, y, b1, b2);
      ops::subt(&r, &y, &yy);
      expect_bounds(r, Ref<T>{lower(Op::sub, y, b2), up(Op::sub, y, b1)}, "x-Y", y, y, b1, b2);
      ops::mult(&r, &x, &y);
      expect_bounds(r,
                    y > 0 ? Ref<T>{lower(Op::mul, a1, y), up(Op::mul, a2, y)}
                          : Ref<T>{lower(Op::mul, a2, y), up(Op::mul, a1, y)},
                    "X*y", a1, a2, y, y);
      ops::mult(&r, &y, &yy);
      expect_bounds(r,
                    y > 0 ? Ref<T>{lower(Op::mul, y, b1), up(Op::mul, y, b2)}
                          : Ref<T>{lower(Op::mul, y, b2), up(Op::mul, y, b1)},
                    "x*Y", y, y, b1, b2);
      {
        const T inf = std::numeric_limits<T>::infinity();
        ops::divi(&r, &x, &y);
        Ref<T> want = !(y < 0 || y > 0) ? Ref<T>{-inf, inf}
                      : y > 0           ? Ref<T>{lower(Op::div, a1, y), up(Op::div, a2, y)}
                                        : Ref<T>{lower(Op::div, a2, y), up(Op::div, a1, y)};
        expect_bounds(r, want, "X/y", a1, a2, y, y);
        ops::divi(&r, &y, &yy);
        want = (b1 <= 0 && 0 <= b2) ? Ref<T>{-inf, inf}
               : y > 0              ? Ref<T>{lower(Op::div, y, b2), up(Op::div, y, b1)}
                                    : Ref<T>{lower(Op::div, y, b1), up(Op::div, y, b2)};
        expect_bounds(r, want, "x/Y", y, y, b1, b2);
      }
      // Hulls are exact; with a NaN the second operand of each pair wins.
      ops::ih(&r, &x, &yy);
      expect_bounds(r, Ref<T>{min_rule(a1, b1), max_rule(a2, b2)}, "X ih Y", a1, a2, b1, b2);
      ops::ih(&r, &x, &y);
      expect_bounds(r, Ref<T>{min_rule(a1, y), max_rule(a2, y)}, "X ih y", a1, a2, y, y);
      ops::ih(&r, &y, &yy);
      expect_bounds(r, Ref<T>{min_rule(b1, y), max_rule(y, b2)}, "x ih Y", y, y, b1, b2);
    });
}

// Operands chosen to land in each multiplication case, with bounds that round.
TYPED_TEST(ArithReal, EveryMultiplicationCaseIsReached) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  const T t = T(1) / T(3), z = T(0);
  const T signs[][4] = {{t, 2 * t, t, 5 * t},   {t, 2 * t, -t, 5 * t},   {t, 2 * t, -5 * t, -t},
                        {-2 * t, -t, t, 5 * t}, {-2 * t, -t, -t, 5 * t}, {-2 * t, -t, -5 * t, -t},
                        {-2 * t, t, t, 5 * t},  {-2 * t, t, -5 * t, -t}, {-2 * t, t, -t, 5 * t},
                        {z, t, z, 5 * t},       {-t, z, z, t},           {z, z, -t, t}};
  for (const auto &c : signs) {
    const I x{c[0], c[1]}, y{c[2], c[3]};
    I r;
    ops::mult(&r, &x, &y);
    expect_bounds(r, ref_mult(c[0], c[1], c[2], c[3]), "X*Y", c[0], c[1], c[2], c[3]);
    EXPECT_TRUE(r.inf < r.sup || (r.inf == r.sup && r.inf == 0)) << "a rounded product is a point";
  }
}

TYPED_TEST(ArithReal, DocumentedExamples) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  const T inf = std::numeric_limits<T>::infinity();
  auto is = [](const I &r, T lo, T hi) { return r.inf == lo && r.sup == hi; };
  I r;
  I x{1, 2}, y{3, 4};
  ops::mult(&r, &x, &y);
  EXPECT_TRUE(is(r, 3, 8));
  x = {-2, -1};
  ops::mult(&r, &x, &y);
  EXPECT_TRUE(is(r, -8, -3));
  x = {-1, 2};
  ops::mult(&r, &x, &y);
  EXPECT_TRUE(is(r, -4, 8));
  // Case 9 keeps the larger lower candidate, in both operand orders.
  y = {-3, 4};
  ops::mult(&r, &x, &y);
  EXPECT_TRUE(is(r, -4, 8));
  ops::mult(&r, &y, &x);
  EXPECT_TRUE(is(r, -4, 8));
  // Division by an interval that contains zero gives the whole line.
  x = {1, 2};
  y = {0, 1};
  ops::divi(&r, &x, &y);
  EXPECT_TRUE(is(r, -inf, inf));
  x = {0, 0};
  y = {-1, 1};
  ops::divi(&r, &x, &y);
  EXPECT_TRUE(is(r, -inf, inf));
  x = {1, 2};
  y = {-4, -2};
  ops::divi(&r, &x, &y);
  EXPECT_TRUE(is(r, -1, T(-0.25)));
  x = {-1, 2};
  y = {2, 4};
  ops::divi(&r, &x, &y);
  EXPECT_TRUE(is(r, T(-0.5), 1));
  x = {-2, 3};
  ops::sqr(&r, &x);
  EXPECT_TRUE(is(r, 0, 9));
  EXPECT_FALSE(std::signbit(r.inf));
  x = {-3, -2};
  ops::sqr(&r, &x);
  EXPECT_TRUE(is(r, 4, 9));
  // One unit in the last place, outward, on the upper bound only.
  x = {1, 1};
  const T tiny = std::ldexp(T(1), std::numeric_limits<T>::digits == 24 ? -30 : -60);
  y = {tiny, tiny};
  ops::addi(&r, &x, &y);
  EXPECT_EQ(r.inf, T(1));
  EXPECT_EQ(r.sup, std::nextafter(T(1), T(2)));
  // A zero lower bound is +0, whatever the signs of the operands.
  x = {T(-0.0), 1};
  y = {T(-0.0), 1};
  ops::addi(&r, &x, &y);
  EXPECT_FALSE(std::signbit(r.inf));
  // NaN bounds flow through the tables: the point divisor NaN counts as zero.
  const T nan = std::numeric_limits<T>::quiet_NaN();
  x = {1, 2};
  ops::divi(&r, &x, &nan);
  EXPECT_TRUE(is(r, -inf, inf));
  // Reversed bounds are not repaired: [2, 1] + [0, 0] = [2, 1].
  x = {2, 1};
  y = {0, 0};
  ops::addi(&r, &x, &y);
  EXPECT_TRUE(is(r, 2, 1));
  // Copy keeps both bounds, NaN payloads included.
  x = {nan, -inf};
  ops::copy(&r, &x);
  EXPECT_TRUE(ruf_test::same(r.inf, nan) && r.sup == -inf);
}

// The subtraction writes the upper bound before it reads the lower bound's
// operands: a result that overlaps the second operand changes the lower bound.
TYPED_TEST(ArithReal, UpperBoundIsStoredFirst) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  I x{10, 20}, y{1, 2};
  ops::subt(&y, &x, &y); // hi = 20 - 1 = 19 lands in y.sup before lo reads it
  EXPECT_EQ(y.sup, T(19));
  EXPECT_EQ(y.inf, T(10 - 19));
}

} // namespace
