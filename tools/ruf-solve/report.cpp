#include "report.h"

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

namespace ruf_solve {
namespace {

std::string format(const char *fmt, double v) {
  char buf[64];
  std::snprintf(buf, sizeof buf, fmt, v);
  return buf;
}

// Widths for the eye: three digits, and a width of -0 shows as 0.
std::string short_number(double v) {
  return format("%.3g", v == 0 ? 0.0 : v);
}

std::string interval(const ruf_di &x) {
  return "[" + bound(x.inf) + ", " + bound(x.sup) + "]";
}

// Columns padded to their widest cell; right-aligned where asked.
class Table {
public:
  explicit Table(std::vector<bool> right) : right_(std::move(right)) {}
  void add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

  void print(std::FILE *out, const char *indent) const {
    std::vector<std::size_t> width(right_.size(), 0);
    for (const auto &row : rows_)
      for (std::size_t c = 0; c < row.size(); ++c)
        if (row[c].size() > width[c]) width[c] = row[c].size();
    for (const auto &row : rows_) {
      std::string line = indent;
      for (std::size_t c = 0; c < row.size(); ++c) {
        const std::string pad(width[c] - row[c].size(), ' ');
        const bool last = c + 1 == row.size();
        line += right_[c] ? pad + row[c] : (last ? row[c] : row[c] + pad);
        if (!last) line += "  ";
      }
      line.erase(line.find_last_not_of(' ') + 1);
      std::fprintf(out, "%s\n", line.c_str());
    }
  }

private:
  std::vector<bool> right_;
  std::vector<std::vector<std::string>> rows_;
};

// "[lo, hi]" cells of one section. The upper bounds line up, and when a
// column holds negative numbers the others get a space where the sign would
// be, so that digits of equal weight stand one above the other.
class IntervalColumn {
public:
  void measure(const ruf_di &x) {
    neg_lo_ = neg_lo_ || std::signbit(x.inf);
    neg_hi_ = neg_hi_ || std::signbit(x.sup);
    const std::size_t w = signed_bound(x.inf, neg_lo_).size();
    if (w > lo_width_) lo_width_ = w;
  }
  std::string cell(const ruf_di &x) const {
    const std::string lo = signed_bound(x.inf, neg_lo_) + ",";
    return "[" + lo + std::string(lo_width_ + 2 - lo.size(), ' ') + signed_bound(x.sup, neg_hi_) +
           "]";
  }

private:
  static std::string signed_bound(double v, bool room) {
    return (room && !std::signbit(v) ? " " : "") + bound(v);
  }
  bool neg_lo_ = false, neg_hi_ = false;
  std::size_t lo_width_ = 0;
};

std::string note_value(const Note &n) {
  struct {
    std::string operator()(long long v) const { return std::to_string(v); }
    std::string operator()(double v) const { return bound(v); }
    std::string operator()(const std::string &v) const { return v; }
    std::string operator()(const ruf_di &v) const { return interval(v); }
  } visit;
  return std::visit(visit, n.value);
}

void summary(std::FILE *out, const Report &r) {
  Table t({false, true, false, false, false});
  t.add({"method", "info", "meaning", "largest width", "call"});
  for (const Run &run : r.runs) {
    const Outcome &o = run.outcome;
    const std::string width = o.enclosure && run.method->kind != Kind::classification
                                  ? short_number(o.largest_width)
                                  : "-";
    t.add({run.method->name, std::to_string(o.info), o.meaning, width, o.call});
  }
  t.print(out, "");
}

// Methods side by side per component: one block per right-hand side, each
// component followed by every method's enclosure of it.
void solutions(std::FILE *out, const Report &r) {
  std::vector<const Run *> runs;
  for (const Run &run : r.runs)
    if (run.method->kind == Kind::solution) runs.push_back(&run);
  const System &s = *r.system;
  if (runs.empty() || s.n == 0) return;
  IntervalColumn column;
  for (const Run *run : runs)
    if (run->outcome.enclosure)
      for (const ruf_di &x : run->outcome.values)
        column.measure(x);
  for (int c = 0; c < s.nrhs; ++c) {
    std::fprintf(out, "\nsolution for column %d of B\n", c + 1);
    Table t({false, false, false, false});
    t.add({"", "method", "enclosure", "width"});
    for (int i = 0; i < s.n; ++i) {
      bool first = true;
      for (const Run *run : runs) {
        const std::string label = first ? "x(" + std::to_string(i + 1) + ")" : "";
        first = false;
        const Outcome &o = run->outcome;
        if (!o.enclosure) {
          t.add(
              {label, run->method->name, "no enclosure (info " + std::to_string(o.info) + ")", ""});
          continue;
        }
        const ruf_di &x = o.values[s.index(i, c)];
        t.add({label, run->method->name, column.cell(x), short_number(D_WID(&x))});
      }
    }
    t.print(out, "  ");
  }
}

// One block per inverse, an entry a line, row by row.
void inverses(std::FILE *out, const Report &r) {
  for (const Run &run : r.runs) {
    if (run.method->kind != Kind::inverse || r.system->n == 0) continue;
    const Outcome &o = run.outcome;
    std::fprintf(out, "\ninverse from %s, %s\n", run.method->name, o.call.c_str());
    if (!o.enclosure) {
      std::fprintf(out, "  no enclosure (info %d)\n", o.info);
      continue;
    }
    IntervalColumn column;
    for (const ruf_di &x : o.values)
      column.measure(x);
    Table t({false, false, false});
    for (int i = 0; i < o.rows; ++i) {
      for (int j = 0; j < o.cols; ++j) {
        const ruf_di &x = o.values[static_cast<std::size_t>(j) * static_cast<std::size_t>(o.rows) +
                                   static_cast<std::size_t>(i)];
        t.add({"X(" + std::to_string(i + 1) + "," + std::to_string(j + 1) + ")", column.cell(x),
               short_number(D_WID(&x))});
      }
    }
    t.print(out, "  ");
  }
}

void notes(std::FILE *out, const Report &r) {
  bool any = false;
  for (const Run &run : r.runs)
    any = any || !run.outcome.notes.empty();
  if (!any) return;
  std::fprintf(out, "\nnotes\n");
  Table t({false, false, false});
  for (const Run &run : r.runs)
    for (const Note &n : run.outcome.notes)
      t.add({run.method->name, n.key, note_value(n)});
  t.print(out, "  ");
}

// ---- JSON ------------------------------------------------------------------

std::string json_string(const std::string &s) {
  std::string out = "\"";
  for (const char ch : s) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c == '"' || c == '\\') {
      out += '\\';
      out += ch;
    } else if (c < 0x20) {
      char buf[8];
      std::snprintf(buf, sizeof buf, "\\u%04x", c);
      out += buf;
    } else {
      out += ch;
    }
  }
  return out + "\"";
}

// JSON has no infinities or NaN: they become strings.
std::string json_number(double v) {
  if (std::isnan(v)) return "\"NaN\"";
  if (std::isinf(v)) return v > 0 ? "\"Infinity\"" : "\"-Infinity\"";
  return bound(v);
}

std::string json_interval(const ruf_di &x) {
  return "[" + json_number(x.inf) + ", " + json_number(x.sup) + "]";
}

// A column-major matrix as an array of rows.
std::string json_matrix(const std::vector<ruf_di> &v, int rows, int cols, const char *indent) {
  if (rows == 0) return "[]";
  std::string out = "[";
  for (int i = 0; i < rows; ++i) {
    out += std::string(i ? ",\n" : "\n") + indent + "  [";
    for (int j = 0; j < cols; ++j) {
      if (j) out += ", ";
      out += json_interval(v[static_cast<std::size_t>(j) * static_cast<std::size_t>(rows) +
                             static_cast<std::size_t>(i)]);
    }
    out += "]";
  }
  return out + "\n" + indent + "]";
}

std::string json_note(const Note &n) {
  struct {
    std::string operator()(long long v) const { return std::to_string(v); }
    std::string operator()(double v) const { return json_number(v); }
    std::string operator()(const std::string &v) const { return json_string(v); }
    std::string operator()(const ruf_di &v) const { return json_interval(v); }
  } visit;
  return std::visit(visit, n.value);
}

} // namespace

std::string bound(double v) {
  return format("%.17g", v);
}

void write_text(std::FILE *out, const Report &r) {
  const System &s = *r.system;
  if (r.source.empty()) {
    std::fprintf(out, "No file given: solving the built-in example (n = %d, nrhs = %d).\n", s.n,
                 s.nrhs);
  } else {
    std::fprintf(out, "%s: n = %d, nrhs = %d\n", r.source.c_str(), s.n, s.nrhs);
  }
  if (!r.shown_input.empty()) std::fprintf(out, "\n%s\n", r.shown_input.c_str());
  std::fprintf(out, "\n");
  summary(out, r);
  if (s.n == 0) std::fprintf(out, "\nThe system is empty: there is nothing to enclose.\n");
  solutions(out, r);
  inverses(out, r);
  notes(out, r);
}

void write_json(std::FILE *out, const Report &r) {
  const System &s = *r.system;
  std::string j = "{\n";
  j += "  \"source\": " + (r.source.empty() ? std::string("null") : json_string(r.source)) + ",\n";
  j += "  \"builtin_example\": " + std::string(r.source.empty() ? "true" : "false") + ",\n";
  j += "  \"n\": " + std::to_string(s.n) + ",\n";
  j += "  \"nrhs\": " + std::to_string(s.nrhs) + ",\n";
  j += "  \"a\": " + json_matrix(s.a, s.n, s.n, "  ") + ",\n";
  j += "  \"b\": " + json_matrix(s.b, s.n, s.nrhs, "  ") + ",\n";
  j += "  \"methods\": [";
  for (std::size_t k = 0; k < r.runs.size(); ++k) {
    const Run &run = r.runs[k];
    const Outcome &o = run.outcome;
    const bool shown = o.enclosure && run.method->kind != Kind::classification;
    j += std::string(k ? ",\n" : "\n") + "    {\n";
    j += "      \"name\": " + json_string(run.method->name) + ",\n";
    j += "      \"routine\": " + json_string(run.method->routine) + ",\n";
    j += "      \"kind\": " + json_string(kind_name(run.method->kind)) + ",\n";
    j += "      \"call\": " + json_string(o.call) + ",\n";
    j += "      \"info\": " + std::to_string(o.info) + ",\n";
    j += "      \"meaning\": " + json_string(o.meaning) + ",\n";
    j += "      \"enclosure\": " +
         (shown ? json_matrix(o.values, o.rows, o.cols, "      ") : std::string("null")) + ",\n";
    j +=
        "      \"largest_width\": " + (shown ? json_number(o.largest_width) : std::string("null")) +
        ",\n";
    j += "      \"notes\": {";
    for (std::size_t m = 0; m < o.notes.size(); ++m)
      j += std::string(m ? ", " : "") + json_string(o.notes[m].key) + ": " + json_note(o.notes[m]);
    j += "}\n    }";
  }
  j += r.runs.empty() ? "]\n" : "\n  ]\n";
  j += "}\n";
  std::fputs(j.c_str(), out);
}

} // namespace ruf_solve
