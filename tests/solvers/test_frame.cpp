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

// The arrays and scalars a call may write; bound to a call's arguments.
template <class E> struct Data {
  IMat<E> a = filled(3, 3, around<E>(1, 0.5)), b = filled(3, 2, around<E>(5, 1));
  IMat<E> x = filled(3, 2, around<E>(0, 100));
  IMat<E> ranges = filled(2, 1, pt<E>(7)); // the singular-value ranges, the hull's bound
  Real<E> r = 7;
  std::vector<Point<E>> approximation = std::vector<Point<E>>(9);
  int maxit = 5, flag = 7;
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
enum Option { uplo, trans, diag, ul };
struct ArgRule {
  Rule rule;
  int position;
  const char *letters = nullptr; // an option's accepted letters
  Option option = trans;
};
template <class E> const char *&option(Call<E> &c, Option o) {
  return o == uplo ? c.uplo : o == trans ? c.trans : o == diag ? c.diag : c.ul;
}

// A method of a member: its argument rules in declared order, the arrays it
// asks for (E, P, R, I: element, point, real and integer arrays; 2: n x n,
// r: n x nrhs, 1: n, w: LAPACK's work of 64 n), how many of them stop the
// call when they fail.
template <class E> struct Method {
  const char *word;
  std::vector<ArgRule> rules;
  std::vector<std::string> layout;
  int stopping = 1 << 30;
  std::function<void(Data<E> &)> data = nullptr; // a matrix on which the call succeeds
  // Our own design (releases on failure, no elementary operations): the
  // least order whose n x n arrays the workspace module's 32-bit byte count
  // cannot hold, refused as no workspace before A is read.
  int beyond = 0;
  bool own() const { return beyond > 0; }
  // Valid arguments: every option its first letter.
  Call<E> args() const {
    Call<E> c;
    c.n = 3, c.nrhs = 2, c.lda = c.ldb = c.ldx = 3, c.eps = Real<E>(1e-6), c.maxit = -1;
    for (const ArgRule &r : rules)
      if (r.rule == Rule::option) option(c, r.option) = r.letters; // one letter is read
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
  // The call on d's arrays; maxit (unless the arguments give one) and flag
  // come from d and go back to it.
  int call(Call<E> c, Data<E> &d) const {
    c.a = d.a.data(), c.b = d.b.data(), c.x0 = d.x.data(), c.x = d.approximation.data();
    c.r = &d.r, c.lo = &d.ranges(0, 0), c.hi = &d.ranges(1, 0), c.flag = d.flag;
    const int in = c.maxit = c.maxit < 0 ? d.maxit : c.maxit;
    const int info = invoke(word, c);
    if (c.maxit != in) d.maxit = c.maxit;
    d.flag = c.flag;
    return info;
  }
};

template <class E> std::vector<Method<E>> methods() {
  const std::vector<ArgRule> general = {{Rule::option, 1, "NnTtCc"},
                                        {Rule::order, 2},
                                        {Rule::count, 3},
                                        {Rule::lead_a, 5},
                                        {Rule::lead_b, 7}};
  const auto with = [&](ArgRule r) {
    std::vector<ArgRule> v = general;
    v.push_back(r);
    return v;
  };
  std::vector<Method<E>> m = {
      {"TRTRS",
       {{Rule::option, 1, "UuLl", uplo},
        {Rule::option, 2, "NnTtCc"},
        {Rule::option, 3, "NnUu", diag},
        {Rule::order, 4},
        {Rule::count, 5},
        {Rule::lead_a, 7},
        {Rule::lead_b, 9}},
       {"E2", "E1"}},
      {"TRTRI",
       {{Rule::option, 1, "UuLl", uplo},
        {Rule::option, 2, "NnUu", diag},
        {Rule::order, 3},
        {Rule::lead_a, 5}},
       {"E2", "E1", "E2"}},
      {"GEGAS", general, {"E2"}},
      {"GEGSS", with({Rule::eps_positive, 9}), {"E2", "Er", "Er", "R2", "R1", "R1"}},
      {"GEKWS", with({Rule::eps_nonnegative, 8}), {}},
      {"GEMIP",
       {{Rule::order, 1}, {Rule::count, 2}, {Rule::lead_a, 4}, {Rule::lead_b, 6}},
       {"P2", "E2", "Er", "Pw", "I1"}},
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
  // Point data: one orthant for the hull bounds (and a bracket within eps at
  // once), a right-hand side the fast solver verifies.
  const auto point_b = [](Data<E> &d) { d.b = filled(3, 2, pt<E>(5)); };
  if (real) {
    const std::vector<ArgRule> square = {{Rule::order, 1}, {Rule::lead_a, 3}};
    m.push_back({"GEHSS", general, {"E2", "E2", "E1", "E1", "E1"}});
    m.push_back(
        {"GEHBS",
         {{Rule::option, 1, "NnTtCc"}, {Rule::order, 2}, {Rule::lead_a, 4}, {Rule::lead_b, 6}},
         {"E2", "R2", "R2", "I1", "Rw", "R1", "R1", "R1", "R1", "R2"}});
    m.push_back({"GESZI", square, {"E2", "E2", "E2", "R2"}});
    // Undecided, the one outcome that releases the workspace.
    m.push_back({"GERBR",
                 square,
                 {"R2", "R2", "R2", "R2", "R2", "I1", "Rw", "R1", "R1"},
                 1 << 30,
                 [](Data<E> &d) {
                   d.a = generated<E>(
                       3, 3, [](int i, int j) { return i == j ? pt<E>(1) : around<E>(0, 1); });
                 }});
    m.push_back({"GESVR", square, {"R2", "R2", "R1", "R1", "Rw"}});
    // The hull bounds: one layout up to the methods' own arrays (A, b, R,
    // I - R·A, R·b, X, two scratch vectors, pivots, getri's work), then the
    // vertex system's arrays; n = 3, computed in double by both members.
    const std::vector<std::string> common = {"#144", "#48", "#72", "#144", "#48",
                                             "#48",  "#48", "#48", "#12",  "#1536"};
    const std::vector<std::string> vertex = {"#72", "#144", "#144", "#48",
                                             "#48", "#48",  "#12",  "#12"};
    const std::vector<ArgRule> hull_rules = {
        {Rule::option, 1, "NnTtCc"}, {Rule::order, 2},           {Rule::lead_a, 4},
        {Rule::component, 6},        {Rule::eps_nonnegative, 7}, {Rule::option, 8, "UuLl", ul},
        {Rule::work_limit, 9}};
    // The programs: G, the tableau, h, c, u, y, the basis, U; then one
    // sub-problem record.
    std::vector<std::string> pps = common;
    for (const char *c : {"#288", "#2912", "#96", "#24", "#24", "#96", "#48", "#48"})
      pps.push_back(c);
    pps.insert(pps.end(), vertex.begin(), vertex.end());
    pps.push_back("#352");
    m.push_back({"GEPPS", hull_rules, pps, 1 << 30, point_b, 11586});
    // The box pool (maxit + 1 slots), its free list, a scratch vector; then
    // the first list node.
    std::vector<std::string> pss = common;
    for (const char *c : {"#288", "#24", "#48"})
      pss.push_back(c);
    pss.insert(pss.end(), vertex.begin(), vertex.end());
    pss.push_back("#96");
    m.push_back({"GEPSS", hull_rules, pss, 1 << 30, point_b, 11586});
  }
  // The fast verified solver: eight m x m and twelve m x nrhs double
  // arrays, the pivots, getri's work, two vectors, for the real system's
  // order m (n, or 2n for the complex members).
  const int order = Kind<E>::complex ? 6 : 3;
  const auto sized = [](long long b) { return "#" + std::to_string(b); };
  std::vector<std::string> vsv(8, sized(8LL * order * order));
  vsv.insert(vsv.end(), 12, sized(8LL * order * 2));
  for (const long long b : {4LL * order, 8LL * 64 * order, 8LL * order, 8LL * order})
    vsv.push_back(sized(b));
  m.push_back(
      {"GEVSV", with({Rule::lead_x, 9}), vsv, 1 << 30, point_b, Kind<E>::complex ? 16384 : 23171});
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
std::vector<std::pair<std::string, std::function<void(Call<E> &)>>> bends(const ArgRule &r) {
  using C = Call<E>;
  using T = Real<E>;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  const Option o = r.option;
  switch (r.rule) {
  case Rule::option:
    return {{"letter X", [o](C &c) { option(c, o) = "X"; }},
            {"blank", [o](C &c) { option(c, o) = " "; }}};
  case Rule::order:
    return {{"n < 0", [](C &c) { c.n = -1; }}};
  case Rule::count:
    return {{"nrhs < 0", [](C &c) { c.nrhs = -1; }}};
  case Rule::lead_a:
    return {{"lda < n", [](C &c) { c.lda = 2; }}, {"lda 0, n 0", [](C &c) { c.lda = 0, c.n = 0; }}};
  case Rule::lead_b:
    return {{"ldb < n", [](C &c) { c.ldb = 2; }}, {"ldb 0, n 0", [](C &c) { c.ldb = 0, c.n = 0; }}};
  case Rule::eps_positive:
    return {{"eps 0", [](C &c) { c.eps = 0; }},
            {"eps NaN", [nan](C &c) { c.eps = nan; }},
            {"eps < 0, n 0", [](C &c) { c.eps = -1, c.n = 0; }}};
  case Rule::lead_x:
    return {{"ldx < n", [](C &c) { c.ldx = 2; }}, {"ldx 0, n 0", [](C &c) { c.ldx = 0, c.n = 0; }}};
  case Rule::component:
    return {{"k 0", [](C &c) { c.k = 0; }}, {"k > n", [](C &c) { c.k = 4; }}};
  case Rule::work_limit:
    return {{"maxit 0", [](C &c) { c.maxit = 0; }}};
  case Rule::eps_nonnegative:
    return {{"eps < 0", [](C &c) { c.eps = T(-1e-30); }},
            {"eps NaN", [nan](C &c) { c.eps = nan; }},
            {"eps -inf, n 0", [](C &c) { c.eps = -std::numeric_limits<T>::infinity(), c.n = 0; }}};
  }
  return {};
}

TYPED_TEST(Frame, BadArgumentsAndEmptyProblemsReturnBeforeAnyWork) {
  using E = TypeParam;
  using Bend = std::function<void(Call<E> &)>;
  for (const Method<E> &m : methods<E>()) {
    const std::string routine = name<E>(m.word);
    // Each bad argument alone (info minus its position), then together with
    // the last rule's bad value; the empty problems; an order too large.
    std::vector<std::tuple<std::string, int, Bend>> cases;
    for (const ArgRule &r : m.rules)
      for (auto &[what, bend] : bends<E>(r))
        cases.emplace_back(what, -r.position, bend);
    const auto last = std::get<2>(cases.back());
    const auto [first_what, first_info, first] = cases.front();
    cases.emplace_back(first_what + " and the last rule", first_info, [=](Call<E> &c) {
      last(c);
      first(c);
    });
    cases.emplace_back("n 0", 0, [](Call<E> &c) { c.n = 0; });
    for (const ArgRule &r : m.rules)
      if (r.rule == Rule::count) cases.emplace_back("nrhs 0", 0, [](Call<E> &c) { c.nrhs = 0; });
    if (m.own())
      cases.emplace_back("n beyond the workspace count", 1000,
                         [n = m.beyond](Call<E> &c) { c.n = c.lda = c.ldb = c.ldx = n; });
    for (const auto &[what, info, bend] : cases) {
      SCOPED_TRACE(routine + ": " + what);
      reset_doubles();
      Call<E> c = m.args();
      bend(c);
      Data<E> d;
      const Data<E> before = d;
      prologues = 0;
      EXPECT_EQ(m.call(c, d), info);
      EXPECT_TRUE(d.same_as(before)) << "an output was written";
      if (info != 0)
        EXPECT_TRUE(reported(routine, std::abs(info)));
      else
        EXPECT_TRUE(xerbla_calls().empty());
      EXPECT_EQ(allocation_count(), 0);
      EXPECT_EQ(prologues, 1) << "the routine's own entry only";
    }
    // Every accepted letter, in either case, is accepted.
    for (const ArgRule &r : m.rules)
      for (const char *l = r.letters; r.rule == Rule::option && *l; ++l) {
        Call<E> c = m.args();
        option(c, r.option) = l;
        Data<E> d = m.valid();
        EXPECT_GE(m.call(c, d), 0) << routine << " option " << r.position << " " << *l;
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
      EXPECT_EQ(live_allocations() - live, m.own() ? 0 : k - 1)
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
    if (m.own())
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
