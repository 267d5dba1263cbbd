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
    EXPECT_EQ(out.Path("x"), folder.file("x"));
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

TEST(OutputFolder, MakesFoldersOnTheWay) {
  const testing_support::TempFolder folder;
  OutputFolder({folder.file("a/b/c"), "", false}, {"x.wav"}, kSuffixes).Make();
  EXPECT_TRUE(std::filesystem::is_directory(folder.file("a/b/c")));
  folder.write("file", "");
  EXPECT_THROW(OutputFolder({folder.file("file"), "", false}, {"x.wav"}, kSuffixes).Make(), Failure);
}

}  // namespace
}  // namespace TSEG::tool
