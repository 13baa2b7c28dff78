// The service library itself: allocation, string comparison, rounding
// direction, and the recorded threading mode.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "ruf_service.h"
#include "support/oracle.h"

namespace {

using ruf_test::mxcsr::read;
unsigned short x87_control() {
  unsigned short v;
  asm volatile("fnstcw %0" : "=m"(v)::"memory");
  return v;
}

TEST(Service, AllocationIsAlignedAndNegativeCountsFail) {
  for (std::int64_t n : {0, 1, 63, 64, 1000}) {
    void *p = ruf_serv_allocate(n);
    ASSERT_NE(p, nullptr) << n;
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(p) % 64, 0u) << n;
    std::memset(p, 0xAB, static_cast<std::size_t>(n));
    ruf_serv_deallocate(p);
  }
  EXPECT_EQ(ruf_serv_allocate(-16), nullptr);
  ruf_serv_deallocate(nullptr);
}

TEST(Service, StringComparisonPadsWithBlanks) {
  EXPECT_EQ(for_cpstr("N", 1, "N", 1, 1), 1);
  EXPECT_EQ(for_cpstr("n", 1, "N", 1, 1), 0);
  EXPECT_EQ(for_cpstr("N ", 2, "N", 1, 1), 1);
  EXPECT_EQ(for_cpstr("NO", 2, "N", 1, 1), 0);
  EXPECT_EQ(for_cpstr("T", 1, "N", 1, 2), 1);
}

TEST(Service, RoundingDirectionReachesSseAndX87) {
  const std::uint32_t saved = read();
  char out[10];
  EXPECT_EQ(ieee_flags_("set", "direction", "negative", out, 3, 9, 8, 10), 0);
  EXPECT_EQ(read() & 0x6000u, 0x2000u);
  EXPECT_EQ(x87_control() & 0x0C00u, 0x0400u);
  EXPECT_EQ(std::string(out, 10), "negative  ");
  EXPECT_EQ(ieee_flags_("set", "direction", "positive", out, 3, 9, 8, 10), 0);
  EXPECT_EQ(read() & 0x6000u, 0x4000u);
  EXPECT_EQ(x87_control() & 0x0C00u, 0x0800u);
  // Blank-padded words, as a caller passing fixed-length buffers sends them.
  EXPECT_EQ(ieee_flags_("clear     ", "direction ", "          ", out, 10, 10, 10, 10), 0);
  EXPECT_EQ(read() & 0x6000u, 0u);
  EXPECT_EQ(x87_control() & 0x0C00u, 0u);
  EXPECT_EQ(ieee_flags_("set", "direction", "sideways", out, 3, 9, 8, 10), 1);
  EXPECT_EQ(read() & 0x6000u, 0u);
  ruf_test::mxcsr::write(saved);
}

TEST(Service, SettersRecordTheMode) {
  RUF_SET_SERIAL();
  EXPECT_EQ(ruf_serv_threading_mode(), 1);
  RUF_SET_PARALLEL();
  EXPECT_EQ(ruf_serv_threading_mode(), 0);
  EXPECT_EQ(ruf_cfg_file(1), 0);
}

} // namespace
