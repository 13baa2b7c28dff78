// Complex Krawczyk iteration, CR, ZR, CC and ZC members.
#include "solvers/complex/complex_traits.h"
#include "solvers/gekws.h"

namespace ruf::solver {

template <class Base, class Member> struct ComplexKrawczyk : Base {
  using E = typename Base::elem;
  using T = typename Base::real;
  static constexpr int point_matrices = 2; // the midpoints and R
  // E and R·B start from the member's points 1 and 0, each made where it is used.
  static void start_unit(E *r) { Base::unit(r); }
  static void start_zero(E *r) { Base::zero(r); }
  // The inversion takes its copy of the midpoints, the pivots and its work
  // vector, in this order; a failed allocation ends the method (info = 1000).
  // A failed factorisation or inversion is not reported: R is what LAPACK
  // left, and the contraction test (info = 1) shows the outcome.
  static constexpr bool pivots_first = false;
  static constexpr bool goes_on_without_inverse = false;
  static bool failed_inversion(int *) { return false; }
  // The starting element is built in one static element of the member, then
  // copied into x: concurrent calls of one member may overwrite each other's
  // start. Intended and documented; the element is rewritten before every use.
  template <class X> static void fill_start(const X &x, int n, T rad) {
    static E start;
    Member::start_element(&start, rad);
    for (int i = 1; i <= n; ++i)
      x(i) = start;
  }
};

// [-r, r] + [-r, r]i, each part made by the two-bounds conversion of the
// member's precision.
struct ZRKrawczyk : ComplexKrawczyk<ZR, ZRKrawczyk> {
  static void start_element(ruf_zr *s, double r) {
    const double lo = 0.0 - r;
    dr_dr_di_convert(&s->re, &lo, &r);
    dr_dr_di_convert(&s->im, &lo, &r);
  }
};
struct CRKrawczyk : ComplexKrawczyk<CR, CRKrawczyk> {
  static void start_element(ruf_cr *s, float r) {
    const float lo = 0.0f - r;
    sr_sr_si_convert(&s->re, &lo, &r);
    sr_sr_si_convert(&s->im, &lo, &r);
  }
};
// The disc of centre 0 and radius r, by the centre-and-radius conversion.
struct ZCKrawczyk : ComplexKrawczyk<ZC, ZCKrawczyk> {
  static void start_element(ruf_zc *s, double r) {
    const double centre = 0.0;
    d_d_zc_convert(s, &centre, &r);
  }
};
struct CCKrawczyk : ComplexKrawczyk<CC, CCKrawczyk> {
  static void start_element(ruf_cc *s, float r) {
    const float centre = 0.0f;
    s_s_cc_convert(s, &centre, &r);
  }
};

} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gekws, ruf::solver::P##Krawczyk)
RUF_COMPLEX_MEMBERS(RUF_ROWS_GEKWS)
