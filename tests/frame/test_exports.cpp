// Every routine of the table is exported under its five spellings, and the
// four wrapper spellings are one entry. The list is expanded from the same
// table as the header and the wrappers, so a routine cannot be declared
// without being exported.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdio>
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

// The library's dynamic symbol table holds exactly the table's five
// spellings of every routine, the workspace module, ieee_flags and the saved
// variables: the version script lets nothing else out.
TEST(Exports, NothingElseIsExported) {
  std::set<std::string> want;
  for (const Names &n : table())
    for (const std::string s :
         {std::string(n.upper), std::string(n.upper) + "_", std::string(n.lower),
          std::string(n.lower) + "_", "ruf_interval_" + std::string(n.lower)})
      want.insert(s);
#define RUF_WS_ARRAY(code, T, size)                                                                \
  for (const char *r : {"1", "2"})                                                                 \
    for (const char *verb : {"allocate", "deallocate"})                                            \
      want.insert(std::string("ruf_alloc_") + verb + "_" #code "_" + r + "_ruf");
#define RUF_WS_RECORD(code, size)                                                                  \
  want.insert("ruf_alloc_allocate_" #code "_0_ruf");                                               \
  want.insert("ruf_alloc_deallocate_" #code "_0_ruf");
#define RUF_MODULE_ROUTINE(name, ret, params) want.insert(#name);
#include "ruf_interval/workspace.def"
#undef RUF_WS_ARRAY
#undef RUF_WS_RECORD
#undef RUF_MODULE_ROUTINE
#define RUF_SAVED(routine, NAME, type) want.insert("ruf_interval_" #routine "$" #NAME);
#include "ruf_interval/saved.def"
#undef RUF_SAVED
  want.insert("RUF_INTERVAL_0"); // the version node

  std::set<std::string> have;
  std::FILE *p = popen("nm -D --defined-only '" RUF_LIBRARY_PATH "'", "r");
  ASSERT_NE(p, nullptr);
  char line[512];
  while (std::fgets(line, sizeof line, p)) {
    std::string s(line);
    s = s.substr(s.find_last_of(' ') + 1);
    s = s.substr(0, s.find_first_of("@\n"));
    have.insert(s);
  }
  ASSERT_EQ(pclose(p), 0);
  std::vector<std::string> extra, missing;
  for (const std::string &s : have)
    if (!want.count(s)) extra.push_back(s);
  for (const std::string &s : want)
    if (!have.count(s)) missing.push_back(s);
  EXPECT_TRUE(extra.empty()) << extra.size() << " unexpected, first " << extra.front();
  EXPECT_TRUE(missing.empty()) << missing.size() << " missing, first " << missing.front();
}

} // namespace
