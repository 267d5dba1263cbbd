// SPDX-License-Identifier: Apache-2.0
//
// Lines on standard error that never hold up the caller.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <string>

#include "platform/platform.h"

namespace TSEG {
namespace {

TEST(Output, DebuggerLineIsOneLineOnStandardError) {
  ::testing::internal::CaptureStderr();
  platform::WriteDebugger("with newline\n");
  platform::WriteDebugger("without");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "with newline\nwithout\n");
}

TEST(Output, MessageNamesItsCaptionAndKind) {
  ::testing::internal::CaptureStderr();
  platform::ShowMessage("Logger", "it failed\n", true);
  platform::ShowMessage("Logger", "it went on", false);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Logger [error]: it failed\nLogger [information]: it went on\n");
}

// Runs `write` in a process of its own whose standard error is the write end of a pipe.
template <typename Setup>
void WithPipeAsStandardError(Setup setup, int wanted_exit) {
  EXPECT_EXIT(
      {
        int ends[2];
        if (::pipe(ends) != 0) ::_exit(99);
        ::dup2(ends[1], STDERR_FILENO);
        setup(ends[0]);
        ::_exit(0);
      },
      ::testing::ExitedWithCode(wanted_exit), "");
}

TEST(Output, FullPipeDropsTheLine) {
  WithPipeAsStandardError(
      [](int) {
        for (int i = 0; i < 1000; ++i) platform::WriteDebugger(std::string(1000, 'x'));
      },
      0);
}

TEST(Output, ReaderThatWentAwayRaisesNoSignal) {
  WithPipeAsStandardError(
      [](int read_end) {
        ::close(read_end);
        platform::WriteDebugger("nobody reads this");
      },
      0);
}

}  // namespace
}  // namespace TSEG
