// Interval Gauss-Seidel refinement, SI and DI members.
#include "solvers/gegss.h"
#include "solvers/real/real_traits.h"

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gegss, ruf::solver::P)
RUF_REAL_MEMBERS(RUF_ROWS_GEGSS)
