// SPDX-License-Identifier: Apache-2.0
//
// The channel from samples to finished frames and blocks: reference numbers, the push and its edges, what a start forgets, allocations.
#include "channel/front_end_channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "channel/channel_session.h"
#include "frontend/test_audio.h"
#include "support/count_allocations.h"

namespace TSEG {
namespace {

using testing_support::CountAllocations;
using testing_support::kChunk;
using testing_support::Mixture;
using testing_support::Outcome;
using testing_support::PopBlocks;
using testing_support::ReadNumbers;
using testing_support::RunSession;

// ---- Reference numbers

void ExpectNear(const std::vector<float>& got, const float* want, const std::string& where) {
  for (size_t i = 0; i < got.size(); ++i) ASSERT_NEAR(got[i], want[i], 4e-4) << where << " value " << i;
}

void ExpectReference(const std::string& type, size_t blocks, size_t every, const std::string& frames) {
  const std::vector<int16_t> pcm = ReadNumbers<int16_t>("channel/pcm_16000.i16");
  const std::vector<float> want_blocks = ReadNumbers<float>("channel/" + type + "_blocks.f32");
  const std::vector<float> want_frames = ReadNumbers<float>("channel/" + frames);
  const std::vector<float> want_energies = ReadNumbers<float>("channel/energy.f32");
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, true, 0, false, testing_support::WidthOf(type));
  const Outcome outcome = RunSession(&channel, type, pcm);
  EXPECT_EQ(outcome.stops, 0);
  ASSERT_EQ(outcome.blocks.size(), blocks);
  for (size_t n = 0, row = 0; n < blocks; n += every, ++row) {
    const std::vector<float>& values = outcome.blocks[n].values;
    ASSERT_LE((row + 1) * values.size(), want_blocks.size());
    ExpectNear(values, &want_blocks[row * values.size()], type + " block " + std::to_string(n));
  }
  for (size_t n = 0; n < blocks; ++n) {
    EXPECT_EQ(outcome.blocks[n].eof, n + 1 == blocks ? 1 : 0) << type << " " << n;
    EXPECT_EQ(outcome.blocks[n].padded, type != "dnn_fb75" && n + 1 == blocks ? 3 : 0) << type << " " << n;
  }
  ASSERT_EQ(outcome.frames.size(), 301u);
  for (size_t n = 0; n < 301; n += 4)
    ExpectNear(outcome.frames[n], &want_frames[n / 4 * kFeatureFrame], type + " frame " + std::to_string(n));
  ASSERT_EQ(want_energies.size(), 301u);
  for (size_t n = 0; n < 301; ++n) EXPECT_NEAR(outcome.energies[n] * 1000.0f, want_energies[n], 4e-3) << n;
}

TEST(FrontEndChannel, DnnSessionAgreesWithTheReference) { ExpectReference("dnn_fb75", 301, 7, "fb75_frames115.f32"); }
TEST(FrontEndChannel, Lstm75SessionAgreesWithTheReference) { ExpectReference("lstm_fb75", 76, 3, "fb75_frames115.f32"); }
TEST(FrontEndChannel, Lstm40SessionAgreesWithTheReference) { ExpectReference("lstm_fb40", 76, 3, "fb40_frames115.f32"); }

// ---- The push

TEST(FrontEndChannel, FirstFrameComesThreeTimesAndTheLastThreeTimes) {
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, false, 0, false, 75);
  const std::vector<int16_t> pcm = Mixture(800, 16000);
  EXPECT_FALSE(FrontEndPush(&channel, pcm.data(), 800, false));
  EXPECT_EQ(channel.nFramesIn, 3);
  EXPECT_EQ(channel.pending.size(), 3u);
  EXPECT_EQ(channel.vecDynamic.size(), 0u);
  EXPECT_FALSE(FrontEndPush(&channel, pcm.data(), 0, true));
  EXPECT_EQ(channel.nFramesIn, 5);
  EXPECT_EQ(channel.vecDynamic.size(), 1u);
  EXPECT_EQ(channel.nDeltaDone, 1);
  // Among copies of one frame nothing differs.
  for (const float v : channel.vecDynamic.at(0).afDelta24) EXPECT_NEAR(v, 0.0f, 2e-6f);
}

TEST(FrontEndChannel, TwoNewestFramesWaitForTheirSecondDifferences) {
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, false, 0, false, 75);
  const std::vector<int16_t> pcm = Mixture(800 + 9 * 160, 16000);
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  EXPECT_EQ(channel.nFramesIn, 12);  // 10 and two copies
  EXPECT_EQ(channel.vecDynamic.nTail, 8u);
  EXPECT_EQ(channel.nDeltaDone, 6);
  FrontEndPush(&channel, pcm.data(), 0, true);
  EXPECT_EQ(channel.nFramesIn, 14);
  EXPECT_EQ(channel.vecDynamic.nTail, 10u);
  EXPECT_EQ(channel.nDeltaDone, 10);
}

TEST(FrontEndChannel, PitchAccelNextToTheEndUsesTheLastFrameTwice) {
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, false, 0, false, 75);
  const std::vector<int16_t> pcm = Mixture(16000, 16000);
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  FrontEndPush(&channel, pcm.data(), 0, true);
  const int last = channel.nDeltaDone - 1;
  auto d = [&](int t) { return channel.vecDynamic.at(t).fPitchDelta; };
  float want = 0.0f - d(last - 3) * 0.75f;
  want = want - d(last - 2) * 0.375f;
  want = want + d(last) * 0.375f;
  want = want + d(last) * 0.75f;
  EXPECT_EQ(channel.vecDynamic.at(last - 1).fPitchAccel, want);
}

TEST(FrontEndChannel, PushWithoutAudioEndsASessionThatHadNone) {
  for (const std::string type : {"dnn_fb75", "lstm_fb75", "lstm_fb40"}) {
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 0, false, testing_support::WidthOf(type));
    const int16_t none = 0;
    EXPECT_FALSE(FrontEndPush(&channel, &none, 0, true));
    EXPECT_EQ(FinishedFrames(channel), 0);
    Outcome outcome;
    PopBlocks(&channel, type, true, &outcome);
    EXPECT_TRUE(outcome.blocks.empty());
    EXPECT_EQ(outcome.eof, type == "dnn_fb75" ? 0 : 1);
  }
}

TEST(FrontEndChannel, ModelTypeDecidesOnPitch) {
  const std::vector<int16_t> pcm = testing_support::Tone(16000, 200.0, 16000, 6000);
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, false, 0, false, 40);
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  EXPECT_EQ(channel.vecStatic.at(0).fPitchAux, 0.0f);
  FrontEndChannelStart(&channel, 16000, false, 0, false, 75);
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  EXPECT_GT(channel.vecDynamic.at(0).fPitchAux, 70.0f);
}

TEST(FrontEndChannel, K4EnergyStaysOnForTheLifeOfTheChannel) {
  const std::vector<int16_t> silence(1600);
  FrontEndChannel channel;
  for (const bool k4 : {false, true, false}) {
    FrontEndChannelStart(&channel, 16000, false, 0, k4, 40);
    FrontEndPush(&channel, silence.data(), 1600, false);
    static bool seen = false;
    seen = seen || k4;
    EXPECT_NEAR(channel.vecStatic.at(0).fEnergy, seen ? 56.9897f : 0.0f, 5e-5);
  }
}

TEST(FrontEndChannel, StartForgetsTheSessionBefore) {
  const std::vector<int16_t> pcm = Mixture(16000, 16000);
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, true, 0, false, 75);
  const Outcome want = RunSession(&channel, "dnn_fb75", pcm);
  ASSERT_GT(want.blocks.size(), 90u);
  FrontEndChannelStart(&channel, 16000, true, 0, false, 75);
  FrontEndPush(&channel, pcm.data(), 8000, false);  // left in the middle
  FrontEndChannelStart(&channel, 16000, true, 0, false, 75);
  const Outcome got = RunSession(&channel, "dnn_fb75", pcm);
  ASSERT_EQ(got.blocks.size(), want.blocks.size());
  for (size_t i = 0; i < want.blocks.size(); ++i) EXPECT_EQ(got.blocks[i].values, want.blocks[i].values) << i;
  EXPECT_EQ(got.frames, want.frames);
  FrontEndChannelClear(&channel);
  EXPECT_EQ(channel.nFramesIn, 0);
  EXPECT_EQ(channel.nDeltaDone, 0);
  EXPECT_EQ(channel.nCursor, 0);
  EXPECT_TRUE(channel.vecDynamic.empty());
  EXPECT_TRUE(channel.pending.empty());
}

TEST(FrontEndChannel, SteadyFlowAllocatesNothing) {
  for (const std::string type : {"dnn_fb75", "lstm_fb75", "lstm_fb40"}) {
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 0, false, testing_support::WidthOf(type));
    const std::vector<int16_t> pcm = Mixture(1200 * 160, 16000);
    long before = 0;
    float frame[kFeatureFrame];
    for (size_t at = 0; at + kChunk <= pcm.size(); at += kChunk) {
      if (at >= 160 * 160) {
        if (before == 0) before = CountAllocations();
      }
      FrontEndPush(&channel, pcm.data() + at, kChunk, false);
      for (; channel.nFramesOut < FinishedFrames(channel); ++channel.nFramesOut) FillFeatureFrame(channel, channel.nFramesOut, frame);
      uint8_t eof = 0;
      int32_t padded = 0;
      if (type == "dnn_fb75") {
        while (PopDnnBlock(&channel, false, &eof) != nullptr) {
        }
      } else if (type == "lstm_fb75") {
        while (PopLstmBlock75(&channel, false, &eof, &padded) != nullptr) {
        }
      } else {
        while (PopLstmBlock40(&channel, false, &eof, &padded) != nullptr) {
        }
      }
    }
    EXPECT_GT(channel.nFramesOut, 1000) << type;
    EXPECT_EQ(CountAllocations() - before, 0) << type;
  }
}

}  // namespace
}  // namespace TSEG
