// SPDX-License-Identifier: Apache-2.0
//
// Timers and trace scopes: their lines, their order, their levels.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "log/log.h"
#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using ::testing::MatchesRegex;

class Scopes : public ::testing::Test {
 protected:
  ~Scopes() override { srlog_close(); }
  void OpenWith(const std::string& text) {
    const std::string cfg = folder.write("x.cfu", "[logger]\nhead = 0\nstyle = 20\n" + text);
    ASSERT_EQ(srlog_open(cfg.c_str(), "logger", {file.c_str(), "Test Logging"}), 0);
  }
  std::string Text() const { return folder.read("w.log"); }
  testing_support::TempFolder folder;
  std::string file = folder.file("w.log");
};

// A call as an exported function makes it, failing after its own line.
int FailingCall() {
  const ApiScope scope("TSEG::wVadStop");
  return WVAD_FAIL(14002, "WVAD_ERROR_NOT_INIT", "no engine");
}

TEST_F(Scopes, EnterComesFirstThenLeaveThenTheTime) {
  OpenWith("level = all\n");
  { const ApiScope scope("TSEG::wVadStart"); }
  EXPECT_THAT(Text(), MatchesRegex("\\[TRC\\] TSEG::wVadStart \\| enter\\.\n"
                                   "\\[TRC\\] TSEG::wVadStart \\| leave\\.\n"
                                   "\\[PRF\\] TSEG::wVadStart  [0-9]+\\.[0-9]{3} msec\\.\n"));
}

TEST_F(Scopes, DefaultLevelShowsNeither) {
  OpenWith("");
  { const ApiScope scope("TSEG::wVadStart"); }
  EXPECT_EQ(Text(), "");
}

TEST_F(Scopes, EachHasALevelOfItsOwn) {
  OpenWith("level = 128\n");
  { const ApiScope scope("A"); }
  EXPECT_EQ(Text(), "[TRC] A | enter.\n[TRC] A | leave.\n");
  srlog_close();
  OpenWith("level = 64\n");
  const size_t before = Text().size();
  { const ApiScope scope("A"); }
  EXPECT_THAT(Text().substr(before), MatchesRegex("\\[PRF\\] A  [0-9]+\\.[0-9]{3} msec\\.\n"));
}

TEST_F(Scopes, FailingCallLogsLeaveAndTimeAsWell) {
  OpenWith("level = full\n");
  EXPECT_EQ(FailingCall(), 14002);
  EXPECT_THAT(Text(), MatchesRegex("\\[TRC\\] TSEG::wVadStop \\| enter\\.\n"
                                   "\\[ERR\\] no engine\n"
                                   "\\[ERR\\] Error! The error string is -> WVAD_ERROR_NOT_INIT = 14002\n"
                                   "\\[TRC\\] TSEG::wVadStop \\| leave\\.\n"
                                   "\\[PRF\\] TSEG::wVadStop  [0-9]+\\.[0-9]{3} msec\\.\n"));
}

TEST_F(Scopes, TraceScopeAloneHasNoTime) {
  OpenWith("level = all\n");
  { const TraceScope scope("TSEG::Res_mgr::Res_mgr"); }
  EXPECT_EQ(Text(), "[TRC] TSEG::Res_mgr::Res_mgr | enter.\n[TRC] TSEG::Res_mgr::Res_mgr | leave.\n");
}

TEST_F(Scopes, LoggerThatOpensInBetweenSeesTheEnd) {
  {
    const ApiScope scope("TSEG::wVadInitialize");
    OpenWith("level = all\n");
  }
  EXPECT_THAT(Text(), MatchesRegex("\\[TRC\\] TSEG::wVadInitialize \\| leave\\.\n\\[PRF\\] TSEG::wVadInitialize  [0-9.]+ msec\\.\n"));
}

// A sleep lasts as long as it says or longer: the upper bound is what the same counter says around the timer.
TEST_F(Scopes, TimerStoresNanosecondsOfWhatPassed) {
  int64_t begin = 0;
  int64_t end = 0;
  ASSERT_TRUE(platform::PerformanceCounter(&begin));
  double elapsed = -1.0;
  PerfTimer timer("A", &elapsed);
  EXPECT_EQ(elapsed, -1.0);
  platform::SleepMilliseconds(20);
  timer.Finish();
  ASSERT_TRUE(platform::PerformanceCounter(&end));
  EXPECT_GE(elapsed, 20e6);
  EXPECT_LE(elapsed, static_cast<double>(end - begin) * 1e9 / static_cast<double>(platform::PerformanceFrequency()));
}

TEST_F(Scopes, TimerThatHasStoppedKeepsItsTime) {
  OpenWith("level = 64\n");
  double elapsed = 0.0;
  PerfTimer timer("A", &elapsed);
  timer.szTag = "tag";
  timer.bStopped = true;
  timer.fElapsed = 1234567.0;
  timer.Finish();
  EXPECT_EQ(elapsed, 1234567.0);
  EXPECT_EQ(Text(), "[PRF] A tag 1.235 msec.\n");
}

TEST_F(Scopes, TimeIsCounterTimesABillionOverFrequency) {
  PerfTimer timer("A");
  timer.nFrequency *= 1000000000;  // a counter that runs as much faster as makes the result vanish
  timer.Finish();
  EXPECT_GE(timer.fElapsed, 0.0);
  EXPECT_LT(timer.fElapsed, 1e3);
}

TEST_F(Scopes, UnreadableCounterLeavesZero) {
  double elapsed = -1.0;
  PerfTimer timer("A", &elapsed);
  timer.bCounting = false;
  timer.Finish();
  EXPECT_EQ(elapsed, 0.0);
}

TEST_F(Scopes, LongNameIsCutIn59Characters) {
  const PerfTimer timer(std::string(100, 'n').c_str());
  EXPECT_EQ(std::string(timer.szName), std::string(59, 'n'));
}

}  // namespace
}  // namespace TSEG
