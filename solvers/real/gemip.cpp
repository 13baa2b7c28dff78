// Midpoint-inverse preconditioning, SI and DI members.
#include "solvers/gemip.h"
#include "solvers/real/real_traits.h"

namespace ruf::solver {
// The members differ in when the work vector of getri is obtained: the double
// member takes it with the pivots before the factorisation, the single member
// only after a successful one. Callers see the difference in which
// allocations a failed factorisation leaves behind, so it is kept.
struct DIGemip : DI {
  static constexpr bool work_before_factoring = true;
};
struct SIGemip : SI {
  static constexpr bool work_before_factoring = false;
};
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gemip, ruf::solver::P##Gemip)
RUF_REAL_MEMBERS(RUF_ROWS_GEMIP)
