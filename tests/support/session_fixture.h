// SPDX-License-Identifier: Apache-2.0
//
// SessionTest: a test that runs in a folder of its own as the current one, with a log that it can read.
#ifndef WVAD_TESTS_SUPPORT_SESSION_FIXTURE_H_
#define WVAD_TESTS_SUPPORT_SESSION_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "log/log.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class SessionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
  }
  void TearDown() override {
    srlog_close();
    std::filesystem::current_path(previous_);
  }

  // Opens the log for the level bits `level` alone; the text of each message is a line.
  void OpenLog(uint32_t level) {
    logs_.write("test.cfu",
                "[logger]\nfile=" + logs_.file("test.log") + "\nlevel=" + std::to_string(level) + "\nstyle=16\nflush=1\nhead=0\n");
    ASSERT_EQ(srlog_open(logs_.file("test.cfu").c_str(), "logger", {"test.log", "Test"}), 0);
  }
  std::string Log() const { return logs_.read("test.log"); }

  TempFolder folder_;  // the current folder of the test

 private:
  TempFolder logs_;
  std::filesystem::path previous_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_TESTS_SUPPORT_SESSION_FIXTURE_H_
