// The service library: configuration read once, a lock-free hot path for the
// per-call threading prologue, 64-byte aligned allocation, and the runtime's
// string comparison and rounding-direction routines.
#include "ruf_service.h"

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <strings.h>

namespace {

constexpr int kSerial = 1, kParallel = 0, kUnset = 2;

int read_configuration() {
  const char *v = std::getenv("RUF_THREADING");
  if (v == nullptr) return kUnset;
  if (std::strcmp(v, "serial") == 0) return kSerial;
  if (std::strcmp(v, "parallel") == 0) return kParallel;
  return kUnset;
}

int read_multiplication() {
  const char *v = std::getenv("RUF_MULTIPLICATION");
  return v != nullptr && std::strcmp(v, "textbook") == 0 ? RUF_MULTIPLICATION_TEXTBOOK
                                                         : RUF_MULTIPLICATION_DEFAULT;
}

// Read once, when the library is loaded (before any thread of the program can
// call in), so that the per-call queries are a plain load.
int g_configured = kUnset;
// The rule may change at any time from any thread; each product reads it once.
std::atomic<int> g_multiplication{RUF_MULTIPLICATION_DEFAULT};
[[gnu::constructor]] void load_configuration() {
  g_configured = read_configuration();
  g_multiplication.store(read_multiplication(), std::memory_order_relaxed);
}

inline int configured_mode() {
  return g_configured;
}

using SetThreads = void (*)(int);
using GetProcs = int (*)(void);

struct BlasControl {
  SetThreads set = nullptr;
  GetProcs procs = nullptr;
};

// Looked up once: the BLAS the process has loaded, if it offers a control.
const BlasControl &blas_control() {
  static const BlasControl c = [] {
    BlasControl b;
    b.set = reinterpret_cast<SetThreads>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads"));
    b.procs = reinterpret_cast<GetProcs>(dlsym(RTLD_DEFAULT, "openblas_get_num_procs"));
    return b;
  }();
  return c;
}

std::atomic<int> g_mode{-1};

// The prologue sets the mode on every call; the BLAS is touched only when the
// mode actually changes, so the steady state is one relaxed load.
void apply(int mode) {
  if (g_mode.load(std::memory_order_relaxed) == mode) return;
  g_mode.store(mode, std::memory_order_relaxed);
  const BlasControl &c = blas_control();
  if (c.set == nullptr) return;
  c.set(mode == kSerial ? 1 : (c.procs != nullptr ? c.procs() : 0));
}

bool word_is(const char *s, int len, const char *word) {
  const int n = static_cast<int>(std::strlen(word));
  if (s == nullptr || len < n || strncasecmp(s, word, n) != 0) return false;
  for (int i = n; i < len; ++i)
    if (s[i] != ' ' && s[i] != '\0') return false;
  return true;
}

constexpr unsigned kX87Field = 0x0C00, kSseField = 0x6000;

void set_direction(unsigned x87_bits, unsigned sse_bits) {
  unsigned short cw;
  asm volatile("fnstcw %0" : "=m"(cw)::"memory");
  cw = static_cast<unsigned short>((cw & ~kX87Field) | x87_bits);
  asm volatile("fldcw %0" ::"m"(cw) : "memory");
  unsigned csr;
  asm volatile("stmxcsr %0" : "=m"(csr)::"memory");
  csr = (csr & ~kSseField) | sse_bits;
  asm volatile("ldmxcsr %0" ::"m"(csr) : "memory");
}

const char *direction_name() {
  unsigned csr;
  asm volatile("stmxcsr %0" : "=m"(csr)::"memory");
  switch (csr & kSseField) {
  case 0x2000:
    return "negative";
  case 0x4000:
    return "positive";
  case 0x6000:
    return "tozero";
  default:
    return "nearest";
  }
}

} // namespace

extern "C" {

int ruf_cfg_file(int) {
  (void)configured_mode();
  return 0;
}

int get_cfg_serial(void) {
  return configured_mode();
}

void RUF_SET_SERIAL(void) {
  apply(kSerial);
}
void RUF_SET_PARALLEL(void) {
  apply(kParallel);
}
int ruf_serv_multiplication(void) {
  return g_multiplication.load(std::memory_order_relaxed);
}

int ruf_serv_set_multiplication(int rule) {
  if (rule != RUF_MULTIPLICATION_DEFAULT && rule != RUF_MULTIPLICATION_TEXTBOOK) return -1;
  return g_multiplication.exchange(rule, std::memory_order_relaxed);
}

int ruf_serv_threading_mode(void) {
  return g_mode.load(std::memory_order_relaxed);
}

void *ruf_serv_allocate(int64_t bytes) {
  if (bytes < 0) return nullptr;
  // aligned_alloc wants a multiple of the alignment.
  const auto size = (static_cast<std::size_t>(bytes) + 63) & ~std::size_t{63};
  return std::aligned_alloc(64, size == 0 ? 64 : size);
}

void ruf_serv_deallocate(void *address) {
  std::free(address);
}

int for_cpstr(const char *a, int a_len, const char *b, int b_len, int op) {
  // Fortran comparison: the shorter string is padded with blanks.
  const int n = a_len > b_len ? a_len : b_len;
  bool equal = true;
  for (int i = 0; i < n && equal; ++i) {
    const char ca = i < a_len ? a[i] : ' ';
    const char cb = i < b_len ? b[i] : ' ';
    equal = ca == cb;
  }
  return (op == 2) ? !equal : equal;
}

int ieee_flags_(const char *action, const char *mode, const char *in, char *out, int action_len,
                int mode_len, int in_len, int out_len) {
  int rc = 0;
  const bool direction = word_is(mode, mode_len, "direction");
  if (word_is(action, action_len, "set") && direction) {
    if (word_is(in, in_len, "nearest"))
      set_direction(0x0000, 0x0000);
    else if (word_is(in, in_len, "negative"))
      set_direction(0x0400, 0x2000);
    else if (word_is(in, in_len, "positive"))
      set_direction(0x0800, 0x4000);
    else if (word_is(in, in_len, "tozero"))
      set_direction(0x0C00, 0x6000);
    else
      rc = 1;
  } else if (word_is(action, action_len, "clear") &&
             (direction || word_is(mode, mode_len, "all"))) {
    set_direction(0x0000, 0x0000);
  } else if (!(word_is(action, action_len, "get") && direction)) {
    rc = 1;
  }
  if (out != nullptr && out_len > 0) {
    const char *name = direction_name();
    const int n = static_cast<int>(std::strlen(name));
    for (int i = 0; i < out_len; ++i)
      out[i] = i < n ? name[i] : ' ';
  }
  return rc;
}

} // extern "C"
