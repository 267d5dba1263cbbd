// SPDX-License-Identifier: Apache-2.0
//
// The instance record of the audio-quality component, and its operations below the interface: loop buffer and measures.
//
// An instance belongs to one thread at a time. The loop buffer and the list of frame powers are all that grows.
#ifndef WVAD_QUALITY_KEL_INST_H_
#define WVAD_QUALITY_KEL_INST_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "quality/kel.h"
#include "quality/kel_config.h"
#include "wvad.h"

namespace TSEG {

// The record that wKelGetResult hands out.
struct KelResultHolder {
  WVadResult list = {};
  WVadResultItem items[16] = {};
};

struct KelInst {
  const KelEngine* pEngine = nullptr;
  std::unique_ptr<CFG_KEL> pCfg;
  std::unique_ptr<KelResultHolder> pResult;
  char sid[1024] = {};
  uint8_t bSnrReady = 0;
  uint8_t bStarted = 0;
  // The ring in which frames are put together, at least one frame long. Written at position modulo the frame size, so that after the
  // first frame each hop overwrites the oldest bytes:   [ new hop | rest of the frame before ]
  std::vector<uint8_t> loopBuffer;
  int64_t nLastFramePos = 0;      // nSentCurBytesPos when the last frame was finished
  int64_t nSentCurBytesPos = 0;   // bytes taken in since the start; 64 bits, so that a session of days does not wrap it
  std::vector<float> vecFrameDb;  // power of each frame in dB
  float fClipFrames = 0;          // frames with a clipped sample
  float fAllFrames = 0;
  char szSnr[64] = {};
  char szCur[64] = {};

  // Clears what a session leaves behind; the counts of clipped frames stay.
  void ClearMeasures();
  // Takes `n` bytes into the ring and measures every frame that they finish. `data` may be null with `n` 0.
  void GetLoopBufferData(const uint8_t* data, uint32_t n);
  // "snr" of the frames so far into szSnr. A session of less than 0.7 times the rate in bytes gets none.
  void ComputeSnr();
  // "cur" of the frames so far into szCur. 0, or 15020 when clipped frames were counted but no frames.
  int ComputeCur();
};

}  // namespace TSEG

#endif  // WVAD_QUALITY_KEL_INST_H_
