// The fast verified solver, SI and DI members.
#include "solvers/gevsv.h"
#include "solvers/real/real_traits.h"

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gevsv, ruf::solver::P)
RUF_REAL_MEMBERS(RUF_ROWS_GEVSV)
