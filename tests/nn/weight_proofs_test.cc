// SPDX-License-Identifier: Apache-2.0
//
// What is proved of weights, at its bounds, and what a forward pass makes of it.
#include "nn/weight_proofs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "nn/kernels/guarded.h"
#include "nn/lstm_steps.h"
#include "nn/lstm_test_support.h"

namespace TSEG {
namespace {

using namespace test;  // NOLINT: the helpers of these very tests

// A matrix of four rows and 16 columns with `weights` at the front of its last row, or at `column`.
template <typename T>
std::vector<T> Four(const std::vector<T>& weights, size_t column = 0) {
  std::vector<T> matrix(4 * 16, 0);
  std::copy(weights.begin(), weights.end(), matrix.begin() + 48 + static_cast<std::ptrdiff_t>(column));
  return matrix;
}

TEST(WeightProofs, FourBytesMayAddUpToWhatTimes255Holds16Bits) {
  // 128 * 255 = 32640 is the last multiple that 16 bits hold: 129 * 255 = 32895.
  const auto proved = [](const std::vector<int8_t>& w) { return GemvInt8CannotClip(Four(w).data(), 4, 16); };
  EXPECT_TRUE(proved({127, 1, 0, 0}));
  EXPECT_FALSE(proved({127, 2, 0, 0}));
  EXPECT_TRUE(proved({32, 32, 32, 32}));
  EXPECT_FALSE(proved({32, 32, 32, 33}));
  EXPECT_TRUE(proved({-128, 0, 0, 0}));
  EXPECT_FALSE(proved({-128, -1, 0, 0}));
  // Each sign for itself: activations of zero leave either of them alone.
  EXPECT_TRUE(proved({64, -64, 64, -64}));
  EXPECT_FALSE(proved({65, -127, 64, 0}));
  // Fours begin at multiples of four.
  EXPECT_TRUE(proved({0, 0, 100, 28, 100, 28, 0, 0}));
}

TEST(WeightProofs, LookAtTheRowsAndColumnsOfTheKernelAlone) {
  std::vector<int8_t> w(6 * 20, 127);
  EXPECT_FALSE(GemvInt8CannotClip(w.data(), 6, 20));
  for (size_t r = 0; r < 4; ++r) std::fill_n(w.begin() + static_cast<std::ptrdiff_t>(20 * r), 16, int8_t{1});
  EXPECT_TRUE(GemvInt8CannotClip(w.data(), 6, 20));
  w[3 * 20 + 15] = 127;
  EXPECT_FALSE(GemvInt8CannotClip(w.data(), 6, 20));
  EXPECT_TRUE(GemvInt8CannotClip(w.data(), 3, 20));
}

TEST(WeightProofs, PairsOfTheFeedForwardNetworkGoByTheirHighestInput) {
  // 128 * 255 = 32640; 128 * 256 = 32768 is one more than 16 bits hold, and minus that is the least that they do.
  const auto proved = [](const std::vector<int8_t>& w, int32_t highest) { return DnnGemmInt8CannotClip(Four(w).data(), 4, 16, highest); };
  EXPECT_TRUE(proved({127, 127}, 128));
  EXPECT_TRUE(proved({-128, -128}, 128));
  EXPECT_FALSE(proved({-128, -128}, 129));
  EXPECT_TRUE(proved({127, 127}, 129));   // 254 * 129 = 32766
  EXPECT_FALSE(proved({127, 127}, 130));  // 33020
  EXPECT_TRUE(proved({64, 64}, 255));
  EXPECT_FALSE(proved({65, 64}, 255));
  EXPECT_FALSE(proved({64, 64}, 256));
  EXPECT_TRUE(proved({-64, -64}, 256));
  EXPECT_TRUE(proved({0, 100, 100, 0}, 255));  // two pairs
}

// Every level's kernel for proved weights against the definition, on activations at the ends of their range and on random ones.
template <typename T, typename X, typename Y, typename Run>
void ExpectTheReference(int32_t rows, int32_t cols, std::vector<T> weights, size_t frames, size_t outputs, Run run) {
  std::mt19937 random(31);
  for (const Fill fill : AllFills()) {
    Guarded<X> x(static_cast<size_t>(cols) * frames);
    FillWith(x, fill, random);
    Guarded<Y> want(outputs);
    run(ref::kLevel, x.data(), rows, cols, weights.data(), want.data());
    for (const KernelLevel& level : FastLevels()) {
      Guarded<Y> got(outputs);
      run(level, x.data(), rows, cols, weights.data(), got.data());
      ASSERT_TRUE(want.Same(got) && got.Intact()) << level.name << " " << rows << " x " << cols;
    }
  }
}

// rows x cols weights whose sums stand at the bound: in each group of `group` columns a few that add up to `high` or to `low`.
template <typename T>
std::vector<T> AtTheBound(int32_t rows, int32_t cols, int32_t group, int32_t high, int32_t low) {
  std::mt19937 random(32);
  std::vector<T> w(static_cast<size_t>(rows * cols));
  for (size_t begin = 0; begin < w.size(); begin += static_cast<size_t>(group)) {
    int32_t left = random() % 2 == 0 ? high : low;
    for (size_t j = begin; j < begin + static_cast<size_t>(group) && j < w.size(); ++j) {
      const int32_t taken = std::clamp<int32_t>(left, std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
      w[j] = static_cast<T>(taken);
      left -= taken;
    }
  }
  return w;
}

class ProvedKernels : public FastLevelsTest {};

TEST_F(ProvedKernels, GiveTheBitsOfTheReferenceAtTheBound) {
  for (const int32_t rows : {0, 1, 2, 3, 4, 6, 8, 12, 15, 32}) {
    for (const int32_t cols : {0, 15, 16, 32, 40, 48, 64, 96, 224, 480, 496}) {
      const auto outputs = static_cast<size_t>(rows);
      const std::vector<int8_t> fours = AtTheBound<int8_t>(rows, cols, 4, 128, -128);
      ASSERT_TRUE(GemvInt8CannotClip(fours.data(), rows, cols));
      ExpectTheReference<int8_t, int8_t, float>(
          rows, cols, fours, 1, outputs, [](const KernelLevel& level, const int8_t* x, int32_t n, int32_t m, const int8_t* w, float* y) {
            level.lstm.gemv_int8_unclipped(x, n, m, w, y, 0.7f);
          });
      const std::vector<int8_t> pairs = AtTheBound<int8_t>(rows, cols, 2, 128, -128);
      ASSERT_TRUE(DnnGemmInt8CannotClip(pairs.data(), rows, cols, 255));
      ExpectTheReference<int8_t, uint8_t, int16_t>(rows, cols, pairs, 4, 4 * outputs,
                                                   [](const KernelLevel& level, const uint8_t* x, int32_t n, int32_t m, const int8_t* w,
                                                      int16_t* y) { level.dnn.gemm_int8_unclipped(x, n, m, w, y); });
    }
  }
}

// Weights of one unit: 0.5 within a range of 1 is 64, so two of them in four columns are at the bound, and a third clips.
TestLstm OneUnit(int32_t heavy_columns) {
  TestLstm lstm(1);
  LstmLayer& layer = lstm.model.aLayer[0];
  for (int32_t j = 0; j < heavy_columns; ++j) {
    TestLstm::F(layer.apWr[2])[j] = 0.5f;
    TestLstm::F(layer.pWp)[j] = 0.5f;
    TestLstm::F(lstm.model.fc.pW)[j] = 0.5f;
  }
  lstm.ToInt8(1.0f, 1.0f);
  return lstm;
}

TEST(MarkProvenWeights, MarksTheMatricesOfTheInt8FormOneByOne) {
  TestLstm within = OneUnit(2);
  MarkProvenWeights(&within.model);
  EXPECT_TRUE(within.model.aLayer[0].bRecurrentUnclipped);
  EXPECT_TRUE(within.model.aLayer[0].bProjectionUnclipped);
  EXPECT_TRUE(within.model.fc.bUnclipped);

  TestLstm beyond = OneUnit(3);
  MarkProvenWeights(&beyond.model);
  EXPECT_FALSE(beyond.model.aLayer[0].bRecurrentUnclipped);
  EXPECT_FALSE(beyond.model.aLayer[0].bProjectionUnclipped);
  EXPECT_FALSE(beyond.model.fc.bUnclipped);
}

TEST(MarkProvenWeights, LeavesTheOtherFormsAlone) {
  TestLstm real(1), fixed(1, 75);
  fixed.ToFixed();
  for (TestLstm* lstm : {&real, &fixed}) {
    MarkProvenWeights(&lstm->model);
    const LstmLayer& layer = lstm->model.aLayer[0];
    EXPECT_FALSE(layer.bRecurrentUnclipped || layer.bProjectionUnclipped || lstm->model.fc.bUnclipped);
  }
}

TEST(MarkProvenWeights, GoesByTheOutputBitsOfTheLayerBelow) {
  DnnModel model;
  model.nLayers = 5;
  model.pQuant.block = AlignedBuffer<uint8_t>(2 * 32 * 32, 32);
  auto* heavy = static_cast<int8_t*>(static_cast<void*>(model.pQuant.block.data()));
  auto* light = heavy + 32 * 32;
  heavy[0] = heavy[1] = 127;                 // 254 * 128 = 32512, 254 * 255 = 64770
  light[0] = light[1] = 64;                  // 128 * 255 = 32640
  constexpr uint8_t kBits[] = {7, 8, 8, 9};  // one at 7 bits is 128; from 8 on the low byte counts
  for (int32_t i = 1; i < 5; ++i) {
    model.anLayerDim[i] = model.anLayerCols[i] = 32;
    model.pQuant.apWeights[i] = i < 3 ? heavy : light;
    model.pQuant.aActShift[i - 1][1] = kBits[i - 1];
  }
  MarkProvenWeights(&model);
  EXPECT_FALSE(model.pQuant.abUnclipped[0]);  // 16-bit weights
  EXPECT_TRUE(model.pQuant.abUnclipped[1]);
  EXPECT_FALSE(model.pQuant.abUnclipped[2]);
  EXPECT_TRUE(model.pQuant.abUnclipped[3]);
  EXPECT_TRUE(model.pQuant.abUnclipped[4]);
}

// Which kernels a step of the int8 form calls.
struct Calls {
  int proved = 0, others = 0;
};
Calls calls;

void Proved(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  ++calls.proved;
  ref::GemvInt8ToFloat(x, rows, cols, weights, y, s);
}
void Other(const int8_t* x, int32_t rows, int32_t cols, const int8_t* weights, float* y, float s) {
  ++calls.others;
  ref::GemvInt8ToFloat(x, rows, cols, weights, y, s);
}
void RunThreeSteps(const LstmModel& model) {
  LstmKernels kernels = ref::kLevel.lstm;
  kernels.gemv_int8_unclipped = Proved;
  kernels.gemv_int8 = Other;
  calls = Calls();
  LstmForward forward;
  LstmForwardBind(&forward, &model);
  for (int step = 0; step < 3; ++step) lstm::StepInt8(&forward, kernels);
}

TEST(ProvedWeights, ChooseTheKernelOfEachProduct) {
  // Three steps of one layer: four recurrent products and a projection in each, and an output product in the third.
  TestLstm lstm = OneUnit(2);
  RunThreeSteps(lstm.model);
  EXPECT_EQ(calls.proved, 0);
  EXPECT_EQ(calls.others, 16);

  MarkProvenWeights(&lstm.model);
  RunThreeSteps(lstm.model);
  EXPECT_EQ(calls.proved, 16);
  EXPECT_EQ(calls.others, 0);

  lstm.model.aLayer[0].bRecurrentUnclipped = false;
  RunThreeSteps(lstm.model);
  EXPECT_EQ(calls.others, 12);
  lstm.model.aLayer[0].bProjectionUnclipped = false;
  RunThreeSteps(lstm.model);
  EXPECT_EQ(calls.others, 15);
}

TEST(ProvedWeights, GiveTheSameScoresMarkedOrNotAndAtEveryLevel) {
  for (const float size : {0.08f, 0.5f}) {  // all matrices within the bounds, and none
    TestLstm lstm(1, 40, 64);
    lstm.FillRandom(34, size);
    lstm.ToInt8(1.0f, 6.0f);
    TestLstm marked(1, 40, 64);
    marked.FillRandom(34, size);
    marked.ToInt8(1.0f, 6.0f);
    MarkProvenWeights(&marked.model);
    EXPECT_EQ(marked.model.aLayer[0].bRecurrentUnclipped && marked.model.fc.bUnclipped, size < 0.1f);
    EXPECT_EQ(marked.model.aLayer[0].bRecurrentUnclipped || marked.model.fc.bUnclipped, size < 0.1f);
    const auto scores = [](const LstmModel& model, const CpuFeatures& cpu) {
      CpuScope scope(cpu);
      LstmForward forward;
      LstmForwardBind(&forward, &model);
      std::mt19937 random(35);
      std::normal_distribution<float> normal(0.0f, 2.0f);
      std::vector<float> block(160), out;
      for (int step = 0; step < 12; ++step) {
        for (float& v : block) v = normal(random);
        if (!LstmForwardAddBlock40(&forward, block.data(), 160, false)) continue;
        float pairs[8];
        int32_t stride = 0;
        LstmForwardRead(&forward, pairs, &stride);
        out.insert(out.end(), pairs, pairs + 8);
      }
      return out;
    };
    const std::vector<float> want = scores(lstm.model, WithSse41());
    ASSERT_EQ(want.size(), 10u * 8u);
    EXPECT_NE(want[0], want[40]);
    for (const CpuFeatures& cpu : EverySubsetOfLevels()) {
      if (!cpu.int8_form()) continue;  // another form with other bits
      EXPECT_EQ(scores(marked.model, cpu), want) << LevelOf(cpu).name << " " << size;
    }
  }
}

}  // namespace
}  // namespace TSEG
