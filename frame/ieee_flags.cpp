// The library's own ieee_flags: hands its four strings to the runtime's
// ieee_flags_ as ten characters each. The caller's lengths are not passed on;
// that is intended, and callers supply ten-character, blank-padded strings.
#include "ruf_interval.h"

#include "frame/imports.h"

namespace {
constexpr int kFlagLength = 10;
}

extern "C" int ieee_flags(const char *action, const char *mode, const char *in, char *out,
                          ruf_strlen, ruf_strlen, ruf_strlen, ruf_strlen) {
  return ieee_flags_(action, mode, in, out, kFlagLength, kFlagLength, kFlagLength, kFlagLength);
}
