// SPDX-License-Identifier: Apache-2.0
//
// The float form of the recurrent step, with either of two orders of summation, the flush block, and what the int8 form takes from here.
//
// The peepholes look at the tanh of the cell, not at the cell itself; the models are trained so.
#include "nn/lstm_steps.h"

namespace TSEG::lstm {
namespace {

using Gemv = decltype(&ref::GemvFloatSse);

Gemv GemvOf(const LstmKernels& kernels, bool lanes) { return lanes ? kernels.gemv_float_sse : kernels.gemv_float_x87; }

const float* Floats(const void* p) { return static_cast<const float*>(p); }

// One layer, `x` in, `y` out.
void LayerStep(const LayerState<float>& state, const LstmLayer& layer, const float* x, float* y, const LstmKernels& kernels, Gemv gemv) {
  ZeroUnwritten(state, layer, layer.nGateRows, layer.nCellRows);
  for (size_t g = 0; g < 4; ++g) {
    gemv(x, layer.nGateRows, layer.nInputCols, Floats(layer.apWx[g]), state.G[g]);
    kernels.add(state.G[g], Floats(layer.apBias[g]), layer.nGateRows);
  }
  for (size_t g = 0; g < 4; ++g) gemv(state.r, layer.nCellRows, layer.nProjCols, Floats(layer.apWr[g]), state.H[g]);
  FloatGates(state, layer, kernels);
  gemv(state.m, layer.nProjRows, layer.nProjInCols, Floats(layer.pWp), y);
  std::memcpy(state.r, y, static_cast<size_t>(layer.nProjRows) * sizeof(float));
}

}  // namespace

void FloatGates(const LayerState<float>& state, const LstmLayer& layer, const LstmKernels& kernels) {
  const int32_t cells = layer.nCellRows;
  const int32_t peepholes = PeepholeCount(layer);
  float* const* G = state.G;
  float* const* H = state.H;
  kernels.mul_add(state.t, Floats(layer.apPeephole[0]), H[0], peepholes);
  kernels.mul_add(state.t, Floats(layer.apPeephole[1]), H[1], peepholes);
  kernels.add(G[0], H[0], cells);
  kernels.add(G[1], H[1], cells);
  kernels.add(G[3], H[3], cells);
  kernels.sigmoid(G[0], cells);
  kernels.sigmoid(G[1], cells);
  kernels.tanh(G[3], cells);
  kernels.cell_update(G[1], G[0], G[3], state.c, cells);
  std::memcpy(state.t, state.c, static_cast<size_t>(cells) * sizeof(float));
  kernels.tanh(state.t, cells);
  // The output gate sees the new cell.
  kernels.mul_add(state.t, Floats(layer.apPeephole[2]), H[2], peepholes);
  kernels.add(H[2], G[2], cells);
  kernels.sigmoid(H[2], cells);
  kernels.mul(state.t, H[2], state.m, cells);
}

void FinishOutput(LstmForward* forward, const LstmKernels& kernels, bool lanes) {
  const LstmModel& model = *forward->pModel;
  float* hidden = forward->pOut.data();
  float* z = forward->pIn.data();
  kernels.add(hidden, Floats(model.fc.pBias), model.fc.nRows);
  for (int32_t k = 0; k < model.fc.nRows; ++k) {
    if (hidden[k] < 0.0f) hidden[k] = 0.0f;
  }
  GemvOf(kernels, lanes)(hidden, model.softmax.nRows, model.softmax.nCols, Floats(model.softmax.pW), z);
  kernels.add(z, Floats(model.softmax.pBias), model.softmax.nRows);
  for (int32_t k = 0; k < kPairs; ++k) Softmax(2, z + 2 * k, forward->pOut.data() + 2 * k);
}

void StepFloat(LstmForward* forward, const LstmKernels& kernels, bool lanes) {
  const LstmModel& model = *forward->pModel;
  const Gemv gemv = GemvOf(kernels, lanes);
  float* x = forward->pIn.data();
  float* y = forward->pOut.data();
  for (int32_t k = 0; k < model.nLayers; ++k) {
    LayerStep(LayerState<float>(forward->pStatePool.data(), k), model.aLayer[k], x, y, kernels, gemv);
    float* const taken = x;
    x = y;
    y = taken;
  }
  ++forward->nSteps;
  float* ring = forward->pRing.data();
  std::memmove(ring, ring + kSlot, (kRingLength - kSlot) * sizeof(float));
  std::memcpy(ring + kRingLength - kSlot, x, kSlot * sizeof(float));
  if (forward->nSteps < 3) return;
  std::memcpy(forward->pIn.data(), ring, kRingLength * sizeof(float));
  forward->bHaveResult = 1;
  gemv(forward->pIn.data(), model.fc.nRows, model.fc.nCols, Floats(model.fc.pW), forward->pOut.data());
  FinishOutput(forward, kernels, lanes);
}

void StepFlush(LstmForward* forward, const LstmKernels& kernels, bool lanes) {
  const LstmModel& model = *forward->pModel;
  float* ring = forward->pRing.data();
  std::memmove(ring, ring + kSlot, (kRingLength - kSlot) * sizeof(float));
  std::memset(ring + kRingLength - kSlot, 0, kSlot * sizeof(float));
  std::memcpy(forward->pIn.data(), ring, kRingLength * sizeof(float));
  forward->bHaveResult = 1;
  GemvOf(kernels, lanes)(forward->pIn.data(), model.fc.nRows, model.fc.nCols, Floats(model.fc.pW), forward->pOut.data());
  FinishOutput(forward, kernels, lanes);
}

void PrimeFloat(LstmForward* forward, const LstmKernels& kernels, bool lanes) {
  const LstmModel& model = *forward->pModel;
  for (int32_t k = 0; k < model.nLayers; ++k) {
    LayerStep(LayerState<float>(forward->pStatePool.data(), k), model.aLayer[k], forward->pIn.data(), forward->pOut.data(), kernels,
              GemvOf(kernels, lanes));
  }
  float* ring = forward->pRing.data();
  std::memmove(ring, ring + kSlot, (kRingLength - kSlot) * sizeof(float));
  std::memcpy(ring + kRingLength - kSlot, forward->pOut.data(), kSlot * sizeof(float));
}

}  // namespace TSEG::lstm
