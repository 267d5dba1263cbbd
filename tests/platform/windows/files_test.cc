// SPDX-License-Identifier: Apache-2.0
//
// Files and paths: kinds, reading, making, copying, listing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "support/temp_folder.h"

namespace TSEG {
namespace {

namespace fs = std::filesystem;
using platform::PathKind;
using testing_support::TempFolder;

TEST(Files, TellsKinds) {
  const TempFolder folder;
  folder.write("file", "x");
  EXPECT_EQ(platform::KindOfPath(folder.path()), PathKind::kDirectory);
  EXPECT_EQ(platform::KindOfPath(folder.path() + "\\"), PathKind::kDirectory);
  EXPECT_EQ(platform::KindOfPath(folder.path() + "\\file"), PathKind::kFile);
  EXPECT_EQ(platform::KindOfPath(folder.file("file")), PathKind::kFile);
  EXPECT_EQ(platform::KindOfPath("NUL"), PathKind::kFile);
  EXPECT_EQ(platform::KindOfPath(folder.file("file/below")), PathKind::kMissing);
  EXPECT_EQ(platform::KindOfPath(""), PathKind::kMissing);
}

TEST(Files, ReadsWholeFilesOfAnyBytes) {
  const TempFolder folder;
  std::string bytes;
  for (int i = 0; i < 70000; ++i) bytes += static_cast<char>(i * 7);
  folder.write("bytes", bytes);
  folder.write("empty", "");
  EXPECT_EQ(platform::ReadWholeFile(folder.file("bytes")), bytes);
  EXPECT_EQ(platform::ReadWholeFile(folder.file("empty")), "");
  EXPECT_EQ(platform::ReadWholeFile(folder.file("missing")), std::nullopt);
  EXPECT_EQ(platform::ReadWholeFile(folder.path()), std::nullopt);
}

TEST(Files, ReadingNeverWaitsForAPipeOrADevice) {
  const std::string name = R"(\\.\pipe\wvad-files-test-)" + std::to_string(platform::ProcessId());
  const HANDLE pipe = ::CreateNamedPipeA(name.c_str(), PIPE_ACCESS_DUPLEX, PIPE_TYPE_BYTE, 1, 4096, 4096, 0, nullptr);
  ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
  EXPECT_EQ(platform::ReadWholeFile(name), "");
  ::CloseHandle(pipe);
  EXPECT_EQ(platform::ReadWholeFile("NUL"), "");
}

TEST(Files, TellsSizeReadabilityAndTime) {
  const TempFolder folder;
  const std::string path = folder.write("file", "12345");
  EXPECT_EQ(platform::FileSize(path), 5u);
  EXPECT_EQ(platform::FileSize(folder.file("missing")), std::nullopt);
  EXPECT_EQ(platform::FileSize(folder.path()), std::nullopt);
  EXPECT_TRUE(platform::IsReadable(path));
  EXPECT_FALSE(platform::IsReadable(folder.file("missing")));
  EXPECT_FALSE(platform::IsReadable(folder.path()));

  // 2016-05-04 12:30:05.25 UTC in units of 100 ns since 1601, 11644473600 seconds earlier.
  constexpr uint64_t kTime = (uint64_t{1462365005} + 11644473600) * 10000000 + 2500000;
  const FILETIME time{static_cast<unsigned long>(kTime & 0xFFFFFFFFu), static_cast<unsigned long>(kTime >> 32)};
  const HANDLE file = ::CreateFileA(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(::SetFileTime(file, nullptr, nullptr, &time), 0);
  ::CloseHandle(file);
  EXPECT_EQ(platform::ModificationTime(path), 1462365005250000000);
  EXPECT_EQ(platform::ModificationTime(folder.file("missing")), 0);
}

TEST(Files, WhatAnotherHoldsForItselfIsThereButNotReadable) {
  const TempFolder folder;
  const std::string path = folder.write("file", "12345");
  const HANDLE held = ::CreateFileA(path.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
  ASSERT_NE(held, INVALID_HANDLE_VALUE);
  EXPECT_EQ(platform::KindOfPath(path), PathKind::kFile);
  EXPECT_EQ(platform::FileSize(path), 5u);
  EXPECT_FALSE(platform::IsReadable(path));
  EXPECT_EQ(platform::ReadWholeFile(path), std::nullopt);
  ::CloseHandle(held);
}

TEST(Files, MakesEachMissingFolder) {
  const TempFolder folder;
  EXPECT_TRUE(platform::MakeFolders(folder.path() + "\\a\\b/c"));
  EXPECT_TRUE(fs::is_directory(folder.file("a/b/c")));
  EXPECT_TRUE(platform::MakeFolders(folder.file("a/b/c")));
  EXPECT_TRUE(platform::MakeFolders(folder.file("a//d/")));
  EXPECT_TRUE(fs::is_directory(folder.file("a/d")));
  EXPECT_TRUE(platform::MakeFolders("C:\\"));
  EXPECT_TRUE(platform::MakeFolders("\\"));
}

TEST(Files, CannotMakeAFolderBelowAFile) {
  const TempFolder folder;
  folder.write("file", "x");
  EXPECT_FALSE(platform::MakeFolders(folder.file("file")));
  EXPECT_FALSE(platform::MakeFolders(folder.file("file/below")));
}

TEST(Files, CopyReplacesTheTarget) {
  const TempFolder folder;
  folder.write("from", std::string(200000, 'n'));
  folder.write("to", "something older");
  EXPECT_TRUE(platform::CopyFileOver(folder.file("from"), folder.file("to")));
  EXPECT_EQ(folder.read("to"), std::string(200000, 'n'));
  folder.write("from", "new");
  EXPECT_TRUE(platform::CopyFileOver(folder.file("from"), folder.file("to")));
  EXPECT_EQ(folder.read("to"), "new");
  EXPECT_FALSE(platform::CopyFileOver(folder.file("missing"), folder.file("to")));
  EXPECT_EQ(folder.read("to"), "new");
  EXPECT_FALSE(platform::CopyFileOver(folder.file("from"), folder.path()));
}

TEST(Files, CopyOntoItselfKeepsTheFile) {
  const TempFolder folder;
  folder.write("file", "kept");
  fs::create_hard_link(folder.file("file"), folder.file("twin"));
  EXPECT_FALSE(platform::CopyFileOver(folder.file("file"), folder.file("file")));
  EXPECT_FALSE(platform::CopyFileOver(folder.file("file"), folder.file("twin")));
  EXPECT_EQ(folder.read("file"), "kept");
}

TEST(Files, ListsPlainFilesByName) {
  const TempFolder folder;
  folder.write("one.log", "");
  folder.write("two", "");
  folder.write("below/three", "");
  EXPECT_THAT(platform::ListFiles(folder.path()), ::testing::UnorderedElementsAre("one.log", "two"));
  EXPECT_THAT(platform::ListFiles(folder.path() + "\\"), ::testing::UnorderedElementsAre("one.log", "two"));
  EXPECT_TRUE(platform::ListFiles(folder.file("missing")).empty());
  EXPECT_TRUE(platform::ListFiles("").empty());
}

TEST(Files, RemovesFilesAndNoFolders) {
  const TempFolder folder;
  folder.write("below/file", "x");
  EXPECT_FALSE(platform::RemoveFile(folder.file("below")));
  EXPECT_TRUE(platform::RemoveFile(folder.file("below/file")));
  EXPECT_FALSE(platform::RemoveFile(folder.file("below/file")));
  EXPECT_FALSE(platform::RemoveFile(folder.file("below")));
  EXPECT_TRUE(fs::is_directory(folder.file("below")));
}

TEST(Files, NamesAreUtf8AndOtherBytesAreOfTheCodePage) {
  const TempFolder folder;
  const std::string utf8 = "\xC3\xA4\xE4\xB8\xAD.log";  // a letter that the code page may have, and one that it has not
  platform::AppendFile file;
  ASSERT_EQ(file.Open(folder.file(utf8), false), 0);
  EXPECT_TRUE(fs::exists(fs::path(folder.path()) / L"\u00E4\u4E2D.log"));
  EXPECT_THAT(platform::ListFiles(folder.path()), ::testing::ElementsAre(utf8));
  if (::GetACP() != 1252) GTEST_SKIP() << "the code page is another than the one that is written here";
  ASSERT_EQ(file.Open(folder.file("\xE4.log"), false), 0);
  EXPECT_TRUE(fs::exists(fs::path(folder.path()) / L"\u00E4.log"));
}

TEST(Files, UnderstandsBothSeparators) {
  EXPECT_EQ(platform::NormaliseSeparators("..\\log/a\\b"), "..\\log\\a\\b");
  EXPECT_TRUE(platform::IsAbsolutePath("C:\\a"));
  EXPECT_TRUE(platform::IsAbsolutePath("c:/a"));
  EXPECT_TRUE(platform::IsAbsolutePath("\\\\computer\\share\\a"));
  EXPECT_FALSE(platform::IsAbsolutePath("C:a"));
  EXPECT_FALSE(platform::IsAbsolutePath("\\a"));
  EXPECT_FALSE(platform::IsAbsolutePath("a\\b"));
  EXPECT_FALSE(platform::IsAbsolutePath(""));
}

}  // namespace
}  // namespace TSEG
