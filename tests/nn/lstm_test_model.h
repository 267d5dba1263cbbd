// SPDX-License-Identifier: Apache-2.0
//
// TestLstm: a recurrent model made in a test, filled in float and then turned into the int8 or the fixed form in place.
#ifndef WVAD_NN_LSTM_TEST_MODEL_H_
#define WVAD_NN_LSTM_TEST_MODEL_H_

#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "base/wrap.h"
#include "nn/kernels/kernels.h"
#include "nn/network_models.h"

namespace TSEG::test {

struct TestLstm {
  static constexpr int32_t kCells = 32;
  static constexpr int32_t kProjected = 96;
  static constexpr int32_t kHidden = 32;
  LstmModel model;

  // All weights and biases zero, mean 0, multiplier 1.
  explicit TestLstm(int32_t layers, int32_t feature_dim = 40, int32_t cells = kCells) {
    const int32_t input_cols = feature_dim * 4 > 160 ? 320 : 160;
    model.nLayers = layers;
    model.nFeatureDim = feature_dim;
    model.nFramesPerStep = 4;
    model.nOutFrames = 4;
    model.nClassesPerFrame = 2;
    int64_t floats = 2 * feature_dim;
    for (int32_t k = 0; k < layers; ++k)
      floats += 4 * cells * (k == 0 ? input_cols : kProjected) + 4 * cells * (kProjected + 1) + 3 * cells + kProjected * cells;
    floats += kHidden * (480 + 1) + 32 * (kHidden + 1);
    model.pBlock = AlignedBuffer<uint8_t>(static_cast<size_t>(floats) * sizeof(float), 32);
    next_ = static_cast<float*>(static_cast<void*>(model.pBlock.data()));
    model.pMean = Take(feature_dim);
    model.pInvStd = Take(feature_dim);
    for (int32_t j = 0; j < feature_dim; ++j) model.pInvStd[j] = 1.0f;
    for (int32_t k = 0; k < layers; ++k) {
      LstmLayer& layer = model.aLayer[k];
      layer.nGateRows = layer.nCellRows = layer.nPeepholeLen = layer.nProjInCols = cells;
      layer.nInputCols = k == 0 ? input_cols : kProjected;
      layer.nProjCols = layer.nProjRows = kProjected;
      for (size_t g = 0; g < 4; ++g) {
        layer.apWx[g] = Take(cells * layer.nInputCols);
        layer.apWr[g] = Take(cells * kProjected);
        layer.apBias[g] = Take(cells);
        if (g < 3) layer.apPeephole[g] = Take(cells);
      }
      layer.pWp = Take(kProjected * cells);
    }
    model.fc.nRows = kHidden;
    model.fc.nCols = 480;
    model.fc.pW = Take(kHidden * 480);
    model.fc.pBias = Take(kHidden);
    model.softmax.nRows = 8;
    model.softmax.nCols = kHidden;
    model.softmax.pW = Take(32 * kHidden);
    model.softmax.pBias = Take(32);
  }

  static float* F(void* p) { return static_cast<float*>(p); }

  void FillRandom(uint32_t seed, float size) {
    std::mt19937 random(seed);
    std::normal_distribution<float> normal(0.0f, size);
    const auto fill = [&](void* p, int32_t n) {
      for (int32_t j = 0; j < n; ++j) F(p)[j] = normal(random);
    };
    for (int32_t j = 0; j < model.nFeatureDim; ++j) {
      model.pMean[j] = normal(random);
      model.pInvStd[j] = 0.5f + std::fabs(normal(random));
    }
    for (int32_t k = 0; k < model.nLayers; ++k) {
      LstmLayer& layer = model.aLayer[k];
      for (size_t g = 0; g < 4; ++g) {
        fill(layer.apWx[g], layer.nGateRows * layer.nInputCols);
        fill(layer.apWr[g], layer.nCellRows * layer.nProjCols);
        fill(layer.apBias[g], layer.nGateRows);
        if (g < 3) fill(layer.apPeephole[g], layer.nPeepholeLen);
      }
      fill(layer.pWp, layer.nProjRows * layer.nProjInCols);
    }
    fill(model.fc.pW, model.fc.nRows * model.fc.nCols);
    fill(model.fc.pBias, model.fc.nRows);
    fill(model.softmax.pW, model.softmax.nRows * model.softmax.nCols);
    fill(model.softmax.pBias, model.softmax.nRows);
  }

  void ToFixed() {
    model.form = LstmForm::kFixed;
    for (int32_t k = 0; k < model.nLayers; ++k) {
      LstmLayer& layer = model.aLayer[k];
      layer.nQx = 13, layer.nQBias = 10, layer.nQr = 15, layer.nQPeephole = 13, layer.nQp = 14;
      for (size_t g = 0; g < 4; ++g) {
        Narrow(layer.apWx[g], layer.nGateRows * layer.nInputCols, 13);
        Narrow(layer.apWr[g], layer.nCellRows * layer.nProjCols, 15);
        Narrow(layer.apBias[g], layer.nGateRows, 10);
        if (g < 3) Narrow(layer.apPeephole[g], layer.nPeepholeLen, 13);
      }
      Narrow(layer.pWp, layer.nProjRows * layer.nProjInCols, 14);
      model.aLayerFixed[k] = layer;
    }
    model.fcFixed = model.fc;
    model.fcFixed.nQw = 15;
    Narrow(model.fc.pW, model.fc.nRows * model.fc.nCols, 15);
    Narrow(model.fc.pBias, model.fc.nRows, 10);
    model.softmaxFixed = model.softmax;
    model.softmaxFixed.nQw = 13;
    Narrow(model.softmax.pW, model.softmax.nRows * model.softmax.nCols, 13);
    Narrow(model.softmax.pBias, model.softmax.nRows, 11);
  }

  // Weights within `weight_range`, activations within `act_range`.
  void ToInt8(float weight_range, float act_range) {
    model.form = LstmForm::kInt8;
    for (int32_t k = 0; k < model.nLayers; ++k) {
      LstmLayer& layer = model.aLayer[k];
      for (size_t i = 0; i < 3; ++i) {
        layer.afWeightScale[i] = weight_range;
        layer.afActScale[i] = act_range;
      }
      layer.pRecCompensation = NewCompensation(4 * layer.nCellRows);
      layer.pProjCompensation = NewCompensation(layer.nProjRows);
      for (size_t g = 0; g < 4; ++g) {
        ref::QuantInt16(F(layer.apWx[g]), layer.nGateRows * layer.nInputCols, weight_range);
        ref::QuantInt8(F(layer.apWr[g]), layer.nCellRows * layer.nProjCols, weight_range);
        Compensate(layer.apWr[g], layer.nCellRows, layer.nProjCols, weight_range * act_range,
                   layer.pRecCompensation + g * static_cast<size_t>(layer.nCellRows));
      }
      ref::QuantInt8(F(layer.pWp), layer.nProjRows * layer.nProjInCols, weight_range);
      Compensate(layer.pWp, layer.nProjRows, layer.nProjInCols, weight_range * act_range, layer.pProjCompensation);
    }
    model.fc.fWeightScale = weight_range;
    model.fc.fActScale = act_range;
    ref::QuantInt8(F(model.fc.pW), model.fc.nRows * model.fc.nCols, weight_range);
    Compensate(model.fc.pW, model.fc.nRows, model.fc.nCols, weight_range * act_range, F(model.fc.pBias));
  }

 private:
  float* Take(int32_t n) {
    float* const taken = next_;
    next_ += n;
    return taken;
  }
  static void Narrow(void* p, int32_t n, int32_t q) {
    for (int32_t j = 0; j < n; ++j) {
      float x;
      std::memcpy(&x, F(p) + j, sizeof x);
      const int16_t narrow = CutLow16(static_cast<double>(x) * std::ldexp(1.0, q) + 0.5);
      std::memcpy(static_cast<int16_t*>(p) + j, &narrow, sizeof narrow);
    }
  }
  float* NewCompensation(int32_t n) {
    model.compensation.emplace_back(static_cast<size_t>(n), 32);
    return model.compensation.back().data();
  }
  // Takes off what the kernel adds for activations of zero.
  static void Compensate(const void* weights, int32_t rows, int32_t cols, float scale, float* correction) {
    const std::vector<int8_t> zeros(static_cast<size_t>(cols), 0);
    std::vector<float> added(static_cast<size_t>(rows));
    ref::GemvInt8ToFloat(zeros.data(), rows, cols, static_cast<const int8_t*>(weights), added.data(), scale);
    for (size_t r = 0; r < added.size(); ++r) correction[r] -= added[r];
  }
  float* next_ = nullptr;
};

}  // namespace TSEG::test

#endif  // WVAD_NN_LSTM_TEST_MODEL_H_
