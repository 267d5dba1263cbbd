// SPDX-License-Identifier: Apache-2.0
//
// The gain control: its start values, single steps worked out by hand, block lengths, and reference numbers.
#include "channel/gain_control.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <vector>

#include "frontend/test_audio.h"

namespace TSEG {
namespace {

std::vector<int16_t> Apply(GainControl* agc, const std::vector<int16_t>& in) {
  std::vector<uint8_t> bytes(in.size() * 2), out(in.size() * 2);
  std::memcpy(bytes.data(), in.data(), bytes.size());
  GainControlApply(agc, bytes.data(), out.data(), static_cast<int32_t>(bytes.size()));
  std::vector<int16_t> result(in.size());
  std::memcpy(result.data(), out.data(), out.size());
  return result;
}

TEST(GainControl, StartSetsTheRecord) {
  struct Row {
    int rate, block;
  };
  for (const Row row : {Row{16000, 400}, Row{8000, 200}, Row{6000, 150}}) {
    GainControl agc;
    GainControlStart(&agc, row.rate);
    EXPECT_EQ(agc.nRate, row.rate);
    EXPECT_EQ(agc.nBlockLen, row.block);
    EXPECT_EQ(agc.fAttack, 0.25f);
    EXPECT_EQ(agc.fDecay, 0.995f);
    EXPECT_EQ(agc.fEnvelope, 1.0f);
    EXPECT_EQ(agc.fTarget, 11000.0f);
    EXPECT_EQ(agc.fGain, 5.0f);
    EXPECT_EQ(agc.fSmoothGain, 1.0f);
    EXPECT_EQ(agc.nUpCount, 0);
    EXPECT_EQ(agc.nUpBlocks, 1);
    EXPECT_EQ(agc.fMaxGain, 10.0f);
    EXPECT_EQ(agc.fMinGain, 0.2f);
    EXPECT_EQ(agc.fUpRateDb, 6.0f);
    EXPECT_EQ(agc.fPeakLimit, 16000.0f);
    // 6 dB a second in 40 blocks: 10^(0.3 / 40).
    EXPECT_FLOAT_EQ(agc.fUpFactor, 1.0174194f);
    for (const int32_t v : agc.history) EXPECT_EQ(v, 0);
  }
}

TEST(GainControl, BlockIsNeverShorterThanOneSample) {
  GainControl agc;
  GainControlStart(&agc, 20);
  EXPECT_EQ(agc.nBlockLen, 1);
  Apply(&agc, {1, 2, 3});
  EXPECT_EQ(agc.history[96], 0);
  EXPECT_EQ(agc.history[97], 1);
  EXPECT_EQ(agc.history[98], 1);
  EXPECT_EQ(agc.history[99], 2);
}

TEST(GainControl, QuietBlockRaisesTheGain) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  std::vector<int16_t> block(400, 100);
  block[7] = -1000;
  const std::vector<int16_t> out = Apply(&agc, block);
  // Envelope 1000 * 0.75 + 0.25 * 1 = 750.25; 11000 > 5 * 750.25, so the gain is raised once; the smoothed one follows by a tenth.
  EXPECT_FLOAT_EQ(agc.fEnvelope, 750.25f);
  EXPECT_EQ(agc.history[99], 750);
  EXPECT_EQ(agc.history[98], 0);
  EXPECT_EQ(agc.nUpCount, 0);
  EXPECT_FLOAT_EQ(agc.fGain, 5.0870968f);
  EXPECT_FLOAT_EQ(agc.fSmoothGain, 1.4087097f);
  EXPECT_EQ(agc.bPeakLimit, 0);
  EXPECT_EQ(out[0], 140);    // 140.87, cut
  EXPECT_EQ(out[7], -1408);  // -1408.7, cut toward zero
}

TEST(GainControl, EnvelopeDecaysSlowly) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  agc.fEnvelope = 1000.0f;
  Apply(&agc, std::vector<int16_t>(400, 200));
  EXPECT_NEAR(agc.fEnvelope, 996.0f, 1e-3);  // 200 * 0.005 + 1000 * 0.995
}

TEST(GainControl, LoudBlockLowersTheGainAndMeetsThePeakLimit) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  std::vector<int16_t> block(400, 0);
  block[0] = -32768;
  block[1] = 32767;
  const std::vector<int16_t> out = Apply(&agc, block);
  // Envelope 32768 * 0.75 + 0.25 = 24576.25; 16000 < 1 * 24576.25 sets the gain to their quotient, smoothed fast: 0.1 + 0.9 * 0.651035.
  EXPECT_FLOAT_EQ(agc.fEnvelope, 24576.25f);
  EXPECT_EQ(agc.bPeakLimit, 1);
  EXPECT_FLOAT_EQ(agc.fGain, 0.65103504f);
  EXPECT_FLOAT_EQ(agc.fSmoothGain, 0.68593154f);
  EXPECT_EQ(out[0], -22476);  // 32768 * 0.68593154 = 22476.6
  EXPECT_EQ(out[1], 22475);
}

TEST(GainControl, LevelAboveTheTargetLowersTheGainByATenth) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  agc.fEnvelope = 3000.0f;
  agc.nUpBlocks = 4;
  agc.nUpCount = 3;
  Apply(&agc, std::vector<int16_t>(400, 3000));
  EXPECT_FLOAT_EQ(agc.fGain, 4.5f);  // 5 * 3000 is above 11000
  EXPECT_EQ(agc.nUpCount, 0);        // 3 less 4, not below 0
  EXPECT_EQ(agc.bPeakLimit, 0);
}

TEST(GainControl, RaiseWaitsForItsBlocks) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  agc.nUpBlocks = 3;
  const std::vector<int16_t> quiet(400, 10);
  Apply(&agc, quiet);
  Apply(&agc, quiet);
  EXPECT_EQ(agc.fGain, 5.0f);
  EXPECT_EQ(agc.nUpCount, 2);
  Apply(&agc, quiet);
  EXPECT_GT(agc.fGain, 5.0f);
  EXPECT_EQ(agc.nUpCount, 0);
}

TEST(GainControl, GainStaysWithinItsLimits) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  for (int i = 0; i < 200; ++i) Apply(&agc, std::vector<int16_t>(400, 1));
  EXPECT_EQ(agc.fGain, 10.0f);
  EXPECT_LE(agc.fSmoothGain, 10.0f);
  EXPECT_NEAR(agc.fSmoothGain, 10.0f, 1e-3);
  agc.fGain = 0.05f;
  agc.fSmoothGain = 0.05f;
  agc.fEnvelope = 32767.0f;
  Apply(&agc, std::vector<int16_t>(400, 32767));
  EXPECT_GE(agc.fGain, 0.2f);
  EXPECT_GE(agc.fSmoothGain, 0.2f);
}

TEST(GainControl, OverflowWrapsInsteadOfSaturating) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  agc.fGain = agc.fSmoothGain = 10.0f;
  std::vector<int16_t> block(400, 0);
  block[0] = 32767;
  const std::vector<int16_t> out = Apply(&agc, block);
  // Envelope 32767 * 0.75 + 0.25 = 24575.5; gain 16000 / 24575.5; smoothed 1 + 0.9 * 0.6510549 = 1.5859494; 51966.8 wraps.
  EXPECT_FLOAT_EQ(agc.fSmoothGain, 1.5859494f);
  EXPECT_EQ(out[0], 51966 - 65536);
}

TEST(GainControl, ChunkIsWalkedInBlocksTheLastOneShorter) {
  GainControl agc;
  GainControlStart(&agc, 8000);
  Apply(&agc, std::vector<int16_t>(450, 1000));  // 200, 200 and 50 samples
  EXPECT_EQ(agc.history[96], 0);
  EXPECT_EQ(agc.history[97], 750);
  EXPECT_EQ(agc.history[98], 937);  // 750 + 187.56
  EXPECT_EQ(agc.history[99], 984);
}

TEST(GainControl, LessThanASampleIsCopiedAndLeavesTheRecord) {
  GainControl agc;
  GainControlStart(&agc, 16000);
  const uint8_t in[1] = {0x5A};
  uint8_t out[2] = {0, 0x77};
  GainControlApply(&agc, in, out, 1);
  EXPECT_EQ(out[0], 0x5A);
  EXPECT_EQ(out[1], 0x77);
  GainControlApply(&agc, in, out, 0);
  EXPECT_EQ(agc.fEnvelope, 1.0f);
  EXPECT_EQ(agc.history[99], 0);
}

TEST(GainControl, AgreesWithTheReference) {
  const std::vector<int16_t> in = testing_support::ReadNumbers<int16_t>("channel/gain_in.i16");
  const std::vector<int16_t> want = testing_support::ReadNumbers<int16_t>("channel/gain_out.i16");
  GainControl agc;
  GainControlStart(&agc, 16000);
  size_t off = 0;
  for (size_t at = 0; at < in.size(); at += 400) {
    const std::vector<int16_t> chunk(in.begin() + static_cast<long>(at), in.begin() + static_cast<long>(std::min(in.size(), at + 400)));
    const std::vector<int16_t> out = Apply(&agc, chunk);
    for (size_t i = 0; i < out.size(); ++i) {
      ASSERT_NEAR(out[i], want[at + i], 1) << at + i;
      if (out[i] != want[at + i]) ++off;
    }
  }
  EXPECT_LE(off, in.size() / 1000);
}

}  // namespace
}  // namespace TSEG
