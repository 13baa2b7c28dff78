// The frame every solver routine follows, for every member, from one table of
// the methods' argument rules and workspace: each bad argument alone gives
// minus its position after one report under the routine's name, before any
// allocation or elementary operation, with every output untouched; the first
// of two bad arguments wins; every letter of an option is read in both cases;
// an empty problem returns 0 at once; a failure at each allocation in turn is
// reported with 1000 (under the names some routines use on purpose), keeps
// the arrays obtained before it (the hull solvers, our own, release them) and
// writes nothing; and a normal call asks for exactly the arrays of its
// layout, in order, and releases them, with every elementary operation
// through its wrapper (the hull solvers compute in their own rigorous
// arithmetic) and the caller's rounding direction left alone.
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "solvers/harness.h"

namespace {

using namespace ruf_test;

// One call's arguments, every one a field. Options are indexed in the order
// the routine takes them.
template <class E> struct Args {
  std::string opt[3] = {"N", "N", "N"};
  int n = 3, nrhs = 2, lda = 3, ldb = 3, ldx = 3, k = 1;
  bool zero_maxit = false;
  Real<E> eps = Real<E>(1e-6);
};

// The arrays and scalars a call may write.
template <class E> struct Data {
  IMat<E> a = filled(3, 3, around<E>(1, 0.5)), b = filled(3, 2, around<E>(5, 1));
  IMat<E> x = filled(3, 2, around<E>(0, 100));
  int maxit = 5, flag = 7;
  Real<E> r = 7;
  IMat<E> ranges = filled(2, 1, pt<E>(7)); // the singular-value ranges sa and sd
  bool same_as(const Data &d) const {
    return same_bits(a, d.a) && same_bits(b, d.b) && same_bits(ranges, d.ranges) &&
           maxit == d.maxit && flag == d.flag && std::memcmp(&r, &d.r, sizeof r) == 0;
  }
};

enum class Rule {
  option,
  order,
  count,
  lead_a,
  lead_b,
  eps_positive,
  eps_nonnegative,
  component,  // 1 <= k <= max(1, n)
  work_limit, // maxit >= 1
  lead_x      // the approximation's leading dimension: >= max(1, n)
};
struct ArgRule {
  Rule rule;
  int position;
  const char *letters = nullptr; // an option's accepted letters
};

// A method of a member: its argument rules in declared order, the arrays it
// asks for (E, P, R, I: element, point, real and integer arrays; 2: n x n,
// r: n x nrhs, 1: n, w: LAPACK's work of 64 n), how many of them stop the
// call when they fail, and how to call it.
template <class E> struct Method {
  const char *word;
  std::vector<ArgRule> rules;
  std::vector<std::string> layout;
  std::function<int(const Args<E> &, Data<E> &)> call;
  int stopping = 1 << 30;
  std::function<void(Data<E> &)> data = nullptr; // a matrix on which the call succeeds
  bool own = false; // our own design: releases on failure, no elementary operations
  // Valid arguments: every option its first letter.
  Args<E> args() const {
    Args<E> c;
    int k = 0;
    for (const ArgRule &r : rules)
      if (r.rule == Rule::option) c.opt[k++] = std::string(1, r.letters[0]);
    return c;
  }
  // Data on which the call succeeds (and releases its workspace): by default
  // a strictly diagonally dominant point matrix, whose antisymmetric
  // off-diagonal part keeps even the double rectangles' quotients (scaled by
  // the dividend, on purpose) clear of a zero pivot.
  Data<E> valid() const {
    Data<E> d;
    d.a = generated<E>(3, 3, [](int i, int j) { return pt<E>(i == j ? 8 : i < j ? 1 : -1); });
    if (data) data(d);
    return d;
  }
};

template <class E> std::vector<Method<E>> methods() {
  using S = Solvers<E>;
  using A = Args<E>;
  using D = Data<E>;
  const auto opt = [](const A &c, int k) { return c.opt[k].c_str(); };
  std::vector<Method<E>> m = {
      {"TRTRS",
       {{Rule::option, 1, "UuLl"},
        {Rule::option, 2, "NnTtCc"},
        {Rule::option, 3, "NnUu"},
        {Rule::order, 4},
        {Rule::count, 5},
        {Rule::lead_a, 7},
        {Rule::lead_b, 9}},
       {"E2", "E1"},
       [opt](const A &c, D &d) {
         int info = 99;
         S::trtrs(opt(c, 0), opt(c, 1), opt(c, 2), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(),
                  &c.ldb, &info, 1, 1, 1);
         return info;
       }},
      {"TRTRI",
       {{Rule::option, 1, "UuLl"}, {Rule::option, 2, "NnUu"}, {Rule::order, 3}, {Rule::lead_a, 5}},
       {"E2", "E1", "E2"},
       [opt](const A &c, D &d) {
         int info = 99;
         S::trtri(opt(c, 0), opt(c, 1), &c.n, d.a.data(), &c.lda, &info, 1, 1);
         return info;
       }},
      {"GEGAS",
       {{Rule::option, 1, "NnTtCc"},
        {Rule::order, 2},
        {Rule::count, 3},
        {Rule::lead_a, 5},
        {Rule::lead_b, 7}},
       {"E2"},
       [opt](const A &c, D &d) {
         int info = 99;
         S::gegas(opt(c, 0), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb, &info, 1);
         return info;
       }},
      {"GEGSS",
       {{Rule::option, 1, "NnTtCc"},
        {Rule::order, 2},
        {Rule::count, 3},
        {Rule::lead_a, 5},
        {Rule::lead_b, 7},
        {Rule::eps_positive, 9}},
       {"E2", "Er", "Er", "R2", "R1", "R1"},
       [opt](const A &c, D &d) {
         int info = 99;
         S::gegss(opt(c, 0), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb, d.x.data(),
                  &c.eps, &d.maxit, &info, 1);
         return info;
       }},
      {"GEKWS",
       {{Rule::option, 1, "NnTtCc"},
        {Rule::order, 2},
        {Rule::count, 3},
        {Rule::lead_a, 5},
        {Rule::lead_b, 7},
        {Rule::eps_nonnegative, 8}},
       {},
       [opt](const A &c, D &d) {
         int info = 99;
         S::gekws(opt(c, 0), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb, &c.eps, &info,
                  1);
         return info;
       }},
      {"GEMIP",
       {{Rule::order, 1}, {Rule::count, 2}, {Rule::lead_a, 4}, {Rule::lead_b, 6}},
       {"P2", "E2", "Er", "Pw", "I1"},
       [](const A &c, D &d) {
         int info = 99;
         S::gemip(&c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb, &info);
         return info;
       }},
  };
  // Krawczyk: the point matrices (the single real member reserves a third),
  // the element arrays, then the inversion's arrays, whose failures the real
  // members survive (R stays zero, so the contraction test fails: info 1).
  Method<E> &kws = m[4];
  const bool real = !Kind<E>::complex;
  if (real) {
    kws.layout = {"P2", "P2", "E2", "E2", "Er", "E1", "E1", "I1", "P2", "Pw"};
    if (sizeof(Real<E>) == 4) kws.layout.insert(kws.layout.begin(), "P2");
    kws.stopping = static_cast<int>(kws.layout.size()) - 3;
  } else {
    kws.layout = {"P2", "P2", "E2", "E2", "Er", "E1", "E1", "P2", "I1", "Pw"};
  }
  // The single real member takes getri's work vector after the factorisation.
  if (real && sizeof(Real<E>) == 4) std::swap(m[5].layout[3], m[5].layout[4]);
  if constexpr (!Kind<E>::complex) {
    m.push_back({"GEHSS",
                 {{Rule::option, 1, "NnTtCc"},
                  {Rule::order, 2},
                  {Rule::count, 3},
                  {Rule::lead_a, 5},
                  {Rule::lead_b, 7}},
                 {"E2", "E2", "E1", "E1", "E1"},
                 [opt](const A &c, D &d) {
                   int info = 99;
                   S::gehss(opt(c, 0), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb, &info,
                            1);
                   return info;
                 }});
    m.push_back(
        {"GEHBS",
         {{Rule::option, 1, "NnTtCc"}, {Rule::order, 2}, {Rule::lead_a, 4}, {Rule::lead_b, 6}},
         {"E2", "R2", "R2", "I1", "Rw", "R1", "R1", "R1", "R1", "R2"},
         [opt](const A &c, D &d) {
           int info = 99;
           S::gehbs(opt(c, 0), &c.n, d.a.data(), &c.lda, d.b.data(), &c.ldb, &info, 1);
           return info;
         }});
    m.push_back({"GESZI",
                 {{Rule::order, 1}, {Rule::lead_a, 3}},
                 {"E2", "E2", "E2", "R2"},
                 [](const A &c, D &d) {
                   int info = 99;
                   S::geszi(&c.n, d.a.data(), &c.lda, &info);
                   return info;
                 }});
    m.push_back({"GERBR",
                 {{Rule::order, 1}, {Rule::lead_a, 3}},
                 {"R2", "R2", "R2", "R2", "R2", "I1", "Rw", "R1", "R1"},
                 [](const A &c, D &d) {
                   int info = 99;
                   S::gerbr(&c.n, d.a.data(), &c.lda, &d.r, &d.flag, &info);
                   return info;
                 },
                 1 << 30,
                 // Undecided, the one outcome that releases the workspace.
                 [](D &d) {
                   d.a = generated<E>(
                       3, 3, [](int i, int j) { return i == j ? pt<E>(1) : around<E>(0, 1); });
                 }});
    m.push_back({"GESVR",
                 {{Rule::order, 1}, {Rule::lead_a, 3}},
                 {"R2", "R2", "R1", "R1", "Rw"},
                 [](const A &c, D &d) {
                   int info = 99;
                   S::gesvr(&c.n, d.a.data(), &c.lda, &d.ranges(0, 0), &d.ranges(1, 0), &d.flag,
                            &info);
                   return info;
                 }});
    // The hull bounds: one layout up to the methods' own arrays (A, b, R,
    // I - R·A, R·b, X, two scratch vectors, pivots, getri's work), then the
    // vertex system's arrays; n = 3, computed in double by both members.
    const std::vector<std::string> common = {"#144", "#48", "#72", "#144", "#48",
                                             "#48",  "#48", "#48", "#12",  "#1536"};
    const std::vector<std::string> vertex = {"#72", "#144", "#144", "#48",
                                             "#48", "#48",  "#12",  "#12"};
    const std::vector<ArgRule> hull_rules = {{Rule::option, 1, "NnTtCc"}, {Rule::order, 2},
                                             {Rule::lead_a, 4},           {Rule::component, 6},
                                             {Rule::eps_nonnegative, 7},  {Rule::option, 8, "UuLl"},
                                             {Rule::work_limit, 9}};
    using Routine = decltype(S::gepps);
    const auto hull_call = [opt](Routine f) {
      return [opt, f](const A &c, D &d) {
        int info = 99;
        const int in = c.zero_maxit ? 0 : d.maxit;
        int maxit = in;
        f(opt(c, 0), &c.n, d.a.data(), &c.lda, d.b.data(), &c.k, &c.eps, opt(c, 1), &maxit,
          &d.ranges(0, 0), &info, 1, 1);
        if (maxit != in) d.maxit = maxit;
        return info;
      };
    };
    // Point data: one orthant, and a bracket within eps at once.
    const auto point_b = [](D &d) {
      d.a = generated<E>(3, 3, [](int i, int j) { return pt<E>(i == j ? 8 : i < j ? 1 : -1); });
      d.b = filled(3, 2, pt<E>(5));
    };
    // The programs: G, the tableau, h, c, u, y, the basis, U; then one
    // sub-problem record.
    std::vector<std::string> pps = common;
    for (const char *c : {"#288", "#2912", "#96", "#24", "#24", "#96", "#48", "#48"})
      pps.push_back(c);
    pps.insert(pps.end(), vertex.begin(), vertex.end());
    pps.push_back("#352");
    m.push_back({"GEPPS", hull_rules, pps, hull_call(S::gepps), 1 << 30, point_b, true});
    // The box pool (maxit + 1 slots), its free list, a scratch vector; then
    // the first list node.
    std::vector<std::string> pss = common;
    for (const char *c : {"#288", "#24", "#48"})
      pss.push_back(c);
    pss.insert(pss.end(), vertex.begin(), vertex.end());
    pss.push_back("#96");
    m.push_back({"GEPSS", hull_rules, pss, hull_call(S::gepss), 1 << 30, point_b, true});
  }
  // The fast verified solver: eight m x m and twelve m x nrhs double
  // arrays, the pivots, getri's work, two vectors, for the real system's
  // order m (n, or 2n for the complex members).
  {
    const int order = Kind<E>::complex ? 6 : 3;
    const auto sized = [](long long b) { return "#" + std::to_string(b); };
    std::vector<std::string> vsv(8, sized(8LL * order * order));
    vsv.insert(vsv.end(), 12, sized(8LL * order * 2));
    for (const long long b : {4LL * order, 8LL * 64 * order, 8LL * order, 8LL * order})
      vsv.push_back(sized(b));
    m.push_back({"GEVSV",
                 {{Rule::option, 1, "NnTtCc"},
                  {Rule::order, 2},
                  {Rule::count, 3},
                  {Rule::lead_a, 5},
                  {Rule::lead_b, 7},
                  {Rule::lead_x, 9}},
                 vsv,
                 [opt](const A &c, D &d) {
                   int info = 99;
                   std::vector<Point<E>> x(9);
                   S::gevsv(opt(c, 0), &c.n, &c.nrhs, d.a.data(), &c.lda, d.b.data(), &c.ldb,
                            x.data(), &c.ldx, &info, 1);
                   return info;
                 },
                 1 << 30,
                 [](D &d) { d.b = filled(3, 2, pt<E>(5)); },
                 true});
  }
  return m;
}

// The names some routines report an allocation failure under, on purpose.
template <class E> std::string allocation_name(const std::string &routine, int site) {
  static const std::map<std::string, std::string> renamed = {{"DITRTRS", "DIGETRS"},
                                                             {"SITRTRS", "SIGETRS"},
                                                             {"DITRTRI", "DIGETRI"},
                                                             {"SITRTRI", "SIGETRI"},
                                                             {"ZRTRTRI", "ZRGETRI"}};
  if (routine == "CCGEMIP" && site == 5) return "CCEMIP";
  const auto r = renamed.find(routine);
  return r == renamed.end() ? routine : r->second;
}

// The bytes of an array of the layout, for n = 3 and nrhs = 2; "#b" is b
// bytes as it stands.
template <class E> long long bytes(const std::string &code) {
  if (code[0] == '#') return std::stoll(code.substr(1));
  const long long n = 3, nrhs = 2, real = sizeof(Real<E>);
  const long long size = code[0] == 'E'   ? sizeof(E)
                         : code[0] == 'P' ? (Kind<E>::complex ? 2 : 1) * real
                         : code[0] == 'R' ? real
                                          : 4;
  const long long count = code[1] == '2'   ? n * n
                          : code[1] == 'r' ? n * nrhs
                          : code[1] == 'w' ? 64 * n
                                           : n;
  return size * count;
}

template <class E> class Frame : public SolverTest<E> {};
TYPED_TEST_SUITE(Frame, AllMembers);

// The bent calls of a method, from its rules.
template <class E>
std::vector<std::pair<std::string, std::function<void(Args<E> &)>>> bends(const ArgRule &r,
                                                                          int &option) {
  using A = Args<E>;
  using T = Real<E>;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  switch (r.rule) {
  case Rule::option: {
    const int k = option++;
    return {{"letter X", [k](A &c) { c.opt[k] = "X"; }}, {"blank", [k](A &c) { c.opt[k] = " "; }}};
  }
  case Rule::order:
    return {{"n < 0", [](A &c) { c.n = -1; }}};
  case Rule::count:
    return {{"nrhs < 0", [](A &c) { c.nrhs = -1; }}};
  case Rule::lead_a:
    return {{"lda < n", [](A &c) { c.lda = 2; }}, {"lda 0, n 0", [](A &c) { c.lda = 0, c.n = 0; }}};
  case Rule::lead_b:
    return {{"ldb < n", [](A &c) { c.ldb = 2; }}, {"ldb 0, n 0", [](A &c) { c.ldb = 0, c.n = 0; }}};
  case Rule::eps_positive:
    return {{"eps 0", [](A &c) { c.eps = 0; }},
            {"eps NaN", [nan](A &c) { c.eps = nan; }},
            {"eps < 0, n 0", [](A &c) { c.eps = -1, c.n = 0; }}};
  case Rule::lead_x:
    return {{"ldx < n", [](A &c) { c.ldx = 2; }}, {"ldx 0, n 0", [](A &c) { c.ldx = 0, c.n = 0; }}};
  case Rule::component:
    return {{"k 0", [](A &c) { c.k = 0; }}, {"k > n", [](A &c) { c.k = 4; }}};
  case Rule::work_limit:
    return {{"maxit 0", [](A &c) { c.zero_maxit = true; }}};
  case Rule::eps_nonnegative:
    return {{"eps < 0", [](A &c) { c.eps = T(-1e-30); }},
            {"eps NaN", [nan](A &c) { c.eps = nan; }},
            {"eps -inf, n 0", [](A &c) { c.eps = -std::numeric_limits<T>::infinity(), c.n = 0; }}};
  }
  return {};
}

TYPED_TEST(Frame, BadArgumentsAndEmptyProblemsReturnBeforeAnyWork) {
  using E = TypeParam;
  for (const Method<E> &m : methods<E>()) {
    const std::string routine = name<E>(m.word);
    // Each bad argument alone, then together with the last rule's bad value.
    std::vector<std::tuple<std::string, int, std::function<void(Args<E> &)>>> cases;
    int option = 0;
    for (const ArgRule &r : m.rules)
      for (auto &[what, bend] : bends<E>(r, option))
        cases.emplace_back(what, r.position, bend);
    const auto last = std::get<2>(cases.back());
    const auto [first_what, first_position, first] = cases.front();
    cases.emplace_back(first_what + " and the last rule", first_position, [=](Args<E> &c) {
      last(c);
      first(c);
    });
    cases.emplace_back("n 0", 0, [](Args<E> &c) { c.n = 0; });
    for (const ArgRule &r : m.rules)
      if (r.rule == Rule::count) cases.emplace_back("nrhs 0", 0, [](Args<E> &c) { c.nrhs = 0; });
    for (const auto &[what, position, bend] : cases) {
      SCOPED_TRACE(routine + ": " + what);
      reset_doubles();
      Args<E> c = m.args();
      bend(c);
      Data<E> d;
      const Data<E> before = d;
      prologues = 0;
      EXPECT_EQ(m.call(c, d), -position);
      EXPECT_TRUE(d.same_as(before)) << "an output was written";
      if (position > 0)
        EXPECT_TRUE(reported(routine, position));
      else
        EXPECT_TRUE(xerbla_calls().empty());
      EXPECT_EQ(allocation_count(), 0);
      EXPECT_EQ(prologues, 1) << "the routine's own entry only";
    }
    // Every accepted letter, in either case, is accepted.
    option = 0;
    for (const ArgRule &r : m.rules) {
      if (r.rule != Rule::option) continue;
      const int k = option++;
      for (const char *l = r.letters; *l; ++l) {
        Args<E> c = m.args();
        c.opt[k] = std::string(1, *l);
        Data<E> d = m.valid();
        EXPECT_GE(m.call(c, d), 0) << routine << " option " << k + 1 << " " << *l;
      }
    }
  }
}

TYPED_TEST(Frame, AllocationFailuresAndTheLayoutOfTheWorkspace) {
  using E = TypeParam;
  for (const Method<E> &m : methods<E>()) {
    const std::string routine = name<E>(m.word);
    const int sites = static_cast<int>(m.layout.size());
    for (int k = 1; k <= sites; ++k) {
      SCOPED_TRACE(routine + ": allocation " + std::to_string(k));
      reset_doubles();
      Data<E> d = m.valid();
      const Data<E> before = d;
      const int live = live_allocations();
      arm_allocation_failure(k);
      EXPECT_EQ(m.call(m.args(), d), k <= m.stopping ? 1000 : 1);
      EXPECT_TRUE(d.same_as(before)) << "an output was written";
      EXPECT_TRUE(reported(allocation_name<E>(routine, k), 1000));
      EXPECT_EQ(allocation_count(), k);
      EXPECT_EQ(live_allocations() - live, m.own ? 0 : k - 1)
          << "the arrays before the failure are kept (released by our own routines)";
    }
    SCOPED_TRACE(routine);
    reset_doubles();
    Data<E> d = m.valid();
    const int live = live_allocations();
    // In the caller's direction toward zero: the H-matrix solver leaves the
    // default behind (it sets directions through ieee_flags), every other
    // routine the caller's own. Each elementary operation runs its wrapper's
    // prologue.
    prologues = 0;
    const std::uint32_t after =
        mxcsr::field_after(mxcsr::kTowardZero, [&] { EXPECT_EQ(m.call(m.args(), d), 0); });
    EXPECT_EQ(after, std::string(m.word) == "GEHBS" ? mxcsr::kNearest : mxcsr::kTowardZero);
    if (m.own)
      EXPECT_EQ(prologues, 1) << "its own arithmetic, no elementary operation";
    else
      EXPECT_GT(prologues, 10) << "the operations go through their wrappers";
    std::vector<long long> want;
    for (const auto &code : m.layout)
      want.push_back(bytes<E>(code));
    EXPECT_EQ(allocation_sizes(), want) << "the arrays, in order";
    EXPECT_EQ(live_allocations(), live) << "released on the normal path";
  }
}

} // namespace
