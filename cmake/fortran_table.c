/* The routine table for tools/gen_fortran_module.py: one record per routine,
 * "@ lower | return type | (parameters)", after the preprocessor. */
#define RUF_ROUTINE(UPPER, lower, ret, params, args) @ lower | ret | params
#include "ruf_interval/routines.def"
