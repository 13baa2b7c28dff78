// Real interval arithmetic against MPFR, every routine of both precisions,
// under each of the four caller directions and both multiplication rules.
// The oracle knows no case table: each bound is the directed rounding of the
// exact extreme of the operation over the operands' bounds, the one special
// case being the documented rule for a product of two zero-straddling
// intervals (the lower bound keeps the larger candidate, unless the process
// chose the textbook rule). Lower bounds are bit-exact (a zero is +0); upper
// bounds are compared by value. Operands outside the oracle's domain (NaN or
// reversed bounds, 0·inf and inf/inf corners) have their own table of
// documented results.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "ruf_service.h"
#include "support/oracle.h"

namespace {

using ruf_test::lower;
using ruf_test::Op;
using ruf_test::up;
namespace ops = ruf_test::ops;

template <class T> struct Bounds { T lo, hi; };

// The extremes of a product or quotient over the four corners; nullopt-like
// {NaN, NaN} when a corner is outside the oracle's domain.
template <class T> Bounds<T> corners(Op op, T a1, T a2, T b1, T b2) {
  const T inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
  Bounds<T> r{inf, -inf};
  for (T a : {a1, a2})
    for (T b : {b1, b2}) {
      const bool undefined = op == Op::mul ? (a == 0 && std::isinf(b)) || (std::isinf(a) && b == 0)
                                           : std::isinf(a) && std::isinf(b);
      if (undefined) return {nan, nan};
      r.lo = std::fmin(r.lo, lower(op, a, b));
      r.hi = std::fmax(r.hi, up(op, a, b));
    }
  return r;
}

template <class T> Bounds<T> product(T a1, T a2, T b1, T b2, int rule) {
  Bounds<T> r = corners(Op::mul, a1, a2, b1, b2);
  if (std::isnan(r.lo)) return r;
  if (a1 <= 0 && 0 <= a2 && b1 <= 0 && 0 <= b2 && rule == RUF_MULTIPLICATION_DEFAULT)
    r.lo = std::fmax(lower(Op::mul, a1, b2), lower(Op::mul, a2, b1));
  return r;
}
template <class T> Bounds<T> quotient(T a1, T a2, T b1, T b2) {
  const T inf = std::numeric_limits<T>::infinity();
  if (!(b1 > 0 || b2 < 0)) return {-inf, inf}; // the divisor contains zero
  return corners(Op::div, a1, a2, b1, b2);
}
template <class T> Bounds<T> square(T a1, T a2) {
  const T hi = std::fmax(up(Op::mul, a1, a1), up(Op::mul, a2, a2));
  if (a1 <= 0 && 0 <= a2) return {T(0), hi};
  return {std::fmin(lower(Op::mul, a1, a1), lower(Op::mul, a2, a2)), hi};
}

template <class I, class T = decltype(I{}.inf)>
::testing::AssertionResult matches(const I &got, Bounds<T> want) {
  if (std::isnan(want.lo)) return ::testing::AssertionSuccess(); // outside the domain
  if (ruf_test::same(got.inf, want.lo) && (got.sup == want.hi || ruf_test::same(got.sup, want.hi)))
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "got [" << ruf_test::hex(got.inf) << ", " << ruf_test::hex(got.sup) << "], want ["
         << ruf_test::hex(want.lo) << ", " << ruf_test::hex(want.hi) << "]";
}

// A well-formed operand: bounds ordered and not NaN, zeros frequent.
template <class T> void operand(ruf_test::Sampler<T> &s, T &lo, T &hi) {
  do {
    s.interval(lo, hi);
    if (s.rng()() % 5 == 0) (s.rng()() % 2 ? lo : hi) = T(0);
  } while (!(lo <= hi));
}

template <class T> class ArithReal : public ::testing::Test {};
using Precisions = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ArithReal, Precisions);

TYPED_TEST(ArithReal, EveryBoundIsTheDirectedRoundingOfTheExactExtreme) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  ruf_test::Sampler<T> s(ruf_test::test_seed());
  const int n = ruf_test::scaled(30000);
  for (int k = 0; k < n && !this->HasFailure(); ++k) {
    T a1, a2, b1, b2;
    operand(s, a1, a2);
    operand(s, b1, b2);
    const T y = s.rng()() % 4 ? b1 : T(0);
    const I x{a1, a2}, yy{b1, b2};
    const int rule = k % 2 ? RUF_MULTIPLICATION_TEXTBOOK : RUF_MULTIPLICATION_DEFAULT;
    const std::uint32_t mode = ruf_test::mxcsr::kModes[k / 2 % 4];
    const std::string at = "[" + ruf_test::hex(a1) + ", " + ruf_test::hex(a2) + "], [" +
                           ruf_test::hex(b1) + ", " + ruf_test::hex(b2) + "], y " +
                           ruf_test::hex(y) + ", rule " + std::to_string(rule) + ", " +
                           ruf_test::mxcsr::name(mode);
    const auto check = [&](const char *what, auto call, Bounds<T> want) {
      I r;
      ruf_serv_set_multiplication(rule);
      ruf_test::mxcsr::run_in(mode, [&] { call(&r); });
      ruf_serv_set_multiplication(RUF_MULTIPLICATION_DEFAULT);
      EXPECT_TRUE(matches(r, want)) << what << " " << at;
    };
    check("X+Y", [&](I *r) { ops::addi(r, &x, &yy); },
          {lower(Op::add, a1, b1), up(Op::add, a2, b2)});
    check("X-Y", [&](I *r) { ops::subt(r, &x, &yy); },
          {lower(Op::sub, a1, b2), up(Op::sub, a2, b1)});
    check(
        "X*Y", [&](I *r) { ops::mult(r, &x, &yy); }, product(a1, a2, b1, b2, rule));
    check(
        "X/Y", [&](I *r) { ops::divi(r, &x, &yy); }, quotient(a1, a2, b1, b2));
    check(
        "sqr X", [&](I *r) { ops::sqr(r, &x); }, square(a1, a2));
    // The point operand y stands for [y, y].
    check("X+y", [&](I *r) { ops::addi(r, &x, &y); }, {lower(Op::add, a1, y), up(Op::add, a2, y)});
    check("X-y", [&](I *r) { ops::subt(r, &x, &y); }, {lower(Op::sub, a1, y), up(Op::sub, a2, y)});
    check("y+Y", [&](I *r) { ops::addi(r, &y, &yy); }, {lower(Op::add, y, b1), up(Op::add, y, b2)});
    check("y-Y", [&](I *r) { ops::subt(r, &y, &yy); }, {lower(Op::sub, y, b2), up(Op::sub, y, b1)});
    check(
        "X*y", [&](I *r) { ops::mult(r, &x, &y); }, product(a1, a2, y, y, rule));
    check(
        "y*Y", [&](I *r) { ops::mult(r, &y, &yy); }, product(y, y, b1, b2, rule));
    check(
        "X/y", [&](I *r) { ops::divi(r, &x, &y); }, quotient(a1, a2, y, y));
    check(
        "y/Y", [&](I *r) { ops::divi(r, &y, &yy); }, quotient(y, y, b1, b2));
    // Hulls are exact; of two equal numbers (+0 and -0) the second is taken.
    const auto lo = [](T p, T q) { return p < q ? p : q; };
    const auto hi = [](T p, T q) { return p > q ? p : q; };
    check("X ih Y", [&](I *r) { ops::ih(r, &x, &yy); }, {lo(a1, b1), hi(a2, b2)});
    check("X ih y", [&](I *r) { ops::ih(r, &x, &y); }, {lo(a1, y), hi(a2, y)});
    check("y ih Y", [&](I *r) { ops::ih(r, &y, &yy); }, {lo(b1, y), hi(y, b2)});
  }
}

// Documented results, the operands the oracle leaves out among them: NaN and
// reversed bounds go through the case analysis as they are (a NaN point
// divisor counts as zero; a hull takes the second operand of a pair when the
// first is NaN or they tie), and a zero-straddling product under each rule.
TYPED_TEST(ArithReal, DocumentedResults) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  const T inf = std::numeric_limits<T>::infinity(), nan = std::numeric_limits<T>::quiet_NaN();
  const T tiny = std::ldexp(T(1), std::numeric_limits<T>::digits == 24 ? -30 : -60);
  const T above_one = std::nextafter(T(1), T(2));
  using F = std::function<void(I *, const I *, const I *)>;
  const F mult = [](I *r, const I *x, const I *y) { ops::mult(r, x, y); };
  const F divi = [](I *r, const I *x, const I *y) { ops::divi(r, x, y); };
  const F addi = [](I *r, const I *x, const I *y) { ops::addi(r, x, y); };
  const F ih = [](I *r, const I *x, const I *y) { ops::ih(r, x, y); };
  const F sqr = [](I *r, const I *x, const I *) { ops::sqr(r, x); };
  const F divi_point = [](I *r, const I *x, const I *y) { ops::divi(r, x, &y->inf); };
  const struct {
    const char *what;
    F op;
    I x, y, want;
    int rule = RUF_MULTIPLICATION_DEFAULT;
  } rows[] = {
      {"[1,2]*[3,4]", mult, {1, 2}, {3, 4}, {3, 8}},
      {"[-2,-1]*[3,4]", mult, {-2, -1}, {3, 4}, {-8, -3}},
      {"[-1,2]*[3,4]", mult, {-1, 2}, {3, 4}, {-4, 8}},
      {"[-1,2]*[-3,4], larger candidate", mult, {-1, 2}, {-3, 4}, {-4, 8}},
      {"[-3,4]*[-1,2], larger candidate", mult, {-3, 4}, {-1, 2}, {-4, 8}},
      {"[-1,2]*[-3,4], textbook", mult, {-1, 2}, {-3, 4}, {-6, 8}, RUF_MULTIPLICATION_TEXTBOOK},
      {"[1,2]/[0,1]", divi, {1, 2}, {0, 1}, {-inf, inf}},
      {"[0,0]/[-1,1]", divi, {0, 0}, {-1, 1}, {-inf, inf}},
      {"[1,2]/[-4,-2]", divi, {1, 2}, {-4, -2}, {-1, T(-0.25)}},
      {"[-1,2]/[2,4]", divi, {-1, 2}, {2, 4}, {T(-0.5), 1}},
      {"[1,2]/NaN", divi_point, {1, 2}, {nan, nan}, {-inf, inf}},
      {"sqr [-2,3]", sqr, {-2, 3}, {}, {0, 9}},
      {"sqr [-3,-2]", sqr, {-3, -2}, {}, {4, 9}},
      {"[1,1]+[2^-k]", addi, {1, 1}, {tiny, tiny}, {1, above_one}},
      {"[-0,1]+[-0,1]", addi, {T(-0.0), 1}, {T(-0.0), 1}, {0, 2}},
      {"[2,1]+[0,0], reversed", addi, {2, 1}, {0, 0}, {2, 1}},
      {"[1,NaN]*[1,1], NaN", mult, {1, nan}, {1, 1}, {1, nan}},
      {"[0,1]*[-inf,inf]", mult, {0, 1}, {-inf, inf}, {nan, inf}},
      {"[NaN,1] ih [0,2]", ih, {nan, 1}, {0, 2}, {0, 2}},
      {"[0,2] ih [NaN,1]", ih, {0, 2}, {nan, 1}, {nan, 2}},
      {"[-0,1] ih [0,1]", ih, {T(-0.0), 1}, {0, 1}, {0, 1}},
      {"[0,1] ih [-0,1]", ih, {0, 1}, {T(-0.0), 1}, {T(-0.0), 1}},
  };
  for (const auto &row : rows) {
    I r;
    ruf_serv_set_multiplication(row.rule);
    row.op(&r, &row.x, &row.y);
    ruf_serv_set_multiplication(RUF_MULTIPLICATION_DEFAULT);
    EXPECT_TRUE(ops::same(r, row.want)) << row.what << ": " << ops::show(r);
  }
  // COPY keeps both bounds, NaN payloads included.
  const I odd{nan, -inf};
  I r;
  ops::copy(&r, &odd);
  EXPECT_TRUE(ops::same(r, odd));
}

// The subtraction writes the upper bound before it reads the lower bound's
// operands: a result that overlaps the second operand changes the lower bound.
TYPED_TEST(ArithReal, UpperBoundIsStoredFirst) {
  using T = TypeParam;
  using I = ruf::Interval<T>;
  I x{10, 20}, y{1, 2};
  ops::subt(&y, &x, &y); // hi = 20 - 1 = 19 lands in y.sup before lo reads it
  EXPECT_EQ(y.sup, T(19));
  EXPECT_EQ(y.inf, T(10 - 19));
}

} // namespace
