// The intended behaviours of the direct methods (triangular solve and
// inverse, Gaussian elimination) that no enclosure property states, for every
// member: what "T" and "C" solve and what they never read, the pivot rule and
// what info = 1 leaves behind, the whole columns of the inverse, the double
// rectangles' quotient, and the multiplication rule showing in a result.
#include <cmath>
#include <limits>
#include <string>

#include "ruf_service.h"
#include "solvers/harness.h"

namespace {

using namespace ruf_test;

template <class E> class Direct : public SolverTest<E> {};
TYPED_TEST_SUITE(Direct, AllMembers);

template <class E> E nan_element() {
  E e;
  std::memset(&e, 0xFF, sizeof e); // NaN in every number
  return e;
}

template <class E> int gegas(const char *trans, const IMat<E> &a, IMat<E> &b) {
  return solve<E>("GEGAS", a, b, {.trans = trans});
}
// Options as "LNN": uplo, trans, diag.
template <class E> int trtrs(const char *options, const IMat<E> &a, IMat<E> &b) {
  return solve<E>("TRTRS", a, b, {.uplo = options, .trans = options + 1, .diag = options + 2});
}

// "T" and "C" solve with A's strictly lower triangle mirrored onto the upper
// one (not a transposition; callers rely on it) and never read A's upper
// triangle; "C" then conjugates every element with the member's own CONJ
// (the real members have none: "C" is "T"). Bit for bit the solution of "N"
// on that matrix, in either letter case.
TYPED_TEST(Direct, TransposedRequestsSolveTheMirroredMatrix) {
  using E = TypeParam;
  Dyadic g(test_seed() + 3);
  const int n = 4;
  const IMat<E> a = dominant<E>(g, n, 0x1p-8), b = dominant<E>(g, n, 0x1p-8);
  IMat<E> mirrored = a, upper_unread = a;
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < j; ++i) {
      mirrored(i, j) = a(j, i);
      upper_unread(i, j) = nan_element<E>();
    }
  IMat<E> conjugated = mirrored;
  if constexpr (Kind<E>::complex)
    for (E &e : conjugated.v)
      ops::conj(&e, &e);
  for (const char *t : {"T", "t", "C", "c"}) {
    const IMat<E> &want_matrix = (t[0] | 0x20) == 'c' ? conjugated : mirrored;
    IMat<E> want = b, got = b;
    EXPECT_EQ(gegas("N", want_matrix, want), gegas(t, upper_unread, got)) << t;
    EXPECT_TRUE(same_bits(want, got)) << "gegas " << t;
    const std::string upper = std::string("U") + t + "N", plain = "UNN";
    want = got = b;
    trtrs(plain.c_str(), want_matrix, want);
    trtrs(upper.c_str(), upper_unread, got);
    EXPECT_TRUE(same_bits(want, got)) << "trtrs " << upper;
  }
}

// The pivot is the first candidate of strictly largest mignitude, seen in the
// row order B is left in when the next column has no usable pivot: info = 1,
// B as the earlier steps made it, W still allocated. A NaN mignitude is no
// pivot.
TYPED_TEST(Direct, PivotRuleAndNoUsablePivot) {
  using E = TypeParam;
  const int live = live_allocations();
  // Column 1: mignitudes 2 and 2, a tie: no interchange. Then W(2,2) holds 0.
  IMat<E> a = rows<E>(2, {pt<E>(2), pt<E>(1), around<E>(-3, 1), pt<E>(-1)});
  IMat<E> b = rows<E>(2, {pt<E>(3), pt<E>(5)});
  EXPECT_EQ(gegas("N", a, b), 1);
  EXPECT_TRUE(ops::same(b(0, 0), pt<E>(3))) << "row 1 stays the pivot row";
  EXPECT_FALSE(ops::same(b(1, 0), pt<E>(5))) << "row 2 was reduced";
  EXPECT_EQ(live_allocations() - live, 1) << "W is kept";
  // A strictly larger mignitude below wins: the rows are interchanged in B too
  // (the second column holds no usable pivot, whatever the quotient).
  a = rows<E>(2, {pt<E>(2), pt<E>(0), pt<E>(-3), around<E>(0, 1)});
  b = rows<E>(2, {pt<E>(3), pt<E>(5)});
  EXPECT_EQ(gegas("N", a, b), 1);
  EXPECT_TRUE(ops::same(b(0, 0), pt<E>(5)));
  // Every candidate of the first column contains zero: B untouched.
  const IMat<E> zero_column = rows<E>(2, {around<E>(0, 1), pt<E>(1), pt<E>(0), pt<E>(1)});
  b = rows<E>(2, {pt<E>(3), pt<E>(5)});
  EXPECT_EQ(gegas("N", zero_column, b), 1);
  EXPECT_TRUE(ops::same(b(0, 0), pt<E>(3)) && ops::same(b(1, 0), pt<E>(5)));
  if constexpr (!Kind<E>::disc) { // a disc's mignitude is never NaN
    const Real<E> nan = std::numeric_limits<Real<E>>::quiet_NaN();
    IMat<E> nan_pivot = filled(1, 1, pt<E>(1));
    if constexpr (Kind<E>::complex)
      nan_pivot(0, 0).re.sup = nan;
    else
      nan_pivot(0, 0).sup = nan;
    b = filled(1, 1, pt<E>(1));
    EXPECT_EQ(gegas("N", nan_pivot, b), 1) << "mig([1, NaN]) is no pivot";
  }
}

// The inverse writes all n x n entries: the opposite triangle receives the
// quotients computed for it, not A's values.
TYPED_TEST(Direct, InverseWritesWholeColumns) {
  using E = TypeParam;
  for (const char *uplo : {"L", "U"}) {
    IMat<E> a =
        generated<E>(3, 3, [](int i, int j) { return i == j ? around<E>(3, 0.5) : pt<E>(7); });
    const bool lower = uplo[0] == 'L';
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 3; ++i)
        if (lower ? i < j : i > j) a(i, j) = nan_element<E>();
    const IMat<E> before = a;
    EXPECT_EQ(solve<E>("TRTRI", a, a, {.uplo = uplo}), 0);
    for (int j = 0; j < 3; ++j)
      for (int i = 0; i < 3; ++i)
        if (lower ? i < j : i > j)
          EXPECT_FALSE(ops::same(a(i, j), before(i, j))) << uplo << " " << i << j;
  }
}

// A diagonal entry containing zero is divided by as it stands, no error: the
// whole line comes out and spreads to the later unknowns (real members).
TYPED_TEST(Direct, ZeroOnTheDiagonalIsDividedBy) {
  using E = TypeParam;
  if constexpr (!Kind<E>::complex) {
    const Real<E> inf = std::numeric_limits<Real<E>>::infinity();
    IMat<E> b = filled(2, 1, pt<E>(1));
    EXPECT_EQ(trtrs("LNN", rows<E>(2, {around<E>(0, 1), pt<E>(0), pt<E>(1), pt<E>(2)}), b), 0);
    EXPECT_TRUE(ops::same(b(0, 0), E{-inf, inf}) && ops::same(b(1, 0), E{-inf, inf}));
  }
}

// The double rectangles' quotient is scaled by the dividend's squared
// magnitude (intended, and so kept): [2]·x = [1] gives x = 2, not 1/2.
TEST(DirectZR, QuotientScaledByTheDividend) {
  const IMat<ruf_zr> a = filled(1, 1, pt<ruf_zr>(2));
  IMat<ruf_zr> b = filled(1, 1, pt<ruf_zr>(1));
  EXPECT_EQ(gegas("N", a, b), 0);
  EXPECT_TRUE(ops::same(b(0, 0), pt<ruf_zr>(2))) << ops::show(b(0, 0));
}

// A product of two intervals that both contain zero keeps the larger lower
// candidate by default, and the result can miss a solution: x1 = 6 (a12 = 2,
// b2 = -3) below. Under the textbook rule, chosen between two calls, the same
// call encloses it; back to the default, the first result again.
TYPED_TEST(Direct, MultiplicationRuleShowsInTheResult) {
  using E = TypeParam;
  if constexpr (!Kind<E>::complex) {
    const IMat<E> a = rows<E>(2, {pt<E>(1), E{-1, 2}, pt<E>(0), pt<E>(1)});
    const IMat<E> b0 = rows<E>(2, {pt<E>(0), E{-3, 4}});
    IMat<E> text = b0, textbook = b0, again = b0;
    EXPECT_EQ(gegas("N", a, text), 0);
    EXPECT_TRUE(ops::same(text(0, 0), E{-8, 4}));
    EXPECT_FALSE(Kind<E>::contains(text(0, 0), Q(6)));
    EXPECT_EQ(ruf_serv_set_multiplication(RUF_MULTIPLICATION_TEXTBOOK), RUF_MULTIPLICATION_DEFAULT);
    EXPECT_EQ(gegas("N", a, textbook), 0);
    EXPECT_EQ(ruf_serv_set_multiplication(RUF_MULTIPLICATION_DEFAULT), RUF_MULTIPLICATION_TEXTBOOK);
    EXPECT_TRUE(ops::same(textbook(0, 0), E{-8, 6}));
    EXPECT_EQ(gegas("N", a, again), 0);
    EXPECT_TRUE(same_bits(again, text));
  }
}

} // namespace
