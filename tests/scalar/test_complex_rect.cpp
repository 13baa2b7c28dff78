// Complex rectangles, both members: every directed-rounded quantity against
// MPFR (sum and difference bounds, the sums of squares under MAG and MIG and
// their square roots, DIST), products and quotients against exact values, the
// documented examples and the intended oddities.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

#include "ruf_service.h"
#include "support/exact.h"
#include "support/oracle.h"

namespace {

using namespace ruf_test;

// The double member scales the quotient by the dividend's squared magnitude,
// the single member by the divisor's.
template <class T> constexpr bool kDividendScales = sizeof(T) == 8;

template <class T> T max_rule(T p, T q) {
  return p > q ? p : q;
}
template <class T> T mig_part(T p1, T p2) {
  const T a = std::fabs(p1), b = std::fabs(p2);
  return (p1 > 0 || p2 < 0) ? (a < b ? a : b) : T(0);
}

// The sums of squares that MAG and MIG take the square root of.
template <class R, class T = decltype(R{}.re.inf)> T mag_square(const R &x) {
  const T a = max_rule(std::fabs(x.re.inf), std::fabs(x.re.sup));
  const T b = max_rule(std::fabs(x.im.inf), std::fabs(x.im.sup));
  return up(Op::add, up(Op::mul, a, a), up(Op::mul, b, b));
}
template <class R, class T = decltype(R{}.re.inf)> T mig_square(const R &x) {
  const T a = mig_part(x.re.inf, x.re.sup), b = mig_part(x.im.inf, x.im.sup);
  return down(Op::add, down(Op::mul, a, a), down(Op::mul, b, b));
}

template <class T> class ComplexRect : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ComplexRect, Precisions);

TYPED_TEST(ComplexRect, DirectedQuantitiesMatchMpfr) {
  using T = TypeParam;
  using R = typename ruf::Real<T>::rect;
  Sampler<T> s(test_seed());
  const int n = scaled(20000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    R x, y, r;
    for (auto *part : {&x.re, &x.im, &y.re, &y.im})
      s.interval(part->inf, part->sup);
    const auto at = [&] { return ops::show(x) + " with " + ops::show(y); };

    ops::addi(&r, &x, &y);
    R want{{lower(Op::add, x.re.inf, y.re.inf), up(Op::add, x.re.sup, y.re.sup)},
           {lower(Op::add, x.im.inf, y.im.inf), up(Op::add, x.im.sup, y.im.sup)}};
    EXPECT_TRUE(ops::same(r, want)) << "X+Y " << at() << ": got " << ops::show(r);
    ops::subt(&r, &x, &y);
    want = {{lower(Op::sub, x.re.inf, y.re.sup), up(Op::sub, x.re.sup, y.re.inf)},
            {lower(Op::sub, x.im.inf, y.im.sup), up(Op::sub, x.im.sup, y.im.inf)}};
    EXPECT_TRUE(ops::same(r, want)) << "X-Y " << at() << ": got " << ops::show(r);

    // The square roots run in the caller's mode, here round to nearest.
    EXPECT_TRUE(same(ops::mag(&x), nearest(Op::sqrt, mag_square(x)))) << "mag " << at();
    EXPECT_TRUE(same(ops::mig(&x), nearest(Op::sqrt, mig_square(x)))) << "mig " << at();

    const T dr = max_rule(std::fabs(up(Op::sub, x.re.inf, y.re.inf)),
                          std::fabs(up(Op::sub, x.re.sup, y.re.sup)));
    const T di = max_rule(std::fabs(up(Op::sub, x.im.inf, y.im.inf)),
                          std::fabs(up(Op::sub, x.im.sup, y.im.sup)));
    EXPECT_TRUE(same(ops::dist(&x, &y), up(Op::add, dr, di))) << "dist " << at();

    const auto m = ops::mid(&x);
    EXPECT_TRUE(same(T(__real__ m), nearest_midpoint(x.re.inf, x.re.sup)) &&
                same(T(__imag__ m), nearest_midpoint(x.im.inf, x.im.sup)))
        << "mid " << at();
  }
}

// Products and quotients hold the exact value for every pair of points of
// the operands (corners and centres, in Gaussian rationals), under the
// textbook rule, so that no product of two zero-straddling parts narrows; the
// double member's quotient is scaled by the dividend on purpose and has its
// own example below. Point operands give results a few units wide at most.
TYPED_TEST(ComplexRect, ProductsAndQuotientsHoldTheExactValues) {
  using T = TypeParam;
  using R = typename ruf::Real<T>::rect;
  const int saved = ruf_serv_set_multiplication(RUF_MULTIPLICATION_TEXTBOOK);
  const auto points = [](const R &x) {
    const auto corner = [](T re, T im) { return QC{Q(double(re)), Q(double(im))}; };
    return std::vector<QC>{corner(x.re.inf, x.im.inf),
                           corner(x.re.sup, x.im.sup),
                           corner(x.re.inf, x.im.sup),
                           corner(x.re.sup, x.im.inf),
                           {(Q(double(x.re.inf)) + Q(double(x.re.sup))) / 2,
                            (Q(double(x.im.inf)) + Q(double(x.im.sup))) / 2}};
  };
  const auto holds = [](const R &r, const QC &v) {
    const auto in = [](const auto &p, const Q &q) {
      if (std::isnan(p.inf) || std::isnan(p.sup)) return false;
      return (std::isinf(p.inf) ? p.inf < 0 : Q(double(p.inf)) <= q) &&
             (std::isinf(p.sup) ? p.sup > 0 : q <= Q(double(p.sup)));
    };
    return in(r.re, v.re) && in(r.im, v.im);
  };
  Sampler<T> s(test_seed() + 1);
  for (int k = 0; k < scaled(3000) && !this->HasFailure(); ++k) {
    R x, y, r;
    for (auto *part : {&x.re, &x.im, &y.re, &y.im}) {
      const T a = s.ordinary(), w = k % 3 == 0 ? T(0) : std::fabs(s.ordinary()) * T(0x1p-8);
      *part = {a, a + w};
    }
    ops::mult(&r, &x, &y);
    for (const QC &p : points(x))
      for (const QC &q : points(y))
        EXPECT_TRUE(holds(r, p * q)) << "X*Y " << ops::show(x) << " with " << ops::show(y);
    if (k % 3 == 0) {
      const T w = std::fmax(r.re.sup - r.re.inf, r.im.sup - r.im.inf);
      const T size = std::fmax(std::fmax(std::fabs(r.re.inf), std::fabs(r.re.sup)),
                               std::fmax(std::fabs(r.im.inf), std::fabs(r.im.sup)));
      EXPECT_LE(w, size * 8 * std::numeric_limits<T>::epsilon()) << "point X*Y " << ops::show(r);
    }
    if (kDividendScales<T>) continue;
    ops::divi(&r, &x, &y);
    for (const QC &p : points(x))
      for (const QC &q : points(y))
        EXPECT_TRUE(holds(r, p / q)) << "X/Y " << ops::show(x) << " with " << ops::show(y);
  }
  ruf_serv_set_multiplication(saved);
}

TYPED_TEST(ComplexRect, DocumentedExamples) {
  using T = TypeParam;
  using R = typename ruf::Real<T>::rect;
  const T nan = std::numeric_limits<T>::quiet_NaN();
  R r;
  // (1 + 0i) * Y is Y.
  const R one{{1, 1}, {0, 0}}, y{{T(-1) / 3, T(2) / 3}, {T(1) / 7, T(5) / 7}};
  ops::mult(&r, &one, &y);
  EXPECT_TRUE(ops::same(r, y)) << ops::show(r);

  // The single member divides by the divisor's squared magnitude: X / 1 = X.
  // The double member divides by X's own: (2 + 0i) / 1 = 0.5. Both intended.
  const R two{{2, 2}, {0, 0}};
  ops::divi(&r, &two, &one);
  EXPECT_TRUE(ops::same(r, kDividendScales<T> ? R{{0.5, 0.5}, {0, 0}} : two)) << ops::show(r);
  ops::divi(&r, &y, &one);
  if (!kDividendScales<T>) EXPECT_TRUE(ops::same(r, y)) << ops::show(r);

  // CONJ reads its result only; the operand may be anything, even absent.
  r = {{1, 2}, {3, 4}};
  ops::conj(&r, nullptr);
  EXPECT_TRUE(ops::same(r, R{{1, 2}, {-4, 4}})) << ops::show(r);
  r = {{1, 2}, {-5, T(-0.0)}};
  ops::conj(&r, &y);
  EXPECT_TRUE(ops::same(r, R{{1, 2}, {0, 0}})) << ops::show(r);

  // SB and SP compare against Y's imaginary lower bound (intended).
  const R x{{0, 1}, {1, 2}}, wide{{0, 1}, {0, 5}}, flat{{0, 1}, {0, 0}}, part{{0, 1}, {0, 1.5}};
  EXPECT_EQ(ops::sb(&x, &x), 0);
  EXPECT_EQ(ops::sb(&x, &wide), 0);
  EXPECT_EQ(ops::sb(&flat, &wide), 1);
  EXPECT_EQ(ops::sp(&part, &x), 1);
  EXPECT_EQ(ops::sp(&wide, &x), 1);
  EXPECT_EQ(ops::sp(&x, &wide), 0);

  const R around0{{-1, 2}, {-3, 4}}, p34{{3, 3}, {4, 4}};
  EXPECT_EQ(ops::mig(&around0), T(0));
  EXPECT_EQ(ops::mag(&p34), T(5));
  EXPECT_EQ(ops::mig(&p34), T(5));
  EXPECT_EQ(ops::dist(&y, &y), T(0));

  // IX works part by part; an empty part holds the real intersection's NaNs.
  const R a{{1, 2}, {0, 3}}, b{{3, 4}, {2, 5}};
  R parts;
  ops::ix(&r, &a, &b);
  ops::ix(&parts.re, &a.re, &b.re);
  ops::ix(&parts.im, &a.im, &b.im);
  EXPECT_TRUE(std::isnan(r.re.inf) && std::isnan(r.re.sup));
  EXPECT_TRUE(ops::same(r, parts) && r.im.inf == 2 && r.im.sup == 3) << ops::show(r);
  EXPECT_EQ(ops::isempty(&r), 0);

  // COPY keeps every bit, NaN payloads included.
  const R odd{{nan, -std::numeric_limits<T>::infinity()}, {T(-0.0), T(0)}};
  ops::copy(&r, &odd);
  EXPECT_EQ(std::memcmp(&r, &odd, sizeof r), 0);
}

// Subtraction reads all eight numbers first, so the result may be an operand;
// addition stores both upper bounds before it reads the lower bounds.
TYPED_TEST(ComplexRect, StorageOrder) {
  using T = TypeParam;
  using R = typename ruf::Real<T>::rect;
  const R x{{10, 20}, {30, 40}};
  R y{{1, 2}, {3, 4}};
  ops::subt(&y, &x, &y);
  EXPECT_TRUE(ops::same(y, R{{8, 19}, {26, 37}})) << ops::show(y);

  // The result shifted one number below Y: re.sup = 200 + 2 lands on Y's
  // re.inf (buf[1]), im.sup = 400 + 4 on Y's im.inf (buf[3]); the lower
  // bounds then read them: re.inf = 100 + 202, im.inf = 300 + 404.
  T buf[5] = {0, 1, 2, 3, 4};
  const R z{{100, 200}, {300, 400}};
  ops::addi(reinterpret_cast<R *>(&buf[0]), &z, reinterpret_cast<const R *>(&buf[1]));
  EXPECT_EQ(buf[0], T(302));
  EXPECT_EQ(buf[1], T(202));
  EXPECT_EQ(buf[2], T(704));
  EXPECT_EQ(buf[3], T(404));
}

// MAG and MIG take their square roots in the caller's mode; MID is always
// to nearest.
TYPED_TEST(ComplexRect, SquareRootsInTheCallersMode) {
  using T = TypeParam;
  using R = typename ruf::Real<T>::rect;
  const R x{{T(0.1), T(0.3)}, {T(-1) / 3, T(2) / 7}}, far{{T(0.1), T(0.3)}, {T(1) / 3, T(2) / 3}};
  for (const std::uint32_t mode : mxcsr::kModes) {
    SCOPED_TRACE(mxcsr::name(mode));
    const auto [mag, mig, mid] = mxcsr::run_in(mode, [&] {
      return std::tuple{ops::mag(&x), ops::mig(&far), ops::mid(&x)};
    });
    EXPECT_TRUE(same(T(__real__ mid), nearest_midpoint(x.re.inf, x.re.sup)));
    EXPECT_TRUE(same(mag, mxcsr::rounded(mode, Op::sqrt, mag_square(x))));
    EXPECT_TRUE(same(mig, mxcsr::rounded(mode, Op::sqrt, mig_square(far))));
  }
}

} // namespace
