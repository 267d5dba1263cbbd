// SPDX-License-Identifier: Apache-2.0
#include "blocks/audio_input.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>
#include <vector>

#include "support/temp_folder.h"

namespace TSEG::blocks {
namespace {

void PutFile(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// A WAV file of three 16-bit samples, 1, 2 and -1.
std::string Wav(unsigned char channels, unsigned char rate_low, unsigned char rate_high) {
  std::string bytes = "RIFF";
  bytes += std::string("\x2A\x00\x00\x00", 4) + "WAVEfmt " + std::string("\x10\x00\x00\x00\x01\x00", 6);
  bytes += {static_cast<char>(channels), 0, static_cast<char>(rate_low), static_cast<char>(rate_high), 0, 0};
  bytes += std::string("\x00\x00\x00\x00", 4) + std::string(1, static_cast<char>(2 * channels)) + std::string("\x00\x10\x00", 3);
  bytes += "data" + std::string("\x06\x00\x00\x00", 4) + std::string("\x01\x00\x02\x00\xFF\xFF", 6);
  return bytes;
}

TEST(ReadAudio, RawSamplesAreTakenAsTheyAreAndAnOddByteIsDropped) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/a.s16";
  PutFile(path, std::string("\x01\x00\xFE\xFF\x07", 5));
  std::vector<int16_t> samples;
  std::string error;
  ASSERT_TRUE(ReadAudio(path, 16000, &samples, &error)) << error;
  EXPECT_EQ(samples, (std::vector<int16_t>{1, -2}));
}

TEST(ReadAudio, WavAtTheRateIsRead) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/a.wav";
  PutFile(path, Wav(1, 0x80, 0x3E));  // 16000
  std::vector<int16_t> samples;
  std::string error;
  ASSERT_TRUE(ReadAudio(path, 16000, &samples, &error)) << error;
  EXPECT_EQ(samples, (std::vector<int16_t>{1, 2, -1}));
}

TEST(ReadAudio, AnotherRateIsRefusedWithTheReason) {
  const testing_support::TempFolder folder;
  const std::string path = folder.path() + "/a.wav";
  PutFile(path, Wav(1, 0x40, 0x1F));  // 8000
  std::vector<int16_t> samples;
  std::string error;
  EXPECT_FALSE(ReadAudio(path, 16000, &samples, &error));
  EXPECT_EQ(error, path + ": 8000 Hz, 1 channels; 16000 Hz mono is needed");
}

TEST(ReadAudio, MissingAndForeignFilesAreRefused) {
  const testing_support::TempFolder folder;
  std::vector<int16_t> samples;
  std::string error;
  EXPECT_FALSE(ReadAudio(folder.path() + "/none.s16", 16000, &samples, &error));
  EXPECT_NE(error.find("none.s16"), std::string::npos);
  PutFile(folder.path() + "/text.wav", "no sound at all");
  EXPECT_FALSE(ReadAudio(folder.path() + "/text.wav", 16000, &samples, &error));
  EXPECT_NE(error.find("text.wav"), std::string::npos);
}

}  // namespace
}  // namespace TSEG::blocks
