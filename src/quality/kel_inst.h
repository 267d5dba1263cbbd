// SPDX-License-Identifier: Apache-2.0
//
// The records of the audio-quality component, and its operations below the interface: parameters, loop buffer, measures.
//
// An instance belongs to one thread at a time. The loop buffer and the list of frame powers are all that grows; the global parameters are
// written while the component starts.
#ifndef WVAD_QUALITY_KEL_INST_H_
#define WVAD_QUALITY_KEL_INST_H_

#include <cstdint>
#include <memory>
#include <vector>

#include "quality/kel.h"
#include "wvad.h"

namespace TSEG {

// Rows of the table of keys: the normal ones, then the special ones. The `_none` and `_count` rows are markers.
enum KelParam : int {
  kKelNormalNone = 0,
  kKelSampleRate,
  kKelSnrThreshold,
  kKelCurThreshold,
  kKelNormalCount,
  kKelSpecialNone,
  kKelSid,
  kKelSpecialCount,
  kKelParamRows
};
// The key of `row`, and the row of `key` in [first, last] or -1: exact and case-sensitive.
const char* KelParamName(int row);
int FindKelParam(const char* key, int first, int last);

class CFG_KEL {
 public:
  int32_t normal_none = 0;
  int32_t sampleRate = 16000;
  float snr_threshold = 4.5f;
  float cur_threshold = 0.08f;
  int32_t normal_count = 0;

  // Reads section "kel" of "w_tseg.cfg" in the current folder over this object. Never fails: bad values become 0.
  void init();
  // Sets one of the three values from its whole text. False, with its log line, for any other key, for a text of 257 characters or more,
  // and for a text that is not a number.
  bool set_para_value(const char* key, const char* value);
  // Gives one of the three values as text with its terminator. False, with its log line, for any other key and where `nLen` bytes do not
  // hold it.
  bool get_para_value(const char* key, char* value, int nLen) const;
};

// The global set that instances are made from.
CFG_KEL& GlobalCfgKel();

// The record that wKelGetResult hands out.
struct KelResultHolder {
  WVadResult list = {};
  WVadResultItem items[16] = {};
};

struct KelInst {
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
