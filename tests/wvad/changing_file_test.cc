// SPDX-License-Identifier: Apache-2.0
//
// Recordings that somebody makes shorter or longer while they are heard: what is told of them is what their heading promised when they were
// opened, and what was heard.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "wvad/audio_source.h"
#include "wvad/signals.h"

namespace TSEG::tool {
namespace {

constexpr int kRate_hz = 16000;
constexpr size_t kSecond = 32000;  // bytes of 16 bit
constexpr int kForms[] = {SF_FORMAT_WAV, SF_FORMAT_AIFF, SF_FORMAT_AU};

class ChangingFile : public ::testing::Test {
 protected:
  // 5 s of nothing. `behind`: bytes of its header.
  std::string Make(int form, size_t* behind) {
    std::string path = folder_.file("a" + std::to_string(form));
    testing::WriteAudio(path, std::vector<int16_t>(5 * kRate_hz), kRate_hz, 1, form | SF_FORMAT_PCM_16);
    *behind = std::filesystem::file_size(path) - 5 * kSecond;
    return path;
  }
  // Hears so many seconds, or what there is of them.
  static void Hear(AudioSource& source, int seconds) {
    std::vector<float> out(kRate_hz);
    for (int i = 0; i < seconds; ++i) source.Read(out.data(), out.size());
  }

  testing_support::TempFolder folder_;
};

TEST_F(ChangingFile, OneThatShrinksIsCutShortOfWhatItPromised) {
  for (const int form : kForms) {
    // Seconds that are heard before, that are there then, and that are heard in the end.
    for (const auto& [before, left, heard] : {std::array{3, 4, 4}, {3, 1, 3}, {3, 0, 3}, {0, 1, 1}}) {
      SCOPED_TRACE(std::to_string(form) + ": " + std::to_string(before) + ", " + std::to_string(left));
      size_t header = 0;
      const std::string path = Make(form, &header);
      const std::unique_ptr<AudioSource> source = OpenAudio(path, {});
      Hear(*source, before);
      std::filesystem::resize_file(path, header + static_cast<size_t>(left) * kSecond);
      Hear(*source, 6);
      EXPECT_EQ(source->damage(), "cut short: " + std::to_string(heard) + ".00 of 5.00 s are there");
    }
  }
}

TEST_F(ChangingFile, OneThatWasCutAndShrinksFurtherIsCutShortOfWhatItPromised) {
  for (const int form : kForms) {
    SCOPED_TRACE(form);
    size_t header = 0;
    const std::string path = Make(form, &header);
    std::filesystem::resize_file(path, header + 4 * kSecond);
    const std::unique_ptr<AudioSource> source = OpenAudio(path, {});
    Hear(*source, 2);
    std::filesystem::resize_file(path, header + kSecond);
    Hear(*source, 6);
    EXPECT_EQ(source->damage(), "cut short: 2.00 of 5.00 s are there");
  }
}

TEST_F(ChangingFile, AHeadOfSamplesCountsAsNone) {
  for (const int form : kForms) {
    SCOPED_TRACE(form);
    size_t header = 0;
    const std::string path = Make(form, &header);
    std::filesystem::resize_file(path, header + kSecond / 20);
    const std::unique_ptr<AudioSource> source = OpenAudio(path, {});
    Hear(*source, 1);
    EXPECT_EQ(source->damage(), "cut short: 0.05 of 5.00 s are there");
  }
}

TEST_F(ChangingFile, OneThatShrinksBehindItsLastSampleWasWhole) {
  for (const int form : kForms) {
    SCOPED_TRACE(form);
    size_t header = 0;
    const std::string path = Make(form, &header);
    const std::unique_ptr<AudioSource> source = OpenAudio(path, {});
    Hear(*source, 6);
    std::filesystem::resize_file(path, header + kSecond);
    EXPECT_EQ(source->damage(), "");
  }
}

TEST_F(ChangingFile, WhatComesBehindTheEndThatItHadIsNotThere) {
  for (const int form : kForms) {
    SCOPED_TRACE(form);
    size_t header = 0;
    const std::string path = Make(form, &header);
    std::filesystem::resize_file(path, header + 2 * kSecond);
    const std::unique_ptr<AudioSource> source = OpenAudio(path, {});
    Hear(*source, 1);
    std::filesystem::resize_file(path, header + 5 * kSecond);
    Hear(*source, 6);
    EXPECT_EQ(source->damage(), "cut short: 2.00 of 5.00 s are there");
  }
}

TEST_F(ChangingFile, ALastBlockThatIsShortByRightIsNoneThatIsMissing) {
  const std::string path = folder_.file("a.wav");
  testing::WriteAudio(path, std::vector<int16_t>(5 * kRate_hz), kRate_hz, 1, SF_FORMAT_WAV | SF_FORMAT_IMA_ADPCM);
  std::string bytes = folder_.read("a.wav");
  const size_t data = bytes.find("data");
  bytes.resize(bytes.size() - 100);
  const size_t size = bytes.size() - data - 8;
  for (size_t i = 0; i < 4; ++i) bytes[data + 4 + i] = static_cast<char>(size >> (8 * i) & 0xFF);
  const std::unique_ptr<AudioSource> source = OpenAudio(folder_.write("b.wav", bytes), {});
  Hear(*source, 6);
  EXPECT_EQ(source->damage(), "");
}

}  // namespace
}  // namespace TSEG::tool
