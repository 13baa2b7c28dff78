// The ruf-solve input reader. Every decimal is checked against MPFR's
// conversion of the same text with directed rounding, which reads the
// decimal exactly: a bound that is off by one unit in the last place, or that
// was rounded the wrong way, fails bit for bit.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cfenv>
#include <cmath>
#include <sstream>
#include <string>

#include "parse.h"
#include "support/oracle.h"

using ruf_solve::decimal_enclosure;
using ruf_solve::InputError;
using ruf_solve::parse_system;
using ruf_solve::System;
using ruf_test::same;

namespace {

double mpfr_rounded(const char *text, mpfr_rnd_t rnd) {
  mpfr_t m;
  mpfr_init2(m, 53);
  mpfr_strtofr(m, text, nullptr, 10, rnd);
  // A second rounding in the same direction onto the subnormal grid is exact.
  const double v = mpfr_get_d(m, rnd);
  mpfr_clear(m);
  return v;
}

void expect_tightest(const ruf_di &x, const char *text) {
  EXPECT_TRUE(same(x.inf, mpfr_rounded(text, MPFR_RNDD))) << text << " lo " << x.inf;
  EXPECT_TRUE(same(x.sup, mpfr_rounded(text, MPFR_RNDU))) << text << " hi " << x.sup;
}
void expect_lower(double lo, const char *text) {
  EXPECT_TRUE(same(lo, mpfr_rounded(text, MPFR_RNDD))) << text;
}
void expect_upper(double hi, const char *text) {
  EXPECT_TRUE(same(hi, mpfr_rounded(text, MPFR_RNDU))) << text;
}

TEST(SolveInput, DecimalsGetTheTightestEnclosure) {
  // 2^53 + 1, beyond either end of the range, subnormals, infinities.
  std::istringstream tokens("0.1 -0.1 0.3 1 -0 2.5e-3 .5 5. +7 1E5 0.1e1 1e23 "
                            "123456789012345678901234567890 9007199254740993 "
                            "1e400 -1e400 1e-400 -1e-400 "
                            "4.9406564584124654e-324 2.2250738585072011e-308 "
                            "0.000000000000000000000000000000000000001 inf -Infinity");
  for (std::string token; tokens >> token;) {
    const char *t = token.c_str();
    // The conversion must not depend on, nor disturb, the caller's mode.
    std::fesetround(FE_TOWARDZERO);
    const auto x = decimal_enclosure(t);
    EXPECT_EQ(std::fegetround(), FE_TOWARDZERO) << t;
    std::fesetround(FE_TONEAREST);
    ASSERT_TRUE(x.has_value()) << t;
    expect_tightest(*x, t);
  }
}

TEST(SolveInput, OnlyDecimalNumbersAreNumbers) {
  for (const char *t : {"", "-", ".", "+.", "e5", "1e", "1e+", "0x10", "nan", "1.2.3", "1e5.5",
                        "--1", "1d5", "infinit", "1_000", "½"})
    EXPECT_FALSE(decimal_enclosure(t).has_value()) << t;
}

TEST(SolveInput, ReadsRowsIntoColumnMajorWithCommentsAnywhere) {
  const System s = parse_system("# header\n"
                                " 2   2 # n nrhs\n"
                                "[0.1, 0.2]  -3\n"
                                "\t4#comment touching a number\n"
                                "[ -1e-400 ,0 ]\n"
                                "1 2 3\n"
                                "4 # the end, no newline");
  ASSERT_EQ(s.n, 2);
  ASSERT_EQ(s.nrhs, 2);
  ASSERT_EQ(s.element(), ruf_solve::Element::real);
  const auto &d = s.as<ruf_di>();
  expect_lower(d.a[0].inf, "0.1");
  expect_upper(d.a[0].sup, "0.2");
  EXPECT_EQ(d.a[s.index(0, 1)].inf, -3);
  EXPECT_EQ(d.a[s.index(1, 0)].sup, 4);
  expect_lower(d.a[3].inf, "-1e-400");
  EXPECT_TRUE(same(d.a[3].sup, 0.0));
  EXPECT_EQ(d.b[s.index(0, 1)].inf, 2);
  EXPECT_EQ(d.b[s.index(1, 0)].inf, 3);
  EXPECT_EQ(d.b[3].sup, 4);
}

// Complex entries: the kind follows from the entries, every bound is the
// tightest enclosure of its decimal, and a disc grows by the rounding of its
// centre so that it still holds the point written.
TEST(SolveInput, ComplexEntries) {
  const System r = parse_system("2 1  [1, 2] + [-0.1, 0.1]i  0.5-0.25i\n"
                                "  3i  [0, 1] - [1, 2]i   1 + i   7");
  ASSERT_EQ(r.element(), ruf_solve::Element::rect);
  const auto &a = r.as<ruf_zr>().a, &b = r.as<ruf_zr>().b;
  expect_lower(a[0].im.inf, "-0.1");
  EXPECT_TRUE(a[r.index(0, 1)].re.inf == 0.5 && a[r.index(0, 1)].im.sup == -0.25);
  EXPECT_TRUE(a[1].re.sup == 0 && a[1].im.inf == 3 && a[1].im.sup == 3);
  EXPECT_TRUE(a[3].im.inf == -2 && a[3].im.sup == -1) << "minus [1, 2]i";
  EXPECT_TRUE(b[0].re.inf == 1 && b[0].im.inf == 1 && b[1].re.inf == 7 && b[1].im.sup == 0);

  const System d = parse_system("1 1 <0.1 + 2i, 0.5> <3, 0>");
  ASSERT_EQ(d.element(), ruf_solve::Element::disc);
  const ruf_zc c = d.as<ruf_zc>().a[0];
  EXPECT_EQ(c.re, 0.1);
  EXPECT_EQ(c.im, 2);
  EXPECT_GT(c.rad, 0.5) << "holds the decimal 0.1";
  EXPECT_LT(c.rad, 0.5 + 1e-15);
  const ruf_zc point = d.as<ruf_zc>().b[0];
  EXPECT_TRUE(point.re == 3 && point.rad == 0);
}

TEST(SolveInput, BoundsAreComparedAsWritten) {
  // Both bounds round to the same doubles; only the decimals tell the order
  // (MalformedInputNamesItsLine has the reversed pairs).
  for (const char *t : {"1 1 [0.1, 0.10000000000000000001] 1", "1 1 [-0, 0] 1",
                        "1 1 [-1e-2, -0.01] 1", "1 1 [-0.10000000000000000001, -0.1] 1", "0 0"})
    EXPECT_NO_THROW(parse_system(t)) << t;
}

struct Bad {
  const char *text;
  int line, column;
  const char *says;
};

TEST(SolveInput, MalformedInputNamesItsLineAndColumn) {
  const Bad cases[] = {
      {"", 1, 0, "ends before the order n"},
      {"-2 1", 1, 0, "order n must be a whole number"},
      {"2.5 1", 1, 0, "order n must be a whole number"},
      {"99999999999 1", 1, 0, "order n must be a whole number"},
      {"2\n-1", 2, 0, "nrhs must be a whole number"},
      {"1 1\n\n 1x 1", 3, 0, "A(1,1): \"1x\" is not a decimal number"},
      {"2 1\n1 2\n3 4\n1\n", 5, 0, "ends after 1 of the 2 entries of B"},
      {"2 1\n1 2\n3", 3, 0, "ends after 3 of the 4 entries of A"},
      {"1 1\n[1, 2\n3", 3, 0, "A(1,1): missing ']'"},
      {"1 1\n[1 2] 3", 2, 0, "A(1,1): expected ','"},
      {"1 1\n[, 2] 3", 2, 0, "A(1,1): expected a lower bound"},
      {"1 1\n[1, ] 3", 2, 0, "A(1,1): expected an upper bound"},
      {"1 1\n1 ]", 2, 0, "unexpected ']' where B(1,1) should start"},
      {"1 1\n1, 2", 2, 0, "unexpected ','"},
      {"1 1\n\n[2,\n1] 3", 3, 0, "lower bound \"2\" is above the upper bound \"1\""},
      {"1 1 [0.10000000000000000001, 0.1] 1", 1, 0, "is above the upper bound"},
      {"1 1 [1e-400, 0] 1", 1, 0, "is above the upper bound"},
      {"1 1\n[inf, inf] 3", 2, 0, "lower bound is +inf"},
      {"1 1\n[-inf, -inf] 3", 2, 0, "upper bound is -inf"},
      {"1 1\ninf 3", 2, 0, "needs brackets"},
      {"1 1\n1 2\n\n3 # one too many", 4, 0, "unexpected \"3\" after the last entry of B"},
      {"1 1\n1 2 [", 2, 5, "unexpected '[' after the last entry of B"},
      {"1 1 [1, 2] + [3, 4] 5", 1, 21, "expected 'i' after the imaginary part"},
      {"1 1 [1, 2] + 3i 5", 1, 14, "expected '[' of the imaginary part"},
      {"1 1 1 + 2 5", 1, 9, "expected an imaginary part"},
      {"1 1 1+2ji 5", 1, 5, "not a complex number"},
      {"1 1 <1, -0.5> 5", 1, 9, "the radius \"-0.5\" is negative"},
      {"1 1 <1, 2 5", 1, 11, "missing '>'"},
      {"1 1 <inf, 2> 5", 1, 6, "centre must be finite"},
      {"2 1\n<1, 2> 1\n1 [1, 2] + [3, 4]i\n1 1", 3, 3, "rectangles and discs cannot be mixed"},
      {"4097 1", 1, 1, "from 0 to 4096"},
  };
  for (const Bad &c : cases) {
    try {
      parse_system(c.text);
      ADD_FAILURE() << "accepted: " << c.text;
    } catch (const InputError &e) {
      EXPECT_EQ(e.line(), c.line) << c.text;
      if (c.column) EXPECT_EQ(e.column(), c.column) << c.text;
      EXPECT_NE(std::string(e.what()).find(c.says), std::string::npos)
          << c.text << " said: " << e.what();
    }
  }
}

} // namespace
