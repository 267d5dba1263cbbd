// SPDX-License-Identifier: Apache-2.0
#include "wvad/system.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "platform/platform.h"
#include "support/temp_folder.h"
#include "wvad/failure.h"
#include "wvad/temporary_file.h"

namespace TSEG::tool {
namespace {

namespace fs = std::filesystem;

TEST(System, PrivateFolderGoesAwayWithItsContents) {
  std::string path;
  {
    const PrivateFolder folder;
    path = folder.path();
    EXPECT_TRUE(fs::path(path).is_absolute());
    EXPECT_TRUE(fs::is_directory(path));
    std::fclose(std::fopen((path + "/file").c_str(), "w"));
  }
  EXPECT_FALSE(fs::exists(path));
}

TEST(System, CurrentFolderComesBack) {
  const fs::path before = fs::current_path();
  const testing_support::TempFolder there;
  {
    const CurrentFolder current(there.path());
    EXPECT_TRUE(fs::equivalent(fs::current_path(), there.path()));
  }
  EXPECT_EQ(fs::current_path(), before);
  EXPECT_THROW(CurrentFolder(there.file("none")), Failure);
  EXPECT_EQ(fs::current_path(), before);
}

// The way leads from the program's folder, up and down again.
TEST(System, WayFromTheProgramLeadsToTheFile) {
  const testing_support::TempFolder folder;
  const std::string file = folder.write("a", "12");
  const std::string way = PathFromProgram(file);
  EXPECT_TRUE(fs::path(way).is_relative()) << way;
  EXPECT_EQ(platform::FileSize(platform::ModuleFolder() + platform::NormaliseSeparators(way)), 2U) << way;
}

TEST(System, PlacedFileIsReadUnderBothNamesAndGoesThoughTheOtherMayOnlyBeRead) {
  const testing_support::TempFolder folder;
  const std::string file = folder.write("a", "bytes");
  fs::permissions(file, fs::perms::owner_read);
  EXPECT_FALSE(PlaceFile(file, folder.file("b")));
  EXPECT_EQ(folder.read("b"), "bytes");
  EXPECT_TRUE(platform::RemoveFile(folder.file("b")));
  EXPECT_EQ(folder.read("a"), "bytes");
  EXPECT_TRUE(PlaceFile(folder.file("none"), folder.file("c")));
  fs::permissions(file, fs::perms::owner_all);
}

TEST(System, TemporaryFileKeepsEveryByteAndIsGoneAfterwards) {
  const testing_support::TempFolder place;
  ::_putenv_s("TMP", place.path().c_str());
  const auto count = [&place] { return std::distance(fs::directory_iterator(place.path()), fs::directory_iterator()); };
  {
    TemporaryFile file("talk.wav");
    EXPECT_EQ(count(), 1);
    file.Append("a\n\x1A", 3);
    file.Append("\r\nz", 3);
    char bytes[8] = "";
    EXPECT_EQ(file.ReadAt(0, bytes, sizeof bytes), 6U);
    EXPECT_EQ(std::string(bytes, 6), "a\n\x1A\r\nz");
    EXPECT_EQ(file.ReadAt(5, bytes, sizeof bytes), 1U);
    EXPECT_EQ(file.ReadAt(uint64_t{3} << 30, bytes, sizeof bytes), 0U);
  }
  EXPECT_EQ(count(), 0);
}

TEST(System, TemporaryFileThatCannotBeMadeNamesItsFolderAndTheWayRound) {
  const testing_support::TempFolder place;
  ::_putenv_s("TMP", place.file("none").c_str());
  try {
    TemporaryFile("talk.wav");
    ADD_FAILURE() << "no failure";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kOutput);
    EXPECT_NE(std::string(failure.what()).find("none"), std::string::npos) << failure.what();
    EXPECT_NE(std::string(failure.what()).find("set TMP to"), std::string::npos) << failure.what();
  }
}

TEST(System, OutputGoesToErrorForAWhile) {
  ::testing::internal::CaptureStdout();
  ::testing::internal::CaptureStderr();
  std::puts("before");
  {
    const OutputToError quiet;
    std::puts("meanwhile");
  }
  std::puts("after");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "meanwhile\n");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "before\nafter\n");
}

TEST(System, VariablesAreUtf8) {
  ::_wputenv(L"WVAD_TEST_VARIABLE=\x00FC\x65E5");
  EXPECT_EQ(Variable("WVAD_TEST_VARIABLE"), "\xC3\xBC\xE6\x97\xA5");
  EXPECT_EQ(Variable("WVAD_TEST_NO_VARIABLE"), "");
}

}  // namespace
}  // namespace TSEG::tool
