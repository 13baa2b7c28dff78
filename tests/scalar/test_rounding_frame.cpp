// The rounding frame as a caller sees it, read from MXCSR itself (glibc's
// fegetround reads the x87 control word only), for every elementary routine
// of the table (arithmetic, measures, relations, conversions, rectangles,
// discs), in each of the four caller directions: the caller's direction is
// back after the call, flags raised before the call stay raised, the
// exception masks are left alone. Flags an operation raises stay raised too,
// the early returns never touch MXCSR at all, and results do not depend on the
// caller's direction.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "ruf_interval.h"
#include "support/oracle.h"

namespace {

namespace mx = ruf_test::mxcsr;
using mx::kField;
using mx::kFlags;
constexpr std::uint32_t kInexact = 0x20, kOverflow = 0x08;

// The caller's state besides its direction: flags raised before the call
// (underflow, denormal) and the denormal exception unmasked, which no operand
// here can trigger.
constexpr std::uint32_t kRaisedBefore = 0x12, kDenormalMask = 0x100;

// MXCSR after f, run in mode with the flags cleared but those raised before
// and the denormal exception unmasked; MXCSR is restored afterwards.
template <class F> std::uint32_t after(std::uint32_t mode, F f) {
  const std::uint32_t saved = mx::read();
  mx::write((((saved & ~kField) | mode) & ~kFlags & ~kDenormalMask) | kRaisedBefore);
  f();
  const std::uint32_t csr = mx::read();
  mx::write(saved);
  return csr;
}

// An operand of each type: ordinary, inexact-producing numbers.
template <class T> T sample() {
  if constexpr (std::is_same_v<T, float> || std::is_same_v<T, double>)
    return T(0.7);
  else if constexpr (std::is_same_v<T, int>)
    return 3;
  else if constexpr (std::is_same_v<T, ruf_si> || std::is_same_v<T, ruf_di>)
    return T{0.1, 0.3};
  else if constexpr (std::is_same_v<T, ruf_cr> || std::is_same_v<T, ruf_zr>)
    return T{{0.1, 0.3}, {-0.2, 0.7}};
  else if constexpr (std::is_same_v<T, ruf_cc> || std::is_same_v<T, ruf_zc>)
    return T{0.3, -0.7, 0.1};
  else
    return T{0.3f, -0.7f}; // complex points
}

// Calls f with a pointer to a sample of each argument's type.
template <class R, class... A> std::function<void()> caller(R (*f)(A *...)) {
  return [f] {
    std::tuple<std::remove_const_t<A>...> args{sample<std::remove_const_t<A>>()...};
    std::apply([f](auto &...a) { (void)f(&a...); }, args);
  };
}

struct Routine {
  const char *name;
  std::function<void()> call;
};

const std::vector<Routine> &routines() {
  static const std::vector<Routine> r = {
#define RUF_ROUTINE(UPPER, lower, ret, params, args) {#UPPER, caller(ruf_interval_##lower)},
#include "ruf_interval/arith_real.def"
#include "ruf_interval/complex_disc.def"
#include "ruf_interval/complex_rect.def"
#include "ruf_interval/convert.def"
#include "ruf_interval/measures_real.def"
#undef RUF_ROUTINE
  };
  return r;
}

class CallerMode : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(CallerMode, EveryRoutineLeavesTheCallersStateAlone) {
  const std::uint32_t mode = GetParam();
  EXPECT_EQ(routines().size(), 232u);
  for (const Routine &r : routines()) {
    const std::uint32_t csr = after(mode, r.call);
    EXPECT_EQ(csr & kField, mode) << r.name;
    EXPECT_EQ(csr & kRaisedBefore, kRaisedBefore) << r.name << ": the caller's flags stay raised";
    EXPECT_EQ(csr & kDenormalMask, 0u) << r.name << ": the caller's masks are left alone";
  }
}

// Every bound below is inexact, so each operation raises the inexact flag,
// which must stay raised; so does an overflow. Through the wrappers as well.
TEST_P(CallerMode, FlagsRaisedInsideStayRaised) {
  const ruf_di x{0.1, 0.3}, y{-1e-20, 1e-19}, z{3.0, 7.0}, big{1e308, 1e308};
  const ruf_si xs{0.1f, 0.3f}, ys{-1e-20f, 1e-19f};
  const double p = 0.1;
  ruf_di r;
  ruf_si rs;
  const std::pair<const char *, std::function<void()>> calls[] = {
      {"di_di_addi", [&] { ruf_interval_di_di_addi(&r, &x, &y); }},
      {"di_di_mult", [&] { ruf_interval_di_di_mult(&r, &x, &y); }},
      {"di_di_divi", [&] { ruf_interval_di_di_divi(&r, &x, &z); }},
      {"dr_di_divi", [&] { ruf_interval_dr_di_divi(&r, &p, &z); }},
      {"di_sqr", [&] { ruf_interval_di_sqr(&r, &x); }},
      {"SI_SI_SUBT", [&] { SI_SI_SUBT(&rs, &xs, &ys); }},
      {"di_di_mult_", [&] { di_di_mult_(&r, &x, &y); }},
  };
  for (const auto &[what, call] : calls)
    EXPECT_TRUE(after(GetParam(), call) & kInexact) << what;
  EXPECT_TRUE(after(GetParam(), [&] { ruf_interval_di_di_addi(&r, &big, &big); }) & kOverflow);
}

TEST_P(CallerMode, ResultsDoNotDependOnTheCallersDirection) {
  const ruf_di x{1.0 / 3, 2.0 / 3}, y{-1.0 / 7, 5.0 / 7};
  ruf_di got, want;
  mx::run_in(GetParam(), [&] { ruf_interval_di_di_mult(&got, &x, &y); });
  ruf_interval_di_di_mult(&want, &x, &y);
  EXPECT_EQ(got.inf, want.inf);
  EXPECT_EQ(got.sup, want.sup);
}

TEST_P(CallerMode, EarlyReturnsLeaveMxcsrUntouched) {
  const ruf_di x{1, 2}, zero_in{-1, 1};
  const double zero = 0.0;
  ruf_di r;
  const std::uint32_t mode = GetParam();
  const std::uint32_t before = after(mode, [] {});
  EXPECT_EQ(after(mode, [&] { ruf_interval_di_di_divi(&r, &x, &zero_in); }), before);
  EXPECT_EQ(after(mode, [&] { ruf_interval_di_dr_divi(&r, &x, &zero); }), before);
  EXPECT_EQ(after(mode, [&] { ruf_interval_dr_di_divi(&r, &zero, &zero_in); }), before);
  EXPECT_EQ(after(mode, [&] { ruf_interval_di_di_ih(&r, &x, &zero_in); }), before);
}

INSTANTIATE_TEST_SUITE_P(AllDirections, CallerMode, ::testing::ValuesIn(mx::kModes),
                         [](const auto &info) { return mx::name(info.param); });

} // namespace
