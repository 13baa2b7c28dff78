/*
 * ruf_interval.h - public interface of the ruf-interval library.
 *
 * Usable from C11 and from C++. Every routine is declared under its five
 * spellings: NAME, NAME_, name, name_ (one entry wrapper that sets the
 * threading mode of the service library, then calls the implementation) and
 * ruf_interval_name (the implementation, without that prologue).
 *
 * All arguments are passed by reference. Character options of the solvers
 * are followed, after the declared arguments, by one hidden length per
 * option, passed by value (the usual calling convention of LAPACK-style
 * routines); C callers pass 1.
 *
 * The declarations are expanded from the routine table in
 * ruf_interval/routines.def; docs/reference.md documents every routine.
 */
#ifndef RUF_INTERVAL_H
#define RUF_INTERVAL_H

#include "ruf_interval/version.h"

/* Status values callers test. */
#define RUF_INFO_OK 0
#define RUF_INFO_NO_WORKSPACE 1000 /* a workspace allocation failed */

#if defined(__GNUC__)
#define RUF_API __attribute__((visibility("default")))
#else
#define RUF_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Real intervals: lower bound first. No empty-set value exists. */
typedef struct ruf_si {
  float inf, sup;
} ruf_si;
typedef struct ruf_di {
  double inf, sup;
} ruf_di;

/* Complex rectangular intervals: real-part interval, then imaginary part. */
typedef struct ruf_cr {
  ruf_si re, im;
} ruf_cr;
typedef struct ruf_zr {
  ruf_di re, im;
} ruf_zr;

/* Complex circular intervals (discs): centre real, centre imaginary, radius. */
typedef struct ruf_cc {
  float re, im, rad;
} ruf_cc;
typedef struct ruf_zc {
  double re, im, rad;
} ruf_zc;

/* Complex points: the C99 complex types (a GNU extension in C++, with the
 * same layout as std::complex). */
#ifdef __cplusplus
typedef __complex__ float ruf_c;
typedef __complex__ double ruf_z;
#else
typedef float _Complex ruf_c;
typedef double _Complex ruf_z;
#endif

/* Hidden length of a character option, passed by value. */
typedef int ruf_strlen;

/* Handle of a workspace array, filled by ruf_alloc_allocate_<type>_<rank>_ruf.
 * All fields are 64-bit except the address. For 1-based subscripts
 * (i, j): address of element = base + offset + i*dim[0].stride + j*dim[1].stride. */
typedef struct ruf_array_dim {
  long long extent; /* requested count, 0 if it was negative */
  long long stride; /* in bytes */
  long long lower;  /* always 1 */
} ruf_array_dim;
typedef struct ruf_array {
  void *base;          /* null when not allocated */
  long long elem_size; /* bytes per element */
  long long offset;    /* -elem_size (rank 1), -elem_size*(1+extent1) (rank 2) */
  long long flags;     /* 3 allocated and contiguous, 0 released */
  long long rank;      /* 1 or 2 */
  long long reserved;  /* never touched */
  ruf_array_dim dim[2];
} ruf_array;

/* One declaration per spelling, expanded from the routine table. */
#define RUF_ROUTINE(UPPER, lower, ret, params, args)                                               \
  RUF_API ret UPPER params;                                                                        \
  RUF_API ret UPPER##_ params;                                                                     \
  RUF_API ret lower params;                                                                        \
  RUF_API ret lower##_ params;                                                                     \
  RUF_API ret ruf_interval_##lower params;
#include "ruf_interval/routines.def"
#undef RUF_ROUTINE
#include "ruf_interval/workspace.def" /* workspace module and ieee_flags */

/* The saved variables of ?GEPPS and ?GEPSS: their symbols hold a '$', so C
 * reaches them under ruf_interval_<routine>_<NAME> through an asm label. */
#if defined(__GNUC__)
#define RUF_SAVED(routine, NAME, type)                                                             \
  extern RUF_API type ruf_interval_##routine##_##NAME __asm__("ruf_interval_" #routine "$" #NAME);
#include "ruf_interval/saved.def"
#undef RUF_SAVED
#endif

#ifdef __cplusplus
}
#endif

#endif /* RUF_INTERVAL_H */
