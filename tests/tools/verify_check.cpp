// ruf-solve's verdicts against exact solution hulls. A verified result must
// hold the hull, whatever the data; the hull widened a little is proven; the
// hull cut short at one bound is never proven, and with at most four free
// parameters every vertex system is tried, so the one it misses is found.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <random>
#include <string>
#include <vector>

#include "support/exact.h"
#include "verify.h"

using ruf_solve::judge_enclosure;
using ruf_solve::Verdict;
using ruf_test::Q;
using ruf_test::QBox;

namespace {

double rounded(const Q &q, mpfr_rnd_t rnd) {
  mpfr_t m;
  mpfr_init2(m, 53);
  mpfr_set_q(m, q.get_mpq_t(), rnd);
  const double v = mpfr_get_d(m, rnd);
  mpfr_clear(m);
  return v;
}

struct Case {
  int n, m;
  QBox a, b;
  std::vector<ruf_di> ad, bd;
};

// Dyadic data with a dominant diagonal, so every system is regular: small
// radii, or none at all in A or B.
Case random_case(std::mt19937 &g, int n, int m, double radius_a, double radius_b) {
  std::uniform_int_distribution<int> num(-64, 64);
  Case c{n, m, QBox(n, n), QBox(n, m), {}, {}};
  const auto fill = [&](QBox &box, std::vector<ruf_di> &d, int rows, int cols, double radius,
                        bool diagonal) {
    for (int j = 0; j < cols; ++j)
      for (int i = 0; i < rows; ++i) {
        double mid = num(g) / 16.0 + (diagonal && i == j ? 8.0 * n : 0.0);
        const double r = radius * std::abs(num(g)) / 64.0;
        d.push_back({mid - r, mid + r});
        box.lo(i, j) = Q(mid - r);
        box.hi(i, j) = Q(mid + r);
      }
  };
  fill(c.a, c.ad, n, n, radius_a, true);
  fill(c.b, c.bd, n, m, radius_b, false);
  return c;
}

// The hull rounded outward, then each bound moved out by `widen` of its
// width plus a little, or one bound moved in by `cut`.
std::vector<ruf_di> around_hull(const QBox &h, double widen) {
  std::vector<ruf_di> x;
  for (std::size_t k = 0; k < h.lo.a.size(); ++k) {
    const Q room = (h.hi.a[k] - h.lo.a[k]) * Q(widen) + Q(1, 1 << 20);
    x.push_back({rounded(h.lo.a[k] - room, MPFR_RNDD), rounded(h.hi.a[k] + room, MPFR_RNDU)});
  }
  return x;
}

TEST(Verdicts, AgreeWithTheExactHull) {
  std::mt19937 g(7);
  int proven = 0, wrong = 0, cut_cases = 0;
  for (int trial = 0; trial < 120; ++trial) {
    const int n = 1 + trial % 3, m = 1 + trial % 2;
    const double ra = trial % 4 == 0 ? 0.0 : 0.25, rb = trial % 5 == 0 ? 0.0 : 0.5;
    const Case c = random_case(g, n, m, ra, rb);
    const auto hull = ruf_test::solution_hull(c.a, c.b);
    ASSERT_TRUE(hull);
    SCOPED_TRACE("trial " + std::to_string(trial));
    std::string why;

    // Widened: the inclusion test proves it.
    const std::vector<ruf_di> wide = around_hull(*hull, 0.2);
    const Verdict v = judge_enclosure(n, m, c.ad.data(), c.bd.data(), wide.data(), &why);
    EXPECT_EQ(v, Verdict::verified) << why;
    proven += v == Verdict::verified;

    // Cut at one bound: never proven. The cut bound is the exact extreme
    // value, attained by a vertex system, so with every vertex tried the
    // verdict is wrong.
    std::vector<ruf_di> cut = wide;
    const std::size_t k = static_cast<std::size_t>(trial) % cut.size();
    const Q &lo = hull->lo.a[k], &hi = hull->hi.a[k];
    const Q inward = lo + (hi - lo) / 4 + Q(1, 1 << 10);
    if (trial % 2 == 0)
      cut[k].inf = rounded(inward, MPFR_RNDU);
    else
      cut[k].sup = rounded(hi - (inward - lo), MPFR_RNDD);
    const Verdict w = judge_enclosure(n, m, c.ad.data(), c.bd.data(), cut.data(), &why);
    EXPECT_NE(w, Verdict::verified) << why;
    int parameters = 0;
    for (const auto *d : {&c.ad, &c.bd})
      for (const ruf_di &e : *d)
        parameters += e.inf < e.sup;
    if (parameters <= 4) {
      EXPECT_EQ(w, Verdict::wrong) << why;
      ++cut_cases;
    }
    wrong += w == Verdict::wrong;
  }
  EXPECT_EQ(proven, 120);
  EXPECT_GT(cut_cases, 10); // the exhaustive search did run
  EXPECT_GE(wrong, cut_cases);
}

// Point data: an exact result is proven when the arithmetic is exact; a
// rounded one can be neither proven nor refuted; a gap wider than the
// rounding is refuted. Singular data are never proven.
TEST(Verdicts, PointSystemsAndSingularData) {
  const ruf_di a[] = {{2, 2}, {0, 0}, {0, 0}, {3, 3}}, b[] = {{1, 1}, {1, 1}};
  const struct {
    int n;
    ruf_di x[2];
    Verdict verdict;
  } cases[] = {
      {1, {{0.5, 0.5}}, Verdict::verified},
      {2, {{0.5, 0.5}, {1.0 / 3, 1.0 / 3}}, Verdict::not_verified},
      {2, {{0.5, 0.5}, {0.33, 0.34}}, Verdict::verified},
      {2, {{0.5, 0.5}, {0.3, 0.33}}, Verdict::wrong},
  };
  std::string why;
  for (const auto &c : cases)
    EXPECT_EQ(judge_enclosure(c.n, 1, a, b, c.x, &why), c.verdict) << c.n << ": " << why;
  const ruf_di s[] = {{-1, 1}}, one[] = {{1, 1}}, any[] = {{-1e300, 1e300}};
  EXPECT_EQ(judge_enclosure(1, 1, s, one, any, &why), Verdict::not_verified) << why;
}

} // namespace
