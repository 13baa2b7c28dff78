// Exact oracles for directed rounding (MPFR at the target precision, with
// the target's exponent range and subnormals) and random operand samplers
// that favour the awkward values: signed zeros, subnormals, huge and tiny
// magnitudes, infinities and NaNs.
#pragma once

#include <cstdint>
#include <cstring>
#include <random>
#include <string>

namespace ruf_test {

enum class Op { add, sub, mul, div, sqrt };

// op(a, b) rounded to T toward +infinity (up) or -infinity (down), exactly as
// IEEE 754 with subnormals would; for Op::sqrt, b is ignored.
template <class T> T up(Op op, T a, T b = T(0));
template <class T> T down(Op op, T a, T b = T(0));
// Lower bound as the library forms it: down() with a zero made +0.
template <class T> T lower(Op op, T a, T b = T(0)) {
  const T v = down(op, a, b);
  return v == T(0) ? T(0) : v;
}
// op(a, b) rounded to nearest.
template <class T> T nearest(Op op, T a, T b = T(0));

// Bit-identical, or both NaN.
template <class T> bool same(T a, T b) {
  if (a != a && b != b) return true;
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

template <class T> std::string hex(T v);

// Seed for the randomised tests: RUF_TEST_SEED or a fixed default; the
// number of cases is scaled by RUF_TEST_SCALE (default 1).
std::uint64_t test_seed();
int scaled(int n);

template <class T> class Sampler {
public:
  explicit Sampler(std::uint64_t seed) : rng_(seed) {}
  // A number from a mix of special and ordinary values.
  T point();
  // A finite, ordinary-sized number (no specials).
  T ordinary();
  // An interval: usually ordered, sometimes degenerate, reversed or with
  // special bounds.
  void interval(T &lo, T &hi);
  std::mt19937_64 &rng() { return rng_; }

private:
  std::mt19937_64 rng_;
};

} // namespace ruf_test
