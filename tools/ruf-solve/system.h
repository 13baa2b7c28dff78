// The interval linear system A·X = B that ruf-solve works on, as read from a
// file: both matrices column-major, the layout the solvers take.
#pragma once

#include <cstddef>
#include <vector>

#include "ruf_interval.h"

namespace ruf_solve {

struct System {
  int n = 0;             // order of A
  int nrhs = 0;          // columns of B
  std::vector<ruf_di> a; // n×n, column-major
  std::vector<ruf_di> b; // n×nrhs, column-major

  // 0-based row i, column j.
  const ruf_di &A(int i, int j) const { return a[index(i, j)]; }
  const ruf_di &B(int i, int j) const { return b[index(i, j)]; }

  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(n) + static_cast<std::size_t>(i);
  }
};

} // namespace ruf_solve
