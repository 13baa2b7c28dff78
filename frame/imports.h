// Everything the library imports by name, declared once. Each symbol is
// resolved at load time, so a program (a test, say) can interpose any of them.
#pragma once

#include "ruf_interval.h"
#include "ruf_service.h"

#include "frame/lapack.h"

extern "C" {
// LAPACK error handler.
void xerbla_(const char *name, const int *info, int name_len);

// The C library's complex functions (the C++ headers do not declare them).
double cabs(ruf_z) noexcept;
float cabsf(ruf_c) noexcept;
ruf_z conj(ruf_z) noexcept;
ruf_c conjf(ruf_c) noexcept;
double creal(ruf_z) noexcept;
float crealf(ruf_c) noexcept;
double cimag(ruf_z) noexcept;
float cimagf(ruf_c) noexcept;
}

// for_cpstr comparison codes.
inline constexpr int kCpstrEqual = 1;
