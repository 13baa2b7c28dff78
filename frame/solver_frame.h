// The frame every solver follows, and the element kernels the direct and
// iterative solvers share.
//
//   template <class M, class... Lengths> void xxgexxx(..., Lengths...) {
//     frame::Check c{info};                      // info := 0
//     c.option(trans, "NnTtCc", 1).order(*n, 2).order(*nrhs, 3).lead(*lda, *n, 5);
//     if (c.failed()) return c.report(M::name);  // xerbla_(name, &k, 7)
//     if (*n == 0 || *nrhs == 0) return;         // quick return, nothing allocated
//     frame::Allocation get{info, M::name};      // the name reported for info = 1000
//     ws::Matrix<typename M::work> w;
//     if (!get(w, *n, *n)) return;               // info = 1000 already reported
//     ...
//     ws::release(w);
//   }
//
// Checks run in the order they are chained and stop at the first failure. An
// allocation failure leaves the arrays obtained before it allocated: that is
// intended, and callers see nothing but info = 1000.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "ruf_interval.h"

#include "frame/imports.h"
#include "frame/workspace.h"

namespace ruf::frame {

// A name reported to xerbla_, with the length passed beside it (7 for every
// routine name; a literal of another length reports that length).
struct Name {
  const char *text;
  int length;
  template <std::size_t N>
  consteval Name(const char (&s)[N]) : text(s), length(static_cast<int>(N - 1)) {}
};

// A member's traits under the name of one row of the routine table.
template <class Member, class Row> struct Named : Member {
  static constexpr Name name = Row::name;
};

// Implements one row of the routine table: ruf_interval_<lower> takes the
// row's parameters and hands its arguments, the hidden option lengths
// included, to body<Traits named after the row>. A solver source implements
// its method's rows with
//
//   #define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args) (one line:)
//     RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gegas, ruf::solver::P)
//   RUF_REAL_MEMBERS(RUF_ROWS_GEGAS)
//
// so that its signatures and the name it reports come from the table alone.
#define RUF_IMPLEMENT(UPPER, lower, ret, params, args, body, Traits)                               \
  namespace {                                                                                      \
  struct UPPER##_row {                                                                             \
    static constexpr ::ruf::frame::Name name = #UPPER;                                             \
  };                                                                                               \
  }                                                                                                \
  ret ruf_interval_##lower params {                                                                \
    return body<::ruf::frame::Named<Traits, UPPER##_row>> args;                                    \
  }

// True when the option's first character is one of the letters. Only one
// character of the option is compared, whatever its hidden length.
inline bool option_is(const char *option, const char *letters) {
  for (const char *l = letters; *l != '\0'; ++l)
    if (for_cpstr(option, 1, l, 1, kCpstrEqual) != 0) return true;
  return false;
}

// Argument checks in declared order; the first failure sets info to minus its
// position and later checks are skipped.
class Check {
public:
  explicit Check(int *info) : info_(info) { *info_ = 0; }
  Check(const Check &) = delete;
  Check &operator=(const Check &) = delete;

  // A character option: one of the accepted letters (list both cases).
  Check &option(const char *value, const char *letters, int position) {
    if (!failed()) rule(option_is(value, letters), position);
    return *this;
  }
  // An order or a count of right-hand sides: >= 0.
  Check &order(int value, int position) { return rule(value >= 0, position); }
  // A leading dimension: >= max(1, n).
  Check &lead(int ld, int n, int position) { return rule(ld >= (n > 1 ? n : 1), position); }
  // A tolerance that must be > 0, or >= 0; a NaN fails both.
  template <class T> Check &positive(T value, int position) { return rule(value > T(0), position); }
  template <class T> Check &nonnegative(T value, int position) {
    return rule(value >= T(0), position);
  }
  // Any other rule.
  Check &rule(bool ok, int position) {
    if (!failed() && !ok) {
      position_ = position;
      *info_ = -position;
    }
    return *this;
  }

  bool failed() const { return position_ != 0; }
  // Reports the failing position (a positive number) under the name.
  void report(Name name) const {
    int k = position_;
    xerbla_(name.text, &k, name.length);
  }

private:
  int *info_;
  int position_ = 0;
};

// Workspace requests of one call, in the order the solver makes them. A
// status of 0 or 2 is success; anything else sets info to 1000 and reports
// it (the handler receives info itself) under the allocation name.
class Allocation {
public:
  Allocation(int *info, Name name) : info_(info), name_(name) {}

  template <class Code> bool operator()(ws::Matrix<Code> &m, int rows, int cols) {
    return (*this)(m, rows, cols, name_);
  }
  template <class Code> bool operator()(ws::Vector<Code> &v, int n) { return (*this)(v, n, name_); }
  // The same, reported under another name.
  template <class Code> bool operator()(ws::Matrix<Code> &m, int rows, int cols, Name name) {
    int stat = 0;
    m.allocate(rows, cols, &stat);
    return accept(stat, name);
  }
  template <class Code> bool operator()(ws::Vector<Code> &v, int n, Name name) {
    int stat = 0;
    v.allocate(n, &stat);
    return accept(stat, name);
  }
  // For the routines of our own design: whether `count` elements of `size`
  // bytes fit the workspace module's byte count, which is 32 bits and
  // wraps; a request that does not is refused as a failed allocation.
  bool fits(long long count, long long size) {
    return count * size <= std::numeric_limits<std::int32_t>::max() || accept(1, name_);
  }

private:
  bool accept(int stat, Name name) {
    if (stat == 0 || stat == 2) return true;
    *info_ = RUF_INFO_NO_WORKSPACE;
    xerbla_(name.text, info_, name.length);
    return false;
  }
  int *info_;
  Name name_;
};

// Rounding direction for a stretch of point code, through ieee_flags. The
// default is round to nearest, not the caller's previous direction.
enum class IeeeRounding { downward, upward, to_default };

inline void ieee_rounding(IeeeRounding r) {
  char out[10];
  switch (r) {
  case IeeeRounding::downward:
    ieee_flags("set       ", "direction ", "negative  ", out, 10, 10, 10, 10);
    break;
  case IeeeRounding::upward:
    ieee_flags("set       ", "direction ", "positive  ", out, 10, 10, 10, 10);
    break;
  case IeeeRounding::to_default:
    ieee_flags("clear     ", "direction ", "          ", out, 10, 10, 10, 10);
    break;
  }
}

// m := the larger of m and v, where a NaN, once met, stays: a NaN norm or
// change must not pass for a small one.
template <class T> void raise_to(T &m, T v) {
  if (!(m != m) && !(v <= m)) m = v;
}

// Element kernels. M is a member's traits (elem, copy, mult, subt, divi);
// every element write goes through the member's operations. They sit in the
// innermost loops, where each elementary call costs two rounding-mode
// switches: a kernel makes no call the result does not need.

// a := b.
template <class M>
[[gnu::always_inline]] inline void assign(typename M::elem &a, const typename M::elem &b) {
  M::copy(&a, &b);
}

// a <-> b, a true exchange through a temporary (a and b may be the same).
template <class M>
[[gnu::always_inline]] inline void exchange(typename M::elem &a, typename M::elem &b) {
  typename M::elem t;
  M::copy(&t, &a);
  M::copy(&a, &b);
  M::copy(&b, &t);
}

// d := d - a*b. The difference is formed in place: a result may share storage
// with its first operand, and the product is a temporary, so d may be a or b.
template <class M>
[[gnu::always_inline]] inline void sub_product(typename M::elem &d, const typename M::elem &a,
                                               const typename M::elem &b) {
  typename M::elem p;
  M::mult(&p, &a, &b);
  M::subt(&d, &d, &p);
}

// W := A, all n x n entries, row index outer.
template <class M, class Dst, class Src> void copy_square(const Dst &w, const Src &a, int n) {
  for (int i = 1; i <= n; ++i)
    for (int j = 1; j <= n; ++j)
      M::copy(&w(i, j), &a(i, j));
}

// The transposed request: the strictly lower triangle is mirrored onto the
// strictly upper one and the lower triangle keeps its values. Not a swap:
// this is intended, and callers rely on "T" using A's lower triangle only.
template <class M, class Mat> void mirror_lower(const Mat &w, int n) {
  typename M::elem t;
  for (int j = 1; j <= n; ++j)
    for (int i = 1; i < j; ++i) {
      M::copy(&t, &w(j, i));
      M::copy(&w(i, j), &w(j, i));
      M::copy(&w(j, i), &t);
    }
}

// The work copy of a general or triangular solver: W := A; the transposed
// requests "T" and "C" mirror A's lower triangle (above); "C" then passes
// every element through the member's conjugation, the element being its own
// result (the real members have nothing to conjugate).
template <class M, class Dst, class Src>
void prepare(const Dst &w, const Src &a, int n, const char *trans) {
  copy_square<M>(w, a, n);
  if (option_is(trans, "TtCc")) mirror_lower<M>(w, n);
  if constexpr (M::conjugates) {
    if (option_is(trans, "Cc"))
      for (int j = 1; j <= n; ++j)
        for (int i = 1; i <= n; ++i)
          M::conj(&w(i, j), &w(i, j));
  }
}

// W(i,i) := the member's point 1 for every i.
template <class M, class Mat> void unit_diagonal(const Mat &w, int n) {
  for (int i = 1; i <= n; ++i)
    M::unit(&w(i, i));
}

// Solves the triangle of W selected by `lower` for the right-hand side
// rhs(1..n) into x(1..n); rhs is read only as the start of each row. The
// diagonal is divided by as it stands, whatever it contains.
template <class M, class Mat, class Rhs, class Vec>
void substitute(bool lower, const Mat &w, int n, const Rhs &rhs, const Vec &x) {
  typename M::elem s;
  auto row = [&](int i, int k0, int k1) {
    M::copy(&s, &rhs(i));
    for (int k = k0; k <= k1; ++k)
      sub_product<M>(s, w(i, k), x(k));
    M::divi(&x(i), &s, &w(i, i));
  };
  if (lower)
    for (int i = 1; i <= n; ++i)
      row(i, 1, i - 1);
  else
    for (int i = n; i >= 1; --i)
      row(i, i + 1, n);
}

} // namespace ruf::frame
