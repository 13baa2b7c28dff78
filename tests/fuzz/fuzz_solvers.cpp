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
#include <functional>
#include <initializer_list>
#include <limits>
#include <unordered_set>
#include <vector>

#include "ruf_interval.h"

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

struct Args {
  int n, nrhs, lda, ldb, k, maxit;
  char opt[3][2];
  double eps;
};

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

// One solver call: the documented infos, the call itself, and, when the
// routine passes a LAPACK status on as its info, the negative values its own
// argument checks give (the others are LAPACK's).
template <class E> struct Solver {
  std::function<bool(int)> documented;
  std::function<int(const Args &, std::vector<E> &, std::vector<E> &, std::vector<E> &,
                    std::vector<E> &)>
      call;
  std::vector<int> rejects = {};
  // Moderate data only: the regularity tests hand matrices formed from
  // their data to LAPACK's eigenvalue and singular value drivers, whose
  // balancing loops forever on an infinite or NaN entry in some LAPACK
  // builds (Debian 12's among them); huge data overflow into such entries.
  bool finite_data = false;
};

bool any_of(int info, std::initializer_list<int> ok) {
  for (const int v : ok)
    if (info == v) return true;
  return false;
}

#define RUF_COMMON_SOLVERS(P, p)                                                                   \
  {[](int i) { return i == 0; },                                                                   \
   [](const Args &c, auto &a, auto &b, auto &, auto &) {                                           \
     int info;                                                                                     \
     p##trtrs(c.opt[0], c.opt[1], c.opt[2], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb,     \
              &info, 1, 1, 1);                                                                     \
     return info;                                                                                  \
   }},                                                                                             \
      {[](int i) { return i == 0; },                                                               \
       [](const Args &c, auto &a, auto &, auto &, auto &) {                                        \
         int info;                                                                                 \
         p##trtri(c.opt[0], c.opt[1], &c.n, a.data(), &c.lda, &info, 1, 1);                        \
         return info;                                                                              \
       }},                                                                                         \
      {[](int i) {                                                                                 \
         return any_of(i, {0, 1});                                                                 \
       },                                                                                          \
       [](const Args &c, auto &a, auto &b, auto &, auto &) {                                       \
         int info;                                                                                 \
         p##gegas(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info, 1);          \
         return info;                                                                              \
       }},                                                                                         \
      {[](int i) { return i == 0; },                                                               \
       [](const Args &c, auto &a, auto &b, auto &x, auto &) {                                      \
         int info, maxit = c.maxit;                                                                \
         const double eps = c.eps;                                                                 \
         p##gegss(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, x.data(), &eps,     \
                  &maxit, &info, 1);                                                               \
         return info;                                                                              \
       }},                                                                                         \
      {[](int i) {                                                                                 \
         return any_of(i, {0, 1, 2});                                                              \
       },                                                                                          \
       [](const Args &c, auto &a, auto &b, auto &, auto &) {                                       \
         int info;                                                                                 \
         const double eps = krawczyk_eps(c.eps);                                                   \
         p##gekws(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &eps, &info, 1);    \
         return info;                                                                              \
       }},                                                                                         \
      {[](int i) { return i >= 0 && i <= 64; },                                                    \
       [](const Args &c, auto &a, auto &b, auto &, auto &) {                                       \
         int info;                                                                                 \
         p##gemip(&c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info);                       \
         return info;                                                                              \
       }},                                                                                         \
  {                                                                                                \
    [](int i) {                                                                                    \
      return any_of(i, {0, 1});                                                                    \
    },                                                                                             \
        [](const Args &c, auto &a, auto &b, auto &, auto &) {                                      \
          int info;                                                                                \
          std::vector<ruf_z> x(static_cast<std::size_t>(std::max(c.ldb, 1)) *                      \
                               std::max(c.nrhs, 1));                                               \
          p##gevsv(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, x.data(), &c.ldb,  \
                   &info, 1);                                                                      \
          return info;                                                                             \
        }                                                                                          \
  }

// GEKWS iterates until its change falls below eps·q/(1 - q), with no limit
// by design: with q close to 1 that can take longer than any fuzzing run,
// whatever eps. The fuzzer gives it tolerances that end the loop within a
// few repetitions (its argument checks still see every value).
double krawczyk_eps(double eps) {
  return eps >= 0 && eps < 1e290 ? 1e300 : eps;
}

// The double complex members (their tolerances are doubles).
std::vector<Solver<ruf_zc>> complex_solvers() {
  return {RUF_COMMON_SOLVERS(ZC, zc)};
}
std::vector<Solver<ruf_zr>> rect_solvers() {
  return {RUF_COMMON_SOLVERS(ZR, zr)};
}

std::vector<Solver<ruf_di>> real_solvers() {
  using V = std::vector<ruf_di>;
  std::vector<Solver<ruf_di>> s = {
      {[](int i) { return i == 0; },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         ditrtrs(c.opt[0], c.opt[1], c.opt[2], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb,
                 &info, 1, 1, 1);
         return info;
       }},
      {[](int i) { return i == 0; },
       [](const Args &c, V &a, V &, V &, V &) {
         int info;
         ditrtri(c.opt[0], c.opt[1], &c.n, a.data(), &c.lda, &info, 1, 1);
         return info;
       }},
      {[](int i) {
         return any_of(i, {0, 1});
       },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         digegas(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info, 1);
         return info;
       }},
      {[](int i) { return i == 0; },
       [](const Args &c, V &a, V &b, V &x, V &) {
         int info, maxit = c.maxit;
         digegss(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, x.data(), &c.eps,
                 &maxit, &info, 1);
         return info;
       }},
      {[](int i) {
         return any_of(i, {0, 1, 2});
       },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         const double eps = krawczyk_eps(c.eps);
         digekws(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &eps, &info, 1);
         return info;
       }},
      {[](int i) { return i >= 0 && i <= 64; },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         digemip(&c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info);
         return info;
       }},
      {[](int i) {
         return any_of(i, {0, 1});
       },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         digehss(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, &info, 1);
         return info;
       }},
      {[](int i) {
         return any_of(i, {0, 1, 2});
       },
       [](const Args &c, V &a, V &b, V &, V &) {
         int info;
         digehbs(c.opt[0], &c.n, a.data(), &c.lda, b.data(), &c.ldb, &info, 1);
         return info;
       }},
      // The regularity tests write LAPACK's status into info (NaN data can
      // make it negative).
      {[](int i) { return i >= -20 && i <= 64; },
       [](const Args &c, V &a, V &, V &, V &r) {
         int info, flag;
         digerbr(&c.n, a.data(), &c.lda, &r[0].inf, &flag, &info);
         return info;
       },
       {-1, -3},
       true},
      {[](int i) { return i >= -20 && i <= 64; },
       [](const Args &c, V &a, V &, V &, V &r) {
         int info, flag;
         digesvr(&c.n, a.data(), &c.lda, &r[0], &r[1], &flag, &info);
         return info;
       },
       {-1, -3},
       true},
  };
  s.push_back({[](int i) {
                 return any_of(i, {0, 1});
               },
               [](const Args &c, V &a, V &b, V &, V &) {
                 int info;
                 std::vector<double> x(static_cast<std::size_t>(std::max(c.ldb, 1)) *
                                       std::max(c.nrhs, 1));
                 digevsv(c.opt[0], &c.n, &c.nrhs, a.data(), &c.lda, b.data(), &c.ldb, x.data(),
                         &c.ldb, &info, 1);
                 return info;
               }});
  for (const auto hull : {digepps, digepss})
    s.push_back({[](int i) {
                   return any_of(i, {0, 1, 2});
                 },
                 [hull](const Args &c, V &a, V &b, V &, V &r) {
                   int info, maxit = c.maxit;
                   hull(c.opt[0], &c.n, a.data(), &c.lda, b.data(), &c.k, &c.eps, c.opt[1], &maxit,
                        &r[0], &info, 1, 1);
                   return info;
                 }});
  return s;
}

template <class E> void fuzz(FuzzedDataProvider &in, const std::vector<Solver<E>> &list) {
  const std::size_t pick = in.ConsumeIntegralInRange<std::size_t>(0, list.size() - 1);
  const Solver<E> &s = list[pick];
  g_routine = static_cast<int>(pick);
  Args c;
  c.n = in.ConsumeIntegralInRange(-2, 6);
  c.nrhs = in.ConsumeIntegralInRange(-2, 4);
  c.lda = c.n + in.ConsumeIntegralInRange(-2, 2);
  c.ldb = c.n + in.ConsumeIntegralInRange(-2, 2);
  c.k = in.ConsumeIntegralInRange(-1, 7);
  c.maxit = in.ConsumeIntegralInRange(-1, 40);
  for (auto &o : c.opt) {
    static const char letters[] = "NnTtCcUuLlXx 0";
    o[0] = letters[in.ConsumeIntegralInRange<std::size_t>(0, sizeof letters - 2)];
    o[1] = '\0';
  }
  const double eps_values[] = {1e-10, 0, -1, NAN, INFINITY, 1e-300, 0.5};
  c.eps = eps_values[in.ConsumeIntegralInRange(0, 6)];
  // Sized from the arguments: a valid call reads at most lda·(n - 1) + n
  // elements of A and ldb·(nrhs - 1) + n of B.
  const long cols = std::max(c.n, c.nrhs) > 0 ? std::max(c.n, c.nrhs) : 1;
  std::vector<E> a = array<E>(in, long(std::max(c.lda, 1)) * std::max(c.n, 1));
  std::vector<E> b = array<E>(in, long(std::max(c.ldb, 1)) * cols);
  std::vector<E> x = array<E>(in, long(std::max(c.ldb, 1)) * cols);
  std::vector<E> r = array<E>(in, 2);
  if constexpr (std::is_same_v<E, ruf_di>)
    if (s.finite_data)
      for (E &e : a)
        if (!(std::fabs(e.inf) <= 1e6) || !(std::fabs(e.sup) <= 1e6)) e = {0, 0};
  const std::vector<E> a0 = a, b0 = b, x0 = x, r0 = r;
  const int info = s.call(c, a, b, x, r);
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
  static const auto rect = rect_solvers();
  static const auto disc = complex_solvers();
  // Each input starts as a fresh caller would: DIGEHBS leaves its own
  // direction behind on some returns (documented), and an iteration without
  // a limit (GEKWS with a tiny eps) may not settle under directed rounding.
  std::fesetround(FE_TONEAREST);
  FuzzedDataProvider in(data, size);
  switch (in.ConsumeIntegralInRange(0, 2)) {
  case 0:
    g_kind = "DI";
    fuzz(in, real);
    break;
  case 1:
    g_kind = "ZR";
    fuzz(in, rect);
    break;
  default:
    g_kind = "ZC";
    fuzz(in, disc);
    break;
  }
  return 0;
}
