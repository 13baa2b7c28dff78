// The workspace module: every typed routine of the table fills and clears its
// handle as documented, the counted allocator's 32-bit byte count and its
// status conventions, the "MALLOCA" report, the rank-0 records; and
// ieee_flags, which hands its strings on as ten characters each.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfenv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <sstream>
#include <string>

#include "ruf_interval.h"
#include "support/doubles.h"

namespace {

using namespace ruf_test;

struct Kind {
  const char *code;
  long long size;
  void (*allocate_1)(ruf_array *, const int *, int *);
  void (*allocate_2)(ruf_array *, const int *, const int *, int *);
  void (*deallocate_1)(ruf_array *, int *);
  void (*deallocate_2)(ruf_array *, int *);
};
struct Record {
  const char *code;
  void (*allocate)(void **, int *);
  void (*deallocate)(void **, int *);
};

#define RUF_MODULE_ROUTINE(name, ret, params)
#define RUF_WS_RECORD(code, size)
#define RUF_A(code, r) ruf_alloc_allocate_##code##_##r##_ruf
#define RUF_D(code, r) ruf_alloc_deallocate_##code##_##r##_ruf
#define RUF_WS_ARRAY(code, T, size)                                                                \
  {#code, sizeof(T), RUF_A(code, 1), RUF_A(code, 2), RUF_D(code, 1), RUF_D(code, 2)},
const Kind kKinds[] = {
#include "ruf_interval/workspace.def"
};
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#define RUF_WS_ARRAY(code, T, size)
#define RUF_WS_RECORD(code, size) {#code, RUF_A(code, 0), RUF_D(code, 0)},
const Record kRecords[] = {
#include "ruf_interval/workspace.def"
};
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE
#undef RUF_A
#undef RUF_D

constexpr long long kPoisonWord = 0x5a5a5a5a5a5a5a5aLL;
ruf_array poisoned() {
  ruf_array h;
  std::memset(&h, 0x5a, sizeof h);
  return h;
}

// Every field of a handle, to compare with the documented values.
std::string fields(const ruf_array &h) {
  std::ostringstream s;
  s << "base " << h.base << ", elem_size " << h.elem_size << ", offset " << h.offset << ", flags "
    << h.flags << ", rank " << h.rank << ", reserved " << std::hex << h.reserved << std::dec;
  for (const ruf_array_dim &d : h.dim)
    s << ", dim {" << d.extent << ", " << d.stride << ", " << d.lower << "}";
  return s.str();
}

// The xerbla_ reports since the last reset: none (no name), or exactly one
// with this name, its length, and info.
::testing::AssertionResult reports(const char *name = nullptr, int info = 0) {
  const auto &c = xerbla_calls();
  if (c.size() != (name ? 1u : 0u)) return ::testing::AssertionFailure() << c.size() << " reports";
  if (name && (c[0].name != name || c[0].name_len != int(std::strlen(name)) || c[0].info != info))
    return ::testing::AssertionFailure()
           << "reported \"" << c[0].name << "\" (" << c[0].name_len << ") with " << c[0].info;
  return ::testing::AssertionSuccess();
}

class Workspace : public ::testing::Test {
protected:
  void SetUp() override { reset_doubles(); }
};

TEST_F(Workspace, EveryTypeHasRanksOneAndTwo) {
  constexpr long long P = kPoisonWord; // the reserved word and unused fields are left alone
  EXPECT_EQ(std::size(kKinds), 18u);
  for (const Kind &k : kKinds) {
    SCOPED_TRACE(k.code);
    const long long z = k.size;
    const int live = live_allocations();
    ruf_array h = poisoned();
    int stat = -7;
    const int n = 5, n1 = 3, n2 = 4;
    k.allocate_1(&h, &n, &stat);
    EXPECT_EQ(stat, 0);
    ASSERT_NE(h.base, nullptr);
    std::memset(h.base, 0, static_cast<std::size_t>(5 * z));
    EXPECT_EQ(fields(h), fields({h.base, z, -z, 3, 1, P, {{5, z, 1}, {P, P, P}}}));
    stat = -7;
    k.deallocate_1(&h, &stat);
    EXPECT_EQ(stat, 1);
    EXPECT_EQ(fields(h), fields({nullptr, z, -z, 0, 1, P, {{5, z, 1}, {P, P, P}}}))
        << "only the address and the flags are cleared";

    // Column-major: element (i, j) at base + offset + i*stride0 + j*stride1.
    h = poisoned();
    k.allocate_2(&h, &n1, &n2, &stat);
    EXPECT_EQ(stat, 0);
    ASSERT_NE(h.base, nullptr);
    std::memset(h.base, 0, static_cast<std::size_t>(12 * z));
    EXPECT_EQ(fields(h), fields({h.base, z, -z * (1 + 3), 3, 2, P, {{3, z, 1}, {4, 3 * z, 1}}}));
    k.deallocate_2(&h, nullptr);
    EXPECT_EQ(h.base, nullptr);
    EXPECT_EQ(h.flags, 0);
    EXPECT_EQ(live_allocations(), live);
  }
}

// A negative count records an extent of 0 but is allocated as the 32-bit
// product says; a byte count of 2^32 wraps to 0 bytes and succeeds. Both
// intended.
TEST_F(Workspace, NegativeCountsAndWrappedByteCounts) {
  ruf_array h = poisoned();
  int stat = -1;
  const int a = -2, b = -3;
  ruf_alloc_allocate_di_2_ruf(&h, &a, &b, &stat); // 6 elements
  ASSERT_EQ(stat, 0);
  EXPECT_EQ(fields(h), fields({h.base, 16, -16, 3, 2, kPoisonWord, {{0, 16, 1}, {0, 0, 1}}}));
  ruf_alloc_deallocate_di_2_ruf(&h, nullptr);

  const int n = 1 << 28; // 2^32 bytes of DI
  ruf_alloc_allocate_di_1_ruf(&h, &n, &stat);
  ASSERT_EQ(stat, 0);
  EXPECT_EQ(h.dim[0].extent, n);
  ruf_alloc_deallocate_di_1_ruf(&h, nullptr);
  EXPECT_TRUE(reports());
}

// A refused request sets the status to 1, leaves the handle untouched and,
// with a status to hear it, reports nothing.
TEST_F(Workspace, RefusedRequestsLeaveTheHandle) {
  const struct {
    const char *what;
    const char *code;
    int n1, n2; // n2 = 0: rank 1
    bool exhausted;
  } cases[] = {{"-16 bytes", "di", -1, 0, false},
               {"3 GiB wraps to a negative byte count", "di", 0x0c000000, 0, false},
               {"the element count wraps to -2^30", "i1", 65536, 49152, false},
               {"exhausted heap", "zc", 2, 2, true}};
  for (const auto &k : cases) {
    SCOPED_TRACE(k.what);
    reset_doubles();
    arm_allocation_failure(k.exhausted ? 1 : 0);
    const Kind &kind = *std::find_if(std::begin(kKinds), std::end(kKinds),
                                     [&](const Kind &x) { return std::string(x.code) == k.code; });
    ruf_array h = poisoned();
    int stat = 0;
    k.n2 ? kind.allocate_2(&h, &k.n1, &k.n2, &stat) : kind.allocate_1(&h, &k.n1, &stat);
    EXPECT_EQ(stat, 1);
    const ruf_array before = poisoned();
    EXPECT_EQ(std::memcmp(&h, &before, sizeof h), 0);
    EXPECT_TRUE(reports());
    if (k.exhausted) EXPECT_EQ(allocation_count(), 1);
  }
}

TEST_F(Workspace, CountedAllocator) {
  const int live = live_allocations();
  long long cell = 8;
  int status = -1, stat = -1;
  const int n1 = 10, n2 = 3;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, nullptr, &stat);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(stat, 0);
  ASSERT_NE(cell, 0);
  std::memset(reinterpret_cast<void *>(static_cast<std::intptr_t>(cell)), 0, 80);
  stat = -1;
  ruf_alloc_deallocate_ruf_malloc(&cell, &stat);
  EXPECT_EQ(stat, 1);
  cell = 16;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, &n2, nullptr);
  EXPECT_EQ(status, 0);
  ruf_alloc_deallocate_ruf_malloc(&cell, nullptr);
  EXPECT_EQ(live_allocations(), live);
  EXPECT_TRUE(reports());
  ruf_alloc_arithmetic(); // module symbols without behaviour
  ruf_alloc_interval_types();

  // A failure sets status (and stat, if given) to 1; without a stat it is
  // reported as "MALLOCA" with 1000.
  for (int *with : {&stat, static_cast<int *>(nullptr)}) {
    reset_doubles();
    arm_allocation_failure(1);
    cell = 8;
    status = stat = -1;
    ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, nullptr, with);
    EXPECT_EQ(status, 1);
    EXPECT_EQ(cell, 0);
    if (with) EXPECT_EQ(stat, 1);
    EXPECT_TRUE(with ? reports() : reports("MALLOCA", 1000));
  }
}

TEST_F(Workspace, Records) {
  ASSERT_EQ(std::size(kRecords), 4u);
  for (const Record &r : kRecords) {
    SCOPED_TRACE(r.code);
    const int live = live_allocations();
    void *p = nullptr;
    int stat = -1;
    r.allocate(&p, &stat);
    EXPECT_EQ(stat, 0);
    ASSERT_NE(p, nullptr);
    std::memset(p, 0, 96);
    r.deallocate(&p, nullptr);
    EXPECT_EQ(p, nullptr);
    EXPECT_EQ(live_allocations(), live);

    arm_allocation_failure(1);
    void *q = &stat;
    r.allocate(&q, &stat);
    EXPECT_EQ(stat, 1);
    EXPECT_EQ(q, &stat);
    arm_allocation_failure(0);
  }
}

// ieee_flags passes 10 as every length, whatever its caller says: strings
// longer than their caller-given length are still read as ten characters,
// and nothing past the tenth is read; its default is round to nearest, not
// the caller's earlier direction.
TEST(IeeeFlags, ForwardsTenCharactersEach) {
  char out[11] = "??????????";
  EXPECT_EQ(ieee_flags("set       ", "direction ", "negative  ", out, 3, 9, 8, 0), 0);
  EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
  EXPECT_EQ(std::string(out, 10), "negative  ");
  EXPECT_EQ(ieee_flags("set       trailing", "direction ", "positive  junk", out, 1, 1, 1, 1), 0);
  EXPECT_EQ(std::fegetround(), FE_UPWARD);
  EXPECT_EQ(ieee_flags("clear     ", "direction ", "          ", out, 5, 9, 0, 10), 0);
  EXPECT_EQ(std::fegetround(), FE_TONEAREST);
  EXPECT_EQ(std::string(out, 10), "nearest   ");
}

} // namespace
