// The fast verified solver, CR, ZR, CC and ZC members.
#include "solvers/complex/complex_traits.h"
#include "solvers/gevsv.h"

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gevsv, ruf::solver::P)
RUF_COMPLEX_MEMBERS(RUF_ROWS_GEVSV)
