// SPDX-License-Identifier: Apache-2.0
//
// The recurrent network's object: blocks in, results out, and the clearing of what it carries along. The steps are in lstm_step_*.cc.
#include "nn/lstm_forward.h"

#include <cstring>

#include "nn/cpu_features.h"
#include "nn/lstm_steps.h"

namespace TSEG {
namespace {

using namespace lstm;  // NOLINT: the inner parts of this very object

// Values zeroed by LstmForwardClearState: the two oldest slots, so that the newer context survives.
constexpr size_t kClearedRingValues = 2 * kSlot;

const LstmKernels& Kernels() { return LevelToRun(TheCpu()).lstm; }

// Puts `block` (zeros if null) into row nRows of pIn and counts it.
void TakeBlock(LstmForward* forward, const float* block, int32_t count) {
  float* row = forward->pIn.data() + static_cast<size_t>(forward->nRows) * kRowFloats;
  const size_t values = block == nullptr ? 0 : static_cast<size_t>(count);
  if (values > 0) std::memcpy(row, block, values * sizeof(float));
  std::memset(row + values, 0, (kRowFloats - values) * sizeof(float));
  if (static_cast<size_t>(forward->nPending) < sizeof forward->abValid) forward->abValid[forward->nPending] = 1;
  ++forward->nRows;
  ++forward->nPending;
}

void NormaliseRow(LstmForward* forward, const LstmKernels& kernels) {
  const LstmModel& model = *forward->pModel;
  float* row = forward->pIn.data();
  for (int32_t run = 0; run < model.nFramesPerStep; ++run, row += model.nFeatureDim) {
    kernels.normalise(row, model.nFeatureDim, model.pMean, model.pInvStd);
  }
}

// What follows a step: without a result the block was absorbed by the delay and is no longer owed.
bool EndStep(LstmForward* forward) {
  forward->nRows = 0;
  if (forward->bHaveResult == 1) return true;
  forward->nPending = 0;
  return false;
}

void ClearVectors(LstmForward* forward) {
  constexpr size_t kCarried = 3 * kVectorLength;  // r, c and t stand together
  for (int32_t k = 0; k < forward->pModel->nLayers; ++k) {
    std::memset(LayerState<float>(forward->pStatePool.data(), k).r, 0, kCarried * sizeof(float));
    std::memset(LayerState<int16_t>(forward->pStatePool16.data(), k).r, 0, kCarried * sizeof(int16_t));
  }
}

}  // namespace

LstmForward::LstmForward()
    : pIn(kBufferFloats, 64),
      pOut(kBufferFloats, 64),
      pRing(kRingLength, 64),
      pStatePool(kPoolElements, 64),
      pRing16(kRingLength, 64),
      pStatePool16(kPoolElements, 64) {}

void LstmForwardBind(LstmForward* forward, const LstmModel* model) {
  forward->pModel = model;
  LstmForwardClearAll(forward);
}

bool LstmForwardAddBlock75(LstmForward* forward, const float* block, int32_t count, bool) {
  const LstmKernels& kernels = Kernels();
  TakeBlock(forward, block, count);
  NormaliseRow(forward, kernels);
  float* row = forward->pIn.data();
  kernels.cut_to_int16(row, forward->pModel->aLayerFixed[0].nInputCols, 2048.0f, As<int16_t>(forward->pIn));
  StepFixed(forward, kernels);
  return EndStep(forward);
}

bool LstmForwardAddBlock40(LstmForward* forward, const float* block, int32_t count, bool) {
  const LstmKernels& kernels = Kernels();
  TakeBlock(forward, block, count);
  NormaliseRow(forward, kernels);
  const LstmVariant variant = LstmVariantOf(TheCpu());
  if (variant == LstmVariant::kInt8) {
    StepInt8(forward, kernels);
  } else {
    StepFloat(forward, kernels, variant == LstmVariant::kFloatSse);
  }
  return EndStep(forward);
}

bool LstmForwardFlushBlock(LstmForward* forward, const float*, int32_t count, bool) {
  TakeBlock(forward, nullptr, count);
  StepFlush(forward, Kernels(), FlushGemvIsSse(TheCpu()));
  return EndStep(forward);
}

int32_t LstmForwardRead(LstmForward* forward, float* out, int32_t* outStride) {
  std::memcpy(out, forward->pOut.data(), 2 * kPairs * sizeof(float));
  *outStride = 2;
  const int32_t frames = 4 * forward->nPending;
  forward->nPending = 0;
  return frames;
}

void LstmForwardClearState(LstmForward* forward) {
  ClearVectors(forward);
  std::memset(forward->pRing.data(), 0, kClearedRingValues * sizeof(float));
  std::memset(forward->pRing16.data(), 0, kClearedRingValues * sizeof(int16_t));
}

void LstmForwardClearAll(LstmForward* forward) {
  forward->nPending = 0;
  forward->nRows = 0;
  ClearVectors(forward);
  forward->pRing.clear_to_zero();
  forward->pRing16.clear_to_zero();
  forward->nSteps = 0;
  forward->bHaveResult = 0;
}

void LstmForwardPrime(LstmForward* forward, int32_t frames) {
  LstmForwardClearAll(forward);
  const LstmKernels& kernels = Kernels();
  const LstmVariant variant = LstmVariantOf(TheCpu());
  for (int32_t block = 0; block < frames / 4; ++block) {
    std::memset(forward->pIn.data(), 0, kRowFloats * sizeof(float));
    NormaliseRow(forward, kernels);
    if (variant == LstmVariant::kInt8) {
      PrimeInt8(forward, kernels);
    } else {
      PrimeFloat(forward, kernels, variant == LstmVariant::kFloatSse);
    }
  }
}

}  // namespace TSEG
