// Printing what the methods produced: tables for a person, JSON for programs.
#pragma once

#include <cstdio>
#include <string>
#include <vector>

#include "methods.h"
#include "system.h"
#include "verify.h"

namespace ruf_solve {

struct Run {
  const Method *method;
  Outcome outcome;
};

struct Report {
  std::string source;      // file name, "<stdin>", or empty for the built-in example
  std::string shown_input; // text echoed before the tables (the built-in example), or empty
  const System *system;
  std::vector<Run> runs;
};

// After a hull-bound run: marks, in every other solution, the components that
// provably miss the hull (a bound inside the hull's inner box lies on the
// wrong side of a verified point of the solution set).
void mark_hull_misses(Report &report);

void write_text(std::FILE *out, const Report &report);
void write_json(std::FILE *out, const Report &report);

// A bound as printed everywhere: %.17g, so that it reads back to the same double.
std::string bound(double v);

} // namespace ruf_solve
