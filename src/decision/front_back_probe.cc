// SPDX-License-Identifier: Apache-2.0
//
// First sound: the fifth frame in a row with more than 5 % of active positions.
#include "decision/front_back_probe.h"

#include <cstdlib>

#include "base/wrap.h"

namespace TSEG {
namespace {

constexpr int kQuietAmplitude = 8;
constexpr double kActiveShare = 0.05;
constexpr int32_t kActiveFrames = 5;

}  // namespace

void FrontBackProbeScan(FrontBackProbe* probe, const uint8_t* pBuf, int32_t nBytes) {
  const int32_t n = nBytes / 2;
  probe->nTotalSamples = WrapAdd32(probe->nTotalSamples, n);
  const int32_t samples_per_frame = probe->nSampleRate / 100;
  if (samples_per_frame <= 0) return;
  // A position is a byte, not a sample, so that the scan sees the first half of each piece.
  for (int32_t i = 0; i < n && probe->nFntState == 0; ++i) {
    probe->nScanned = WrapAdd32(probe->nScanned, 1);
    if (std::abs(static_cast<int>(static_cast<int8_t>(pBuf[i]))) <= kQuietAmplitude) continue;
    ++probe->nHits;
    const int32_t frame = probe->nScanned / samples_per_frame;
    if (frame != probe->nRunFrame + 2 && probe->nRun != 0) {
      if (frame == probe->nRunFrame + 1) continue;
      probe->nRunFrame = 0;
      probe->nRun = 0;
      probe->nHits = 0;
      continue;
    }
    if (static_cast<double>(probe->nHits) / static_cast<double>(samples_per_frame) > kActiveShare) {
      probe->nRunFrame = frame - 1;
      ++probe->nRun;
      probe->nHits = 0;
      if (probe->nRun == kActiveFrames) probe->nFntState = 1;
    }
  }
}

}  // namespace TSEG
