// SPDX-License-Identifier: Apache-2.0
//
// The life of the one logger of the process: first open wins, first close ends.
#include "log/process_logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "log/log.h"
#include "platform/platform.h"
#include "support/environment.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using ::testing::HasSubstr;

class ProcessLogger : public ::testing::Test {
 protected:
  ~ProcessLogger() override { srlog_close(); }
  int OpenWith(const std::string& text) {
    const std::string cfg = folder.write("x.cfu", "[logger]\n" + text);
    return srlog_open(cfg.c_str(), "logger", {file.c_str(), "Test Logging"});
  }
  testing_support::TempFolder folder;
  std::string file = folder.file("log/w.log");
};

TEST_F(ProcessLogger, ClosedLoggerMakesEveryCallANoOp) {
  EXPECT_FALSE(srlog_exists());
  EXPECT_FALSE(log_enabled(0xFFFFFFFFu));
  log_error("nobody %s", "sees");
  log_trace("this");
  LogErrorLine("X", 1);
  srlog_close();
  EXPECT_EQ(CurrentLogger(), nullptr);
}

TEST_F(ProcessLogger, OpensOnceAndStaysAsItIs) {
  EXPECT_EQ(OpenWith("level = 15\n"), 0);
  EXPECT_TRUE(srlog_exists());
  const std::string other = folder.file("other.log");
  EXPECT_EQ(srlog_open(nullptr, "logger", {other.c_str(), "Other"}), -1);
  EXPECT_EQ(CurrentLogger()->cfg().file(), file);
  EXPECT_EQ(CurrentLogger()->cfg().level(), 15u);
  EXPECT_FALSE(std::filesystem::exists(other));
}

TEST_F(ProcessLogger, FirstCloseEndsItForEverybody) {
  OpenWith("");
  OpenWith("");  // a second engine finds it there
  srlog_close();
  EXPECT_FALSE(srlog_exists());
  srlog_close();
  EXPECT_FALSE(srlog_exists());
  EXPECT_THAT(folder.read("log/w.log"), HasSubstr("\tTest Logging End-Time: "));
}

TEST_F(ProcessLogger, CanBeOpenedAgain) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(OpenWith("head = 0\nstyle = 16\n"), 0);
    log_error("round %d", i);
    srlog_close();
  }
  EXPECT_EQ(folder.read("log/w.log"), "round 0\nround 1\nround 2\n");
}

TEST_F(ProcessLogger, WithoutConfigurationTheDefaultsStand) {
  const std::string missing = folder.file("none.cfu");
  EXPECT_EQ(srlog_open(missing.c_str(), "logger", {file.c_str(), "Test Logging"}), 0);
  EXPECT_TRUE(log_enabled(kLogCrt));
  EXPECT_TRUE(log_enabled(kLogErr));
  EXPECT_TRUE(log_enabled(kLogWan));
  EXPECT_FALSE(log_enabled(kLogInf));
  EXPECT_FALSE(log_enabled(kLogPrf | kLogTrc));
  srlog_close();
  EXPECT_EQ(srlog_open(nullptr, nullptr, {file.c_str(), "Test Logging"}), 0);
  EXPECT_EQ(CurrentLogger()->cfg().level(), 7u);
}

TEST_F(ProcessLogger, RelativeLogPathIsTakenFromTheModulesFolder) {
  const std::string relative = std::filesystem::relative(folder.path(), platform::ModuleFolder()).string() + "\\log/w.log";
  EXPECT_EQ(srlog_open(nullptr, "logger", {relative.c_str(), "Test Logging"}), 0);
  log_error("here");
  EXPECT_THAT(folder.read("log/w.log"), HasSubstr("] here\n"));
}

TEST_F(ProcessLogger, ThreadsThatOpenAtOnceMakeOneLogger) {
  std::atomic<int> opened{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      if (srlog_open(nullptr, "logger", {file.c_str(), "Test Logging"}) == 0) ++opened;
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(opened, 1);
}

TEST_F(ProcessLogger, UnusableTemporaryFolderDoesNotStopIt) {
  const testing_support::ScopedVariable temporary("TMPDIR", "/proc/no/such/folder");
  EXPECT_EQ(OpenWith("head = 0\nstyle = 16\n"), 0);
  log_error("x");
  srlog_close();
  EXPECT_EQ(folder.read("log/w.log"), "x\n");
}

}  // namespace
}  // namespace TSEG
