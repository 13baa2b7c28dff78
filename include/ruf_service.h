/*
 * ruf_service.h - the service library beside ruf-interval: threading-mode
 * configuration, counted allocation, and the two runtime routines the
 * library imports (one-character string comparison, rounding direction).
 *
 * The threading mode is configured by the environment variable
 * RUF_THREADING ("serial" or "parallel"), the multiplication rule by
 * RUF_MULTIPLICATION ("textbook"; anything else keeps the default), both read
 * once per process when the library is loaded.
 */
#ifndef RUF_SERVICE_H
#define RUF_SERVICE_H

#include <stdint.h>

#if defined(__GNUC__)
#define RUF_SERVICE_API __attribute__((visibility("default")))
#else
#define RUF_SERVICE_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Loads the configuration on first use (thread-safe, once); always 0. */
RUF_SERVICE_API int ruf_cfg_file(int read_config);
/* 1: serial mode requested, 0: parallel mode requested, 2: nothing to set. */
RUF_SERVICE_API int get_cfg_serial(void);
/* Apply a mode to the threaded BLAS/LAPACK kernels of the process, when the
 * loaded library offers a control (OpenBLAS does); the mode is recorded in
 * every case. */
RUF_SERVICE_API void RUF_SET_SERIAL(void);
RUF_SERVICE_API void RUF_SET_PARALLEL(void);
/* The last mode set: 1 serial, 0 parallel, -1 none yet. */
RUF_SERVICE_API int ruf_serv_threading_mode(void);

/* The rule for a product of two intervals that both contain zero. By default
 * the lower bound is the larger of the two candidates a1*b2 and a2*b1
 * ([-1, 2] * [-3, 4] = [-4, 8]), as the library's interval types define it;
 * the textbook rule takes the smaller ([-6, 8]), so that every product
 * encloses its exact range. Every other case of the product is the same
 * under both rules. The rule is read by each product that meets the case, so
 * a change takes effect at once, in every thread, without a lock. */
#define RUF_MULTIPLICATION_DEFAULT 0
#define RUF_MULTIPLICATION_TEXTBOOK 1
RUF_SERVICE_API int ruf_serv_multiplication(void);
/* Sets the rule; returns the previous one, or -1 (and changes nothing) for an
 * unknown rule. */
RUF_SERVICE_API int ruf_serv_set_multiplication(int rule);

/* malloc/free semantics, 64-byte aligned; a negative count fails (null). */
RUF_SERVICE_API void *ruf_serv_allocate(int64_t bytes);
RUF_SERVICE_API void ruf_serv_deallocate(void *address);

/* Compares two blank-padded strings: op 1 equal, 2 not equal. Returns 1/0. */
RUF_SERVICE_API int for_cpstr(const char *a, int a_len, const char *b, int b_len, int op);

/* Rounding direction of the calling thread, SSE and x87 alike.
 *   action "set", mode "direction", in "nearest" | "tozero" | "negative" | "positive"
 *   action "get", mode "direction": the current direction is written to out
 *   action "clear", mode "direction" (or "all"): back to nearest
 * Strings are blank-padded to their lengths. Returns 0, or 1 for a request
 * it does not know. out (if its length is positive) receives the direction
 * in force on return, blank-padded. */
RUF_SERVICE_API int ieee_flags_(const char *action, const char *mode, const char *in, char *out,
                                int action_len, int mode_len, int in_len, int out_len);

#ifdef __cplusplus
}
#endif

#endif /* RUF_SERVICE_H */
