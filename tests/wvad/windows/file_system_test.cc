// SPDX-License-Identifier: Apache-2.0
#include "wvad/file_system.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <io.h>

#include <cerrno>
#include <chrono>
#include <filesystem>

#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

using ::testing::ElementsAre;

// "uebung" with its two dots, and a name that no code page of the West has.
constexpr const char* kName = "\303\274bung \xE6\x97\xA5\xE6\x9C\xAC.wav";

class FileSystem : public ::testing::Test {
 protected:
  testing_support::TempFolder folder_;
};

TEST_F(FileSystem, NamesOfEveryScriptGoThroughPathsAndComeBack) {
  EXPECT_EQ(NameOf(PathOf(kName)), kName);
  EXPECT_EQ(PathOf("\303\274").native(), L"\x00FC");
  EXPECT_EQ(SlashedNameOf(PathOf("a\\b/") / PathOf(kName)), std::string("a/b/") + kName);
}

TEST_F(FileSystem, LooksTellFilesFoldersAndDevicesApart) {
  const std::string file = folder_.write("a", "12345");
  EXPECT_EQ(LookAt(file).kind, FileKind::kFile);
  EXPECT_EQ(SizeOf(file), 5U);
  EXPECT_EQ(LookAt(folder_.path()).kind, FileKind::kFolder);
  EXPECT_EQ(SizeOf(folder_.path()), 0U);
  EXPECT_EQ(LookAt("NUL").kind, FileKind::kSpecial);
  EXPECT_EQ(LookAt(folder_.file("none")).kind, FileKind::kNone);
}

TEST_F(FileSystem, WhatWasWrittenLaterIsNewer) {
  const std::string first = folder_.write("a", "");
  const std::string second = folder_.write("b", "");
  const auto time = std::filesystem::last_write_time(PathOf(first));
  std::filesystem::last_write_time(PathOf(second), time + std::chrono::hours(1));
  EXPECT_TRUE(IsNewer(second, first));
  EXPECT_FALSE(IsNewer(first, second));
  EXPECT_FALSE(IsNewer(first, first));
  EXPECT_FALSE(IsNewer(second, folder_.file("none")));
  EXPECT_FALSE(IsNewer(second, folder_.path()));
}

TEST_F(FileSystem, OneFileByTwoSpellingsIsTheSame) {
  const std::string file = folder_.write("sub/a", "1");
  const std::string other = folder_.write("sub/b", "1");
  EXPECT_TRUE(LookAt(file).Same(LookAt(folder_.path() + "\\sub\\..\\sub\\a")));
  EXPECT_FALSE(LookAt(file).Same(LookAt(other)));
  EXPECT_EQ(FoldedName("C:/Talks/A.wav"), FoldedName("c:\\talks\\a.WAV"));
  EXPECT_NE(FoldedName("a.wav"), FoldedName("b.wav"));
}

TEST_F(FileSystem, BytesComeFromWhereTheyAreAskedFor) {
  std::filesystem::rename(folder_.write("a", "0123\n\r\n\03289"), PathOf(folder_.file(kName)));
  const int descriptor = OpenForReading(folder_.file(kName));
  ASSERT_GE(descriptor, 0) << errno;
  char bytes[16] = "";
  EXPECT_EQ(LengthOf(descriptor), 10U);
  EXPECT_EQ(ReadSome(descriptor, bytes, 3), 3);
  EXPECT_EQ(PositionOf(descriptor), 3U);
  EXPECT_EQ(ReadSomeAt(descriptor, 4, bytes, 16), 6);
  EXPECT_EQ(std::string(bytes, 6), "\n\r\n\03289");
  EXPECT_EQ(ReadSomeAt(descriptor, 10, bytes, 16), 0);
  CloseDescriptor(descriptor);
}

TEST_F(FileSystem, WhatIsMissingHasItsErrorNumber) {
  EXPECT_EQ(OpenForReading(folder_.file("none")), -1);
  EXPECT_EQ(errno, ENOENT);
  EXPECT_EQ(OpenForReading(folder_.file("none/a")), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(FileSystem, EmptyFileIsMadeOnlyWhereNothingIs) {
  EXPECT_EQ(MakeEmptyFile(folder_.file(kName)), 0);
  EXPECT_EQ(MakeEmptyFile(folder_.file(kName)), EEXIST);
  EXPECT_EQ(MakeEmptyFile(folder_.file("none/a")), ENOENT);
}

TEST_F(FileSystem, PipeIsReadToItsEndAndItsLossIsAnErrorOfTheWrite) {
  int ends[2];
  ASSERT_EQ(::_pipe(ends, 4096, _O_BINARY), 0);
  EXPECT_EQ(WriteAll(ends[1], "some"), 0);
  char bytes[16] = "";
  EXPECT_EQ(ReadSome(ends[0], bytes, sizeof bytes), 4);
  ::_close(ends[1]);
  EXPECT_EQ(ReadSome(ends[0], bytes, sizeof bytes), 0);
  ::_close(ends[0]);
  ASSERT_EQ(::_pipe(ends, 4096, _O_BINARY), 0);
  ::_close(ends[0]);
  EXPECT_EQ(WriteAll(ends[1], "some"), EPIPE);
  ::_close(ends[1]);
}

TEST_F(FileSystem, PatternStandsForTheNamesThatMatch) {
  const std::string b = folder_.write("b.WAV", "");
  const std::string a = folder_.write("a.wav", "");
  folder_.write("c.txt", "");
  EXPECT_THAT(NamesOf(folder_.file("*.wav")), ElementsAre(a, b));
  EXPECT_THAT(NamesOf(folder_.path() + "\\?.txt"), ElementsAre(folder_.path() + "\\c.txt"));
  EXPECT_THAT(NamesOf(folder_.file("*.flac")), ElementsAre(folder_.file("*.flac")));
  EXPECT_THAT(NamesOf(folder_.file("*.WAV")), ElementsAre(a, b));
  EXPECT_THAT(NamesOf("a.wav"), ElementsAre("a.wav"));
  EXPECT_THAT(NamesOf("https://a/*.wav"), ElementsAre("https://a/*.wav"));
}

}  // namespace
}  // namespace TSEG::tool
