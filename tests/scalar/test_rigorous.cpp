// The rigorous arithmetic of our own routines against MPFR: under every caller
// direction, each bound is the directed rounding of the exact extreme over
// the operands' bounds (the textbook product, not the exported one's rule),
// and the caller's rounding field is back after the scope.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "scalar/rigorous.h"
#include "support/oracle.h"

namespace {

using ruf_test::down;
using ruf_test::Op;
using ruf_test::up;
namespace rg = ruf::rigorous;

template <class T> T lowest(Op op, T a1, T a2, T b1, T b2) {
  T m = std::numeric_limits<T>::infinity();
  for (T a : {a1, a2})
    for (T b : {b1, b2})
      m = std::fmin(m, (a == 0 || b == 0) && op == Op::mul ? T(0) : down(op, a, b));
  return m;
}
template <class T> T highest(Op op, T a1, T a2, T b1, T b2) {
  T m = -std::numeric_limits<T>::infinity();
  for (T a : {a1, a2})
    for (T b : {b1, b2})
      m = std::fmax(m, (a == 0 || b == 0) && op == Op::mul ? T(0) : up(op, a, b));
  return m;
}

template <class T> class Rigorous : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Rigorous, Precisions);

TYPED_TEST(Rigorous, BoundsAreTheDirectedRoundingsOfTheExactExtremes) {
  using T = TypeParam;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  for (int k = 0; k < ruf_test::scaled(20000) && !this->HasFailure(); ++k) {
    T a1, a2, b1, b2;
    s.interval(a1, a2);
    s.interval(b1, b2);
    // NaN, reversed or a single infinity: not an interval of reals.
    if (!(a1 <= a2 && b1 <= b2) || (std::isinf(a1) && a1 == a2) || (std::isinf(b1) && b1 == b2))
      continue;
    const std::uint32_t mode = ruf_test::mxcsr::kModes[k % 4];
    const auto [sum, dif, prod, quot] = ruf_test::mxcsr::run_in(mode, [&] {
      const rg::Interval<T> x{a1, a2}, y{b1, b2};
      rg::Upward scope;
      return std::tuple{rg::add(x, y), rg::sub(x, y), rg::mul(x, y), rg::div(x, y)};
    });
    EXPECT_EQ(ruf_test::mxcsr::read() & ruf_test::mxcsr::kField, 0u);
    const auto same = [](T got, T want) { return ruf_test::same(got, want) || got == want; };
    EXPECT_TRUE(same(sum.lo, down(Op::add, a1, b1)) && same(sum.hi, up(Op::add, a2, b2)));
    EXPECT_TRUE(same(dif.lo, down(Op::sub, a1, b2)) && same(dif.hi, up(Op::sub, a2, b1)));
    EXPECT_TRUE(same(prod.lo, lowest(Op::mul, a1, a2, b1, b2)) &&
                same(prod.hi, highest(Op::mul, a1, a2, b1, b2)))
        << ruf_test::hex(a1) << " " << ruf_test::hex(a2) << " * " << ruf_test::hex(b1) << " "
        << ruf_test::hex(b2);
    if (b1 > 0 || b2 < 0)
      EXPECT_TRUE(same(quot.lo, lowest(Op::div, a1, a2, b1, b2)) &&
                  same(quot.hi, highest(Op::div, a1, a2, b1, b2)))
          << ruf_test::hex(a1) << " " << ruf_test::hex(a2) << " / " << ruf_test::hex(b1) << " "
          << ruf_test::hex(b2) << " got " << ruf_test::hex(quot.lo) << " "
          << ruf_test::hex(quot.hi);
    else
      EXPECT_TRUE(std::isinf(quot.lo) && quot.lo < 0 && std::isinf(quot.hi) && quot.hi > 0);
  }
}

TEST(Rigorous, ZeroStraddlingProductIsTheTextbookOne) {
  rg::Upward scope;
  const auto p = rg::mul(rg::Interval<double>{-1, 2}, rg::Interval<double>{-3, 4});
  EXPECT_EQ(p.lo, -6);
  EXPECT_EQ(p.hi, 8);
}

} // namespace
