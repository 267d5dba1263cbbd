// SPDX-License-Identifier: Apache-2.0
#include "channel/intake.h"

#include <cstring>

namespace TSEG {

void Intake::Start() {
  nChunkConsumed = 0;
  nChunkFill = 0;
  bEmptyChunkSent = 0;
  nAudioBytes = 0;
}

bool Intake::NextChunk(const WVadAudioSample& audio, uint32_t* status) {
  if (*status == WVAD_WRITE_LAST && nChunkConsumed == audio.len) {
    // An empty last piece pushes out the partial chunk of the piece before, once.
    if (audio.len != 0 || bEmptyChunkSent != 0) return false;
    bEmptyChunkSent = 1;
    return true;
  }
  *status = WVAD_WRITE_CONTINUE;
  nChunkFill %= nChunkBytes;
  const uint32_t have = nChunkFill;
  const uint32_t avail = audio.len - nChunkConsumed;
  const uint32_t need = nChunkBytes - have;
  const uint8_t* from = static_cast<const uint8_t*>(audio.pData) + nChunkConsumed;
  if (avail >= need) {
    std::memcpy(pChunk.data() + have, from, need);
    nChunkConsumed += need;
    nChunkFill = nChunkBytes;
    return true;
  }
  if (avail > 0) std::memcpy(pChunk.data() + have, from, avail);
  nChunkConsumed = audio.len;
  nChunkFill = (have + avail) % nChunkBytes;
  if (audio.status != WVAD_WRITE_LAST) return false;
  *status = WVAD_WRITE_LAST;
  return true;
}

}  // namespace TSEG
