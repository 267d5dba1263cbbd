// SPDX-License-Identifier: Apache-2.0
//
// Inner parts of LstmForward, shared by its three forms: the layout of the state pools, and the steps themselves.
//
// A pool holds 16 vectors of 2048 elements for each of 5 layers:
//
//   r | c | t | first gate set (4) | second gate set (4) | third gate set (4) | m
//
// r: projected output, c: cell, t: tanh of the cell, all carried from step to step. The first gate set takes the input part, the third the
// recurrent part; the second is not used. Gates and m are scratch: they count as zero at the start of a step, so a step zeroes those of
// their elements that it reads without having written them, and no others.
#ifndef WVAD_NN_LSTM_STEPS_H_
#define WVAD_NN_LSTM_STEPS_H_

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "nn/kernels/dispatch.h"
#include "nn/lstm_forward.h"

namespace TSEG::lstm {

constexpr size_t kVectorLength = 2048;
constexpr size_t kVectorsPerLayer = 16;
constexpr size_t kPoolElements = kLstmMaxLayers * kVectorsPerLayer * kVectorLength;
constexpr size_t kRowFloats = 320;
constexpr size_t kBufferFloats = 4 * kRowFloats;
constexpr size_t kSlot = 96;  // ring slot of the float and fixed forms, of flush and priming
constexpr size_t kSlots = 5;
constexpr size_t kRingLength = kSlots * kSlot;
constexpr int32_t kPairs = 4;

// The vectors of one layer in a pool.
template <typename T>
struct LayerState {
  T *r, *c, *t;
  T* G[4];
  T* H[4];
  T* m;

  LayerState(T* pool, int32_t layer) {
    T* at = pool + static_cast<size_t>(layer) * kVectorsPerLayer * kVectorLength;
    r = at;
    c = at + kVectorLength;
    t = at + 2 * kVectorLength;
    for (size_t g = 0; g < 4; ++g) {
      G[g] = at + (3 + g) * kVectorLength;
      H[g] = at + (11 + g) * kVectorLength;
    }
    m = at + 15 * kVectorLength;
  }
};

// The pool and ring views of a buffer in the width of the form.
template <typename T>
T* As(AlignedBuffer<float>& buffer) {
  return static_cast<T*>(static_cast<void*>(buffer.data()));
}

// Zeroes elements from..to-1, none if the range is empty.
template <typename T>
void ZeroRange(T* v, int32_t from, int32_t to) {
  if (to > from) std::memset(static_cast<void*>(v + from), 0, static_cast<size_t>(to - from) * sizeof(T));
}

// Zeroes what a layer step reads of its scratch beyond what its products write: `rows_g` and `rows_h` values of each gate, nCellRows of m.
template <typename T>
void ZeroUnwritten(const LayerState<T>& state, const LstmLayer& layer, int32_t rows_g, int32_t rows_h) {
  const int32_t g_end = layer.nGateRows > layer.nCellRows ? layer.nGateRows : layer.nCellRows;
  for (size_t g = 0; g < 4; ++g) {
    ZeroRange(state.G[g], rows_g, g_end);
    ZeroRange(state.H[g], rows_h, layer.nCellRows);
  }
  ZeroRange(state.m, layer.nCellRows, layer.nProjInCols);
}

// The peephole terms that can be seen: those of existing cells.
inline int32_t PeepholeCount(const LstmLayer& layer) { return layer.nPeepholeLen < layer.nCellRows ? layer.nPeepholeLen : layer.nCellRows; }

// Whole steps: the layers on pIn, the ring, and from the bound on the output layers with 4 pairs at the front of pOut and bHaveResult.
void StepFloat(LstmForward* forward, const LstmKernels& kernels, bool lanes);
void StepInt8(LstmForward* forward, const LstmKernels& kernels);
void StepFixed(LstmForward* forward, const LstmKernels& kernels);
// The step of a block without data: an empty slot enters the ring, and the output layers run on float kernels over whatever the model
// holds.
void StepFlush(LstmForward* forward, const LstmKernels& kernels, bool lanes);
// One zero block at the front of pIn (normalised already) through the layers, without a result.
void PrimeFloat(LstmForward* forward, const LstmKernels& kernels, bool lanes);
void PrimeInt8(LstmForward* forward, const LstmKernels& kernels);

// The middle of a layer step in float, from the peepholes to m, which the float and the int8 form share: gates G and H in, m out, c and t
// carried on.
void FloatGates(const LayerState<float>& state, const LstmLayer& layer, const LstmKernels& kernels);
// Adds fc's bias to pOut, rectifies, runs the last layer and writes the pairs to the front of pOut.
void FinishOutput(LstmForward* forward, const LstmKernels& kernels, bool lanes);

}  // namespace TSEG::lstm

#endif  // WVAD_NN_LSTM_STEPS_H_
