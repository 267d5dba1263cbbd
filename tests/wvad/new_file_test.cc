// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

const OutputRules kKeep(false, {});
const OutputRules kReplace(true, {});

size_t Count(const std::string& folder) {
  size_t count = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder)) ++count;
  return count;
}

TEST(NewFile, AppearsWhenItIsPublished) {
  const testing_support::TempFolder folder;
  NewFile file(folder.file("a"), kKeep);
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
    NewFile file(folder.file("a"), kReplace);
    file.Write("new");
  }
  EXPECT_EQ(folder.read("a"), "old");
  EXPECT_EQ(Count(folder.path()), 1U);
}

TEST(NewFile, ReplacesOnlyWhereItMay) {
  const testing_support::TempFolder folder;
  folder.write("a", "old");
  EXPECT_THROW(WriteNewFile(folder.file("a"), kKeep, "new"), Failure);
  EXPECT_EQ(folder.read("a"), "old");
  WriteNewFile(folder.file("a"), kReplace, "new");
  EXPECT_EQ(folder.read("a"), "new");
}

TEST(NewFile, OneThatAppearedMeanwhileIsNotReplaced) {
  const testing_support::TempFolder folder;
  NewFile file(folder.file("a"), kKeep);
  file.Write("new");
  folder.write("a", "theirs");
  EXPECT_THROW(file.Publish(), Failure);
  EXPECT_EQ(folder.read("a"), "theirs");
  EXPECT_EQ(Count(folder.path()), 1U);
}

TEST(NewFile, RefusesWhatIsNoOrdinaryFile) {
  const testing_support::TempFolder folder;
  EXPECT_THROW(NewFile(folder.path(), kReplace), Failure);
  EXPECT_THROW(NewFile("/dev/null", kReplace), Failure);
  EXPECT_THROW(NewFile(folder.file("no/a"), kReplace), Failure);
}

TEST(NewFile, LinkStaysAndItsTargetIsReplaced) {
  const testing_support::TempFolder folder;
  folder.write("far/target", "old");
  std::filesystem::create_symlink("far/target", folder.file("link"));
  EXPECT_THROW(WriteNewFile(folder.file("link"), kKeep, "new"), Failure);
  WriteNewFile(folder.file("link"), kReplace, "new");
  EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
  EXPECT_EQ(folder.read("far/target"), "new");
  std::filesystem::create_symlink("far/none", folder.file("dangling"));
  EXPECT_THROW(WriteNewFile(folder.file("dangling"), kKeep, "new"), Failure);
  WriteNewFile(folder.file("dangling"), kReplace, "new");
  EXPECT_EQ(folder.read("far/none"), "new");
  EXPECT_EQ(Count(folder.file("far")), 2U);
}

TEST(NewFile, TakesThePermissionsOfWhatItReplaces) {
  const testing_support::TempFolder folder;
  std::filesystem::permissions(folder.write("a", "old"), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
  WriteNewFile(folder.file("a"), kReplace, "new");
  EXPECT_EQ(std::filesystem::status(folder.file("a")).permissions(),
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST(NewFile, LeftoverOfAKilledRunIsUsedAgain) {
  const testing_support::TempFolder folder;
  const pid_t child = fork();
  if (child == 0) {
    NewFile file(folder.file("a"), kKeep);
    file.Write("half of what was to be written, and longer");
    kill(getpid(), SIGKILL);
  }
  waitpid(child, nullptr, 0);
  ASSERT_EQ(folder.read("a.wvad-part"), "half of what was to be written, and longer");
  WriteNewFile(folder.file("a"), kKeep, "new");
  EXPECT_EQ(folder.read("a"), "new");
  EXPECT_EQ(Count(folder.path()), 1U);
  EXPECT_EQ(std::filesystem::status(folder.file("a")).permissions() & std::filesystem::perms::sticky_bit, std::filesystem::perms::none);
}

TEST(NewFile, FileOfSomebodyWithThePartsNameIsLeftAlone) {
  const testing_support::TempFolder folder;
  for (const char* content : {"a recording", ""}) {
    folder.write("a.wvad-part", content);
    EXPECT_THROW(NewFile(folder.file("a"), kReplace), Failure);
    EXPECT_EQ(folder.read("a.wvad-part"), content);
  }
}

TEST(NewFile, TwoRunsDoNotWriteOneFile) {
  const testing_support::TempFolder folder;
  NewFile first(folder.file("a"), kReplace);
  first.Write("first");
  EXPECT_THROW(NewFile(folder.file("a"), kReplace), Failure);
  first.Publish();
  EXPECT_EQ(folder.read("a"), "first");
  WriteNewFile(folder.file("a"), kReplace, "second");
  EXPECT_EQ(folder.read("a"), "second");
}

TEST(NewFile, PartThatIsNoFileOfOursIsLeftAlone) {
  const testing_support::TempFolder folder;
  const std::string mine = folder.write("mine", "mine");
  std::filesystem::create_hard_link(mine, folder.file("a.wvad-part"));
  EXPECT_THROW(NewFile(folder.file("a"), kKeep), Failure);
  std::filesystem::create_symlink(mine, folder.file("b.wvad-part"));
  EXPECT_THROW(NewFile(folder.file("b"), kKeep), Failure);
  EXPECT_EQ(folder.read("mine"), "mine");
}

}  // namespace
}  // namespace TSEG::tool
