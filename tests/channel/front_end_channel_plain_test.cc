// SPDX-License-Identifier: Apache-2.0
//
// Whole sessions against the same arithmetic in its plainest form, with vectors that never end in place of the rings.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "channel/channel_session.h"
#include "channel/front_end_channel.h"
#include "frontend/test_audio.h"

namespace TSEG {
namespace {

using testing_support::kChunk;
using testing_support::Mixture;
using testing_support::MoveFrames;
using testing_support::Outcome;
using testing_support::RunSession;

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
  FrontEndChannelStart(channel, 16000, true, cmn_type, false, testing_support::WidthOf(type));
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
  FrontEndChannelStart(channel, 16000, true, cmn_type, false, 40);
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

TEST(FrontEndChannelPlain, SessionsOfEveryLengthEqualThePlainForm) {
  FrontEndChannel channel;
  for (const unsigned frames : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 9u, 10u, 11u, 12u, 13u, 40u, 99u, 100u, 101u, 102u, 149u, 180u, 250u}) {
    for (const int cmn_type : {0, 1, 3}) {
      ExpectPlain75("dnn_fb75", cmn_type, AudioFor(frames), &channel, false);
      ExpectPlain75("lstm_fb75", cmn_type, AudioFor(frames), &channel, false);
      ExpectPlain40(cmn_type, AudioFor(frames), &channel, false);
    }
  }
}

TEST(FrontEndChannelPlain, LongSessionsWrapTheRingsUnseen) {
  FrontEndChannel channel;
  ExpectPlain75("dnn_fb75", 0, AudioFor(1500), &channel, false);
  ExpectPlain75("lstm_fb75", 2, AudioFor(1500), &channel, false);
  ExpectPlain40(0, AudioFor(1500), &channel, false);
}

// With the mean of the whole utterance everything comes at the flush, more than a ring holds.
TEST(FrontEndChannelPlain, WholeUtteranceBeyondTheRingEqualsARingWithoutEnd) {
  FrontEndChannel channel;
  for (const unsigned frames : {255u, 256u, 257u, 258u, 259u, 260u, 261u, 262u, 300u, 511u, 512u, 513u, 600u, 1100u}) {
    ExpectPlain75("dnn_fb75", 4, AudioFor(frames), &channel, frames > 256);
    ExpectPlain75("lstm_fb75", 4, AudioFor(frames), &channel, frames > 256);
    ExpectPlain40(4, AudioFor(frames), &channel, frames > 255);
  }
}

TEST(FrontEndChannelPlain, WholeUtteranceWithoutALoopDropsWhatWasMoved) {
  for (const std::string type : {"other", "lstm_fb40"}) {
    FrontEndChannel channel;
    FrontEndChannelStart(&channel, 16000, true, 4, false, testing_support::WidthOf(type));
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

}  // namespace
}  // namespace TSEG
