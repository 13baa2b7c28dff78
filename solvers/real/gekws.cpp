// Krawczyk iteration, SI and DI members.
#include "solvers/gekws.h"
#include "solvers/real/real_traits.h"

namespace ruf::solver {

template <class Base> struct RealKrawczyk : Base {
  using E = typename Base::elem;
  using T = typename Base::real;
  // Elements move as plain values in this method: no copy operation is called.
  static void copy(E *r, const E *x) { *r = *x; }
  // The inversion takes the pivots, its copy of Am and its work vector, in
  // this order. Its outcome is not looked at: after a failed allocation the
  // method goes on with R as it was, and a failed factorisation or inversion
  // is info = 2, R as it was, the inversion's arrays kept. Intended: callers
  // see the result of the whole computation, flagged by info.
  static constexpr bool pivots_first = true;
  static constexpr bool goes_on_without_inverse = true;
  static bool failed_inversion(int *info) {
    *info = 2;
    return true;
  }
  // x(i) := [-r, r] for every i, each made by the two-bounds conversion; a
  // zero radius gives [+0, +0].
  template <class X> static void fill_start(const X &x, int n, T rad) {
    const T lo = T(0) - rad;
    for (int i = 1; i <= n; ++i)
      Base::r_r_i_convert(&x(i), &lo, &rad);
  }
};

// The members differ in how the unit and zero intervals that start E and R·B
// are made (the double member's constants, the single member's conversions of
// 1.0f and 0.0f, each made where it is used), and in the count of point n x n
// work matrices: the single member reserves a third one, which holds nothing
// but is part of its workspace.
struct DIKrawczyk : RealKrawczyk<DI> {
  static constexpr int point_matrices = 2;
  static void start_unit(ruf_di *r) { *r = iunit; }
  static void start_zero(ruf_di *r) { *r = izero; }
};
struct SIKrawczyk : RealKrawczyk<SI> {
  static constexpr int point_matrices = 3;
  static void start_unit(ruf_si *r) {
    static const float one = 1.0f;
    sr_i_convert(r, &one);
  }
  static void start_zero(ruf_si *r) {
    static const float nought = 0.0f;
    sr_i_convert(r, &nought);
  }
};

} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gekws, ruf::solver::P##Krawczyk)
RUF_REAL_MEMBERS(RUF_ROWS_GEKWS)
