// SPDX-License-Identifier: Apache-2.0
//
// The 16-bit fixed-point form of the recurrent step.
//
// Fraction bits: input 11, gates before their activations 10, sigmoids 14, tanh of the cell input 9, cell 9, tanh of the cell 14, the
// vector that enters the projection 15, recurrent vector and ring 12, first output layer 10, last one 11.
#include "nn/lstm_steps.h"

namespace TSEG::lstm {
namespace {

constexpr int32_t kQInput = 11;
constexpr int32_t kQGate = 10;
constexpr int32_t kQRecurrent = 12;
constexpr int32_t kQProjected = 15;
constexpr int32_t kQHidden = 10;
constexpr int32_t kQOutput = 11;
constexpr int32_t kQTanhOfCell = 14;

const int16_t* Shorts(const void* p) { return static_cast<const int16_t*>(p); }

// One layer, `x` in, `y` out. Layers above the first get 12 fraction bits and shift as for 11, so they see their input doubled; models
// are trained for it.
void LayerStep(const LayerState<int16_t>& state, const LstmLayer& layer, const int16_t* x, int16_t* y, const LstmKernels& kernels) {
  const int32_t cells = layer.nCellRows;
  int16_t* const* G = state.G;
  int16_t* const* H = state.H;
  ZeroUnwritten(state, layer, layer.nGateRows & ~3, cells & ~3);
  for (size_t g = 0; g < 4; ++g) {
    kernels.gemv_fixed(x, layer.nGateRows, layer.nInputCols, Shorts(layer.apWx[g]), G[g], kQInput, layer.nQx, kQGate);
    kernels.add_wrap16(G[g], Shorts(layer.apBias[g]), layer.nGateRows);
  }
  for (size_t g = 0; g < 4; ++g) {
    kernels.gemv_fixed(state.r, cells, layer.nProjCols, Shorts(layer.apWr[g]), H[g], kQRecurrent, layer.nQr, kQGate);
  }
  const int32_t peepholes = PeepholeCount(layer);
  const int32_t peephole_shift = kQTanhOfCell - kQGate + layer.nQPeephole;
  kernels.peephole_fixed(state.t, Shorts(layer.apPeephole[0]), H[0], peepholes, peephole_shift);
  kernels.peephole_fixed(state.t, Shorts(layer.apPeephole[1]), H[1], peepholes, peephole_shift);
  kernels.add_wrap16(G[0], H[0], cells);
  kernels.add_wrap16(G[1], H[1], cells);
  kernels.add_wrap16(G[3], H[3], cells);
  SigmoidFixed10To14(G[0], cells);
  SigmoidFixed10To14(G[1], cells);
  TanhFixed10To9(G[3], cells);
  kernels.cell_update_fixed(G[1], G[0], G[3], state.c, cells);
  std::memcpy(state.t, state.c, static_cast<size_t>(cells) * sizeof(int16_t));
  TanhFixed9To14(state.t, cells);
  // The output gate sees the new cell.
  kernels.peephole_fixed(state.t, Shorts(layer.apPeephole[2]), H[2], peepholes, peephole_shift);
  kernels.add_wrap16(H[2], G[2], cells);
  SigmoidFixed10To14(H[2], cells);
  kernels.mul_fixed(state.t, H[2], state.m, cells);
  kernels.gemv_fixed_clamped(state.m, layer.nProjRows, layer.nProjInCols, Shorts(layer.pWp), y, kQProjected, layer.nQp, kQRecurrent);
  std::memcpy(state.r, y, static_cast<size_t>(layer.nProjRows) * sizeof(int16_t));
}

}  // namespace

void StepFixed(LstmForward* forward, const LstmKernels& kernels) {
  const LstmModel& model = *forward->pModel;
  int16_t* x = As<int16_t>(forward->pIn);
  int16_t* y = As<int16_t>(forward->pOut);
  for (int32_t k = 0; k < model.nLayers; ++k) {
    LayerStep(LayerState<int16_t>(forward->pStatePool16.data(), k), model.aLayerFixed[k], x, y, kernels);
    int16_t* const taken = x;
    x = y;
    y = taken;
  }
  ++forward->nSteps;
  int16_t* ring = forward->pRing16.data();
  std::memmove(ring, ring + kSlot, (kRingLength - kSlot) * sizeof(int16_t));
  std::memcpy(ring + kRingLength - kSlot, x, kSlot * sizeof(int16_t));
  if (forward->nSteps < 3) return;
  int16_t* row = As<int16_t>(forward->pIn);
  int16_t* hidden = As<int16_t>(forward->pOut);
  std::memcpy(row, ring, kRingLength * sizeof(int16_t));
  forward->bHaveResult = 1;

  const LstmOutputLayer& fc = model.fcFixed;
  kernels.gemv_fixed_clamped(row, fc.nRows, fc.nCols, Shorts(fc.pW), hidden, kQRecurrent, fc.nQw, kQHidden);
  kernels.add_wrap16(hidden, Shorts(fc.pBias), fc.nRows);
  for (int32_t k = 0; k < fc.nRows; ++k) {
    if (hidden[k] < 0) hidden[k] = 0;
  }
  const LstmOutputLayer& last = model.softmaxFixed;
  int16_t* z = row;
  kernels.gemv_fixed_clamped(hidden, last.nRows, last.nCols, Shorts(last.pW), z, kQHidden, last.nQw, kQOutput);
  kernels.add_wrap16(z, Shorts(last.pBias), last.nRows);

  float values[2 * kPairs];
  for (int32_t k = 0; k < 2 * kPairs; ++k) values[k] = static_cast<float>(z[k]) * 0.00048828125f;
  for (int32_t k = 0; k < kPairs; ++k) Softmax(2, values + 2 * k, forward->pOut.data() + 2 * k);
}

}  // namespace TSEG::lstm
