// SPDX-License-Identifier: Apache-2.0
//
// Gain control of the second front end: a block-wise automatic gain with an envelope follower and a peak limit.
//
// Single precision throughout; the power behind fUpFactor is formed in double and rounded once, the product with a sample is cut from
// double. No allocation.
#ifndef WVAD_CHANNEL_GAIN_CONTROL_H_
#define WVAD_CHANNEL_GAIN_CONTROL_H_

#include <cstdint>

namespace TSEG {

struct GainControl {
  int32_t nRate = 0;
  float fAttack = 0;      // envelope coefficient when the peak is above the envelope
  float fDecay = 0;       // envelope coefficient otherwise
  float fEnvelope = 0;    // peak envelope
  float fTarget = 0;      // wanted level
  float fGain = 0;        // raw gain
  float fSmoothGain = 0;  // applied gain
  int32_t nUpCount = 0;   // blocks since the last raise
  int32_t nUpBlocks = 0;  // blocks per raise
  float fMaxGain = 0;
  float fMinGain = 0;
  float fUpRateDb = 0;        // raise in decibels per second
  float fUpFactor = 0;        // 10^(fUpRateDb / 20 / (nRate / nBlockLen / nUpBlocks))
  int32_t bPeakLimit = 0;     // the peak limit is in force for this block
  int32_t history[100] = {};  // the envelope as integer, newest last
  float fPeakLimit = 0;       // highest output level allowed
  int32_t nBlockLen = 0;      // samples per block
};

// Sets the record up for a session: wanted level 11000, peak limit 16000, gain 5, highest gain 10, blocks of `nRate` * 0.025 samples, cut
// (at least 1).
void GainControlStart(GainControl* agc, int32_t nRate);
// Copies `nBytes` of PCM from `in` to `out` and applies the gain block by block. No saturation: low 16 bits.
void GainControlApply(GainControl* agc, const uint8_t* in, uint8_t* out, int32_t nBytes);

}  // namespace TSEG

#endif  // WVAD_CHANNEL_GAIN_CONTROL_H_
