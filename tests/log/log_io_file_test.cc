// SPDX-License-Identifier: Apache-2.0
//
// The file device on its own.
#include "log/log_io_file.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "support/temp_folder.h"

namespace TSEG {
namespace {

class LogIoFile : public ::testing::Test {
 protected:
  testing_support::TempFolder folder_;
  std::string path_ = folder_.file("w.log");
  Log_IO_FILE device_;
};

TEST_F(LogIoFile, WritesBytesNarrowAndWideTextBehindEachOther) {
  ASSERT_EQ(device_.open(path_.c_str(), "a+t", 0666, 0), 0);
  EXPECT_EQ(device_.write("a\0b", 3), 0);
  EXPECT_EQ(device_.write_s("cd"), 0);
  EXPECT_EQ(device_.write_w(L"ef"), 0);
  EXPECT_EQ(device_.flush(), 0);
  EXPECT_EQ(device_.size(), 7u);
  EXPECT_EQ(folder_.read("w.log"), std::string("a\0bcdef", 7));
}

TEST_F(LogIoFile, TruncateEmptiesAndWritingGoesOn) {
  ASSERT_EQ(device_.open(path_.c_str(), "wb", 0666, 0), 0);
  device_.write_s("old");
  EXPECT_EQ(device_.truncate(), 0);
  EXPECT_EQ(device_.size(), 0u);
  device_.write_s("new");
  EXPECT_EQ(folder_.read("w.log"), "new");
}

TEST_F(LogIoFile, BackupMovesTheContent) {
  ASSERT_EQ(device_.open(path_.c_str(), "a+t", 0666, 0), 0);
  device_.write_s("first\n");
  folder_.write("backup.log", "what was there before, and longer");
  EXPECT_EQ(device_.backup(folder_.file("backup.log").c_str()), 0);
  EXPECT_EQ(device_.size(), 0u);
  device_.write_s("second\n");
  EXPECT_EQ(folder_.read("backup.log"), "first\n");
  EXPECT_EQ(folder_.read("w.log"), "second\n");
}

TEST_F(LogIoFile, BackupOntoItsOwnNameOnlyEmpties) {
  ASSERT_EQ(device_.open(path_.c_str(), "a+t", 0666, 0), 0);
  device_.write_s("first\n");
  EXPECT_EQ(device_.backup(path_.c_str()), 0);
  EXPECT_EQ(folder_.read("w.log"), "");
}

TEST_F(LogIoFile, BackupThatCannotCopyLeavesAll) {
  ASSERT_EQ(device_.open(path_.c_str(), "a+t", 0666, 0), 0);
  device_.write_s("first\n");
  std::filesystem::create_directory(folder_.file("backup.log"));
  EXPECT_EQ(device_.backup(folder_.file("backup.log").c_str()), EIO);
  EXPECT_EQ(device_.last_error(), EIO);
  EXPECT_EQ(folder_.read("w.log"), "first\n");
}

TEST_F(LogIoFile, WithoutAStreamNothingHasAnEffect) {
  EXPECT_EQ(device_.open(folder_.path().c_str(), "a+t", 0666, 0), EISDIR);
  EXPECT_EQ(device_.last_error(), EISDIR);
  EXPECT_EQ(device_.write("x", 1), EBADF);
  EXPECT_EQ(device_.write_s("x"), EBADF);
  EXPECT_EQ(device_.write_w(L"x"), EBADF);
  EXPECT_EQ(device_.truncate(), EBADF);
  EXPECT_EQ(device_.size(), 0u);
  device_.close();
}

TEST_F(LogIoFile, KeepsItsTwoAttributes) {
  device_.open(path_.c_str(), "wt", 0666, 3);
  EXPECT_EQ(device_.share(), 3);
  device_.set_share(1);
  EXPECT_EQ(device_.share(), 1);
  device_.set_last_error(42);
  EXPECT_EQ(device_.last_error(), 42);
}

}  // namespace
}  // namespace TSEG
