// The point inverse that the preconditioning methods share: getrf on a
// contiguous n x n point matrix, then, when the factorisation succeeded, getri
// from its factors, in place. Each caller reacts to a failed step its own way
// (an info value, a verdict, going on with what the matrix holds), which it
// passes in as its failure policy.
#pragma once

#include <utility>

#include "frame/solver_frame.h"

namespace ruf::solver {

enum class Step { factorisation, inversion };

// work() hands over getri's work vector as {pointer, length}; it may obtain
// it only now, and a null pointer (an allocation failure it has reported)
// ends the inversion. failed(step, status) is called with LAPACK's status of
// the failing step and answers whether the caller stops; true is returned
// when the caller goes on (after a failed factorisation, getri is not called).
template <class M, class Work, class Failed>
bool point_inverse(int n, typename M::point *r, int *pivots, Work &&work, Failed &&failed) {
  int status = 0;
  M::getrf(&n, &n, r, &n, pivots, &status);
  if (status != 0) return !failed(Step::factorisation, status);
  const auto [w, lwork] = work();
  if (w == nullptr) return false;
  M::getri(&n, r, &n, pivots, w, &lwork, &status);
  if (status != 0) return !failed(Step::inversion, status);
  return true;
}

// A work vector obtained before the inversion.
template <class Array> auto ready(const Array &work, int lwork) {
  return [&work, lwork] { return std::pair{work.data(), lwork}; };
}

} // namespace ruf::solver
