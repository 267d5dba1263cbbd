// SPDX-License-Identifier: Apache-2.0
//
// The arithmetic of a step in its three forms, against its formulas and across the instruction levels.
#include "nn/lstm_steps.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "nn/lstm_test_support.h"
#include "nn/model_limits.h"

namespace TSEG {
namespace {

using lstm::LayerState;
using namespace test;  // NOLINT: the helpers of these very tests

TEST(LstmStep, FloatStepFollowsTheFormulas) {
  for (const CpuFeatures& cpu : {WithoutSimd(), WithSse()}) {
    CpuScope scope(cpu);
    TestLstm lstm(1);
    OneCell(&lstm);
    LstmForward forward;
    LstmForwardBind(&forward, &lstm.model);
    Expected expected;
    const LayerState<float> state(forward.pStatePool.data(), 0);
    for (float x : {1.0f, -2.0f, 0.5f, 3.0f}) {
      Add40(&forward, x);
      expected.Step(static_cast<double>(x));
      EXPECT_NEAR(state.c[0], expected.c, 1e-6);
      EXPECT_NEAR(state.t[0], expected.t, 1e-6);
      EXPECT_NEAR(state.r[0], expected.r, 1e-6);
      // With one layer the output lies in pOut when it enters the ring.
      EXPECT_EQ(forward.pRing[4 * 96], state.r[0]);
    }
    EXPECT_EQ(state.c[1], 0.0f);
  }
}

TEST(LstmStep, Int8StepFollowsTheFormulasWithinItsSteps) {
  CpuScope scope(WithSse41());
  TestLstm lstm(1);
  OneCell(&lstm);
  lstm.ToInt8(1.0f, 4.0f);
  ASSERT_TRUE(LstmModelFits(lstm.model));
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  Expected expected;
  const LayerState<float> state(forward.pStatePool.data(), 0);
  for (float x : {1.0f, -2.0f, 0.5f, 3.0f}) {
    Add40(&forward, x);
    expected.Step(static_cast<double>(x));
    EXPECT_NEAR(state.c[0], expected.c, 0.03);
    EXPECT_NEAR(state.r[0], expected.r, 0.03);
  }
}

TEST(LstmStep, FixedStepIsExact) {
  // Input 1.0 is 2048. Cell input: 2048 * 4096 >> 14 = 512; tanh(0.5) at 9 bits is 237. c = (8192 * 237) >> 14 = 118. t = tanh(118 / 512)
  // at 14 bits: 3710.54 + 0.5 -> 3711. Output gate: bias 0.125 = 128, peephole (3711 * 4096) >> 17 = 115, sigmoid(243 / 1024) = 0.5590493
  // -> 9159.96. m = 3711 * 9159 / 8192 = 4149.06 -> 4149. Projection: 4149 * 8192 / 2^17 = 259.31 + 0.5, cut: 259.
  TestLstm lstm(1, 75);
  OneCell(&lstm);
  lstm.ToFixed();
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  Add75(&forward, 1.0f);
  const LayerState<int16_t> state(forward.pStatePool16.data(), 0);
  EXPECT_EQ(state.c[0], 118);
  EXPECT_EQ(state.t[0], 3711);
  const auto sigmoid = static_cast<int32_t>(std::floor(Logistic(243.0 / 1024.0) * 16384.0 + 0.5));
  EXPECT_EQ(state.H[2][0], sigmoid);
  const auto m = static_cast<int32_t>(std::lround(3711.0 * sigmoid / 8192.0));
  EXPECT_EQ(state.m[0], m);
  EXPECT_EQ(state.r[0], (m * 8192 / 65536 + 1) / 2);
  EXPECT_EQ(forward.pRing16[4 * 96], state.r[0]);
  EXPECT_EQ(state.r[1], 0);
}

TEST(LstmStep, FixedCellSaturatesWhereFloatGrows) {
  // All gates wide open: the cell grows by 1.0 (512) a step, from 63.998 it stays.
  TestLstm fixed(1, 75), real(1, 40);
  for (TestLstm* lstm : {&fixed, &real}) {
    for (size_t g : {size_t{0}, size_t{1}, size_t{3}}) TestLstm::F(lstm->model.aLayer[0].apBias[g])[0] = 30.0f;
  }
  fixed.ToFixed();
  LstmForward fixed_forward, real_forward;
  LstmForwardBind(&fixed_forward, &fixed.model);
  LstmForwardBind(&real_forward, &real.model);
  const LayerState<int16_t> fixed_state(fixed_forward.pStatePool16.data(), 0);
  const LayerState<float> real_state(real_forward.pStatePool.data(), 0);
  CpuScope scope(WithSse());
  for (int step = 1; step <= 70; ++step) {
    Add75(&fixed_forward, 0.0f);
    Add40(&real_forward, 0.0f);
    EXPECT_EQ(fixed_state.c[0], step < 64 ? 512 * step : 32767) << step;
  }
  EXPECT_NEAR(real_state.c[0], 70.0f, 1e-3);
}

TEST(LstmStep, LayersAboveTheFirstReadTheOtherBuffer) {
  // Layer 1 copies the sign of layer 0's output 0 into its own; with 2 layers the result that enters the ring lies in pIn.
  CpuScope scope(WithSse());
  TestLstm lstm(2);
  OneCell(&lstm);
  LstmLayer& upper = lstm.model.aLayer[1];
  TestLstm::F(upper.apWx[3])[0] = 4.0f;
  TestLstm::F(upper.pWp)[5 * upper.nProjInCols] = 2.0f;
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  Add40(&forward, 1.0f);
  const LayerState<float> lower_state(forward.pStatePool.data(), 0), upper_state(forward.pStatePool.data(), 1);
  const double c = 0.5 * std::tanh(4.0 * static_cast<double>(lower_state.r[0]));
  EXPECT_NEAR(upper_state.r[5], 2.0 * 0.5 * std::tanh(c), 1e-6);
  EXPECT_EQ(forward.pRing[4 * 96 + 5], upper_state.r[5]);
  EXPECT_EQ(forward.pIn[5], upper_state.r[5]);
}

TEST(LstmStep, FixedUpperLayerSeesItsInputDoubled) {
  TestLstm lstm(2, 75);
  OneCell(&lstm);
  LstmLayer& upper = lstm.model.aLayer[1];
  TestLstm::F(upper.apWx[3])[0] = 1.0f;
  lstm.ToFixed();
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  Add75(&forward, 4.0f);
  const LayerState<int16_t> lower_state(forward.pStatePool16.data(), 0), upper_state(forward.pStatePool16.data(), 1);
  // r with 12 bits times 8192 >> 14 is r / 2 at 10 bits, twice its value.
  const int32_t r = lower_state.r[0];
  ASSERT_GT(r, 100);
  int16_t g = static_cast<int16_t>((r * 8192) >> 14);
  TanhFixed10To9(&g, 1);
  EXPECT_EQ(upper_state.c[0], (8192 * g) >> 14);
}

TEST(LstmStep, NormalisationComesBeforeTheStep) {
  // A row of zeros is not a zero input: (0 - 3) * 0.5 = -1.5 in each of the four frames, of which the weights take a quarter each.
  CpuScope scope(WithSse());
  TestLstm lstm(1);
  lstm.model.pMean[0] = 3.0f;
  lstm.model.pInvStd[0] = 0.5f;
  for (int frame = 0; frame < 4; ++frame) TestLstm::F(lstm.model.aLayer[0].apWx[3])[40 * frame] = 0.25f;
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  Add40(&forward, 0.0f);
  EXPECT_NEAR(LayerState<float>(forward.pStatePool.data(), 0).c[0], 0.5 * std::tanh(-1.5), 1e-6);
}

TEST(LstmStep, RowBehindABlockReadsAsZero) {
  // Columns 300 to 319 carry weights; a block of 300 leaves them at zero whatever stood there before.
  TestLstm lstm(1, 75);
  for (int col = 300; col < 320; ++col) TestLstm::F(lstm.model.aLayer[0].apWx[3])[col] = 1.0f;
  lstm.ToFixed();
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (float& v : forward.pIn) v = 5.0f;
  Add75(&forward, 1.0f);
  EXPECT_EQ(LayerState<int16_t>(forward.pStatePool16.data(), 0).c[0], 0);
}

TEST(LstmStep, OutputLayersRectifyAndPairTheirRows) {
  // Ring value 0 (newest slot) goes with +2 to hidden 0 and with -2 to hidden 1; the softmax reads hidden 0 with 3 in row 0 and hidden 1
  // with 100.
  CpuScope scope(WithoutSimd());
  TestLstm lstm(1);
  OneCell(&lstm);
  LstmModel& model = lstm.model;
  TestLstm::F(model.fc.pW)[4 * 96] = 2.0f;
  TestLstm::F(model.fc.pW)[480 + 4 * 96] = -2.0f;
  TestLstm::F(model.fc.pBias)[0] = 0.5f;
  TestLstm::F(model.softmax.pW)[0] = 3.0f;
  TestLstm::F(model.softmax.pW)[1] = 100.0f;
  TestLstm::F(model.softmax.pBias)[3] = 1.0f;
  LstmForward forward;
  LstmForwardBind(&forward, &model);
  for (float x : {1.0f, 2.0f, 3.0f}) Add40(&forward, x);
  const double r = static_cast<double>(forward.pRing[4 * 96]);
  ASSERT_GT(r, 0.05);
  const std::vector<float> out = Read(&forward, 4);
  EXPECT_NEAR(out[0], Logistic(3.0 * (2.0 * r + 0.5)), 1e-6);
  EXPECT_NEAR(out[2], Logistic(-1.0), 1e-6);
  EXPECT_EQ(out[4], 0.5f);
}

// A session with priming, blocks, a clear in the middle and flushes, on the processor `cpu`.
std::vector<float> Session(const LstmModel& model, const CpuFeatures& cpu) {
  CpuScope scope(cpu);
  LstmForward forward;
  LstmForwardBind(&forward, &model);
  std::mt19937 random(5);
  std::normal_distribution<float> normal(0.0f, 1.5f);
  const bool wide = model.nFeatureDim == 75;
  if (!wide) LstmForwardPrime(&forward, 32);
  std::vector<float> scores;
  for (int step = 0; step < 40; ++step) {
    std::vector<float> block(wide ? 300 : 160);
    for (float& v : block) v = normal(random);
    if (step == 25) LstmForwardClearState(&forward);
    const bool ready =
        wide ? LstmForwardAddBlock75(&forward, block.data(), 300, false) : LstmForwardAddBlock40(&forward, block.data(), 160, false);
    EXPECT_EQ(ready, step >= 2);
    if (ready) {
      const std::vector<float> out = Read(&forward, 4);
      scores.insert(scores.end(), out.begin(), out.end());
    }
  }
  for (int flush = 0; flush < 2 && !wide; ++flush) {
    EXPECT_TRUE(LstmForwardFlushBlock(&forward, nullptr, 160, true));
    const std::vector<float> out = Read(&forward, 4);
    scores.insert(scores.end(), out.begin(), out.end());
  }
  return scores;
}

bool SameBits(const std::vector<float>& a, const std::vector<float>& b) {
  if (a.size() != b.size()) return false;
  for (size_t k = 0; k < a.size(); ++k) {
    if (std::isnan(a[k]) && std::isnan(b[k])) continue;
    if (std::memcmp(&a[k], &b[k], sizeof a[k]) != 0) return false;
  }
  return true;
}

TEST(LstmStep, Int8FormGivesTheSameBitsAtEveryLevel) {
  TestLstm lstm(3, 40, 64);
  lstm.FillRandom(31, 0.15f);
  lstm.ToInt8(0.5f, 3.0f);
  const std::vector<float> narrow = Session(lstm.model, WithSse41());
  for (const CpuFeatures& cpu : EverySubsetOfLevels()) {
    if (!cpu.int8_form()) continue;  // another form with other bits
    EXPECT_TRUE(SameBits(narrow, Session(lstm.model, cpu))) << LevelOf(cpu).name;
  }
  EXPECT_TRUE(SameBits(narrow, Session(lstm.model, OfAnotherFamily())));
  EXPECT_NE(narrow[0], narrow[8]);
}

TEST(LstmStep, FixedFormGivesTheSameBitsAtEveryLevel) {
  TestLstm lstm(2, 75, 64);
  lstm.FillRandom(32, 0.1f);
  lstm.ToFixed();
  const std::vector<float> plain = Session(lstm.model, WithoutSimd());
  EXPECT_TRUE(SameBits(plain, Session(lstm.model, WithSse41())));
  for (const CpuFeatures& cpu : EverySubsetOfLevels()) EXPECT_TRUE(SameBits(plain, Session(lstm.model, cpu))) << LevelOf(cpu).name;
  EXPECT_TRUE(SameBits(plain, Session(lstm.model, OfAnotherFamily())));
  EXPECT_NE(plain[0], plain[8]);
}

TEST(LstmStep, FormsAgreeClosely) {
  TestLstm real(2, 40, 64), packed(2, 40, 64);
  real.FillRandom(33, 0.08f);
  packed.FillRandom(33, 0.08f);
  packed.ToInt8(0.4f, 6.0f);
  std::vector<float> lanes = Session(real.model, WithSse());
  std::vector<float> single = Session(real.model, WithoutSimd());
  std::vector<float> int8 = Session(packed.model, WithSse41());
  for (size_t k = 0; k + 16 < lanes.size(); ++k) {  // the flush of the int8 form is another network
    ASSERT_NEAR(lanes[k], single[k], 1e-4) << k;
    ASSERT_NEAR(lanes[k], int8[k], 0.15) << k;
  }
}

}  // namespace
}  // namespace TSEG
