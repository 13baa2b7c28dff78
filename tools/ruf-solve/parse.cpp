#include "parse.h"
#include "rounding_guard.h"

#include <cfenv>
#include <climits>
#include <cmath>
#include <initializer_list>
#include <type_traits>
#include <vector>
#include <cstdlib>
#include <string>

namespace ruf_solve {
namespace {

bool is_digit(char c) {
  return c >= '0' && c <= '9';
}

// A decimal number kept exactly, to compare bounds before any rounding:
// value = ±0.digits × 10^exp, digits without leading or trailing zeros
// (none at all for zero).
struct Decimal {
  bool neg = false;
  bool inf = false;
  std::string digits;
  long long exp = 0;
};

bool iequals(std::string_view s, std::string_view lower) {
  if (s.size() != lower.size()) return false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    const char c = (s[i] >= 'A' && s[i] <= 'Z') ? static_cast<char>(s[i] - 'A' + 'a') : s[i];
    if (c != lower[i]) return false;
  }
  return true;
}

// Accepts [+-] (digits [. digits] | . digits) [(e|E) [+-] digits], and
// [+-] inf / infinity in any case. No hexadecimal forms, no NaN.
std::optional<Decimal> read_decimal(std::string_view s) {
  Decimal d;
  std::size_t i = 0;
  if (i < s.size() && (s[i] == '+' || s[i] == '-')) d.neg = s[i++] == '-';
  const std::string_view rest = s.substr(i);
  if (iequals(rest, "inf") || iequals(rest, "infinity")) {
    d.inf = true;
    return d;
  }
  std::string mant; // every mantissa digit, point removed
  long long point = -1;
  bool any = false;
  for (; i < s.size(); ++i) {
    if (is_digit(s[i])) {
      mant += s[i];
      any = true;
    } else if (s[i] == '.' && point < 0) {
      point = static_cast<long long>(mant.size());
    } else {
      break;
    }
  }
  if (!any) return std::nullopt;
  if (point < 0) point = static_cast<long long>(mant.size());
  long long e = 0;
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    bool eneg = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) eneg = s[i++] == '-';
    if (i == s.size()) return std::nullopt;
    for (; i < s.size() && is_digit(s[i]); ++i) {
      // Saturates far beyond any double's range; the value is then 0 or inf anyway.
      if (e < 1'000'000'000'000LL) e = e * 10 + (s[i] - '0');
    }
    if (eneg) e = -e;
  }
  if (i != s.size()) return std::nullopt;
  const std::size_t first = mant.find_first_not_of('0');
  if (first == std::string::npos) return d; // zero
  const std::size_t last = mant.find_last_not_of('0');
  d.digits = mant.substr(first, last - first + 1);
  d.exp = point - static_cast<long long>(first) + e;
  return d;
}

// Exact three-way comparison; -0 equals 0.
int compare(const Decimal &x, const Decimal &y) {
  auto sign = [](const Decimal &d) { return (d.inf || !d.digits.empty()) ? (d.neg ? -1 : 1) : 0; };
  const int sx = sign(x), sy = sign(y);
  if (sx != sy) return sx < sy ? -1 : 1;
  if (sx == 0) return 0;
  int mag; // comparison of the magnitudes
  if (x.inf || y.inf) {
    mag = (x.inf ? 1 : 0) - (y.inf ? 1 : 0);
  } else if (x.exp != y.exp) {
    mag = x.exp < y.exp ? -1 : 1;
  } else {
    const int c = x.digits.compare(y.digits);
    mag = c < 0 ? -1 : (c > 0 ? 1 : 0);
  }
  return sx < 0 ? -mag : mag;
}

// Both roundings of a checked decimal token. strtod rounds in the current
// mode, so one conversion per direction gives the tightest enclosure.
ruf_di enclose(const std::string &token) {
  RoundingGuard guard;
  std::fesetround(FE_DOWNWARD);
  const double lo = std::strtod(token.c_str(), nullptr);
  std::fesetround(FE_UPWARD);
  const double hi = std::strtod(token.c_str(), nullptr);
  return {lo, hi};
}

// Input text quoted in a message: short, printable.
std::string quoted(std::string_view s) {
  std::string out = "\"";
  for (std::size_t i = 0; i < s.size() && i < 24; ++i)
    out += (s[i] >= 0x20 && s[i] < 0x7f) ? s[i] : '?';
  if (s.size() > 24) out += "...";
  return out + "\"";
}

enum class Kind { open, close, comma, angle_open, angle_close, word, end };

struct Token {
  Kind kind;
  std::string_view text;
  int line, column;
};

std::string describe(const Token &t) {
  switch (t.kind) {
  case Kind::open:
  case Kind::close:
  case Kind::comma:
  case Kind::angle_open:
  case Kind::angle_close:
    return "'" + std::string(t.text) + "'";
  case Kind::word:
    return quoted(t.text);
  case Kind::end:
    return "the end of the file";
  }
  return "?";
}

class Lexer {
public:
  explicit Lexer(std::string_view text) : text_(text) {}

  const Token &peek() {
    if (!ahead_) ahead_ = scan();
    return *ahead_;
  }
  Token next() {
    const Token t = peek();
    ahead_.reset();
    return t;
  }

private:
  Token scan() {
    skip_blanks_and_comments();
    const int column = static_cast<int>(pos_ - line_start_) + 1;
    if (pos_ == text_.size()) return {Kind::end, {}, line_, column};
    const char c = text_[pos_];
    if (is_special(c)) {
      ++pos_;
      const Kind k = c == '['   ? Kind::open
                     : c == ']' ? Kind::close
                     : c == ',' ? Kind::comma
                     : c == '<' ? Kind::angle_open
                                : Kind::angle_close;
      return {k, text_.substr(pos_ - 1, 1), line_, column};
    }
    const std::size_t start = pos_;
    while (pos_ < text_.size() && !is_blank(text_[pos_]) && !is_special(text_[pos_]) &&
           text_[pos_] != '#')
      ++pos_;
    return {Kind::word, text_.substr(start, pos_ - start), line_, column};
  }

  static bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
  }
  static bool is_special(char c) {
    return c == '[' || c == ']' || c == ',' || c == '<' || c == '>';
  }

  void skip_blanks_and_comments() {
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == '\n') {
        ++line_;
        line_start_ = ++pos_;
      } else if (is_blank(c)) {
        ++pos_;
      } else if (c == '#') {
        while (pos_ < text_.size() && text_[pos_] != '\n')
          ++pos_;
      } else {
        break;
      }
    }
  }

  std::string_view text_;
  std::size_t pos_ = 0, line_start_ = 0;
  int line_ = 1;
  std::optional<Token> ahead_;
};

// One entry as written: a real interval, a complex rectangle, a disc, or a
// complex number (both parts enclosed); real numbers are real intervals.
struct Entry {
  enum class Form { real, rect, disc, complex } form;
  ruf_di re, im; // real, rect, complex
  ruf_zc disc{}; // disc
  Token at;      // where it starts
};

// Upward sums of nonnegative numbers, for radii that must enclose.
double up_sum(std::initializer_list<double> terms) {
  RoundingGuard guard;
  std::fesetround(FE_UPWARD);
  double s = 0;
  for (const double t : terms)
    s += t;
  return s;
}

// The disc <c, r> around a centre known only as two enclosures: the centre
// rounded to nearest, the radius grown by the width of each enclosure, so
// that the disc holds every point the entry stands for.
ruf_zc disc_around(const ruf_di &re, const ruf_di &im, double r) {
  const double cr = re.inf / 2 + re.sup / 2, ci = im.inf / 2 + im.sup / 2;
  const double dr = up_sum({re.sup, -re.inf}), di = up_sum({im.sup, -im.inf});
  return {cr, ci, up_sum({r, dr, di})};
}

class Parser {
public:
  explicit Parser(std::string_view text) : lex_(text) {}

  System run() {
    System s;
    s.n = count("the order n");
    s.nrhs = count("the number of right-hand sides nrhs");
    std::vector<Entry> a = read_matrix('A', s.n, s.n), b = read_matrix('B', s.n, s.nrhs);
    const Token t = lex_.next();
    if (t.kind != Kind::end)
      throw InputError(t.line, t.column,
                       "unexpected " + describe(t) + " after the last entry of B");
    assemble(s, a, b);
    return s;
  }

private:
  [[noreturn]] static void fail(const Token &t, const std::string &what) {
    throw InputError(t.line, t.column, what);
  }

  int count(const std::string &what) {
    const Token t = lex_.next();
    if (t.kind == Kind::end) fail(t, "the file ends before " + what);
    const std::string_view w = t.text;
    bool ok = t.kind == Kind::word && !w.empty() && w.size() <= 10;
    long long v = 0;
    for (const char c : w) {
      ok = ok && is_digit(c);
      if (ok) v = v * 10 + (c - '0');
    }
    if (!ok || v > kMaxOrder)
      fail(t, what + " must be a whole number from 0 to " + std::to_string(kMaxOrder) + ", found " +
                  describe(t));
    return static_cast<int>(v);
  }

  // Entries come row by row; they are kept column-major.
  std::vector<Entry> read_matrix(char name, int rows, int cols) {
    const std::size_t total = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    std::vector<Entry> by_rows;
    // Capacity follows the file, not the declared size.
    by_rows.reserve(total < 4096 ? total : 4096);
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < cols; ++j)
        by_rows.push_back(entry({name, i, j, by_rows.size(), total}));
    std::vector<Entry> out;
    out.reserve(total);
    for (int j = 0; j < cols; ++j)
      for (int i = 0; i < rows; ++i)
        out.push_back(by_rows[static_cast<std::size_t>(i) * static_cast<std::size_t>(cols) +
                              static_cast<std::size_t>(j)]);
    return out;
  }

  // Where an entry stands, for messages.
  struct Place {
    char matrix;
    int i, j;
    std::size_t read, total; // entries of this matrix read before it, and in all
    std::string name() const {
      return std::string(1, matrix) + "(" + std::to_string(i + 1) + "," + std::to_string(j + 1) +
             ")";
    }
  };

  Entry entry(const Place &at) {
    const Token t = lex_.peek();
    if (t.kind == Kind::end)
      fail(t, "the file ends after " + std::to_string(at.read) + " of the " +
                  std::to_string(at.total) + " entries of " + std::string(1, at.matrix));
    if (t.kind == Kind::open) return bracketed(at);
    if (t.kind == Kind::angle_open) return disc(at);
    if (t.kind != Kind::word)
      fail(t, "unexpected " + describe(t) + " where " + at.name() + " should start");
    Entry e = number_entry(at);
    if (e.form == Entry::Form::real && (std::isinf(e.re.inf) || std::isinf(e.re.sup)))
      fail(t, at.name() + ": an unbounded entry needs brackets, as in [1, inf]");
    return e;
  }

  // "[lo, hi]", or "[a, b] + [c, d]i" (or "- [c, d]i").
  Entry bracketed(const Place &at) {
    const Token start = lex_.peek();
    Entry e{Entry::Form::real, interval(at, "the real part"), {0, 0}, {}, start};
    const Token &sign = lex_.peek();
    if (sign.kind != Kind::word || (sign.text != "+" && sign.text != "-")) return e;
    const bool minus = lex_.next().text == "-";
    if (lex_.peek().kind != Kind::open)
      fail(lex_.peek(), at.name() + ": expected '[' of the imaginary part after '" +
                            (minus ? "-" : "+") + "', found " + describe(lex_.peek()));
    const ruf_di im = interval(at, "the imaginary part");
    const Token unit = lex_.next();
    if (unit.kind != Kind::word || unit.text != "i")
      fail(unit, at.name() + ": expected 'i' after the imaginary part, found " + describe(unit));
    e.form = Entry::Form::rect;
    e.im = minus ? ruf_di{-im.sup, -im.inf} : im;
    return e;
  }

  ruf_di interval(const Place &at, const char *part) {
    lex_.next(); // '['
    const Token lo_tok = lex_.next();
    if (lo_tok.kind != Kind::word)
      fail(lo_tok, at.name() + ": expected a lower bound of " + part + " after '[', found " +
                       describe(lo_tok));
    const Decimal lo = number(lo_tok, at);
    const Token comma = lex_.next();
    if (comma.kind != Kind::comma)
      fail(comma, at.name() + ": expected ',' after the lower bound, found " + describe(comma));
    const Token hi_tok = lex_.next();
    if (hi_tok.kind != Kind::word)
      fail(hi_tok, at.name() + ": expected an upper bound after ',', found " + describe(hi_tok));
    const Decimal hi = number(hi_tok, at);
    const Token close = lex_.next();
    if (close.kind != Kind::close)
      fail(close, at.name() + ": missing ']' after the upper bound, found " + describe(close));
    if (compare(lo, hi) > 0)
      fail(lo_tok, at.name() + ": the lower bound " + quoted(lo_tok.text) +
                       " is above the upper bound " + quoted(hi_tok.text));
    if (lo.inf && !lo.neg) fail(lo_tok, at.name() + ": the lower bound is +inf");
    if (hi.inf && hi.neg) fail(hi_tok, at.name() + ": the upper bound is -inf");
    return {enclose(std::string(lo_tok.text)).inf, enclose(std::string(hi_tok.text)).sup};
  }

  // "<c, r>": a real or complex centre and a radius >= 0.
  Entry disc(const Place &at) {
    const Token start = lex_.next(); // '<'
    if (lex_.peek().kind != Kind::word)
      fail(lex_.peek(),
           at.name() + ": expected the centre after '<', found " + describe(lex_.peek()));
    const Entry centre = number_entry(at);
    if (std::isinf(centre.re.inf) || std::isinf(centre.re.sup) || std::isinf(centre.im.inf) ||
        std::isinf(centre.im.sup))
      fail(centre.at, at.name() + ": a disc's centre must be finite");
    const Token comma = lex_.next();
    if (comma.kind != Kind::comma)
      fail(comma, at.name() + ": expected ',' after the centre, found " + describe(comma));
    const Token r_tok = lex_.next();
    if (r_tok.kind != Kind::word)
      fail(r_tok, at.name() + ": expected the radius after ',', found " + describe(r_tok));
    const Decimal r = number(r_tok, at);
    if (r.neg && (r.inf || !r.digits.empty()))
      fail(r_tok, at.name() + ": the radius " + quoted(r_tok.text) + " is negative");
    const Token close = lex_.next();
    if (close.kind != Kind::angle_close)
      fail(close, at.name() + ": missing '>' after the radius, found " + describe(close));
    Entry e{Entry::Form::disc, centre.re, centre.im, {}, start};
    e.disc = disc_around(centre.re, centre.im, enclose(std::string(r_tok.text)).sup);
    return e;
  }

  // A real or complex number: "1.5", "2i", "-i", "1.5+2i" in one word, or
  // "1.5 + 2i" with blanks on both sides of the sign.
  Entry number_entry(const Place &at) {
    const Token t = lex_.next();
    std::string text(t.text);
    const Token &sign = lex_.peek();
    if (sign.kind == Kind::word && (sign.text == "+" || sign.text == "-")) {
      text += lex_.next().text;
      const Token im = lex_.next();
      if (im.kind != Kind::word || im.text.empty() || im.text.back() != 'i')
        fail(im, at.name() + ": expected an imaginary part such as 2i after the sign, found " +
                     describe(im));
      text += im.text;
    }
    Entry e{Entry::Form::real, {0, 0}, {0, 0}, {}, t};
    if (text.back() != 'i') {
      number(t, at, text);
      e.re = enclose(text);
      return e;
    }
    // Split "a+bi" at the sign that starts the imaginary part (not one that
    // follows an exponent's e).
    std::size_t split = std::string::npos;
    for (std::size_t k = text.size() - 1; k > 0; --k)
      if ((text[k] == '+' || text[k] == '-') && text[k - 1] != 'e' && text[k - 1] != 'E') {
        split = k;
        break;
      }
    std::string re = split == std::string::npos ? "0" : text.substr(0, split);
    std::string im = text.substr(split == std::string::npos ? 0 : split);
    im.pop_back(); // the i
    if (im.empty() || im == "+" || im == "-") im += "1";
    number(t, at, re);
    number(t, at, im);
    e.form = Entry::Form::complex;
    e.re = enclose(re);
    e.im = enclose(im);
    if (std::isinf(e.im.inf) || std::isinf(e.im.sup) ||
        (split != std::string::npos && (std::isinf(e.re.inf) || std::isinf(e.re.sup))))
      fail(t, at.name() + ": a complex number must be finite");
    return e;
  }

  Decimal number(const Token &t, const Place &at, std::string_view text = {}) {
    const std::string_view w = text.empty() ? t.text : text;
    const std::optional<Decimal> d = read_decimal(w);
    if (!d) {
      const bool complex = t.text.find('i') != std::string_view::npos && !iequals(t.text, "inf") &&
                           !iequals(t.text, "-inf") && !iequals(t.text, "infinity");
      fail(t, at.name() + ": " + quoted(complex ? t.text : w) + " is not a " +
                  (complex ? "complex" : "decimal") + " number");
    }
    return *d;
  }

  // The element kind from the entries, then every entry in it.
  static void assemble(System &s, const std::vector<Entry> &a, const std::vector<Entry> &b) {
    const Entry *rect = nullptr, *disc = nullptr, *complex = nullptr;
    for (const auto *m : {&a, &b})
      for (const Entry &e : *m) {
        if (e.form == Entry::Form::rect && !rect) rect = &e;
        if (e.form == Entry::Form::disc && !disc) disc = &e;
        if (e.form == Entry::Form::complex && !complex) complex = &e;
      }
    if (rect && disc) {
      const Entry &later = rect->at.line > disc->at.line || (rect->at.line == disc->at.line &&
                                                             rect->at.column > disc->at.column)
                               ? *rect
                               : *disc;
      fail(later.at, "rectangles and discs cannot be mixed in one system");
    }
    if (disc) {
      s.data = Data<ruf_zc>{convert<ruf_zc>(a), convert<ruf_zc>(b)};
    } else if (rect || complex) {
      s.data = Data<ruf_zr>{convert<ruf_zr>(a), convert<ruf_zr>(b)};
    } else {
      s.data = Data<ruf_di>{convert<ruf_di>(a), convert<ruf_di>(b)};
    }
  }

  template <class E> static std::vector<E> convert(const std::vector<Entry> &entries) {
    std::vector<E> out;
    out.reserve(entries.size());
    for (const Entry &e : entries) {
      if constexpr (std::is_same_v<E, ruf_di>)
        out.push_back(e.re);
      else if constexpr (std::is_same_v<E, ruf_zr>)
        out.push_back({e.re, e.im});
      else
        out.push_back(e.form == Entry::Form::disc ? e.disc : disc_around(e.re, e.im, 0));
    }
    return out;
  }

  Lexer lex_;
};

} // namespace

System parse_system(std::string_view text) {
  return Parser(text).run();
}

std::optional<ruf_di> decimal_enclosure(std::string_view token) {
  if (!read_decimal(token)) return std::nullopt;
  return enclose(std::string(token));
}

} // namespace ruf_solve
