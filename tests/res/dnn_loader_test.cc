// SPDX-License-Identifier: Apache-2.0
#include "res/dnn_loader.h"

#include <gtest/gtest.h>

#include <limits>

#include "res/test_models.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using modelfile::FindVariable;
using modelfile::ModelContents;
using modelfile::Variable;
using modelfile::WriteModel;
using testing_support::At;
using testing_support::Loaded;
using testing_support::LogCapture;
using testing_support::Matrix;
using testing_support::SmallDnn;
using testing_support::Vector;

const char* const kRefused = "ResLoader_ftr::load | model file refused, ";

TEST(DnnLoader, FillsTheShapeOfTheNetwork) {
  const Loaded loaded(WriteModel(SmallDnn()));
  ASSERT_EQ(loaded.ret, 0);
  ASSERT_NE(loaded.link.pDnn, nullptr);
  EXPECT_EQ(loaded.link.pLstm, nullptr);
  EXPECT_EQ(loaded.link.nMlpType, 1);
  const DnnModel& m = *loaded.link.pDnn;
  EXPECT_EQ(m.nMlpType, 1);
  EXPECT_STREQ(m.szName, "NEW_RES");
  EXPECT_EQ(m.nLayers, 2);
  EXPECT_EQ(m.nFeatureDim, 75);
  EXPECT_EQ(m.nContext, 11);
  EXPECT_EQ(m.nInputShift, 11);
  EXPECT_EQ(m.n_input_frames, -1);
  EXPECT_EQ(m.nOutputDim, 2);
  EXPECT_EQ(m.nInputStride, 832);
  EXPECT_EQ(m.anLayerCols[0], 832);
  EXPECT_EQ(m.anLayerDim[0], 64);
  EXPECT_EQ(m.anLayerCols[1], 64);
  EXPECT_EQ(m.anLayerDim[1], 32);
}

TEST(DnnLoader, KeepsThePaddedFloatsOfTheNormalisation) {
  const Loaded loaded(WriteModel(SmallDnn()));
  ASSERT_EQ(loaded.ret, 0);
  const DnnModel& m = *loaded.link.pDnn;
  const std::vector<double> mean = Vector("mean", 75, 1).data;
  for (size_t i = 0; i < 96; ++i) ASSERT_EQ(static_cast<double>(m.pMean[i]), i < 75 ? mean[i] : 0.0) << i;
  EXPECT_EQ(static_cast<double>(m.pInvStd[74]), Vector("var", 75, 2).data[74]);
  EXPECT_EQ(static_cast<double>(m.pPrior[1]), Vector("pri", 2, 3).data[1]);
}

TEST(DnnLoader, CollectsShiftsOfBothTablesLayerByLayer) {
  ModelContents contents = SmallDnn();
  FindVariable(contents, "weights12")->nShift16 = 13;
  FindVariable(contents, "bias2")->nShift16 = 17;
  FindVariable(contents, "weights23")->nShift16 = 6;
  FindVariable(contents, "bias3")->nShift16 = 9;
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const DnnModel& m = *loaded.link.pDnn;
  // By the 8-bit shifts: weights 12 and 4, biases 16 and 11; the input of layer 1 has 11 - 4 bits.
  EXPECT_EQ(m.pQuant.aBiasShift[0][0], 23);
  EXPECT_EQ(m.pQuant.aBiasShift[0][1], 16);
  EXPECT_EQ(m.pQuant.aActShift[0][0], 16);
  EXPECT_EQ(m.pQuant.aActShift[0][1], 7);
  EXPECT_EQ(m.pQuant.aBiasShift[1][0], 11);
  EXPECT_EQ(m.pQuant.aBiasShift[1][1], 11);
  EXPECT_EQ(m.pQuant.aActShift[1][0], 11);
  EXPECT_EQ(m.pQuant.aActShift[1][1], 0);
  // By the 16-bit shifts: 13 + 11, 9 - 6, 6 + 3.
  EXPECT_EQ(m.pQuantFirst.aBiasShift[0][0], 24);
  EXPECT_EQ(m.pQuantFirst.aBiasShift[0][1], 17);
  EXPECT_EQ(m.pQuantFirst.aActShift[0][1], 3);
  EXPECT_EQ(m.pQuantFirst.aBiasShift[1][0], 9);
  EXPECT_EQ(m.pQuantFirst.aBiasShift[1][1], 9);
}

TEST(DnnLoader, BuildsTheTableInFullAndTheBiasOfTheOther) {
  ModelContents contents = SmallDnn();
  FindVariable(contents, "weights12")->nShift16 = 13;
  FindVariable(contents, "bias2")->nShift16 = 17;
  FindVariable(contents, "weights23")->nShift16 = 6;
  FindVariable(contents, "weights12")->data[1] = 0.25;
  FindVariable(contents, "bias2")->data[1] = -0.25;
  FindVariable(contents, "weights23")->data[1] = -9.0;
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const DnnModel& m = *loaded.link.pDnn;
  EXPECT_EQ(At<int16_t>(m.pQuant.apWeights[0], 1), 1024);  // 0.25 in Q12
  EXPECT_EQ(m.pQuant.apBias[0][1], -16384);                // -0.25 in Q16
  EXPECT_EQ(m.pQuantFirst.apBias[0][1], -32768);           // in Q17
  EXPECT_EQ(At<int8_t>(m.pQuant.apWeights[1], 1), -128);   // -144 clipped
  for (int i = 0; i < 2; ++i) EXPECT_EQ(m.pQuantFirst.apWeights[i], nullptr);
  EXPECT_EQ(m.pQuantFirst.apBias[1], nullptr);
  // Behind row 0 of 40 inputs stands padding up to 64, and then row 1.
  EXPECT_EQ(At<int8_t>(m.pQuant.apWeights[1], 40), 0);
  const double first_of_row_1 = FindVariable(contents, "weights23")->data[40] * 16.0;
  EXPECT_EQ(At<int8_t>(m.pQuant.apWeights[1], 64), static_cast<int8_t>(first_of_row_1 + (first_of_row_1 < 0 ? -0.5 : 0.5)));
  EXPECT_EQ(At<int16_t>(m.pQuant.apWeights[0], 825), 0);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m.pQuant.apWeights[i]) % 32, 0u);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(m.pQuant.apBias[i]) % 32, 0u);
  }
}

TEST(DnnLoader, OnlyTheLowByteOfAShiftCounts) {
  ModelContents contents = SmallDnn();
  FindVariable(contents, "weights23")->nShift8 = 0x7F04;
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.pDnn->pQuant.aBiasShift[1][0], 11);
  EXPECT_EQ(loaded.link.pDnn->pQuant.aActShift[0][1], 7);
}

TEST(DnnLoader, RefusesShiftsThatCannotBeComputedWith) {
  const struct {
    const char* name;
    int shift8, shift16;
    const char* line;
  } kRows[] = {
      {"bias2", 7, 16, "a bias shift of 7 in layer 1 cannot be computed with"},
      {"bias2", 28, 16, "a bias shift of 28 in layer 1 cannot be computed with"},
      {"bias2", 16, 32, "a bias shift of 32 in layer 1 cannot be computed with"},
      {"weights12", 12, 32, "a weight shift of 32 in layer 1 cannot be computed with"},
      {"weights12", 12, -1, "a weight shift of 255 in layer 1 cannot be computed with"},
      {"weights23", 237, 4, "an output shift of 30 in layer 1 cannot be computed with"},  // 11 - 237 + 256
      {"weights23", 12, 4, "an output shift of -1 in layer 1 cannot be computed with"},
      {"bias3", 32, 11, "a bias shift of 32 in layer 2 cannot be computed with"},
  };
  for (const auto& row : kRows) {
    ModelContents contents = SmallDnn();
    FindVariable(contents, row.name)->nShift8 = row.shift8;
    FindVariable(contents, row.name)->nShift16 = row.shift16;
    if (std::string(row.name) == "bias3") FindVariable(contents, "weights23")->nShift8 = 27;
    LogCapture log;
    const Loaded loaded(WriteModel(contents));
    EXPECT_EQ(loaded.ret, 30002) << row.line;
    EXPECT_EQ(loaded.link.pDnn, nullptr);
    EXPECT_EQ(log.Failures(std::string(kRefused) + row.line, "ret", 30002), 1) << log.Text();
  }
}

TEST(DnnLoader, TakesShiftsAtTheEndsOfTheirRanges) {
  for (const auto& [bias, weights, next_bias] :
       {std::tuple{8, 4, 4}, std::tuple{27, 4, 12}, std::tuple{16, 4, 12}, std::tuple{16, 2, 31}}) {
    ModelContents contents = SmallDnn();
    FindVariable(contents, "bias2")->nShift8 = bias;
    FindVariable(contents, "weights23")->nShift8 = weights;
    FindVariable(contents, "bias3")->nShift8 = next_bias;
    EXPECT_EQ(Loaded(WriteModel(contents)).ret, 0) << bias << " " << next_bias - weights;
  }
}

TEST(DnnLoader, TheSixteenBitShiftsOfHigherLayersMayHoldAnything) {
  ModelContents contents = SmallDnn();
  FindVariable(contents, "weights23")->nShift16 = 200;
  FindVariable(contents, "bias3")->nShift16 = -3;
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 0);
}

TEST(DnnLoader, ASingleLayerIsNotSupported) {
  ModelContents contents = SmallDnn();
  testing_support::Drop(&contents, "weights23");
  testing_support::Drop(&contents, "bias3");
  LogCapture log;
  const Loaded loaded(WriteModel(contents));
  EXPECT_EQ(loaded.ret, 30011);
  EXPECT_EQ(loaded.link.pDnn, nullptr);
  EXPECT_EQ(log.Failures(std::string(kRefused) + "a network of a single layer is not supported", "ret", 30011), 1) << log.Text();
  EXPECT_EQ(log.Failures("Mlp_res_loader::load | mlp_res_ac->ResParsing err, ret = 30011", "ret", 30011), 1) << log.Text();
}

TEST(DnnLoader, WithoutAnyBiasThereIsNoLayer) {
  ModelContents contents = SmallDnn();
  testing_support::Drop(&contents, "bias2");
  testing_support::Drop(&contents, "bias3");
  LogCapture log;
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 30002);
  EXPECT_EQ(log.Failures(std::string(kRefused) + "the number of layers is 0", "ret", 30002), 1) << log.Text();
}

TEST(DnnLoader, RefusesLayersThatDoNotFitTogether) {
  const struct {
    const char* name;
    Variable replacement;
    const char* line;
  } kRows[] = {
      {"weights23", Matrix("weights23", 2, 33 + 32, 6, 4), "the inputs of weights23 are not the outputs of the layer before it"},
      {"bias2", Vector("bias2", 65, 5, 16), "the length of bias2 is not the number of rows of weights12"},
      {"var", Vector("var", 32, 2), "variable var is shorter than mean"},
      {"weights12", Matrix("weights12", 40, 833, 4, 12), "the network does not fit the buffers of the forward pass"},
      {"pri", Vector("pri", 33, 3), "the network does not fit the buffers of the forward pass"},
      {"mean", Vector("mean", 76, 1), "the network does not fit the buffers of the forward pass"},
  };
  for (const auto& row : kRows) {
    ModelContents contents = SmallDnn();
    *FindVariable(contents, row.name) = row.replacement;
    LogCapture log;
    const Loaded loaded(WriteModel(contents));
    EXPECT_EQ(loaded.ret, 30002) << row.line;
    EXPECT_EQ(loaded.link.pDnn, nullptr);
    EXPECT_EQ(log.Failures(std::string(kRefused) + row.line, "ret", 30002), 1) << log.Text();
    EXPECT_EQ(log.Failures("Mlp_res_loader::load | mlp_res_ac->ResParsing err, ret = 30002", "ret", 30002), 1) << log.Text();
  }
}

TEST(DnnLoader, AModelWithoutMapLoadsWithAWarning) {
  LogCapture log;
  const Loaded loaded(WriteModel(SmallDnn()));
  EXPECT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.nSilenceRow, -1);
  EXPECT_TRUE(loaded.link.pGeneral.empty());
  EXPECT_EQ(log.CountLines("parse_float_res_new_headerV3 | map is not short"), 1) << log.Text();
}

TEST(DnnLoader, AMapOfShortsBecomesRowsAndTheSilenceRow) {
  ModelContents contents = SmallDnn();
  Variable map;
  map.name = "map";
  map.dtype = "short";
  map.outer = 8;
  map.data = {0, -1, 1, 1, 0, -1, 0, -1};  // with two priors every state is one of the three highest
  contents.variables.push_back(map);
  LogCapture log;
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(loaded.link.pGeneral,
            (std::vector<int32_t>{0, -1, -1, -1, -1, -1, -1, -1, 1, 1, 0, -1, -1, -1, -1, -1, 0, -1, -1, -1, -1, -1, -1, -1}));
  EXPECT_EQ(loaded.link.nSilenceRow, 1);
  EXPECT_EQ(log.CountLines("parse_float_res_new_headerV3 | map is not short"), 0);

  // The same list as a matrix of two rows of four: the padding between them is no part of it.
  contents.variables.back().outer = 2;
  contents.variables.back().inner = 4;
  const Loaded matrix(WriteModel(contents));
  EXPECT_EQ(matrix.link.pGeneral, loaded.link.pGeneral);

  contents.variables.back().dtype = "int";
  const Loaded other(WriteModel(contents));
  EXPECT_EQ(other.ret, 0);
  EXPECT_TRUE(other.link.pGeneral.empty());
  EXPECT_EQ(log.CountLines("parse_float_res_new_headerV3 | map is not short"), 1);
}

TEST(DnnLoader, TellsWhereItComputes) {
  const modelfile::Bytes file = WriteModel(SmallDnn());
  for (const bool reset : {false, true}) {
    CFG_RESMGR cfg;
    cfg.resetUseNvidiaGPUAvailable = reset;
    ResLoader_Ftr loader(nullptr);
    loader.SetConfiguration(&cfg);
    HMMResourceLink link(testing_support::kModelKey, "memres");
    LogCapture log;
    EXPECT_EQ(loader.load(&link, file.data(), file.size(), testing_support::kModelKey, nullptr, 0), 0);
    EXPECT_EQ(log.CountLines("Compute With CPU with DNN "), reset ? 1 : 0) << log.Text();
    EXPECT_EQ(log.CountLines("Gpu DNN res not created."), reset ? 0 : 1) << log.Text();
  }
}

TEST(DnnLoader, WeightsThatAreNoNumbersStayInRange) {
  ModelContents contents = SmallDnn();
  FindVariable(contents, "weights23")->data[0] = std::numeric_limits<double>::quiet_NaN();
  FindVariable(contents, "weights23")->data[1] = std::numeric_limits<double>::infinity();
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  EXPECT_EQ(At<int8_t>(loaded.link.pDnn->pQuant.apWeights[1], 0), -128);
  EXPECT_EQ(At<int8_t>(loaded.link.pDnn->pQuant.apWeights[1], 1), 127);
}

}  // namespace
}  // namespace TSEG
