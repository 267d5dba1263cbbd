// SPDX-License-Identifier: Apache-2.0
//
// DnnForward: the feed-forward network of one instance. Blocks of 825 floats in, score pairs out.
//
// Every second block is computed; 8 offered blocks, or a flush, make a batch of up to 4 rows. All memory is taken when the object is made.
// Runs on the writing thread of its instance; the model is shared and only read. Every call but the constructor assumes a bound model.
#ifndef WVAD_NN_DNN_FORWARD_H_
#define WVAD_NN_DNN_FORWARD_H_

#include <cstdint>

#include "buffers/aligned_buffer.h"
#include "nn/network_models.h"

namespace TSEG {

constexpr int kDnnBatchRows = 4;
constexpr int kDnnRowStride = 832;

class DnnForward {
 public:
  DnnForward();
  uint8_t abKept[8] = {};  // 1 for each frame of the batch that was kept, 0 for each skipped one
  int32_t nFrames = 0;     // frames offered since the batch began
  const DnnModel* pModel = nullptr;
  AlignedBuffer<float> pBufA, pBufB;  // 4 rows of 832 floats; ping-pong activations; pBufB finally holds the pairs
  int32_t nKept = 0;                  // rows filled
};

void DnnForwardBind(DnnForward* forward, const DnnModel* model);
// Offers a block of `count` (825) floats. True when a batch has been computed.
bool DnnForwardAddBlock(DnnForward* forward, const float* block, int32_t count, bool flush);
// Writes a pair per frame of the batch to `out` (up to 16 floats), sets `*outStride` to 2, returns the frames.
int32_t DnnForwardRead(DnnForward* forward, float* out, int32_t* outStride);
// Forgets the partial batch.
void DnnForwardForget(DnnForward* forward);

}  // namespace TSEG

#endif  // WVAD_NN_DNN_FORWARD_H_
