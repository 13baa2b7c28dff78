// Traits of the two members of every real interval solver. A solver body is a
// template over its member's traits; the traits bind the element and point
// types, the work-array tags, the elementary operations (always the lower-case
// wrapper spelling, so each call runs the threading prologue), the LAPACK
// routines and the constants. A method adds its routine names by deriving:
//
//   template <> struct Gegas<DI> : DI { static constexpr frame::Name name = "DIGEGAS"; };
//
// Operation fields are named after the routine with the type codes reduced to
// i (interval) and r (point): copy = di_copy, mult = di_di_mult,
// r_i_mult = dr_di_mult, i_r_subt = di_dr_subt, mig = d_mig,
// r_r_i_convert = dr_dr_di_convert; sr_i_convert takes a single-precision
// point in both members (sr_di_convert, sr_si_convert).
#pragma once

#include <limits>

#include "ruf_interval.h"

#include "frame/imports.h"
#include "frame/solver_frame.h"
#include "frame/workspace.h"

namespace ruf::real {

#define RUF_REAL_MEMBER(NAME, I, p, r, m, lp, T)                                                   \
  struct NAME {                                                                                    \
    using elem = I;            /* interval element */                                              \
    using real = T;            /* its point type */                                                \
    using work = ws::p;        /* interval work arrays */                                          \
    using real_work = ws::m;   /* point work arrays: midpoints, magnitudes, LAPACK */              \
    using pivot_work = ws::i4; /* LAPACK pivot vectors */                                          \
                                                                                                   \
    /* Arithmetic. */                                                                              \
    static constexpr auto copy = &p##_copy;                                                        \
    static constexpr auto addi = &p##_##p##_addi;                                                  \
    static constexpr auto subt = &p##_##p##_subt;                                                  \
    static constexpr auto mult = &p##_##p##_mult;                                                  \
    static constexpr auto divi = &p##_##p##_divi;                                                  \
    static constexpr auto ih = &p##_##p##_ih;                                                      \
    static constexpr auto sqr = &p##_sqr;                                                          \
    static constexpr auto i_r_addi = &p##_##r##_addi;                                              \
    static constexpr auto i_r_subt = &p##_##r##_subt;                                              \
    static constexpr auto i_r_mult = &p##_##r##_mult;                                              \
    static constexpr auto i_r_divi = &p##_##r##_divi;                                              \
    static constexpr auto i_r_ih = &p##_##r##_ih;                                                  \
    static constexpr auto r_i_addi = &r##_##p##_addi;                                              \
    static constexpr auto r_i_subt = &r##_##p##_subt;                                              \
    static constexpr auto r_i_mult = &r##_##p##_mult;                                              \
    static constexpr auto r_i_divi = &r##_##p##_divi;                                              \
    static constexpr auto r_i_ih = &r##_##p##_ih;                                                  \
    /* Measures and set operations. */                                                             \
    static constexpr auto inf = &m##_inf;                                                          \
    static constexpr auto sup = &m##_sup;                                                          \
    static constexpr auto mid = &m##_mid;                                                          \
    static constexpr auto rad = &m##_rad;                                                          \
    static constexpr auto wid = &m##_wid;                                                          \
    static constexpr auto mig = &m##_mig;                                                          \
    static constexpr auto mag = &m##_mag;                                                          \
    static constexpr auto abs = &m##_abs;                                                          \
    static constexpr auto dist = &m##_dist;                                                        \
    static constexpr auto ix = &m##_ix;                                                            \
    static constexpr auto isempty = &m##_isempty;                                                  \
    static constexpr auto in = &m##_in; /* point in interval */                                    \
    /* Conversions: a point, two bounds, a single-precision point. */                              \
    static constexpr auto r_i_convert = &r##_##p##_convert;                                        \
    static constexpr auto r_r_i_convert = &r##_##r##_##p##_convert;                                \
    static constexpr auto sr_i_convert = &sr_##p##_convert;                                        \
                                                                                                   \
    static constexpr auto getrf = &lp##getrf_;                                                     \
    static constexpr auto getri = &lp##getri_;                                                     \
    static constexpr auto geev = &lp##geev_;                                                       \
    static constexpr auto gesvd = &lp##gesvd_;                                                     \
    /* Work length handed to getri, per unit of the order. */                                      \
    static constexpr int lwork_per_order = 64;                                                     \
                                                                                                   \
    static constexpr elem unit{T(1), T(1)}; /* IUNIT */                                            \
    static constexpr elem zero{T(0), T(0)}; /* IZERO */                                            \
    static constexpr T largest = std::numeric_limits<T>::max();                                    \
    /* Thresholds of the power iterations: the single-precision 0.9 and 0.1, */                    \
    /* widened unchanged in the double member (intended). */                                       \
    static constexpr T c9 = static_cast<T>(0.9f);                                                  \
    static constexpr T c1 = static_cast<T>(0.1f);                                                  \
  };

RUF_REAL_MEMBER(DI, ruf_di, di, dr, d, d, double)
RUF_REAL_MEMBER(SI, ruf_si, si, sr, s, s, float)
#undef RUF_REAL_MEMBER

// The verdict a regularity test writes to its flag.
enum Verdict { singular = -1, undecided = 0, regular = 1 };

} // namespace ruf::real
