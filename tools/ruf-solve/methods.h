// The methods ruf-solve can run: one registry entry each, holding its
// command-line name, what it computes, the element kinds it takes, what its
// positive info values mean and how to call the library. The command line,
// the runner and both output forms work from these entries only, so a new
// method is one new entry.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "system.h"

namespace ruf_solve {

enum class Precision { single, dbl };

// Choices from the command line that some methods read.
struct Settings {
  char uplo = 'L';                      // the triangle of A used by the triangular methods
  double eps = 1e-10;                   // tolerance of the iterative methods
  int maxit = 100;                      // sweep limit of the Gauss-Seidel refinement, >= 0
  Precision precision = Precision::dbl; // which member of each routine runs
  int hull_work = 100000;               // maxit of each hull-bound call
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
  hull,           // the hull of the solution set, bracketed (n×nrhs); selected by --hull
};

// A fact a method reports besides its enclosure.
struct Note {
  std::string key;
  std::variant<long long, double, std::string, ruf_di> value;
};

// A result, in the system's element kind at double precision (a single
// member's result is widened exactly).
using Values = std::variant<std::vector<ruf_di>, std::vector<ruf_zr>, std::vector<ruf_zc>>;

// Whether a result is proven to contain the whole solution set (or the
// inverse), by ruf-solve's own test in rigorous arithmetic.
// wrong: a system of the data whose solution provably lies outside.
enum class Verdict { none, verified, not_verified, wrong };

// What one method produced.
struct Outcome {
  std::string call; // the library call(s) as made, e.g. DITRTRS("L", "N", "N")
  int info = 0;
  int rows = 0, cols = 0;
  Values values; // rows×cols, column-major
  std::vector<Note> notes;
  // Filled by run(), from info and the entry's table:
  std::string meaning;
  bool enclosure = false;   // values hold a result worth showing
  double largest_width = 0; // over values (a disc's diameter), rounded up; NaN when a bound is NaN
  Verdict verdict = Verdict::none;
  std::string why; // what the verdict rests on, or why none could be given
  // The hull bounds: the inner box [sup L, inf U] (real systems, rows×cols).
  std::vector<ruf_di> inner;
  // Set when a hull ran: the components (column-major indices) whose
  // enclosure provably misses part of the hull.
  bool hull_checked = false;
  std::vector<int> misses_hull;
};

// A positive info value of a method and what it leaves in the result array.
struct InfoText {
  int info;
  const char *meaning;
  bool enclosure; // the result array still holds a result
};

struct Method {
  const char *name;    // as given to --method
  const char *routine; // the library routine behind it, "??" standing for the member's code
  const char *summary; // one line for the usage text
  Kind kind;
  EpsRule eps;
  bool complex;                    // also runs on complex systems
  std::span<const InfoText> infos; // positive info values; 0, negatives and 1000 are shared
  Outcome (*call)(const System &, const Settings &);
};

// Every method, in the order they run by default.
std::span<const Method> methods();
const Method *find_method(std::string_view name);
// Whether the method runs on systems of this element kind.
bool takes(const Method &m, Element e);

// Runs a method on its own copy of the system in the caller's rounding mode,
// puts that mode back afterwards whatever the routine did with it, and gives
// the result its verdict.
Outcome run(const Method &method, const System &system, const Settings &settings);

const char *kind_name(Kind kind);
const char *element_name(Element e);

} // namespace ruf_solve
