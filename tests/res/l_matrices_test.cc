// SPDX-License-Identifier: Apache-2.0
//
// Square matrices over the inputs of a recurrent layer, which the loader multiplies into two of its gates.
#include <gtest/gtest.h>

#include <algorithm>

#include "res/lstm_loader.h"
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

// L matrices: the identity but for one place, so that the product is easily told.
void AddLMatrices(ModelContents* contents, int32_t inputs) {
  for (const char* name : {"lstmp1_w_g_x_L_", "lstmp1_w_o_x_L_"}) {
    Variable l = Matrix(name, inputs, inputs, 0);
    const auto n = static_cast<size_t>(inputs);
    std::fill(l.data.begin(), l.data.end(), 0.0);
    for (size_t i = 0; i < n; ++i) l.data[i * n + i] = name[9] == 'g' ? 2.0 : 1.0;
    l.data[3 * n + 5] = 4.0;  // column 5 takes four times column 3 on top
    contents->variables.push_back(l);
  }
}

TEST(LMatrices, MultiplyTheCellAndTheOutputViewOfTheFloatForm) {
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  AddLMatrices(&contents, 160);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  const std::vector<double>& wx = FindVariable(contents, "lstmp1_w_gifo_x_")->data;
  for (size_t g = 0; g < 4; ++g) {
    const double own = g == 3 ? 2.0 : 1.0;
    for (size_t r = 0; r < 32; ++r) {
      const double* old = wx.data() + (kQuarter[g] * 32 + r) * 160;
      for (size_t c = 0; c < 160; ++c) {
        const double expected = g < 2 ? old[c] : own * old[c] + (c == 5 ? 4.0 * old[3] : 0.0);
        ASSERT_EQ(static_cast<double>(At<float>(layer.apWx[g], r * 160 + c)), expected) << g << " " << r << " " << c;
      }
    }
  }
}

TEST(LMatrices, AddFourProductsAtATimeInSingles) {
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  AddLMatrices(&contents, 160);
  // Row 0 of the cell: 1 at four neighbours; column 0 of L: 2^24, 1, 1, 1 and behind them 1. In singles 2^24 + 1 is 2^24, three times over,
  // and the sum of the second four, 1, is lost in the same way; a sum in doubles would give 2^24 + 4.
  std::vector<double>& wx = FindVariable(contents, "lstmp1_w_gifo_x_")->data;
  std::fill(wx.begin(), wx.begin() + 160, 0.0);
  std::fill(wx.begin(), wx.begin() + 5, 1.0);
  std::vector<double>& l = FindVariable(contents, "lstmp1_w_g_x_L_")->data;
  for (size_t j = 0; j < 160; ++j) l[j * 160] = j == 0 ? 16777216.0 : 1.0;
  // Column 1: 1, 1, 1, 1 | 2^24: the first four make 4, and 2^24 + 4 is a single.
  for (size_t j = 0; j < 160; ++j) l[j * 160 + 1] = j == 4 ? 16777216.0 : 1.0;
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  EXPECT_EQ(At<float>(layer.apWx[3], 0), 16777216.0F);
  EXPECT_EQ(At<float>(layer.apWx[3], 1), 16777220.0F);
}

TEST(LMatrices, OneLMatrixAloneCountsAsNone) {
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  AddLMatrices(&contents, 160);
  testing_support::Drop(&contents, "lstmp1_w_o_x_L_");
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  EXPECT_EQ(static_cast<double>(At<float>(layer.apWx[3], 0)), FindVariable(contents, "lstmp1_w_gifo_x_")->data[0]);
}

TEST(LMatrices, DoNotReachTheFixedForm) {
  ModelContents contents = SmallLstm75();
  const Loaded plain(WriteModel(contents));
  AddLMatrices(&contents, 300);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmModel& m = *loaded.link.pLstm;
  for (size_t i = 0; i < 32 * 320; ++i) {
    ASSERT_EQ(At<int16_t>(m.aLayerFixed[0].apWx[3], i), At<int16_t>(plain.link.pLstm->aLayerFixed[0].apWx[3], i)) << i;
  }
  EXPECT_NE(m.aLayer[0].apWx[3], m.aLayerFixed[0].apWx[3]);
  EXPECT_EQ(m.aLayer[0].apWx[0], m.aLayerFixed[0].apWx[0]);
}

TEST(LMatrices, OfTheInt8FormMultiplyWhatStandsThere) {
  const CpuGuard cpu(true);
  ModelContents contents = SmallLstm40();
  AddLMatrices(&contents, 160);
  const Loaded loaded(WriteModel(contents));
  ASSERT_EQ(loaded.ret, 0);
  const LstmLayer& layer = loaded.link.pLstm->aLayer[0];
  // The second half of the cell's floats was not reached by the packing: row 31 is the product of old floats.
  const std::vector<double>& wx = FindVariable(contents, "lstmp1_w_gifo_x_")->data;
  EXPECT_EQ(static_cast<double>(At<float>(layer.apWx[3], 31 * 160 + 7)), 2.0 * wx[31 * 160 + 7]);
}

TEST(LMatrices, RefusesLMatricesOfAnotherShape) {
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  AddLMatrices(&contents, 160);
  *FindVariable(contents, "lstmp1_w_o_x_L_") = Matrix("lstmp1_w_o_x_L_", 160, 128, 0);
  LogCapture log;
  EXPECT_EQ(Loaded(WriteModel(contents)).ret, 30002);
  EXPECT_EQ(log.Failures(std::string(kRefused) + "the shape of lstmp1_w_o_x_L_ is not square over the inputs of its layer", "ret", 30002),
            1)
      << log.Text();
}

TEST(LMatrices, RefusesAProductThatDoesNotFitTheBlock) {
  // A wide layer under small L matrices: two products take half of the input tensor again, and the block has a fifth more than the file.
  const CpuGuard cpu(false);
  ModelContents contents = SmallLstm40();
  const int32_t cells = 1024;
  *FindVariable(contents, "lstmp1_bias_") = Vector("lstmp1_bias_", 4 * cells, 10);
  *FindVariable(contents, "lstmp1_w_gifo_r_") = Matrix("lstmp1_w_gifo_r_", 4 * cells, 32, 11);
  *FindVariable(contents, "lstmp1_w_gifo_x_") = Matrix("lstmp1_w_gifo_x_", 4 * cells, 160, 12);
  for (const char* name : {"lstmp1_peephole_i_c_", "lstmp1_peephole_f_c_", "lstmp1_peephole_o_c_"})
    *FindVariable(contents, name) = Vector(name, cells, 14);
  *FindVariable(contents, "lstmp1_w_projection_") = Matrix("lstmp1_w_projection_", 32, cells, 13);
  AddLMatrices(&contents, 160);
  LogCapture log;
  const Loaded loaded(WriteModel(contents));
  EXPECT_EQ(loaded.ret, 30002);
  EXPECT_EQ(loaded.link.pLstm, nullptr);
  // 894176 padded values make a block of a fifth more. Before the outputs, which take 16448, 195283 are left: room for the first product of
  // 1024 x 160 and not for the second.
  EXPECT_EQ(log.Failures(std::string(kRefused) + "the product with lstmp1_w_o_x_L_ does not fit the model's block", "ret", 30002), 1)
      << log.Text();
}

}  // namespace
}  // namespace TSEG
