// Interval triangular inverse, SI and DI members.
#include "solvers/real/real_traits.h"
#include "solvers/trtri.h"

namespace ruf::solver {
// An allocation failure is reported under the general inverse's name. That
// is intended and kept: callers match their error handling on it.
struct DITrtri : DI {
  static constexpr frame::Name allocation_name = "DIGETRI";
};
struct SITrtri : SI {
  static constexpr frame::Name allocation_name = "SIGETRI";
};
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::trtri, ruf::solver::P##Trtri)
RUF_REAL_MEMBERS(RUF_ROWS_TRTRI)
