// ruf-solve's readers on arbitrary bytes: the text format and Matrix Market
// (A, B and radii from three slices of the input). Every input either reads
// or is refused with an error that names a line (and a column, for the text
// format) inside the input; an accepted system is solved by Gaussian
// elimination when it is small. Orders above the limit must be refused
// before anything of their size is allocated (the harness runs with a memory
// limit far below what a refused order would take).
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "methods.h"
#include "mm.h"
#include "parse.h"

namespace {

int lines_of(std::string_view s) {
  int n = 1;
  for (const char c : s)
    n += c == '\n';
  return n;
}

void check(bool ok) {
  if (!ok) std::abort();
}

void solve_small(const ruf_solve::System &s) {
  if (s.n > 8 || s.nrhs > 4) return;
  const ruf_solve::Method *m = ruf_solve::find_method("gegas");
  ruf_solve::run(*m, s, ruf_solve::Settings{});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char *>(data), size);
  // The text format.
  try {
    const ruf_solve::System s = ruf_solve::parse_system(text);
    check(s.n >= 0 && s.n <= ruf_solve::kMaxOrder && s.nrhs >= 0);
    solve_small(s);
  } catch (const ruf_solve::InputError &e) {
    check(e.line() >= 1 && e.line() <= lines_of(text) && e.column() >= 1);
    check(std::string(e.what()).size() > 0);
  }
  // Matrix Market: the input cut in three at its first two '\f' bytes.
  const std::size_t f1 = text.find('\f');
  const std::size_t f2 = f1 == std::string_view::npos ? f1 : text.find('\f', f1 + 1);
  const std::string_view a = text.substr(0, f1);
  const std::string_view b =
      f1 == std::string_view::npos
          ? std::string_view()
          : text.substr(f1 + 1, f2 == std::string_view::npos ? f2 : f2 - f1 - 1);
  const std::string_view r =
      f2 == std::string_view::npos ? std::string_view() : text.substr(f2 + 1);
  try {
    const ruf_solve::System s =
        ruf_solve::read_matrix_market({"a.mtx", a}, {"b.mtx", b}, {r.empty() ? "" : "r.mtx", r});
    check(s.n >= 0 && s.n <= ruf_solve::kMaxOrder);
    solve_small(s);
  } catch (const ruf_solve::MatrixMarketError &e) {
    check(std::string(e.what()).find(".mtx:") != std::string::npos);
  }
  return 0;
}
