// ruf-solve's own verdict on a result, in rigorous arithmetic of its own
// (outward rounding, the textbook product of two intervals; never the
// library's elementary operations).
//
// A result X is verified when a Krawczyk-type inclusion test proves that it
// contains every solution of every system A x = b with A in [A] and b in [b]
// (for an inverse, every column of A^-1): with R ~ mid(A)^-1 from LAPACK and
// Y = X widened a little, K = R·b + (I - R·A)·Y inside the interior of Y
// proves every A in [A] nonsingular and every solution inside K, and K inside
// X (inside the disc, for a disc result) proves it inside X. Complex systems
// are embedded into real ones of twice the order, [Re -Im; Im Re], which hold
// every complex system of the data; discs are taken by their enclosing boxes.
//
// A result that is not proven so is called wrong when a point system of the
// data (the midpoint, vertices: all of them for at most four free
// parameters) provably has its solution outside it.
#pragma once

#include <string>

#include "methods.h"

namespace ruf_solve {

// The largest width of the values (a disc's diameter), rounded up; NaN when a
// number is NaN.
double largest_width(const Values &values);

// Sets o.verdict and o.why for a solution or an inverse.
void judge(const Method &method, const System &system, const Settings &settings, Outcome &o);

// The verdict itself on real data: A is n×n, B and X are n×m, all
// column-major. why says what the verdict rests on, or what failed.
Verdict judge_enclosure(int n, int m, const ruf_di *a, const ruf_di *b, const ruf_di *x,
                        std::string *why);

} // namespace ruf_solve
