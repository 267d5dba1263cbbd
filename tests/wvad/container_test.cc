// SPDX-License-Identifier: Apache-2.0
#include "wvad/container.h"

#include <gtest/gtest.h>

#include "support/temp_folder.h"

namespace TSEG::tool {
namespace {

class ContainerTest : public ::testing::Test {
 protected:
  Container Of(const std::string& bytes) { return Recognise(*OpenBytes(folder_.write("a", bytes))); }
  testing_support::TempFolder folder_;
};

TEST_F(ContainerTest, MediaIsKnownByItsMarks) {
  EXPECT_EQ(Of(std::string("\0\0\0\x20", 4) + "ftypM4A " + std::string(20, '\0')), Container::kBoxedMedia);
  EXPECT_EQ(Of("\x1A\x45\xDF\xA3" + std::string(20, 'x')), Container::kForwardMedia);
  EXPECT_EQ(Of("#!AMR\n" + std::string(20, 'x')), Container::kForwardMedia);
  EXPECT_EQ(Of("RIFF1234AVI LIST1234"), Container::kMedia);
  EXPECT_EQ(Of("RIFF1234WAVEfmt 1234"), Container::kWave);
  // Too short for a box.
  EXPECT_EQ(Of("1234ftyp"), Container::kNone);
}

TEST_F(ContainerTest, PacketsAreKnownByFollowingEachOther) {
  // ADTS: 16 kHz (8), one channel, 32 bytes: 32 << 5 = 0x0400 in bytes 4 and 5.
  const std::string aac = std::string("\xFF\xF1\x60\x40\x04\x00\xFC", 7) + std::string(25, 'x');
  EXPECT_EQ(Of(aac + aac + aac), Container::kForwardMedia);
  EXPECT_EQ(Of(aac + aac), Container::kNone);
  EXPECT_EQ(Of(aac + "x" + aac + aac), Container::kNone);
  // AC-3: 48 kHz, 32 kbit/s: 128 bytes. At 44.1 kHz 69 words, and 70 in every other packet: 138 and 140 bytes.
  const auto ac3 = [](char rate_and_row, size_t bytes) {
    return std::string("\x0B\x77\0\0", 4) + rate_and_row + '\x40' + std::string(bytes - 6, 'x');
  };
  EXPECT_EQ(Of(ac3(0, 128) + ac3(0, 128) + ac3(0, 128)), Container::kForwardMedia);
  EXPECT_EQ(Of(ac3(0x40, 138) + ac3(0x41, 140) + ac3(0x40, 138)), Container::kForwardMedia);
  EXPECT_EQ(Of(ac3(0x40, 138) + ac3(0x41, 138) + ac3(0x40, 138)), Container::kNone);
  const std::string transport = "G" + std::string(187, 'x');
  EXPECT_EQ(Of(transport + transport + transport + transport + transport), Container::kForwardMedia);
  EXPECT_EQ(Of(transport + transport + transport + transport + "x"), Container::kNone);
}

}  // namespace
}  // namespace TSEG::tool
