// ruf-solve run as a user runs it: exit codes, messages, the tables, and the
// JSON read back by a strict parser. Enclosures read back from the JSON must
// contain the exact solution of the decimal system in the file, computed in
// rational arithmetic (GMP).
#define BOOST_BIND_GLOBAL_PLACEHOLDERS
#include <boost/property_tree/json_parser.hpp>
#include <boost/property_tree/ptree.hpp>
#include <gmpxx.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

using boost::property_tree::ptree;

struct Outcome {
  int status;
  std::string out, err;
};

std::string scratch(const std::string &suffix) {
  return testing::TempDir() + "ruf_solve_" +
         testing::UnitTest::GetInstance()->current_test_info()->name() + suffix;
}

std::string slurp(const std::string &path) {
  std::ifstream in(path);
  std::stringstream s;
  s << in.rdbuf();
  return s.str();
}

std::string write_input(const std::string &text) {
  const std::string path = scratch(".txt");
  std::ofstream(path) << text;
  return path;
}

Outcome ruf_solve(const std::string &args) {
  const std::string err = scratch(".err");
  const std::string cmd = "'" + std::string(RUF_SOLVE_PATH) + "' " + args + " 2>" + err;
  std::FILE *p = popen(cmd.c_str(), "r");
  std::string out;
  char buf[4096];
  std::size_t got;
  while ((got = std::fread(buf, 1, sizeof buf, p)) > 0)
    out.append(buf, got);
  const int st = pclose(p);
  return {WIFEXITED(st) ? WEXITSTATUS(st) : -1, out, slurp(err)};
}

ptree json(const std::string &text) {
  std::istringstream in(text);
  ptree t;
  read_json(in, t); // throws on anything that is not strict JSON
  return t;
}

const ptree &method(const ptree &doc, const std::string &name) {
  for (const auto &m : doc.get_child("methods"))
    if (m.second.get<std::string>("name") == name) return m.second;
  throw std::runtime_error("no method " + name);
}

// enclosure[i][j] as {lo, hi}; a bound is a number or one of the strings.
std::vector<std::vector<std::pair<double, double>>> enclosure(const ptree &m) {
  std::vector<std::vector<std::pair<double, double>>> rows;
  for (const auto &row : m.get_child("enclosure")) {
    rows.emplace_back();
    for (const auto &iv : row.second) {
      std::vector<double> b;
      for (const auto &v : iv.second)
        b.push_back(std::stod(v.second.data()));
      rows.back().emplace_back(b.at(0), b.at(1));
    }
  }
  return rows;
}

// An exact decimal "d.ddd" or "-d.ddd" as a rational.
mpq_class decimal(const char *text) {
  std::string digits;
  std::size_t scale = 0;
  for (const char *c = text; *c; ++c) {
    if (*c == '.')
      scale = std::strlen(c + 1);
    else
      digits += *c;
  }
  mpq_class q(digits + "/1" + std::string(scale, '0'));
  q.canonicalize();
  return q;
}

using Matrix = std::vector<std::vector<mpq_class>>;

bool contains(std::pair<double, double> x, const mpq_class &q) {
  return mpq_class(x.first) <= q && q <= mpq_class(x.second);
}

// Solves M·X = R exactly (Gauss-Jordan; the test matrices need no pivoting).
Matrix solve(Matrix m, Matrix r) {
  const std::size_t n = m.size();
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const mpq_class f = m[i][k] / m[k][k];
      for (std::size_t j = 0; j < n; ++j)
        m[i][j] -= f * m[k][j];
      for (std::size_t j = 0; j < r[i].size(); ++j)
        r[i][j] -= f * r[k][j];
    }
  }
  for (std::size_t i = 0; i < n; ++i)
    for (auto &x : r[i])
      x /= m[i][i];
  return r;
}

Matrix rationals(const std::vector<std::vector<const char *>> &rows) {
  Matrix out;
  for (const auto &row : rows) {
    out.emplace_back();
    for (const char *d : row)
      out.back().push_back(decimal(d));
  }
  return out;
}

void expect_contains(const ptree &m, const Matrix &exact) {
  const auto x = enclosure(m);
  ASSERT_EQ(x.size(), exact.size());
  for (std::size_t i = 0; i < x.size(); ++i) {
    ASSERT_EQ(x[i].size(), exact[i].size());
    for (std::size_t j = 0; j < x[i].size(); ++j) {
      EXPECT_TRUE(contains(x[i][j], exact[i][j])) << m.get<std::string>("name") << " " << i << j;
      EXPECT_LT(x[i][j].second - x[i][j].first, 1e-13); // point data: rounding widths only
    }
  }
}

// Decimal point data, none of it exactly representable in binary.
const std::vector<std::vector<const char *>> kA = {
    {"4.1", "1.0", "0.1"}, {"0.3", "5.0", "-1.0"}, {"0.2", "0.7", "6.0"}};
const std::vector<std::vector<const char *>> kB = {{"0.1", "1.0"}, {"2.0", "0.3"}, {"-1.0", "0.7"}};

std::string system_text() {
  std::string t = "3 2  # n, nrhs\n";
  for (const auto *m : {&kA, &kB}) {
    for (const auto &row : *m) {
      for (const char *d : row)
        t += std::string(d) + " ";
      t += "\n";
    }
  }
  return t;
}

TEST(SolveCli, JsonEnclosuresContainTheExactSolutions) {
  const Outcome r = ruf_solve("--json " + write_input(system_text()));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(r.err, "");
  const ptree doc = json(r.out);
  EXPECT_EQ(doc.get<int>("n"), 3);
  EXPECT_EQ(doc.get<int>("nrhs"), 2);
  for (const char *name : {"gegas", "trtrs", "trtri"}) {
    EXPECT_EQ(method(doc, name).get<int>("info"), 0) << name;
    EXPECT_EQ(method(doc, name).get<std::string>("meaning"), "ok") << name;
  }
  expect_contains(method(doc, "gegas"), solve(rationals(kA), rationals(kB)));

  // The triangular methods see the lower triangle only.
  auto lower = rationals(kA);
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = i + 1; j < 3; ++j)
      lower[i][j] = 0;
  expect_contains(method(doc, "trtrs"), solve(lower, rationals(kB)));
  expect_contains(method(doc, "trtri"),
                  solve(lower, rationals({{"1", "0", "0"}, {"0", "1", "0"}, {"0", "0", "1"}})));
}

TEST(SolveCli, UnboundedAndMissingResultsStayValidJson) {
  // A zero last pivot: substitution divides by [0, 0], elimination stops.
  const Outcome r = ruf_solve("--json --method trtrs,gegas " + write_input("2 1\n1 0\n0 0\n1 1\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  const ptree doc = json(r.out);
  const ptree &t = method(doc, "trtrs");
  EXPECT_EQ(t.get<std::string>("largest_width"), "Infinity");
  const auto x2 = t.get_child("enclosure").back().second.front().second;
  EXPECT_EQ(x2.front().second.data(), "-Infinity");
  EXPECT_EQ(x2.back().second.data(), "Infinity");
  const ptree &g = method(doc, "gegas");
  EXPECT_EQ(g.get<int>("info"), 1);
  EXPECT_EQ(g.get<std::string>("meaning"), "no usable pivot");
  EXPECT_EQ(g.get<std::string>("enclosure"), "null");
  EXPECT_EQ(doc.get_child("methods").size(), 2u);
}

TEST(SolveCli, BuiltInExampleSaysSoAndShowsEveryMethod) {
  const Outcome r = ruf_solve("");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("built-in example"), std::string::npos);
  for (const char *s : {"gegas", "trtrs", "DITRTRI(\"L\", \"N\")", "x(3)", "X(3,3)"})
    EXPECT_NE(r.out.find(s), std::string::npos) << s;
  EXPECT_TRUE(json(ruf_solve("--json").out).get<bool>("builtin_example"));
}

TEST(SolveCli, TextTableShowsRoundTripBounds) {
  const Outcome r = ruf_solve("--method trtri --uplo U " + write_input("1 1\n[2, 4]\n1\n"));
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("X(1,1)  [0.25, 0.5]"), std::string::npos) << r.out;
  EXPECT_NE(r.out.find("DITRTRI(\"U\", \"N\")"), std::string::npos) << r.out;
  EXPECT_EQ(r.out.find("gegas"), std::string::npos);
}

TEST(SolveCli, MalformedFileGivesItsNameLineAndExitTwo) {
  const std::string path = write_input("2 1\n1 2\n3 [4, 5\n6\n7\n");
  const Outcome r = ruf_solve(path);
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.out, "");
  EXPECT_EQ(r.err,
            "ruf-solve: " + path + ":4: A(2,2): missing ']' after the upper bound, found \"6\"\n");
}

TEST(SolveCli, UsageErrorsAndUnreadableFilesExitTwo) {
  for (const char *args :
       {"--method gegas,nosuch", "--frobnicate", "--uplo X", "a b", "--method"}) {
    const Outcome r = ruf_solve(args);
    EXPECT_EQ(r.status, 2) << args;
    EXPECT_NE(r.err.find("usage: ruf-solve"), std::string::npos) << args;
  }
  const Outcome missing = ruf_solve(scratch(".absent"));
  EXPECT_EQ(missing.status, 2);
  EXPECT_NE(missing.err.find("cannot read"), std::string::npos);
  EXPECT_EQ(ruf_solve(testing::TempDir()).status, 2); // a directory
}

} // namespace
