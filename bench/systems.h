// The benchmark systems shared by the solver benchmarks: A = U[-1, 1] + n·I
// and a right-hand side from U[-1, 1], every entry widened to midpoint ±
// 1e-10 (bounds rounded outward), the same for a given n in every program.
#pragma once

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <random>
#include <vector>

#include "ruf_interval.h"

namespace bench {

constexpr double kRadius = 1e-10;

inline ruf_di widened(double m) {
  const double inf = std::numeric_limits<double>::infinity();
  return {std::nextafter(m - kRadius, -inf), std::nextafter(m + kRadius, inf)};
}

struct System {
  int n = 0;
  std::vector<ruf_di> a, b, eye; // column-major n x n, n, and the n x n identity
};

inline const System &system_of(int n) {
  static std::map<int, System> cache;
  System &s = cache[n];
  if (s.n == n) return s;
  std::mt19937_64 rng(20240 + n);
  std::uniform_real_distribution<double> u(-1.0, 1.0);
  s.n = n;
  s.a.resize(std::size_t(n) * n);
  s.eye.assign(std::size_t(n) * n, ruf_di{0, 0});
  for (int j = 0; j < n; ++j) {
    for (int i = 0; i < n; ++i)
      s.a[i + std::size_t(j) * n] = widened(u(rng) + (i == j ? n : 0.0));
    s.eye[j + std::size_t(j) * n] = ruf_di{1, 1};
  }
  for (int i = 0; i < n; ++i)
    s.b.push_back(widened(u(rng)));
  return s;
}

// The largest width over an enclosure.
inline double max_width(const std::vector<ruf_di> &x) {
  double w = 0;
  for (const ruf_di &e : x)
    w = std::max(w, e.sup - e.inf);
  return w;
}

} // namespace bench
