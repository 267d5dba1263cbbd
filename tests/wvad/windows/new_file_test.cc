// SPDX-License-Identifier: Apache-2.0
#include "wvad/new_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>

#include "support/temp_folder.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"

namespace TSEG::tool {
namespace {

using ::testing::HasSubstr;

class NewFileTest : public ::testing::Test {
 protected:
  template <typename Function>
  static std::string WordsOf(const Function& call) {
    try {
      call();
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kOutput);
      return failure.what();
    }
    return "no failure";
  }
  size_t Files() const {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder_.path())) ++count;
    return count;
  }

  testing_support::TempFolder folder_;
  const OutputRules keep_{false, {}};
  const OutputRules replace_{true, {}};
};

TEST_F(NewFileTest, AppearsWhenItIsPublished) {
  const std::string path = folder_.file("\xC3\xBC.csv");
  NewFile file(path, keep_);
  file.Write("first second");
  file.WriteAt(0, "FIRST");
  file.Write(" third\n");
  EXPECT_FALSE(std::filesystem::exists(PathOf(path)));
  file.Publish();
  EXPECT_EQ(Files(), 1U);
  std::filesystem::rename(PathOf(path), folder_.file("a"));
  EXPECT_EQ(folder_.read("a"), "FIRST second third\n");
}

TEST_F(NewFileTest, LeavesNothingWithoutThat) {
  {
    NewFile file(folder_.file("a"), keep_);
    file.Write("text");
  }
  EXPECT_EQ(Files(), 0U);
}

TEST_F(NewFileTest, ReplacesOnlyWhatItMay) {
  const std::string path = folder_.write("a", "old");
  EXPECT_THAT(WordsOf([&] { NewFile(path, keep_); }), HasSubstr("exists already"));
  {
    NewFile file(path, replace_);
    file.Write("new");
    EXPECT_EQ(folder_.read("a"), "old");
    file.Publish();
  }
  EXPECT_EQ(folder_.read("a"), "new");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(NewFileTest, WhatAppearedMeanwhileIsKept) {
  NewFile file(folder_.file("a"), keep_);
  file.Write("new");
  folder_.write("a", "of somebody else");
  EXPECT_THAT(WordsOf([&] { file.Publish(); }), HasSubstr("exists already"));
  EXPECT_EQ(folder_.read("a"), "of somebody else");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(NewFileTest, TwoRunsDoNotWriteOneFile) {
  const NewFile first(folder_.file("a"), keep_);
  EXPECT_THAT(WordsOf([&] { NewFile(folder_.file("a"), keep_); }), HasSubstr("is being written by another run"));
}

TEST_F(NewFileTest, FileThatIsInTheWayIsNamedAndKept) {
  folder_.write("a.wvad-part", "of somebody else");
  EXPECT_THAT(WordsOf([&] { NewFile(folder_.file("a"), keep_); }), HasSubstr("a.wvad-part is in the way"));
  EXPECT_EQ(folder_.read("a.wvad-part"), "of somebody else");
}

TEST_F(NewFileTest, FolderThatIsMissingIsToldInWords) {
  EXPECT_THAT(WordsOf([&] { NewFile(folder_.file("none/a"), keep_); }), HasSubstr("No such file"));
  EXPECT_THAT(WordsOf([&] { NewFile("NUL", keep_); }), HasSubstr("is not an ordinary file"));
}

TEST_F(NewFileTest, OneFileByTwoSpellings) {
  EXPECT_TRUE(AreOneFile(folder_.file("a.csv"), folder_.path() + "\\sub\\..\\A.CSV"));
  EXPECT_FALSE(AreOneFile(folder_.file("a.csv"), folder_.file("b.csv")));
}

}  // namespace
}  // namespace TSEG::tool
