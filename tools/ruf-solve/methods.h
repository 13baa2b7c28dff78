// The methods ruf-solve can run: one registry entry each, holding its
// command-line name, what it computes, what its positive info values mean and
// how to call the library. The command line, the runner and both output forms
// work from these entries only, so a new method is one new entry.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "system.h"

namespace ruf_solve {

// Choices from the command line that some methods read.
struct Settings {
  char uplo = 'L';    // the triangle of A used by the triangular methods
  double eps = 1e-10; // tolerance of the iterative methods
  int maxit = 100;    // sweep limit of the Gauss-Seidel refinement, >= 0
};

// The --eps values a method's routine accepts. The routine would reject any
// other, through xerbla_ and a negative info: the command line refuses them.
enum class EpsRule {
  unused,
  nonnegative, // eps >= 0
  positive,    // eps > 0
};

enum class Kind {
  solution,       // encloses X in A·X = B: an n×nrhs result
  inverse,        // encloses an inverse: an n×n result
  classification, // a verdict on A (regularity tests); selected by --classify
};

// A fact a method reports besides its enclosure.
struct Note {
  std::string key;
  std::variant<long long, double, std::string, ruf_di> value;
};

// What one method produced.
struct Outcome {
  std::string call; // the library call(s) as made, e.g. DITRTRS("L", "N", "N")
  int info = 0;
  int rows = 0, cols = 0;
  std::vector<ruf_di> values; // rows×cols, column-major
  std::vector<Note> notes;
  // Filled by run(), from info and the entry's table:
  std::string meaning;
  bool enclosure = false;   // values hold an enclosure worth showing
  double largest_width = 0; // over values, rounded up; NaN when a bound is NaN
};

// A positive info value of a method and what it leaves in the result array.
struct InfoText {
  int info;
  const char *meaning;
  bool enclosure; // the result array still holds a valid enclosure
};

struct Method {
  const char *name;    // as given to --method
  const char *routine; // the library routine behind it
  const char *summary; // one line for the usage text
  Kind kind;
  EpsRule eps;
  std::span<const InfoText> infos; // positive info values; 0, negatives and 1000 are shared
  Outcome (*call)(const System &, const Settings &);
};

// Every method, in the order they run by default.
std::span<const Method> methods();
const Method *find_method(std::string_view name);

// Runs a method on its own copy of the system in the caller's rounding mode,
// and puts that mode back afterwards whatever the routine did with it.
Outcome run(const Method &method, const System &system, const Settings &settings);

const char *kind_name(Kind kind);

} // namespace ruf_solve
