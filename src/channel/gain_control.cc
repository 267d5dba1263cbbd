// SPDX-License-Identifier: Apache-2.0
//
// The gain of each block follows the envelope of the peaks: it rises slowly towards the wanted level, falls fast, and falls at once where
// the smoothed gain would pass the peak limit.
#include "channel/gain_control.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "base/wrap.h"

namespace TSEG {
namespace {

int16_t SampleAt(const uint8_t* pcm, int32_t i) {
  int16_t sample;
  std::memcpy(&sample, pcm + static_cast<size_t>(i) * 2, sizeof sample);
  return sample;
}

// The gain for the block at `pcm`, of `n` samples.
float BlockGain(GainControl* agc, const uint8_t* pcm, int32_t n) {
  int32_t greatest = 0;
  for (int32_t i = 0; i < n; ++i) greatest = std::max(greatest, std::abs(static_cast<int32_t>(SampleAt(pcm, i))));
  const float peak = static_cast<float>(greatest);
  agc->bPeakLimit = 0;

  if (agc->fEnvelope >= peak) {
    agc->fEnvelope = peak * (1.0f - agc->fDecay) + agc->fEnvelope * agc->fDecay;
  } else {
    agc->fEnvelope = peak * (1.0f - agc->fAttack) + agc->fAttack * agc->fEnvelope;
  }
  std::memmove(agc->history, agc->history + 1, sizeof agc->history - sizeof agc->history[0]);
  agc->history[99] = CutLow32(static_cast<double>(agc->fEnvelope));

  if (agc->fTarget > agc->fGain * agc->fEnvelope) {
    ++agc->nUpCount;
    if (agc->nUpCount >= agc->nUpBlocks) {
      agc->nUpCount = 0;
      agc->fGain = agc->fGain * agc->fUpFactor;
    }
  }
  agc->fGain = std::min(std::max(agc->fGain, agc->fMinGain), agc->fMaxGain);
  if (agc->fTarget < agc->fGain * agc->fEnvelope) {
    agc->fGain = agc->fGain * 0.9f;
    agc->nUpCount = std::max(agc->nUpCount - agc->nUpBlocks, 0);
  }
  if (agc->fPeakLimit < agc->fSmoothGain * agc->fEnvelope) {
    agc->bPeakLimit = 1;
    agc->fGain = agc->fPeakLimit / agc->fEnvelope;
  }
  if (agc->bPeakLimit != 0) {
    agc->fSmoothGain = 0.1f * agc->fSmoothGain + 0.9f * agc->fGain;
  } else {
    agc->fSmoothGain = 0.9f * agc->fSmoothGain + 0.1f * agc->fGain;
  }
  agc->fSmoothGain = std::min(std::max(agc->fSmoothGain, agc->fMinGain), agc->fMaxGain);
  return agc->fSmoothGain;
}

}  // namespace

void GainControlStart(GainControl* agc, int32_t nRate) {
  *agc = GainControl{};
  agc->nRate = nRate;
  agc->fAttack = 0.25f;
  agc->fDecay = 0.995f;
  agc->fEnvelope = 1.0f;
  agc->fTarget = 11000.0f;
  agc->fGain = 5.0f;
  agc->fSmoothGain = 1.0f;
  agc->nUpBlocks = 1;
  agc->fMaxGain = 10.0f;
  agc->fMinGain = 0.2f;
  agc->fUpRateDb = 6.0f;
  agc->fPeakLimit = 16000.0f;
  agc->nBlockLen = std::max(CutLow32(nRate * 0.025), 1);
  const double raises_per_second = static_cast<double>(nRate) / agc->nBlockLen / agc->nUpBlocks;
  agc->fUpFactor = static_cast<float>(std::pow(10.0, static_cast<double>(agc->fUpRateDb) / 20.0 / raises_per_second));
}

void GainControlApply(GainControl* agc, const uint8_t* in, uint8_t* out, int32_t nBytes) {
  if (nBytes < 1) return;
  std::memcpy(out, in, static_cast<size_t>(nBytes));
  const int32_t n = nBytes / 2;
  const int32_t block_len = std::max(agc->nBlockLen, 1);
  for (int32_t begin = 0; begin < n; begin += std::min(block_len, n - begin)) {
    uint8_t* block = out + static_cast<size_t>(begin) * 2;
    const int32_t length = std::min(block_len, n - begin);
    const double gain = static_cast<double>(BlockGain(agc, block, length));
    for (int32_t i = 0; i < length; ++i) {
      const int16_t sample = CutLow16(static_cast<double>(SampleAt(block, i)) * gain);
      std::memcpy(block + static_cast<size_t>(i) * 2, &sample, sizeof sample);
    }
  }
}

}  // namespace TSEG
