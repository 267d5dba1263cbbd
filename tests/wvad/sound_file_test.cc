// SPDX-License-Identifier: Apache-2.0
#include "wvad/sound_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>

#include <string>
#include <vector>

#include "support/temp_folder.h"
#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

const SoundFileKind& Kind(const std::string& name) { return *SoundFileKindOfEnding("x." + name); }

class SoundFileTest : public ::testing::Test {
 protected:
  // Writes `samples` in steps of different lengths, and gives the path.
  std::string Written(const std::string& kind, SampleDepth depth, int rate_hz, int channels, const std::vector<float>& samples,
                      int64_t most_frames = 0) {
    const std::string path = folder_.file("out." + kind);
    const OutputRules rules(true, {});
    NewFile file(path, rules);
    const size_t frames = samples.size() / static_cast<size_t>(channels);
    SoundFile sound(file, Kind(kind), depth, rate_hz, channels, most_frames > 0 ? most_frames : static_cast<int64_t>(frames));
    for (size_t at = 0, step = 1; at < frames; at += step, step = 2 * step + 1) {
      sound.Write(samples.data() + at * static_cast<size_t>(channels), std::min(step, frames - at));
    }
    sound.Finish();
    file.Publish();
    return path;
  }
  // All of it as 32-bit words.
  static std::vector<int> Words(const std::string& path, SF_INFO* info) {
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, info);
    EXPECT_NE(file, nullptr) << path;
    std::vector<int> words(static_cast<size_t>(info->frames * info->channels));
    EXPECT_EQ(sf_readf_int(file, words.data(), info->frames), info->frames);
    sf_close(file);
    return words;
  }

  testing_support::TempFolder folder_;
};

TEST_F(SoundFileTest, IntegersComeThroughUnchanged) {
  struct Row {
    SampleDepth depth;
    int bits;
  };
  for (const Row& row : {Row{SampleDepth::k8, 8}, Row{SampleDepth::k16, 16}, Row{SampleDepth::k24, 24}}) {
    const auto most = static_cast<int64_t>(1) << (row.bits - 1);
    std::vector<float> samples;
    std::vector<int> words;
    for (int64_t i = 0; i < 20000; ++i) {
      const int64_t value = i == 0 ? -most : i == 1 ? most - 1 : (i * 2654435761LL) % most * (i % 2 == 0 ? 1 : -1);
      samples.push_back(static_cast<float>(static_cast<double>(value) / static_cast<double>(most)));
      words.push_back(static_cast<int>(value * (int64_t{1} << (32 - row.bits))));
    }
    for (const char* kind : {"wav", "flac"}) {
      SCOPED_TRACE(std::string(kind) + " " + std::to_string(row.bits));
      SF_INFO info{};
      EXPECT_EQ(Words(Written(kind, row.depth, 44100, 2, samples), &info), words);
      EXPECT_EQ(info.samplerate, 44100);
      EXPECT_EQ(info.channels, 2);
    }
  }
}

TEST_F(SoundFileTest, EachDepthHasItsForm) {
  const std::vector<float> samples(100, 0.25F);
  const auto form = [&](const std::string& kind, SampleDepth depth) {
    SF_INFO info{};
    Words(Written(kind, depth, 16000, 1, samples), &info);
    return info.format & SF_FORMAT_SUBMASK;
  };
  EXPECT_EQ(form("wav", SampleDepth::k8), SF_FORMAT_PCM_U8);
  EXPECT_EQ(form("wav", SampleDepth::k16), SF_FORMAT_PCM_16);
  EXPECT_EQ(form("wav", SampleDepth::k24), SF_FORMAT_PCM_24);
  EXPECT_EQ(form("wav", SampleDepth::k32), SF_FORMAT_PCM_32);
  EXPECT_EQ(form("wav", SampleDepth::kFloat), SF_FORMAT_FLOAT);
  EXPECT_EQ(form("flac", SampleDepth::k16), SF_FORMAT_PCM_16);
  EXPECT_EQ(form("flac", SampleDepth::kFloat), SF_FORMAT_PCM_24);
}

TEST_F(SoundFileTest, FloatsComeThroughUnchangedBeyondFullScaleToo) {
  const std::vector<float> samples = {0.0F, 1.5F, -2.25F, 1e-9F, 0.1F};
  const std::string path = Written("wav", SampleDepth::kFloat, 48000, 1, samples);
  SF_INFO info{};
  SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
  std::vector<float> read(5);
  EXPECT_EQ(sf_readf_float(file, read.data(), 5), 5);
  sf_close(file);
  EXPECT_EQ(read, samples);
}

TEST_F(SoundFileTest, IntegersTakeTheNearestValueInRange) {
  SF_INFO info{};
  // In units of 1/32768: 0.4, 0.6, beyond both ends.
  const std::vector<float> samples = {0.4F / 32768, 0.6F / 32768, 1.0F, -3.0F};
  EXPECT_EQ(Words(Written("wav", SampleDepth::k16, 8000, 1, samples), &info), (std::vector<int>{0, 1 << 16, 32767 << 16, -32768 * 65536}));
}

TEST_F(SoundFileTest, AShortWavIsAPlainOne) {
  const std::string path = Written("wav", SampleDepth::k16, 8000, 1, std::vector<float>(1000, 0.5F));
  // "RIFF", its length, "WAVE", and at once a format of 16 bytes, of kind 1: what the simplest reader knows.
  EXPECT_EQ(folder_.read("out.wav").substr(0, 22), std::string("RIFF\xf4\x07\0\0WAVEfmt \x10\0\0\0\1\0", 22));
}

TEST_F(SoundFileTest, AWavThatMayGrowBeyondFourGigabytesHasTheFormForIt) {
  // In 32 bits and two channels a frame has 8 bytes.
  const std::vector<float> samples(2000, 0.5F);
  Written("wav", SampleDepth::k32, 8000, 2, samples, int64_t{1} << 29);
  EXPECT_EQ(folder_.read("out.wav").substr(0, 4), "RF64");
  SF_INFO info{};
  EXPECT_EQ(Words(folder_.file("out.wav"), &info).size(), 2000U);
  Written("wav", SampleDepth::k32, 8000, 2, samples, int64_t{1} << 28);
  EXPECT_EQ(folder_.read("out.wav").substr(0, 4), "RIFF");
}

TEST_F(SoundFileTest, WhatACompressedFormDoesNotKnowIsRefusedWithWhatItDoes) {
  const auto refusal = [](const std::string& kind, int rate_hz, int channels) {
    try {
      CheckSoundFile("talk.wav", Kind(kind), rate_hz, channels);
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.code(), ExitCode::kBadRate);
      return std::string(failure.what());
    }
    return std::string();
  };
  EXPECT_EQ(refusal("opus", 44100, 2), "talk.wav: opus holds no sound of 44100 Hz (8000, 12000, 16000, 24000, 48000); choose another kind");
  EXPECT_EQ(refusal("mp3", 44100, 6), "talk.wav: mp3 holds no 6 channels (up to 2); choose another kind");
  EXPECT_EQ(refusal("mp3", 96000, 2).empty(), false);
  EXPECT_EQ(refusal("flac", 96000, 9).empty(), false);
  for (const char* kind : {"wav", "flac", "ogg", "opus", "mp3"}) EXPECT_EQ(refusal(kind, 48000, 2), "") << kind;
}

TEST_F(SoundFileTest, WhatIsSaidToBeHeldCanBeWritten) {
  const std::vector<float> samples(48000, 0.25F);
  for (const char* kind : {"wav", "flac", "ogg", "opus", "mp3"}) {
    for (const int rate_hz : {8000, 11025, 16000, 22050, 44100, 48000}) {
      try {
        CheckSoundFile("", Kind(kind), rate_hz, 2);
      } catch (const Failure&) {
        continue;
      }
      SF_INFO info{};
      Words(Written(kind, SampleDepth::k16, rate_hz, 2, samples), &info);
      // An MP3 is read at its rate; Opus always decodes at one of its own.
      EXPECT_EQ(info.samplerate, rate_hz) << kind;
      EXPECT_EQ(info.channels, 2) << kind;
      EXPECT_EQ(info.frames, 24000) << kind << " " << rate_hz;
    }
  }
}

}  // namespace
}  // namespace TSEG::tool
