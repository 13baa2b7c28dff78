#include "parse.h"
#include "rounding_guard.h"

#include <cfenv>
#include <climits>
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

enum class Kind { open, close, comma, word, end };

struct Token {
  Kind kind;
  std::string_view text;
  int line;
};

std::string describe(const Token &t) {
  switch (t.kind) {
  case Kind::open:
    return "'['";
  case Kind::close:
    return "']'";
  case Kind::comma:
    return "','";
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

  Token next() {
    skip_blanks_and_comments();
    if (pos_ == text_.size()) return {Kind::end, {}, line_};
    const char c = text_[pos_];
    if (c == '[' || c == ']' || c == ',') {
      ++pos_;
      const Kind k = c == '[' ? Kind::open : (c == ']' ? Kind::close : Kind::comma);
      return {k, text_.substr(pos_ - 1, 1), line_};
    }
    const std::size_t start = pos_;
    while (pos_ < text_.size() && !is_blank(text_[pos_]) && !is_special(text_[pos_]))
      ++pos_;
    return {Kind::word, text_.substr(start, pos_ - start), line_};
  }

private:
  static bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
  }
  static bool is_special(char c) { return c == '[' || c == ']' || c == ',' || c == '#'; }

  void skip_blanks_and_comments() {
    while (pos_ < text_.size()) {
      const char c = text_[pos_];
      if (c == '\n') {
        ++line_;
        ++pos_;
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
  std::size_t pos_ = 0;
  int line_ = 1;
};

class Parser {
public:
  explicit Parser(std::string_view text) : lex_(text) {}

  System run() {
    System s;
    s.n = count("the order n");
    s.nrhs = count("the number of right-hand sides nrhs");
    read_matrix('A', s.n, s.n, s.a);
    read_matrix('B', s.n, s.nrhs, s.b);
    const Token t = lex_.next();
    if (t.kind != Kind::end)
      throw InputError(t.line, "unexpected " + describe(t) + " after the last entry of B");
    return s;
  }

private:
  int count(const std::string &what) {
    const Token t = lex_.next();
    if (t.kind == Kind::end) throw InputError(t.line, "the file ends before " + what);
    const std::string_view w = t.text;
    bool ok = t.kind == Kind::word && !w.empty() && w.size() <= 10;
    long long v = 0;
    for (const char c : w) {
      ok = ok && is_digit(c);
      if (ok) v = v * 10 + (c - '0');
    }
    if (!ok || v > INT_MAX)
      throw InputError(t.line, what + " must be a whole number from 0 to " +
                                   std::to_string(INT_MAX) + ", found " + describe(t));
    return static_cast<int>(v);
  }

  // Entries come row by row; they are stored column-major.
  void read_matrix(char name, int rows, int cols, std::vector<ruf_di> &out) {
    const std::size_t total = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
    std::vector<ruf_di> by_rows;
    // Capacity follows the file, not a possibly huge declared size.
    by_rows.reserve(total < 4096 ? total : 4096);
    for (int i = 0; i < rows; ++i) {
      for (int j = 0; j < cols; ++j) {
        const Place at{name, i, j, by_rows.size(), total};
        by_rows.push_back(entry(at));
      }
    }
    out.resize(total);
    for (int i = 0; i < rows; ++i)
      for (int j = 0; j < cols; ++j)
        out[static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) +
            static_cast<std::size_t>(i)] =
            by_rows[static_cast<std::size_t>(i) * static_cast<std::size_t>(cols) +
                    static_cast<std::size_t>(j)];
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

  ruf_di entry(const Place &at) {
    const Token t = lex_.next();
    if (t.kind == Kind::end)
      throw InputError(t.line, "the file ends after " + std::to_string(at.read) + " of the " +
                                   std::to_string(at.total) + " entries of " +
                                   std::string(1, at.matrix));
    if (t.kind != Kind::word && t.kind != Kind::open)
      throw InputError(t.line,
                       "unexpected " + describe(t) + " where " + at.name() + " should start");
    if (t.kind == Kind::word) {
      const Decimal d = number(t, at);
      if (d.inf)
        throw InputError(t.line, at.name() + ": an unbounded entry needs brackets, as in [1, inf]");
      return enclose(std::string(t.text));
    }

    const Token lo_tok = lex_.next();
    if (lo_tok.kind != Kind::word)
      throw InputError(lo_tok.line,
                       at.name() + ": expected a lower bound after '[', found " + describe(lo_tok));
    const Decimal lo = number(lo_tok, at);
    const Token comma = lex_.next();
    if (comma.kind != Kind::comma)
      throw InputError(comma.line, at.name() + ": expected ',' after the lower bound, found " +
                                       describe(comma));
    const Token hi_tok = lex_.next();
    if (hi_tok.kind != Kind::word)
      throw InputError(hi_tok.line, at.name() + ": expected an upper bound after ',', found " +
                                        describe(hi_tok));
    const Decimal hi = number(hi_tok, at);
    const Token close = lex_.next();
    if (close.kind != Kind::close)
      throw InputError(close.line,
                       at.name() + ": missing ']' after the upper bound, found " + describe(close));
    if (compare(lo, hi) > 0)
      throw InputError(lo_tok.line, at.name() + ": the lower bound " + quoted(lo_tok.text) +
                                        " is above the upper bound " + quoted(hi_tok.text));
    if (lo.inf && !lo.neg) throw InputError(lo_tok.line, at.name() + ": the lower bound is +inf");
    if (hi.inf && hi.neg) throw InputError(hi_tok.line, at.name() + ": the upper bound is -inf");
    const ruf_di l = enclose(std::string(lo_tok.text));
    const ruf_di h = enclose(std::string(hi_tok.text));
    return {l.inf, h.sup};
  }

  Decimal number(const Token &t, const Place &at) {
    const std::optional<Decimal> d = read_decimal(t.text);
    if (!d)
      throw InputError(t.line, at.name() + ": " + quoted(t.text) + " is not a decimal number");
    return *d;
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
