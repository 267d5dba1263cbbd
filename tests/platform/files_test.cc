// SPDX-License-Identifier: Apache-2.0
//
// Files and paths: kinds, reading, making, copying, listing.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "support/file_size_limit.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;
using platform::PathKind;
using testing_support::TempFolder;

TEST(Files, KindFollowsLinks) {
  const TempFolder folder;
  folder.write("file", "x");
  fs::create_symlink(folder.path(), folder.file("to_folder"));
  fs::create_symlink(folder.file("nowhere"), folder.file("dangling"));
  EXPECT_EQ(platform::KindOfPath(folder.path()), PathKind::kDirectory);
  EXPECT_EQ(platform::KindOfPath(folder.file("to_folder")), PathKind::kDirectory);
  EXPECT_EQ(platform::KindOfPath(folder.file("file")), PathKind::kFile);
  EXPECT_EQ(platform::KindOfPath("/dev/null"), PathKind::kFile);
  EXPECT_EQ(platform::KindOfPath(folder.file("dangling")), PathKind::kMissing);
  EXPECT_EQ(platform::KindOfPath(folder.file("file/below")), PathKind::kMissing);
  EXPECT_EQ(platform::KindOfPath(""), PathKind::kMissing);
}

TEST(Files, ReadsWholeFilesOfAnyBytes) {
  const TempFolder folder;
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>(i * 7);
  folder.write("bytes", bytes);
  folder.write("empty", "");
  EXPECT_EQ(platform::ReadWholeFile(folder.file("bytes")), bytes);
  EXPECT_EQ(platform::ReadWholeFile(folder.file("empty")), "");
  EXPECT_EQ(platform::ReadWholeFile(folder.file("missing")), std::nullopt);
  EXPECT_EQ(platform::ReadWholeFile(folder.path()), std::nullopt);
}

TEST(Files, ReadingNeverWaitsForAPipeNorReadsADeviceToItsEnd) {
  const TempFolder folder;
  ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
  EXPECT_EQ(platform::ReadWholeFile(folder.file("pipe")), "");
  EXPECT_EQ(platform::ReadWholeFile("/dev/zero"), std::string(1 << 20, '\0'));
}

TEST(Files, TellsSizeReadabilityAndTime) {
  const TempFolder folder;
  folder.write("file", "12345");
  EXPECT_EQ(platform::FileSize(folder.file("file")), 5u);
  EXPECT_EQ(platform::FileSize(folder.file("missing")), std::nullopt);
  EXPECT_TRUE(platform::IsReadable(folder.file("file")));
  EXPECT_FALSE(platform::IsReadable(folder.file("missing")));
  EXPECT_FALSE(platform::IsReadable(folder.path()));

  const timespec times[2] = {{1462365005, 0}, {1462365005, 250000000}};
  ASSERT_EQ(::utimensat(AT_FDCWD, folder.file("file").c_str(), times, 0), 0);
  EXPECT_EQ(platform::ModificationTime(folder.file("file")), 1462365005250000000);
  EXPECT_EQ(platform::ModificationTime(folder.file("missing")), 0);
}

TEST(Files, MakesEachMissingFolder) {
  const TempFolder folder;
  EXPECT_TRUE(platform::MakeFolders(folder.file("a/b/c")));
  EXPECT_TRUE(fs::is_directory(folder.file("a/b/c")));
  EXPECT_TRUE(platform::MakeFolders(folder.file("a/b/c")));
  EXPECT_TRUE(platform::MakeFolders(folder.file("a//d/")));
  EXPECT_TRUE(fs::is_directory(folder.file("a/d")));
  EXPECT_TRUE(platform::MakeFolders("/"));
}

TEST(Files, CannotMakeAFolderBelowAFile) {
  const TempFolder folder;
  folder.write("file", "x");
  EXPECT_FALSE(platform::MakeFolders(folder.file("file")));
  EXPECT_FALSE(platform::MakeFolders(folder.file("file/below")));
}

TEST(Files, CopyReplacesTheTarget) {
  const TempFolder folder;
  folder.write("from", "new");
  folder.write("to", "something older and longer");
  EXPECT_TRUE(platform::CopyFileOver(folder.file("from"), folder.file("to")));
  EXPECT_EQ(folder.read("to"), "new");
  EXPECT_FALSE(platform::CopyFileOver(folder.file("missing"), folder.file("to")));
  EXPECT_EQ(folder.read("to"), "new");
  EXPECT_FALSE(platform::CopyFileOver(folder.file("from"), folder.path()));
}

TEST(Files, CopyOntoItselfKeepsTheFile) {
  const TempFolder folder;
  folder.write("file", "kept");
  fs::create_hard_link(folder.file("file"), folder.file("twin"));
  EXPECT_FALSE(platform::CopyFileOver(folder.file("file"), folder.file("file")));
  EXPECT_FALSE(platform::CopyFileOver(folder.file("file"), folder.file("twin")));
  EXPECT_EQ(folder.read("file"), "kept");
}

TEST(Files, CopyThatHitsALimitLeavesNoHalfFile) {
  const TempFolder folder;
  folder.write("from", std::string(300000, 'x'));
  EXPECT_EXIT(
      {
        testing_support::LimitFileSize(100000);
        const bool copied = platform::CopyFileOver(folder.file("from"), folder.file("to"));
        ::_exit(copied ? 1 : (fs::exists(folder.file("to")) ? 2 : 0));
      },
      ::testing::ExitedWithCode(0), "");
}

TEST(Files, ListsPlainFilesByName) {
  const TempFolder folder;
  folder.write("one.log", "");
  folder.write("two", "");
  folder.write("below/three", "");
  EXPECT_THAT(platform::ListFiles(folder.path()), ::testing::UnorderedElementsAre("one.log", "two"));
  EXPECT_THAT(platform::ListFiles(folder.path() + "/"), ::testing::UnorderedElementsAre("one.log", "two"));
  EXPECT_TRUE(platform::ListFiles(folder.file("missing")).empty());
}

TEST(Files, RemovesFiles) {
  const TempFolder folder;
  folder.write("file", "x");
  EXPECT_TRUE(platform::RemoveFile(folder.file("file")));
  EXPECT_FALSE(fs::exists(folder.file("file")));
  EXPECT_FALSE(platform::RemoveFile(folder.file("file")));
}

TEST(Files, LinkIsListedAsWhatItLeadsToAndRemovedByItself) {
  const TempFolder folder;
  folder.write("kept/target", "x");
  fs::create_symlink(folder.file("kept/target"), folder.file("link"));
  fs::create_symlink(folder.file("nowhere"), folder.file("dangling"));
  fs::create_directory_symlink(folder.file("kept"), folder.file("folder"));
  EXPECT_THAT(platform::ListFiles(folder.path()), ::testing::ElementsAre("link"));
  EXPECT_TRUE(platform::RemoveFile(folder.file("link")));
  EXPECT_EQ(folder.read("kept/target"), "x");
  EXPECT_TRUE(platform::RemoveFile(folder.file("dangling")));
}

TEST(Files, UnderstandsBothSeparators) {
  EXPECT_EQ(platform::NormaliseSeparators("..\\log/a\\b"), "../log/a/b");
  EXPECT_TRUE(platform::IsAbsolutePath("/a"));
  EXPECT_FALSE(platform::IsAbsolutePath("a/b"));
  EXPECT_FALSE(platform::IsAbsolutePath(""));
}

}  // namespace
}  // namespace TSEG
