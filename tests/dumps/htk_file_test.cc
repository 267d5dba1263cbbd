// SPDX-License-Identifier: Apache-2.0
//
// HTK dumps: bytes on disk, reading back, and files that are not what they say.
#include "dumps/htk_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "support/folder_fixture.h"

namespace TSEG::htk {
namespace {

using namespace std::string_literals;
using HtkFileTest = testing_support::FolderTest;

struct Parsed : HtkFile {
  explicit Parsed(const char* path) { ret = HTK_parse(this, path); }
  ~Parsed() { std::free(pData); }
  int ret;
};

// A header in the file's order.
std::string Header(uint32_t n_samples, uint32_t type, uint32_t record_bytes, uint32_t kind) {
  const uint32_t words[2] = {n_samples, type};
  std::string out;
  for (const uint32_t w : words) {
    for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<char>(w >> shift));
  }
  for (const uint32_t h : {record_bytes, kind}) {
    out.push_back(static_cast<char>(h >> 8));
    out.push_back(static_cast<char>(h));
  }
  return out;
}

TEST_F(HtkFileTest, FourByteDumpIsBigEndianThroughout) {
  const uint32_t values[6] = {0x01020304u, 0x3F800000u, 3, 4, 5, 6};
  EXPECT_EQ(HTK_write_buff("a.htk", values, 24, 4, 3), 0);
  EXPECT_EQ(folder_.read("a.htk"),
            "\x00\x00\x00\x02\x00\x00\x00\x04\x00\x0C\x00\x09"s
            "\x01\x02\x03\x04\x3F\x80\x00\x00\x00\x00\x00\x03"
            "\x00\x00\x00\x04\x00\x00\x00\x05\x00\x00\x00\x06"s);
}

TEST_F(HtkFileTest, WritingLeavesTheCallersDataAlone) {
  const uint32_t values[2] = {0x01020304u, 0x05060708u};
  uint32_t copy[2];
  std::memcpy(copy, values, sizeof(copy));
  EXPECT_EQ(HTK_write_buff("a.htk", copy, 8, 4, 1), 0);
  EXPECT_EQ(std::memcmp(copy, values, sizeof(copy)), 0);
}

TEST_F(HtkFileTest, OtherTypesKeepTheOrderOfTheirBytes) {
  EXPECT_EQ(HTK_write_buff("a.htk", "abcdef", 6, 1, 1), 0);
  EXPECT_EQ(folder_.read("a.htk"), Header(3, 1, 2, 9) + "abcdef");
  EXPECT_EQ(HTK_write_buff("b.htk", "abcdefgh", 8, 2, 2), 0);
  EXPECT_EQ(folder_.read("b.htk"), Header(1, 2, 8, 9) + "abcdefgh");
  EXPECT_EQ(HTK_write_buff("c.htk", "xyz", 3, 0, 1), 0);
  EXPECT_EQ(folder_.read("c.htk"), Header(3, 0, 1, 9) + "xyz");
}

TEST_F(HtkFileTest, RecordsThatDoNotComeOutEvenAreCountedDown) {
  const float values[5] = {};
  EXPECT_EQ(HTK_write_buff("a.htk", values, 20, 4, 2), 0);
  EXPECT_EQ(folder_.read("a.htk"), Header(2, 4, 8, 9) + std::string(20, '\0'));
}

TEST_F(HtkFileTest, DivisionIsByTheTypeCodeItself) {
  OpenLog(kLogErr);
  const char bytes[16] = {};
  EXPECT_EQ(HTK_write_buff("a.htk", bytes, 6, 4, 1), -1);
  EXPECT_EQ(Log(), "HTK_write_buff| buffsize=6 is not mod dataytpe=4 \nError! The error string is -> -1 = -1\n");
  EXPECT_FALSE(std::filesystem::exists("a.htk"));
  // Code 8 has elements of 4 bytes: 12 is no multiple of 8; code 9 has elements of 8: 9 is a multiple of 9 and gives one.
  EXPECT_EQ(HTK_write_buff("b.htk", bytes, 12, 8, 1), -1);
  EXPECT_EQ(HTK_write_buff("c.htk", bytes, 9, 9, 1), 0);
  EXPECT_EQ(folder_.read("c.htk"), Header(1, 9, 8, 9) + std::string(8, '\0'));
}

TEST_F(HtkFileTest, UnknownTypeIsNotWritten) {
  OpenLog(kLogErr);
  EXPECT_EQ(HTK_write_buff("a.htk", "", 0, 10, 1), -1);
  EXPECT_EQ(HTK_write_buff("a.htk", "", 0, -1, 1), -1);
  EXPECT_EQ(Log(),
            "try htk write data type error :10\nError! The error string is -> -1 = -1\n"
            "try htk write data type error :-1\nError! The error string is -> -1 = -1\n");
}

TEST_F(HtkFileTest, ImpossibleSizesAreNotWritten) {
  EXPECT_EQ(HTK_write_buff("a.htk", "", -4, 4, 1), -1);
  EXPECT_EQ(HTK_write_buff("a.htk", "abcd", 4, 4, 0), -1);
  EXPECT_EQ(HTK_write_buff("no/such/folder.htk", "abcd", 4, 4, 1), -1);
  EXPECT_FALSE(std::filesystem::exists("a.htk"));
}

TEST_F(HtkFileTest, WriterThenReaderIsTheIdentity) {
  float values[300];
  for (int i = 0; i < 300; ++i) values[i] = static_cast<float>(i) * -0.75f;
  ASSERT_EQ(HTK_write_buff("a.htk", values, sizeof(values), 4, 75), 0);
  const Parsed back("a.htk");
  ASSERT_EQ(back.ret, 0);
  EXPECT_EQ(back.nSamples, 4);
  EXPECT_EQ(back.nType, 4);
  EXPECT_EQ(back.nElements, 300);
  EXPECT_EQ(back.nSizeAndKind, 300u | 9u << 16);
  EXPECT_EQ(std::memcmp(back.pData, values, sizeof(values)), 0);
}

TEST_F(HtkFileTest, ElementCountIsInFoursWhateverTheType) {
  folder_.write("bytes.htk", Header(2, 0, 5, 9) + "abcdefghij");
  const Parsed bytes("bytes.htk");  // 10 / 4 = 2 elements of one byte
  ASSERT_EQ(bytes.ret, 0);
  EXPECT_EQ(bytes.nElements, 2);
  EXPECT_EQ(std::memcmp(bytes.pData, "ab", 2), 0);

  folder_.write("wide.htk", Header(2, 3, 8, 9) + "abcdefghijklmnop");
  const Parsed wide("wide.htk");  // 16 / 4 = 4 elements of eight bytes, twice what there is
  ASSERT_EQ(wide.ret, 0);
  EXPECT_EQ(wide.nElements, 4);
  EXPECT_EQ(std::memcmp(wide.pData, ("abcdefghijklmnop" + std::string(16, '\0')).data(), 32), 0);
}

TEST_F(HtkFileTest, MissingFileIsReported) {
  OpenLog(kLogErr);
  const Parsed file("none.htk");
  EXPECT_EQ(file.ret, -1);
  EXPECT_EQ(file.pData, nullptr);
  EXPECT_EQ(Log(), "htk::HTK_parse | Open file none.htk error\nError! The error string is -> -1 = -1\n");
}

TEST_F(HtkFileTest, UnknownTypeIsNotRead) {
  OpenLog(kLogErr);
  folder_.write("a.htk", Header(1, 10, 4, 9) + "abcd");
  const Parsed file("a.htk");
  EXPECT_EQ(file.ret, -1);
  EXPECT_EQ(file.pData, nullptr);
  EXPECT_EQ(file.nType, 10);
  EXPECT_EQ(Log(), "htk data type error :10\nError! The error string is -> -1 = -1\n");
}

TEST_F(HtkFileTest, FilesThatCannotHoldWhatTheySayAreRefused) {
  const struct {
    const char* name;
    std::string bytes;
  } rows[] = {
      {"empty", ""},
      {"half a header", Header(1, 4, 4, 9).substr(0, 11)},
      {"negative count", Header(0xFFFFFFFFu, 4, 4, 9) + "abcd"},
      {"lowest count", Header(0x80000000u, 4, 0xFFFF, 9) + "abcd"},
      {"huge count", Header(0x7FFFFFFFu, 4, 0xFFFF, 9) + "abcd"},
      {"a file of text", "The quick brown fox jumps over the lazy dog"},
  };
  for (const auto& row : rows) {
    folder_.write("a.htk", row.bytes);
    const Parsed file("a.htk");
    EXPECT_EQ(file.ret, -1) << row.name;
    EXPECT_EQ(file.pData, nullptr) << row.name;
  }
}

TEST_F(HtkFileTest, DumpThatWasCutShortIsReadAsFarAsItGoes) {
  folder_.write("a.htk", Header(3, 4, 4, 9) + "abcdefgh");
  const Parsed file("a.htk");
  ASSERT_EQ(file.ret, 0);
  EXPECT_EQ(file.nElements, 3);
  EXPECT_EQ(std::memcmp(file.pData, "dcbahgfe\0\0\0\0", 12), 0);
  EXPECT_EQ(Log(), "");
}

TEST_F(HtkFileTest, PipeIsNotWaitedFor) {
  ASSERT_EQ(::mkfifo("a.htk", 0600), 0);
  const Parsed file("a.htk");
  EXPECT_EQ(file.ret, -1);
}

TEST_F(HtkFileTest, DumpWithoutRecordsIsRead) {
  folder_.write("a.htk", Header(0, 4, 4, 9));
  const Parsed file("a.htk");
  EXPECT_EQ(file.ret, 0);
  EXPECT_EQ(file.nElements, 0);
}

}  // namespace
}  // namespace TSEG::htk
