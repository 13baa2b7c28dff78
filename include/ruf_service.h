/*
 * ruf_service.h - the service library beside ruf-interval: threading-mode
 * configuration, counted allocation, and the two runtime routines the
 * library imports (one-character string comparison, rounding direction).
 *
 * The threading mode is configured by the environment variable
 * RUF_THREADING ("serial" or "parallel"), read once per process.
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
