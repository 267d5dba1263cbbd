// SPDX-License-Identifier: Apache-2.0
#include "wvad/output_folder.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

const OutputSuffixes kSuffixes = {"split.json", ".wav"};

TEST(OutputFolder, NamesFollowTheRecording) {
  const testing_support::TempFolder folder;
  struct Row {
    const char* input;
    const char* name;
  };
  const Row rows[] = {
      {"talk.mp3", "talk"}, {"/far/a.b/talk.v2.wav", "talk.v2"}, {"-", "stdin"}, {"noending", "noending"}, {".wav", ".wav"}};
  for (const Row& row : rows) {
    const OutputFolder out({folder.path(), "", false}, {row.input}, kSuffixes);
    EXPECT_EQ(out.File(row.input), std::string(row.name) + "-split.json");
    EXPECT_EQ(out.Numbered(row.input, 7), std::string(row.name) + "-0007.wav");
    EXPECT_EQ(out.Numbered(row.input, 12345), std::string(row.name) + "-12345.wav");
    EXPECT_EQ(out.Path(row.input, "x"), folder.file("x"));
    EXPECT_EQ(out.PathOfRun("x"), folder.file("x"));
  }
  EXPECT_EQ(OutputFolder({folder.path(), "mine", false}, {"talk.mp3"}, kSuffixes).Numbered("talk.mp3", 1), "mine-0001.wav");
}

TEST(OutputFolder, NumberedNamesAreKnownAgain) {
  const testing_support::TempFolder folder;
  const OutputFolder out({folder.path(), "", false}, {"talk.mp3"}, kSuffixes);
  int64_t number = 0;
  std::string ending;
  EXPECT_TRUE(out.IsNumbered("talk.mp3", "talk-0042.flac", &number, &ending));
  EXPECT_EQ(number, 42);
  EXPECT_EQ(ending, ".flac");
  for (const char* name :
       {"talk-042.wav", "talk-0000.wav", "talk-split.json", "talk2-0001.wav", "talk-99999999999999999999.wav", "talk-", ""}) {
    EXPECT_FALSE(out.IsNumbered("talk.mp3", name, &number, &ending)) << name;
  }
}

TEST(OutputFolder, WhatIsThereAlreadyIsFoundAtOnce) {
  const testing_support::TempFolder folder;
  const FolderOptions options{folder.path(), "", false};
  folder.write("b-0001.wav", "");
  folder.write("c-split.json", "");
  EXPECT_NO_THROW(OutputFolder(options, {"a.mp3"}, kSuffixes));
  EXPECT_THROW(OutputFolder(options, {"a.mp3", "b.mp3"}, kSuffixes), Failure);
  EXPECT_THROW(OutputFolder(options, {"c.mp3"}, kSuffixes), Failure);
  EXPECT_NO_THROW(OutputFolder({folder.path(), "", true}, {"b.mp3", "c.mp3"}, kSuffixes));
  // A dangling link would be written through.
  std::filesystem::create_symlink("/nowhere/at/all", folder.file("d-0001.wav"));
  EXPECT_THROW(OutputFolder(options, {"d.mp3"}, kSuffixes), Failure);
}

TEST(OutputFolder, InputsAreNeverWrittenOver) {
  const testing_support::TempFolder folder;
  const std::string talk = folder.write("talk.wav", "");
  const std::string second = folder.write("talk-0002.wav", "");
  EXPECT_THROW(OutputFolder({folder.path(), "", true}, {talk, second}, kSuffixes), Failure);
  EXPECT_THROW(OutputFolder({folder.path() + "/.", "", true}, {talk, second}, kSuffixes), Failure);
  EXPECT_NO_THROW(OutputFolder({folder.path(), "", true}, {talk, second}, {"features.json", ".npy"}));
  EXPECT_NO_THROW(OutputFolder({folder.file("out"), "", true}, {talk, second}, kSuffixes));
}

TEST(OutputFolder, FilesOfWhatLiesBelowAFolderLieAsFarBelow) {
  const testing_support::TempFolder folder;
  const FolderOptions options{folder.file("out"), "", false};
  const std::vector<std::string> inputs = {"in/a.wav", "in/x/a.wav", "in/x/y/a.wav", "b.wav"};
  const WalkedFiles walked = {{"in/a.wav", ""}, {"in/x/a.wav", "x/"}, {"in/x/y/a.wav", "x/y/"}};
  const OutputFolder out(options, inputs, kSuffixes, {}, walked);
  EXPECT_EQ(out.Path("in/a.wav", out.File("in/a.wav")), folder.file("out/a-split.json"));
  EXPECT_EQ(out.Path("in/x/y/a.wav", out.Numbered("in/x/y/a.wav", 2)), folder.file("out/x/y/a-0002.wav"));
  EXPECT_EQ(out.Path("b.wav", "x"), folder.file("out/x"));
  out.Make("in/x/y/a.wav");
  EXPECT_TRUE(std::filesystem::is_directory(folder.file("out/x/y")));
  // Two folders that hold the same tree would meet; so would a file that is there, and one that is read.
  EXPECT_THROW(OutputFolder(options, {"in/x/a.wav", "too/x/a.wav"}, kSuffixes, {}, {{"in/x/a.wav", "x/"}, {"too/x/a.wav", "x/"}}), Failure);
  const std::string there = folder.write("out/x/a-0001.wav", "");
  EXPECT_THROW(OutputFolder(options, inputs, kSuffixes, {}, walked), Failure);
  EXPECT_NO_THROW(OutputFolder({folder.file("out"), "", true}, inputs, kSuffixes, {}, walked));
  EXPECT_THROW(OutputFolder({folder.file("out"), "", true}, inputs, kSuffixes, {there}, walked), Failure);
}

TEST(OutputFolder, MakesFoldersOnTheWay) {
  const testing_support::TempFolder folder;
  OutputFolder({folder.file("a/b/c"), "", false}, {"x.wav"}, kSuffixes).Make("x.wav");
  EXPECT_TRUE(std::filesystem::is_directory(folder.file("a/b/c")));
  folder.write("file", "");
  EXPECT_THROW(OutputFolder({folder.file("file"), "", false}, {"x.wav"}, kSuffixes).Make("x.wav"), Failure);
}

}  // namespace
}  // namespace TSEG::tool
