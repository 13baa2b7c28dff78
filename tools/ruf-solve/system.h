// The linear system A·X = B that ruf-solve works on, as read: real
// intervals, complex rectangles or complex discs, in double precision, both
// matrices column-major, the layout the solvers take.
#pragma once

#include <cstddef>
#include <variant>
#include <vector>

#include "ruf_interval.h"

namespace ruf_solve {

// The kinds of element a system can hold, in the order of System::data.
enum class Element { real, rect, disc };

template <class E> struct Data {
  std::vector<E> a; // n×n
  std::vector<E> b; // n×nrhs
};

struct System {
  int n = 0;    // order of A
  int nrhs = 0; // columns of B
  std::variant<Data<ruf_di>, Data<ruf_zr>, Data<ruf_zc>> data;

  Element element() const { return static_cast<Element>(data.index()); }
  template <class E> const Data<E> &as() const { return std::get<Data<E>>(data); }

  // The position of 0-based row i, column j.
  std::size_t index(int i, int j) const {
    return static_cast<std::size_t>(j) * static_cast<std::size_t>(n) + static_cast<std::size_t>(i);
  }
};

// The largest order ruf-solve reads: its solvers take about n^3 elementary
// operations of some 20 ns each, so beyond this they would run for hours, and
// a declared order is refused before anything is allocated for it.
inline constexpr int kMaxOrder = 4096;
// The largest order the hull bounds (--hull) take.
inline constexpr int kMaxHullOrder = 100;

} // namespace ruf_solve
