// SPDX-License-Identifier: Apache-2.0
//
// The record of a recurrent network in its three forms, and what is refused.
#include "res/lstm_loader.h"

#include <gtest/gtest.h>

#include <cmath>

#include "res/test_models.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using modelfile::FindVariable;
using modelfile::ModelContents;
using modelfile::Variable;
using modelfile::WriteModel;
using testing_support::At;
using testing_support::CpuGuard;
using testing_support::Loaded;
using testing_support::LogCapture;
using testing_support::Matrix;
using testing_support::SmallLstm40;
using testing_support::SmallLstm75;
using testing_support::Vector;

const char* const kRefused = "ResLoader_ftr::load | model file refused, ";
// Views in the order input, forget, output, cell stand for these quarters of the file's tensors.
constexpr size_t kQuarter[4] = {1, 2, 3, 0};

// half away from zero of x * factor
int Rounded(double x, double factor) { return static_cast<int>(std::floor(std::fabs(x * factor) + 0.5)) * (x < 0 ? -1 : 1); }
// plus a half, cut
int16_t Q(double x, int q) { return static_cast<int16_t>(static_cast<int64_t>(x * std::pow(2.0, q) + 0.5)); }

TEST(LstmLoader, FillsTheRecordOfTheFloatForm) {
  const CpuGuard cpu(false);
  LogCapture log;
  const Loaded loaded(WriteModel(SmallLstm40()));
  ASSERT_EQ(loaded.ret, 0);
  ASSERT_NE(loaded.link.pLstm, nullptr);
  EXPECT_EQ(loaded.link.pDnn, nullptr);
  EXPECT_EQ(loaded.link.nMlpType, 19);
  EXPECT_EQ(loaded.link.nSilenceRow, -1);
  const LstmModel& m = *loaded.link.pLstm;
  EXPECT_EQ(m.form, LstmForm::kFloat);
  EXPECT_EQ(m.nMlpType, 19);
  EXPECT_EQ(m.nFeatureDim, 40);
  EXPECT_EQ(m.nLayers, 1);
  EXPECT_EQ(m.nOutputLayers, 2);
  EXPECT_EQ(m.anKind[0], 1);
  EXPECT_EQ(m.anKind[1], 5);
  EXPECT_EQ(m.bIsCtc, 0);
  EXPECT_EQ(m.nFramesPerStep, 4);
  EXPECT_EQ(m.nOutFrames, 4);
  EXPECT_EQ(m.nClassesPerFrame, 2);
  const LstmLayer& layer = m.aLayer[0];
  EXPECT_EQ(layer.nGateRows, 32);
  EXPECT_EQ(layer.nInputCols, 160);
  EXPECT_EQ(layer.nCellRows, 32);
  EXPECT_EQ(layer.nProjCols, 96);
  EXPECT_EQ(layer.nPeepholeLen, 32);
  EXPECT_EQ(layer.nProjRows, 96);
  EXPECT_EQ(layer.nProjInCols, 32);
  EXPECT_EQ(m.fc.nRows, 32);
  EXPECT_EQ(m.fc.nCols, 480);
  EXPECT_EQ(m.softmax.nRows, 8);
  EXPECT_EQ(m.softmax.nCols, 32);
  EXPECT_EQ(log.CountLines("the CPU do not support SSE4.1, load float res"), 1) << log.Text();
  EXPECT_EQ(log.Count("load int8 res"), 0);
}

TEST(LstmLoader, GatesAreQuartersOfTheTensorsWithTheCellFirst) {
  const CpuGuard cpu(false);
  const ModelContents contents = SmallLstm40();
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  const std::vector<double>& bias = FindVariable(contents, "lstmp1_bias_")->data;
  const std::vector<double>& wx = FindVariable(contents, "lstmp1_w_gifo_x_")->data;
  const std::vector<double>& wr = FindVariable(contents, "lstmp1_w_gifo_r_")->data;
  for (size_t g = 0; g < 4; ++g) {
    for (size_t i = 0; i < 32; ++i) ASSERT_EQ(static_cast<double>(At<float>(layer.apBias[g], i)), bias[kQuarter[g] * 32 + i]) << g;
    for (size_t i = 0; i < 32 * 160; ++i) ASSERT_EQ(static_cast<double>(At<float>(layer.apWx[g], i)), wx[kQuarter[g] * 32 * 160 + i]) << g;
    for (size_t i = 0; i < 32 * 96; ++i) ASSERT_EQ(static_cast<double>(At<float>(layer.apWr[g], i)), wr[kQuarter[g] * 32 * 96 + i]) << g;
  }
  const char* peepholes[3] = {"lstmp1_peephole_i_c_", "lstmp1_peephole_f_c_", "lstmp1_peephole_o_c_"};
  for (size_t k = 0; k < 3; ++k) {
    EXPECT_EQ(static_cast<double>(At<float>(layer.apPeephole[k], 31)), FindVariable(contents, peepholes[k])->data[31]) << k;
  }
  EXPECT_EQ(static_cast<double>(At<float>(layer.pWp, 96 * 32 - 1)), FindVariable(contents, "lstmp1_w_projection_")->data[96 * 32 - 1]);
}

TEST(LstmLoader, GatesAreSplitByThePaddedLength) {
  // 20 cells: 80 rows in the file are 96 in memory, so a quarter is 24 rows and the second one begins inside of what the file calls the
  // input.
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  *FindVariable(contents, "lstmp1_bias_") = Vector("lstmp1_bias_", 80, 10);
  *FindVariable(contents, "lstmp1_w_gifo_r_") = Matrix("lstmp1_w_gifo_r_", 80, 96, 11);
  *FindVariable(contents, "lstmp1_w_gifo_x_") = Matrix("lstmp1_w_gifo_x_", 80, 160, 12);
  for (const char* name : {"lstmp1_peephole_i_c_", "lstmp1_peephole_f_c_", "lstmp1_peephole_o_c_"})
    *FindVariable(contents, name) = Vector(name, 20, 14);
  *FindVariable(contents, "lstmp1_w_projection_") = Matrix("lstmp1_w_projection_", 96, 20, 13);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  EXPECT_EQ(layer.nGateRows, 24);
  EXPECT_EQ(layer.nPeepholeLen, 24);
  EXPECT_EQ(static_cast<double>(At<float>(layer.apBias[0], 0)), FindVariable(contents, "lstmp1_bias_")->data[24]);
  EXPECT_EQ(static_cast<double>(At<float>(layer.apWx[0], 0)), FindVariable(contents, "lstmp1_w_gifo_x_")->data[24 * 160]);
  EXPECT_EQ(At<float>(layer.apBias[2], 8), 0.0F);  // padding
}

TEST(LstmLoader, WithCtcOneFrameHasAllClasses) {
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  contents.keys.push_back({"is_ctc", "true"});
  const Loaded ctc(WriteModel(contents));
  ASSERT_EQ(ctc.ret, 0);
  EXPECT_EQ(ctc.link.pLstm->bIsCtc, 1);
  EXPECT_EQ(ctc.link.pLstm->nFramesPerStep, 4);
  EXPECT_EQ(ctc.link.pLstm->nOutFrames, 1);
  EXPECT_EQ(ctc.link.pLstm->nClassesPerFrame, 8);
  for (const char* value : {"True", "TRUE", "1", "truee", ""}) {
    contents.keys.back().second = value;
    const Loaded other(WriteModel(contents));
    EXPECT_EQ(other.link.pLstm->bIsCtc, 0) << value;
  }
}

TEST(LstmLoader, FloatFormCarriesTheRangesAlong) {
  const CpuGuard cpu(false);
  const Loaded loaded(WriteModel(SmallLstm40()));
  ASSERT_EQ(loaded.ret, 0);
  const LstmModel& m = *loaded.link.pLstm;
  // Ranges of the file: 0.5, 0.25, 0.5, 1, 2 | 16, 1, 4 | 8.
  EXPECT_EQ(m.aLayer[0].afWeightScale[0], 0.25F);
  EXPECT_EQ(m.aLayer[0].afWeightScale[1], 0.5F);
  EXPECT_EQ(m.aLayer[0].afWeightScale[2], 0.5F);
  EXPECT_EQ(m.aLayer[0].afActScale[0], 16.0F);
  EXPECT_EQ(m.aLayer[0].afActScale[1], 1.0F);
  EXPECT_EQ(m.aLayer[0].afActScale[2], 4.0F);
  EXPECT_EQ(m.fc.fWeightScale, 1.0F);
  EXPECT_EQ(m.fc.fActScale, 1.0F);  // that of the recurrent vector of the first layer
  EXPECT_EQ(m.softmax.fWeightScale, 2.0F);
  EXPECT_EQ(m.softmax.fActScale, 8.0F);
  EXPECT_EQ(m.aLayer[0].pRecCompensation, nullptr);
  EXPECT_EQ(m.aLayer[0].pProjCompensation, nullptr);
  EXPECT_TRUE(m.compensation.empty());
}

TEST(LstmLoader, Int8FormPacksEachTensorByItsRange) {
  const CpuGuard cpu(true);
  LogCapture log;
  const ModelContents contents = SmallLstm40();
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(log.CountLines("the CPU support SSE4.1, load int8 res"), 1) << log.Text();
  const LstmModel& m = *loaded.link.pLstm;
  EXPECT_EQ(m.form, LstmForm::kInt8);
  EXPECT_EQ(loaded.link.nMlpType, 19);
  const LstmLayer& layer = m.aLayer[0];
  const std::vector<double>& wx = FindVariable(contents, "lstmp1_w_gifo_x_")->data;
  const std::vector<double>& wr = FindVariable(contents, "lstmp1_w_gifo_r_")->data;
  for (size_t g = 0; g < 4; ++g) {
    for (size_t i = 0; i < 32 * 96; ++i) {
      ASSERT_EQ(At<int8_t>(layer.apWr[g], i), Rounded(wr[kQuarter[g] * 32 * 96 + i], 128 / 0.5)) << g << " " << i;
    }
    for (size_t i = 0; i < 32 * 160; ++i) {
      const int expected = std::min(Rounded(wx[kQuarter[g] * 32 * 160 + i], 32768 / 0.25), 32767);
      ASSERT_EQ(At<int16_t>(layer.apWx[g], i), std::max(expected, -32768)) << g << " " << i;
    }
    EXPECT_EQ(static_cast<double>(At<float>(layer.apBias[g], 5)), FindVariable(contents, "lstmp1_bias_")->data[kQuarter[g] * 32 + 5]);
  }
  // Row 1 of the packed projection follows row 0 without a gap, and no floats have been behind it.
  const std::vector<double>& wp = FindVariable(contents, "lstmp1_w_projection_")->data;
  for (size_t i = 0; i < 96 * 32; ++i) ASSERT_EQ(At<int8_t>(layer.pWp, i), Rounded(wp[i], 128 / 0.5)) << i;
  EXPECT_EQ(At<float>(layer.pWp, 96 * 32 - 1), 0.0F);
  const std::vector<double>& fc = FindVariable(contents, "fc2_weight_")->data;
  for (size_t i = 0; i < 32 * 480; ++i) ASSERT_EQ(At<int8_t>(m.fc.pW, i), Rounded(fc[i], 128)) << i;
  EXPECT_EQ(m.fc.fWeightScale, 1.0F);
  EXPECT_EQ(m.fc.fActScale, 8.0F);
  EXPECT_EQ(static_cast<double>(At<float>(m.softmax.pW, 255)), FindVariable(contents, "softmax_weight_")->data[255]);
  EXPECT_EQ(static_cast<double>(At<float>(m.softmax.pBias, 7)), FindVariable(contents, "softmax_bias_")->data[7]);
}

TEST(LstmLoader, Int8FormTakesOffWhatUnsignedActivationsAdd) {
  const CpuGuard cpu(true);
  ModelContents contents = SmallLstm40();
  // Rows of one value each: forget gate 0.125, projection 0.125, fc 0.25, int8 32 all of them; nothing saturates.
  auto fill = [&contents](const char* name, size_t begin, size_t n, double x) {
    std::vector<double>& data = FindVariable(contents, name)->data;
    std::fill(data.begin() + static_cast<std::ptrdiff_t>(begin), data.begin() + static_cast<std::ptrdiff_t>(begin + n), x);
  };
  fill("lstmp1_w_gifo_r_", 0, 128 * 96, 0.0);
  fill("lstmp1_w_gifo_r_", 2 * 32 * 96 + 96, 96, 0.125);  // row 1 of the forget gate
  fill("lstmp1_w_projection_", 0, 96 * 32, 0.0);
  fill("lstmp1_w_projection_", 32 * 95, 32, 0.125);
  fill("fc2_weight_", 0, 32 * 480, 0.0);
  fill("fc2_weight_", 480 * 3, 480, 0.25);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmModel& m = *loaded.link.pLstm;
  const LstmLayer& layer = m.aLayer[0];
  // 96 x 128 x 32 x (0.5 x 1) / 16384 = 12: 96 weights of 0.125 under an activation of 1, which 128 stands for.
  for (size_t i = 0; i < 128; ++i) EXPECT_EQ(layer.pRecCompensation[i], i == 32 + 1 ? -12.0F : 0.0F) << i;
  // 32 x 128 x 32 x (4 x 0.5) / 16384 = 16.
  for (size_t i = 0; i < 96; ++i) EXPECT_EQ(layer.pProjCompensation[i], i == 95 ? -16.0F : 0.0F) << i;
  // 480 x 128 x 32 x (8 x 1) / 16384 = 960, off the bias itself.
  const std::vector<double>& bias = FindVariable(contents, "fc2_bias_")->data;
  for (size_t i = 0; i < 32; ++i) EXPECT_EQ(At<float>(m.fc.pBias, i), static_cast<float>(bias[i]) - (i == 3 ? 960.0F : 0.0F)) << i;
  EXPECT_EQ(m.compensation.size(), 2u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(layer.pRecCompensation) % 32, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(layer.pProjCompensation) % 32, 0u);
}

TEST(LstmLoader, EveryLayerOfTheInt8FormOwnsItsCompensation) {
  const CpuGuard cpu(true);
  ModelContents contents = SmallLstm40();
  testing_support::AddLstmLayer(&contents, 2, 32, 96);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.pLstm->compensation.size(), 4u);
  EXPECT_NE(loaded.link.pLstm->aLayer[0].pRecCompensation, nullptr);
  EXPECT_NE(loaded.link.pLstm->aLayer[1].pRecCompensation, loaded.link.pLstm->aLayer[0].pRecCompensation);
}

TEST(LstmLoader, RangesBehindTheNinthMayHoldAnything) {
  const CpuGuard cpu(true);
  ModelContents contents = SmallLstm40();
  for (size_t i = 9; i < 16; ++i) contents.fScale[i] = i % 2 == 0 ? -1.0F : std::nanf("");
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 0);
}

TEST(LstmLoader, Int8FormNeedsRangesAboveZero) {
  for (const size_t i : {0u, 1u, 2u, 3u, 5u, 6u, 7u, 8u}) {
    for (const float range : {0.0F, -1.0F, std::nanf(""), INFINITY}) {
      ModelContents contents = SmallLstm40();
      contents.fScale[i] = range;
      const modelfile::Bytes file = WriteModel(contents);
      {
        const CpuGuard cpu(true);
        LogCapture log;
        EXPECT_EQ(Loaded(file).ret, 30002) << i;
        EXPECT_EQ(log.Failures(kRefused + ("quantisation range " + std::to_string(i)) + " is not above zero", "ret", 30002), 1)
            << log.Text();
      }
      const CpuGuard cpu(false);
      EXPECT_EQ(Loaded(file).ret, 0) << i;
    }
  }
}

TEST(LstmLoader, Int8FormNeedsFiveStepsOfTheProjection) {
  // 96 values a step.
  ModelContents contents = SmallLstm40();
  *FindVariable(contents, "fc2_weight_") = Matrix("fc2_weight_", 32, 448, 1);
  const CpuGuard cpu(true);
  LogCapture log;
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 30002);
  EXPECT_EQ(log.Failures(std::string(kRefused) + "the rows of fc2_weight_ hold 4 steps, and answers would come before their frames", "ret",
                         30002),
            1)
      << log.Text();
}

TEST(LstmLoader, FixedFormNarrowsEveryTensorInPlace) {
  const ModelContents contents = SmallLstm75();
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.nMlpType, 17);
  const LstmModel& m = *loaded.link.pLstm;
  EXPECT_EQ(m.form, LstmForm::kFixed);
  EXPECT_EQ(m.nLayers, 2);
  EXPECT_EQ(m.nFeatureDim, 75);
  EXPECT_EQ(m.nFramesPerStep, 4);
  EXPECT_EQ(m.anKind[2], 5);
  for (int k = 0; k < 2; ++k) {
    const LstmLayer& layer = m.aLayerFixed[k];
    EXPECT_EQ(layer.nQx, 13);
    EXPECT_EQ(layer.nQBias, 10);
    EXPECT_EQ(layer.nQr, 15);
    EXPECT_EQ(layer.nQPeephole, 13);
    EXPECT_EQ(layer.nQp, 14);
    EXPECT_EQ(layer.apWx[2], m.aLayer[k].apWx[2]);  // the same place
    const std::string p = "lstmp" + std::to_string(k + 1);
    const size_t inputs = static_cast<size_t>(layer.nInputCols);
    const size_t file_inputs = k == 0 ? 300 : 96;
    EXPECT_EQ(inputs, k == 0 ? 320u : 96u);
    for (size_t g = 0; g < 4; ++g) {
      const std::vector<double>& wx = FindVariable(contents, p + "_w_gifo_x_")->data;
      for (size_t r = 0; r < 32; ++r) {
        for (size_t c = 0; c < inputs; ++c) {
          const int16_t expected = c < file_inputs ? Q(wx[(kQuarter[g] * 32 + r) * file_inputs + c], 13) : int16_t{0};
          ASSERT_EQ(At<int16_t>(layer.apWx[g], r * inputs + c), expected) << k << " " << g << " " << r << " " << c;
        }
      }
      const std::vector<double>& wr = FindVariable(contents, p + "_w_gifo_r_")->data;
      for (size_t i = 0; i < 32 * 96; ++i) ASSERT_EQ(At<int16_t>(layer.apWr[g], i), Q(wr[kQuarter[g] * 32 * 96 + i], 15));
      const std::vector<double>& bias = FindVariable(contents, p + "_bias_")->data;
      for (size_t i = 0; i < 32; ++i) ASSERT_EQ(At<int16_t>(layer.apBias[g], i), Q(bias[kQuarter[g] * 32 + i], 10));
    }
    for (size_t i = 0; i < 32; ++i)
      ASSERT_EQ(At<int16_t>(layer.apPeephole[1], i), Q(FindVariable(contents, p + "_peephole_f_c_")->data[i], 13));
    const std::vector<double>& wp = FindVariable(contents, p + "_w_projection_")->data;
    for (size_t i = 0; i < 96 * 32; ++i) ASSERT_EQ(At<int16_t>(layer.pWp, i), Q(wp[i], 14));
  }
  EXPECT_EQ(m.fcFixed.nQw, 15);
  EXPECT_EQ(m.fcFixed.nQBias, 10);
  EXPECT_EQ(m.softmaxFixed.nQw, 13);
  EXPECT_EQ(m.softmaxFixed.nQBias, 11);
  EXPECT_EQ(m.fcFixed.pW, m.fc.pW);
  EXPECT_EQ(m.fcFixed.nCols, 480);
  EXPECT_EQ(m.softmaxFixed.nRows, 8);
  EXPECT_EQ(At<int16_t>(m.fcFixed.pW, 481), Q(FindVariable(contents, "fc2_weight_")->data[481], 15));
  EXPECT_EQ(At<int16_t>(m.fcFixed.pBias, 31), Q(FindVariable(contents, "fc2_bias_")->data[31], 10));
  EXPECT_EQ(At<int16_t>(m.softmaxFixed.pW, 33), Q(FindVariable(contents, "softmax_weight_")->data[33], 13));
  EXPECT_EQ(At<int16_t>(m.softmaxFixed.pBias, 7), Q(FindVariable(contents, "softmax_bias_")->data[7], 11));
}

TEST(LstmLoader, FixedFormDoesNotAskTheProcessor) {
  const CpuGuard cpu(false);
  const Loaded loaded(WriteModel(SmallLstm75()));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.pLstm->form, LstmForm::kFixed);
}

TEST(LstmLoader, RefusesWhatDoesNotFitTogether) {
  const struct {
    Variable replacement;
    const char* line;
  } kRows[] = {
      {Vector("lstmp1_bias_", 129, 1), "the gates of layer 1 are not of one length"},
      {Matrix("lstmp1_w_gifo_r_", 256, 96, 1), "the gates of layer 1 are not of one length"},
      {Vector("lstmp1_peephole_f_c_", 1, 1), "the peepholes of layer 1 are shorter than a gate"},
      {Matrix("lstmp1_w_gifo_x_", 128, 39, 1), "the inputs of lstmp1_w_gifo_x_ are fewer than the values of mean"},
      {Vector("var", 32, 1), "variable var is shorter than mean"},
      {Vector("fc2_bias_", 33, 1), "the length of fc2_bias_ is not the number of rows of fc2_weight_"},
      {Vector("softmax_bias_", 33, 1), "the length of softmax_bias_ is not the number of rows of softmax_weight_"},
      {Matrix("lstmp1_w_projection_", 97, 32, 1), "the network does not fit the buffers of the forward pass"},
      {Matrix("fc2_weight_", 32, 481, 1), "the network does not fit the buffers of the forward pass"},
  };
  for (const bool sse41 : {false, true}) {
    const CpuGuard cpu(sse41);
    for (const auto& row : kRows) {
      ModelContents contents = SmallLstm40();
      *FindVariable(contents, row.replacement.name) = row.replacement;
      LogCapture log;
      const Loaded loaded(WriteModel(contents));
      EXPECT_EQ(loaded.ret, 30002) << row.line;
      EXPECT_EQ(loaded.link.pLstm, nullptr);
      EXPECT_EQ(log.Failures(std::string(kRefused) + row.line, "ret", 30002), 1) << log.Text();
    }
  }
}

TEST(LstmLoader, TakesFiveLayersAndRefusesSix) {
  ModelContents contents = SmallLstm75();
  for (int k = 3; k <= 5; ++k) testing_support::AddLstmLayer(&contents, k, 32, 96);
  const Loaded five(WriteModel(contents));
  ASSERT_EQ(five.ret, 0);
  EXPECT_EQ(five.link.pLstm->nLayers, 5);
  EXPECT_EQ(five.link.pLstm->anKind[5], 5);
  testing_support::AddLstmLayer(&contents, 6, 32, 96);
  LogCapture log;
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 30002);
  EXPECT_EQ(log.Failures(std::string(kRefused) + "the number of recurrent layers is 6", "ret", 30002), 1) << log.Text();
}

}  // namespace
}  // namespace TSEG
