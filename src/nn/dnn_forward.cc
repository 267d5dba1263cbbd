// SPDX-License-Identifier: Apache-2.0
//
// The feed-forward network: batching of blocks, the pass in integers, and the reading of pairs.
//
// The two buffers take turns: A holds the rows and then the bytes of each layer, B the products. Reading and writing the same memory in
// different widths is meant; it happens inside of the kernels or after whole passes.
#include "nn/dnn_forward.h"

#include <cmath>
#include <cstring>

#include "nn/kernels/dispatch.h"

namespace TSEG {
namespace {

constexpr size_t kBufferFloats = static_cast<size_t>(kDnnBatchRows) * kDnnRowStride;
constexpr int32_t kFramesPerBatch = 8;

template <typename T>
T* BufferAs(AlignedBuffer<float>& buffer) {
  return static_cast<T*>(static_cast<void*>(buffer.data()));
}

// Normalises the `nKept` rows of A and narrows them to 16 bits, row behind row from the front of A.
void NormaliseRows(DnnForward* forward, const DnnKernels& kernels) {
  const DnnModel& model = *forward->pModel;
  float* row = forward->pBufA.data();
  int16_t* narrow = BufferAs<int16_t>(forward->pBufA);
  const float scale = static_cast<float>(1 << model.nInputShift);
  for (int32_t r = 0; r < forward->nKept; ++r, row += kDnnRowStride, narrow += model.nInputStride) {
    for (int32_t run = 0; run < model.nContext; ++run) {
      kernels.normalise(row + static_cast<int64_t>(run) * model.nFeatureDim, model.nFeatureDim, model.pMean, model.pInvStd);
    }
    kernels.cut_to_int16(row, model.nInputStride, scale, narrow);
  }
}

// Runs `n` rows. The products are always those of 4 rows; what stands behind the `n` valid ones is computed and ignored.
void ForwardPass(DnnForward* forward, int32_t n, const DnnKernels& kernels) {
  const DnnModel& model = *forward->pModel;
  const DnnQuantTable& table = model.pQuant;
  uint8_t* bytes = BufferAs<uint8_t>(forward->pBufA);
  const int32_t last = model.nLayers - 1;

  int32_t width = model.anLayerDim[0];
  int32_t* wide = BufferAs<int32_t>(forward->pBufB);
  const uint8_t* first_shift = model.pQuantFirst.aBiasShift[0];
  kernels.gemm_int16(BufferAs<int16_t>(forward->pBufA), width, model.nInputStride, static_cast<const int16_t*>(table.apWeights[0]), wide);
  kernels.bias32(wide, n, width, model.pQuantFirst.apBias[0], first_shift[0], first_shift[1]);
  kernels.sigmoid8_of32(wide, n * width, table.aActShift[0][0], table.aActShift[0][1], bytes);

  int16_t* narrow = BufferAs<int16_t>(forward->pBufB);
  for (int32_t i = 1; i <= last; ++i) {
    const auto at = static_cast<size_t>(i);
    const int32_t cols = model.anLayerDim[at - 1];
    width = i == last ? model.nOutputDim : model.anLayerDim[at];
    const auto gemm = table.abUnclipped[at] ? kernels.gemm_int8_unclipped : kernels.gemm_int8;
    gemm(bytes, width, cols, static_cast<const int8_t*>(table.apWeights[at]), narrow);
    kernels.bias16(narrow, n, width, table.apBias[at], table.aBiasShift[at][0], table.aBiasShift[at][1]);
    if (i < last) kernels.sigmoid8_of16(narrow, n * width, table.aActShift[at][0], table.aActShift[at][1], bytes);
  }

  const float unit = static_cast<float>(1.0 / std::ldexp(1.0, table.aActShift[static_cast<size_t>(last)][0]));
  float* logits = forward->pBufA.data();
  float* pairs = forward->pBufB.data();
  for (int32_t k = 0; k < n * width; ++k) logits[k] = static_cast<float>(narrow[k]) * unit;
  for (int32_t r = 0; r < n; ++r) Softmax(width, logits + static_cast<int64_t>(r) * width, pairs + static_cast<int64_t>(r) * width);
}

}  // namespace

DnnForward::DnnForward() : pBufA(kBufferFloats, 64), pBufB(kBufferFloats, 64) {}

void DnnForwardBind(DnnForward* forward, const DnnModel* model) {
  forward->pModel = model;
  DnnForwardForget(forward);
}

bool DnnForwardAddBlock(DnnForward* forward, const float* block, int32_t count, bool flush) {
  const auto frame = static_cast<size_t>(forward->nFrames % kFramesPerBatch);
  const bool keep = forward->nFrames % 2 == 0;
  forward->abKept[frame] = keep ? 1 : 0;
  if (keep) {
    float* row = forward->pBufA.data() + static_cast<int64_t>(forward->nKept) * kDnnRowStride;
    std::memcpy(row, block, static_cast<size_t>(count) * sizeof(float));
    std::memset(row + count, 0, static_cast<size_t>(kDnnRowStride - count) * sizeof(float));
    ++forward->nKept;
  }
  ++forward->nFrames;
  if (forward->nFrames % kFramesPerBatch != 0 && !flush) return false;

  const DnnKernels& kernels = LevelToRun(TheCpu()).dnn;
  NormaliseRows(forward, kernels);
  ForwardPass(forward, forward->nKept, kernels);
  forward->nKept = 0;
  return true;
}

int32_t DnnForwardRead(DnnForward* forward, float* out, int32_t* outStride) {
  *outStride = 2;
  const int32_t frames = forward->nFrames;
  forward->nFrames = 0;
  if (frames < 1) return 0;
  const float* row = forward->pBufB.data();
  for (int32_t f = 0; f < frames; ++f) {
    if (forward->abKept[static_cast<size_t>(f % kFramesPerBatch)] != 0) {
      row = forward->pBufB.data() + static_cast<int64_t>(f >> 1) * forward->pModel->nOutputDim;
    }
    out[2 * f] = row[0];
    out[2 * f + 1] = row[1];
  }
  return frames;
}

void DnnForwardForget(DnnForward* forward) {
  forward->nFrames = 0;
  forward->nKept = 0;
}

}  // namespace TSEG
