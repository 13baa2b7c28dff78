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

// An element as written in an input file.
std::string element(const ruf_di &x) {
  return interval(x);
}
std::string element(const ruf_zr &x) {
  return interval(x.re) + " + " + interval(x.im) + "i";
}
std::string element(const ruf_zc &x) {
  return "<" + bound(x.re) + (std::signbit(x.im) ? " - " : " + ") + bound(std::fabs(x.im)) + "i, " +
         bound(x.rad) + ">";
}

// One element's width (a disc's diameter), rounded up.
template <class E> double width(const E &x) {
  return largest_width(Values(std::vector<E>{x}));
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

std::string note_value(const Note &n) {
  struct {
    std::string operator()(long long v) const { return std::to_string(v); }
    std::string operator()(double v) const { return bound(v); }
    std::string operator()(const std::string &v) const { return v; }
    std::string operator()(const ruf_di &v) const { return interval(v); }
  } visit;
  return std::visit(visit, n.value);
}

const char *verdict_word(Verdict v) {
  return v == Verdict::verified       ? "verified"
         : v == Verdict::not_verified ? "not verified"
         : v == Verdict::wrong        ? "wrong"
                                      : "-";
}

bool shown(const Run &run) {
  return run.outcome.enclosure && run.method->kind != Kind::classification;
}

void summary(std::FILE *out, const Report &r) {
  Table t({false, true, false, false, false, false});
  t.add({"method", "info", "meaning", "verdict", "largest width", "call"});
  for (const Run &run : r.runs) {
    const Outcome &o = run.outcome;
    const bool test = run.method->kind == Kind::classification;
    t.add({run.method->name, std::to_string(o.info), o.meaning,
           test ? "floating-point test" : verdict_word(o.verdict),
           shown(run) ? short_number(o.largest_width) : "-", o.call});
  }
  t.print(out, "");
}

// Methods side by side per component: one block per right-hand side, each
// component followed by every method's result for it.
void solutions(std::FILE *out, const Report &r) {
  std::vector<const Run *> runs;
  for (const Run &run : r.runs)
    if (run.method->kind == Kind::solution || run.method->kind == Kind::hull) runs.push_back(&run);
  const System &s = *r.system;
  if (runs.empty() || s.n == 0) return;
  for (int c = 0; c < s.nrhs; ++c) {
    std::fprintf(out, "\nsolution for column %d of B\n", c + 1);
    bool marks = false;
    for (const Run *run : runs)
      marks = marks || run->outcome.hull_checked;
    Table t({false, false, false, false, false});
    t.add({"", "method", "enclosure", "width", marks ? "hull" : ""});
    for (int i = 0; i < s.n; ++i) {
      bool first = true;
      for (const Run *run : runs) {
        const std::string label = first ? "x(" + std::to_string(i + 1) + ")" : "";
        first = false;
        const Outcome &o = run->outcome;
        if (!shown(*run)) {
          t.add({label, run->method->name, "none (info " + std::to_string(o.info) + ")", "", ""});
          continue;
        }
        std::visit(
            [&](const auto &v) {
              const auto &x = v[s.index(i, c)];
              std::string mark;
              if (o.hull_checked) {
                const int q = static_cast<int>(s.index(i, c));
                bool miss = false;
                for (const int m : o.misses_hull)
                  miss = miss || m == q;
                mark = miss ? "misses the hull" : "contains it";
              }
              t.add({label, run->method->name, element(x), short_number(width(x)), mark});
            },
            o.values);
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
    if (!shown(run)) {
      std::fprintf(out, "  none (info %d)\n", o.info);
      continue;
    }
    Table t({false, false, false});
    std::visit(
        [&](const auto &v) {
          for (int i = 0; i < o.rows; ++i)
            for (int j = 0; j < o.cols; ++j) {
              const auto &x = v[static_cast<std::size_t>(j) * o.rows + i];
              t.add({"X(" + std::to_string(i + 1) + "," + std::to_string(j + 1) + ")", element(x),
                     short_number(width(x))});
            }
        },
        o.values);
    t.print(out, "  ");
  }
}

void notes(std::FILE *out, const Report &r) {
  Table t({false, false, false});
  bool any = false;
  for (const Run &run : r.runs) {
    if (!run.outcome.why.empty()) {
      t.add({run.method->name, verdict_word(run.outcome.verdict), run.outcome.why});
      any = true;
    }
    for (const Note &n : run.outcome.notes) {
      t.add({run.method->name, n.key, note_value(n)});
      any = true;
    }
  }
  if (!any) return;
  std::fprintf(out, "\nnotes\n");
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

std::string json_element(const ruf_di &x) {
  return "[" + json_number(x.inf) + ", " + json_number(x.sup) + "]";
}
std::string json_element(const ruf_zr &x) {
  return "{\"re\": " + json_element(x.re) + ", \"im\": " + json_element(x.im) + "}";
}
std::string json_element(const ruf_zc &x) {
  return "{\"centre\": [" + json_number(x.re) + ", " + json_number(x.im) +
         "], \"radius\": " + json_number(x.rad) + "}";
}

// A column-major matrix as an array of rows.
template <class E>
std::string json_matrix(const std::vector<E> &v, int rows, int cols, const char *indent) {
  if (rows == 0) return "[]";
  std::string out = "[";
  for (int i = 0; i < rows; ++i) {
    out += std::string(i ? ",\n" : "\n") + indent + "  [";
    for (int j = 0; j < cols; ++j)
      out += (j ? ", " : "") + json_element(v[static_cast<std::size_t>(j) * rows + i]);
    out += "]";
  }
  return out + "\n" + indent + "]";
}

std::string json_note(const Note &n) {
  struct {
    std::string operator()(long long v) const { return std::to_string(v); }
    std::string operator()(double v) const { return json_number(v); }
    std::string operator()(const std::string &v) const { return json_string(v); }
    std::string operator()(const ruf_di &v) const { return json_element(v); }
  } visit;
  return std::visit(visit, n.value);
}

} // namespace

void mark_hull_misses(Report &r) {
  const Run *hull = nullptr;
  for (const Run &run : r.runs)
    if (!hull && run.method->kind == Kind::hull && shown(run)) hull = &run;
  if (!hull) return;
  const std::vector<ruf_di> &inner = hull->outcome.inner;
  for (Run &run : r.runs) {
    if (run.method->kind != Kind::solution || !shown(run)) continue;
    const auto *x = std::get_if<std::vector<ruf_di>>(&run.outcome.values);
    if (!x) continue;
    run.outcome.hull_checked = true;
    for (std::size_t q = 0; q < x->size() && q < inner.size(); ++q)
      if ((*x)[q].inf > inner[q].inf || (*x)[q].sup < inner[q].sup)
        run.outcome.misses_hull.push_back(static_cast<int>(q));
  }
}

std::string bound(double v) {
  return format("%.17g", v);
}

void write_text(std::FILE *out, const Report &r) {
  const System &s = *r.system;
  const std::string what = "n = " + std::to_string(s.n) + ", nrhs = " + std::to_string(s.nrhs) +
                           ", " + element_name(s.element());
  if (r.source.empty())
    std::fprintf(out, "No file given: solving the built-in example (%s).\n", what.c_str());
  else
    std::fprintf(out, "%s: %s\n", r.source.c_str(), what.c_str());
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
  j += "  \"elements\": " + json_string(element_name(s.element())) + ",\n";
  j += "  \"n\": " + std::to_string(s.n) + ",\n";
  j += "  \"nrhs\": " + std::to_string(s.nrhs) + ",\n";
  std::visit(
      [&](const auto &d) {
        j += "  \"a\": " + json_matrix(d.a, s.n, s.n, "  ") + ",\n";
        j += "  \"b\": " + json_matrix(d.b, s.n, s.nrhs, "  ") + ",\n";
      },
      s.data);
  j += "  \"methods\": [";
  for (std::size_t k = 0; k < r.runs.size(); ++k) {
    const Run &run = r.runs[k];
    const Outcome &o = run.outcome;
    j += std::string(k ? ",\n" : "\n") + "    {\n";
    j += "      \"name\": " + json_string(run.method->name) + ",\n";
    j += "      \"kind\": " + json_string(kind_name(run.method->kind)) + ",\n";
    j += "      \"call\": " + json_string(o.call) + ",\n";
    j += "      \"info\": " + std::to_string(o.info) + ",\n";
    j += "      \"meaning\": " + json_string(o.meaning) + ",\n";
    j += "      \"verified\": " +
         std::string(o.verdict == Verdict::none       ? "null"
                     : o.verdict == Verdict::verified ? "true"
                                                      : "false") +
         ",\n";
    j += "      \"verdict\": " +
         (o.verdict == Verdict::none ? std::string("null") : json_string(verdict_word(o.verdict))) +
         ",\n";
    j += "      \"verdict_reason\": " + (o.why.empty() ? std::string("null") : json_string(o.why)) +
         ",\n";
    std::string enclosure = "null";
    if (shown(run))
      std::visit([&](const auto &v) { enclosure = json_matrix(v, o.rows, o.cols, "      "); },
                 o.values);
    j += "      \"enclosure\": " + enclosure + ",\n";
    j += "      \"largest_width\": " +
         (shown(run) ? json_number(o.largest_width) : std::string("null")) + ",\n";
    if (o.hull_checked) {
      j += "      \"misses_hull\": [";
      for (std::size_t m = 0; m < o.misses_hull.size(); ++m) {
        const int q = o.misses_hull[m];
        j += std::string(m ? ", " : "") + "[" + std::to_string(q % o.rows + 1) + ", " +
             std::to_string(q / o.rows + 1) + "]";
      }
      j += "],\n";
    }
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
