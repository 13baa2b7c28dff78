// Enclosures of every solving method of every member, against exact
// solutions: each point system drawn from the interval data (its centres and
// random points of its elements: bounds, points of discs) is solved exactly
// in rationals or Gaussian rationals, for the matrix the options ask for (the
// triangle chosen, "T" and "C" mirroring A's lower triangle onto the upper
// one, "C" conjugating), and every solution must lie in the result. Point
// results must also be narrow.
//
// Where the library's deliberate rules can narrow a result, the data avoid
// them: under the default multiplication rule a product of two zero-straddling
// intervals keeps the larger lower candidate, so only sign-structured real
// data (M-matrices) are used; under the textbook rule any dominant data are.
// The double rectangles' quotient is scaled by the dividend's squared
// magnitude, so their methods that divide are left out, as is "C" for
// rectangles (their CONJ makes the imaginary part [-s, s]); discs compute
// centres and intersections without error terms, so their data have radii
// well above rounding and their iterations stop after the first step.
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "ruf_service.h"
#include "solvers/harness.h"

namespace {

using namespace ruf_test;

// The multiplication rule for the lifetime of the guard.
class Rule {
public:
  explicit Rule(int rule) : saved_(ruf_serv_set_multiplication(rule)) {}
  ~Rule() { ruf_serv_set_multiplication(saved_); }

private:
  int saved_;
};

struct Options {
  char uplo = 'L', trans = 'N', diag = 'N';
};

// The matrix a method solves, exactly, for a point system drawn from A.
template <class F> Mat<F> solved_matrix(Mat<F> a, Options o, bool triangular) {
  const int n = a.rows;
  const bool t = o.trans != 'N';
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j && t; ++i)
      a(i, j) = a(j, i);
  for (auto &v : a.a)
    if (o.trans == 'C') v = conj(v);
  if (!triangular) return a;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i) {
      if (o.uplo == 'L' ? i < j : i > j) a(i, j) = F(0);
      if (i == j && o.diag == 'U') a(i, j) = F(1);
    }
  return a;
}

template <class E> struct Trial {
  std::string method;
  Options options;
  IMat<E> a, b;
};

// Runs the method on copies; the result (B, or A for the inverse) and info.
template <class E> std::pair<IMat<E>, int> run(const Trial<E> &t) {
  const char u[2] = {t.options.uplo, 0}, tr[2] = {t.options.trans, 0}, d[2] = {t.options.diag, 0};
  // A disc intersection is formed without rounding control, and two nearly
  // equal discs meet in a chord that the rounding can place anywhere: the
  // disc members stop before their iterates come close, after the first step.
  const Real<E> eps = Real<E>(Kind<E>::disc ? 0x1p20 : 1e-5);
  return run<E>(t.method, t.a, t.b, {.uplo = u, .trans = tr, .diag = d, .maxit = 200, .eps = eps},
                true);
}

// The largest width (diameter for a disc) of the result's entries.
template <class E> double largest_width(const IMat<E> &m) {
  double w = 0;
  for (const E &e : m.v) {
    if constexpr (Kind<E>::disc)
      w = std::fmax(w, 2.0 * e.rad);
    else if constexpr (Kind<E>::complex)
      w = std::fmax(w, std::fmax(e.re.sup - e.re.inf, e.im.sup - e.im.inf));
    else
      w = std::fmax(w, e.sup - e.inf);
  }
  return w;
}

template <class E>::testing::AssertionResult check(const Trial<E> &t, Dyadic &g) {
  using F = Field<E>;
  const auto [got, info] = run(t);
  if (info != 0) return ::testing::AssertionFailure() << "info " << info;
  const bool triangular = t.method.starts_with("TR");
  for (int s = 0; s < 4; ++s) {
    const Mat<F> a = s == 0 ? centres(t.a) : sampled(t.a, g);
    const Mat<F> b = t.method == "TRTRI" ? identity<F>(a.rows)
                     : s == 0            ? centres(t.b)
                                         : sampled(t.b, g);
    const auto x = solve(solved_matrix(a, t.options, triangular), b);
    if (!x) return ::testing::AssertionFailure() << "a singular sample";
    if (auto r = encloses(got, *x); !r) return r << " (sample " << s << ")";
  }
  // Point data: only rounding widens the result.
  const double radius = std::fmax(largest_width(t.a), largest_width(t.b));
  const double unit = sizeof(Real<E>) == 4 ? 0x1p-10 : 0x1p-30;
  if (radius == 0 && !(largest_width(got) <= unit))
    return ::testing::AssertionFailure()
           << "a point system's result of width " << largest_width(got);
  return ::testing::AssertionSuccess();
}

template <class E> bool excluded(const std::string &m, Options o) {
  if (m == "GEVSV") return false;                              // rigorous, every member and option
  if (std::is_same_v<E, ruf_zr> && m != "GEKWS") return true;  // its quotient
  return Kind<E>::complex && !Kind<E>::disc && o.trans == 'C'; // the rectangles' CONJ
}

// Every method, and every option set of the triangular ones, on data(n).
template <class E, class Data> void every_method(Dyadic &g, int trials, int largest, Data data) {
  for (int k = 0; k < trials; ++k) {
    const int n = g.integer(1, largest), nrhs = g.integer(1, 2);
    const auto [a, b] = data(n, nrhs);
    std::vector<std::pair<std::string, Options>> runs;
    for (char uplo : {'L', 'U'})
      for (char trans : {'N', 'T', 'C'})
        runs.push_back({"TRTRS", {uplo, trans, "NU"[k % 2]}});
    runs.push_back({"TRTRI", {"LU"[k % 2], 'N', "NU"[k / 2 % 2]}});
    for (char trans : {'N', 'T', 'C'})
      runs.push_back({"GEGAS", {'L', trans, 'N'}});
    runs.push_back({"GEKWS", {'L', "NTC"[k % 3], 'N'}});
    runs.push_back({"GEMIP+GEGSS", {'L', 'N', 'N'}});
    runs.push_back({"GEVSV", {'L', "NTC"[k % 3], 'N'}});
    for (const auto &[method, options] : runs) {
      if (excluded<E>(method, options)) continue;
      const std::string letters{options.uplo, options.trans, options.diag};
      SCOPED_TRACE(trial(k, n) + " " + name<E>(method.c_str()) + " " + letters);
      EXPECT_TRUE(check(Trial<E>{method, options, a, b}, g));
    }
  }
}

template <class E> class Enclosures : public SolverTest<E> {};
TYPED_TEST_SUITE(Enclosures, AllMembers);

// Under the textbook rule, dominant systems of any signs: points (not for
// discs) and narrow intervals, orders 1 to 6.
TYPED_TEST(Enclosures, TextbookRuleDominantSystems) {
  using E = TypeParam;
  const Rule textbook(RUF_MULTIPLICATION_TEXTBOOK);
  Dyadic g(test_seed() + 7);
  for (const bool point : {true, false}) {
    if (point && Kind<E>::disc) continue;
    const double radius = point ? 0 : 0x1p-8;
    every_method<E>(g, scaled(12), 6, [&](int n, int nrhs) {
      return std::pair{dominant<E>(g, n, radius), generated<E>(n, nrhs, [&](int, int) {
                         return element<E>(g, 0, 1, radius);
                       })};
    });
  }
}

// Under the default rule, real M-matrices (positive diagonal, negative
// off-diagonal entries, intervals never reaching zero) and any right-hand
// side: no product has two zero-straddling operands in the direct methods.
// Also the exact hull of the solution set for orders up to 3.
TYPED_TEST(Enclosures, DefaultRuleRealMMatrices) {
  using E = TypeParam;
  if constexpr (!Kind<E>::complex) {
    Dyadic g(test_seed() + 11);
    const auto mmatrix = [&](int n, double radius) {
      return generated<E>(n, n, [&](int i, int j) {
        return i == j ? around<E>(g.between(2 * n, 2 * n + 1), radius)
                      : around<E>(-g.between(0.25, 1), radius);
      });
    };
    for (const double radius : {0.0, 0x1p-6}) {
      for (int k = 0; k < scaled(10); ++k) {
        const int n = g.integer(1, radius == 0 ? 12 : 3), nrhs = g.integer(1, 2);
        const IMat<E> a = mmatrix(n, radius);
        const IMat<E> b =
            generated<E>(n, nrhs, [&](int, int) { return element<E>(g, 0, 1, radius); });
        for (const char *m : {"TRTRS", "TRTRI", "GEGAS"}) {
          SCOPED_TRACE(trial(k, n) + " " + m);
          EXPECT_TRUE(check(Trial<E>{m, {"LU"[k % 2], 'N', 'N'}, a, b}, g));
        }
        if (radius == 0) continue;
        const auto hull = solution_hull(exact(a), exact(b));
        ASSERT_TRUE(hull.has_value());
        EXPECT_TRUE(encloses(run(Trial<E>{"GEGAS", {}, a, b}).first, *hull));
      }
    }
  }
}

} // namespace
