// Traits of the two real members, SI and DI. A method body is a template over
// its member's traits (solvers/complex/complex_traits.h has the four complex
// members with the same fields, so the methods both kinds share have one
// body). The traits bind the element, point and real types, the work-array
// tags, the elementary operations (always the lower-case wrapper spelling, so
// each call runs the threading prologue), the LAPACK routines and the
// constants. A method adds what its members do differently by deriving.
//
// Operation fields are named after the routine with the type codes reduced to
// i (interval) and r (point): copy = di_copy, mult = di_di_mult,
// r_i_mult = dr_di_mult, mig = d_mig, r_r_i_convert = dr_dr_di_convert;
// sr_i_convert takes a single-precision point in both members.
#pragma once

#include <limits>

#include "ruf_interval.h"

#include "frame/imports.h"
#include "frame/solver_frame.h"
#include "frame/workspace.h"

namespace ruf::solver {

#define RUF_REAL_MEMBER(NAME, I, p, r, m, lp, T)                                                   \
  struct NAME {                                                                                    \
    using elem = I;            /* interval element */                                              \
    using point = T;           /* midpoints, entries of point inverses */                          \
    using real = T;            /* magnitudes, norms, tolerances */                                 \
    using work = ws::p;        /* element work arrays */                                           \
    using point_work = ws::m;  /* point work arrays, LAPACK's */                                   \
    using real_work = ws::m;   /* real work arrays */                                              \
    using pivot_work = ws::i4; /* LAPACK pivot vectors */                                          \
                                                                                                   \
    /* The operations of every method. */                                                          \
    static constexpr auto copy = &p##_copy;                                                        \
    static constexpr auto addi = &p##_##p##_addi;                                                  \
    static constexpr auto subt = &p##_##p##_subt;                                                  \
    static constexpr auto mult = &p##_##p##_mult;                                                  \
    static constexpr auto divi = &p##_##p##_divi;                                                  \
    static constexpr auto mid = &m##_mid;                                                          \
    static constexpr auto mig = &m##_mig;                                                          \
    static constexpr auto mag = &m##_mag;                                                          \
    static constexpr auto dist = &m##_dist;                                                        \
    static constexpr auto ix = &m##_ix;                                                            \
    static constexpr auto isempty = &m##_isempty;                                                  \
    /* "C" asks for the same work copy as "T": nothing to conjugate. */                            \
    static constexpr bool conjugates = false;                                                      \
                                                                                                   \
    /* Steps whose form depends on the kind of element. */                                         \
    /* r := a·x for a point a: the point-times-interval product. */                               \
    static void point_times(elem *res, const point *a, const elem *x) {                            \
      r##_##p##_mult(res, a, x);                                                                   \
    }                                                                                              \
    /* x - 1 subtracts the point 1. */                                                             \
    using one_type = T;                                                                            \
    static void make_one(one_type *v) { *v = T(1); }                                               \
    static void minus_one(elem *res, const elem *x, const one_type *one) {                         \
      p##_##r##_subt(res, x, one);                                                                 \
    }                                                                                              \
    /* IUNIT and IZERO, placed with the copy operation. */                                         \
    static constexpr elem iunit{T(1), T(1)};                                                       \
    static constexpr elem izero{T(0), T(0)};                                                       \
    static void unit(elem *res) { copy(res, &iunit); }                                             \
    static void zero(elem *res) { copy(res, &izero); }                                             \
                                                                                                   \
    /* The operations of the real-only methods. */                                                 \
    static constexpr auto sqr = &p##_sqr;                                                          \
    static constexpr auto inf = &m##_inf;                                                          \
    static constexpr auto sup = &m##_sup;                                                          \
    static constexpr auto rad = &m##_rad;                                                          \
    static constexpr auto in = &m##_in; /* point in interval */                                    \
    static constexpr auto i_r_subt = &p##_##r##_subt;                                              \
    static constexpr auto i_r_mult = &p##_##r##_mult;                                              \
    static constexpr auto r_i_mult = &r##_##p##_mult;                                              \
    static constexpr auto r_i_divi = &r##_##p##_divi;                                              \
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

} // namespace ruf::solver
