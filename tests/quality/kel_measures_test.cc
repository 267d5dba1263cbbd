// SPDX-License-Identifier: Apache-2.0
//
// The loop buffer and the two measures, by hand-made audio and against reference texts.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "quality/kel_rig.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using Texts = std::vector<std::string>;

std::vector<int16_t> ReferencePcm() {
  std::ifstream in(std::string(WVAD_TEST_DATA_DIR) + "/quality/pcm_16000.i16", std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  std::vector<int16_t> samples(bytes.size() / 2);
  std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
  return samples;
}

TEST(KelMeasures, EqualReferenceTexts) {
  KelRig rig;
  const std::vector<int16_t> pcm = ReferencePcm();
  ASSERT_EQ(pcm.size(), 97600u);
  rig.Write(pcm);
  rig.Close();
  EXPECT_EQ(rig.Results(), (Texts{SnrText("28.662", false), CurText("0.000", false)}));
}

TEST(KelMeasures, PiecesOfAnySizeGiveTheSameFrames) {
  const std::vector<int16_t> pcm = ReferencePcm();
  KelRig whole;
  whole.Write(pcm);
  for (const size_t piece : {size_t{1}, size_t{3}, size_t{640}, size_t{959}, size_t{961}, size_t{5000}}) {
    KelRig rig;
    const uint8_t* bytes = reinterpret_cast<const uint8_t*>(pcm.data());
    const size_t n = pcm.size() * 2;
    for (size_t at = 0; at < n; at += piece) rig.WriteBytes(bytes + at, std::min(piece, n - at));
    EXPECT_EQ(rig.inst->vecFrameDb, whole.inst->vecFrameDb) << piece;
    EXPECT_EQ(rig.inst->fAllFrames, whole.inst->fAllFrames) << piece;
  }
}

TEST(LoopBuffer, FramesCloseAtTheExactBytes) {
  KelRig rig;
  const std::vector<int16_t> samples(2000, 100);
  const uint8_t* bytes = reinterpret_cast<const uint8_t*>(samples.data());
  rig.WriteBytes(bytes, 1);  // half a sample waits in the ring
  EXPECT_EQ(rig.inst->nSentCurBytesPos, 1);
  rig.WriteBytes(bytes + 1, 958);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 0u);
  rig.WriteBytes(bytes + 959, 1);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 1u);
  EXPECT_EQ(rig.inst->nLastFramePos, 960);
  rig.WriteBytes(bytes + 960, 639);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 1u);
  rig.WriteBytes(bytes + 1599, 1);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 2u);
  EXPECT_EQ(rig.inst->nLastFramePos, 1600);
  rig.WriteBytes(bytes + 1600, 640);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 3u);
}

TEST(LoopBuffer, FrameIsTheLastThirtyMilliseconds) {
  // 480 samples of 100 are 40 dB. The next hop replaces the oldest 320 of them by zeros: 160 of 480 are left.
  KelRig rig;
  std::vector<int16_t> samples(800, 0);
  std::fill(samples.begin(), samples.begin() + 480, int16_t{100});
  rig.Write(samples);
  ASSERT_EQ(rig.inst->vecFrameDb.size(), 2u);
  EXPECT_EQ(rig.inst->vecFrameDb[0], 40.0f);
  EXPECT_NEAR(rig.inst->vecFrameDb[1], 35.2287875, 1e-5);
}

TEST(LoopBuffer, HopAtAnotherRate) {
  KelRig rig;
  rig.inst->pCfg->sampleRate = 8000;  // frames of 480 bytes, hops of 320
  rig.Write(std::vector<int16_t>(240 + 160 * 3, 1));
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 4u);
  EXPECT_EQ(rig.inst->nLastFramePos, 480 + 320 * 3);
}

TEST(LoopBuffer, HigherRateGetsALongerRing) {
  KelRig rig;
  rig.inst->pCfg->sampleRate = 48000;
  rig.Write(std::vector<int16_t>(1440 + 960, 100));
  EXPECT_EQ(rig.inst->vecFrameDb, (std::vector<float>{40.0f, 40.0f}));
}

TEST(LoopBuffer, RateWithoutAFrameMeasuresNothing) {
  for (const int32_t rate : {0, -16000, 30, 800000000, 2147483647}) {
    KelRig rig;
    rig.inst->pCfg->sampleRate = rate;
    EXPECT_EQ(rig.Write(std::vector<int16_t>(100, 100)), 0) << rate;
    EXPECT_TRUE(rig.inst->vecFrameDb.empty()) << rate;
    EXPECT_EQ(rig.inst->nSentCurBytesPos, 200) << rate;
    EXPECT_EQ(rig.Close(), 0) << rate;
  }
}

TEST(LoopBuffer, TenMinutesAreNoted) {
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  KelRig rig;
  rig.inst->nSentCurBytesPos = 19200000 - 640;
  rig.inst->nLastFramePos = 19200000 - 640;
  const std::vector<int16_t> hop(320, 0);
  rig.Write(hop);
  EXPECT_EQ(log.Count("TSEG::KelInst::GetLoopBufferData | audio time = 10 min."), 1);
  rig.Write(hop);
  EXPECT_EQ(log.Count("audio time"), 1);
  EXPECT_EQ(log.Count("is near to overfloat."), 0);
}

TEST(LoopBuffer, EmptyFirstWriteNotesZeroMinutes) {
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  KelRig rig;
  rig.WriteBytes(nullptr, 0);
  EXPECT_EQ(log.Count("TSEG::KelInst::GetLoopBufferData | audio time = 0 min."), 1);
}

TEST(LoopBuffer, LongSessionIsWarnedOfAndGoesOn) {
  testing_support::LogCapture log;
  ASSERT_TRUE(log.opened());
  KelRig rig;
  rig.inst->pCfg->sampleRate = 1000;  // 10 minutes are 1200000 bytes; a frame is 60, a hop 40
  rig.inst->nSentCurBytesPos = 2148000000 - 40;
  rig.inst->nLastFramePos = 2148000000 - 40;
  const std::vector<int16_t> hop(20, 100);
  rig.Write(hop);
  EXPECT_EQ(log.Count("TSEG::KelInst::GetLoopBufferData | audio time = 17900 min."), 1);
  EXPECT_EQ(log.Count("is near to overfloat."), 1);
  rig.Write(hop);
  EXPECT_EQ(rig.inst->vecFrameDb.size(), 2u);
}

TEST(Snr, TooShortSessionHasNone) {
  for (const size_t samples : {size_t{5599}, size_t{5600}}) {  // 11198 and 11200 bytes against 0.7 * 16000
    KelRig rig;
    rig.Write(std::vector<int16_t>(samples, 100));
    rig.Close();
    EXPECT_EQ(rig.Results().size(), samples == 5600 ? 2u : 1u);
    EXPECT_EQ(rig.Results().back(), CurText("0.000", false));
  }
}

TEST(Snr, FlatSessionIsMinusTwoAndAHalf) {
  KelRig rig;
  rig.Write(std::vector<int16_t>(SamplesOf(100), 100));
  rig.Close();
  EXPECT_EQ(rig.Results().front(), SnrText("-2.500", true));
}

TEST(Snr, DigitalSilenceHasAPowerOfMinusFifty) {
  KelRig rig;
  rig.Write(std::vector<int16_t>(SamplesOf(60), 0));
  EXPECT_EQ(rig.inst->vecFrameDb.front(), -50.0f);
  rig.Close();
  EXPECT_EQ(rig.Results().front(), SnrText("-2.500", true));
}

TEST(Snr, FlatSessionAtZeroDecibelHasNoEndsAtAll) {
  KelRig rig;
  rig.inst->vecFrameDb.assign(10, 0.0f);
  rig.inst->nSentCurBytesPos = 100000;
  rig.inst->ComputeSnr();
  EXPECT_EQ(std::string(rig.inst->szSnr), "\"ws\":[{\"snr\":-2.500,\"trig\":true}]");
}

// "snr" of frames with these powers.
std::string SnrOf(std::vector<float> powers) {
  KelRig rig;
  rig.inst->vecFrameDb = std::move(powers);
  rig.inst->nSentCurBytesPos = 100000;
  rig.inst->ComputeSnr();
  EXPECT_EQ(rig.inst->bSnrReady, 1);
  return rig.inst->szSnr;
}

std::vector<float> Powers(size_t low_count, float low, size_t high_count, float high) {
  std::vector<float> powers(high_count, high);  // descending, so that the sort has work
  powers.insert(powers.end(), low_count, low);
  return powers;
}

TEST(Snr, DistanceOfLoudAndQuietEnd) { EXPECT_EQ(SnrOf(Powers(5, 40.0f, 5, 60.0f)), "\"ws\":[{\"snr\":17.500,\"trig\":false}]"); }

TEST(Snr, ThresholdItselfIsNoTrigger) {
  for (const float threshold : {17.5f, 17.75f}) {
    KelRig rig;
    rig.inst->pCfg->snr_threshold = threshold;
    rig.inst->vecFrameDb = Powers(5, 40.0f, 5, 60.0f);
    rig.inst->nSentCurBytesPos = 100000;
    rig.inst->ComputeSnr();
    EXPECT_STREQ(rig.inst->szSnr,
                 threshold > 17.5f ? "\"ws\":[{\"snr\":17.500,\"trig\":true}]" : "\"ws\":[{\"snr\":17.500,\"trig\":false}]");
  }
}

TEST(Snr, QuietEndNeedsMoreThanFifteenPercent) {
  // 15 of 100 would be the share exactly; 3 of 20 as single lies above the double, 0.15000000596.
  EXPECT_EQ(SnrOf(Powers(3, 40.0f, 17, 60.0f)), "\"ws\":[{\"snr\":17.500,\"trig\":false}]");
  EXPECT_EQ(SnrOf(Powers(1, 40.0f, 9, 60.0f)), "\"ws\":[{\"snr\":-2.500,\"trig\":true}]");
}

TEST(Snr, LoudEndNeedsMoreThanEightyPercentAndABit) {
  // Eight of ten are not above 0.80001, so the loud end is the rest.
  EXPECT_EQ(SnrOf(Powers(8, 40.0f, 2, 60.0f)), "\"ws\":[{\"snr\":17.500,\"trig\":false}]");
  EXPECT_EQ(SnrOf(Powers(9, 40.0f, 1, 60.0f)), "\"ws\":[{\"snr\":-2.500,\"trig\":true}]");
}

TEST(Snr, FewerThanFiftyFramesAreNotTrimmed) {
  // 8 low ones of 49 are 16 %; of 50, with one trimmed at each end, 7 of 48 are not above 15 %.
  EXPECT_EQ(SnrOf(Powers(8, 40.0f, 41, 60.0f)), "\"ws\":[{\"snr\":17.500,\"trig\":false}]");
  EXPECT_EQ(SnrOf(Powers(8, 40.0f, 42, 60.0f)), "\"ws\":[{\"snr\":-2.500,\"trig\":true}]");
}

TEST(Snr, MiddleValueOfABinStandsForIt) {
  // The bins are 0.2 wide: the first holds 40, 40.1 and 40.15, of which the middle one counts.
  EXPECT_EQ(SnrOf({40.0f, 40.1f, 40.15f, 60.0f, 60.0f, 60.0f}), "\"ws\":[{\"snr\":17.400,\"trig\":false}]");
}

TEST(Snr, ValuePastTheLastBinIsDropped) {
  // With 60.01 the edges added up in single stay below it at the last bin, so the loud values drop out and the quiet end is all.
  EXPECT_EQ(SnrOf(Powers(3, 40.0f, 7, 60.0099983215332f)), "\"ws\":[{\"snr\":-2.500,\"trig\":true}]");
}

TEST(Snr, EndAtZeroDecibelIsPassedOver) {
  // Frames of exactly 0 dB are the median 0 that stands for an empty bin: the quiet end is looked for further up.
  EXPECT_EQ(SnrOf({0.0f, 0.0f, 0.0f, 0.0f, 10.0f, 10.0f, 20.0f, 20.0f, 20.0f, 20.0f}), "\"ws\":[{\"snr\":7.500,\"trig\":false}]");
}

// `frames` frames of which `clipped` hold one sample of `value`, in no other frame.
std::vector<int16_t> ClippedAudio(size_t frames, size_t clipped, int16_t value) {
  std::vector<int16_t> samples(SamplesOf(frames), 1);
  for (size_t i = 0; i < clipped; ++i) samples[i * 320 + 200] = value;
  return samples;
}

TEST(Cur, ShareOfClippedFrames) {
  struct Row {
    const char* name;
    size_t frames, clipped;
    int16_t value;
    std::string text;
  };
  const Row rows[] = {
      {"five of a hundred", 100, 5, 32767, CurText("0.050", false)},   {"four of four", 4, 4, 32767, CurText("0.000", false)},
      {"five of five", 5, 5, 32767, CurText("1.000", true)},           {"the threshold itself", 100, 8, 32767, CurText("0.080", true)},
      {"the level itself", 100, 10, 32760, CurText("0.100", true)},    {"the level below", 100, 10, -32760, CurText("0.100", true)},
      {"short of the level", 100, 10, 32759, CurText("0.000", false)}, {"the lowest value", 100, 10, -32768, CurText("0.100", true)},
  };
  for (const Row& row : rows) {
    KelRig rig;
    rig.Write(ClippedAudio(row.frames, row.clipped, row.value));
    EXPECT_EQ(rig.inst->fAllFrames, static_cast<float>(row.frames)) << row.name;
    rig.Close();
    EXPECT_EQ(rig.Results().back(), row.text) << row.name;
    EXPECT_EQ(rig.inst->fAllFrames, 0.0f) << row.name;
    EXPECT_EQ(rig.inst->fClipFrames, 0.0f) << row.name;
  }
}

TEST(Cur, SampleInTheOverlapCountsInBothFrames) {
  KelRig rig;
  std::vector<int16_t> samples(SamplesOf(3), 1);
  samples[400] = 32767;  // samples 320 to 479 belong to frames 0 and 1
  rig.Write(samples);
  EXPECT_EQ(rig.inst->fClipFrames, 2.0f);
}

TEST(Cur, ClippedFramesWithoutFramesLeaveEverything) {
  KelRig rig;
  rig.inst->fClipFrames = 5.0f;
  EXPECT_EQ(rig.inst->ComputeCur(), 15020);
  EXPECT_STREQ(rig.inst->szCur, "");
  EXPECT_EQ(rig.inst->fClipFrames, 5.0f);
  EXPECT_EQ(rig.Close(), 0);  // the caller does not see it
}

TEST(Cur, SessionStoppedEarlyCountsIntoTheNext) {
  KelRig rig;
  rig.Write(ClippedAudio(10, 5, 32767));
  EXPECT_EQ(wKelStop(rig.inst), 0);
  EXPECT_EQ(rig.inst->fClipFrames, 5.0f);
  EXPECT_EQ(wKelStart(rig.inst), 0);
  EXPECT_EQ(wKelReset(rig.inst), 0);
  rig.Write(ClippedAudio(10, 0, 0));
  rig.Close();
  EXPECT_EQ(rig.Results().back(), CurText("0.250", true));
}

}  // namespace
}  // namespace TSEG
