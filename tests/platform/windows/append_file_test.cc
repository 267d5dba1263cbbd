// SPDX-License-Identifier: Apache-2.0
//
// AppendFile: always at the end, always at once, never waiting.
#include <gtest/gtest.h>
#include <windows.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "platform/platform.h"
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

TEST(AppendFile, OthersMayRemoveIt) {
  const TempFolder folder;
  AppendFile file;
  ASSERT_EQ(file.Open(folder.file("log"), false), 0);
  EXPECT_TRUE(platform::RemoveFile(folder.file("log")));
  EXPECT_EQ(file.Write("x", 1), 0);
}

TEST(AppendFile, WithoutAFileNothingHappens) {
  const TempFolder folder;
  AppendFile file;
  EXPECT_FALSE(file.is_open());
  EXPECT_EQ(file.Write("x", 1), EBADF);
  EXPECT_EQ(file.Truncate(), EBADF);
  EXPECT_EQ(file.Size(), 0u);
  EXPECT_EQ(file.LastByte(), -1);
  EXPECT_EQ(file.Open(folder.file("no/such/folder/log"), false), ENOENT);
  EXPECT_EQ(file.Open(folder.path(), false), EACCES);
  EXPECT_FALSE(file.is_open());
}

TEST(AppendFile, PipeNobodyReadsNeverWaits) {
  const std::string name = R"(\\.\pipe\wvad-append-test-)" + std::to_string(platform::ProcessId());
  const HANDLE pipe = ::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  AppendFile file;
  ASSERT_EQ(file.Open(name, false), 0);
  const std::string text(1 << 20, 'x');
  EXPECT_EQ(file.Write(text.data(), text.size()), EAGAIN);
  ::CloseHandle(pipe);
}

}  // namespace
}  // namespace TSEG
