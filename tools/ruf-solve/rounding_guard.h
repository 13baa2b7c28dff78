// The caller's rounding mode, put back on every way out of a scope: parsing
// switches it to read bounds outward, and some routines leave it changed.
#pragma once

#include <cfenv>

namespace ruf_solve {

class RoundingGuard {
public:
  RoundingGuard() : saved_(std::fegetround()) {}
  ~RoundingGuard() { std::fesetround(saved_); }
  RoundingGuard(const RoundingGuard &) = delete;
  RoundingGuard &operator=(const RoundingGuard &) = delete;

private:
  int saved_;
};

} // namespace ruf_solve
