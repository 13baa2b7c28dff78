// The rounding frame as a caller sees it, read from MXCSR itself (glibc's
// fegetround reads the x87 control word only): the caller's direction is back
// after every operation, flags the operation raised stay raised and so do
// those raised before the call, the exception masks are left alone, results
// do not depend on the caller's direction, and the early returns never touch
// MXCSR at all.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "ruf_interval.h"
#include "support/oracle.h"

namespace {

namespace mx = ruf_test::mxcsr;
using mx::kField;
using mx::kFlags;
constexpr std::uint32_t kInexact = 0x20, kOverflow = 0x08;

class CallerMode : public ::testing::TestWithParam<std::uint32_t> {
protected:
  void SetUp() override {
    saved_ = mx::read();
    mx::write(((saved_ & ~kField) | GetParam()) & ~kFlags);
  }
  void TearDown() override { mx::write(saved_); }
  std::uint32_t saved_ = 0;
};

// The caller's state besides its direction: flags raised before the call
// (underflow, denormal) and the denormal exception unmasked, which no operand
// here can trigger.
constexpr std::uint32_t kRaisedBefore = 0x12, kDenormalMask = 0x100;

// Each call runs with the caller's mode set, the flags cleared except those
// raised before, and the denormal exception unmasked.
template <class F> std::uint32_t after(F f) {
  mx::write(((mx::read() & ~kFlags) | kRaisedBefore) & ~kDenormalMask);
  f();
  const std::uint32_t csr = mx::read();
  mx::write((csr & ~kFlags) | kDenormalMask);
  return csr;
}

TEST_P(CallerMode, DirectionIsBackAfterEveryOperation) {
  const std::uint32_t mode = GetParam();
  // Every bound below is inexact, so each operation raises the inexact flag.
  const ruf_di x{0.1, 0.3}, y{-1e-20, 1e-19}, z{3.0, 7.0};
  const ruf_si xs{0.1f, 0.3f}, ys{-1e-20f, 1e-19f};
  const double p = 0.1;
  const float ps = 0.1f;
  ruf_di r;
  ruf_si rs;
  const auto check = [&](const char *what, auto f) {
    const std::uint32_t csr = after(f);
    EXPECT_EQ(csr & kField, mode) << what;
    EXPECT_TRUE(csr & kInexact) << what << ": the inexact flag raised inside must stay raised";
    EXPECT_EQ(csr & kRaisedBefore, kRaisedBefore) << what << ": the caller's flags stay raised";
    EXPECT_EQ(csr & kDenormalMask, 0u) << what << ": the caller's masks are left alone";
  };
  check("di_di_addi", [&] { ruf_interval_di_di_addi(&r, &x, &y); });
  check("di_di_subt", [&] { ruf_interval_di_di_subt(&r, &x, &y); });
  check("di_di_mult", [&] { ruf_interval_di_di_mult(&r, &x, &y); });
  check("di_di_divi", [&] { ruf_interval_di_di_divi(&r, &x, &z); });
  check("di_dr_mult", [&] { ruf_interval_di_dr_mult(&r, &x, &p); });
  check("dr_di_divi", [&] { ruf_interval_dr_di_divi(&r, &p, &z); });
  check("di_sqr", [&] { ruf_interval_di_sqr(&r, &x); });
  check("si_si_mult", [&] { ruf_interval_si_si_mult(&rs, &xs, &ys); });
  check("si_sr_divi", [&] { ruf_interval_si_sr_divi(&rs, &xs, &ps); });
  check("SI_SI_ADDI", [&] { SI_SI_ADDI(&rs, &xs, &ys); });
  check("di_di_mult_", [&] { di_di_mult_(&r, &x, &y); });
}

TEST_P(CallerMode, ResultsDoNotDependOnTheCallersDirection) {
  const ruf_di x{1.0 / 3, 2.0 / 3}, y{-1.0 / 7, 5.0 / 7};
  ruf_di got, want;
  ruf_interval_di_di_mult(&got, &x, &y);
  mx::write(mx::read() & ~kField);
  ruf_interval_di_di_mult(&want, &x, &y);
  EXPECT_EQ(got.inf, want.inf);
  EXPECT_EQ(got.sup, want.sup);
}

TEST_P(CallerMode, OverflowFlagStaysRaised) {
  const double big = std::numeric_limits<double>::max();
  const ruf_di x{big, big};
  ruf_di r;
  const std::uint32_t csr = after([&] { ruf_interval_di_di_addi(&r, &x, &x); });
  EXPECT_TRUE(csr & kOverflow);
  EXPECT_EQ(r.sup, std::numeric_limits<double>::infinity());
  EXPECT_EQ(r.inf, big);
}

TEST_P(CallerMode, EarlyReturnsLeaveMxcsrUntouched) {
  const ruf_di x{1, 2}, zero_in{-1, 1};
  const double zero = 0.0;
  ruf_di r;
  const std::uint32_t before = ((mx::read() & ~kFlags) | kRaisedBefore) & ~kDenormalMask;
  EXPECT_EQ(after([&] { ruf_interval_di_di_divi(&r, &x, &zero_in); }), before);
  EXPECT_EQ(after([&] { ruf_interval_di_dr_divi(&r, &x, &zero); }), before);
  EXPECT_EQ(after([&] { ruf_interval_dr_di_divi(&r, &zero, &zero_in); }), before);
  EXPECT_EQ(after([&] { ruf_interval_di_di_ih(&r, &x, &zero_in); }), before);
  EXPECT_EQ(after([&] { ruf_interval_di_copy(&r, &x); }), before);
}

INSTANTIATE_TEST_SUITE_P(AllDirections, CallerMode, ::testing::ValuesIn(mx::kModes),
                         [](const auto &info) { return mx::name(info.param); });

} // namespace
