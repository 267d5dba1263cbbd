// SPDX-License-Identifier: Apache-2.0
//
// The largest and the smallest sum that activations can make of a group of weights, against what the step holds.
#include "nn/weight_proofs.h"

namespace TSEG {
namespace {

// Whether every sum of `group` products with activations of 0..highest fits 16 bits. A kernel takes the columns below `whole_cols`, a
// multiple of `group`. Weights above and below zero count apart, as activations of zero leave either alone.
bool SumsFit16Bits(const int8_t* weights, int32_t rows, int32_t cols, int32_t whole_cols, int32_t group, int32_t highest) {
  for (int32_t r = 0; r < rows; ++r) {
    const int8_t* row = weights + static_cast<int64_t>(r) * cols;
    for (int32_t begin = 0; begin < whole_cols; begin += group) {
      int32_t above = 0;
      int32_t below = 0;
      for (int32_t j = begin; j < begin + group; ++j) {
        above += row[j] > 0 ? row[j] : 0;
        below += row[j] < 0 ? row[j] : 0;
      }
      if (above * highest > 32767 || below * highest < -32768) return false;
    }
  }
  return true;
}

const int8_t* Bytes(const void* p) { return static_cast<const int8_t*>(p); }

// The largest byte that the sigmoid leaves with `bits` fraction bits: one, as long as a byte holds it.
int32_t HighestOutput(uint8_t bits) { return bits < 8 ? 1 << bits : 255; }

}  // namespace

bool GemvInt8CannotClip(const int8_t* weights, int32_t rows, int32_t cols) {
  // Pairs saturate one by one before two of them meet, but no pair is larger than what four columns can make.
  return SumsFit16Bits(weights, rows & ~3, cols, cols & ~15, 4, 255);
}

bool DnnGemmInt8CannotClip(const int8_t* weights, int32_t rows, int32_t cols, int32_t highest) {
  return SumsFit16Bits(weights, rows & ~1, cols, cols & ~15, 2, highest);
}

void MarkProvenWeights(LstmModel* model) {
  if (model->form != LstmForm::kInt8) return;
  for (int32_t k = 0; k < model->nLayers; ++k) {
    LstmLayer& layer = model->aLayer[k];
    layer.bRecurrentUnclipped = true;
    for (size_t g = 0; g < 4; ++g) {
      layer.bRecurrentUnclipped &= GemvInt8CannotClip(Bytes(layer.apWr[g]), layer.nCellRows, layer.nProjCols);
    }
    layer.bProjectionUnclipped = GemvInt8CannotClip(Bytes(layer.pWp), layer.nProjRows, layer.nProjInCols);
  }
  model->fc.bUnclipped = GemvInt8CannotClip(Bytes(model->fc.pW), model->fc.nRows, model->fc.nCols);
}

void MarkProvenWeights(DnnModel* model) {
  DnnQuantTable& table = model->pQuant;
  for (int32_t i = 1; i < model->nLayers; ++i) {
    const int32_t highest = HighestOutput(table.aActShift[i - 1][1]);
    table.abUnclipped[i] = DnnGemmInt8CannotClip(Bytes(table.apWeights[i]), model->anLayerDim[i], model->anLayerCols[i], highest);
  }
}

}  // namespace TSEG
