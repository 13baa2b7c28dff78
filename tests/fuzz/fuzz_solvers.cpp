// Every solver on arbitrary argument vectors: orders, leading dimensions,
// counts, option letters, tolerances, iteration limits and data with NaN,
// infinite and reversed bounds. The arrays are sized from the arguments, so
// a valid call stays in bounds (AddressSanitizer watches); a rejected one
// must return a negative info and touch nothing; an accepted one must return
// an info the routine documents. Left out: GESZI, which iterates without a
// limit by design; GEKWS gets tolerances that end its loop quickly.
#include <dlfcn.h>
#include <fuzzer/FuzzedDataProvider.h>

#include <cfenv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <algorithm>
#include <cstring>
#include <iterator>
#include <initializer_list>
#include <limits>
#include <unordered_set>
#include <vector>

#include "ruf_interval.h"
#include "support/solvers.h"

// Reports go nowhere: the harness reads info.
extern "C" void xerbla_(const char *, const int *, int) {}

// The workspace blocks alive, so that what a routine keeps on purpose (some
// returns do not release their workspace) is released after each call
// instead of piling up over millions of runs.
namespace {
std::unordered_set<void *> g_blocks;
template <class F> F service(const char *name) {
  return reinterpret_cast<F>(dlsym(RTLD_NEXT, name));
}
} // namespace
extern "C" void *ruf_serv_allocate(std::int64_t bytes) {
  static const auto real = service<void *(*)(std::int64_t)>("ruf_serv_allocate");
  void *p = real(bytes);
  if (p != nullptr) g_blocks.insert(p);
  return p;
}
extern "C" void ruf_serv_deallocate(void *address) {
  static const auto real = service<void (*)(void *)>("ruf_serv_deallocate");
  g_blocks.erase(address);
  real(address);
}

namespace {

// The call being checked, for the report of a failure.
int g_routine = -1, g_info = 0;
const char *g_kind = "";

void check(bool ok, const char *what) {
  if (ok) return;
  std::fprintf(stderr, "%s solver %d: %s (info %d)\n", g_kind, g_routine, what, g_info);
  std::abort();
}

// Elements from the input: ordinary, huge, tiny, infinite, NaN, reversed.
template <class E> E element(FuzzedDataProvider &in) {
  const auto real = [&]() -> double {
    switch (in.ConsumeIntegralInRange(0, 7)) {
    case 0:
      return std::numeric_limits<double>::quiet_NaN();
    case 1:
      return in.ConsumeBool() ? HUGE_VAL : -HUGE_VAL;
    case 2:
      return in.ConsumeFloatingPoint<double>();
    case 3:
      return 0.0;
    default:
      return in.ConsumeFloatingPointInRange<double>(-4, 4);
    }
  };
  if constexpr (std::is_same_v<E, ruf_di>) {
    const double a = real(), b = in.ConsumeBool() ? a + std::fabs(real()) : real();
    return {a, b};
  } else if constexpr (std::is_same_v<E, ruf_si>) {
    return {static_cast<float>(real()), static_cast<float>(real())};
  } else if constexpr (std::is_same_v<E, ruf_zr>) {
    return {element<ruf_di>(in), element<ruf_di>(in)};
  } else {
    return {real(), real(), std::fabs(real())};
  }
}

template <class E> std::vector<E> array(FuzzedDataProvider &in, long count) {
  std::vector<E> v(count < 1 ? 1 : static_cast<std::size_t>(count));
  for (E &e : v)
    e = element<E>(in);
  return v;
}

// One solver routine: its method, the infos it documents and, when it
// passes a LAPACK status on as its info, the negative values its own argument
// checks give (the others are LAPACK's).
struct Solver {
  const char *method;
  bool (*documented)(int);
  std::vector<int> rejects = {};
  // Moderate data only: the regularity tests hand matrices formed from
  // their data to LAPACK's eigenvalue and singular value drivers, whose
  // balancing loops forever on an infinite or NaN entry in some LAPACK
  // builds (Debian 12's among them); huge data overflow into such entries.
  bool finite_data = false;
};

bool zero(int i) {
  return i == 0;
}
bool zero_one(int i) {
  return i == 0 || i == 1;
}
bool up_to_two(int i) {
  return i >= 0 && i <= 2;
}
bool a_pivot(int i) {
  return i >= 0 && i <= 64;
}
// The regularity tests write LAPACK's status into info (NaN data can make it
// negative).
bool lapack_status(int i) {
  return i >= -20 && i <= 64;
}

// Every member has these; the real members the rest.
const std::vector<Solver> kCommon = {{"TRTRS", zero},    {"TRTRI", zero},      {"GEGAS", zero_one},
                                     {"GEGSS", zero},    {"GEKWS", up_to_two}, {"GEMIP", a_pivot},
                                     {"GEVSV", zero_one}};
std::vector<Solver> real_solvers() {
  std::vector<Solver> s = kCommon;
  s.insert(s.end(), {{"GEHSS", zero_one},
                     {"GEHBS", up_to_two},
                     {"GERBR", lapack_status, {-1, -3}, true},
                     {"GESVR", lapack_status, {-1, -3}, true},
                     {"GEPPS", up_to_two},
                     {"GEPSS", up_to_two}});
  return s;
}

// GEKWS iterates until its change falls below eps·q/(1 - q), with no limit
// by design: with q close to 1 that can take longer than any fuzzing run,
// whatever eps. The fuzzer gives it tolerances that end the loop within a
// few repetitions (its argument checks still see every value).
double krawczyk_eps(double eps) {
  return eps >= 0 && eps < 1e290 ? 1e300 : eps;
}

template <class E> void fuzz(FuzzedDataProvider &in, const std::vector<Solver> &list) {
  const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, list.size() - 1);
  const Solver &s = list[pick];
  g_routine = static_cast<int>(pick);
  ruf_test::Call<E> c;
  c.n = in.ConsumeIntegralInRange(-2, 6);
  c.nrhs = in.ConsumeIntegralInRange(-2, 4);
  c.lda = c.n + in.ConsumeIntegralInRange(-2, 2);
  c.ldx = c.ldb = c.n + in.ConsumeIntegralInRange(-2, 2);
  c.k = in.ConsumeIntegralInRange(-1, 7);
  c.maxit = in.ConsumeIntegralInRange(-1, 40);
  static const char *const letters[] = {"N", "n", "T", "t", "C", "c", "U",
                                        "u", "L", "l", "X", "x", " ", "0"};
  for (const char **o : {&c.uplo, &c.trans, &c.diag, &c.ul})
    *o = letters[in.ConsumeIntegralInRange<std::size_t>(0, std::size(letters) - 1)];
  const double eps_values[] = {1e-10, 0, -1, NAN, INFINITY, 1e-300, 0.5};
  c.eps = eps_values[in.ConsumeIntegralInRange(0, 6)];
  if (std::strcmp(s.method, "GEKWS") == 0) c.eps = krawczyk_eps(c.eps);
  // Sized from the arguments: a valid call reads at most lda·(n - 1) + n
  // elements of A and ldb·(nrhs - 1) + n of B.
  const long cols = std::max(c.n, c.nrhs) > 0 ? std::max(c.n, c.nrhs) : 1;
  std::vector<E> a = array<E>(in, long(std::max(c.lda, 1)) * std::max(c.n, 1));
  std::vector<E> b = array<E>(in, long(std::max(c.ldb, 1)) * cols);
  std::vector<E> x = array<E>(in, long(std::max(c.ldb, 1)) * cols);
  std::vector<E> r = array<E>(in, 2);
  std::vector<typename ruf_test::Call<E>::Point> approximation(x.size());
  if constexpr (std::is_same_v<E, ruf_di>)
    if (s.finite_data)
      for (E &e : a)
        if (!(std::fabs(e.inf) <= 1e6) || !(std::fabs(e.sup) <= 1e6)) e = {0, 0};
  const std::vector<E> a0 = a, b0 = b, x0 = x, r0 = r;
  c.a = a.data(), c.b = b.data(), c.x0 = x.data(), c.x = approximation.data();
  c.lo = &r[0], c.hi = &r[1];
  if constexpr (std::is_same_v<E, ruf_di>) c.r = &r[0].inf;
  const int info = ruf_test::invoke(s.method, c);
  while (!g_blocks.empty())
    ruf_serv_deallocate(*g_blocks.begin());
  g_info = info;
  bool rejected = info < 0;
  if (!s.rejects.empty())
    rejected = std::find(s.rejects.begin(), s.rejects.end(), info) != s.rejects.end();
  if (rejected) {
    check(std::memcmp(a.data(), a0.data(), a.size() * sizeof(E)) == 0, "A written");
    check(std::memcmp(b.data(), b0.data(), b.size() * sizeof(E)) == 0, "B written");
    check(std::memcmp(r.data(), r0.data(), r.size() * sizeof(E)) == 0, "an output written");
  } else {
    check(s.documented(info), "an info it does not document");
    check(info != RUF_INFO_NO_WORKSPACE, "no workspace");
  }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const auto real = real_solvers();
  // Each input starts as a fresh caller would: DIGEHBS leaves its own
  // direction behind on some returns (documented), and an iteration without
  // a limit (GEKWS with a tiny eps) may not settle under directed rounding.
  std::fesetround(FE_TONEAREST);
  FuzzedDataProvider in(data, size);
  switch (in.ConsumeIntegralInRange(0, 2)) {
  case 0:
    g_kind = "DI";
    fuzz<ruf_di>(in, real);
    break;
  case 1:
    g_kind = "ZR";
    fuzz<ruf_zr>(in, kCommon);
    break;
  default:
    g_kind = "ZC";
    fuzz<ruf_zc>(in, kCommon);
    break;
  }
  return 0;
}
