// Complex rectangles, both members: every directed-rounded quantity against
// MPFR (sum and difference bounds, the sums of squares under MAG and MIG and
// their square roots, DIST), products and quotients against the real
// operations they are built from, the documented examples, the intended
// oddities, and the caller's rounding mode read back from MXCSR.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>

#include "ruf_interval.h"
#include "support/oracle.h"

using ruf_test::down;
using ruf_test::lower;
using ruf_test::nearest;
using ruf_test::Op;
using ruf_test::same;
using ruf_test::up;

namespace {

template <class T> struct Api;

#define RUF_TEST_API(T, p, q, R, I, C, DIVIDEND_SCALES)                                            \
  template <> struct Api<T> {                                                                      \
    using Rect = R;                                                                                \
    using Iv = I;                                                                                  \
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
    static constexpr auto real_addi = ruf_interval_##q##i_##q##i_addi;                             \
    static constexpr auto real_subt = ruf_interval_##q##i_##q##i_subt;                             \
    static constexpr auto real_mult = ruf_interval_##q##i_##q##i_mult;                             \
    static constexpr auto real_divi = ruf_interval_##q##i_##q##i_divi;                             \
    static constexpr auto real_sqr = ruf_interval_##q##i_sqr;                                      \
    static constexpr auto real_ix = ruf_interval_##q##_ix;                                         \
    static constexpr bool dividend_scales = DIVIDEND_SCALES;                                       \
  };
RUF_TEST_API(float, cr, s, ruf_cr, ruf_si, ruf_c, false)
RUF_TEST_API(double, zr, d, ruf_zr, ruf_di, ruf_z, true)
#undef RUF_TEST_API

template <class T> T max_rule(T p, T q) {
  return p > q ? p : q;
}
template <class T> T min_rule(T p, T q) {
  return p < q ? p : q;
}

template <class I> bool same_iv(const I &a, const I &b) {
  return same(a.inf, b.inf) && same(a.sup, b.sup);
}
template <class R> bool same_rect(const R &a, const R &b) {
  return same_iv(a.re, b.re) && same_iv(a.im, b.im);
}
template <class R> std::string show(const R &r) {
  using ruf_test::hex;
  return "([" + hex(r.re.inf) + ", " + hex(r.re.sup) + "], [" + hex(r.im.inf) + ", " +
         hex(r.im.sup) + "])";
}

template <class T> T mid_part(T p1, T p2) {
  if (!(p1 < p2 || p1 > p2)) return p1;
  return nearest(Op::add, nearest(Op::mul, T(0.5), p1), nearest(Op::mul, T(0.5), p2));
}
template <class T> T mig_part(T p1, T p2) {
  return (p1 > 0 || p2 < 0) ? min_rule(std::fabs(p1), std::fabs(p2)) : T(0);
}

// The sums of squares that MAG and MIG take the square root of.
template <class R, class T = decltype(R{}.re.inf)> T mag_square(const R &x) {
  const T a = max_rule(std::fabs(x.re.inf), std::fabs(x.re.sup));
  const T b = max_rule(std::fabs(x.im.inf), std::fabs(x.im.sup));
  return up(Op::add, up(Op::mul, a, a), up(Op::mul, b, b));
}
template <class R, class T = decltype(R{}.re.inf)> T mig_square(const R &x) {
  const T a = mig_part(x.re.inf, x.re.sup), b = mig_part(x.im.inf, x.im.sup);
  return down(Op::add, down(Op::mul, a, a), down(Op::mul, b, b));
}

template <class T> class ComplexRect : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ComplexRect, Precisions);

TYPED_TEST(ComplexRect, DirectedQuantitiesMatchMpfr) {
  using T = TypeParam;
  using A = Api<T>;
  using R = typename A::Rect;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  const int n = ruf_test::scaled(20000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    R x, y, r;
    s.interval(x.re.inf, x.re.sup);
    s.interval(x.im.inf, x.im.sup);
    s.interval(y.re.inf, y.re.sup);
    s.interval(y.im.inf, y.im.sup);
    const auto ctx = [&] { return show(x) + " with " + show(y); };

    A::addi(&r, &x, &y);
    R want{{lower(Op::add, x.re.inf, y.re.inf), up(Op::add, x.re.sup, y.re.sup)},
           {lower(Op::add, x.im.inf, y.im.inf), up(Op::add, x.im.sup, y.im.sup)}};
    EXPECT_TRUE(same_rect(r, want)) << "X+Y " << ctx() << ": got " << show(r);
    A::subt(&r, &x, &y);
    want = {{lower(Op::sub, x.re.inf, y.re.sup), up(Op::sub, x.re.sup, y.re.inf)},
            {lower(Op::sub, x.im.inf, y.im.sup), up(Op::sub, x.im.sup, y.im.inf)}};
    EXPECT_TRUE(same_rect(r, want)) << "X-Y " << ctx() << ": got " << show(r);

    // The square roots run in the caller's mode, here round to nearest.
    EXPECT_TRUE(same(A::mag(&x), nearest(Op::sqrt, mag_square(x)))) << "mag " << show(x);
    EXPECT_TRUE(same(A::mig(&x), nearest(Op::sqrt, mig_square(x)))) << "mig " << show(x);

    const T dr = max_rule(std::fabs(up(Op::sub, x.re.inf, y.re.inf)),
                          std::fabs(up(Op::sub, x.re.sup, y.re.sup)));
    const T di = max_rule(std::fabs(up(Op::sub, x.im.inf, y.im.inf)),
                          std::fabs(up(Op::sub, x.im.sup, y.im.sup)));
    EXPECT_TRUE(same(A::dist(&x, &y), up(Op::add, dr, di))) << "dist " << ctx();

    const typename A::Cx m = A::mid(&x);
    EXPECT_TRUE(same(T(__real__ m), mid_part(x.re.inf, x.re.sup)) &&
                same(T(__imag__ m), mid_part(x.im.inf, x.im.sup)))
        << "mid " << show(x);
  }
}

// Products and quotients are the real operations in a fixed order; the real
// operations have their own MPFR tests, so this pins the order and operands.
TYPED_TEST(ComplexRect, ProductAndQuotientComposeTheRealOperations) {
  using T = TypeParam;
  using A = Api<T>;
  using R = typename A::Rect;
  using I = typename A::Iv;
  ruf_test::Sampler<T> s(ruf_test::test_seed() + 1);
  const int n = ruf_test::scaled(5000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    R x, y, r, want;
    for (T *v :
         {&x.re.inf, &x.re.sup, &x.im.inf, &x.im.sup, &y.re.inf, &y.re.sup, &y.im.inf, &y.im.sup})
      *v = s.ordinary();
    I t, u, v, d;
    A::real_mult(&t, &x.re, &y.re);
    A::real_mult(&u, &x.im, &y.im);
    A::real_subt(&want.re, &t, &u);
    A::real_mult(&t, &x.re, &y.im);
    A::real_mult(&u, &x.im, &y.re);
    A::real_addi(&want.im, &t, &u);
    A::mult(&r, &x, &y);
    EXPECT_TRUE(same_rect(r, want)) << "X*Y " << show(x) << " with " << show(y);

    const R &scale = A::dividend_scales ? x : y;
    A::real_sqr(&t, &scale.re);
    A::real_sqr(&u, &scale.im);
    A::real_addi(&d, &t, &u);
    A::real_mult(&t, &x.re, &y.re);
    A::real_mult(&u, &x.im, &y.im);
    A::real_addi(&v, &t, &u);
    A::real_divi(&want.re, &v, &d);
    A::real_mult(&t, &x.im, &y.re);
    A::real_mult(&u, &x.re, &y.im);
    A::real_subt(&v, &t, &u);
    A::real_divi(&want.im, &v, &d);
    A::divi(&r, &x, &y);
    EXPECT_TRUE(same_rect(r, want)) << "X/Y " << show(x) << " with " << show(y);
  }
}

TYPED_TEST(ComplexRect, DocumentedExamples) {
  using T = TypeParam;
  using A = Api<T>;
  using R = typename A::Rect;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  R r;
  // (1 + 0i) * Y is Y.
  const R one{{1, 1}, {0, 0}}, y{{T(-1) / 3, T(2) / 3}, {T(1) / 7, T(5) / 7}};
  A::mult(&r, &one, &y);
  EXPECT_TRUE(same_rect(r, y)) << show(r);

  // The single member divides by the divisor's squared magnitude: X / 1 = X.
  // The double member divides by X's own: (2 + 0i) / 1 = 0.5. Both intended.
  const R two{{2, 2}, {0, 0}};
  A::divi(&r, &two, &one);
  const R want = A::dividend_scales ? R{{0.5, 0.5}, {0, 0}} : two;
  EXPECT_TRUE(same_rect(r, want)) << show(r);
  if (!A::dividend_scales) {
    A::divi(&r, &y, &one);
    EXPECT_TRUE(same_rect(r, y)) << show(r);
  }

  // CONJ reads its result only; the operand may be anything, even absent.
  r = {{1, 2}, {3, 4}};
  A::conj(&r, nullptr);
  EXPECT_TRUE(same_rect(r, R{{1, 2}, {-4, 4}})) << show(r);
  r = {{1, 2}, {-5, T(-0.0)}};
  A::conj(&r, &y);
  EXPECT_TRUE(same_rect(r, R{{1, 2}, {0, 0}})) << show(r);

  // SB and SP compare against Y's imaginary lower bound (intended).
  const R x{{0, 1}, {1, 2}}, wide{{0, 1}, {0, 5}}, flat{{0, 1}, {0, 0}}, part{{0, 1}, {0, 1.5}};
  EXPECT_EQ(A::sb(&x, &x), 0);
  EXPECT_EQ(A::sb(&x, &wide), 0);
  EXPECT_EQ(A::sb(&flat, &wide), 1);
  EXPECT_EQ(A::sp(&part, &x), 1);
  EXPECT_EQ(A::sp(&wide, &x), 1);
  EXPECT_EQ(A::sp(&x, &wide), 0);

  const R around0{{-1, 2}, {-3, 4}}, p34{{3, 3}, {4, 4}};
  EXPECT_EQ(A::mig(&around0), T(0));
  EXPECT_EQ(A::mag(&p34), T(5));
  EXPECT_EQ(A::mig(&p34), T(5));
  EXPECT_EQ(A::dist(&y, &y), T(0));
  EXPECT_EQ(A::isempty(&y), 0);

  // IX works part by part; an empty part holds the real intersection's NaNs.
  const R a{{1, 2}, {0, 3}}, b{{3, 4}, {2, 5}};
  A::ix(&r, &a, &b);
  typename A::Iv re, im;
  A::real_ix(&re, &a.re, &b.re);
  A::real_ix(&im, &a.im, &b.im);
  EXPECT_TRUE(std::isnan(r.re.inf) && std::isnan(r.re.sup));
  EXPECT_TRUE(same_iv(r.re, re) && same_iv(r.im, im) && r.im.inf == 2 && r.im.sup == 3);
  EXPECT_EQ(A::isempty(&r), 0);

  // COPY keeps every bit, NaN payloads included.
  const R odd{{nan, -std::numeric_limits<T>::infinity()}, {T(-0.0), T(0)}};
  A::copy(&r, &odd);
  EXPECT_EQ(std::memcmp(&r, &odd, sizeof r), 0);

  // MID: a degenerate part is returned unchanged, as is an unordered one.
  const R pt{{T(0.1), T(0.1)}, {nan, 1}};
  const typename A::Cx m = A::mid(&pt);
  EXPECT_EQ(T(__real__ m), T(0.1));
  EXPECT_TRUE(std::isnan(T(__imag__ m)));
}

// Subtraction reads all eight numbers first, so the result may be an operand;
// addition stores both upper bounds before it reads the lower bounds.
TYPED_TEST(ComplexRect, StorageOrder) {
  using T = TypeParam;
  using A = Api<T>;
  using R = typename A::Rect;
  const R x{{10, 20}, {30, 40}};
  R y{{1, 2}, {3, 4}};
  A::subt(&y, &x, &y);
  EXPECT_TRUE(same_rect(y, R{{8, 19}, {26, 37}})) << show(y);

  // The result shifted one number below Y: its upper bounds land on Y's
  // lower bounds, which the lower bounds then read.
  T buf[5] = {0, 1, 2, 3, 4};
  R *res = reinterpret_cast<R *>(&buf[0]);
  const R *yy = reinterpret_cast<const R *>(&buf[1]);
  const R z{{100, 200}, {300, 400}};
  A::addi(res, &z, yy);
  // re.sup = 200 + 2 lands on buf[1] (Y's re.inf), im.sup = 400 + 4 on buf[3]
  // (Y's im.inf); then re.inf = 100 + 202, im.inf = 300 + 404.
  EXPECT_EQ(buf[0], T(302));
  EXPECT_EQ(buf[1], T(202));
  EXPECT_EQ(buf[2], T(704));
  EXPECT_EQ(buf[3], T(404));
}

// ---- The caller's rounding mode, read from MXCSR itself ----

constexpr std::uint32_t kField = 0x6000;
std::uint32_t mxcsr() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}
void set_mxcsr(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}

class RectCallerMode : public ::testing::TestWithParam<std::uint32_t> {
protected:
  void SetUp() override { saved_ = mxcsr(); }
  void TearDown() override { set_mxcsr(saved_); }
  // Runs f with the caller's mode set and returns the field found afterwards.
  template <class F> std::uint32_t field_after(F f) {
    set_mxcsr((saved_ & ~kField) | GetParam());
    f();
    const std::uint32_t field = mxcsr() & kField;
    set_mxcsr(saved_);
    return field;
  }
  template <class T> void run();
  std::uint32_t saved_ = 0;
};

template <class T> T sqrt_in_mode(std::uint32_t mode, T s) {
  return mode == 0x4000 ? up(Op::sqrt, s) : mode == 0 ? nearest(Op::sqrt, s) : down(Op::sqrt, s);
}

template <class T> void RectCallerMode::run() {
  using A = Api<T>;
  using R = typename A::Rect;
  const std::uint32_t mode = GetParam();
  const R x{{T(0.1), T(0.3)}, {T(-1) / 3, T(2) / 7}}, y{{T(1) / 3, T(0.7)}, {T(0.2), T(0.9)}};
  const R far{{T(0.1), T(0.3)}, {T(1) / 3, T(2) / 3}};
  R r = x;
  T got = 0;
  typename A::Cx m{};
  const auto expect_mode = [&](const char *what, std::uint32_t field) {
    EXPECT_EQ(field, mode) << what;
  };
  expect_mode("addi", field_after([&] { A::addi(&r, &x, &y); }));
  expect_mode("subt", field_after([&] { A::subt(&r, &x, &y); }));
  expect_mode("mult", field_after([&] { A::mult(&r, &x, &y); }));
  expect_mode("divi", field_after([&] { A::divi(&r, &x, &y); }));
  expect_mode("conj", field_after([&] { A::conj(&r, &x); }));
  expect_mode("ix", field_after([&] { A::ix(&r, &x, &y); }));
  expect_mode("dist", field_after([&] { got = A::dist(&x, &y); }));
  expect_mode("sb", field_after([&] { got = T(A::sb(&x, &y) + A::sp(&x, &y)); }));
  expect_mode("mid", field_after([&] { m = A::mid(&x); }));
  EXPECT_TRUE(same(T(__real__ m), mid_part(x.re.inf, x.re.sup))) << "mid is always to nearest";
  // The square roots of MAG and MIG are taken in the caller's mode.
  expect_mode("mag", field_after([&] { got = A::mag(&x); }));
  EXPECT_TRUE(same(got, sqrt_in_mode(mode, mag_square(x))));
  expect_mode("mig", field_after([&] { got = A::mig(&far); }));
  EXPECT_TRUE(same(got, sqrt_in_mode(mode, mig_square(far))));
  expect_mode("CR/ZR upper-case", field_after([&] {
                if constexpr (sizeof(T) == 4)
                  CR_CR_ADDI(&r, &x, &y);
                else
                  ZR_ZR_ADDI(&r, &x, &y);
              }));
}

TEST_P(RectCallerMode, IsBackAfterEveryRoutine) {
  run<float>();
  run<double>();
}

INSTANTIATE_TEST_SUITE_P(AllDirections, RectCallerMode,
                         ::testing::Values(0x0000u, 0x2000u, 0x4000u, 0x6000u));

} // namespace
