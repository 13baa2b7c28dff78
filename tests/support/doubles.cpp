#include "support/doubles.h"

#include <dlfcn.h>

#include <cstdint>
#include <mutex>

namespace ruf_test {
namespace {
std::vector<XerblaCall> g_calls;
int g_fail_at = 0;
int g_count = 0;
int g_live = 0;
std::vector<long long> g_sizes;
std::mutex g_lock; // the doubles serve threads too
} // namespace

std::vector<XerblaCall> &xerbla_calls() {
  return g_calls;
}
void reset_xerbla() {
  g_calls.clear();
}
void arm_allocation_failure(int k) {
  g_fail_at = k;
  g_count = 0;
  g_sizes.clear();
}
int allocation_count() {
  return g_count;
}
int live_allocations() {
  return g_live;
}
const std::vector<long long> &allocation_sizes() {
  return g_sizes;
}

} // namespace ruf_test

extern "C" {

void xerbla_(const char *name, const int *info, int name_len) {
  const std::lock_guard<std::mutex> hold(ruf_test::g_lock);
  ruf_test::g_calls.push_back({std::string(name, name_len > 0 ? name_len : 0), *info, name_len});
}

void *ruf_serv_allocate(std::int64_t bytes) {
  using Fn = void *(*)(std::int64_t);
  static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "ruf_serv_allocate"));
  const std::lock_guard<std::mutex> hold(ruf_test::g_lock);
  ++ruf_test::g_count;
  ruf_test::g_sizes.push_back(bytes);
  if (ruf_test::g_fail_at > 0 && ruf_test::g_count == ruf_test::g_fail_at) return nullptr;
  void *p = real(bytes);
  if (p != nullptr) ++ruf_test::g_live;
  return p;
}

void ruf_serv_deallocate(void *address) {
  using Fn = void (*)(void *);
  static const Fn real = reinterpret_cast<Fn>(dlsym(RTLD_NEXT, "ruf_serv_deallocate"));
  const std::lock_guard<std::mutex> hold(ruf_test::g_lock);
  if (address != nullptr) --ruf_test::g_live;
  real(address);
}
}
