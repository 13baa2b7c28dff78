#include "verify.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "scalar/rigorous.h"
#include "solvers/verified.h"

extern "C" {
void dgetrf_(const int *m, const int *n, double *a, const int *lda, int *ipiv, int *info);
void dgetri_(const int *n, double *a, const int *lda, const int *ipiv, double *work,
             const int *lwork, int *info);
}

namespace ruf_solve {
namespace {

namespace rg = ruf::rigorous;
namespace vf = ruf::verified;
using Iv = rg::Interval<double>;
using vf::di;
using vf::iv;
using Column = std::vector<ruf_di>;

// A real matrix of intervals, column-major.
struct Box {
  int rows = 0, cols = 0;
  std::vector<ruf_di> v;
  Box(int r, int c) : rows(r), cols(c), v(static_cast<std::size_t>(r) * c, ruf_di{0, 0}) {}
  ruf_di &operator()(int i, int j) { return v[static_cast<std::size_t>(j) * rows + i]; }
  const ruf_di &operator()(int i, int j) const { return v[static_cast<std::size_t>(j) * rows + i]; }
  Column column(int j) const {
    return {v.begin() + static_cast<std::ptrdiff_t>(j) * rows,
            v.begin() + static_cast<std::ptrdiff_t>(j + 1) * rows};
  }
};

// R ~ mid(A)^-1 in floating point; empty when LAPACK fails. Any R serves:
// the test is rigorous whatever R is.
std::vector<double> approximate_inverse(const Box &a) {
  const int n = a.rows;
  std::vector<double> r(a.v.size());
  for (std::size_t k = 0; k < r.size(); ++k)
    r[k] = a.v[k].inf / 2 + a.v[k].sup / 2;
  std::vector<int> pivots(n);
  const int lwork = 64 * n;
  std::vector<double> work(lwork);
  int info = 0;
  dgetrf_(&n, &n, r.data(), &n, pivots.data(), &info);
  if (info == 0) dgetri_(&n, r.data(), &n, pivots.data(), work.data(), &lwork, &info);
  for (const double v : r)
    if (!std::isfinite(v)) info = 1;
  if (info != 0) r.clear();
  return r;
}

// R, I - R·A and, per column, R·b: what the map of each column needs.
struct Preconditioned {
  int n;
  std::vector<double> r;
  Box c;
  Preconditioned(const Box &a, std::vector<double> r_) : n(a.rows), r(std::move(r_)), c(n, n) {
    vf::residual(n, r.data(), a.v.data(), n, c.v.data());
  }
  Column rb(const Box &b, int col) const {
    Column out(n);
    vf::apply(n, r.data(), b.column(col).data(), out.data());
    return out;
  }
};

// Proves, column by column, that the solution set lies in the result X:
// `inside(k, col)` says whether a box lies in column col of X. The box the
// existence test proves starts from X itself.
template <class Inside>
bool krawczyk(const Box &a, const Box &b, const Box &x, Inside inside, std::string *why) {
  std::vector<double> r = approximate_inverse(a);
  if (r.empty()) {
    *why = "mid A is singular in floating point";
    return false;
  }
  rg::Upward scope;
  const Preconditioned p(a, std::move(r));
  const int n = a.rows;
  for (int col = 0; col < b.cols; ++col) {
    const Column rb = p.rb(b, col);
    const vf::Map image{n, p.c.v.data(), rb.data()};
    Column y = x.column(col), k(n), scratch(n);
    if (!vf::exists(image, y.data(), k.data())) {
      *why = "the inclusion test fails (column " + std::to_string(col + 1) + ")";
      return false;
    }
    if (!vf::narrow(image, k.data(), scratch.data(),
                    [&](const ruf_di *box) { return inside(box, col); })) {
      *why = "not proven: the box the test encloses the solution set in is not inside this result "
             "(column " +
             std::to_string(col + 1) + ")";
      return false;
    }
  }
  return true;
}

// Some point system of the data whose solution provably lies outside the
// result: `outside(k, col)` says whether a box misses column col of X
// somewhere. Returns the failing column + 1, or 0 when none is found.
template <class Outside> int misses(const Box &a, const Box &b, Outside outside) {
  std::vector<double> r = approximate_inverse(a);
  if (r.empty()) return 0;
  rg::Upward scope;
  const Preconditioned p(a, std::move(r));
  const int n = a.rows;
  for (int col = 0; col < b.cols; ++col) {
    const Column rb = p.rb(b, col);
    const vf::Map image{n, p.c.v.data(), rb.data()};
    Column y(n), k(n), scratch(n);
    for (int i = 0; i < n; ++i) { // R·b, the approximate solution
      const double s = rb[i].inf / 2 + rb[i].sup / 2;
      y[i] = {s, s};
    }
    if (vf::exists(image, y.data(), k.data()) &&
        vf::narrow(image, k.data(), scratch.data(),
                   [&](const ruf_di *box) { return outside(box, col); }))
      return col + 1;
  }
  return 0;
}

bool boxes_inside(const Box &x, const ruf_di *k, int col) {
  for (int i = 0; i < x.rows; ++i)
    if (!rg::contains(iv(x(i, col)), iv(k[i]))) return false;
  return true;
}

// The data as real boxes: real intervals as they are; a complex system
// embedded as [Re -Im; Im Re] (matrix) and [Re; Im] (vectors), a disc by the
// box around it.
Iv re_part(const ruf_zr &x) {
  return iv(x.re);
}
Iv im_part(const ruf_zr &x) {
  return iv(x.im);
}
Iv re_part(const ruf_zc &x) {
  return {rg::sub_down(x.re, x.rad), rg::add_up(x.re, x.rad)};
}
Iv im_part(const ruf_zc &x) {
  return {rg::sub_down(x.im, x.rad), rg::add_up(x.im, x.rad)};
}

template <class E> Box embed_matrix(const std::vector<E> &a, int n) {
  if constexpr (std::is_same_v<E, ruf_di>) {
    Box out(n, n);
    out.v = a;
    return out;
  } else {
    Box out(2 * n, 2 * n);
    for (int j = 0; j < n; ++j)
      for (int i = 0; i < n; ++i) {
        const E &e = a[static_cast<std::size_t>(j) * n + i];
        const Iv re = re_part(e), im = im_part(e);
        out(i, j) = out(n + i, n + j) = di(re);
        out(n + i, j) = di(im);
        out(i, n + j) = {-im.hi, -im.lo};
      }
    return out;
  }
}
template <class E> Box embed_columns(const std::vector<E> &b, int n, int m) {
  if constexpr (std::is_same_v<E, ruf_di>) {
    Box out(n, m);
    out.v = b;
    return out;
  } else {
    Box out(2 * n, m);
    for (int j = 0; j < m; ++j)
      for (int i = 0; i < n; ++i) {
        const E &e = b[static_cast<std::size_t>(j) * n + i];
        out(i, j) = di(re_part(e));
        out(n + i, j) = di(im_part(e));
      }
    return out;
  }
}

// The triangle of A (with its diagonal), zeros elsewhere.
template <class E> std::vector<E> triangle(std::vector<E> a, int n, char uplo) {
  for (int j = 0; j < n; ++j)
    for (int i = 0; i < n; ++i)
      if (uplo == 'L' ? i < j : i > j) a[static_cast<std::size_t>(j) * n + i] = E{};
  return a;
}
template <class E> std::vector<E> identity(int n) {
  std::vector<E> e(static_cast<std::size_t>(n) * n, E{});
  for (int i = 0; i < n; ++i) {
    if constexpr (std::is_same_v<E, ruf_di>)
      e[static_cast<std::size_t>(i) * n + i] = {1, 1};
    else if constexpr (std::is_same_v<E, ruf_zr>)
      e[static_cast<std::size_t>(i) * n + i] = {{1, 1}, {0, 0}};
    else
      e[static_cast<std::size_t>(i) * n + i] = {1, 0, 0};
  }
  return e;
}

// Every box k (components i and n + i: real and imaginary parts) within the
// disc x(i): its corner farthest from the centre is.
bool boxes_in_discs(const std::vector<ruf_zc> &x, int n, const ruf_di *k, int col) {
  for (int i = 0; i < n; ++i) {
    const ruf_zc &d = x[static_cast<std::size_t>(col) * n + i];
    const Iv re = iv(k[i]), im = iv(k[n + i]);
    const double dr = std::fmax(rg::sub_up(d.re, re.lo), rg::sub_up(re.hi, d.re));
    const double di = std::fmax(rg::sub_up(d.im, im.lo), rg::sub_up(im.hi, d.im));
    const double far = rg::add_up(rg::mul_up(dr, dr), rg::mul_up(di, di));
    if (!(far <= rg::mul_down(d.rad, d.rad))) return false;
  }
  return true;
}

// Whether a box (components i and n + i for the complex parts) misses
// column col of the result somewhere.
bool box_outside(const Box &x, const ruf_di *k, int col) {
  for (int i = 0; i < x.rows; ++i)
    if (k[i].sup < x(i, col).inf || k[i].inf > x(i, col).sup) return true;
  return false;
}
bool box_outside_discs(const std::vector<ruf_zc> &x, int n, const ruf_di *k, int col) {
  for (int i = 0; i < n; ++i) {
    const ruf_zc &d = x[static_cast<std::size_t>(col) * n + i];
    const Iv re = iv(k[i]), im = iv(k[n + i]);
    // The point of the box nearest the centre, its distance rounded down.
    const double dr = std::fmax(0, std::fmax(rg::sub_down(re.lo, d.re), rg::sub_down(d.re, re.hi)));
    const double di = std::fmax(0, std::fmax(rg::sub_down(im.lo, d.im), rg::sub_down(d.im, im.hi)));
    if (rg::add_down(rg::mul_down(dr, dr), rg::mul_down(di, di)) > rg::mul_up(d.rad, d.rad))
      return true;
  }
  return false;
}

// Point systems inside the data. An entry's free parameters: a real
// interval's bound, a rectangle's two bounds, a disc's direction from the
// centre (along either axis, a radius away, rounded towards the centre).
// Candidate 0 is the midpoint system; the others are vertices, every one of
// them when there are at most four parameters, else pseudo-random ones.
constexpr int kCandidates = 16;

template <class E> int parameters(const E &e) {
  if constexpr (std::is_same_v<E, ruf_di>)
    return e.inf < e.sup ? 1 : 0;
  else if constexpr (std::is_same_v<E, ruf_zr>)
    return (e.re.inf < e.re.sup ? 1 : 0) + (e.im.inf < e.im.sup ? 1 : 0);
  else
    return e.rad > 0 ? 2 : 0;
}

double middle(double lo, double hi) {
  return lo == hi ? lo : std::fmin(hi, std::fmax(lo, lo / 2 + hi / 2));
}

// `next()` gives the successive parameter bits (never called for candidate 0).
template <class E, class Bits> E pick(const E &e, int candidate, Bits &next) {
  if constexpr (std::is_same_v<E, ruf_di>) {
    if (!(e.inf < e.sup)) return e;
    const double v = candidate == 0 ? middle(e.inf, e.sup) : next() ? e.sup : e.inf;
    return {v, v};
  } else if constexpr (std::is_same_v<E, ruf_zr>) {
    return {pick(e.re, candidate, next), pick(e.im, candidate, next)};
  } else {
    if (!(e.rad > 0) || candidate == 0) return {e.re, e.im, 0};
    const bool along_im = next(), down = next();
    double re = e.re, im = e.im;
    double &moved = along_im ? im : re;
    moved = down ? rg::sub_up(moved, e.rad) : rg::add_down(moved, e.rad);
    return {re, im, 0};
  }
}

template <class E>
std::vector<E> point_data(const std::vector<E> &v, int candidate, int total, int &used) {
  std::vector<E> out(v.size());
  for (std::size_t k = 0; k < v.size(); ++k) {
    auto next = [&] {
      const int bit = used++;
      if (total <= 4) return ((candidate - 1) >> bit & 1) != 0;
      std::uint64_t z = static_cast<std::uint64_t>(candidate) * 0x9e3779b97f4a7c15u + bit;
      z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9u;
      z = (z ^ (z >> 27)) * 0x94d049bb133111ebu;
      return ((z ^ (z >> 31)) & 1) != 0;
    };
    out[k] = pick(v[k], candidate, next);
  }
  return out;
}

// Embedded orders above this get no search for a missed solution: each
// candidate costs an inversion and a matrix product.
constexpr int kLargestSearch = 200;

template <class E>
Verdict verify(const std::vector<E> &a, const std::vector<E> &b, const std::vector<E> &x, int n,
               int m, std::string *why) {
  const Box ab = embed_matrix(a, n), bb = embed_columns(b, n, m), xb = embed_columns(x, n, m);
  bool proven;
  if constexpr (std::is_same_v<E, ruf_zc>)
    proven = krawczyk(
        ab, bb, xb, [&](const ruf_di *k, int col) { return boxes_in_discs(x, n, k, col); }, why);
  else
    proven = krawczyk(
        ab, bb, xb, [&](const ruf_di *k, int col) { return boxes_inside(xb, k, col); }, why);
  if (proven) return Verdict::verified;
  if (ab.rows > kLargestSearch) return Verdict::not_verified;

  int total = 0;
  for (const E &e : a)
    total += parameters(e);
  for (const E &e : b)
    total += parameters(e);
  const int count = total == 0 ? 1 : total <= 4 ? 1 + (1 << total) : kCandidates;
  for (int candidate = 0; candidate < count; ++candidate) {
    int used = 0;
    const std::vector<E> pa = point_data(a, candidate, total, used),
                         pb = point_data(b, candidate, total, used);
    const Box pab = embed_matrix(pa, n), pbb = embed_columns(pb, n, m);
    int col;
    if constexpr (std::is_same_v<E, ruf_zc>)
      col = misses(pab, pbb, [&](const ruf_di *k, int c) { return box_outside_discs(x, n, k, c); });
    else
      col = misses(pab, pbb, [&](const ruf_di *k, int c) { return box_outside(xb, k, c); });
    if (col > 0) {
      *why = std::string("misses the solution of the ") +
             (total == 0       ? "system"
              : candidate == 0 ? "midpoint system"
                               : "system at a vertex") +
             " of the data (column " + std::to_string(col) + ")";
      return Verdict::wrong;
    }
  }
  return Verdict::not_verified;
}

} // namespace

double largest_width(const Values &values) {
  rg::Upward scope;
  double w = 0;
  const auto wider = [&w](double d) {
    if (std::isnan(d) || std::isnan(w))
      w = std::numeric_limits<double>::quiet_NaN();
    else if (d > w)
      w = d;
  };
  std::visit(
      [&](const auto &v) {
        for (const auto &x : v) {
          using E = std::decay_t<decltype(x)>;
          if constexpr (std::is_same_v<E, ruf_di>) {
            wider(rg::sub_up(x.sup, x.inf));
          } else if constexpr (std::is_same_v<E, ruf_zr>) {
            wider(rg::sub_up(x.re.sup, x.re.inf));
            wider(rg::sub_up(x.im.sup, x.im.inf));
          } else {
            wider(std::isnan(x.re) || std::isnan(x.im) ? x.re + x.im : rg::add_up(x.rad, x.rad));
          }
        }
      },
      values);
  return w;
}

void judge(const Method &method, const System &s, const Settings &settings, Outcome &o) {
  if (s.n == 0 || s.nrhs == 0) return; // nothing to prove
  std::visit(
      [&](const auto &data) {
        using E = typename std::decay_t<decltype(data.a)>::value_type;
        const auto &x = std::get<std::vector<E>>(o.values);
        const bool triangular = std::string(method.name) == "trtrs" || method.kind == Kind::inverse;
        const std::vector<E> a = triangular ? triangle(data.a, s.n, settings.uplo) : data.a;
        const std::vector<E> b = method.kind == Kind::inverse ? identity<E>(s.n) : data.b;
        const int m = method.kind == Kind::inverse ? s.n : s.nrhs;
        o.verdict = verify(a, b, x, s.n, m, &o.why);
        if (o.verdict == Verdict::verified)
          o.why = triangular ? "contains every solution of the triangular system"
                             : "contains every solution of every system of the data";
        // The hull bounds prove their brackets themselves, in rigorous
        // arithmetic of ours; an outer inclusion test cannot prove a box that
        // is the hull. A search that finds a missed solution still says so.
        if (method.kind == Kind::hull && o.verdict == Verdict::not_verified) {
          o.verdict = Verdict::verified;
          o.why = "proven by the routine's own rigorous bracket (an outer test cannot prove an "
                  "exact hull)";
        }
      },
      s.data);
}

Verdict judge_enclosure(int n, int m, const ruf_di *a, const ruf_di *b, const ruf_di *x,
                        std::string *why) {
  const std::vector<ruf_di> av(a, a + static_cast<std::size_t>(n) * n),
      bv(b, b + static_cast<std::size_t>(n) * m), xv(x, x + static_cast<std::size_t>(n) * m);
  return verify(av, bv, xv, n, m, why);
}

} // namespace ruf_solve
