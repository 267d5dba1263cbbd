// SPDX-License-Identifier: Apache-2.0
//
// FolderTest: a test that runs in a folder of its own as the current one, with a log that it can read.
#ifndef WVAD_SUPPORT_FOLDER_FIXTURE_H_
#define WVAD_SUPPORT_FOLDER_FIXTURE_H_

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "support/log_capture.h"
#include "support/temp_folder.h"

namespace TSEG::testing_support {

class FolderTest : public ::testing::Test {
 protected:
  void SetUp() override {
    previous_ = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
  }
  void TearDown() override {
    log_capture_.reset();
    std::filesystem::current_path(previous_);
  }

  // Opens the log for the level bits `levels` alone.
  void OpenLog(uint32_t levels) {
    log_capture_.emplace(levels);
    ASSERT_TRUE(log_capture_->opened());
  }
  // What it holds; empty before it is open.
  std::string Log() const { return log_capture_ ? log_capture_->Text() : ""; }

  TempFolder folder_;  // the current folder of the test

 private:
  std::optional<LogCapture> log_capture_;
  std::filesystem::path previous_;
};

}  // namespace TSEG::testing_support

#endif  // WVAD_SUPPORT_FOLDER_FIXTURE_H_
