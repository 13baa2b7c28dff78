#include "methods.h"
#include "rounding_guard.h"

#include <cfenv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

namespace ruf_solve {
namespace {

int lead(int n) {
  return n > 1 ? n : 1;
}

std::string letter(char c) {
  return std::string("\"") + c + "\"";
}

Outcome result(std::string call, int info, int rows, int cols, std::vector<ruf_di> values) {
  Outcome o;
  o.call = std::move(call);
  o.info = info;
  o.rows = rows;
  o.cols = cols;
  o.values = std::move(values);
  return o;
}

// ---- the calls -------------------------------------------------------------
// Each works on copies and passes one hidden length per character option.

Outcome gegas(const System &s, const Settings &) {
  std::vector<ruf_di> b = s.b;
  const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
  int info = 0;
  DIGEGAS("N", &n, &nrhs, s.a.data(), &ld, b.data(), &ld, &info, 1);
  return result("DIGEGAS(\"N\")", info, n, nrhs, std::move(b));
}

Outcome trtrs(const System &s, const Settings &set) {
  std::vector<ruf_di> b = s.b;
  const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
  const char uplo[2] = {set.uplo, '\0'};
  int info = 0;
  DITRTRS(uplo, "N", "N", &n, &nrhs, s.a.data(), &ld, b.data(), &ld, &info, 1, 1, 1);
  return result("DITRTRS(" + letter(set.uplo) + ", \"N\", \"N\")", info, n, nrhs, std::move(b));
}

Outcome trtri(const System &s, const Settings &set) {
  std::vector<ruf_di> a = s.a;
  const int n = s.n, ld = lead(s.n);
  const char uplo[2] = {set.uplo, '\0'};
  int info = 0;
  DITRTRI(uplo, "N", &n, a.data(), &ld, &info, 1, 1);
  return result("DITRTRI(" + letter(set.uplo) + ", \"N\")", info, n, n, std::move(a));
}

Outcome gehss(const System &s, const Settings &) {
  std::vector<ruf_di> b = s.b;
  const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
  int info = 0;
  DIGEHSS("N", &n, &nrhs, s.a.data(), &ld, b.data(), &ld, &info, 1);
  return result("DIGEHSS(\"N\")", info, n, nrhs, std::move(b));
}

// One right-hand side per call: the columns of B in turn, up to the first
// failure. The routine leaves the rounding mode changed; run() restores it.
Outcome gehbs(const System &s, const Settings &) {
  std::vector<ruf_di> b = s.b;
  const int n = s.n, ld = lead(s.n);
  int info = 0;
  for (int c = 0; c < s.nrhs && info == 0; ++c)
    DIGEHBS("N", &n, s.a.data(), &ld, b.data() + s.index(0, c), &ld, &info, 1);
  return result("DIGEHBS(\"N\") per column of B", info, n, s.nrhs, std::move(b));
}

// The regularity tests: a verdict and its figures as notes, no enclosure.
std::string verdict(int n, int flag) {
  if (n == 0) return "none: the matrix is empty";
  return flag == 1 ? "regular" : flag == -1 ? "singular" : "undecided";
}

// LAPACK's count of unconverged values, passed on as info: the verdict is
// then undecided.
bool lapack_failed(int info) {
  return info > 0 && info != 1000;
}

Outcome gerbr(const System &s, const Settings &) {
  const int n = s.n, ld = lead(s.n);
  double r = std::numeric_limits<double>::quiet_NaN(); // stays NaN when not written
  int flag = 0, info = 0;
  DIGERBR(&n, s.a.data(), &ld, &r, &flag, &info);
  Outcome o = result("DIGERBR", info, 0, 0, {});
  if (lapack_failed(info)) o.meaning = "DGEEV did not converge: undecided";
  if (info == 0 || lapack_failed(info)) o.notes.push_back({"verdict", verdict(n, flag)});
  if (!std::isnan(r))
    o.notes.push_back({"r", r});
  else if (info == 0 && n > 0)
    o.notes.push_back({"r", std::string("not computed: mid A is singular")});
  return o;
}

Outcome gesvr(const System &s, const Settings &) {
  const int n = s.n, ld = lead(s.n);
  ruf_di sa{0, 0}, sd{0, 0};
  int flag = 0, info = 0;
  DIGESVR(&n, s.a.data(), &ld, &sa, &sd, &flag, &info);
  Outcome o = result("DIGESVR", info, 0, 0, {});
  if (lapack_failed(info)) o.meaning = "DGESVD did not converge: undecided";
  if (info == 0 || lapack_failed(info)) o.notes.push_back({"verdict", verdict(n, flag)});
  // A range the failure left uncomputed stays [0, 0].
  if (n > 0 && info >= 0 && info != 1000) {
    o.notes.push_back({"singular values of mid A", sa});
    o.notes.push_back({"singular values of rad A", sd});
  }
  return o;
}

std::string number(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

// Preconditioning with the midpoint inverse, Gaussian elimination on the
// preconditioned system for a starting box, then Gauss-Seidel sweeps from it.
// A failed step ends the pipeline with its own info, named in the meaning.
Outcome gemip_gegss(const System &s, const Settings &set) {
  std::vector<ruf_di> a = s.a, b = s.b;
  const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
  const std::string gss =
      "DIGEGSS(\"N\", eps = " + number(set.eps) + ", maxit = " + std::to_string(set.maxit) + ")";
  int info = 0;
  DIGEMIP(&n, &nrhs, a.data(), &ld, b.data(), &ld, &info);
  if (info != 0) {
    Outcome o = result("DIGEMIP", info, n, nrhs, std::move(b));
    // A zero pivot k of the factorisation of mid A; 1 is also a failed inversion.
    if (info > 0 && info != 1000)
      o.meaning = "DIGEMIP: mid A is singular (zero pivot " + std::to_string(info) + ")" +
                  (info == 1 ? " or could not be inverted" : "");
    return o;
  }
  std::vector<ruf_di> x0 = b;
  DIGEGAS("N", &n, &nrhs, a.data(), &ld, x0.data(), &ld, &info, 1);
  if (info != 0) {
    Outcome o = result("DIGEMIP; DIGEGAS(\"N\")", info, n, nrhs, std::move(x0));
    if (info == 1) o.meaning = "DIGEGAS: no starting box (no usable pivot in R*A)";
    return o;
  }
  int sweeps = set.maxit;
  DIGEGSS("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, x0.data(), &set.eps, &sweeps, &info, 1);
  Outcome o = result("DIGEMIP; DIGEGAS(\"N\"); " + gss, info, n, nrhs, std::move(b));
  if (info == 0 && n > 0 && nrhs > 0) {
    // On exit the routine's maxit is the sweep that met the threshold, or
    // maxit + 1 when every sweep ran (it wraps for the largest maxit).
    const bool converged = sweeps >= 1 && sweeps <= set.maxit;
    o.notes.push_back({"sweeps", static_cast<long long>(converged ? sweeps : set.maxit)});
    o.notes.push_back(
        {"stopped", std::string(converged ? "change below the threshold" : "sweep limit reached")});
  }
  return o;
}

Outcome gekws(const System &s, const Settings &set) {
  std::vector<ruf_di> b = s.b;
  const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
  int info = 0;
  DIGEKWS("N", &n, &nrhs, s.a.data(), &ld, b.data(), &ld, &set.eps, &info, 1);
  return result("DIGEKWS(\"N\", eps = " + number(set.eps) + ")", info, n, nrhs, std::move(b));
}

// ---- the registry ----------------------------------------------------------

constexpr InfoText kGegasInfos[] = {
    {1, "no usable pivot", false}, // every candidate in some column contains 0
};

constexpr InfoText kGehssInfos[] = {
    {1, "no reflection: a remaining column's sum of squares contains 0", false},
};

constexpr InfoText kGehbsInfos[] = {
    {1, "the comparison matrix could not be inverted", false},
    {2, "not shown to be an H-matrix", false},
};

constexpr InfoText kGekwsInfos[] = {
    {1, "not verified: ||I - R*A|| >= 1", false},
    {2, "mid A could not be inverted: R was not computed in this call", false},
};

constexpr std::span<const InfoText> kNoInfos{}; // 0, negatives and 1000 only

const Method kMethods[] = {
    {"gegas", "DIGEGAS", "interval Gaussian elimination, pivots of largest mignitude",
     Kind::solution, EpsRule::unused, kGegasInfos, gegas},
    {"trtrs", "DITRTRS", "substitution on the triangle of A chosen by --uplo", Kind::solution,
     EpsRule::unused, kNoInfos, trtrs},
    {"trtri", "DITRTRI", "inverse of the triangle of A chosen by --uplo", Kind::inverse,
     EpsRule::unused, kNoInfos, trtri},
    {"gehss", "DIGEHSS", "Householder triangularisation; back substitution on the transformed B",
     Kind::solution, EpsRule::unused, kGehssInfos, gehss},
    {"gehbs", "DIGEHBS", "H-matrix enclosure (Hansen-Bliek-Rohn), one column of B at a time",
     Kind::solution, EpsRule::unused, kGehbsInfos, gehbs},
    // Its positive infos come from DIGEMIP or DIGEGAS; the call names them.
    {"gemip+gegss", "DIGEGSS",
     "midpoint-inverse preconditioning, then Gauss-Seidel sweeps from the Gaussian enclosure",
     Kind::solution, EpsRule::positive, kNoInfos, gemip_gegss},
    {"gekws", "DIGEKWS", "Krawczyk iteration with the midpoint inverse", Kind::solution,
     EpsRule::nonnegative, kGekwsInfos, gekws},
    // A positive info is LAPACK's; the call names it.
    {"gerbr", "DIGERBR", "regular/singular by a spectral radius", Kind::classification,
     EpsRule::unused, kNoInfos, gerbr},
    {"gesvr", "DIGESVR", "regularity test by singular values", Kind::classification,
     EpsRule::unused, kNoInfos, gesvr},
};

void read_info(const Method &m, Outcome &o) {
  if (o.info == 0) {
    o.meaning = "ok";
    o.enclosure = true;
  } else if (o.info < 0) {
    o.meaning = "argument " + std::to_string(-o.info) + " rejected";
  } else if (o.info == 1000) {
    o.meaning = "no workspace";
  } else {
    if (o.meaning.empty()) o.meaning = "unexpected status"; // a call may name it itself
    for (const InfoText &t : m.infos) {
      if (t.info == o.info) {
        o.meaning = t.meaning;
        o.enclosure = t.enclosure;
      }
    }
  }
}

double largest_width(const std::vector<ruf_di> &values) {
  double w = 0;
  for (const ruf_di &x : values) {
    const double d = D_WID(&x); // rounded up
    if (std::isnan(d)) return std::numeric_limits<double>::quiet_NaN();
    if (d > w) w = d;
  }
  return w;
}

} // namespace

std::span<const Method> methods() {
  return kMethods;
}

const Method *find_method(std::string_view name) {
  for (const Method &m : kMethods)
    if (name == m.name) return &m;
  return nullptr;
}

Outcome run(const Method &method, const System &system, const Settings &settings) {
  Outcome o;
  {
    RoundingGuard guard;
    o = method.call(system, settings);
  }
  read_info(method, o);
  if (o.enclosure) o.largest_width = largest_width(o.values);
  return o;
}

const char *kind_name(Kind kind) {
  switch (kind) {
  case Kind::solution:
    return "solution";
  case Kind::inverse:
    return "inverse";
  case Kind::classification:
    return "classification";
  }
  return "?";
}

} // namespace ruf_solve
