// Traits of the four complex members: CR and ZR (rectangles of single and
// double precision), CC and ZC (discs). They have the fields of the real
// members' traits (solvers/real/real_traits.h), so a method whose steps are
// the same for both kinds has one body; the steps whose form depends on the
// kind of element are functions here. Every elementary operation is bound
// through its lower-case wrapper spelling, so each call runs the threading
// prologue.
#pragma once

#include <limits>

#include "ruf_interval.h"

#include "frame/imports.h"
#include "frame/solver_frame.h"
#include "frame/workspace.h"

namespace ruf::solver {

// p: the member's code; c: its complex point's code (c, z), which also names
// its point work arrays and LAPACK routines; r: its real work arrays (s, d).
#define RUF_COMPLEX_MEMBER(NAME, E, p, c, r, T, PT)                                                \
  struct NAME {                                                                                    \
    using elem = E;            /* rectangle or disc */                                             \
    using point = PT;          /* complex midpoints, entries of point inverses */                  \
    using real = T;            /* magnitudes, norms, tolerances */                                 \
    using work = ws::p;        /* element work arrays */                                           \
    using point_work = ws::c;  /* complex point work arrays, LAPACK's */                           \
    using real_work = ws::r;   /* real work arrays */                                              \
    using pivot_work = ws::i4; /* LAPACK pivot vectors */                                          \
                                                                                                   \
    /* The operations of every method. */                                                          \
    static constexpr auto copy = &p##_copy;                                                        \
    static constexpr auto addi = &p##_##p##_addi;                                                  \
    static constexpr auto subt = &p##_##p##_subt;                                                  \
    static constexpr auto mult = &p##_##p##_mult;                                                  \
    static constexpr auto divi = &p##_##p##_divi;                                                  \
    static constexpr auto mid = &p##_mid;                                                          \
    static constexpr auto mig = &p##_mig;                                                          \
    static constexpr auto mag = &p##_mag;                                                          \
    static constexpr auto dist = &p##_dist;                                                        \
    static constexpr auto ix = &p##_ix;                                                            \
    static constexpr auto isempty = &p##_isempty;                                                  \
    /* "C" conjugates every element of the work copy, the element being */                         \
    /* its own result: CONJ reads only its result argument. */                                     \
    static constexpr auto conj = &p##_conj;                                                        \
    static constexpr bool conjugates = true;                                                       \
                                                                                                   \
    /* Steps whose form depends on the kind of element. */                                         \
    /* r := a·x for a point a: a is made an element, then multiplied. */                          \
    static void point_times(elem *res, const point *a, const elem *x) {                            \
      elem e;                                                                                      \
      c##_##p##_convert(&e, a);                                                                    \
      mult(res, &e, x);                                                                            \
    }                                                                                              \
    /* The points 1 and 0: single-precision 1.0 and 0.0 converted to the */                        \
    /* member's type, in the double members too. */                                                \
    static void unit(elem *res) {                                                                  \
      static const float one = 1.0f;                                                               \
      s_##p##_convert(res, &one);                                                                  \
    }                                                                                              \
    static void zero(elem *res) {                                                                  \
      static const float nought = 0.0f;                                                            \
      s_##p##_convert(res, &nought);                                                               \
    }                                                                                              \
    /* x - 1 subtracts the element 1. */                                                           \
    using one_type = elem;                                                                         \
    static void make_one(one_type *v) { unit(v); }                                                 \
    static void minus_one(elem *res, const elem *x, const one_type *one) { subt(res, x, one); }    \
                                                                                                   \
    static constexpr auto getrf = &c##getrf_;                                                      \
    static constexpr auto getri = &c##getri_;                                                      \
    /* Work length handed to getri, per unit of the order. */                                      \
    static constexpr int lwork_per_order = 64;                                                     \
                                                                                                   \
    static constexpr T largest = std::numeric_limits<T>::max();                                    \
    /* Thresholds of the power iterations: the single-precision 0.9 and 0.1, */                    \
    /* widened unchanged in the double members (intended). */                                      \
    static constexpr T c9 = static_cast<T>(0.9f);                                                  \
    static constexpr T c1 = static_cast<T>(0.1f);                                                  \
  };

RUF_COMPLEX_MEMBER(CR, ruf_cr, cr, c, s, float, ruf_c)
RUF_COMPLEX_MEMBER(ZR, ruf_zr, zr, z, d, double, ruf_z)
RUF_COMPLEX_MEMBER(CC, ruf_cc, cc, c, s, float, ruf_c)
RUF_COMPLEX_MEMBER(ZC, ruf_zc, zc, z, d, double, ruf_z)
#undef RUF_COMPLEX_MEMBER

} // namespace ruf::solver
