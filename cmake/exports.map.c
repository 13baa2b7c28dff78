/* Expanded by the C preprocessor into the linker version script of the
 * product: every name of the routine table under its five spellings, the
 * workspace module, ieee_flags and the saved variables; nothing else. */
RUF_INTERVAL_0 {
  global:
#define RUF_ROUTINE(UPPER, lower, ret, params, args) UPPER; UPPER##_; lower; lower##_; ruf_interval_##lower;
#include "ruf_interval/routines.def"
#undef RUF_ROUTINE
#define RUF_WS_ARRAY(code, T, size)                                                                \
  ruf_alloc_allocate_##code##_1_ruf; ruf_alloc_allocate_##code##_2_ruf;                           \
  ruf_alloc_deallocate_##code##_1_ruf; ruf_alloc_deallocate_##code##_2_ruf;
#define RUF_WS_RECORD(code, size) ruf_alloc_allocate_##code##_0_ruf; ruf_alloc_deallocate_##code##_0_ruf;
#define RUF_MODULE_ROUTINE(name, ret, params) name;
#include "ruf_interval/workspace.def"
#define RUF_SAVED(routine, NAME, type) ruf_interval_##routine##$##NAME;
#include "ruf_interval/saved.def"
  local: *;
};
