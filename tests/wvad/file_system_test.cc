// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/file_list.h"
#include "wvad/recording_name.h"

namespace TSEG::tool {
namespace {

using ::testing::ElementsAre;

// A name in Latin-1, which is no UTF-8.
constexpr const char* kOldName = "\374bung.wav";

TEST(FileSystem, NamesKeepTheirBytesThroughPathsWhetherOrNotTheyAreUtf8) {
  EXPECT_EQ(NameOf(PathOf(kOldName)), kOldName);
  EXPECT_EQ(NameOf(PathOf("a/\xE6\x97\xA5.wav").filename()), "\xE6\x97\xA5.wav");
  EXPECT_EQ(PathOf(kOldName).native(), kOldName);
}

TEST(FileSystem, FoldersAreWalkedAndNamesShortenedInBytes) {
  const testing_support::TempFolder folder;
  const std::string file = folder.write(kOldName, "1");
  EXPECT_EQ(LookAt(file).kind, FileKind::kFile);
  FileListOptions options;
  options.names = {folder.path()};
  EXPECT_THAT(ListFiles(options).files, ElementsAre(folder.path() + "/" + kOldName));
  EXPECT_EQ(RecordingId(file), "\374bung");
}

TEST(FileSystem, WhatWasWrittenLaterIsNewer) {
  const testing_support::TempFolder folder;
  const std::string first = folder.write("a", "");
  const std::string second = folder.write("b", "");
  const auto time = std::filesystem::last_write_time(first);
  std::filesystem::last_write_time(second, time + std::chrono::microseconds(1));
  EXPECT_TRUE(IsNewer(second, first));
  EXPECT_FALSE(IsNewer(first, second));
  EXPECT_FALSE(IsNewer(first, first));
  EXPECT_FALSE(IsNewer(second, folder.file("none")));
  EXPECT_FALSE(IsNewer(second, folder.path()));
}

}  // namespace
}  // namespace TSEG::tool
