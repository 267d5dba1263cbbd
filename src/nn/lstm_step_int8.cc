// SPDX-License-Identifier: Apache-2.0
//
// The int8 form of the recurrent step: 16-bit input products, 8-bit recurrent, projection and first output products, all else in float.
//
// Activations are quantised in place, so the vectors that enter a product are packed at the front of their own memory afterwards.
#include "nn/lstm_steps.h"

namespace TSEG::lstm {
namespace {

const float* Floats(const void* p) { return static_cast<const float*>(p); }
const int8_t* Bytes(const void* p) { return static_cast<const int8_t*>(p); }
const int16_t* Shorts(const void* p) { return static_cast<const int16_t*>(p); }

// The 8-bit product for weights that have been proved never to saturate, or not.
auto Gemv8(const LstmKernels& kernels, bool unclipped) { return unclipped ? kernels.gemv_int8_unclipped : kernels.gemv_int8; }

// Adds the correction of a product. There is none where the model was not loaded for this form.
void AddCompensation(float* v, const float* compensation, int32_t n, const LstmKernels& kernels) {
  if (compensation != nullptr) kernels.add(v, compensation, n);
}

// One layer. `x` is quantised where it lies; `y` is written in float.
void LayerStep(const LayerState<float>& state, const LstmLayer& layer, float* x, float* y, const LstmKernels& kernels) {
  ZeroUnwritten(state, layer, layer.nGateRows & ~3, layer.nCellRows & ~3);
  kernels.quant_int16(x, layer.nInputCols, layer.afActScale[0]);
  const float input_scale = layer.afActScale[0] * layer.afWeightScale[0];
  for (size_t g = 0; g < 4; ++g) {
    kernels.gemv_int16(Shorts(x), layer.nGateRows, layer.nInputCols, Shorts(layer.apWx[g]), state.G[g], input_scale);
    kernels.add(state.G[g], Floats(layer.apBias[g]), layer.nGateRows);
  }

  kernels.quant_int8(state.r, layer.nProjRows, layer.afActScale[1]);
  const float recurrent_scale = layer.afActScale[1] * layer.afWeightScale[1];
  const auto gemv_recurrent = Gemv8(kernels, layer.bRecurrentUnclipped);
  for (size_t g = 0; g < 4; ++g) {
    gemv_recurrent(Bytes(state.r), layer.nCellRows, layer.nProjCols, Bytes(layer.apWr[g]), state.H[g], recurrent_scale);
    const float* part = layer.pRecCompensation == nullptr ? nullptr : layer.pRecCompensation + g * static_cast<size_t>(layer.nCellRows);
    AddCompensation(state.H[g], part, layer.nCellRows, kernels);
  }

  FloatGates(state, layer, kernels);

  kernels.quant_int8(state.m, layer.nCellRows, layer.afActScale[2]);
  const float projection_scale = layer.afWeightScale[2] * layer.afActScale[2];
  Gemv8(kernels, layer.bProjectionUnclipped)(Bytes(state.m), layer.nProjRows, layer.nProjInCols, Bytes(layer.pWp), y, projection_scale);
  AddCompensation(y, layer.pProjCompensation, layer.nProjRows, kernels);
  std::memcpy(state.r, y, static_cast<size_t>(layer.nProjRows) * sizeof(float));
}

}  // namespace

void StepInt8(LstmForward* forward, const LstmKernels& kernels) {
  const LstmModel& model = *forward->pModel;
  float* x = forward->pIn.data();
  float* y = forward->pOut.data();
  for (int32_t k = 0; k < model.nLayers; ++k) {
    LayerStep(LayerState<float>(forward->pStatePool.data(), k), model.aLayer[k], x, y, kernels);
    float* const taken = x;
    x = y;
    y = taken;
  }
  ++forward->nSteps;
  // Slot and delay follow the model here; the number of slots does not.
  const int32_t slot_length = model.aLayer[model.nLayers - 1].nProjRows;
  const auto slot = static_cast<size_t>(slot_length);
  float* ring = forward->pRing.data();
  std::memmove(ring, ring + slot, (kSlots - 1) * slot * sizeof(float));
  std::memcpy(ring + (kSlots - 1) * slot, x, slot * sizeof(float));
  const int32_t context = model.fc.nCols / slot_length;
  if (forward->nSteps < (context + 1) >> 1) return;
  float* row = forward->pIn.data();
  std::memcpy(row, ring, kSlots * slot * sizeof(float));
  forward->bHaveResult = 1;
  kernels.quant_int8(row, model.fc.nCols, model.fc.fActScale);
  const float scale = model.fc.fWeightScale * model.fc.fActScale;
  Gemv8(kernels, model.fc.bUnclipped)(Bytes(row), model.fc.nRows, model.fc.nCols, Bytes(model.fc.pW), forward->pOut.data(), scale);
  FinishOutput(forward, kernels, true);
}

void PrimeInt8(LstmForward* forward, const LstmKernels& kernels) {
  const LstmModel& model = *forward->pModel;
  // The first layer quantises pIn where it lies, and the layers above it read what it left.
  for (int32_t k = 0; k < model.nLayers; ++k) {
    LayerStep(LayerState<float>(forward->pStatePool.data(), k), model.aLayer[k], forward->pIn.data(), forward->pOut.data(), kernels);
  }
  // One slot moves, and a quarter of one enters: the sizes count bytes where floats would be expected.
  float* ring = forward->pRing.data();
  std::memmove(ring, ring + kSlot, kSlot * sizeof(float));
  std::memcpy(ring + kRingLength - kSlot, forward->pOut.data(), kSlot);
}

}  // namespace TSEG::lstm
