// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

using ::testing::ElementsAre;

class FileListTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* name :
         {"in/b.wav", "in/a.wav", "in/notes.txt", "in/sub/c.flac", "in/sub/deep/d.wav", "in/old/e.wav", "in/f.wav.wvad-part"})
      folder_.write(name, "x");
  }
  // Names below the test's folder.
  std::vector<std::string> List(FileListOptions options) {
    for (std::string& name : options.names) name = folder_.file(name);
    std::vector<std::string> found;
    for (const std::string& name : ListFiles(options).files) found.push_back(name.substr(folder_.path().size() + 1));
    return found;
  }
  testing_support::TempFolder folder_;
};

TEST_F(FileListTest, FolderGivesItsFilesInTheOrderOfTheirNames) {
  FileListOptions options;
  options.names = {"in"};
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav", "in/notes.txt"));
  options.names = {"in/sub/c.flac", "in/"};
  EXPECT_THAT(List(options), ElementsAre("in/sub/c.flac", "in/a.wav", "in/b.wav", "in/notes.txt"));
  EXPECT_EQ(ListFiles({{folder_.file("in/a.wav"), folder_.file("in/sub")}, "", false, false, {}, {}}).walked.size(), 1U);
}

TEST_F(FileListTest, ListOfAnotherSystemIsRead) {
  FileListOptions options;
  options.list = folder_.write("list", "\xef\xbb\xbf" + folder_.file("in/a.wav") + "\r\n\r\n" + folder_.file("in/b.wav") + "\r\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav"));
  folder_.write("list", folder_.file("in/a.wav") + "\r\n" + folder_.file("in/b.wav"));
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav"));
  // A name may end so.
  folder_.write("list", folder_.file("a\r") + "\n" + folder_.file("in/a.wav") + "\n" + folder_.file("in/b.wav") + "\n");
  EXPECT_THAT(List(options), ElementsAre("a\r", "in/a.wav", "in/b.wav"));
  options.zero_ends = true;
  folder_.write("list", folder_.file("a\r") + '\0' + folder_.file("b\r"));
  EXPECT_THAT(List(options), ElementsAre("a\r", "b\r"));
}

TEST_F(FileListTest, PlaylistNamesRecordingsFromWhereItLies) {
  FileListOptions options;
  options.list = folder_.write("in/all.m3u", "#EXTM3U\r\n#EXTINF:3,A\r\na.wav\r\nsub/c.flac\r\n" + folder_.file("in/b.wav") + "\r\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/sub/c.flac", "in/b.wav"));
  options.list = folder_.write("in/plain.M3U", "a.wav\n# note\nb.wav\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav"));
  options.list = folder_.write("in/all.pls", "[playlist]\nFile1=a.wav\nTitle1=A=a\nFile2=sub/c.flac\nNumberOfEntries=2\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/sub/c.flac"));
  // As players read it: letters of either case, blanks, comments, the order of the numbers.
  options.list = folder_.write("in/ALL.PLS",
                               "\xef\xbb\xbf\r\n; notes\r\n[Playlist]\r\nversion=2\r\nFILE10=notes.txt\r\nfile2 = sub/c.flac\t\r\n"
                               " File1= a.wav\r\nFiles=x\r\nFile3=\r\nFile=y\r\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/sub/c.flac", "in/notes.txt"));
  options.list = folder_.write("in/headless.pls", "File1=a.wav\n");
  EXPECT_THAT(List(options), ElementsAre("in/a.wav"));
  options.list = folder_.write("in/far.m3u8", "https://host/a.mp3\n");
  EXPECT_THAT(ListFiles(options).files, ElementsAre("https://host/a.mp3"));
  // Another list's names are those that the command line would have.
  options.list = folder_.write("in/list", folder_.file("#1.wav") + "\n");
  EXPECT_THAT(List(options), ElementsAre("#1.wav"));
}

TEST_F(FileListTest, RecursiveWalksBelow) {
  FileListOptions options;
  options.names = {"in"};
  options.recursive = true;
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav", "in/notes.txt", "in/old/e.wav", "in/sub/c.flac", "in/sub/deep/d.wav"));
}

TEST_F(FileListTest, FoldersBetweenAreKnown) {
  FileListOptions options;
  options.names = {folder_.file("in"), folder_.file("in/b.wav")};
  options.recursive = true;
  const FileList list = ListFiles(options);
  EXPECT_EQ(list.walked.at(folder_.file("in/a.wav")), "");
  EXPECT_EQ(list.walked.at(folder_.file("in/sub/deep/d.wav")), "sub/deep/");
}

TEST_F(FileListTest, HiddenFilesAndFoldersArePassedOverUnlessAPatternNamesThem) {
  for (const char* name : {"in/._a.wav", "in/.trash/x.wav", "in/sub/.c.wav", ".own/y.wav"}) folder_.write(name, "x");
  FileListOptions options;
  options.names = {"in"};
  options.recursive = true;
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav", "in/notes.txt", "in/old/e.wav", "in/sub/c.flac", "in/sub/deep/d.wav"));
  options.include = {"*.wav"};
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav", "in/old/e.wav", "in/sub/deep/d.wav"));
  options.include = {".*.wav"};
  EXPECT_THAT(List(options), ElementsAre("in/._a.wav", "in/sub/.c.wav"));
  // What was named is taken.
  options.include = {};
  options.names = {"in/._a.wav", ".own"};
  EXPECT_THAT(List(options), ElementsAre("in/._a.wav", ".own/y.wav"));
}

TEST_F(FileListTest, WhatStandsThereAlreadyIsNotTakenTwice) {
  std::filesystem::create_symlink("a.wav", folder_.file("in/link.wav"));
  std::filesystem::create_directory_symlink("sub/deep", folder_.file("in/way"));
  folder_.write("in/sub/b.wav", "another");
  FileListOptions options;
  options.names = {folder_.file("in/a.wav"), folder_.file("./in/sub/../a.wav"), folder_.file("in"), "-", "-", folder_.file("missing"),
                   folder_.file("missing"),  folder_.file("in/way/../b.wav")};
  const FileList list = ListFiles(options);
  EXPECT_THAT(list.again, ElementsAre(folder_.file("./in/sub/../a.wav"), folder_.file("in/a.wav")));
  // A link is a name of its own; behind one ".." leads elsewhere, in/way/../b.wav to the file in/sub/b.wav.
  EXPECT_THAT(list.files,
              ElementsAre(folder_.file("in/a.wav"), folder_.file("in/b.wav"), folder_.file("in/link.wav"), folder_.file("in/notes.txt"),
                          "-", "-", folder_.file("missing"), folder_.file("missing"), folder_.file("in/way/../b.wav")));
}

TEST_F(FileListTest, PatternsChooseByNameAndByPath) {
  FileListOptions options;
  options.names = {"in"};
  options.recursive = true;
  options.include = {"*.wav"};
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/b.wav", "in/old/e.wav", "in/sub/deep/d.wav"));
  options.exclude = {"old", "b.*"};
  EXPECT_THAT(List(options), ElementsAre("in/a.wav", "in/sub/deep/d.wav"));
  options.include = {"sub/*.flac", "sub/*/d.wav"};
  EXPECT_THAT(List(options), ElementsAre("in/sub/c.flac", "in/sub/deep/d.wav"));
  options.exclude = {"sub/deep"};
  EXPECT_THAT(List(options), ElementsAre("in/sub/c.flac"));
  // What was named is taken, whatever the patterns.
  options.names = {"in/notes.txt"};
  EXPECT_THAT(List(options), ElementsAre("in/notes.txt"));
}

TEST_F(FileListTest, WhatIsNoFileIsPassedOverAndLinksMakeNoCircles) {
  std::filesystem::create_symlink("..", folder_.file("in/sub/up"));
  std::filesystem::create_symlink("c.flac", folder_.file("in/sub/link.flac"));
  std::filesystem::create_symlink("nowhere", folder_.file("in/sub/broken"));
  ASSERT_EQ(mkfifo(folder_.file("in/sub/pipe").c_str(), 0600), 0);
  FileListOptions options;
  options.names = {"in/sub"};
  options.recursive = true;
  EXPECT_THAT(List(options), ElementsAre("in/sub/c.flac", "in/sub/deep/d.wav", "in/sub/link.flac"));
}

TEST_F(FileListTest, ListsNameFilesWithLinesOrZeroBytes) {
  FileListOptions options;
  options.names = {"in/b.wav"};
  options.list = folder_.write("list", folder_.file("in/a.wav") + "\n\n" + folder_.file("in/sub") + "\n" + folder_.file("with\rodd"));
  EXPECT_THAT(List(options), ElementsAre("in/b.wav", "in/a.wav", "in/sub/c.flac", "with\rodd"));
  options.zero_ends = true;
  options.list =
      folder_.write("zeros", folder_.file("two\nlines.wav") + std::string(1, '\0') + folder_.file("in/a.wav") + std::string(1, '\0'));
  EXPECT_THAT(List(options), ElementsAre("in/b.wav", "two\nlines.wav", "in/a.wav"));
  // Longer than what is read at once.
  std::string many;
  for (int i = 0; i < 5000; ++i) many += folder_.file("f" + std::to_string(i)) + "\n";
  options.zero_ends = false;
  options.list = folder_.write("many", many);
  EXPECT_EQ(List(options).size(), 5001U);
  EXPECT_EQ(List(options).back(), "f4999");
}

TEST_F(FileListTest, WhatContradictsItselfIsRefused) {
  const auto code = [](const FileListOptions& options) {
    try {
      ListFiles(options);
    } catch (const Failure& failure) {
      return failure.code();
    }
    return ExitCode::kSuccess;
  };
  EXPECT_EQ(code({}), ExitCode::kUsage);
  EXPECT_EQ(code({{"-"}, "-", false, false, {}, {}}), ExitCode::kUsage);
  EXPECT_EQ(code({{}, folder_.file("missing"), false, false, {}, {}}), ExitCode::kNoFile);
  // Names that end with zero bytes, taken for lines.
  EXPECT_EQ(code({{}, folder_.write("zeros", std::string("a\0b\0", 4)), false, false, {}, {}}), ExitCode::kUsage);
}

}  // namespace
}  // namespace TSEG::tool
