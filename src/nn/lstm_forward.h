// SPDX-License-Identifier: Apache-2.0
//
// LstmForward: the recurrent network of one instance. Blocks of 4 frames in, 4 score pairs out, two steps later.
//
// All memory is taken when the object is made. Runs on the writing thread of its instance; the model is shared and only read. Every call
// but the constructor assumes a bound model; none reports an error.
#ifndef WVAD_NN_LSTM_FORWARD_H_
#define WVAD_NN_LSTM_FORWARD_H_

#include <cstdint>
#include <memory>

#include "buffers/aligned_buffer.h"
#include "nn/network_models.h"

namespace TSEG {

class LstmForward {
 public:
  LstmForward();
  uint8_t abValid[4] = {};  // 1 for each block added since the last read
  int32_t nPending = 0;     // blocks added since the last read
  const LstmModel* pModel = nullptr;
  AlignedBuffer<float> pIn, pOut;       // 4 rows of 320 floats, 64-byte aligned; row 0 is the input; both ping-pong between layers
  int32_t nRows = 0;                    // rows of pIn in use in this call
  int32_t bHaveResult = 0;              // a step has produced output
  int32_t nSteps = 0;                   // network steps since the last full clear
  AlignedBuffer<float> pRing;           // 480 floats: the last 5 outputs of the top layer, oldest first
  AlignedBuffer<float> pStatePool;      // 0xA0000 bytes
  AlignedBuffer<int16_t> pRing16;       // 480 values
  AlignedBuffer<int16_t> pStatePool16;  // 0x50000 bytes
};

void LstmForwardBind(LstmForward* forward, const LstmModel* model);
// Adds a block of 4 frames: 300 or 160 floats. True when a result is ready.
bool LstmForwardAddBlock75(LstmForward* forward, const float* block, int32_t count, bool flush);
bool LstmForwardAddBlock40(LstmForward* forward, const float* block, int32_t count, bool flush);
// The zero block of the end of audio: ring and output layers only.
bool LstmForwardFlushBlock(LstmForward* forward, const float* block, int32_t count, bool flush);
// Copies 4 pairs to `out`, sets `*outStride` to 2, returns 4 times the pending blocks.
int32_t LstmForwardRead(LstmForward* forward, float* out, int32_t* outStride);
// Clears the recurrent state and the two oldest ring slots, keeps the position.
void LstmForwardClearState(LstmForward* forward);
void LstmForwardClearAll(LstmForward* forward);
// Clears all and runs `frames` / 4 zero blocks without results.
void LstmForwardPrime(LstmForward* forward, int32_t frames);

}  // namespace TSEG

#endif  // WVAD_NN_LSTM_FORWARD_H_
