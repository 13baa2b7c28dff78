// Complex interval triangular inverse, CR, ZR, CC and ZC members.
#include "solvers/complex/complex_traits.h"
#include "solvers/trtri.h"

namespace ruf::solver {
// The double rectangular member reports an allocation failure under the
// general inverse's name. That is intended and kept: callers match their
// error handling on it.
struct ZRTrtri : ZR {
  static constexpr frame::Name allocation_name = "ZRGETRI";
};
using CRTrtri = CR;
using CCTrtri = CC;
using ZCTrtri = ZC;
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::trtri, ruf::solver::P##Trtri)
RUF_COMPLEX_MEMBERS(RUF_ROWS_TRTRI)
