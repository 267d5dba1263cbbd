// SPDX-License-Identifier: Apache-2.0
//
// The recurrent network's object: delay, ring, clearing, priming and flush, on small models made by hand.
#include "nn/lstm_forward.h"

#include <gtest/gtest.h>

#include <cmath>

#include "nn/lstm_steps.h"
#include "nn/lstm_test_support.h"
#include "nn/model_limits.h"

namespace TSEG {
namespace {

using lstm::LayerState;
using namespace test;  // NOLINT: the helpers of these very tests

TEST(LstmForward, ZeroModelGivesHalvesFromTheThirdBlock) {
  for (const CpuFeatures& cpu : {WithoutSimd(), WithSse(), WithSse41(), DetectedCpu()}) {
    CpuScope scope(cpu);
    TestLstm lstm(2);
    if (cpu.int8_form()) lstm.ToInt8(1.0f, 1.0f);
    ASSERT_TRUE(LstmModelFits(lstm.model));
    LstmForward forward;
    LstmForwardBind(&forward, &lstm.model);
    EXPECT_FALSE(Add40(&forward, 1.0f));
    EXPECT_EQ(forward.nPending, 0);
    EXPECT_FALSE(Add40(&forward, 1.0f));
    EXPECT_TRUE(Add40(&forward, 1.0f));
    EXPECT_EQ(Read(&forward, 4), std::vector<float>(8, 0.5f));
    EXPECT_EQ(Read(&forward, 0), std::vector<float>(8, 0.5f));  // always copies
  }
}

TEST(LstmForward, FixedFormGivesItsFirstResultOnTheThirdBlock) {
  TestLstm lstm(1, 75);
  lstm.ToFixed();
  ASSERT_TRUE(LstmModelFits(lstm.model));
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  EXPECT_FALSE(Add75(&forward, 1.0f));
  EXPECT_FALSE(Add75(&forward, 1.0f));
  EXPECT_TRUE(Add75(&forward, 1.0f));
  EXPECT_EQ(Read(&forward, 4), std::vector<float>(8, 0.5f));
}

TEST(LstmForward, ClearStateKeepsTheDelayAndTheNewerSlots) {
  CpuScope scope(WithSse());
  TestLstm lstm(1);
  OneCell(&lstm);
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (int i = 0; i < 6; ++i) Add40(&forward, 1.0f);
  Read(&forward, 16);  // four blocks since the delay
  const std::vector<float> before(forward.pRing.begin(), forward.pRing.end());
  LstmForwardClearState(&forward);
  const LayerState<float> state(forward.pStatePool.data(), 0);
  for (size_t k = 0; k < 3 * lstm::kVectorLength; ++k) ASSERT_EQ(state.r[k], 0.0f);
  for (size_t k = 0; k < 192; ++k) ASSERT_EQ(forward.pRing[k], 0.0f);
  for (size_t k = 192; k < 480; ++k) ASSERT_EQ(forward.pRing[k], before[k]);
  EXPECT_NE(forward.pRing[192], 0.0f);
  EXPECT_EQ(forward.nSteps, 6);
  EXPECT_TRUE(Add40(&forward, 1.0f));
}

TEST(LstmForward, ClearStateZeroesTheFixedStateToo) {
  TestLstm lstm(1, 75);
  OneCell(&lstm);
  lstm.ToFixed();
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (int i = 0; i < 6; ++i) Add75(&forward, 2.0f);
  const int16_t third_slot = forward.pRing16[192];
  EXPECT_NE(third_slot, 0);
  LstmForwardClearState(&forward);
  EXPECT_EQ(LayerState<int16_t>(forward.pStatePool16.data(), 0).c[0], 0);
  EXPECT_EQ(forward.pRing16[96], 0);
  EXPECT_EQ(forward.pRing16[192], third_slot);
}

TEST(LstmForward, ClearAllRestartsTheDelay) {
  CpuScope scope(WithSse());
  TestLstm lstm(1);
  OneCell(&lstm);
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (int i = 0; i < 4; ++i) Add40(&forward, 1.0f);
  LstmForwardClearAll(&forward);
  EXPECT_EQ(forward.nSteps, 0);
  EXPECT_EQ(forward.nPending, 0);
  EXPECT_EQ(forward.bHaveResult, 0);
  for (float v : forward.pRing) ASSERT_EQ(v, 0.0f);
  EXPECT_FALSE(Add40(&forward, 1.0f));
  EXPECT_FALSE(Add40(&forward, 1.0f));
  EXPECT_TRUE(Add40(&forward, 1.0f));
}

TEST(LstmForward, FlushShiftsTheRingWithoutAStep) {
  CpuScope scope(WithSse());
  TestLstm lstm(1);
  OneCell(&lstm);
  TestLstm::F(lstm.model.fc.pW)[3 * 96] = 2.0f;  // hidden 0 looks at the last slot but one
  TestLstm::F(lstm.model.softmax.pW)[0] = 1.0f;
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (int i = 0; i < 3; ++i) Add40(&forward, 3.0f);
  Read(&forward, 4);
  const float newest = forward.pRing[4 * 96];
  const float cell = LayerState<float>(forward.pStatePool.data(), 0).c[0];
  EXPECT_TRUE(LstmForwardFlushBlock(&forward, nullptr, 160, true));
  EXPECT_EQ(forward.nSteps, 3);
  EXPECT_EQ(forward.pRing[3 * 96], newest);
  EXPECT_EQ(forward.pRing[4 * 96], 0.0f);
  EXPECT_EQ((LayerState<float>(forward.pStatePool.data(), 0).c[0]), cell);
  EXPECT_NEAR(Read(&forward, 4)[0], Logistic(2.0 * static_cast<double>(newest)), 1e-6);
}

TEST(LstmForward, FlushReadsPackedWeightsAsFloats) {
  // In the int8 form the first quarter of fc's memory holds packed bytes and the rest the old floats. Row 24 on of 32 lies behind the
  // packed part.
  CpuScope scope(WithSse41());
  TestLstm lstm(1);
  TestLstm::F(lstm.model.fc.pW)[24 * 480 + 3 * 96] = 0.75f;
  TestLstm::F(lstm.model.softmax.pW)[24] = 1.0f;
  lstm.ToInt8(1.0f, 1.0f);
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  forward.pRing[4 * 96] = 2.0f;
  EXPECT_TRUE(LstmForwardFlushBlock(&forward, nullptr, 160, true));
  // 0.75 was quantised to 96, which the bias takes off for the offset of 128: bias = -128 * 96 / 16384 = -0.75; 2 * 0.75 - 0.75.
  EXPECT_NEAR(Read(&forward, 4)[0], Logistic(0.75), 1e-6);
  // Packed: row 24 column 288 stands at byte 24 * 480 + 288 = 11808, float 2952 = 6 * 480 + 72, so hidden 6 sees ring value 72.
  const int8_t* packed = static_cast<const int8_t*>(lstm.model.fc.pW);
  EXPECT_EQ(packed[11808], 96);
}

TEST(LstmForward, FlushSumsInLanesWhereThereIsSse) {
  // Terms 1, 2^-24, 2^-24, 2^-24: one running sum loses the small ones, lanes keep them.
  const auto score = [](const CpuFeatures& cpu) {
    CpuScope scope(cpu);
    TestLstm lstm(1);
    for (int k = 0; k < 4; ++k) TestLstm::F(lstm.model.fc.pW)[k] = 1.0f;
    TestLstm::F(lstm.model.softmax.pW)[0] = 4194304.0f;  // 2^22
    TestLstm::F(lstm.model.softmax.pBias)[0] = -4194304.0f;
    LstmForward forward;
    LstmForwardBind(&forward, &lstm.model);
    forward.pRing[96] = 1.0f;
    for (size_t k = 97; k < 100; ++k) forward.pRing[k] = std::ldexp(1.0f, -24);
    LstmForwardFlushBlock(&forward, nullptr, 160, true);
    return Read(&forward, 4)[0];
  };
  EXPECT_EQ(score(WithoutSimd()), 0.5f);
  EXPECT_NEAR(score(WithSse()), Logistic(1.0), 1e-6);
}

TEST(LstmForward, PrimingRunsNormalisedZerosWithoutSteps) {
  CpuScope scope(WithSse());
  TestLstm lstm(1);
  OneCell(&lstm);
  lstm.model.pMean[0] = -1.0f;  // a zero row is +1 to the network, in each of four frames
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  for (int i = 0; i < 5; ++i) Add40(&forward, 1.0f);
  LstmForwardPrime(&forward, 11);  // two blocks
  Expected expected;
  expected.Step(1.0);
  const double first = expected.r;
  expected.Step(1.0);
  const LayerState<float> state(forward.pStatePool.data(), 0);
  EXPECT_NEAR(state.c[0], expected.c, 1e-6);
  EXPECT_EQ(forward.nSteps, 0);
  EXPECT_EQ(forward.bHaveResult, 0);
  EXPECT_NEAR(forward.pRing[3 * 96], first, 1e-6);
  EXPECT_NEAR(forward.pRing[4 * 96], expected.r, 1e-6);
  EXPECT_FALSE(Add40(&forward, 1.0f));
}

TEST(LstmForward, PrimingDoesNotExchangeTheBuffers) {
  // Layer 1 sees the normalised zero row as well: its weight on column 1 meets -2, and not layer 0's output.
  CpuScope scope(WithSse());
  TestLstm lstm(2);
  OneCell(&lstm);
  lstm.model.pMean[1] = 2.0f;
  TestLstm::F(lstm.model.aLayer[1].apWx[3])[1] = 0.25f;
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  LstmForwardPrime(&forward, 4);
  EXPECT_NEAR((LayerState<float>(forward.pStatePool.data(), 1).c[0]), 0.5 * std::tanh(-0.5), 1e-6);
}

TEST(LstmForward, Int8PrimingMovesOneSlotAndAQuarter) {
  CpuScope scope(WithSse41());
  TestLstm lstm(1);
  LstmLayer& layer = lstm.model.aLayer[0];
  TestLstm::F(layer.apBias[3])[0] = 2.0f;
  for (int row = 0; row < 96; ++row) TestLstm::F(layer.pWp)[row * layer.nProjInCols] = 0.5f;
  lstm.ToInt8(1.0f, 1.0f);
  LstmForward forward;
  LstmForwardBind(&forward, &lstm.model);
  LstmForwardPrime(&forward, 8);
  const LayerState<float> state(forward.pStatePool.data(), 0);
  EXPECT_GT(state.r[95], 0.05f);
  for (size_t k = 0; k < 384; ++k) ASSERT_EQ(forward.pRing[k], 0.0f) << k;
  for (size_t k = 384; k < 408; ++k) ASSERT_EQ(forward.pRing[k], state.r[k - 384]) << k;
  for (size_t k = 408; k < 480; ++k) ASSERT_EQ(forward.pRing[k], 0.0f) << k;
}

TEST(LstmForward, Int8DelayFollowsTheModelsContext) {
  // fc with three slots of 96: results from step (3 + 1) / 2 = 2 on. The float form waits for step 3 whatever the model says.
  TestLstm lstm(1);
  lstm.model.fc.nCols = 288;
  lstm.ToInt8(1.0f, 1.0f);
  LstmForward forward;
  {
    CpuScope scope(WithSse41());
    LstmForwardBind(&forward, &lstm.model);
    EXPECT_FALSE(Add40(&forward, 1.0f));
    EXPECT_TRUE(Add40(&forward, 1.0f));
  }
  CpuScope scope(WithSse());
  LstmForwardClearAll(&forward);
  EXPECT_FALSE(Add40(&forward, 1.0f));
  EXPECT_FALSE(Add40(&forward, 1.0f));
  EXPECT_TRUE(Add40(&forward, 1.0f));
}

TEST(LstmModelFits, RefusesWhatTheBuffersCannotHold) {
  const auto fits_after = [](auto change) {
    TestLstm lstm(2);
    change(lstm.model);
    return LstmModelFits(lstm.model);
  };
  EXPECT_TRUE(fits_after([](LstmModel&) {}));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.nLayers = 0; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.nLayers = 6; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.nFramesPerStep = 9; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.nFeatureDim = 0; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[0].nInputCols = 352; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[1].nInputCols = 128; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[0].nGateRows = 2080; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[0].nCellRows = 2080; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[0].nPeepholeLen = 2080; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[0].nProjRows = 128; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.aLayer[1].pWp = m.pBlock.data() + m.pBlock.size() - 4; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.fc.nCols = 512; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.fc.nRows = 1312; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.softmax.nCols = 64; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.softmax.pW = nullptr; }));
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.form = LstmForm::kInt8; }));   // no corrections
  EXPECT_FALSE(fits_after([](LstmModel& m) { m.form = LstmForm::kFixed; }));  // no fixed views
}

}  // namespace
}  // namespace TSEG
