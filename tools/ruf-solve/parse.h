// Reading a linear system from text.
//
// The format: the order n and the number of right-hand sides nrhs, then the
// n×n entries of A row by row, then the n×nrhs entries of B row by row.
// An entry is a real interval "[lo, hi]", a complex rectangle
// "[a, b] + [c, d]i", a disc "<c, r>" with a real or complex centre c, or a
// plain real or complex number ("0.1", "1.5+2i", "1.5 - 2i", "3i"). The
// element kind of the system follows from its entries: any disc makes a disc
// system, any other complex entry a rectangle system; rectangles and discs do
// not mix. Whitespace and line breaks are free, "#" starts a comment that runs
// to the end of the line. docs/ruf-solve.md describes it with examples.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "system.h"

namespace ruf_solve {

// A malformed input: where it shows (1-based line and column) and what is
// wrong.
class InputError : public std::runtime_error {
public:
  InputError(int line, int column, const std::string &what)
      : std::runtime_error(what), line_(line), column_(column) {}
  int line() const { return line_; }
  int column() const { return column_; }

private:
  int line_, column_;
};

// Reads a whole system; throws InputError.
System parse_system(std::string_view text);

// The tightest double interval that contains the decimal number written in
// `token` ("0.1", "-2.5e-3", ".5", "inf"), or nothing when the token is not
// such a number. The caller's rounding mode is left as it was.
std::optional<ruf_di> decimal_enclosure(std::string_view token);

} // namespace ruf_solve
