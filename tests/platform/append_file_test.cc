// SPDX-License-Identifier: Apache-2.0
//
// AppendFile: always at the end, always at once, and never a signal.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

using platform::AppendFile;
using testing_support::TempFolder;

TEST(AppendFile, AppendsToWhatStandsThere) {
  const TempFolder folder;
  folder.write("log", "old\n");
  AppendFile file;
  ASSERT_EQ(file.Open(folder.file("log"), false), 0);
  EXPECT_EQ(file.Size(), 4u);
  EXPECT_EQ(file.LastByte(), '\n');
  EXPECT_EQ(file.Write("new", 3), 0);
  EXPECT_EQ(folder.read("log"), "old\nnew");  // before anything is flushed or closed
  EXPECT_EQ(file.Size(), 7u);
  EXPECT_EQ(file.LastByte(), 'w');
}

TEST(AppendFile, OpenedToTruncateStartsEmpty) {
  const TempFolder folder;
  folder.write("log", "old");
  AppendFile file;
  ASSERT_EQ(file.Open(folder.file("log"), true), 0);
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(file.LastByte(), -1);
}

TEST(AppendFile, WritesBehindWhatAnotherWriterHasAdded) {
  const TempFolder folder;
  AppendFile first;
  AppendFile second;
  ASSERT_EQ(first.Open(folder.file("log"), false), 0);
  ASSERT_EQ(second.Open(folder.file("log"), true), 0);
  first.Write("a", 1);
  second.Write("b", 1);
  first.Write("c", 1);
  EXPECT_EQ(folder.read("log"), "abc");
  EXPECT_EQ(second.Truncate(), 0);
  first.Write("d", 1);
  EXPECT_EQ(folder.read("log"), "d");
}

TEST(AppendFile, WithoutAFileNothingHappens) {
  AppendFile file;
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.Write("x", 1), EBADF);
  EXPECT_EQ(file.Truncate(), EBADF);
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(file.LastByte(), -1);
  EXPECT_EQ(file.Open("/proc/no/such/folder/log", false), ENOENT);
  EXPECT_FALSE(file.is_open());
}

TEST(AppendFile, FullDeviceGivesAnError) {
  AppendFile file;
  ASSERT_EQ(file.Open("/dev/full", false), 0);
  EXPECT_EQ(file.Write("x", 1), ENOSPC);
  EXPECT_TRUE(file.is_open());
}

TEST(AppendFile, SizeLimitGivesAnErrorAndNoSignal) {
  const TempFolder folder;
  EXPECT_EXIT(
      {
        testing_support::LimitFileSize(10);
        AppendFile file;
        file.Open(folder.file("log"), false);
        const std::string text(20, 'x');
        const int error = file.Write(text.data(), text.size());
        ::_exit(error == EFBIG && file.Size() == 10 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(AppendFile, PipeNobodyReadsNeverWaits) {
  const TempFolder folder;
  ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
  AppendFile file;
  ASSERT_EQ(file.Open(folder.file("pipe"), false), 0);
  const std::string text(1 << 20, 'x');
  EXPECT_EQ(file.Write(text.data(), text.size()), EAGAIN);
}

TEST(AppendFile, LeavesTheSignalMaskAsItWas) {
  const TempFolder folder;
  AppendFile file;
  ASSERT_EQ(file.Open(folder.file("log"), false), 0);
  file.Write("x", 1);
  sigset_t mask;
  sigemptyset(&mask);
  ASSERT_EQ(pthread_sigmask(SIG_BLOCK, nullptr, &mask), 0);
  EXPECT_EQ(sigismember(&mask, SIGPIPE), 0);
  EXPECT_EQ(sigismember(&mask, SIGXFSZ), 0);
}

}  // namespace
}  // namespace TSEG
