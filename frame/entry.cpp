// Entry wrappers: one per routine of the table, exported under four spellings
// that share one address. The prologue asks the service library for the
// configured threading mode, applies it, and hands every argument, hidden
// lengths included, to the implementation.
#include "ruf_interval.h"

#include "frame/imports.h"

namespace {

[[gnu::always_inline]] inline void threading_prologue() {
  ruf_cfg_file(1);
  if (get_cfg_serial() == 1) RUF_SET_SERIAL();
  // Asked again on purpose: a configuration may change between the queries.
  if (get_cfg_serial() == 0) RUF_SET_PARALLEL();
}

} // namespace

#define RUF_ROUTINE(UPPER, lower, ret, params, args)                                               \
  extern "C" RUF_API ret UPPER params {                                                            \
    threading_prologue();                                                                          \
    return ruf_interval_##lower args;                                                              \
  }                                                                                                \
  extern "C" RUF_API ret UPPER##_ params __attribute__((alias(#UPPER)));                           \
  extern "C" RUF_API ret lower params __attribute__((alias(#UPPER)));                              \
  extern "C" RUF_API ret lower##_ params __attribute__((alias(#UPPER)));
#include "ruf_interval/routines.def"
#undef RUF_ROUTINE
