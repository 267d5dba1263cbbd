// SPDX-License-Identifier: Apache-2.0
//
// The entries, the macros around them, and the common failure lines.
#include <gtest/gtest.h>

#include <string>

#include "log/log.h"
#include "log/process_logger.h"
#include "log_fixture.h"

namespace TSEG {
namespace {

class Entries : public ::testing::Test {
 protected:
  ~Entries() override { srlog_close(); }
  void OpenWith(const std::string& text) {
    const std::string cfg = folder.write("x.cfu", "[logger]\nhead = 0\n" + text);
    ASSERT_EQ(srlog_open(cfg.c_str(), "logger", {file.c_str(), "Test Logging"}), 0);
  }
  std::string Text() const { return folder.read("w.log"); }
  testing_support::TempFolder folder;
  std::string file = folder.file("w.log");
};

TEST_F(Entries, EachWritesAtItsOwnLevel) {
  OpenWith("level = all\nstyle = 20\n");  // level and newline
  log_crit("%d", 1);
  log_error("%d", 2);
  log_warn("%d", 3);
  log_info("%d", 4);
  log_verbose("%d", 5);
  log_perf("%d", 6);
  log_trace("%d", 7);
  EXPECT_EQ(Text(), "[CRT] 1\n[ERR] 2\n[WAN] 3\n[INF] 4\n[VBS] 5\n[PRF] 6\n[TRC] 7\n");
}

TEST_F(Entries, DefaultLevelShowsTheThreeLowestAlone) {
  OpenWith("style = 20\n");
  log_crit("1");
  log_error("2");
  log_warn("3");
  log_info("4");
  log_verbose("5");
  log_perf("6");
  log_trace("7");
  EXPECT_EQ(Text(), "[CRT] 1\n[ERR] 2\n[WAN] 3\n");
}

TEST_F(Entries, EnabledNeedsALoggerAnOutputAndTheBit) {
  EXPECT_FALSE(log_enabled(kLogErr));
  OpenWith("level = 2\n");
  EXPECT_TRUE(log_enabled(kLogErr));
  EXPECT_FALSE(log_enabled(kLogCrt));
  srlog_close();
  OpenWith("level = all\noutput = 0\n");
  EXPECT_FALSE(log_enabled(kLogErr));
  log_error("nothing");
  EXPECT_EQ(Text(), "");
}

TEST_F(Entries, MacrosDoNotEvaluateTheArgumentsOfADisabledLine) {
  int evaluated = 0;
  WVAD_LOG_ERROR("%d", ++evaluated);
  OpenWith("level = 2\nstyle = 16\n");
  WVAD_LOG_INFO("%d", ++evaluated);
  WVAD_LOG_CRIT("%d", ++evaluated);
  WVAD_LOG_WARN("%d", ++evaluated);
  WVAD_LOG_VERBOSE("%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  WVAD_LOG_ERROR("%d", ++evaluated);
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(Text(), "1\n");
}

TEST_F(Entries, CommonLinesNameTheCodeAndReturnIt) {
  OpenWith("style = 20\n");
  EXPECT_EQ(LogErrorLine("WVAD_ERROR_NOT_INIT", 14002), 14002);
  EXPECT_EQ(LogWarnLine("WVAD_ERROR_RESOURCE_TYPE", 14007), 14007);
  EXPECT_EQ(Text(),
            "[ERR] Error! The error string is -> WVAD_ERROR_NOT_INIT = 14002\n"
            "[WAN] Warning! The warn string is -> WVAD_ERROR_RESOURCE_TYPE = 14007\n");
}

TEST_F(Entries, FailureReportIsTwoLinesAndTheCode) {
  OpenWith("style = 16\n");
  const int code = WVAD_FAIL(14011, "WVAD_ERROR_NULL_HANDLE", "%s | %s handle is NULL. %s = %d", "wVadStop", "wVadInst",
                             "WVAD_ERROR_NULL_HANDLE", 14011);
  EXPECT_EQ(code, 14011);
  EXPECT_EQ(Text(),
            "wVadStop | wVadInst handle is NULL. WVAD_ERROR_NULL_HANDLE = 14011\n"
            "Error! The error string is -> WVAD_ERROR_NULL_HANDLE = 14011\n");
  srlog_close();
  EXPECT_EQ(WVAD_FAIL(7, "X", "unseen %d", 1), 7);
}

TEST_F(Entries, LongTextIsCut) {
  OpenWith("style = 256\n");
  log_error("%s", std::string(100000, 'x').c_str());
  EXPECT_EQ(Text(), std::string(65535, 'x'));
}

TEST_F(Entries, FailureLevelsAreFlushedTheOthersNot) {
  RecordingDevice device;
  const LogParts parts{&device, nullptr};
  Log_Cfg_T cfg(file.c_str(), "T", 0);
  cfg.nLevel = 0xFFFFFFFFu;
  cfg.bHead = false;
  ASSERT_EQ(srlog_open_with(cfg, &parts), 0);
  log_info("x");
  log_verbose("x");
  log_perf("x");
  log_trace("x");
  EXPECT_EQ(device.flushes, 0);
  log_crit("x");
  log_error("x");
  log_warn("x");
  EXPECT_EQ(device.flushes, 3);
  EXPECT_EQ(device.narrow.size(), 7u);
}

TEST_F(Entries, EntryOfALevelThatIsOffWritesNothing) {
  OpenWith("level = 2\n");
  log_info("%s", "x");
  EXPECT_EQ(Text(), "");
}

}  // namespace
}  // namespace TSEG
