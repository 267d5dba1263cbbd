// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace {

// What the next calls of fsync do beside counting.
std::function<int(int descriptor)> g_fsync;
int g_fsync_calls = 0;

// Of a file as it gets its name.
mode_t g_mode_at_rename = 0;

}  // namespace

// Stands in for the system's, which shows nothing of what it has done.
extern "C" int fsync(int descriptor) {
  ++g_fsync_calls;
  return g_fsync ? g_fsync(descriptor) : 0;
}
extern "C" int renameat2(int from_folder, const char* from, int to_folder, const char* to, unsigned flags) noexcept {
  struct stat there {};
  g_mode_at_rename = stat(from, &there) == 0 ? there.st_mode : 0;
  return static_cast<int>(syscall(SYS_renameat2, from_folder, from, to_folder, to, flags));
}

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

TEST(NewFile, NameMayBeAsLongAsTheSystemTakesIt) {
  const testing_support::TempFolder folder;
  for (const size_t length : {245U, 246U, 255U}) {
    SCOPED_TRACE(length);
    const std::string name = std::string(length - 1, 'a') + "b";
    NewFile file(folder.file(name), kKeep);
    // Another name that begins like it has a part of its own.
    NewFile other(folder.file(std::string(length - 1, 'a') + "c"), kKeep);
    EXPECT_EQ(Count(folder.path()), 2U);
    file.Write("text");
    file.Publish();
    EXPECT_EQ(folder.read(name), "text");
    std::filesystem::remove(folder.file(name));
  }
  EXPECT_EQ(Count(folder.path()), 0U);
}

TEST(NewFile, PartOfALongNameIsCutBetweenLetters) {
  std::string name = "/folder/";
  for (int i = 0; i < 125; ++i) name += "\xc3\xa4";  // 250 bytes
  const std::string part = NameOfPart(name);
  // 255 less the ending's 10 and the checksum's 17 are 228, which is 114 letters.
  EXPECT_EQ(part.substr(0, 8 + 228), name.substr(0, 8 + 228));
  EXPECT_EQ(part.size(), 8U + 255);
  EXPECT_EQ(part[8 + 228], '~');
  EXPECT_EQ(NameOfPart("/folder/" + std::string(1, 'a') + name.substr(8)).substr(8 + 227, 1), "~");
  EXPECT_EQ(NameOfPart(name), part);
  EXPECT_EQ(NameOfPart("/folder/a"), "/folder/a.wvad-part");
}

TEST(NewFile, ItsBytesAreOnTheDiskBeforeItHasItsName) {
  const testing_support::TempFolder folder;
  g_fsync_calls = 0;
  g_fsync = [&](int descriptor) {
    struct stat written {};
    EXPECT_EQ(fstat(descriptor, &written), 0);
    EXPECT_EQ(written.st_size, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("a")));
    return 0;
  };
  WriteNewFile(folder.file("a"), kKeep, "new");
  g_fsync = nullptr;
  EXPECT_EQ(g_fsync_calls, 1);
  EXPECT_EQ(folder.read("a"), "new");
}

TEST(NewFile, MarkOfAPartStaysUntilItHasItsName) {
  const testing_support::TempFolder folder;
  NewFile file(folder.file("a"), kKeep);
  file.Publish();
  EXPECT_EQ(g_mode_at_rename & S_ISVTX, static_cast<mode_t>(S_ISVTX));
  struct stat found {};
  ASSERT_EQ(stat(folder.file("a").c_str(), &found), 0);
  EXPECT_EQ(found.st_mode & 07777U, g_mode_at_rename & 0777U);
}

TEST(NewFile, WhatCannotReachTheDiskIsNotPublished) {
  const testing_support::TempFolder folder;
  folder.write("a", "old");
  g_fsync = [](int) {
    errno = EIO;
    return -1;
  };
  EXPECT_THROW(WriteNewFile(folder.file("a"), kReplace, "new"), Failure);
  g_fsync = [calls = 0](int) mutable {
    errno = calls++ == 0 ? EINTR : EINVAL;  // asked again, and then a file system that does not know it
    return -1;
  };
  WriteNewFile(folder.file("b"), kKeep, "new");
  g_fsync = nullptr;
  EXPECT_EQ(folder.read("a"), "old");
  EXPECT_EQ(folder.read("b"), "new");
  EXPECT_EQ(Count(folder.path()), 2U);
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
