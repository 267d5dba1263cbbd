// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

size_t Count(const std::string& folder) {
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

TEST(NewFile, AppearsWhenItIsPublished) {
  const testing_support::TempFolder folder;
  NewFile file(folder.file("a"), false);
  file.Write("0123456789");
  file.WriteAt(2, "xy");
  EXPECT_FALSE(std::filesystem::exists(folder.file("a")));
  file.Publish();
  EXPECT_EQ(folder.read("a"), "01xy456789");
  EXPECT_EQ(Count(folder.path()), 1U);
  struct stat found {};
  ASSERT_EQ(stat(folder.file("a").c_str(), &found), 0);
  const mode_t mask = umask(0);
  umask(mask);
  EXPECT_EQ(found.st_mode & 0777U, 0666U & ~mask);
}

TEST(NewFile, GoesAwayUnpublished) {
  const testing_support::TempFolder folder;
  folder.write("a", "old");
  {
    NewFile file(folder.file("a"), true);
    file.Write("new");
  }
  EXPECT_EQ(folder.read("a"), "old");
  EXPECT_EQ(Count(folder.path()), 1U);
}

TEST(NewFile, ReplacesOnlyWhereItMay) {
  const testing_support::TempFolder folder;
  folder.write("a", "old");
  EXPECT_THROW(WriteNewFile(folder.file("a"), false, "new"), Failure);
  EXPECT_EQ(folder.read("a"), "old");
  WriteNewFile(folder.file("a"), true, "new");
  EXPECT_EQ(folder.read("a"), "new");
}

TEST(NewFile, OneThatAppearedMeanwhileIsNotReplaced) {
  const testing_support::TempFolder folder;
  NewFile file(folder.file("a"), false);
  file.Write("new");
  folder.write("a", "theirs");
  EXPECT_THROW(file.Publish(), Failure);
  EXPECT_EQ(folder.read("a"), "theirs");
  EXPECT_EQ(Count(folder.path()), 1U);
}

TEST(NewFile, RefusesWhatIsNoOrdinaryFile) {
  const testing_support::TempFolder folder;
  EXPECT_THROW(NewFile(folder.path(), true), Failure);
  EXPECT_THROW(NewFile("/dev/null", true), Failure);
  EXPECT_THROW(NewFile(folder.file("no/a"), false), Failure);
  EXPECT_TRUE(IsSpecialFile("/dev/null"));
  EXPECT_FALSE(IsSpecialFile(folder.path()));
  EXPECT_FALSE(IsSpecialFile(folder.write("a", "")));
  EXPECT_FALSE(IsSpecialFile(folder.file("none")));
}

}  // namespace
}  // namespace TSEG::tool
