// ?GEPSS: one endpoint of the hull of the solution set, bracketed by branch
// and bound over boxes of x-space.
//
// The list holds boxes that together contain every solution, sorted by the
// key sup x_k, largest first, so the head's key bounds the maximum from
// above. A step takes the head, looks for a verified point of S from it
// (the vertex system its signs and R's row k point at) to raise the lower
// bound, splits it along its widest component, and keeps each half that
// survives the contractors: the Oettli-Prager test (a row whose residual
// interval [A]_i·Y - [b]_i excludes 0 has no solution in Y) and Krawczyk and
// Gauss-Seidel steps on the preconditioned system, which keep every
// solution of the box. A half whose key falls below the lower bound holds
// nothing better and is dropped.
//
// Boxes live in one pool of slots; the list nodes are workspace records
// (dlst, slst). When the pool is full the routine stops with info = 1 and a
// bound that is still valid.
#include <initializer_list>

#include "solvers/real/hull.h"
#include "solvers/real/real_traits.h"

int ruf_interval_digepss_ZLP_ITER = 0;
int ruf_interval_sigepss_ZLP_ITER = 0;

namespace ruf::solver {
namespace {

using namespace hull;

// A node of the sorted list, in a workspace record of its own.
struct Node {
  double key;
  Node *next;
  int slot;
};
static_assert(sizeof(Node) <= 96);

template <class E> struct Saved;
template <> struct Saved<ruf_di> {
  static int &steps() { return ruf_interval_digepss_ZLP_ITER; }
  static constexpr auto allocate = &ruf_alloc_allocate_dlst_0_ruf;
  static constexpr auto release = &ruf_alloc_deallocate_dlst_0_ruf;
};
template <> struct Saved<ruf_si> {
  static int &steps() { return ruf_interval_sigepss_ZLP_ITER; }
  static constexpr auto allocate = &ruf_alloc_allocate_slst_0_ruf;
  static constexpr auto release = &ruf_alloc_deallocate_slst_0_ruf;
};

// Most boxes alive at once.
constexpr int kPool = 16384;

struct Boxes {
  ws::Matrix<ws::di> pool; // n x slots
  ws::Vector<ws::i4> free; // free slots, a stack
  ws::Vector<ws::di> scratch;
  VertexWork vertex;
  int slots = 0, top = 0;
  void release() {
    ws::release(pool, free, scratch);
    vertex.release();
  }
  ruf_di *box(int slot) const { return &pool(1, slot + 1); }
};

// Shrinks y (n) with the contractors; false when y provably holds no
// solution. Per equation i, b_i = sum_j A_ij x_j: the residual interval must
// hold 0 (Oettli-Prager), and each x_j with 0 outside A_ij lies in
// (b_i - sum_{l != j} A_il x_l) / A_ij; then a Krawczyk and a Gauss-Seidel
// step on the preconditioned system. s: scratch (n).
bool contract(const Arrays &w, ruf_di *y, ruf_di *s) {
  const int n = w.n;
  rg::Upward scope;
  for (int round = 0; round < 4; ++round) {
    bool shrank = false;
    for (int i = 0; i < n; ++i) {
      Iv r = rg::sub(rg::point(0.0), iv(w.b(i + 1)));
      for (int j = 0; j < n; ++j)
        r = rg::add(r, rg::mul(iv(w.a(i + 1, j + 1)), iv(y[j])));
      if (r.lo > 0 || r.hi < 0) return false;
      for (int j = 0; j < n; ++j) {
        const Iv aij = iv(w.a(i + 1, j + 1));
        if (!(aij.lo > 0 || aij.hi < 0)) continue;
        Iv rest = iv(w.b(i + 1));
        for (int l = 0; l < n; ++l)
          if (l != j) rest = rg::sub(rest, rg::mul(iv(w.a(i + 1, l + 1)), iv(y[l])));
        shrank = vf::cut(y[j], rg::div(rest, aij)) || shrank;
        if (!(y[j].inf <= y[j].sup)) return false;
      }
    }
    shrank = vf::narrow_once(w.map(), y, s) || shrank;
    for (int i = 0; i < n; ++i)
      if (!(y[i].inf <= y[i].sup)) return false;
    if (!shrank) break;
  }
  return true;
}

template <class E> void release_list(Node *head) {
  while (head != nullptr) {
    Node *next = head->next;
    Saved<E>::release(reinterpret_cast<void **>(&head), nullptr);
    head = next;
  }
}

template <class M, class... Lengths>
void gepss(const char *trans, const int *n_, const typename M::elem *a, const int *lda,
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
  Boxes q;
  q.slots = *maxit < kPool ? *maxit + 1 : kPool;
  // Our own routine releases its workspace on every return, failures included.
  if (!prepare(get, w, n, a, *lda, b, trans, lower) ||
      !get.fits(static_cast<long long>(n) * q.slots, 16) || !get(q.pool, n, q.slots) ||
      !get(q.free, q.slots) || !get(q.scratch, n) || !q.vertex.allocate(get, n)) {
    q.release();
    return w.release();
  }
  const auto done = [&](int steps) {
    Saved<E>::steps() = steps;
    *maxit = steps;
    q.release();
    w.release();
  };
  if (!enclose(w)) {
    unproven(bound, info);
    return done(0);
  }
  for (int s = q.slots - 1; s >= 0; --s)
    q.free(++q.top) = s;
  const auto take_slot = [&] { return q.free(q.top--); };
  const auto give_slot = [&](int s) { q.free(++q.top) = s; };

  Node *head = nullptr;
  // Sorted insertion, largest key first; false when no record could be had.
  const auto insert = [&](int slot) {
    Node *node = nullptr;
    if (!record(Saved<E>::allocate, reinterpret_cast<void **>(&node), info, M::name)) return false;
    node->key = q.box(slot)[k].sup;
    node->slot = slot;
    Node **at = &head;
    while (*at != nullptr && (*at)->key >= node->key)
      at = &(*at)->next;
    node->next = *at;
    *at = node;
    return true;
  };

  const int first = take_slot();
  for (int i = 0; i < n; ++i)
    q.box(first)[i] = w.x(i + 1);
  // A record that cannot be had: nothing is written, everything released.
  const auto abandon = [&] {
    release_list<E>(head);
    q.release();
    w.release();
  };
  if (!insert(first)) return abandon();
  const auto toward_k = [&](int i) { return vf::at(w.r.data(), n, k, i) >= 0; };
  const auto mid_sign = [&](int j) {
    return w.x(j + 1).inf / 2 + w.x(j + 1).sup / 2 >= 0 ? 1.0 : -1.0;
  };
  double lo = best_vertex(w, q.vertex, k, mid_sign, toward_k);

  int steps = 0;
  bool stopped = false;
  while (steps < *maxit && !stopped) {
    // Close enough: the head's key bounds every solution.
    {
      rg::Upward scope;
      const double width = rg::sub_up(head->key, lo);
      const double scale = std::fmax(1.0, std::fmax(std::fabs(head->key), std::fabs(lo)));
      if (std::isfinite(lo) && width <= static_cast<double>(*eps) * scale) break;
    }
    if (q.top < 1) break; // no slot for a second half
    ++steps;
    Node *node = head;
    head = node->next;
    const int slot = node->slot;
    Saved<E>::release(reinterpret_cast<void **>(&node), nullptr);
    ruf_di *y = q.box(slot);

    // Two starts for the search: R's row k, and the rows the box's midpoint
    // comes closest to making tight.
    const auto sign = [&](int j) { return y[j].inf / 2 + y[j].sup / 2 >= 0 ? 1.0 : -1.0; };
    const auto tightest = [&](int i) {
      double s1 = w.b(i + 1).sup, s2 = -w.b(i + 1).inf;
      for (int j = 0; j < n; ++j) {
        const ruf_di &e = w.a(i + 1, j + 1);
        const double m = y[j].inf / 2 + y[j].sup / 2;
        s1 -= (sign(j) > 0 ? e.inf : e.sup) * m;
        s2 += (sign(j) > 0 ? e.sup : e.inf) * m;
      }
      return s1 <= s2;
    };
    lo = std::fmax(lo, best_vertex(w, q.vertex, k, sign, toward_k));
    lo = std::fmax(lo, best_vertex(w, q.vertex, k, sign, tightest));

    int split = 0;
    double widest = -1;
    for (int j = 0; j < n; ++j) {
      const double wj = y[j].sup - y[j].inf;
      if (wj > widest) {
        widest = wj;
        split = j;
      }
    }
    const double mid = y[split].inf / 2 + y[split].sup / 2;
    const int other = take_slot();
    ruf_di *z = q.box(other);
    for (int i = 0; i < n; ++i)
      z[i] = y[i];
    y[split].sup = mid;
    z[split].inf = mid;
    for (const int s : {slot, other}) {
      ruf_di *half = q.box(s);
      if (!contract(w, half, q.scratch.data()) || half[k].sup < lo) {
        give_slot(s);
        continue;
      }
      if (!insert(s)) return abandon();
    }
    if (head == nullptr) stopped = true;
  }
  const double hi = head != nullptr ? std::fmax(head->key, lo) : lo;
  release_list<E>(head);
  finish(lo, hi, lower, *eps, bound, info);
  done(steps);
}

} // namespace
} // namespace ruf::solver

#define RUF_SOLVER_ROUTINE(P, UPPER, lower, ret, params, args)                                     \
  RUF_IMPLEMENT(UPPER, lower, ret, params, args, ruf::solver::gepss, ruf::solver::P)
RUF_REAL_MEMBERS(RUF_ROWS_GEPSS)
