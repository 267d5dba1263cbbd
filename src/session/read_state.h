// SPDX-License-Identifier: Apache-2.0
//
// ReadState: how far the reader of a session is, the buffer that reads hand out, and the order in which frames leave for it.
#ifndef WVAD_SESSION_READ_STATE_H_
#define WVAD_SESSION_READ_STATE_H_

#include <cstdint>
#include <memory>

#include "buffers/aligned_buffer.h"
#include "channel/read_cmn.h"
#include "params/cfg_vad.h"

namespace TSEG {

constexpr uint32_t kReadBufBytes = 3145728;

struct ReadState {
  AlignedBuffer<uint8_t> pReadBuf = AlignedBuffer<uint8_t>::Uncleared(kReadBufBytes);
  uint32_t nReadState = 0;
  uint32_t nReadBegun = 0;     // sentences whose beginning the reader has reported
  uint32_t nReadSentence = 0;  // index of the sentence being read
  bool bFreesByFloor = false;  // what no sentence can reach any more goes while nobody speaks, and nothing else; for all sessions
  std::unique_ptr<ReadCmn> pReadCmn = std::make_unique<ReadCmn>();

  void Start(const CFG_VAD& cfg);
  void End() { pReadCmn->reset(); }
};

}  // namespace TSEG

#endif  // WVAD_SESSION_READ_STATE_H_
