// The workspace module: every typed routine of the table fills and clears its
// handle as documented, the counted allocator's 32-bit byte count and its
// status conventions, the "MALLOCA" report, the rank-0 records, the exports;
// ieee_flags, which hands its strings on as ten characters each; and the
// solver frame's checks and workspace requests.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cfenv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "frame/solver_frame.h"
#include "ruf_interval.h"
#include "support/doubles.h"

namespace {

using ruf_test::allocation_count;
using ruf_test::arm_allocation_failure;
using ruf_test::live_allocations;
using ruf_test::reset_doubles;
using ruf_test::xerbla_calls;

struct Kind {
  const char *code;
  long long size;
  void (*allocate_1)(ruf_array *, const int *, int *);
  void (*allocate_2)(ruf_array *, const int *, const int *, int *);
  void (*deallocate_1)(ruf_array *, int *);
  void (*deallocate_2)(ruf_array *, int *);
};

const std::vector<Kind> &kinds() {
  static const std::vector<Kind> k = {
#define RUF_WS_ARRAY(code, T, size)                                                                \
  {#code,                                                                                          \
   static_cast<long long>(sizeof(T)),                                                              \
   ruf_alloc_allocate_##code##_1_ruf,                                                              \
   ruf_alloc_allocate_##code##_2_ruf,                                                              \
   ruf_alloc_deallocate_##code##_1_ruf,                                                            \
   ruf_alloc_deallocate_##code##_2_ruf},
#define RUF_WS_RECORD(code, size)
#define RUF_MODULE_ROUTINE(name, ret, params)
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE
  };
  return k;
}

struct Record {
  const char *code;
  void (*allocate)(void **, int *);
  void (*deallocate)(void **, int *);
};

const std::vector<Record> &records() {
  static const std::vector<Record> r = {
#define RUF_WS_ARRAY(code, T, size)
#define RUF_WS_RECORD(code, size)                                                                  \
  {#code, ruf_alloc_allocate_##code##_0_ruf, ruf_alloc_deallocate_##code##_0_ruf},
#define RUF_MODULE_ROUTINE(name, ret, params)
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE
  };
  return r;
}

// The documented element sizes, independently of the table.
long long documented_size(const std::string &code) {
  static const std::vector<std::pair<std::string, long long>> sizes = {
      {"c", 8},   {"z", 16},  {"s", 4},   {"d", 8},   {"si", 8}, {"di", 16},
      {"cr", 16}, {"zr", 32}, {"cc", 12}, {"zc", 24}, {"i1", 1}, {"i2", 2},
      {"i4", 4},  {"i8", 8},  {"l1", 1},  {"l2", 2},  {"l4", 4}, {"l8", 8}};
  for (const auto &[c, s] : sizes)
    if (c == code) return s;
  return -1;
}

constexpr unsigned char kPoison = 0x5a;
constexpr long long kPoisonWord = 0x5a5a5a5a5a5a5a5aLL;

ruf_array poisoned() {
  ruf_array h;
  std::memset(&h, kPoison, sizeof h);
  return h;
}

class Workspace : public ::testing::Test {
protected:
  void SetUp() override { reset_doubles(); }
};

TEST_F(Workspace, EveryTypeHasRanksOneAndTwo) {
  EXPECT_EQ(kinds().size(), 18u);
  for (const Kind &k : kinds()) {
    SCOPED_TRACE(k.code);
    EXPECT_EQ(k.size, documented_size(k.code));
    const int live = live_allocations();

    ruf_array h = poisoned();
    int stat = -7;
    const int n = 5;
    k.allocate_1(&h, &n, &stat);
    EXPECT_EQ(stat, 0);
    ASSERT_NE(h.base, nullptr);
    EXPECT_EQ(h.elem_size, k.size);
    EXPECT_EQ(h.offset, -k.size);
    EXPECT_EQ(h.flags, 3);
    EXPECT_EQ(h.rank, 1);
    EXPECT_EQ(h.reserved, kPoisonWord) << "the reserved word is left alone";
    EXPECT_EQ(h.dim[0].extent, 5);
    EXPECT_EQ(h.dim[0].stride, k.size);
    EXPECT_EQ(h.dim[0].lower, 1);
    EXPECT_EQ(h.dim[1].extent, kPoisonWord) << "rank 1 fills one dimension";
    std::memset(h.base, 0, static_cast<std::size_t>(5 * k.size));
    stat = -7;
    k.deallocate_1(&h, &stat);
    EXPECT_EQ(stat, 1);
    EXPECT_EQ(h.base, nullptr);
    EXPECT_EQ(h.flags, 0);
    EXPECT_EQ(h.elem_size, k.size) << "only the address and the flags are cleared";

    h = poisoned();
    const int n1 = 3, n2 = 4;
    k.allocate_2(&h, &n1, &n2, &stat);
    EXPECT_EQ(stat, 0);
    ASSERT_NE(h.base, nullptr);
    EXPECT_EQ(h.offset, -k.size * (1 + 3));
    EXPECT_EQ(h.flags, 3);
    EXPECT_EQ(h.rank, 2);
    EXPECT_EQ(h.reserved, kPoisonWord);
    EXPECT_EQ(h.dim[0].extent, 3);
    EXPECT_EQ(h.dim[0].stride, k.size);
    EXPECT_EQ(h.dim[1].extent, 4);
    EXPECT_EQ(h.dim[1].stride, 3 * k.size);
    EXPECT_EQ(h.dim[1].lower, 1);
    std::memset(h.base, 0, static_cast<std::size_t>(12 * k.size));
    k.deallocate_2(&h, nullptr);
    EXPECT_EQ(h.base, nullptr);
    EXPECT_EQ(h.flags, 0);
    EXPECT_EQ(live_allocations(), live);
  }
}

// For 1-based subscripts the handle's offset and strides address the
// column-major element (i-1) + (j-1)*n1.
TEST_F(Workspace, HandleAddressesColumnMajorElements) {
  ruf_array h{};
  int stat = -1;
  const int n1 = 3, n2 = 4;
  ruf_alloc_allocate_di_2_ruf(&h, &n1, &n2, &stat);
  ASSERT_EQ(stat, 0);
  EXPECT_EQ(h.dim[0].stride, 16);
  EXPECT_EQ(h.dim[1].stride, 48);
  EXPECT_EQ(h.offset, -64);
  auto *base = static_cast<ruf_di *>(h.base);
  for (int j = 1; j <= n2; ++j)
    for (int i = 1; i <= n1; ++i) {
      const std::ptrdiff_t byte = h.offset + i * h.dim[0].stride + j * h.dim[1].stride;
      EXPECT_EQ(reinterpret_cast<char *>(base) + byte,
                reinterpret_cast<char *>(&base[(i - 1) + (j - 1) * n1]));
    }
  ruf_alloc_deallocate_di_2_ruf(&h, nullptr);
}

// A negative count is allocated as the 32-bit product says, and recorded as
// an extent of 0.
TEST_F(Workspace, NegativeCounts) {
  ruf_array h = poisoned();
  int stat = -1;
  const int a = -2, b = -3;
  ruf_alloc_allocate_di_2_ruf(&h, &a, &b, &stat); // 6 elements
  ASSERT_EQ(stat, 0);
  EXPECT_EQ(h.dim[0].extent, 0);
  EXPECT_EQ(h.dim[1].extent, 0);
  EXPECT_EQ(h.dim[0].stride, 16);
  EXPECT_EQ(h.dim[1].stride, 0);
  EXPECT_EQ(h.offset, -16);
  ruf_alloc_deallocate_di_2_ruf(&h, nullptr);

  h = poisoned();
  const int minus_one = -1; // -16 bytes: the service refuses
  ruf_alloc_allocate_di_1_ruf(&h, &minus_one, &stat);
  EXPECT_EQ(stat, 1);
  EXPECT_EQ(h.flags, kPoisonWord) << "a failed request leaves the handle untouched";
  EXPECT_TRUE(xerbla_calls().empty());
}

// The byte count is truncated to 32 bits and sign-extended (intended).
TEST_F(Workspace, ByteCountWrapsAt32Bits) {
  ruf_array h = poisoned();
  int stat = -1;
  const int n = 1 << 28; // 2^32 bytes of DI: wraps to 0 bytes
  ruf_alloc_allocate_di_1_ruf(&h, &n, &stat);
  ASSERT_EQ(stat, 0);
  EXPECT_EQ(h.dim[0].extent, n);
  ruf_alloc_deallocate_di_1_ruf(&h, nullptr);

  h = poisoned();
  const int m = 0x0c000000; // 3 GiB of DI: wraps to a negative count, refused
  ruf_alloc_allocate_di_1_ruf(&h, &m, &stat);
  EXPECT_EQ(stat, 1);
  EXPECT_EQ(h.base, reinterpret_cast<void *>(static_cast<std::intptr_t>(kPoisonWord)));

  const int r = 65536, c = 49152; // the element count itself wraps to -2^30
  ruf_alloc_allocate_i1_2_ruf(&h, &r, &c, &stat);
  EXPECT_EQ(stat, 1);
  EXPECT_EQ(h.flags, kPoisonWord);
  EXPECT_TRUE(xerbla_calls().empty());
}

TEST_F(Workspace, ExhaustedHeapGivesStatusOneAndLeavesTheHandle) {
  arm_allocation_failure(1);
  ruf_array h = poisoned();
  int stat = 0;
  const int n1 = 2, n2 = 2;
  ruf_alloc_allocate_zc_2_ruf(&h, &n1, &n2, &stat);
  EXPECT_EQ(stat, 1);
  EXPECT_EQ(h.flags, kPoisonWord);
  EXPECT_EQ(h.dim[0].extent, kPoisonWord);
  EXPECT_TRUE(xerbla_calls().empty()) << "a caller with a status hears nothing else";
  EXPECT_EQ(allocation_count(), 1);
}

TEST_F(Workspace, CountedAllocator) {
  const int live = live_allocations();
  long long cell = 8;
  int status = -1, stat = -1;
  const int n1 = 10;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, nullptr, &stat);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(stat, 0);
  ASSERT_NE(cell, 0);
  std::memset(reinterpret_cast<void *>(static_cast<std::intptr_t>(cell)), 0, 80);
  stat = -1;
  ruf_alloc_deallocate_ruf_malloc(&cell, &stat);
  EXPECT_EQ(stat, 1);

  cell = 16;
  const int n2 = 3;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, &n2, nullptr);
  EXPECT_EQ(status, 0);
  ruf_alloc_deallocate_ruf_malloc(&cell, nullptr);
  EXPECT_EQ(live_allocations(), live);
  EXPECT_TRUE(xerbla_calls().empty());

  // Failure with a status pointer: 1 in both, no report.
  arm_allocation_failure(1);
  cell = 8;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, nullptr, &stat);
  EXPECT_EQ(status, 1);
  EXPECT_EQ(stat, 1);
  EXPECT_EQ(cell, 0);
  EXPECT_TRUE(xerbla_calls().empty());

  // Without one, the failure is reported as "MALLOCA" with 1000.
  arm_allocation_failure(1);
  cell = 8;
  status = -1;
  ruf_alloc_allocate_ruf_malloc(&cell, &status, &n1, nullptr, nullptr);
  EXPECT_EQ(status, 1);
  ASSERT_EQ(xerbla_calls().size(), 1u);
  EXPECT_EQ(xerbla_calls()[0].name, "MALLOCA");
  EXPECT_EQ(xerbla_calls()[0].info, 1000);
  EXPECT_EQ(xerbla_calls()[0].name_len, 7);
}

TEST_F(Workspace, Records) {
  ASSERT_EQ(records().size(), 4u);
  for (const Record &r : records()) {
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

TEST(WorkspaceExports, EveryListedRoutineIsExported) {
  std::vector<std::string> names;
#define RUF_WS_ARRAY(code, T, size)                                                                \
  for (const char *r : {"1", "2"}) {                                                               \
    names.push_back(std::string("ruf_alloc_allocate_" #code "_") + r + "_ruf");                    \
    names.push_back(std::string("ruf_alloc_deallocate_" #code "_") + r + "_ruf");                  \
  }
#define RUF_WS_RECORD(code, size)                                                                  \
  names.push_back("ruf_alloc_allocate_" #code "_0_ruf");                                           \
  names.push_back("ruf_alloc_deallocate_" #code "_0_ruf");
#define RUF_MODULE_ROUTINE(name, ret, params) names.push_back(#name);
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE
  EXPECT_EQ(names.size(), 18u * 4 + 4u * 2 + 5u);
  for (const std::string &n : names)
    EXPECT_NE(dlsym(RTLD_DEFAULT, n.c_str()), nullptr) << n;
  ruf_alloc_arithmetic();
  ruf_alloc_interval_types();
}

// ieee_flags passes 10 as every length, whatever its caller says: strings
// longer than their caller-given length are still read as ten characters,
// and nothing past the tenth is read.
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

// The frame's argument checks: chained in declared order, the first failure
// sets info and is the one reported; options compare one character.
TEST(SolverFrame, ChecksStopAtTheFirstFailure) {
  reset_doubles();
  int info = 99;
  ruf::frame::Check c{&info};
  EXPECT_EQ(info, 0);
  c.option("n", "NnTtCc", 1).option("Lower", "UuLl", 2).order(0, 3).lead(1, 0, 4);
  EXPECT_FALSE(c.failed());
  c.option(" ", "NnTtCc", 5).order(-1, 6).option("X", "Nn", 7);
  EXPECT_TRUE(c.failed());
  EXPECT_EQ(info, -5);
  c.report("XXTESTS");
  ASSERT_EQ(xerbla_calls().size(), 1u);
  EXPECT_EQ(xerbla_calls()[0].name, "XXTESTS");
  EXPECT_EQ(xerbla_calls()[0].info, 5);
  EXPECT_EQ(xerbla_calls()[0].name_len, 7);

  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (double eps : {0.0, -1.0, nan}) {
    ruf::frame::Check p{&info};
    p.positive(eps, 9);
    EXPECT_EQ(info, -9) << eps;
  }
  ruf::frame::Check z{&info};
  z.nonnegative(0.0f, 8).lead(3, 3, 5);
  EXPECT_EQ(info, 0);
  z.nonnegative(std::numeric_limits<float>::quiet_NaN(), 8);
  EXPECT_EQ(info, -8);
}

// A work-array tag whose allocation reports a chosen status.
int g_fake_status = 0;
struct FakeCode {
  using elem = double;
  static void allocate(ruf_array *, const int *, int *stat) { *stat = g_fake_status; }
  static void allocate(ruf_array *, const int *, const int *, int *stat) { *stat = g_fake_status; }
  static void release_1(ruf_array *) {}
  static void release_2(ruf_array *) {}
};

// Statuses 0 and 2 are success; anything else is info = 1000, reported with
// info itself under the allocation name, whatever its length.
TEST(SolverFrame, AllocationAcceptsStatusZeroAndTwo) {
  reset_doubles();
  int info = 0;
  ruf::frame::Allocation get{&info, "XXALLOC"};
  ruf::ws::Matrix<FakeCode> m;
  ruf::ws::Vector<FakeCode> v;
  for (int status : {0, 2}) {
    g_fake_status = status;
    EXPECT_TRUE(get(m, 2, 2));
    EXPECT_TRUE(get(v, 2));
  }
  EXPECT_TRUE(xerbla_calls().empty());
  EXPECT_EQ(info, 0);
  for (int status : {1, 3, -1}) {
    reset_doubles();
    g_fake_status = status;
    info = 0;
    EXPECT_FALSE(get(v, 2, "XEMIP"));
    EXPECT_EQ(info, 1000);
    ASSERT_EQ(xerbla_calls().size(), 1u);
    EXPECT_EQ(xerbla_calls()[0].name, "XEMIP");
    EXPECT_EQ(xerbla_calls()[0].name_len, 5);
    EXPECT_EQ(xerbla_calls()[0].info, 1000);
  }
}

TEST(SolverFrame, IeeeRoundingDirections) {
  ruf::frame::ieee_rounding(ruf::frame::IeeeRounding::downward);
  EXPECT_EQ(std::fegetround(), FE_DOWNWARD);
  ruf::frame::ieee_rounding(ruf::frame::IeeeRounding::upward);
  EXPECT_EQ(std::fegetround(), FE_UPWARD);
  std::fesetround(FE_TOWARDZERO);
  ruf::frame::ieee_rounding(ruf::frame::IeeeRounding::to_default);
  EXPECT_EQ(std::fegetround(), FE_TONEAREST) << "the default, not the earlier direction";
}

} // namespace
