// Everything the library imports by name, declared once. Each symbol is
// resolved at load time, so a program (a test, say) can interpose any of them.
#pragma once

#include "ruf_service.h"

extern "C" {
// LAPACK error handler.
void xerbla_(const char *name, const int *info, int name_len);
}

// for_cpstr comparison codes.
inline constexpr int kCpstrEqual = 1;
