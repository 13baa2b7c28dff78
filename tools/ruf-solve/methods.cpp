#include "methods.h"

#include <cfenv>
#include <cmath>
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

// ---- the registry ----------------------------------------------------------

constexpr InfoText kGegasInfos[] = {
    {1, "no usable pivot", false}, // every candidate in some column contains 0
};

const Method kMethods[] = {
    {"gegas", "DIGEGAS", "interval Gaussian elimination, pivots of largest mignitude",
     Kind::solution, kGegasInfos, gegas},
    {"trtrs",
     "DITRTRS",
     "substitution on the triangle of A chosen by --uplo",
     Kind::solution,
     {},
     trtrs},
    {"trtri", "DITRTRI", "inverse of the triangle of A chosen by --uplo", Kind::inverse, {}, trtri},
};

// Restores the rounding mode a routine may leave changed.
class RoundingGuard {
public:
  RoundingGuard() : saved_(std::fegetround()) {}
  ~RoundingGuard() { std::fesetround(saved_); }
  RoundingGuard(const RoundingGuard &) = delete;
  RoundingGuard &operator=(const RoundingGuard &) = delete;

private:
  int saved_;
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
    o.meaning = "unexpected status";
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
