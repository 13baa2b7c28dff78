// Every solver routine of every member behind one call, expanded from the
// routine table: the table's argument names are bound to the fields of a
// Call, so that a test calls a method by its name ("GEGAS") with whatever
// argument vector it builds, bad ones included, and a new row of the table
// is callable without a line here. No GoogleTest: the fuzzer uses it too.
#pragma once

#include <cstring>
#include <type_traits>

#include "ruf_interval.h"

namespace ruf_test {

// A member's real type, floating-point point (real, or the C complex type)
// and type code.
template <class E> struct MemberTypes;
#define RUF_TEST_MEMBER(E, R, P, CODE)                                                             \
  template <> struct MemberTypes<E> {                                                              \
    using Real = R;                                                                                \
    using Point = P;                                                                               \
    static constexpr const char *code = CODE;                                                      \
  };
RUF_TEST_MEMBER(ruf_si, float, float, "SI")
RUF_TEST_MEMBER(ruf_di, double, double, "DI")
RUF_TEST_MEMBER(ruf_cr, float, ruf_c, "CR")
RUF_TEST_MEMBER(ruf_zr, double, ruf_z, "ZR")
RUF_TEST_MEMBER(ruf_cc, float, ruf_c, "CC")
RUF_TEST_MEMBER(ruf_zc, double, ruf_z, "ZC")
#undef RUF_TEST_MEMBER

// One call's arguments. Outputs a routine writes through a pointer stay with
// the caller; the scalars it reads and writes (maxit, flag, info) are here.
template <class E> struct Call {
  using Real = typename MemberTypes<E>::Real;
  using Point = typename MemberTypes<E>::Point;
  const char *uplo = "L", *trans = "N", *diag = "N", *ul = "L";
  int n = 0, nrhs = 0, lda = 1, ldb = 1, ldx = 1, k = 1, maxit = 0, flag = 0, info = 99;
  Real eps = 0;
  E *a = nullptr, *b = nullptr;
  E *x0 = nullptr;                // GEGSS's starting enclosure
  Point *x = nullptr;             // GEVSV's approximate solution
  Real *r = nullptr;              // GERBR's radius
  E *lo = nullptr, *hi = nullptr; // GESVR's ranges; the hull's bound (lo)
};

// The table calls both GEGSS's start and GEVSV's approximation x.
template <class E> struct EitherX {
  E *start;
  typename MemberTypes<E>::Point *approximation;
  operator const E *() const { return start; }
  operator typename MemberTypes<E>::Point *() const { return approximation; }
};

#define RUF_TEST_E_SI ruf_si
#define RUF_TEST_E_DI ruf_di
#define RUF_TEST_E_CR ruf_cr
#define RUF_TEST_E_ZR ruf_zr
#define RUF_TEST_E_CC ruf_cc
#define RUF_TEST_E_ZC ruf_zc

// Calls the member's routine for `method` ("TRTRS", ...) through its
// lower-case spelling; info, or -1000 for a method the member lacks.
template <class E> int invoke(const char *method, Call<E> &c) {
  const char *uplo = c.uplo, *trans = c.trans, *diag = c.diag, *ul = c.ul;
  const ruf_strlen uplo_len = 1, trans_len = 1, diag_len = 1, ul_len = 1;
  const int *n = &c.n, *nrhs = &c.nrhs, *lda = &c.lda, *ldb = &c.ldb, *ldx = &c.ldx, *k = &c.k;
  int *maxit = &c.maxit, *flag = &c.flag, *info = &c.info;
  const typename Call<E>::Real *eps = &c.eps;
  typename Call<E>::Real *r = c.r;
  E *a = c.a, *b = c.b, *sa = c.lo, *sd = c.hi, *bound = c.lo;
  const EitherX<E> x{c.x0, c.x};
  c.info = 99;
#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  if constexpr (std::is_same_v<E, RUF_TEST_E_##P>)                                                 \
    if (std::strcmp(method, &#UPPER[2]) == 0) return lower args, c.info;
  RUF_REAL_MEMBERS(RUF_ROWS_TRTRS)
  RUF_REAL_MEMBERS(RUF_ROWS_TRTRI)
  RUF_REAL_MEMBERS(RUF_ROWS_GEGAS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEGSS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEKWS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEMIP)
  RUF_REAL_MEMBERS(RUF_ROWS_GEHSS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEHBS)
  RUF_REAL_MEMBERS(RUF_ROWS_GESZI)
  RUF_REAL_MEMBERS(RUF_ROWS_GERBR)
  RUF_REAL_MEMBERS(RUF_ROWS_GESVR)
  RUF_REAL_MEMBERS(RUF_ROWS_GEPSS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEPPS)
  RUF_REAL_MEMBERS(RUF_ROWS_GEVSV)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_TRTRS)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_TRTRI)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_GEGAS)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_GEGSS)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_GEKWS)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_GEMIP)
  RUF_COMPLEX_MEMBERS(RUF_ROWS_GEVSV)
#undef RUF_SOLVER_ROUTINE
  (void)uplo, (void)trans, (void)diag, (void)ul, (void)uplo_len, (void)trans_len, (void)diag_len;
  (void)ul_len, (void)n, (void)nrhs, (void)lda, (void)ldb, (void)ldx, (void)k, (void)maxit;
  (void)flag, (void)info, (void)eps, (void)r, (void)a, (void)b, (void)sa, (void)sd, (void)bound;
  (void)x;
  return -1000;
}

} // namespace ruf_test
