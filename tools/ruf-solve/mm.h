// Reading a system from Matrix Market files, the format users' matrices come
// in (SuiteSparse, NIST): A from one file, B from another, and optionally the
// radii of A's entries from a third. Both layouts (array and coordinate),
// real, integer, complex and pattern fields, and the general, symmetric,
// skew-symmetric and Hermitian symmetries are read. Every number is enclosed
// as the text reader encloses decimals; a radius r turns an entry a into
// [a - r, a + r] (a real system) or the rectangle of both parts ± r.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "system.h"

namespace ruf_solve {

// A malformed file: its name, the 1-based line, and what was expected.
class MatrixMarketError : public std::runtime_error {
public:
  MatrixMarketError(const std::string &file, int line, const std::string &what)
      : std::runtime_error(file + ":" + std::to_string(line) + ": " + what) {}
};

struct MatrixMarketFile {
  std::string name; // for messages
  std::string_view text;
};

// A is square of order at most kMaxOrder, B has as many rows, R (if its name
// is not empty) has A's shape and nonnegative real entries.
System read_matrix_market(const MatrixMarketFile &a, const MatrixMarketFile &b,
                          const MatrixMarketFile &radius);

} // namespace ruf_solve
