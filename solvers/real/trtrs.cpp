// Interval triangular solve, SI and DI members.
#include "solvers/real/real_traits.h"
#include "solvers/trtrs.h"

namespace ruf::solver {
// An allocation failure is reported under the general solver's name. That is
// intended and kept: callers match their error handling on it.
struct DITrtrs : DI {
  static constexpr frame::Name allocation_name = "DIGETRS";
};
struct SITrtrs : SI {
  static constexpr frame::Name allocation_name = "SIGETRS";
};
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::trtrs, ruf::solver::P##Trtrs)
RUF_REAL_MEMBERS(RUF_ROWS_TRTRS)
