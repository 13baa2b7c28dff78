// The entry prologue, observed through a counting double of the service
// library's configuration routines interposed by this program.
#include <gtest/gtest.h>

#include <deque>
#include <string>
#include <vector>

#include "ruf_interval.h"

namespace {
std::vector<std::string> g_log;
std::deque<int> g_answers; // what get_cfg_serial answers, in turn
int g_default_answer = 2;
} // namespace

extern "C" {
int ruf_cfg_file(int v) {
  g_log.push_back("cfg_file(" + std::to_string(v) + ")");
  return 0;
}
int get_cfg_serial(void) {
  g_log.push_back("get");
  if (g_answers.empty()) return g_default_answer;
  const int a = g_answers.front();
  g_answers.pop_front();
  return a;
}
void RUF_SET_SERIAL(void) {
  g_log.push_back("serial");
}
void RUF_SET_PARALLEL(void) {
  g_log.push_back("parallel");
}
}

namespace {

using Log = std::vector<std::string>;

class Prologue : public ::testing::Test {
protected:
  void SetUp() override {
    g_log.clear();
    g_answers.clear();
  }
};

TEST_F(Prologue, SerialAnswerCallsTheSerialSetterOnce) {
  g_answers = {1, 1};
  const ruf_di x{1, 2};
  EXPECT_EQ(D_MIG(&x), 1.0);
  EXPECT_EQ(g_log, (Log{"cfg_file(1)", "get", "serial", "get"}));
}

TEST_F(Prologue, ParallelAnswerCallsOnlyTheParallelSetter) {
  g_answers = {0, 0};
  const ruf_di x{1, 2};
  d_mig_(&x);
  EXPECT_EQ(g_log, (Log{"cfg_file(1)", "get", "get", "parallel"}));
}

TEST_F(Prologue, OtherAnswersSetNothingButStillCallTheRoutine) {
  g_answers = {7, 7};
  const ruf_di x{1, 2}, y{3, 4};
  ruf_di r{0, 0};
  di_di_mult(&r, &x, &y);
  EXPECT_EQ(g_log, (Log{"cfg_file(1)", "get", "get"}));
  EXPECT_EQ(r.inf, 3.0);
  EXPECT_EQ(r.sup, 8.0);
}

TEST_F(Prologue, TheModeIsAskedTwiceAndEachAnswerActsAlone) {
  g_answers = {1, 0};
  const ruf_di x{1, 2};
  D_MIG_(&x);
  EXPECT_EQ(g_log, (Log{"cfg_file(1)", "get", "serial", "get", "parallel"}));
}

TEST_F(Prologue, ImplementationSpellingRunsNoPrologue) {
  const ruf_di x{1, 2}, y{3, 4};
  ruf_di r;
  ruf_interval_di_di_mult(&r, &x, &y);
  EXPECT_EQ(ruf_interval_d_mig(&x), 1.0);
  EXPECT_TRUE(g_log.empty());
}

TEST_F(Prologue, EverySpellingGivesTheDirectResult) {
  const ruf_di x{-1.0 / 3, 2.0 / 7}, y{-3.0 / 11, 4.0 / 13};
  ruf_di want, got;
  ruf_interval_di_di_mult(&want, &x, &y);
  for (auto f : {DI_DI_MULT, DI_DI_MULT_, di_di_mult, di_di_mult_}) {
    got = {0, 0};
    f(&got, &x, &y);
    EXPECT_EQ(got.inf, want.inf);
    EXPECT_EQ(got.sup, want.sup);
  }
  const ruf_si xs{-0.1f, -0.05f};
  for (auto f : {S_MAG, S_MAG_, s_mag, s_mag_})
    EXPECT_EQ(f(&xs), ruf_interval_s_mag(&xs));
  EXPECT_EQ(g_log.size(), 8u * 3u);
}

} // namespace
