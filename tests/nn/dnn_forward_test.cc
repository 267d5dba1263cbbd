// SPDX-License-Identifier: Apache-2.0
//
// The feed-forward network on small models made by hand: batching, reading, the order of the layers' arithmetic, and equality of all
// levels.
#include "nn/dnn_forward.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

#include "nn/model_limits.h"
#include "nn/processors.h"
#include "nn/weight_proofs.h"

namespace TSEG {
namespace {

// A model of the given hidden widths and 2 outputs, all weights and biases zero.
struct TestDnn {
  DnnModel model;
  explicit TestDnn(const std::vector<int32_t>& hidden) {
    model.nLayers = static_cast<int32_t>(hidden.size()) + 1;
    model.nFeatureDim = 75;
    model.nOutputDim = 2;
    model.nInputStride = 832;
    model.pBlock = AlignedBuffer<uint8_t>(150 * sizeof(float), 32);
    model.pMean = static_cast<float*>(static_cast<void*>(model.pBlock.data()));
    model.pInvStd = model.pMean + 75;
    for (int i = 0; i < 75; ++i) model.pInvStd[i] = 1.0f;
    std::vector<int32_t> rows = hidden;
    rows.push_back(32);
    size_t bytes = 0;
    for (size_t i = 0; i < rows.size(); ++i) {
      model.anLayerDim[i] = rows[i];
      model.anLayerCols[i] = i == 0 ? 832 : rows[i - 1];
      bytes +=
          static_cast<size_t>(rows[i]) * 4 + static_cast<size_t>(rows[i]) * static_cast<size_t>(model.anLayerCols[i]) * (i == 0 ? 2 : 1);
    }
    for (DnnQuantTable* table : {&model.pQuant, &model.pQuantFirst}) {
      table->block = AlignedBuffer<uint8_t>(bytes, 32);
      uint8_t* at = table->block.data();
      for (size_t i = 0; i < rows.size(); ++i) {
        table->apBias[i] = static_cast<int32_t*>(static_cast<void*>(at));
        at += static_cast<size_t>(rows[i]) * 4;
        table->apWeights[i] = at;
        at += static_cast<size_t>(rows[i]) * static_cast<size_t>(model.anLayerCols[i]) * (i == 0 ? 2 : 1);
        table->aActShift[i][0] = 10;
        table->aActShift[i][1] = 7;
        table->aBiasShift[i][0] = 10;
        table->aBiasShift[i][1] = 10;
      }
    }
  }
  int16_t* w0() { return static_cast<int16_t*>(model.pQuant.apWeights[0]); }
  int8_t* w(size_t i) { return static_cast<int8_t*>(model.pQuant.apWeights[i]); }
};

std::vector<float> Block(float value) { return std::vector<float>(825, value); }

float SpeechOf(float first, float second) { return std::exp(first) / (std::exp(first) + std::exp(second)); }

TEST(DnnForward, ZeroModelGivesHalves) {
  TestDnn dnn({32});
  ASSERT_TRUE(DnnModelFits(dnn.model));
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  const std::vector<float> block = Block(1.0f);
  for (int f = 0; f < 7; ++f) EXPECT_FALSE(DnnForwardAddBlock(&forward, block.data(), 825, false));
  EXPECT_TRUE(DnnForwardAddBlock(&forward, block.data(), 825, false));
  float out[16];
  int32_t stride = 0;
  EXPECT_EQ(DnnForwardRead(&forward, out, &stride), 8);
  EXPECT_EQ(stride, 2);
  for (float v : out) EXPECT_EQ(v, 0.5f);
  EXPECT_EQ(DnnForwardRead(&forward, out, &stride), 0);
}

TEST(DnnForward, LayersFollowTheStatedArithmetic) {
  // Two hidden layers, one active unit each.
  TestDnn dnn({32, 32});
  ASSERT_TRUE(DnnModelFits(dnn.model));
  // Layer 0, unit 0: feature 0 at Q11 by 8192 (1.0 at Q13), product Q24, bias 0.25 at Q12 from the first table.
  dnn.w0()[0] = 8192;
  dnn.model.pQuantFirst.apBias[0][0] = 1024;
  dnn.model.pQuantFirst.aBiasShift[0][0] = 24;
  dnn.model.pQuantFirst.aBiasShift[0][1] = 12;
  dnn.model.pQuant.apBias[0][0] = 99999;  // the 8-bit table's bias of layer 0 is not used
  dnn.model.pQuant.aActShift[0][0] = 12;
  dnn.model.pQuant.aActShift[0][1] = 7;
  // Layer 1, unit 0: weight 64 (1.0 at Q6) by the byte at Q7, product Q13 brought to Q11, bias -0.5.
  dnn.w(1)[0] = 64;
  dnn.model.pQuant.apBias[1][0] = -1024;
  dnn.model.pQuant.aBiasShift[1][0] = 13;
  dnn.model.pQuant.aBiasShift[1][1] = 11;
  dnn.model.pQuant.aActShift[1][0] = 11;
  dnn.model.pQuant.aActShift[1][1] = 7;
  // Output: row 0 weighs unit 0 by 127 (Q4), row 1 by -127; product Q11, bias at Q11.
  dnn.w(2)[0] = 127;
  dnn.w(2)[32] = -127;
  dnn.model.pQuant.apBias[2][1] = 2048;
  dnn.model.pQuant.aBiasShift[2][0] = 11;
  dnn.model.pQuant.aBiasShift[2][1] = 11;
  dnn.model.pQuant.aActShift[2][0] = 11;
  dnn.model.pMean[0] = 0.5f;
  dnn.model.pInvStd[0] = 2.0f;

  // Feature 0 of run 0 is 1.0: (1 - 0.5) * 2 = 1.0 -> 2048. Product 2048 * 8192 = 2^24, brought to Q12: 4096 + 1024 = 5120 = 1.25.
  // Index (5120 + 2^16) >> 4 = 4416: sigmoid(1.25) = 0.777300; at Q7 99.49 + 0.5, cut: 99.
  // The other hidden bytes are 64 with zero weights. Layer 1: 99 * 64 = 6336 / 4 = 1584 - 1024 = 560 = 0.2734.
  // Index (560 + 2^15) >> 3 = 4166: sigmoid(70 / 256) = 0.56794; at Q7 72.70 + 0.5: 73.
  // Output: 73 * 127 = 9271 -> 4.52685546875; -9271 + 2048 = -7223 -> -3.52685546875.
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  std::vector<float> block = Block(0.0f);
  block[0] = 1.0f;
  ASSERT_TRUE(DnnForwardAddBlock(&forward, block.data(), 825, true));
  float out[16];
  int32_t stride = 0;
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 1);
  EXPECT_NEAR(out[0], SpeechOf(4.52685546875f, -3.52685546875f), 1e-6);
  EXPECT_NEAR(out[0] + out[1], 1.0f, 1e-6);
}

TEST(DnnForward, FlushAfterThreeFramesComputesTwoRows) {
  // The output follows feature 0: unit 0 at weight 1.0, then +-8 per unit of sigmoid.
  TestDnn dnn({32});
  dnn.w0()[0] = 8192;
  dnn.model.pQuantFirst.aBiasShift[0][0] = 24;
  dnn.model.pQuantFirst.aBiasShift[0][1] = 12;
  dnn.model.pQuant.aActShift[0][0] = 12;
  dnn.w(1)[0] = 64;
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  std::vector<float> low = Block(0.0f), ignored = Block(0.0f), high = Block(0.0f);
  low[0] = -8.0f;
  ignored[0] = 3.0f;
  high[0] = 8.0f;
  EXPECT_FALSE(DnnForwardAddBlock(&forward, low.data(), 825, false));
  EXPECT_FALSE(DnnForwardAddBlock(&forward, ignored.data(), 825, false));
  EXPECT_TRUE(DnnForwardAddBlock(&forward, high.data(), 825, true));
  EXPECT_EQ(forward.abKept[0], 1);
  EXPECT_EQ(forward.abKept[1], 0);
  EXPECT_EQ(forward.abKept[2], 1);
  float out[16];
  int32_t stride = 0;
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 3);
  EXPECT_EQ(out[0], out[2]);
  EXPECT_EQ(out[1], out[3]);
  EXPECT_EQ(out[0], 0.5f);   // sigmoid(-8) is 0 at 7 bits
  EXPECT_GT(out[4], 0.99f);  // sigmoid(8) is 128: 128 * 64 at Q10 = 8.0 against 0
  // The batch restarts at frame 0: its first block is kept, its second ignored.
  EXPECT_EQ(forward.nFrames, 0);
  EXPECT_EQ(forward.nKept, 0);
  EXPECT_FALSE(DnnForwardAddBlock(&forward, high.data(), 825, false));
  EXPECT_EQ(forward.nKept, 1);
  EXPECT_TRUE(DnnForwardAddBlock(&forward, low.data(), 825, true));
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 2);
  EXPECT_GT(out[0], 0.99f);
  EXPECT_EQ(out[0], out[2]);
}

TEST(DnnForward, RowBehindABlockReadsAsZero) {
  // Columns 825 to 831 carry weights; a block of 825 leaves them at zero whatever stood there before, and no mean is taken off there.
  TestDnn dnn({32});
  for (int col = 825; col < 832; ++col) dnn.w0()[col] = 8192;
  for (int i = 0; i < 75; ++i) dnn.model.pMean[i] = -1.0f;
  dnn.model.pQuantFirst.aBiasShift[0][0] = 24;
  dnn.w(1)[0] = 64;
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  for (float& v : forward.pBufA) v = 5.0f;
  const std::vector<float> block = Block(1.0f);
  ASSERT_TRUE(DnnForwardAddBlock(&forward, block.data(), 825, true));
  float out[16];
  int32_t stride = 0;
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 1);
  // sigmoid(0) is 64 at 7 bits: 64 * 64 at 10 bits is 4.0 against 0.
  EXPECT_NEAR(out[0], SpeechOf(4.0f, 0.0f), 1e-6);
}

TEST(DnnForward, FlushRightAfterAnEvenFrameYieldsOnePair) {
  TestDnn dnn({64});
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  const std::vector<float> block = Block(2.0f);
  EXPECT_TRUE(DnnForwardAddBlock(&forward, block.data(), 825, true));
  float out[16] = {};
  int32_t stride = 0;
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 1);
  EXPECT_EQ(out[0], 0.5f);
  EXPECT_EQ(out[1], 0.5f);
  EXPECT_EQ(out[2], 0.0f);
}

TEST(DnnForward, ForgetDropsThePartialBatch) {
  TestDnn dnn({32});
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  const std::vector<float> block = Block(2.0f);
  DnnForwardAddBlock(&forward, block.data(), 825, false);
  DnnForwardForget(&forward);
  EXPECT_EQ(forward.nFrames, 0);
  EXPECT_EQ(forward.nKept, 0);
  float out[16];
  int32_t stride = 0;
  EXPECT_EQ(DnnForwardRead(&forward, out, &stride), 0);
}

TEST(DnnForward, SaturatedHiddenUnitGivesTheTopByte) {
  // Pre-activation 16.0 at b = 7 gives 128; by weight 1 at Q0 with a = 10 the logit is 128 / 1024.
  TestDnn dnn({32});
  dnn.model.pQuantFirst.apBias[0][0] = 16 * 1024;
  dnn.w(1)[0] = 1;
  DnnForward forward;
  DnnForwardBind(&forward, &dnn.model);
  const std::vector<float> block = Block(0.0f);
  ASSERT_TRUE(DnnForwardAddBlock(&forward, block.data(), 825, true));
  float out[16];
  int32_t stride = 0;
  ASSERT_EQ(DnnForwardRead(&forward, out, &stride), 1);
  EXPECT_NEAR(out[0], SpeechOf(0.125f, 0.0f), 1e-7);
}

// Random weights; those of 8 bits within +-`size`, the outputs of the hidden layers with `output_bits` fraction bits.
void FillRandom(TestDnn* dnn, int32_t size, uint8_t output_bits) {
  std::mt19937 random(3);
  for (size_t i = 0; i < 4; ++i) {
    const int32_t n = dnn->model.anLayerDim[i] * dnn->model.anLayerCols[i];
    for (int32_t k = 0; k < n; ++k) {
      if (i == 0) {
        dnn->w0()[k] = static_cast<int16_t>(static_cast<int>(random() % 2001) - 1000);
      } else {
        dnn->w(i)[k] = static_cast<int8_t>(static_cast<int>(random() % static_cast<uint32_t>(2 * size + 1)) - size);
      }
    }
    for (int32_t k = 0; k < dnn->model.anLayerDim[i]; ++k) {
      (i == 0 ? dnn->model.pQuantFirst : dnn->model.pQuant).apBias[i][k] = static_cast<int32_t>(random() % 2001) - 1000;
    }
    dnn->model.pQuant.aActShift[i][1] = output_bits;
  }
  dnn->model.pQuantFirst.aBiasShift[0][0] = 20;
  dnn->model.pQuantFirst.aBiasShift[0][1] = 10;
}

// The scores of 29 random frames on a made-up processor.
std::vector<float> Scores(const DnnModel& model, const CpuFeatures& cpu) {
  SetCpuForTest(&cpu);
  std::mt19937 input(11);
  std::normal_distribution<float> normal(0.0f, 3.0f);
  DnnForward forward;
  DnnForwardBind(&forward, &model);
  std::vector<float> scores;
  for (int f = 0; f < 29; ++f) {
    std::vector<float> block(825);
    for (float& v : block) v = normal(input);
    if (DnnForwardAddBlock(&forward, block.data(), 825, f == 28)) {
      float out[16];
      int32_t stride = 0;
      const int32_t frames = DnnForwardRead(&forward, out, &stride);
      scores.insert(scores.end(), out, out + 2 * frames);
    }
  }
  SetCpuForTest(nullptr);
  return scores;
}

TEST(DnnForward, EveryLevelGivesTheSameBitsWithPairsThatSaturateOrNot) {
  struct Case {
    int32_t size;
    uint8_t output_bits;
    bool proved;
  };
  // Bytes of one and more by weights of up to 127: 255 * 254 does not fit 16 bits, 128 * 254 does.
  for (const Case& c : {Case{15, 7, true}, Case{127, 7, true}, Case{127, 8, false}}) {
    TestDnn dnn({256, 256, 96});
    FillRandom(&dnn, c.size, c.output_bits);
    ASSERT_TRUE(DnnModelFits(dnn.model));
    const std::vector<float> want = Scores(dnn.model, CpuFeatures());
    ASSERT_EQ(want.size(), 58u);
    EXPECT_NE(want[0], want[4]);
    for (const CpuFeatures& cpu : test::EverySubsetOfLevels()) EXPECT_EQ(Scores(dnn.model, cpu), want) << LevelOf(cpu).name;
    MarkProvenWeights(&dnn.model);
    for (size_t i = 1; i < 4; ++i) EXPECT_EQ(dnn.model.pQuant.abUnclipped[i], c.proved);
    for (const CpuFeatures& cpu : test::EverySubsetOfLevels()) EXPECT_EQ(Scores(dnn.model, cpu), want) << LevelOf(cpu).name;
  }
}

TEST(DnnModelFits, RefusesWhatTheBuffersCannotHold) {
  const auto fits_after = [](auto change) {
    TestDnn dnn({64, 32});
    change(dnn.model);
    return DnnModelFits(dnn.model);
  };
  EXPECT_TRUE(fits_after([](DnnModel&) {}));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nLayers = 1; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nLayers = 10; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nInputStride = 864; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nFeatureDim = 76; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nFeatureDim = 0; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.anLayerDim[0] = 864; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.anLayerDim[1] = 33; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.anLayerDim[1] = 0; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.anLayerCols[1] = 32; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nOutputDim = 33; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.nOutputDim = 1; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.pQuant.aActShift[0][0] = 7; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.pQuant.aActShift[1][1] = 30; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.pQuant.apWeights[2] = m.pQuant.block.data() + m.pQuant.block.size() - 1; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.pQuantFirst.apBias[0] = nullptr; }));
  EXPECT_FALSE(fits_after([](DnnModel& m) { m.pMean = nullptr; }));
}

}  // namespace
}  // namespace TSEG
