// The LAPACK routines the solvers import, with the hidden lengths of their
// character arguments (size_t, after the declared arguments).
#pragma once

#include <cstddef>

#include "ruf_interval.h"

extern "C" {
// LU factorisation with partial pivoting, and the inverse from the factors.
void sgetrf_(const int *m, const int *n, float *a, const int *lda, int *ipiv, int *info);
void dgetrf_(const int *m, const int *n, double *a, const int *lda, int *ipiv, int *info);
void cgetrf_(const int *m, const int *n, ruf_c *a, const int *lda, int *ipiv, int *info);
void zgetrf_(const int *m, const int *n, ruf_z *a, const int *lda, int *ipiv, int *info);
void sgetri_(const int *n, float *a, const int *lda, const int *ipiv, float *work, const int *lwork,
             int *info);
void dgetri_(const int *n, double *a, const int *lda, const int *ipiv, double *work,
             const int *lwork, int *info);
void cgetri_(const int *n, ruf_c *a, const int *lda, const int *ipiv, ruf_c *work, const int *lwork,
             int *info);
void zgetri_(const int *n, ruf_z *a, const int *lda, const int *ipiv, ruf_z *work, const int *lwork,
             int *info);

// Matrix products (BLAS), for the fast verified solver; its error bounds hold
// whatever order and rounding the BLAS uses.
void dgemm_(const char *transa, const char *transb, const int *m, const int *n, const int *k,
            const double *alpha, const double *a, const int *lda, const double *b, const int *ldb,
            const double *beta, double *c, const int *ldc, std::size_t transa_len,
            std::size_t transb_len);

// Eigenvalues of a general matrix.
void sgeev_(const char *jobvl, const char *jobvr, const int *n, float *a, const int *lda, float *wr,
            float *wi, float *vl, const int *ldvl, float *vr, const int *ldvr, float *work,
            const int *lwork, int *info, std::size_t jobvl_len, std::size_t jobvr_len);
void dgeev_(const char *jobvl, const char *jobvr, const int *n, double *a, const int *lda,
            double *wr, double *wi, double *vl, const int *ldvl, double *vr, const int *ldvr,
            double *work, const int *lwork, int *info, std::size_t jobvl_len,
            std::size_t jobvr_len);

// Singular values.
void sgesvd_(const char *jobu, const char *jobvt, const int *m, const int *n, float *a,
             const int *lda, float *s, float *u, const int *ldu, float *vt, const int *ldvt,
             float *work, const int *lwork, int *info, std::size_t jobu_len, std::size_t jobvt_len);
void dgesvd_(const char *jobu, const char *jobvt, const int *m, const int *n, double *a,
             const int *lda, double *s, double *u, const int *ldu, double *vt, const int *ldvt,
             double *work, const int *lwork, int *info, std::size_t jobu_len,
             std::size_t jobvt_len);
}
