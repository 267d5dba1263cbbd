// SPDX-License-Identifier: Apache-2.0
//
// The channel from samples to finished frames and blocks, against reference numbers and against the same arithmetic in its plainest form,
// with vectors that never end in place of the rings.
#include "session/front_end_channel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "frontend/test_audio.h"
#include "session/count_allocations.h"

namespace TSEG {
namespace {

using testing_support::CountAllocations;
using testing_support::Mixture;
using testing_support::ReadNumbers;

constexpr size_t kChunk = 400;  // samples

struct Block {
  std::vector<float> values;
  int eof = 0;
  int padded = 0;
};

// What a session gives: the frames of the read path, their energies, the blocks.
struct Outcome {
  std::vector<std::vector<float>> frames;
  std::vector<float> energies;
  std::vector<Block> blocks;
  int eof = 0;    // set by the last pop, the one that gave nothing
  int stops = 0;  // pushes that stopped short
};

void MoveFrames(FrontEndChannel* channel, Outcome* outcome) {
  for (; channel->nFramesOut < FinishedFrames(*channel); ++channel->nFramesOut) {
    std::vector<float> frame(kFeatureFrame);
    outcome->energies.push_back(FillFeatureFrame(*channel, channel->nFramesOut, frame.data()));
    outcome->frames.push_back(frame);
  }
}

void PopBlocks(FrontEndChannel* channel, const std::string& type, bool last, Outcome* outcome) {
  for (;;) {
    uint8_t eof = 0;
    int32_t padded = 0;
    const float* block;
    size_t size;
    if (type == "dnn_fb75") {
      block = PopDnnBlock(channel, last, &eof);
      size = 825;
    } else if (type == "lstm_fb75") {
      block = PopLstmBlock75(channel, last, &eof, &padded);
      size = 300;
    } else {
      block = PopLstmBlock40(channel, last, &eof, &padded);
      size = 160;
    }
    outcome->eof = eof;
    if (block == nullptr) return;
    outcome->blocks.push_back(Block{std::vector<float>(block, block + size), eof, padded});
  }
}

// Writes `pcm` in chunks as the write path does, with an empty last chunk where the audio ends on a chunk's end.
Outcome RunSession(FrontEndChannel* channel, const std::string& type, const std::vector<int16_t>& pcm) {
  Outcome outcome;
  for (size_t at = 0;; at += kChunk) {
    const size_t n = std::min(kChunk, pcm.size() - at);
    const bool last = n < kChunk;
    bool more = FrontEndPush(channel, pcm.data() + at, static_cast<int>(n), last);
    while (more) {
      ++outcome.stops;
      MoveFrames(channel, &outcome);
      PopBlocks(channel, type, false, &outcome);
      more = FrontEndContinue(channel);
    }
    EXPECT_LE(channel->pending.size(), 5u);
    MoveFrames(channel, &outcome);
    PopBlocks(channel, type, last, &outcome);
    if (last) return outcome;
  }
}

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
  FrontEndChannelStart(&channel, 16000, true, 0, false, type);
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

// ---- The plain form

float Sum4(float f0, float f1, float f3, float f4, float far, float near) {
  float d = 0.0f - f0 * far;
  d = d - f1 * near;
  d = d + f3 * near;
  d = d + f4 * far;
  return d;
}

// All records of a session, read as a push would, from a front end of its own.
std::vector<StaticFeatureFB> ReadRecords(const std::string& cmn_type, bool pitch, const std::vector<int16_t>& pcm) {
  std::vector<StaticFeatureFB> records;
  FrontHandle front = nullptr;
  ORVAFloatFrontCreate(&front);
  ORVAFloatFrontSetParameter(front, "wffpl_param_cmn_type", cmn_type.c_str());
  ORVAFloatFrontSetParameter(front, "wffpl_param_ispitch_enable", pitch ? "1" : "0");
  ORVAFloatFrontReset(front, 1);
  StaticFeatureFB record;
  for (size_t at = 0;; at += kChunk) {
    const size_t n = std::min(kChunk, pcm.size() - at);
    ORVAFloatFrontAppendData(front, pcm.data() + at, static_cast<int>(n));
    while (ORVAFloatFrontGetFeature(front, &record, 0) == 0) records.push_back(record);
    if (n < kChunk) break;
  }
  while (ORVAFloatFrontGetFeature(front, &record, 1) == 0) records.push_back(record);
  ORVAFloatFrontDestroy(front);
  return records;
}

// The 75 values of each frame and the 115 values of each frame, with all frames at hand.
struct Plain {
  std::vector<std::vector<float>> v75, v115;
};

Plain PlainFrames(const std::vector<StaticFeatureFB>& records) {
  const int n = static_cast<int>(records.size());
  auto record = [&](int i) -> const StaticFeatureFB& { return records[static_cast<size_t>(std::clamp(i, 0, n - 1))]; };
  std::vector<std::vector<float>> first(records.size(), std::vector<float>(25));
  for (int t = 0; t < n; ++t) {
    for (size_t i = 0; i < 24; ++i) {
      first[static_cast<size_t>(t)][i] =
          Sum4(record(t - 2).afFb24[i], record(t - 1).afFb24[i], record(t + 1).afFb24[i], record(t + 2).afFb24[i], 0.2f, 0.1f);
    }
    first[static_cast<size_t>(t)][24] =
        Sum4(record(t - 2).fPitch, record(t - 1).fPitch, record(t + 1).fPitch, record(t + 2).fPitch, 0.75f, 0.375f);
  }
  auto delta = [&](int i) -> const std::vector<float>& { return first[static_cast<size_t>(std::clamp(i, 0, n - 1))]; };
  Plain plain;
  for (int t = 0; t < n; ++t) {
    std::vector<float> accel(25);
    for (size_t i = 0; i < 25; ++i) {
      accel[i] = Sum4(delta(t - 2)[i], delta(t - 1)[i], delta(t + 1)[i], delta(t + 2)[i], i < 24 ? 0.2f : 0.75f, i < 24 ? 0.1f : 0.375f);
    }
    const StaticFeatureFB& r = record(t);
    std::vector<float> a(r.afFb24Cmn, r.afFb24Cmn + 24), b(r.afFb24, r.afFb24 + 24);
    for (std::vector<float>* v : {&a, &b}) {
      v->insert(v->end(), delta(t).begin(), delta(t).begin() + 24);
      v->insert(v->end(), accel.begin(), accel.begin() + 24);
      v->push_back(delta(t)[24]);
      v->push_back(accel[24]);
      v->push_back(r.fPitchAux);
    }
    b.insert(b.end(), r.afFb40, r.afFb40 + 40);
    plain.v75.push_back(a);
    plain.v115.push_back(b);
  }
  return plain;
}

void ExpectSame(const std::vector<float>& got, const std::vector<float>& want, const std::string& where) {
  ASSERT_EQ(got.size(), want.size()) << where;
  ASSERT_EQ(std::memcmp(got.data(), want.data(), got.size() * sizeof(float)), 0) << where;
}

std::vector<float> Join(const std::vector<std::vector<float>>& frames, int from, int count) {
  std::vector<float> joined;
  for (int i = from; i < from + count; ++i) {
    const std::vector<float>& frame = frames[static_cast<size_t>(std::clamp(i, 0, static_cast<int>(frames.size()) - 1))];
    joined.insert(joined.end(), frame.begin(), frame.end());
  }
  return joined;
}

void ExpectPlain75(const std::string& type, int cmn_type, const std::vector<int16_t>& pcm, FrontEndChannel* channel, bool stops) {
  const std::vector<StaticFeatureFB> records = ReadRecords(std::to_string(cmn_type), true, pcm);
  const Plain plain = PlainFrames(records);
  FrontEndChannelStart(channel, 16000, true, cmn_type, false, type);
  const Outcome outcome = RunSession(channel, type, pcm);
  const std::string what = type + " mean " + std::to_string(cmn_type) + " frames " + std::to_string(records.size());
  EXPECT_EQ(outcome.stops > 0, stops) << what;
  EXPECT_EQ(channel->nFramesIn, records.empty() ? 0 : static_cast<int>(records.size()) + 4) << what;
  EXPECT_EQ(channel->nDeltaDone, static_cast<int>(records.size())) << what;
  ASSERT_EQ(outcome.frames.size(), records.size()) << what;
  for (size_t n = 0; n < records.size(); ++n) {
    ExpectSame(outcome.frames[n], plain.v115[n], what + " frame " + std::to_string(n));
    ASSERT_EQ(outcome.energies[n], records[n].fEnergy) << what;
  }
  if (type == "dnn_fb75") {
    ASSERT_EQ(outcome.blocks.size(), records.size()) << what;
    for (size_t n = 0; n < records.size(); ++n) {
      ExpectSame(outcome.blocks[n].values, Join(plain.v75, static_cast<int>(n) - 5, 11), what + " block " + std::to_string(n));
    }
  } else {
    ASSERT_EQ(outcome.blocks.size(), (records.size() + 3) / 4) << what;
    for (size_t n = 0; n < outcome.blocks.size(); ++n) {
      ExpectSame(outcome.blocks[n].values, Join(plain.v75, static_cast<int>(4 * n), 4), what + " block " + std::to_string(n));
    }
  }
  if (!outcome.blocks.empty()) {
    EXPECT_EQ(outcome.blocks.back().eof, 1) << what;
  }
}

void ExpectPlain40(int cmn_type, const std::vector<int16_t>& pcm, FrontEndChannel* channel, bool stops) {
  const std::vector<StaticFeatureFB> records = ReadRecords(std::to_string(cmn_type), false, pcm);
  FrontEndChannelStart(channel, 16000, true, cmn_type, false, "lstm_fb40");
  const Outcome outcome = RunSession(channel, "lstm_fb40", pcm);
  const std::string what = "lstm_fb40 mean " + std::to_string(cmn_type) + " frames " + std::to_string(records.size());
  EXPECT_EQ(outcome.stops > 0, stops) << what;
  EXPECT_EQ(channel->nFramesIn, static_cast<int>(records.size())) << what;
  ASSERT_EQ(outcome.frames.size(), records.size()) << what;
  ASSERT_EQ(outcome.blocks.size(), (records.size() + 3) / 4) << what;
  for (size_t n = 0; n < records.size(); ++n) {
    std::vector<float> frame(75, 0.0f);
    frame.insert(frame.end(), records[n].afFb40, records[n].afFb40 + 40);
    ExpectSame(outcome.frames[n], frame, what + " frame " + std::to_string(n));
    ASSERT_EQ(outcome.energies[n], records[n].fEnergy) << what;
    const std::vector<float>& block = outcome.blocks[n / 4].values;
    ASSERT_EQ(std::memcmp(&block[n % 4 * 40], records[n].afFb40, 40 * sizeof(float)), 0) << what << " " << n;
  }
  for (size_t n = records.size(); n < 4 * outcome.blocks.size(); ++n) {
    for (size_t i = 0; i < 40; ++i) ASSERT_EQ(outcome.blocks.back().values[n % 4 * 40 + i], 0.0f) << what;
  }
}

std::vector<int16_t> AudioFor(size_t frames) { return Mixture(frames == 0 ? 700 : 800 + (frames - 1) * 160 + 60, 16000); }

TEST(FrontEndChannel, SessionsOfEveryLengthEqualThePlainForm) {
  FrontEndChannel channel;
  for (const unsigned frames : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 9u, 10u, 11u, 12u, 13u, 40u, 99u, 100u, 101u, 102u, 149u, 180u, 250u}) {
    for (const int cmn_type : {0, 1, 3}) {
      ExpectPlain75("dnn_fb75", cmn_type, AudioFor(frames), &channel, false);
      ExpectPlain75("lstm_fb75", cmn_type, AudioFor(frames), &channel, false);
      ExpectPlain40(cmn_type, AudioFor(frames), &channel, false);
    }
  }
}

TEST(FrontEndChannel, LongSessionsWrapTheRingsUnseen) {
  FrontEndChannel channel;
  ExpectPlain75("dnn_fb75", 0, AudioFor(1500), &channel, false);
  ExpectPlain75("lstm_fb75", 2, AudioFor(1500), &channel, false);
  ExpectPlain40(0, AudioFor(1500), &channel, false);
}

// With the mean of the whole utterance everything comes at the flush, more than a ring holds.
TEST(FrontEndChannel, WholeUtteranceBeyondTheRingEqualsARingWithoutEnd) {
  FrontEndChannel channel;
  for (const unsigned frames : {255u, 256u, 257u, 258u, 259u, 260u, 261u, 262u, 300u, 511u, 512u, 513u, 600u, 1100u}) {
    ExpectPlain75("dnn_fb75", 4, AudioFor(frames), &channel, frames > 256);
    ExpectPlain75("lstm_fb75", 4, AudioFor(frames), &channel, frames > 256);
    ExpectPlain40(4, AudioFor(frames), &channel, frames > 255);
  }
}

TEST(FrontEndChannel, WholeUtteranceWithoutALoopDropsWhatWasMoved) {
  for (const std::string type : {"other", "lstm_fb40"}) {
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 4, false, type);
    const std::vector<int16_t> pcm = AudioFor(900);
    const std::vector<StaticFeatureFB> records = ReadRecords("4", type == "other", pcm);
    const Plain plain = PlainFrames(records);
    Outcome outcome;
    for (size_t at = 0; at < pcm.size(); at += kChunk) {
      const size_t n = std::min(kChunk, pcm.size() - at);
      bool more = FrontEndPush(&channel, pcm.data() + at, static_cast<int>(n), at + kChunk >= pcm.size());
      for (;;) {
        MoveFrames(&channel, &outcome);
        DropMovedFrames(&channel);
        EXPECT_LE(channel.vecDynamic.size() + channel.vecStatic.size(), 4u);
        if (!more) break;
        more = FrontEndContinue(&channel);
      }
    }
    ASSERT_EQ(outcome.frames.size(), 900u);
    for (size_t i = 0; i < 900; ++i) {
      if (type == "other") {
        ExpectSame(outcome.frames[i], plain.v115[i], std::to_string(i));
      } else {
        ASSERT_EQ(std::memcmp(&outcome.frames[i][75], records[i].afFb40, 160), 0) << i;
      }
    }
  }
}

// ---- The push

TEST(FrontEndChannel, FirstFrameComesThreeTimesAndTheLastThreeTimes) {
  FrontEndChannel channel;
  FrontEndChannelStart(&channel, 16000, false, 0, false, "dnn_fb75");
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
  FrontEndChannelStart(&channel, 16000, false, 0, false, "dnn_fb75");
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
  FrontEndChannelStart(&channel, 16000, false, 0, false, "dnn_fb75");
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
    FrontEndChannelStart(&channel, 16000, true, 0, false, type);
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
  FrontEndChannelStart(&channel, 16000, false, 0, false, "lstm_fb40");
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  EXPECT_EQ(channel.vecStatic.at(0).fPitchAux, 0.0f);
  FrontEndChannelStart(&channel, 16000, false, 0, false, "lstm_fb75");
  FrontEndPush(&channel, pcm.data(), static_cast<int>(pcm.size()), false);
  EXPECT_GT(channel.vecDynamic.at(0).fPitchAux, 70.0f);
}

TEST(FrontEndChannel, K4EnergyStaysOnForTheLifeOfTheChannel) {
  const std::vector<int16_t> silence(1600);
  FrontEndChannel channel;
  for (const bool k4 : {false, true, false}) {
    FrontEndChannelStart(&channel, 16000, false, 0, k4, "lstm_fb40");
    FrontEndPush(&channel, silence.data(), 1600, false);
    static bool seen = false;
    seen = seen || k4;
    EXPECT_NEAR(channel.vecStatic.at(0).fEnergy, seen ? 56.9897f : 0.0f, 5e-5);
  }
}

TEST(FrontEndChannel, StartForgetsTheSessionBefore) {
  const std::vector<int16_t> pcm = Mixture(16000, 16000);
  FrontEndChannel channel;
  ExpectPlain75("dnn_fb75", 0, pcm, &channel, false);
  FrontEndChannelStart(&channel, 16000, true, 0, false, "dnn_fb75");
  FrontEndPush(&channel, pcm.data(), 8000, false);  // left in the middle
  ExpectPlain75("lstm_fb75", 0, pcm, &channel, false);
  FrontEndChannelClear(&channel);
  EXPECT_EQ(channel.nFramesIn, 0);
  EXPECT_EQ(channel.nDeltaDone, 0);
  EXPECT_EQ(channel.nLstm75Cursor, 0);
  EXPECT_TRUE(channel.vecDynamic.empty());
  EXPECT_TRUE(channel.pending.empty());
}

TEST(FrontEndChannel, SteadyFlowAllocatesNothing) {
  for (const std::string type : {"dnn_fb75", "lstm_fb75", "lstm_fb40"}) {
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 0, false, type);
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
