// ruf-solve: encloses the solutions of an interval linear system read from a
// text file with the library's solvers, and prints each method's result.
// Exit status: 0 when the methods ran (whatever their info), 2 for a usage
// error or an input that cannot be read.
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "methods.h"
#include "mm.h"
#include "ruf_service.h"
#include "parse.h"
#include "report.h"

namespace {

using namespace ruf_solve;

constexpr const char *kProgram = "ruf-solve";

// Shown and solved when no file is given; also an example of the format.
constexpr const char *kExample =
    R"(# A 3x3 interval system, diagonally dominant, with a few wide entries.
3 1                           # n, nrhs
# A, row by row
[3.9, 4.1]   [-1, 1]     0.5
1            [5, 5.5]    [-0.6, -0.4]
[-0.1, 0.3]  2           [6, 7]
# B, row by row
[0.9, 1.1]
2
[2.9, 3.1])";

constexpr const char *kSynopsis =
    "usage: %s [--method NAME[,NAME...]] [--uplo L|U] [--eps E] [--maxit N] [--classify] [--hull]\n"
    "       [--precision single|double] [--multiplication default|textbook] [--json]\n"
    "       [FILE | --mm A.mtx B.mtx [--radius R.mtx]]\n"
    "       %s --version\n";

// The methods whose routine reads --eps, e.g. "gemip+gegss (> 0), gekws (>= 0)".
std::string eps_readers() {
  std::string list;
  for (const Method &m : methods())
    if (m.eps != EpsRule::unused)
      list += std::string(list.empty() ? "" : ", ") + m.name +
              (m.eps == EpsRule::positive ? " (> 0)" : " (>= 0)");
  return list;
}

void help() {
  std::printf(kSynopsis, kProgram, kProgram);
  std::printf(
      "\n"
      "Encloses the solutions of the interval linear system A X = B in FILE ('-' for\n"
      "standard input; without FILE a built-in example) with the methods chosen.\n"
      "\n"
      "  --method LIST  methods to run, in this order (default: all but the regularity tests)\n"
      "  --uplo L|U     triangle of A used by the triangular methods (default L)\n"
      "  --eps E        finite tolerance (default 1e-10) of %s\n"
      "  --maxit N      sweep limit of gemip+gegss, a whole number >= 0 (default 100)\n"
      "  --classify     also run the regularity tests (floating-point tests, not proofs)\n"
      "  --hull         also bracket the exact hull of the solution set (real systems of\n"
      "                 order at most 100), to show how far each enclosure is from it\n"
      "  --precision P  the members of precision P run: single or double (default)\n"
      "  --multiplication R\n"
      "                 the product of two intervals that both contain zero: default (the\n"
      "                 larger lower candidate) or textbook (the smaller, always enclosing)\n"
      "  --mm A B       read A and B from Matrix Market files instead of FILE\n"
      "  --radius R     with --mm: the radii of A's entries, a Matrix Market file\n"
      "  --json         print JSON instead of tables\n"
      "  --version      print the version\n"
      "  -h, --help     print this help\n"
      "\n"
      "Every result gets a verdict of ruf-solve's own, in rigorous arithmetic:\n"
      "'verified' when an inclusion test proves that it contains every solution\n"
      "of every system of the data (of the triangular system for the triangular\n"
      "methods); 'wrong' when a system of the data (its midpoint or a vertex)\n"
      "provably has its solution outside; 'not verified' otherwise. 'ok' only\n"
      "means the routine's info is 0.\n"
      "\n"
      "methods (?? stands for the member: SI or DI, CR or ZR, CC or ZC):\n",
      eps_readers().c_str());
  for (const Method &m : methods())
    std::printf("  %-12s %-8s %s%s%s\n", m.name, m.routine, m.summary,
                m.complex ? "" : " (real systems)",
                m.kind == Kind::classification ? " (--classify)"
                : m.kind == Kind::hull         ? " (--hull)"
                                               : "");
  std::printf("\nFILE: n and nrhs, then A and B row by row. An entry is [lo, hi] or a decimal\n"
              "number; complex entries are rectangles [a, b] + [c, d]i, discs <c, r> or\n"
              "<x + yi, r>, or numbers x + yi. '#' starts a comment. See docs/ruf-solve.md.\n");
}

// After a usage error: the synopsis and the method names.
void short_usage() {
  std::fprintf(stderr, kSynopsis, kProgram, kProgram);
  std::string names;
  for (const Method &m : methods())
    names += std::string(names.empty() ? "" : ", ") + m.name;
  std::fprintf(stderr, "methods: %s; %s --help tells more\n", names.c_str(), kProgram);
}

struct UsageError {
  std::string message;
};

struct Options {
  std::vector<const Method *> chosen;
  bool listed = false; // chosen by --method, not by default
  Settings settings;
  int multiplication = RUF_MULTIPLICATION_DEFAULT;
  bool json = false;
  bool have_file = false;
  std::string file;
  std::string mm_a, mm_b, mm_radius; // --mm A B [--radius R]
};

// "--name value" or "--name=value".
bool option_value(std::string_view arg, std::string_view name, int &i, int argc, char **argv,
                  std::string &value) {
  if (arg == name) {
    if (i + 1 >= argc) throw UsageError{std::string(name) + " needs a value"};
    value = argv[++i];
    return true;
  }
  if (arg.size() > name.size() && arg.substr(0, name.size()) == name && arg[name.size()] == '=') {
    value = std::string(arg.substr(name.size() + 1));
    return true;
  }
  return false;
}

// --eps: a finite number >= 0. One too small for a double reads as 0 or a
// subnormal, which is still a valid tolerance; whether 0 is allowed depends
// on the methods chosen (check_eps).
double parse_eps(const std::string &value) {
  char *end = nullptr;
  const double v = std::strtod(value.c_str(), &end);
  if (value.empty() || *end != '\0' || !(v >= 0) || std::isinf(v))
    throw UsageError{"--eps takes a finite number >= 0, not '" + value + "'"};
  return v;
}

// Each chosen routine must accept eps: none may end in an argument error.
void check_eps(const std::vector<const Method *> &chosen, double eps) {
  for (const Method *m : chosen)
    if (m->eps == EpsRule::positive && !(eps > 0))
      throw UsageError{"--eps must be above 0 (as a double) for " + std::string(m->name)};
}

// --maxit: a whole number >= 0 that fits the routine's 32-bit argument. The
// routine would run no sweep for a negative one, as for 0; the tool takes it
// for a mistake.
int parse_maxit(const std::string &value) {
  char *end = nullptr;
  errno = 0;
  const long v = std::strtol(value.c_str(), &end, 10);
  if (value.empty() || *end != '\0' || errno != 0 || v < 0 || v > 2147483647L)
    throw UsageError{"--maxit takes a whole number from 0 to 2147483647, not '" + value + "'"};
  return static_cast<int>(v);
}

void add_method(std::vector<const Method *> &list, const Method *m) {
  for (const Method *have : list)
    if (have == m) return;
  list.push_back(m);
}

Options parse_options(int argc, char **argv) {
  Options o;
  bool listed = false, classify = false, hull = false;
  std::vector<const Method *> listed_methods;
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    std::string value;
    if (arg == "-h" || arg == "--help") {
      help();
      std::exit(0);
    } else if (arg == "--version") {
      std::printf("%s %s\n", kProgram, RUF_INTERVAL_VERSION_STRING);
      std::exit(0);
    } else if (arg == "--json") {
      o.json = true;
    } else if (arg == "--classify") {
      classify = true;
    } else if (arg == "--hull") {
      hull = true;
    } else if (option_value(arg, "--method", i, argc, argv, value)) {
      listed = true;
      std::size_t start = 0;
      while (start <= value.size()) {
        std::size_t comma = value.find(',', start);
        if (comma == std::string::npos) comma = value.size();
        const std::string name = value.substr(start, comma - start);
        const Method *m = find_method(name);
        if (!m) throw UsageError{"unknown method '" + name + "'"};
        add_method(listed_methods, m);
        start = comma + 1;
      }
    } else if (option_value(arg, "--eps", i, argc, argv, value)) {
      o.settings.eps = parse_eps(value);
    } else if (option_value(arg, "--maxit", i, argc, argv, value)) {
      o.settings.maxit = parse_maxit(value);
    } else if (option_value(arg, "--uplo", i, argc, argv, value)) {
      if (value != "L" && value != "U" && value != "l" && value != "u")
        throw UsageError{"--uplo takes L or U, not '" + value + "'"};
      o.settings.uplo = static_cast<char>(value[0] & ~0x20); // upper case
    } else if (arg == "--mm") {
      if (i + 2 >= argc) throw UsageError{"--mm needs two files, A and B"};
      o.mm_a = argv[++i];
      o.mm_b = argv[++i];
    } else if (option_value(arg, "--radius", i, argc, argv, value)) {
      o.mm_radius = value;
    } else if (option_value(arg, "--precision", i, argc, argv, value)) {
      if (value != "single" && value != "double")
        throw UsageError{"--precision takes single or double, not '" + value + "'"};
      o.settings.precision = value == "single" ? Precision::single : Precision::dbl;
    } else if (option_value(arg, "--multiplication", i, argc, argv, value)) {
      if (value != "default" && value != "textbook")
        throw UsageError{"--multiplication takes default or textbook, not '" + value + "'"};
      o.multiplication =
          value == "textbook" ? RUF_MULTIPLICATION_TEXTBOOK : RUF_MULTIPLICATION_DEFAULT;
    } else if (arg.size() > 1 && arg[0] == '-') {
      throw UsageError{"unknown option '" + std::string(arg) + "'"};
    } else if (o.have_file) {
      throw UsageError{"more than one file given"};
    } else {
      o.have_file = true;
      o.file = std::string(arg);
    }
  }
  if (!o.mm_a.empty() && o.have_file) throw UsageError{"give either FILE or --mm A B, not both"};
  if (!o.mm_radius.empty() && o.mm_a.empty()) throw UsageError{"--radius goes with --mm"};
  o.listed = listed;
  if (listed) {
    o.chosen = listed_methods;
  } else {
    for (const Method &m : methods())
      if (m.kind != Kind::classification && m.kind != Kind::hull) o.chosen.push_back(&m);
  }
  if (hull)
    for (const Method &m : methods())
      if (m.kind == Kind::hull) add_method(o.chosen, &m);
  if (classify)
    for (const Method &m : methods())
      if (m.kind == Kind::classification) add_method(o.chosen, &m);
  check_eps(o.chosen, o.settings.eps);
  return o;
}

// The whole file, or false with errno set.
bool read_all(std::FILE *f, std::string &text) {
  char buf[1 << 16];
  std::size_t got;
  while ((got = std::fread(buf, 1, sizeof buf, f)) > 0)
    text.append(buf, got);
  return !std::ferror(f);
}

// The whole file, or false with errno set (a directory fails too).
bool read_file(const std::string &path, std::string &text) {
  std::FILE *f = std::fopen(path.c_str(), "rb");
  bool ok = f != nullptr;
  if (ok) ok = read_all(f, text);
  const int err = errno;
  if (f) std::fclose(f);
  errno = err;
  return ok;
}

int fail_input(const std::string &what) {
  std::fprintf(stderr, "%s: %s\n", kProgram, what.c_str());
  return 2;
}

int run_tool(int argc, char **argv) {
  Options opt;
  try {
    opt = parse_options(argc, argv);
  } catch (const UsageError &e) {
    std::fprintf(stderr, "%s: %s\n", kProgram, e.message.c_str());
    short_usage();
    return 2;
  }

  std::string text, source;
  System system;
  if (!opt.mm_a.empty()) {
    std::string a, b, r;
    for (const auto &[path, into] :
         {std::pair{opt.mm_a, &a}, {opt.mm_b, &b}, {opt.mm_radius, &r}}) {
      if (path.empty()) continue;
      if (!read_file(path, *into))
        return fail_input("cannot read " + path + ": " + std::strerror(errno));
    }
    source = opt.mm_a + ", " + opt.mm_b + (opt.mm_radius.empty() ? "" : ", radii " + opt.mm_radius);
    try {
      system = read_matrix_market({opt.mm_a, a}, {opt.mm_b, b}, {opt.mm_radius, r});
    } catch (const MatrixMarketError &e) {
      return fail_input(e.what());
    }
  } else {
    if (!opt.have_file) {
      text = kExample;
    } else if (opt.file == "-") {
      source = "<stdin>";
      if (!read_all(stdin, text))
        return fail_input("cannot read standard input: " + std::string(std::strerror(errno)));
    } else {
      source = opt.file;
      if (!read_file(opt.file, text))
        return fail_input("cannot read " + opt.file + ": " + std::strerror(errno));
    }
    try {
      system = parse_system(text);
    } catch (const InputError &e) {
      return fail_input((source.empty() ? "built-in example" : source) + ":" +
                        std::to_string(e.line()) + ":" + std::to_string(e.column()) + ": " +
                        e.what());
    }
  }

  // The methods for this kind of element: a listed one that cannot take it is
  // a usage error; the default list simply leaves it out.
  std::vector<const Method *> chosen;
  for (const Method *m : opt.chosen) {
    if (takes(*m, system.element())) {
      chosen.push_back(m);
    } else if (opt.listed) {
      std::fprintf(stderr, "%s: %s does not take %s\n", kProgram, m->name,
                   element_name(system.element()));
      return 2;
    }
  }

  // The hull bounds solve linear programs with 4n rows: beyond a moderate
  // order they would take hours and gigabytes.
  for (const Method *m : chosen)
    if (m->kind == Kind::hull && system.n > kMaxHullOrder) {
      std::fprintf(stderr, "%s: %s takes systems of order at most %d, not %d\n", kProgram, m->name,
                   kMaxHullOrder, system.n);
      return 2;
    }

  // The rule holds for the whole process, as RUF_MULTIPLICATION would.
  ruf_serv_set_multiplication(opt.multiplication);
  Report report{source, opt.have_file || opt.json || !opt.mm_a.empty() ? "" : text, &system, {}};
  for (const Method *m : chosen)
    report.runs.push_back({m, run(*m, system, opt.settings)});
  mark_hull_misses(report);
  if (opt.json) {
    write_json(stdout, report);
  } else {
    write_text(stdout, report);
  }
  if (std::fflush(stdout) != 0) return fail_input("cannot write the output");
  return 0;
}

} // namespace

// The library reports an allocation failure through xerbla_ as well as
// through info = 1000. LAPACK's handler, which would be used otherwise, stops
// the program; the tool leaves the report to info, which it prints.
extern "C" void xerbla_(const char *, const int *, int) {}

// Some error returns of the library keep their workspace on purpose (info 1
// of DIGEGAS, for one); in a sanitized build the leak checker would turn each
// of them into a failing exit status.
extern "C" const char *__lsan_default_options() {
  return "detect_leaks=0";
}

int main(int argc, char **argv) {
  try {
    return run_tool(argc, argv);
  } catch (const std::exception &e) {
    // Out of memory for a huge declared system, say: still a clean exit.
    std::fprintf(stderr, "%s: %s\n", kProgram, e.what());
    return 2;
  }
}
