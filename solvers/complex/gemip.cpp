// Complex midpoint-inverse preconditioning, CR, ZR, CC and ZC members.
#include "solvers/complex/complex_traits.h"
#include "solvers/gemip.h"

namespace ruf::solver {
// Every member takes getri's complex work vector, then the pivots, just
// before the factorisation.
template <class Base> struct ComplexGemip : Base {
  static constexpr bool work_before_factoring = true;
};
using CRGemip = ComplexGemip<CR>;
using ZRGemip = ComplexGemip<ZR>;
using ZCGemip = ComplexGemip<ZC>;
// The single disc member reports a failed allocation of its pivot vector
// under the six-letter name "CCEMIP". Intended and kept: callers match their
// error handling on it.
struct CCGemip : ComplexGemip<CC> {
  static constexpr frame::Name pivots_name = "CCEMIP";
};
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gemip, ruf::solver::P##Gemip)
RUF_COMPLEX_MEMBERS(RUF_ROWS_GEMIP)
