// The rounding frame of the elementary operations.
//
// The direction lives in the rounding-control field of MXCSR (bits 13-14).
// A frame reads MXCSR, writes it with the field set to the requested
// direction, and on restore reads it again and writes back only the caller's
// field, so exception flags raised meanwhile stay raised.
//
// GCC does not order floating-point arithmetic against an asm statement that
// only clobbers memory: operands already in registers may be combined before
// the mode switch, and results may be computed after the restore. Every value
// that feeds the computation therefore passes through an empty asm after the
// switch, and every result passes through one before the restore, which ties
// the arithmetic between the two MXCSR writes.
#pragma once

#include <cstdint>

namespace ruf {

enum class Direction : std::uint32_t {
  nearest = 0x0000,
  down = 0x2000,
  up = 0x4000,
  toward_zero = 0x6000,
};

inline constexpr std::uint32_t kRoundingField = 0x6000;

[[gnu::always_inline]] inline std::uint32_t read_mxcsr() {
  std::uint32_t v;
  asm volatile("stmxcsr %0" : "=m"(v)::"memory");
  return v;
}

[[gnu::always_inline]] inline void write_mxcsr(std::uint32_t v) {
  asm volatile("ldmxcsr %0" ::"m"(v) : "memory");
}

// Forces each value to exist in an SSE register at this point of the
// instruction stream (and to be re-read from it afterwards).
template <class T> [[gnu::always_inline]] inline void fp_barrier_one(T &v) {
  asm volatile("" : "+x"(v));
}
template <class... T> [[gnu::always_inline]] inline void fp_barrier(T &...v) {
  (fp_barrier_one(v), ...);
}

template <Direction D> class RoundingFrame {
public:
  // The operands are tied to the mode switch: no operation on them can be
  // scheduled before it.
  template <class... T> [[gnu::always_inline]] explicit RoundingFrame(T &...operands) {
    const std::uint32_t csr = read_mxcsr();
    saved_ = csr & kRoundingField;
    write_mxcsr((csr & ~kRoundingField) | static_cast<std::uint32_t>(D));
    fp_barrier(operands...);
  }

  // The results are tied to the restore: all of them are computed before it.
  template <class... T> [[gnu::always_inline]] void restore(T &...results) {
    fp_barrier(results...);
    write_mxcsr((read_mxcsr() & ~kRoundingField) | saved_);
  }

  RoundingFrame(const RoundingFrame &) = delete;
  RoundingFrame &operator=(const RoundingFrame &) = delete;

private:
  std::uint32_t saved_;
};

using RoundUp = RoundingFrame<Direction::up>;
using RoundDown = RoundingFrame<Direction::down>;
using RoundNearest = RoundingFrame<Direction::nearest>;

} // namespace ruf
