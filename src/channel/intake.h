// SPDX-License-Identifier: Apache-2.0
//
// Intake: the caller's pieces, of any even length, cut into chunks of 800 bytes, so that a session hears the same however it is fed.
//
// What is left of a piece waits for the next one. No allocation after the first; one thread at a time.
#ifndef WVAD_CHANNEL_INTAKE_H_
#define WVAD_CHANNEL_INTAKE_H_

#include <cstdint>

#include "buffers/aligned_buffer.h"
#include "wvad.h"

namespace TSEG {

constexpr uint32_t kChunkBytes = 800;

struct Intake {
  AlignedBuffer<uint8_t> pChunk{kChunkBytes};
  uint32_t nChunkBytes = kChunkBytes;  // of a chunk: even, kChunkBytes at the most; less for who wants decisions sooner
  uint32_t nChunkConsumed = 0;         // bytes of the caller's piece taken so far
  uint32_t nChunkFill = 0;             // bytes in pChunk
  uint8_t bEmptyChunkSent = 0;         // the chunk of an empty last piece has gone out
  uint32_t nAudioBytes = 0;            // bytes of chunks in this session

  // The values of a fresh session.
  void Start();
  // A piece begins.
  void TakePiece() { nChunkConsumed = 0; }
  // The next chunk of `audio` into pChunk, nChunkFill bytes. `*status` comes in as that of the piece and is 2 on the last chunk of a
  // session and 1 on the others. False when the rest has to wait for the next piece.
  bool NextChunk(const WVadAudioSample& audio, uint32_t* status);
};

}  // namespace TSEG

#endif  // WVAD_CHANNEL_INTAKE_H_
