#include "support/oracle.h"

#include <mpfr.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace ruf_test {
namespace {

template <class T> struct Format;
template <> struct Format<float> {
  static constexpr int prec = 24, emin = -148, emax = 128;
  static void set(mpfr_t m, float v) { mpfr_set_flt(m, v, MPFR_RNDN); }
  static float get(mpfr_t m, mpfr_rnd_t r) { return mpfr_get_flt(m, r); }
};
template <> struct Format<double> {
  static constexpr int prec = 53, emin = -1073, emax = 1024;
  static void set(mpfr_t m, double v) { mpfr_set_d(m, v, MPFR_RNDN); }
  static double get(mpfr_t m, mpfr_rnd_t r) { return mpfr_get_d(m, r); }
};

template <class T> T rounded(Op op, T a, T b, mpfr_rnd_t rnd) {
  using F = Format<T>;
  const mpfr_exp_t old_min = mpfr_get_emin(), old_max = mpfr_get_emax();
  mpfr_t x, y, r;
  mpfr_inits2(F::prec, x, y, r, static_cast<mpfr_ptr>(nullptr));
  F::set(x, a);
  F::set(y, b);
  mpfr_set_emin(F::emin);
  mpfr_set_emax(F::emax);
  int t = 0;
  switch (op) {
  case Op::add:
    t = mpfr_add(r, x, y, rnd);
    break;
  case Op::sub:
    t = mpfr_sub(r, x, y, rnd);
    break;
  case Op::mul:
    t = mpfr_mul(r, x, y, rnd);
    break;
  case Op::div:
    t = mpfr_div(r, x, y, rnd);
    break;
  case Op::sqrt:
    t = mpfr_sqrt(r, x, rnd);
    break;
  }
  t = mpfr_check_range(r, t, rnd);
  mpfr_subnormalize(r, t, rnd);
  const T v = F::get(r, rnd);
  mpfr_set_emin(old_min);
  mpfr_set_emax(old_max);
  mpfr_clears(x, y, r, static_cast<mpfr_ptr>(nullptr));
  return v;
}

} // namespace

template <class T> T up(Op op, T a, T b) {
  return rounded(op, a, b, MPFR_RNDU);
}
template <class T> T down(Op op, T a, T b) {
  return rounded(op, a, b, MPFR_RNDD);
}
template <class T> T nearest(Op op, T a, T b) {
  return rounded(op, a, b, MPFR_RNDN);
}
template float up(Op, float, float);
template double up(Op, double, double);
template float down(Op, float, float);
template double down(Op, double, double);
template float nearest(Op, float, float);
template double nearest(Op, double, double);

template <class T> std::string hex(T v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, "%a", static_cast<double>(v));
  return buf;
}
template std::string hex(float);
template std::string hex(double);

std::uint64_t test_seed() {
  static const std::uint64_t seed = [] {
    const char *s = std::getenv("RUF_TEST_SEED");
    const std::uint64_t v = s ? std::strtoull(s, nullptr, 0) : 20261122u;
    std::fprintf(stderr, "[ruf] random seed %llu (set RUF_TEST_SEED to repeat)\n",
                 static_cast<unsigned long long>(v));
    return v;
  }();
  return seed;
}

int scaled(int n) {
  const char *s = std::getenv("RUF_TEST_SCALE");
  const double k = s ? std::atof(s) : 1.0;
  return k > 0 ? static_cast<int>(n * k) : n;
}

template <class T> T Sampler<T>::ordinary() {
  std::uniform_real_distribution<double> mant(1.0, 2.0);
  std::uniform_int_distribution<int> ex(-30, 30);
  std::bernoulli_distribution neg(0.5);
  const T v = static_cast<T>(std::ldexp(mant(rng_), ex(rng_)));
  return neg(rng_) ? -v : v;
}

template <class T> T Sampler<T>::point() {
  using L = std::numeric_limits<T>;
  std::uniform_int_distribution<int> pick(0, 15);
  std::bernoulli_distribution neg(0.5);
  T v;
  switch (pick(rng_)) {
  case 0:
    v = T(0);
    break;
  case 1: // subnormal
    v = L::denorm_min() * static_cast<T>(1 + rng_() % 1000);
    break;
  case 2: // tiny normal
    v = L::min() * static_cast<T>(1.0 + (rng_() % 1000) / 1000.0);
    break;
  case 3: // huge
    v = L::max() / static_cast<T>(1 + rng_() % 8);
    break;
  case 4:
    v = L::infinity();
    break;
  case 5:
    v = (rng_() % 4 == 0) ? L::quiet_NaN() : ordinary();
    break;
  case 6: { // any bit pattern
    if constexpr (sizeof(T) == 4) {
      const std::uint32_t bits = static_cast<std::uint32_t>(rng_());
      std::memcpy(&v, &bits, 4);
    } else {
      const std::uint64_t bits = rng_();
      std::memcpy(&v, &bits, 8);
    }
    return v;
  }
  case 7: // near 1
    v = T(1) + static_cast<T>(std::ldexp(double(rng_() % 64), -50));
    break;
  default:
    v = ordinary();
    break;
  }
  return neg(rng_) ? -v : v;
}

template <class T> void Sampler<T>::interval(T &lo, T &hi) {
  std::uniform_int_distribution<int> pick(0, 9);
  const int k = pick(rng_);
  if (k == 0) {
    lo = hi = point();
    return;
  }
  T a = k < 4 ? point() : ordinary();
  T b = k < 4 ? point() : ordinary();
  if (k == 9) { // reversed bounds stay reversed
    lo = a > b ? a : b;
    hi = a > b ? b : a;
    return;
  }
  lo = a < b ? a : b;
  hi = a < b ? b : a;
  if (a != a || b != b) {
    lo = a;
    hi = b;
  }
}

template class Sampler<float>;
template class Sampler<double>;

namespace mxcsr {
namespace {
// Indexed by the rounding field: nearest, down, up, toward zero.
constexpr mpfr_rnd_t kDirection[] = {MPFR_RNDN, MPFR_RNDD, MPFR_RNDU, MPFR_RNDZ};
mpfr_rnd_t direction(std::uint32_t mode) {
  return kDirection[(mode & kField) >> 13];
}
} // namespace

std::string name(std::uint32_t mode) {
  static const char *const names[] = {"Nearest", "Down", "Up", "TowardZero"};
  return names[(mode & kField) >> 13];
}

template <class T> T rounded(std::uint32_t mode, Op op, T a, T b) {
  return ruf_test::rounded(op, a, b, direction(mode));
}
template float rounded(std::uint32_t, Op, float, float);
template double rounded(std::uint32_t, Op, double, double);

template <class T> T narrow(std::uint32_t mode, long double v) {
  mpfr_t m;
  mpfr_init2(m, 64);
  mpfr_set_ld(m, v, MPFR_RNDN); // exact: every source fits in 64 bits
  const T r = Format<T>::get(m, direction(mode));
  mpfr_clear(m);
  return r;
}
template float narrow(std::uint32_t, long double);
template double narrow(std::uint32_t, long double);
} // namespace mxcsr

} // namespace ruf_test
