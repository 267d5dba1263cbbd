// SPDX-License-Identifier: Apache-2.0
#include "wvad/byte_source.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

std::string Read(ByteSource& bytes, uint64_t offset, size_t count) {
  std::string text(count, '\0');
  text.resize(bytes.ReadAt(offset, text.data(), count));
  return text;
}

// Byte n of the pattern, so that each byte tells its place.
char At(size_t n) { return static_cast<char>((n * 31 + n / 251) % 251); }

std::string Pattern(size_t begin, size_t count) {
  std::string text(count, '\0');
  for (size_t i = 0; i < count; ++i) text[i] = At(begin + i);
  return text;
}

class Stream : public ::testing::Test {
 protected:
  // A pipe by name, into which a thread writes `count` bytes of the pattern.
  std::unique_ptr<ByteSource> Open(size_t count) {
    const std::string path = folder_.file("pipe");
    EXPECT_EQ(mkfifo(path.c_str(), 0600), 0);
    writer_ = std::thread([path, count] {
      const int descriptor = open(path.c_str(), O_WRONLY);
      const std::string text = Pattern(0, count);
      for (size_t done = 0; done < count;) {
        const ssize_t written = write(descriptor, text.data() + done, std::min<size_t>(count - done, 5000));
        if (written <= 0) break;
        done += static_cast<size_t>(written);
      }
      close(descriptor);
    });
    return OpenBytes(path);
  }
  void TearDown() override { writer_.join(); }

  testing_support::TempFolder folder_;
  std::thread writer_;
};

TEST(StreamOf, AsksForwardAloneAndNotForMoreThanIsWanted) {
  size_t given = 0;
  size_t most_wanted = 0;
  const std::unique_ptr<ByteSource> bytes = StreamOf("mine", [&](void* out, size_t count) {
    most_wanted = std::max(most_wanted, count);
    const size_t now = std::min<size_t>({count, 7, 100 - given});
    Pattern(given, now).copy(static_cast<char*>(out), now);
    given += now;
    return static_cast<long>(now);
  });
  EXPECT_EQ(Read(*bytes, 3, 10), Pattern(3, 10));
  EXPECT_EQ(given, 13U);
  EXPECT_EQ(Read(*bytes, 0, 5), Pattern(0, 5));
  EXPECT_EQ(given, 13U);
  EXPECT_EQ(bytes->length(), std::nullopt);
  EXPECT_EQ(Read(*bytes, 90, 20), Pattern(90, 10));
  EXPECT_EQ(bytes->length(), 100U);
  EXPECT_LE(most_wanted, 97U);
}

TEST(StreamOf, FailureIsTold) {
  const std::unique_ptr<ByteSource> bytes = StreamOf("mine", [](void*, size_t) {
    errno = EIO;
    return -1L;
  });
  try {
    Read(*bytes, 0, 1);
    FAIL() << "nothing was thrown";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.code(), ExitCode::kNoFile);
    EXPECT_THAT(failure.what(), ::testing::HasSubstr("mine: cannot be read"));
  }
}

TEST_F(Stream, ComesInOrderAndItsBeginAndEndAreKept) {
  constexpr size_t kLength = 4 << 20;
  const std::unique_ptr<ByteSource> bytes = Open(kLength);
  EXPECT_EQ(bytes->length(), std::nullopt);
  EXPECT_EQ(Read(*bytes, 0, 12), Pattern(0, 12));
  for (size_t at = 0; at < kLength; at += 65536) ASSERT_EQ(Read(*bytes, at, 65536), Pattern(at, 65536)) << at;
  EXPECT_EQ(Read(*bytes, kLength - 5, 10), Pattern(kLength - 5, 5));
  EXPECT_EQ(bytes->length(), kLength);
  EXPECT_EQ(Read(*bytes, 1000, 50), Pattern(1000, 50));
  EXPECT_EQ(Read(*bytes, kLength - (1 << 20), 50), Pattern(kLength - (1 << 20), 50));
  EXPECT_EQ(Read(*bytes, 2 << 20, 50), "");  // let go
}

TEST_F(Stream, IsKeptWholeWhereThatIsWanted) {
  constexpr size_t kLength = 4 << 20;
  const std::unique_ptr<ByteSource> bytes = Open(kLength);
  EXPECT_EQ(Read(*bytes, 0, 12), Pattern(0, 12));
  bytes->KeepAll();
  EXPECT_EQ(Read(*bytes, kLength - 5, 10), Pattern(kLength - 5, 5));
  for (const size_t at : {size_t{0}, (size_t{1} << 20) - 25, size_t{2} << 20, size_t{3} << 20})
    EXPECT_EQ(Read(*bytes, at, 50), Pattern(at, 50)) << at;
}

TEST(FileBytes, AreReadAnywhereAndTheEndIsKnown) {
  const testing_support::TempFolder folder;
  const std::unique_ptr<ByteSource> bytes = OpenBytes(folder.write("a", Pattern(0, 1000)));
  EXPECT_EQ(bytes->length(), 1000U);
  EXPECT_EQ(Read(*bytes, 990, 100), Pattern(990, 10));
  EXPECT_EQ(Read(*bytes, 5, 3), Pattern(5, 3));
}

TEST(WholeText, IsReadToItsEndOrToTheLimit) {
  const testing_support::TempFolder folder;
  const std::string path = folder.write("a", Pattern(0, 200000));
  EXPECT_EQ(ReadWhole(path), Pattern(0, 200000));
  EXPECT_EQ(ReadWhole(path, 70000), Pattern(0, 70000));
  EXPECT_EQ(ReadWhole(folder.write("b", "")), "");
}

TEST(FileBytes, WhatCannotBeOpenedIsToldApart) {
  const testing_support::TempFolder folder;
  std::filesystem::create_symlink("nowhere", folder.file("link"));
  for (const auto& [name, words] :
       {std::pair("no", "no: no such file"), std::pair("link", "leads nowhere"), std::pair(".", "is a folder")}) {
    try {
      OpenBytes(folder.file(name));
      FAIL() << name;
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kNoFile);
      EXPECT_THAT(failure.what(), ::testing::HasSubstr(words));
    }
  }
}

}  // namespace
}  // namespace TSEG::tool
