// The twenty relations between real intervals and the membership test IN,
// table-driven over ordinary, touching, nested, reversed, signed-zero,
// infinite and NaN operands, in both precisions. The NaN rows pin down which
// tests are made in negated form (true when unordered) and which directly.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "ruf_interval.h"
#include "scalar/types.h"

namespace {

template <class I> struct Relation {
  const char *name;
  int (*test)(const I *, const I *);
};

template <class T> struct Member;
#define RUF_TEST_REL(p, r)                                                                         \
  { #r, ruf_interval_##p##_##r }
#define RUF_TEST_MEMBER(T, p, I)                                                                   \
  template <> struct Member<T> {                                                                   \
    static constexpr auto in = ruf_interval_##p##_in;                                              \
    static constexpr Relation<I> rel[] = {                                                         \
        RUF_TEST_REL(p, eq),  RUF_TEST_REL(p, ne),  RUF_TEST_REL(p, lt),  RUF_TEST_REL(p, le),     \
        RUF_TEST_REL(p, gt),  RUF_TEST_REL(p, ge),  RUF_TEST_REL(p, slt), RUF_TEST_REL(p, sle),    \
        RUF_TEST_REL(p, sgt), RUF_TEST_REL(p, sge), RUF_TEST_REL(p, wlt), RUF_TEST_REL(p, wle),    \
        RUF_TEST_REL(p, wgt), RUF_TEST_REL(p, wge), RUF_TEST_REL(p, sb),  RUF_TEST_REL(p, sp),     \
        RUF_TEST_REL(p, psb), RUF_TEST_REL(p, psp), RUF_TEST_REL(p, itr), RUF_TEST_REL(p, dj)};    \
  };
RUF_TEST_MEMBER(float, s, ruf_si)
RUF_TEST_MEMBER(double, d, ruf_di)
#undef RUF_TEST_MEMBER
#undef RUF_TEST_REL
constexpr int kRel = 20;

constexpr double N = std::numeric_limits<double>::quiet_NaN();
constexpr double Inf = std::numeric_limits<double>::infinity();

struct Row {
  double x1, x2, y1, y2;
  // Expected values, blanks ignored, in the order
  //   EQ NE | LT LE GT GE | SLT SLE SGT SGE | WLT WLE WGT WGE | SB SP PSB PSP | ITR DJ
  //   | IN(x1, Y) IN(x2, Y)
  const char *want;
};

// Every value is exact in single precision.
const Row kRows[] = {
    {1, 2, 3, 4, "01 1100 1100 1100 0000 01 00"},           // apart, X left
    {3, 4, 1, 2, "01 0011 0011 0011 0000 01 00"},           // apart, X right
    {1, 2, 2, 3, "01 1100 0100 1101 0000 00 01"},           // touching, X left
    {2, 3, 1, 2, "01 0011 0001 0111 0000 00 10"},           // touching, X right
    {1, 2, 1, 2, "10 0101 0000 1111 1100 00 11"},           // equal
    {2, 3, 1, 4, "01 0000 0000 1111 1010 10 11"},           // interior
    {1, 4, 2, 3, "01 0000 0000 1111 0101 00 00"},           // proper superset
    {1, 2, 1, 3, "01 0100 0000 1111 1010 00 11"},           // subset touching below: not interior
    {1, 5, 0, 2, "01 0011 0000 1111 0000 00 10"},           // overlap: weakly but not strictly less
    {2, 1, 1, 2, "01 0000 0101 0101 1010 10 11"},           // reversed X, processed as given
    {-0.0, 0.0, 0.0, -0.0, "10 0101 0101 0101 1100 00 11"}, // signed zeros compare equal
    {-Inf, 0, -Inf, Inf, "01 0100 0000 1111 1010 00 11"},   // infinite bounds
    {N, N, N, N, "10 1100 1100 1100 0000 01 00"},           // NaN pairs: equal, and "less"
    {N, N, 1, 2, "10 1100 1100 1100 0000 01 00"},
    {1, 2, N, N, "10 1100 1100 1100 0000 01 00"},
    {N, 2, 1, 3, "01 1100 0000 1111 0000 00 01"},
    {N, 4, 1, 3, "01 0000 0000 1111 0100 00 00"}, // SP's first test is negated
    {1, 2, 0, N, "01 0000 0000 1111 1000 10 11"}, // SB, ITR, IN: second test negated
    {1, 2, N, 3, "01 1100 1100 1100 0000 01 00"}, // DJ's second test negated
};

template <class T> class RelationsReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RelationsReal, Precisions);

TYPED_TEST(RelationsReal, Table) {
  using T = TypeParam;
  using M = Member<T>;
  static_assert(sizeof(M::rel) / sizeof(M::rel[0]) == kRel);
  for (const Row &row : kRows) {
    std::string want = row.want;
    std::erase(want, ' ');
    ASSERT_EQ(want.size(), std::size_t(kRel + 2)) << row.want;
    const ruf::Interval<T> x{T(row.x1), T(row.x2)}, y{T(row.y1), T(row.y2)};
    for (int k = 0; k < kRel + 2; ++k) {
      const char *name = k < kRel ? M::rel[k].name : k == kRel ? "in x1" : "in x2";
      const int v = k < kRel ? M::rel[k].test(&x, &y) : M::in(k == kRel ? &x.inf : &x.sup, &y);
      EXPECT_EQ(v, want[k] - '0') << name << " of [" << row.x1 << ", " << row.x2 << "] and ["
                                  << row.y1 << ", " << row.y2 << "]";
    }
  }
}

} // namespace
