// SPDX-License-Identifier: Apache-2.0
//
// The checks behind model_limits.h: dimensions against the forward buffers, tensors against the blocks that should hold them.
#include "nn/model_limits.h"

#include "nn/dnn_forward.h"

namespace TSEG {
namespace {

// 13312 bytes a buffer: 4 rows of 832 32-bit values.
constexpr int32_t kDnnMaxWidth = kDnnRowStride;
constexpr int32_t kDnnMaxWeightLayers = 9;
// The buffers of the recurrent network: 1280 floats each, 320 a row; vectors of 2048; a ring of 5 slots of 96.
constexpr int32_t kLstmRowFloats = 320;
constexpr int32_t kLstmBufferFloats = 4 * kLstmRowFloats;
constexpr int32_t kLstmVectorLength = 2048;
constexpr int32_t kLstmRingFloats = 480;
constexpr int32_t kLstmSlotFloats = 96;

bool InRange(int32_t v, int32_t low, int32_t high) { return v >= low && v <= high; }

bool IsPaddedWidth(int32_t v) { return v > 0 && v % 32 == 0; }

// Whether `n` elements of `element` bytes at `p` lie inside of `block`.
bool Holds(const AlignedBuffer<uint8_t>& block, const void* p, int64_t n, int64_t element) {
  const auto begin = reinterpret_cast<uintptr_t>(block.data());
  const auto at = reinterpret_cast<uintptr_t>(p);
  if (begin == 0 || at < begin || n < 0) return false;
  const uint64_t offset = at - begin;
  return offset <= block.size() && static_cast<uint64_t>(n * element) <= block.size() - offset;
}

bool DnnLayerFits(const DnnModel& model, int32_t layer) {
  const auto i = static_cast<size_t>(layer);
  const int32_t rows = model.anLayerDim[i];
  const int32_t cols = model.anLayerCols[i];
  const bool last = layer == model.nLayers - 1;
  if (!IsPaddedWidth(rows) || rows > kDnnMaxWidth) return false;
  if (cols != (layer == 0 ? model.nInputStride : model.anLayerDim[i - 1])) return false;
  if (last && (!InRange(model.nOutputDim, 2, rows))) return false;
  const uint8_t a = model.pQuant.aActShift[i][0];
  const uint8_t b = model.pQuant.aActShift[i][1];
  if (last ? a > 31 : (a < 8 || a > 27 || b > 29)) return false;
  const DnnQuantTable& bias_table = layer == 0 ? model.pQuantFirst : model.pQuant;
  return Holds(model.pQuant.block, model.pQuant.apWeights[i], static_cast<int64_t>(rows) * cols, layer == 0 ? 2 : 1) &&
         Holds(bias_table.block, bias_table.apBias[i], rows, 4);
}

bool LstmLayerFits(const LstmModel& model, const LstmLayer& layer, int32_t max_input_cols) {
  if (!InRange(layer.nInputCols, 1, max_input_cols) || !InRange(layer.nGateRows, 1, kLstmVectorLength) ||
      !InRange(layer.nCellRows, 1, kLstmVectorLength) || !InRange(layer.nProjCols, 1, kLstmVectorLength) ||
      !InRange(layer.nPeepholeLen, 0, kLstmVectorLength) || !InRange(layer.nProjInCols, 1, kLstmVectorLength)) {
    return false;
  }
  if (!InRange(layer.nProjRows, 1, kLstmSlotFloats)) return false;
  const int64_t wx = static_cast<int64_t>(layer.nGateRows) * layer.nInputCols;
  const int64_t wr = static_cast<int64_t>(layer.nCellRows) * layer.nProjCols;
  for (size_t g = 0; g < 4; ++g) {
    if (!Holds(model.pBlock, layer.apWx[g], wx, 4) || !Holds(model.pBlock, layer.apWr[g], wr, 4) ||
        !Holds(model.pBlock, layer.apBias[g], layer.nGateRows, 4)) {
      return false;
    }
  }
  for (const void* peephole : layer.apPeephole) {
    if (!Holds(model.pBlock, peephole, layer.nPeepholeLen, 4)) return false;
  }
  if (model.form == LstmForm::kInt8 && (layer.pRecCompensation == nullptr || layer.pProjCompensation == nullptr)) return false;
  return Holds(model.pBlock, layer.pWp, static_cast<int64_t>(layer.nProjRows) * layer.nProjInCols, 4);
}

bool LstmOutputFits(const LstmModel& model, const LstmOutputLayer& layer, int32_t max_cols) {
  return InRange(layer.nRows, 1, kLstmBufferFloats) && InRange(layer.nCols, 1, max_cols) &&
         Holds(model.pBlock, layer.pW, static_cast<int64_t>(layer.nRows) * layer.nCols, 4) &&
         Holds(model.pBlock, layer.pBias, layer.nRows, 4);
}

bool LstmStackFits(const LstmModel& model, const LstmLayer* layers, const LstmOutputLayer& fc, const LstmOutputLayer& softmax) {
  int32_t max_input_cols = kLstmRowFloats;
  for (int32_t k = 0; k < model.nLayers; ++k) {
    if (!LstmLayerFits(model, layers[k], max_input_cols)) return false;
    max_input_cols = layers[k].nProjRows;
  }
  return LstmOutputFits(model, fc, kLstmRingFloats) && LstmOutputFits(model, softmax, fc.nRows);
}

}  // namespace

bool DnnModelFits(const DnnModel& model) {
  if (!InRange(model.nLayers, 2, kDnnMaxWeightLayers) || model.nInputStride != kDnnRowStride) return false;
  if (!InRange(model.nFeatureDim, 1, kDnnRowStride) || !InRange(model.nContext, 1, kDnnRowStride) ||
      model.nFeatureDim * model.nContext > kDnnRowStride || !InRange(model.nInputShift, 0, 15)) {
    return false;
  }
  if (!Holds(model.pBlock, model.pMean, model.nFeatureDim, 4) || !Holds(model.pBlock, model.pInvStd, model.nFeatureDim, 4)) return false;
  for (int32_t i = 0; i < model.nLayers; ++i) {
    if (!DnnLayerFits(model, i)) return false;
  }
  return true;
}

bool LstmModelFits(const LstmModel& model) {
  if (!InRange(model.nLayers, 1, kLstmMaxLayers)) return false;
  if (!InRange(model.nFeatureDim, 1, kLstmRowFloats) || !InRange(model.nFramesPerStep, 1, kLstmRowFloats) ||
      model.nFeatureDim * model.nFramesPerStep > kLstmRowFloats) {
    return false;
  }
  if (!Holds(model.pBlock, model.pMean, model.nFeatureDim, 4) || !Holds(model.pBlock, model.pInvStd, model.nFeatureDim, 4)) return false;
  // Either set of views may be run, whatever the model holds: the caller goes by its own parameters.
  if (!LstmStackFits(model, model.aLayer, model.fc, model.softmax)) return false;
  return model.form != LstmForm::kFixed || LstmStackFits(model, model.aLayerFixed, model.fcFixed, model.softmaxFixed);
}

}  // namespace TSEG
