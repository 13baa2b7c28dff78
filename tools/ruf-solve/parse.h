// Reading an interval linear system from text.
//
// The format: the order n and the number of right-hand sides nrhs, then the
// n×n entries of A row by row, then the n×nrhs entries of B row by row.
// An entry is an interval "[lo, hi]" or a plain decimal number; whitespace
// and line breaks are free, "#" starts a comment that runs to the end of the
// line. docs/ruf-solve.md describes it with examples.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "system.h"

namespace ruf_solve {

// A malformed input: the 1-based line where it shows and what is wrong.
class InputError : public std::runtime_error {
public:
  InputError(int line, const std::string &what) : std::runtime_error(what), line_(line) {}
  int line() const { return line_; }

private:
  int line_;
};

// Reads a whole system; throws InputError.
System parse_system(std::string_view text);

// The tightest double interval that contains the decimal number written in
// `token` ("0.1", "-2.5e-3", ".5", "inf"), or nothing when the token is not
// such a number. The caller's rounding mode is left as it was.
std::optional<ruf_di> decimal_enclosure(std::string_view token);

} // namespace ruf_solve
