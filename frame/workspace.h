// Work arrays for the solvers, on top of the workspace module: one tag per
// element type binding it to its module routines, and matrix and vector
// handles that index 1-based through the filled array handle.
//
// The handles release nothing on destruction: a solver releases its arrays
// explicitly on the paths that do, and some error paths deliberately leave
// them allocated (callers of those paths rely on nothing else being touched).
#pragma once

#include <cstddef>

#include "ruf_interval.h"

namespace ruf::ws {

// ws::di, ws::d, ws::i4, ... : element type and the module's routines.
#define RUF_WS_ARRAY(code, T, size)                                                                \
  struct code {                                                                                    \
    using elem = T;                                                                                \
    static void allocate(ruf_array *h, const int *n, int *stat) {                                  \
      ruf_alloc_allocate_##code##_1_ruf(h, n, stat);                                               \
    }                                                                                              \
    static void allocate(ruf_array *h, const int *n1, const int *n2, int *stat) {                  \
      ruf_alloc_allocate_##code##_2_ruf(h, n1, n2, stat);                                          \
    }                                                                                              \
    static void release_1(ruf_array *h) { ruf_alloc_deallocate_##code##_1_ruf(h, nullptr); }       \
    static void release_2(ruf_array *h) { ruf_alloc_deallocate_##code##_2_ruf(h, nullptr); }       \
  };
#define RUF_WS_RECORD(code, size)
#define RUF_MODULE_ROUTINE(name, ret, params)
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE

template <class Code> class Array {
public:
  using elem = typename Code::elem;

  Array() = default;
  Array(const Array &) = delete;
  Array &operator=(const Array &) = delete;

  bool allocated() const { return h_.base != nullptr; }
  const ruf_array &handle() const { return h_; }

  // Contiguous storage (leading dimension = first extent), for LAPACK.
  elem *data() const { return static_cast<elem *>(h_.base); }

protected:
  // Element at 1-based subscripts: base + offset + i*stride1 + j*stride2.
  // The byte position is formed before it is added to the base: base +
  // offset alone points outside the array.
  elem &at(std::ptrdiff_t i, std::ptrdiff_t j) const {
    const std::ptrdiff_t byte = h_.offset + i * h_.dim[0].stride + j * h_.dim[1].stride;
    return *reinterpret_cast<elem *>(static_cast<char *>(h_.base) + byte);
  }
  ruf_array h_{};
};

template <class Code> class Matrix : public Array<Code> {
public:
  using typename Array<Code>::elem;
  void allocate(int rows, int cols, int *stat) { Code::allocate(&this->h_, &rows, &cols, stat); }
  void release() { Code::release_2(&this->h_); }
  elem &operator()(int i, int j) const { return this->at(i, j); }
};

template <class Code> class Vector : public Array<Code> {
public:
  using typename Array<Code>::elem;
  void allocate(int n, int *stat) { Code::allocate(&this->h_, &n, stat); }
  void release() { Code::release_1(&this->h_); }
  elem &operator()(int i) const { return this->at(i, 0); }
};

// Release in the order given.
template <class... A> void release(A &...arrays) {
  (arrays.release(), ...);
}

// A caller's column-major array with its leading dimension, 1-based.
template <class E> class View {
public:
  View(E *base, int ld) : p_(base), ld_(ld) {}
  E &operator()(int i, int j) const {
    return p_[(i - 1) + static_cast<std::ptrdiff_t>(j - 1) * ld_];
  }
  E *column(int j) const { return &(*this)(1, j); }

private:
  E *p_;
  std::ptrdiff_t ld_;
};

} // namespace ruf::ws
