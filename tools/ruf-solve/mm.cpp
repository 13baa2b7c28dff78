#include "mm.h"
#include "parse.h"
#include "rounding_guard.h"

#include <cfenv>
#include <cmath>
#include <optional>
#include <sstream>
#include <vector>

namespace ruf_solve {
namespace {

// A matrix as read: every number enclosed, column-major.
struct Dense {
  int rows = 0, cols = 0;
  bool complex = false;
  std::vector<ruf_di> re, im;
  std::size_t at(int i, int j) const { return static_cast<std::size_t>(j) * rows + i; }
};

std::string lower(std::string s) {
  for (char &c : s)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return s;
}

class Reader {
public:
  explicit Reader(const MatrixMarketFile &f) : f_(f) {}

  Dense read() {
    const std::vector<std::string> banner = words(next_line(true), 5);
    if (banner.size() != 5 || lower(banner[0]) != "%%matrixmarket" || lower(banner[1]) != "matrix")
      fail("expected the banner \"%%MatrixMarket matrix <layout> <field> <symmetry>\"");
    const std::string layout = lower(banner[2]), field = lower(banner[3]);
    symmetry_ = lower(banner[4]);
    if (layout != "array" && layout != "coordinate")
      fail("expected the layout array or coordinate, found \"" + banner[2] + "\"");
    if (field != "real" && field != "integer" && field != "complex" && field != "pattern")
      fail("expected the field real, integer, complex or pattern, found \"" + banner[3] + "\"");
    if (symmetry_ != "general" && symmetry_ != "symmetric" && symmetry_ != "skew-symmetric" &&
        symmetry_ != "hermitian")
      fail("expected the symmetry general, symmetric, skew-symmetric or hermitian, found \"" +
           banner[4] + "\"");
    if (field == "pattern" && layout == "array")
      fail("a pattern matrix must be in coordinate layout");
    if (symmetry_ == "hermitian" && field != "complex")
      fail("only a complex matrix can be hermitian");
    parts_ = field == "complex" ? 2 : field == "pattern" ? 0 : 1;

    const std::vector<std::string> size = words(next_line(false), 3);
    const bool coordinate = layout == "coordinate";
    if (size.size() != (coordinate ? 3u : 2u))
      fail(coordinate ? "expected the size line \"rows columns entries\""
                      : "expected the size line \"rows columns\"");
    Dense d;
    d.rows = count(size[0], "rows");
    d.cols = count(size[1], "columns");
    if (symmetry_ != "general" && d.rows != d.cols)
      fail("a " + symmetry_ + " matrix must be square");
    d.complex = parts_ == 2;
    // Sized after the checks: an order above the limit is refused before any allocation.
    d.re.assign(static_cast<std::size_t>(d.rows) * d.cols, ruf_di{0, 0});
    d.im.assign(d.re.size(), ruf_di{0, 0});
    if (coordinate) {
      const long long entries = count(size[2], "entries", static_cast<long long>(d.rows) * d.cols);
      for (long long k = 0; k < entries; ++k)
        coordinate_entry(d, k, entries);
    } else {
      for (int j = 0; j < d.cols; ++j)
        for (int i = symmetry_ == "general" ? 0 : (symmetry_ == "skew-symmetric" ? j + 1 : j);
             i < d.rows; ++i)
          place(d, i, j,
                values(words(next_line(false), parts_),
                       "an entry of column " + std::to_string(j + 1)));
    }
    while (pos_ < f_.text.size()) {
      const std::string extra = next_line(false, true);
      if (!extra.empty())
        fail("expected nothing after the last entry, found \"" + extra.substr(0, 24) + "\"");
    }
    return d;
  }

private:
  [[noreturn]] void fail(const std::string &what) const {
    throw MatrixMarketError(f_.name, line_, what);
  }

  // The next line; comments (%) and blank lines skipped unless it is the banner.
  std::string next_line(bool banner, bool may_end = false) {
    while (true) {
      if (pos_ >= f_.text.size()) {
        if (may_end) return {};
        fail("the file ends early");
      }
      const std::size_t end = f_.text.find('\n', pos_);
      std::string line(f_.text.substr(pos_, end == std::string_view::npos ? std::string_view::npos
                                                                          : end - pos_));
      pos_ = end == std::string_view::npos ? f_.text.size() : end + 1;
      ++line_;
      if (!line.empty() && line.back() == '\r') line.pop_back();
      if (banner) return line;
      const std::size_t first = line.find_first_not_of(" \t");
      if (first == std::string::npos || line[first] == '%') continue;
      return line;
    }
  }

  // At most `most` + 1 words: one more shows that there were too many.
  static std::vector<std::string> words(const std::string &line, std::size_t most) {
    std::istringstream in(line);
    std::vector<std::string> w;
    for (std::string s; w.size() <= most && in >> s;)
      w.push_back(s);
    return w;
  }

  long long count(const std::string &w, const std::string &what, long long most = kMaxOrder,
                  long long least = 0) {
    long long v = 0;
    bool ok = !w.empty() && w.size() <= 18;
    for (const char c : w) {
      ok = ok && c >= '0' && c <= '9';
      if (ok) v = v * 10 + (c - '0');
    }
    if (!ok || v > most || v < least)
      fail("expected the number of " + what + ", a whole number from " + std::to_string(least) +
           " to " + std::to_string(most) + ", found \"" + w + "\"");
    return v;
  }

  std::pair<ruf_di, ruf_di> values(const std::vector<std::string> &w, const std::string &what) {
    if (w.size() != static_cast<std::size_t>(parts_))
      fail("expected " + what + ": " +
           (parts_ == 2 ? "two numbers (real and imaginary part)" : "one number"));
    std::pair<ruf_di, ruf_di> v{{1, 1}, {0, 0}}; // a pattern entry is 1
    for (int k = 0; k < parts_; ++k) {
      const std::optional<ruf_di> x = decimal_enclosure(w[k]);
      if (!x || std::isinf(x->inf) || std::isinf(x->sup))
        fail("expected a finite decimal number in " + what + ", found \"" + w[k] + "\"");
      (k == 0 ? v.first : v.second) = *x;
    }
    return v;
  }

  void coordinate_entry(Dense &d, long long k, long long entries) {
    const std::string what = "entry " + std::to_string(k + 1) + " of " + std::to_string(entries);
    std::vector<std::string> w = words(next_line(false), 2 + parts_);
    if (w.size() < 2) fail("expected " + what + ": \"row column value\"");
    const int i = static_cast<int>(count(w[0], "the row of " + what, d.rows, 1)) - 1;
    const int j = static_cast<int>(count(w[1], "the column of " + what, d.cols, 1)) - 1;
    if (symmetry_ != "general" && i < j)
      fail("expected an entry on or below the diagonal in " + what);
    if (symmetry_ == "skew-symmetric" && i == j) fail("a skew-symmetric matrix stores no diagonal");
    place(d, i, j, values({w.begin() + 2, w.end()}, what));
  }

  // a(i,j) and, by the symmetry, a(j,i).
  void place(Dense &d, int i, int j, std::pair<ruf_di, ruf_di> v) {
    d.re[d.at(i, j)] = v.first;
    d.im[d.at(i, j)] = v.second;
    if (symmetry_ == "general" || i == j) return;
    const auto negated = [](const ruf_di &x) { return ruf_di{-x.sup, -x.inf}; };
    d.re[d.at(j, i)] = symmetry_ == "skew-symmetric" ? negated(v.first) : v.first;
    d.im[d.at(j, i)] = symmetry_ == "symmetric" ? v.second : negated(v.second);
  }

  const MatrixMarketFile &f_;
  std::size_t pos_ = 0;
  int line_ = 0, parts_ = 1;
  std::string symmetry_;
};

// [lo - r, hi + r], rounded outward.
ruf_di widen(const ruf_di &x, double r) {
  RoundingGuard guard;
  std::fesetround(FE_DOWNWARD);
  const double lo = x.inf - r;
  std::fesetround(FE_UPWARD);
  return {lo, x.sup + r};
}

} // namespace

System read_matrix_market(const MatrixMarketFile &af, const MatrixMarketFile &bf,
                          const MatrixMarketFile &rf) {
  const Dense a = Reader(af).read(), b = Reader(bf).read();
  if (a.rows != a.cols)
    throw MatrixMarketError(af.name, 2,
                            "A must be square, not " + std::to_string(a.rows) + "x" +
                                std::to_string(a.cols));
  if (b.rows != a.rows)
    throw MatrixMarketError(bf.name, 2,
                            "B must have " + std::to_string(a.rows) + " rows, as A has, not " +
                                std::to_string(b.rows));
  std::vector<double> radius(a.re.size(), 0.0);
  if (!rf.name.empty()) {
    const Dense r = Reader(rf).read();
    if (r.rows != a.rows || r.cols != a.cols || r.complex)
      throw MatrixMarketError(rf.name, 2,
                              "the radii must be a real " + std::to_string(a.rows) + "x" +
                                  std::to_string(a.cols) + " matrix, as A is");
    for (std::size_t k = 0; k < radius.size(); ++k) {
      if (!(r.re[k].inf >= 0))
        throw MatrixMarketError(
            rf.name, 2, "a radius is negative (entry " + std::to_string(k + 1) + ", column-major)");
      radius[k] = r.re[k].sup;
    }
  }
  System s;
  s.n = a.rows;
  s.nrhs = b.cols;
  if (a.complex || b.complex) {
    Data<ruf_zr> d;
    for (std::size_t k = 0; k < a.re.size(); ++k)
      d.a.push_back({widen(a.re[k], radius[k]), widen(a.im[k], radius[k])});
    for (std::size_t k = 0; k < b.re.size(); ++k)
      d.b.push_back({b.re[k], b.im[k]});
    s.data = std::move(d);
  } else {
    Data<ruf_di> d;
    for (std::size_t k = 0; k < a.re.size(); ++k)
      d.a.push_back(widen(a.re[k], radius[k]));
    d.b = b.re;
    s.data = std::move(d);
  }
  return s;
}

} // namespace ruf_solve
