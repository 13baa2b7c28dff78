#include "methods.h"
#include "rounding_guard.h"
#include "verify.h"

#include <cfenv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>
#include <type_traits>

namespace ruf_solve {
namespace {

// ---- the members -----------------------------------------------------------
// The routines of each working element, through their upper-case wrappers.

template <class W> struct Member;
#define RUF_SOLVE_MEMBER(P, W, Wide, T, Pt)                                                        \
  template <> struct Member<W> {                                                                   \
    using wide = Wide; /* the element at double precision */                                       \
    using real = T;                                                                                \
    using point = Pt; /* the fast solver's approximation */                                        \
    static constexpr const char *code = #P;                                                        \
    static constexpr auto gegas = P##GEGAS;                                                        \
    static constexpr auto trtrs = P##TRTRS;                                                        \
    static constexpr auto trtri = P##TRTRI;                                                        \
    static constexpr auto gegss = P##GEGSS;                                                        \
    static constexpr auto gekws = P##GEKWS;                                                        \
    static constexpr auto gemip = P##GEMIP;                                                        \
    static constexpr auto gevsv = P##GEVSV;                                                        \
  };
RUF_SOLVE_MEMBER(SI, ruf_si, ruf_di, float, float)
RUF_SOLVE_MEMBER(DI, ruf_di, ruf_di, double, double)
RUF_SOLVE_MEMBER(CR, ruf_cr, ruf_zr, float, ruf_c)
RUF_SOLVE_MEMBER(ZR, ruf_zr, ruf_zr, double, ruf_z)
RUF_SOLVE_MEMBER(CC, ruf_cc, ruf_zc, float, ruf_c)
RUF_SOLVE_MEMBER(ZC, ruf_zc, ruf_zc, double, ruf_z)
#undef RUF_SOLVE_MEMBER

// The routines only the real members have.
template <class W> struct RealOnly;
template <> struct RealOnly<ruf_si> {
  static constexpr auto gehss = SIGEHSS;
  static constexpr auto gehbs = SIGEHBS;
  static constexpr auto gerbr = SIGERBR;
  static constexpr auto gesvr = SIGESVR;
  static constexpr auto gepps = SIGEPPS;
  static constexpr auto gepss = SIGEPSS;
};
template <> struct RealOnly<ruf_di> {
  static constexpr auto gehss = DIGEHSS;
  static constexpr auto gehbs = DIGEHBS;
  static constexpr auto gerbr = DIGERBR;
  static constexpr auto gesvr = DIGESVR;
  static constexpr auto gepps = DIGEPPS;
  static constexpr auto gepss = DIGEPSS;
};

// A double number rounded to float toward -inf or +inf.
float down(double v) {
  RoundingGuard guard;
  std::fesetround(FE_DOWNWARD);
  return static_cast<float>(v);
}
float up(double v) {
  RoundingGuard guard;
  std::fesetround(FE_UPWARD);
  return static_cast<float>(v);
}

// The system's data in the working element: a single member gets the double
// data narrowed outward, so that it still holds every point of the file's.
template <class W> W narrow(const typename Member<W>::wide &x) {
  if constexpr (std::is_same_v<W, ruf_si>) {
    return {down(x.inf), up(x.sup)};
  } else if constexpr (std::is_same_v<W, ruf_cr>) {
    return {{down(x.re.inf), up(x.re.sup)}, {down(x.im.inf), up(x.im.sup)}};
  } else if constexpr (std::is_same_v<W, ruf_cc>) {
    const float re = static_cast<float>(x.re), im = static_cast<float>(x.im);
    RoundingGuard guard;
    std::fesetround(FE_UPWARD);
    const double shift = std::fabs(x.re - re) + std::fabs(x.im - im);
    return {re, im, static_cast<float>(x.rad + shift)};
  } else {
    return x;
  }
}
template <class W> typename Member<W>::wide widen(const W &x) {
  if constexpr (std::is_same_v<W, ruf_si>)
    return {x.inf, x.sup};
  else if constexpr (std::is_same_v<W, ruf_cr>)
    return {{x.re.inf, x.re.sup}, {x.im.inf, x.im.sup}};
  else if constexpr (std::is_same_v<W, ruf_cc>)
    return {x.re, x.im, x.rad};
  else
    return x;
}
template <class W> std::vector<W> narrowed(const std::vector<typename Member<W>::wide> &v) {
  std::vector<W> out;
  out.reserve(v.size());
  for (const auto &x : v)
    out.push_back(narrow<W>(x));
  return out;
}
template <class W> Values widened(const std::vector<W> &v) {
  std::vector<typename Member<W>::wide> out;
  out.reserve(v.size());
  for (const W &x : v)
    out.push_back(widen(x));
  return out;
}

template <class W> std::vector<W> working_a(const System &s) {
  return narrowed<W>(s.as<typename Member<W>::wide>().a);
}
template <class W> std::vector<W> working_b(const System &s) {
  return narrowed<W>(s.as<typename Member<W>::wide>().b);
}

// Calls f with the working element for the system's kind and the precision.
template <class F> Outcome on_member(const System &s, const Settings &set, F f) {
  const bool single = set.precision == Precision::single;
  switch (s.element()) {
  case Element::real:
    return single ? f(std::type_identity<ruf_si>{}) : f(std::type_identity<ruf_di>{});
  case Element::rect:
    return single ? f(std::type_identity<ruf_cr>{}) : f(std::type_identity<ruf_zr>{});
  case Element::disc:
    return single ? f(std::type_identity<ruf_cc>{}) : f(std::type_identity<ruf_zc>{});
  }
  return {};
}
template <class F> Outcome on_real_member(const System &, const Settings &set, F f) {
  return set.precision == Precision::single ? f(std::type_identity<ruf_si>{})
                                            : f(std::type_identity<ruf_di>{});
}

int lead(int n) {
  return n > 1 ? n : 1;
}

std::string letter(char c) {
  return std::string("\"") + c + "\"";
}

std::string number(double v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%g", v);
  return buf;
}

template <class W>
Outcome result(std::string call, int info, int rows, int cols, const std::vector<W> &v) {
  Outcome o;
  o.call = Member<W>::code + std::move(call);
  o.info = info;
  o.rows = rows;
  o.cols = cols;
  o.values = widened(v);
  return o;
}

// ---- the calls -------------------------------------------------------------
// Each works on copies and passes one hidden length per character option.

Outcome gegas(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    int info = 0;
    Member<W>::gegas("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, &info, 1);
    return result("GEGAS(\"N\")", info, n, nrhs, b);
  });
}

Outcome trtrs(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    const char uplo[2] = {set.uplo, '\0'};
    int info = 0;
    Member<W>::trtrs(uplo, "N", "N", &n, &nrhs, a.data(), &ld, b.data(), &ld, &info, 1, 1, 1);
    return result("TRTRS(" + letter(set.uplo) + ", \"N\", \"N\")", info, n, nrhs, b);
  });
}

Outcome trtri(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    std::vector<W> a = working_a<W>(s);
    const int n = s.n, ld = lead(s.n);
    const char uplo[2] = {set.uplo, '\0'};
    int info = 0;
    Member<W>::trtri(uplo, "N", &n, a.data(), &ld, &info, 1, 1);
    return result("TRTRI(" + letter(set.uplo) + ", \"N\")", info, n, n, a);
  });
}

Outcome gehss(const System &s, const Settings &set) {
  return on_real_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    int info = 0;
    RealOnly<W>::gehss("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, &info, 1);
    return result("GEHSS(\"N\")", info, n, nrhs, b);
  });
}

// One right-hand side per call: the columns of B in turn, up to the first
// failure. The routine leaves the rounding mode changed; run() restores it.
Outcome gehbs(const System &s, const Settings &set) {
  return on_real_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    const int n = s.n, ld = lead(s.n);
    int info = 0;
    for (int c = 0; c < s.nrhs && info == 0; ++c)
      RealOnly<W>::gehbs("N", &n, a.data(), &ld, b.data() + s.index(0, c), &ld, &info, 1);
    return result("GEHBS(\"N\") per column of B", info, n, s.nrhs, b);
  });
}

// The regularity tests: a verdict and its figures as notes, no enclosure.
// Their verdicts come from floating-point tests, not from proofs.
std::string verdict(int n, int flag) {
  if (n == 0) return "none: the matrix is empty";
  return flag == 1 ? "regular" : flag == -1 ? "singular" : "undecided";
}

// LAPACK's count of unconverged values, passed on as info: the verdict is
// then undecided.
bool lapack_failed(int info) {
  return info > 0 && info != RUF_INFO_NO_WORKSPACE;
}

Outcome gerbr(const System &s, const Settings &set) {
  return on_real_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    using T = typename Member<W>::real;
    const std::vector<W> a = working_a<W>(s);
    const int n = s.n, ld = lead(s.n);
    T r = std::numeric_limits<T>::quiet_NaN(); // stays NaN when not written
    int flag = 0, info = 0;
    RealOnly<W>::gerbr(&n, a.data(), &ld, &r, &flag, &info);
    Outcome o = result<W>("GERBR", info, 0, 0, {});
    if (lapack_failed(info)) o.meaning = "the eigenvalues did not converge: undecided";
    if (info == 0 || lapack_failed(info)) o.notes.push_back({"verdict", verdict(n, flag)});
    if (!std::isnan(r))
      o.notes.push_back({"r", static_cast<double>(r)});
    else if (info == 0 && n > 0)
      o.notes.push_back({"r", std::string("not computed: mid A is singular")});
    return o;
  });
}

Outcome gesvr(const System &s, const Settings &set) {
  return on_real_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    const int n = s.n, ld = lead(s.n);
    W sa{0, 0}, sd{0, 0};
    int flag = 0, info = 0;
    RealOnly<W>::gesvr(&n, a.data(), &ld, &sa, &sd, &flag, &info);
    Outcome o = result<W>("GESVR", info, 0, 0, {});
    if (lapack_failed(info)) o.meaning = "the singular values did not converge: undecided";
    if (info == 0 || lapack_failed(info)) o.notes.push_back({"verdict", verdict(n, flag)});
    // A range the failure left uncomputed stays [0, 0].
    if (n > 0 && info >= 0 && info != RUF_INFO_NO_WORKSPACE) {
      o.notes.push_back({"singular values of mid A", widen(sa)});
      o.notes.push_back({"singular values of rad A", widen(sd)});
    }
    return o;
  });
}

// Preconditioning with the midpoint inverse, Gaussian elimination on the
// preconditioned system for a starting box, then Gauss-Seidel sweeps from it.
// A failed step ends the pipeline with its own info, named in the meaning.
Outcome gemip_gegss(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    using T = typename Member<W>::real;
    const std::string code = Member<W>::code;
    std::vector<W> a = working_a<W>(s), b = working_b<W>(s);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    const T eps = static_cast<T>(set.eps);
    const std::string gss =
        code + "GEGSS(\"N\", eps = " + number(eps) + ", maxit = " + std::to_string(set.maxit) + ")";
    int info = 0;
    Member<W>::gemip(&n, &nrhs, a.data(), &ld, b.data(), &ld, &info);
    if (info != 0) {
      Outcome o = result("GEMIP", info, n, nrhs, b);
      // A zero pivot k of the factorisation of mid A; 1 is also a failed inversion.
      if (info > 0 && info != RUF_INFO_NO_WORKSPACE)
        o.meaning = code + "GEMIP: mid A is singular (zero pivot " + std::to_string(info) + ")" +
                    (info == 1 ? " or could not be inverted" : "");
      return o;
    }
    std::vector<W> x0 = b;
    Member<W>::gegas("N", &n, &nrhs, a.data(), &ld, x0.data(), &ld, &info, 1);
    if (info != 0) {
      Outcome o = result("GEMIP; " + code + "GEGAS(\"N\")", info, n, nrhs, x0);
      if (info == 1) o.meaning = code + "GEGAS: no starting box (no usable pivot in R*A)";
      return o;
    }
    int sweeps = set.maxit;
    Member<W>::gegss("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, x0.data(), &eps, &sweeps, &info,
                     1);
    Outcome o = result("GEMIP; " + code + "GEGAS(\"N\"); " + gss, info, n, nrhs, b);
    if (info == 0 && n > 0 && nrhs > 0) {
      // On exit the routine's maxit is the sweep that met the threshold, or
      // maxit + 1 when every sweep ran (it wraps for the largest maxit).
      const bool converged = sweeps >= 1 && sweeps <= set.maxit;
      o.notes.push_back({"sweeps", static_cast<long long>(converged ? sweeps : set.maxit)});
      o.notes.push_back({"stopped", std::string(converged ? "change below the threshold"
                                                          : "sweep limit reached")});
    }
    return o;
  });
}

Outcome gekws(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    using T = typename Member<W>::real;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    const T eps = static_cast<T>(set.eps);
    int info = 0;
    Member<W>::gekws("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, &eps, &info, 1);
    return result("GEKWS(\"N\", eps = " + number(eps) + ")", info, n, nrhs, b);
  });
}

// The fast verified solver; info 1 leaves no enclosure (the entire line).
Outcome vsv(const System &s, const Settings &set) {
  return on_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    const std::vector<W> a = working_a<W>(s);
    std::vector<W> b = working_b<W>(s);
    std::vector<typename Member<W>::point> x(b.size() > 0 ? b.size() : 1);
    const int n = s.n, nrhs = s.nrhs, ld = lead(s.n);
    int info = 0;
    Member<W>::gevsv("N", &n, &nrhs, a.data(), &ld, b.data(), &ld, x.data(), &ld, &info, 1);
    return result("GEVSV(\"N\")", info, n, nrhs, b);
  });
}

// The hull of the solution set, endpoint by endpoint: both ends of every
// component of every column of B, each a bracketed call. The result is the
// outer box [inf L, sup U]; the notes give the inner one [sup L, inf U] (the
// hull lies between the two) and the work the calls used. The first info
// other than 0 ends the runs; info 1 (work limit) keeps a valid result.
template <bool Orthants> Outcome hull(const System &s, const Settings &set) {
  return on_real_member(s, set, [&](auto tag) {
    using W = typename decltype(tag)::type;
    using T = typename Member<W>::real;
    const std::vector<W> a = working_a<W>(s), b = working_b<W>(s);
    const int n = s.n, ld = lead(s.n);
    const T eps = static_cast<T>(set.eps);
    std::vector<W> outer(b.size()), inner(b.size());
    int info = 0;
    long long work = 0;
    for (int c = 0; c < s.nrhs && (info == 0 || info == 1); ++c)
      for (int k = 1; k <= n && (info == 0 || info == 1); ++k) {
        W lo{}, hi{};
        int status = 0;
        for (const char *ul : {"L", "U"}) {
          int maxit = set.hull_work;
          (Orthants ? RealOnly<W>::gepps
                    : RealOnly<W>::gepss)("N", &n, a.data(), &ld, b.data() + s.index(0, c), &k,
                                          &eps, ul, &maxit, *ul == 'L' ? &lo : &hi, &status, 1, 1);
          if (status < 0 || status >= 2) break;
          work += maxit;
          info = std::max(info, status);
        }
        if (status >= 2 || status < 0) info = status;
        outer[s.index(k - 1, c)] = {lo.inf, hi.sup};
        inner[s.index(k - 1, c)] = {lo.sup, hi.inf};
      }
    Outcome o = result(
        std::string(Orthants ? "GEPPS" : "GEPSS") + "(\"N\", k, eps = " + number(eps) +
            ", \"L\" and \"U\", maxit = " + std::to_string(set.hull_work) + ") per component",
        info, n, s.nrhs, outer);
    o.inner.reserve(inner.size());
    for (const W &e : inner)
      o.inner.push_back({e.inf, e.sup});
    if (info == 0 || info == 1) {
      for (int c = 0; c < s.nrhs; ++c)
        for (int k = 0; k < n; ++k) {
          const W &e = inner[s.index(k, c)];
          o.notes.push_back({"inner x(" + std::to_string(k + 1) + ")" +
                                 (s.nrhs > 1 ? " column " + std::to_string(c + 1) : ""),
                             ruf_di{e.inf, e.sup}});
        }
      o.notes.push_back({Orthants ? "sub-problems" : "list steps", work});
    }
    return o;
  });
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
    {1, "no contraction: ||I - R*A|| >= 1", false},
    {2, "mid A could not be inverted: R was not computed in this call", false},
};

constexpr InfoText kVsvInfos[] = {
    {1, "not verified: A too ill-conditioned or too wide for the proof", false},
};

constexpr InfoText kHullInfos[] = {
    {1, "work limit reached: a valid but wider bracket", true},
    {2, "A not proven regular: the hull may be unbounded", false},
};

constexpr std::span<const InfoText> kNoInfos{}; // 0, negatives and 1000 only

const Method kMethods[] = {
    {"gegas", "??GEGAS", "interval Gaussian elimination, pivots of largest mignitude",
     Kind::solution, EpsRule::unused, true, kGegasInfos, gegas},
    {"trtrs", "??TRTRS", "substitution on the triangle of A chosen by --uplo (that system only)",
     Kind::solution, EpsRule::unused, true, kNoInfos, trtrs},
    {"trtri", "??TRTRI", "inverse of the triangle of A chosen by --uplo (that triangle only)",
     Kind::inverse, EpsRule::unused, true, kNoInfos, trtri},
    {"gehss", "?IGEHSS", "Householder triangularisation; back substitution on the transformed B",
     Kind::solution, EpsRule::unused, false, kGehssInfos, gehss},
    {"gehbs", "?IGEHBS", "H-matrix enclosure (Hansen-Bliek-Rohn), one column of B at a time",
     Kind::solution, EpsRule::unused, false, kGehbsInfos, gehbs},
    // Its positive infos come from GEMIP or GEGAS; the call names them.
    {"gemip+gegss", "??GEGSS",
     "midpoint-inverse preconditioning, then Gauss-Seidel sweeps from the Gaussian enclosure",
     Kind::solution, EpsRule::positive, true, kNoInfos, gemip_gegss},
    {"gekws", "??GEKWS", "Krawczyk iteration with the midpoint inverse", Kind::solution,
     EpsRule::nonnegative, true, kGekwsInfos, gekws},
    {"vsv", "??GEVSV", "fast verified solver: BLAS products, proven by a residual inclusion test",
     Kind::solution, EpsRule::unused, true, kVsvInfos, vsv},
    {"gepps", "?IGEPPS", "the exact hull, bracketed: linear programs over orthants", Kind::hull,
     EpsRule::nonnegative, false, kHullInfos, hull<true>},
    {"gepss", "?IGEPSS", "the exact hull, bracketed: branch and bound over boxes", Kind::hull,
     EpsRule::nonnegative, false, kHullInfos, hull<false>},
    // A positive info is LAPACK's; the call names it.
    {"gerbr", "?IGERBR", "regular/singular by a spectral radius (a floating-point test)",
     Kind::classification, EpsRule::unused, false, kNoInfos, gerbr},
    {"gesvr", "?IGESVR", "regularity test by singular values (a floating-point test)",
     Kind::classification, EpsRule::unused, false, kNoInfos, gesvr},
};

void read_info(const Method &m, Outcome &o) {
  if (o.info == 0) {
    o.meaning = "ok";
    o.enclosure = true;
  } else if (o.info < 0) {
    o.meaning = "argument " + std::to_string(-o.info) + " rejected";
  } else if (o.info == RUF_INFO_NO_WORKSPACE) {
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

} // namespace

std::span<const Method> methods() {
  return kMethods;
}

const Method *find_method(std::string_view name) {
  for (const Method &m : kMethods)
    if (name == m.name) return &m;
  return nullptr;
}

bool takes(const Method &m, Element e) {
  return m.complex || e == Element::real;
}

Outcome run(const Method &method, const System &system, const Settings &settings) {
  Outcome o;
  {
    RoundingGuard guard;
    o = method.call(system, settings);
  }
  read_info(method, o);
  if (o.enclosure && method.kind != Kind::classification) {
    o.largest_width = largest_width(o.values);
    // A NaN anywhere is no result at all.
    if (std::isnan(o.largest_width)) {
      o.meaning = "ok, but the result holds NaN";
      o.verdict = Verdict::not_verified;
      o.why = "the result holds NaN";
    } else {
      judge(method, system, settings, o);
    }
  }
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
  case Kind::hull:
    return "hull";
  }
  return "?";
}

const char *element_name(Element e) {
  switch (e) {
  case Element::real:
    return "real intervals";
  case Element::rect:
    return "complex rectangles";
  case Element::disc:
    return "complex discs";
  }
  return "?";
}

} // namespace ruf_solve
