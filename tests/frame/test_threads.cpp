// Four threads at once, each in its own caller rounding direction with its
// own flags raised: a mix of elementary operations and solvers, every result
// bit for bit what a single thread gets in the same direction, and after
// every call the thread's direction and earlier flags as they were. The
// library keeps no state between calls but the documented statics (the
// complex Krawczyk starting element, the hull routines' diagnostics), which
// the mix leaves to one thread each.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "ruf_interval.h"
#include "support/oracle.h"

namespace {

namespace mx = ruf_test::mxcsr;

// One round of calls; every result's bytes appended to out. `thread` picks
// which of the calls with a shared static it makes.
void round_of_calls(int thread, int k, std::vector<unsigned char> &out) {
  const auto keep = [&out](const auto &v) {
    const auto *p = reinterpret_cast<const unsigned char *>(&v);
    out.insert(out.end(), p, p + sizeof v);
  };
  const double s = 1 + k * 0x1p-10;
  const ruf_di x{-1 * s, 2 * s}, y{-3, 4 + s}, z{0.1, 0.3};
  ruf_di r;
  DI_DI_MULT(&r, &x, &y);
  keep(r);
  DI_DI_DIVI(&r, &z, &y);
  keep(r);
  keep(D_MID(&x));
  const ruf_zc p{0.3 * s, -0.7, 0.1}, q{1.5, 0.2, 0.05};
  ruf_zc pq;
  ZC_ZC_DIVI(&pq, &p, &q); // its centre follows the caller's direction
  keep(pq);
  const ruf_zr u{{0.1, 0.3 * s}, {-0.2, 0.7}}, v{{1, 2}, {0.5, 0.6}};
  ruf_zr uv;
  ZR_ZR_MULT(&uv, &u, &v);
  keep(uv);

  // A 3x3 real system by two solvers, a complex one by elimination.
  int n = 3, nrhs = 1, info = 0;
  ruf_di a[9], b[3];
  for (int i = 0; i < 9; ++i)
    a[i] = i % 4 == 0 ? ruf_di{6, 6 + s * 0x1p-8} : ruf_di{-1, 1.0 / (i + 1)};
  for (int i = 0; i < 3; ++i)
    b[i] = {s, s + 0.5};
  ruf_di bg[3];
  std::memcpy(bg, b, sizeof b);
  DIGEGAS("N", &n, &nrhs, a, &n, bg, &n, &info, 1);
  keep(info);
  keep(bg);
  const double eps = 1e-12;
  ruf_di bk[3];
  std::memcpy(bk, b, sizeof b);
  DIGEKWS("N", &n, &nrhs, a, &n, bk, &n, &eps, &info, 1);
  keep(info);
  keep(bk);
  ruf_zc ac[4] = {{4, 1, 0.1}, {0.5, 0, 0.01}, {1, -1, 0.01}, {5, 0.5, 0.1}},
         bc[2] = {{1, 0, 0}, {s, 1, 0}};
  n = 2;
  ZCGEGAS("N", &n, &nrhs, ac, &n, bc, &n, &info, 1);
  keep(info);
  keep(bc);
  // The calls with a shared static: one thread each.
  if (thread == 0) {
    ruf_zr ar[4] = {
        {{4, 4.1}, {1, 1}}, {{0.5, 0.5}, {0, 0}}, {{1, 1}, {-1, -1}}, {{5, 5}, {0.5, 0.5}}};
    ruf_zr br[2] = {{{1, 1}, {0, 0}}, {{s, s}, {1, 1}}};
    ZRGEKWS("N", &n, &nrhs, ar, &n, br, &n, &eps, &info, 1);
    keep(info);
    keep(br);
  } else if (thread == 1) {
    int k1 = 1, maxit = 100;
    ruf_di bound;
    n = 3;
    DIGEPPS("N", &n, a, &n, b, &k1, &eps, "U", &maxit, &bound, &info, 1, 1);
    keep(info);
    keep(bound);
  }
}

constexpr std::uint32_t kModes[4] = {mx::kNearest, mx::kDown, mx::kUp, mx::kTowardZero};
// Flags each thread raises before its calls: different ones per thread.
constexpr std::uint32_t kRaised[4] = {0x01, 0x02, 0x10, 0x04};
constexpr int kRounds = 60;

// All rounds of one thread, in its direction with its flags raised; counts
// the calls after which its direction or its earlier flags had changed.
std::vector<unsigned char> run_thread(int t, int &disturbed) {
  std::vector<unsigned char> out;
  const std::uint32_t saved = mx::read();
  mx::write(((saved & ~mx::kField & ~mx::kFlags) | kModes[t]) | kRaised[t]);
  const auto changed = [t] {
    const std::uint32_t now = mx::read();
    return (now & mx::kField) != kModes[t] || (now & kRaised[t]) != kRaised[t];
  };
  for (int k = 0; k < kRounds; ++k) {
    round_of_calls(t, k, out);
    disturbed += changed();
    // A burst of the shortest calls: the other threads switch directions
    // all through it, so a direction saved anywhere but per call shows.
    const ruf_di x{1, 1 + k * 0x1p-20}, y{0.1, 0.3};
    ruf_di r;
    for (int i = 0; i < 2000; ++i) {
      DI_DI_ADDI(&r, &x, &y);
      disturbed += changed();
    }
  }
  mx::write(saved);
  return out;
}

TEST(Threads, FourThreadsGetWhatOneThreadGets) {
  std::vector<unsigned char> alone[4];
  int disturbed_alone = 0;
  for (int t = 0; t < 4; ++t)
    alone[t] = run_thread(t, disturbed_alone);
  EXPECT_EQ(disturbed_alone, 0);

  std::vector<unsigned char> together[4];
  int disturbed[4] = {};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] { together[t] = run_thread(t, disturbed[t]); });
  for (std::thread &th : threads)
    th.join();
  for (int t = 0; t < 4; ++t) {
    SCOPED_TRACE("thread " + std::to_string(t) + ", " + mx::name(kModes[t]));
    EXPECT_EQ(disturbed[t], 0) << "calls after which the thread's own state had changed";
    EXPECT_TRUE(together[t] == alone[t]) << "results differ from a single thread's";
  }
}

} // namespace
