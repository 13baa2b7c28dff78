// Every routine of the table is exported under its five spellings, and the
// four wrapper spellings are one entry. The list is expanded from the same
// table as the header and the wrappers, so a routine cannot be declared
// without being exported.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <set>
#include <string>
#include <vector>

#include "ruf_interval.h"

namespace {

struct Names {
  const char *upper, *lower;
};

const std::vector<Names> &table() {
  static const std::vector<Names> t = {
#define RUF_ROUTINE(UPPER, lower, ret, params, args) {#UPPER, #lower},
#include "ruf_interval/routines.def"
#undef RUF_ROUTINE
  };
  return t;
}

void *find(const std::string &name) {
  return dlsym(RTLD_DEFAULT, name.c_str());
}

TEST(Exports, EveryRoutineHasFiveSpellingsAndOneWrapperEntry) {
  ASSERT_FALSE(table().empty());
  for (const Names &n : table()) {
    const std::string up = n.upper, low = n.lower;
    void *entry = find(up);
    ASSERT_NE(entry, nullptr) << up;
    EXPECT_EQ(find(up + "_"), entry) << up << "_";
    EXPECT_EQ(find(low), entry) << low;
    EXPECT_EQ(find(low + "_"), entry) << low << "_";
    void *impl = find("ruf_interval_" + low);
    ASSERT_NE(impl, nullptr) << "ruf_interval_" << low;
    EXPECT_NE(impl, entry) << up << ": the implementation is a separate function";
  }
}

TEST(Exports, NamesAreUniqueAndSpelledConsistently) {
  std::set<std::string> seen;
  for (const Names &n : table()) {
    EXPECT_TRUE(seen.insert(n.upper).second) << "listed twice: " << n.upper;
    std::string lowered = n.upper;
    for (char &c : lowered)
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    EXPECT_EQ(lowered, n.lower);
  }
}

// The hull solvers' saved variables, as data under their '$' names, the same
// objects the header's declarations reach.
TEST(Exports, SavedVariables) {
  int count = 0;
#define RUF_SAVED(routine, NAME, type)                                                             \
  EXPECT_EQ(find("ruf_interval_" #routine "$" #NAME),                                              \
            static_cast<const void *>(&ruf_interval_##routine##_##NAME))                           \
      << #routine "$" #NAME;                                                                       \
  ++count;
#include "ruf_interval/saved.def"
#undef RUF_SAVED
  EXPECT_EQ(count, 6);
}

// Nothing outside the table leaks out under a wrapper-like name.
TEST(Exports, InternalHelpersAreHidden) {
  EXPECT_EQ(find("threading_prologue"), nullptr);
}

} // namespace
