// ?GEPPS: one endpoint of the hull of the solution set, bracketed by linear
// programs over orthants.
//
// In the orthant of sign vector s, the Oettli-Prager description of the
// solution set, min over [A] of (A x)_i <= sup b_i and max over [A] of (A x)_i
// >= inf b_i for every row, is linear: the minimum takes A's lower endpoint
// in the columns where s_j = +1 and the upper one elsewhere. So the largest
// x_k over the orthant's part of S is a linear program in u = s∘x >= 0, with
// the verified enclosure X of S as extra bounds. Each orthant X meets is one
// sub-problem:
//   - its upper bound is rigorous by weak duality: for any multipliers y >= 0,
//     c·u <= y·h + (c - Gᵀy)·u <= sup(y·h + (c - Gᵀy)·U) over the box U,
//     evaluated in outward-rounded arithmetic;
//   - an infeasible orthant is dropped only when the phase-one multipliers
//     prove it (y·h - (Gᵀy)·U < 0 over U);
//   - its lower bound is a verified point of S, the solution of the vertex
//     system the optimum points at (each row takes the inequality nearer to
//     being tight), enclosed by the Krawczyk test.
// Orthants not reached within maxit sub-problems count with X's bound.
#include <cstdint>

#include "solvers/real/hull.h"
#include "solvers/real/real_traits.h"
#include "solvers/real/simplex.h"

// The saved variables.
double ruf_interval_digepps_EPS = 0;
const ruf_di ruf_interval_digepps_IZERO = {0, 0};
float ruf_interval_sigepps_EPS = 0;
const ruf_si ruf_interval_sigepps_IZERO = {0, 0};

namespace ruf::solver {
namespace {

using namespace hull;

// One sub-problem, in a workspace record of its own (dis, sis).
struct SubProblem {
  std::uint64_t signs; // bit t: the t-th free component is <= 0 here
  lp::Status status;
  double upper, lower;
};
static_assert(sizeof(SubProblem) <= 352);

template <class E> struct Saved;
template <> struct Saved<ruf_di> {
  static double &eps() { return ruf_interval_digepps_EPS; }
  static constexpr auto allocate = &ruf_alloc_allocate_dis_0_ruf;
  static constexpr auto release = &ruf_alloc_deallocate_dis_0_ruf;
};
template <> struct Saved<ruf_si> {
  static float &eps() { return ruf_interval_sigepps_EPS; }
  static constexpr auto allocate = &ruf_alloc_allocate_sis_0_ruf;
  static constexpr auto release = &ruf_alloc_deallocate_sis_0_ruf;
};

// The programs' arrays: m = 4n rows (two Oettli-Prager rows per equation,
// then u <= ub and -u <= -lb), n columns.
struct Programs {
  ws::Matrix<ws::d> g, tableau;
  ws::Vector<ws::d> h, c, u, y;
  ws::Vector<ws::i4> basis;
  ws::Vector<ws::di> ubox;
  VertexWork vertex;
  void release() {
    ws::release(g, tableau, h, c, u, y, basis, ubox);
    vertex.release();
  }
};

bool allocate(frame::Allocation &get, Programs &p, int n) {
  const int m = 4 * n; // n is at most 11,585 here (prepare's check)
  if (!get.fits(static_cast<long long>(m + 1) * lp::Simplex::width(m, n), 8)) return false;
  return get(p.g, m, n) && get(p.tableau, m + 1, lp::Simplex::width(m, n)) && get(p.h, m) &&
         get(p.c, n) && get(p.u, n) && get(p.y, m) && get(p.basis, m) && get(p.ubox, n) &&
         p.vertex.allocate(get, n);
}

// The orthant's program for the largest x_k; s(j) is +1 or -1.
template <class Sign> void build(const Arrays &w, Programs &p, int k, Sign s) {
  const int n = w.n, m = 4 * n;
  const auto g = [&](int i, int j) -> double & {
    return p.g.data()[i + static_cast<std::ptrdiff_t>(j) * m];
  };
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) {
      const ruf_di &e = w.a(i + 1, j + 1);
      const double sj = s(j);
      g(i, j) = (sj > 0 ? e.inf : e.sup) * sj;      // min over [A] of (A x)_i <= sup b_i
      g(n + i, j) = -(sj > 0 ? e.sup : e.inf) * sj; // max over [A] of (A x)_i >= inf b_i
      g(2 * n + i, j) = i == j ? 1.0 : 0.0;
      g(3 * n + i, j) = i == j ? -1.0 : 0.0;
    }
    p.h(i + 1) = w.b(i + 1).sup;
    p.h(n + i + 1) = -w.b(i + 1).inf;
    // u_i = s_i x_i within X cut to the orthant.
    const ruf_di &x = w.x(i + 1);
    const ruf_di ub =
        s(i) > 0 ? ruf_di{std::fmax(0.0, x.inf), x.sup} : ruf_di{std::fmax(0.0, -x.sup), -x.inf};
    p.ubox(i + 1) = ub;
    p.h(2 * n + i + 1) = ub.sup;
    p.h(3 * n + i + 1) = -ub.inf;
    p.c(i + 1) = i == k ? s(k) : 0.0;
  }
}

// sup over the box U of y·h + (c - Gᵀy)·u, or with `farkas` of y·h - (Gᵀy)·u,
// in outward-rounded arithmetic.
double dual_bound(const Programs &p, int n, bool farkas) {
  const int m = 4 * n;
  rg::Upward scope;
  Iv v = rg::point(0.0);
  for (int i = 0; i < m; ++i)
    v = rg::add(v, rg::mul(rg::point(p.y(i + 1)), rg::point(p.h(i + 1))));
  for (int j = 0; j < n; ++j) {
    Iv r = rg::point(farkas ? 0.0 : p.c(j + 1));
    for (int i = 0; i < m; ++i)
      r = rg::sub(r, rg::mul(rg::point(p.y(i + 1)),
                             rg::point(p.g.data()[i + static_cast<std::ptrdiff_t>(j) * m])));
    v = rg::add(v, rg::mul(r, iv(p.ubox(j + 1))));
  }
  return v.hi;
}

template <class M, class... Lengths>
void gepps(const char *trans, const int *n_, const typename M::elem *a, const int *lda,
           const typename M::elem *b, const int *k_, const typename M::real *eps, const char *ul,
           int *maxit, typename M::elem *bound, int *info, Lengths...) {
  using E = typename M::elem;
  frame::Check check{info};
  if (checks_fail(check, trans, *n_, *lda, *k_, *eps, ul, *maxit)) return check.report(M::name);
  const int n = *n_, k = *k_ - 1;
  if (n == 0) return;
  const bool lower = frame::option_is(ul, "Ll");
  frame::Allocation get{info, M::name};
  Arrays w;
  Programs p;
  // Our own routine releases its workspace on every return, failures included.
  const auto release = [&] {
    p.release();
    w.release();
  };
  if (!prepare(get, w, n, a, *lda, b, trans, lower) || !allocate(get, p, n)) return release();
  if (!enclose(w)) {
    unproven(bound, info);
    Saved<E>::eps() = std::numeric_limits<typename M::real>::infinity();
    *maxit = 0;
    return release();
  }

  // A first verified point: the vertex that R's row k favours, in the
  // orthant of X's midpoint.
  const auto mid_sign = [&](int j) {
    return w.x(j + 1).inf / 2 + w.x(j + 1).sup / 2 >= 0 ? 1.0 : -1.0;
  };
  double lo = best_vertex(w, p.vertex, k, mid_sign,
                          [&](int i) { return vf::at(w.r.data(), n, k, i) >= 0; });
  double hi = -std::numeric_limits<double>::infinity();

  // The components X leaves free of sign, in order; the orthants over them
  // are taken starting from the midpoint's, in Gray-code order.
  int free = 0;
  std::uint64_t base = 0;
  for (int j = 0; j < n; ++j)
    if (w.x(j + 1).inf < 0 && w.x(j + 1).sup > 0) {
      if (free < 63 && mid_sign(j) < 0) base |= std::uint64_t(1) << free;
      ++free;
    }
  const std::uint64_t total = free < 63 ? std::uint64_t(1) << free : ~std::uint64_t(0);
  lp::Simplex simplex{4 * n, n, p.tableau.data(), p.basis.data()};
  int used = 0;
  std::uint64_t t = 0;
  for (; t < total && used < *maxit; ++t, ++used) {
    SubProblem *sub = nullptr;
    if (!record(Saved<E>::allocate, reinterpret_cast<void **>(&sub), info, M::name))
      return release();
    sub->signs = base ^ (t ^ (t >> 1));
    const auto sign = [&](int j) {
      const ruf_di &x = w.x(j + 1);
      if (x.inf >= 0) return 1.0;
      if (x.sup <= 0) return -1.0;
      int rank = 0;
      for (int l = 0; l < j; ++l)
        rank += w.x(l + 1).inf < 0 && w.x(l + 1).sup > 0;
      return rank < 63 && (sub->signs >> rank & 1) ? -1.0 : 1.0;
    };
    build(w, p, k, sign);
    sub->status = simplex.solve(p.g.data(), p.h.data(), p.c.data(), p.u.data(), p.y.data());
    // X cut to the orthant bounds x_k there whatever the program says.
    const double fallback = sign(k) > 0 ? p.ubox(k + 1).sup : -p.ubox(k + 1).inf;
    sub->upper = fallback;
    sub->lower = -std::numeric_limits<double>::infinity();
    if (sub->status == lp::Status::optimal) {
      sub->upper = std::fmin(fallback, dual_bound(p, n, false));
      // The vertex system the optimum points at.
      const auto slack_upper = [&](int i) {
        const auto g = [&](int r, int j) {
          return p.g.data()[r + static_cast<std::ptrdiff_t>(j) * 4 * n];
        };
        double s1 = p.h(i + 1), s2 = p.h(n + i + 1);
        for (int j = 0; j < n; ++j) {
          s1 -= g(i, j) * p.u(j + 1);
          s2 -= g(n + i, j) * p.u(j + 1);
        }
        return s1 <= s2;
      };
      sub->lower = vertex_point(w, p.vertex, k, sign, slack_upper);
    } else if (sub->status == lp::Status::infeasible && dual_bound(p, n, true) < 0) {
      sub->upper = -std::numeric_limits<double>::infinity(); // proven empty
    }
    hi = std::fmax(hi, sub->upper);
    lo = std::fmax(lo, sub->lower);
    Saved<E>::release(reinterpret_cast<void **>(&sub), nullptr);
  }
  if (t < total) hi = std::fmax(hi, w.x(k + 1).sup); // orthants left: X bounds them
  hi = std::fmax(hi, lo); // only when every orthant was dropped: no solution is missed
  *maxit = used;
  Saved<E>::eps() = static_cast<typename M::real>(finish(lo, hi, lower, *eps, bound, info));
  release();
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gepps, ruf::solver::P)
RUF_REAL_MEMBERS(RUF_ROWS_GEPPS)
