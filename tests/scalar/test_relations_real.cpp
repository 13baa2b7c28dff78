// The twenty relations between real intervals and the membership test IN,
// table-driven over ordinary, touching, nested, reversed, signed-zero,
// infinite and NaN operands, in both precisions. The NaN rows pin down which
// tests are made in negated form (true when unordered) and which directly.
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "ruf_interval.h"

namespace {

template <class T> struct Api;

#define RUF_TEST_API(T, p, I)                                                                      \
  template <> struct Api<T> {                                                                      \
    using Iv = I;                                                                                  \
    using Rel = int (*)(const I *, const I *);                                                     \
    static constexpr Rel rel[] = {                                                                 \
        ruf_interval_##p##_eq,  ruf_interval_##p##_ne,  ruf_interval_##p##_lt,                     \
        ruf_interval_##p##_le,  ruf_interval_##p##_gt,  ruf_interval_##p##_ge,                     \
        ruf_interval_##p##_slt, ruf_interval_##p##_sle, ruf_interval_##p##_sgt,                    \
        ruf_interval_##p##_sge, ruf_interval_##p##_wlt, ruf_interval_##p##_wle,                    \
        ruf_interval_##p##_wgt, ruf_interval_##p##_wge, ruf_interval_##p##_sb,                     \
        ruf_interval_##p##_sp,  ruf_interval_##p##_psb, ruf_interval_##p##_psp,                    \
        ruf_interval_##p##_itr, ruf_interval_##p##_dj};                                            \
    static constexpr auto in = ruf_interval_##p##_in;                                              \
  };
RUF_TEST_API(float, s, ruf_si)
RUF_TEST_API(double, d, ruf_di)
#undef RUF_TEST_API

const char *const kNames[] = {"EQ",  "NE",  "LT",  "LE",  "GT", "GE", "SLT", "SLE", "SGT", "SGE",
                              "WLT", "WLE", "WGT", "WGE", "SB", "SP", "PSB", "PSP", "ITR", "DJ"};

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

std::string digits_of(const char *s) {
  std::string d;
  for (; *s; ++s)
    if (*s == '0' || *s == '1') d += *s;
  return d;
}

template <class T> class RelationsReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(RelationsReal, Precisions);

TYPED_TEST(RelationsReal, Table) {
  using T = TypeParam;
  using A = Api<T>;
  using I = typename A::Iv;
  constexpr int kRel = sizeof(kNames) / sizeof(kNames[0]);
  static_assert(kRel == sizeof(A::rel) / sizeof(A::rel[0]));
  for (const Row &row : kRows) {
    const std::string want = digits_of(row.want);
    ASSERT_EQ(want.size(), std::size_t(kRel + 2)) << row.want;
    const I x{T(row.x1), T(row.x2)}, y{T(row.y1), T(row.y2)};
    std::string got;
    for (int k = 0; k < kRel; ++k) {
      const int v = A::rel[k](&x, &y);
      EXPECT_TRUE(v == 0 || v == 1) << kNames[k] << " returned " << v;
      got += v ? '1' : '0';
    }
    const T p1 = x.inf, p2 = x.sup;
    got += A::in(&p1, &y) ? '1' : '0';
    got += A::in(&p2, &y) ? '1' : '0';
    for (int k = 0; k < kRel + 2; ++k)
      EXPECT_EQ(got[k], want[k]) << (k < kRel    ? kNames[k]
                                     : k == kRel ? "IN x1"
                                                 : "IN x2")
                                 << " of [" << row.x1 << ", " << row.x2 << "] and [" << row.y1
                                 << ", " << row.y2 << "]";
  }
}

} // namespace
