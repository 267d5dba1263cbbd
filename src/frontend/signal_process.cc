// SPDX-License-Identifier: Apache-2.0
//
// The spectral base: energies, pre-emphasis, window, transform, filter banks and logarithms of one frame.
#include "frontend/signal_process.h"

#include <cmath>
#include <cstddef>

namespace TSEG {
namespace {

// Sums of the squares of `kFrames` frames of `n` values, which begin `stride` apart. A frame's sum runs in the order of its values.
template <int kFrames, typename Value>
void SumSquaresOf(const Value* frames, int stride, int n, float* sums) {
  float sum[static_cast<size_t>(kFrames)] = {};
  for (int i = 0; i < n; ++i) {
    for (int f = 0; f < kFrames; ++f) {
      const float v = static_cast<float>(frames[f * stride + i]);
      sum[f] += v * v;
    }
  }
  for (int f = 0; f < kFrames; ++f) sums[f] = sum[f];
}

template <typename Value>
void SumSquares(const Value* frames, int count, int stride, int n, float* sums) {
  switch (count) {
    case 1:
      return SumSquaresOf<1>(frames, stride, n, sums);
    case 2:
      return SumSquaresOf<2>(frames, stride, n, sums);
    case 3:
      return SumSquaresOf<3>(frames, stride, n, sums);
    default:
      return SumSquaresOf<4>(frames, stride, n, sums);
  }
}

}  // namespace

void BuildHamming(float* w, int n) {
  const float d = static_cast<float>(6.2831854820251465 / (n - 1));
  for (int i = 0; i < n; ++i) {
    const float angle = static_cast<float>(i) * d;
    w[i] = static_cast<float>(0.54 - 0.46 * std::cos(static_cast<double>(angle)));
  }
}

CSignalProcess::CSignalProcess()
    : pHamming(kMaxFrameLen, RealFft::kAlignment),
      pSamples(kFramesAtOnce * kMaxFrameLen, RealFft::kAlignment),
      pFftIn(kMaxFftSize, RealFft::kAlignment),
      pSpectrum(kMaxFftSize / 2 + 8, RealFft::kAlignment),
      pPower(kMaxFftSize / 2, RealFft::kAlignment),
      hPlan16k(nFftSize),
      hPlan8k(nFftSize / 2),
      hPlan6k(nFftSize / 2) {
  hPlan = &hPlan16k;
  BuildHamming(pHamming.data(), nFrameLen);
}

void CSignalProcess::SetFrameRate(int rate) {
  nSampleRate = rate;
  if (rate == 16000) {
    nFrameLen = 400;
    nFrameShift = 160;
    hPlan = &hPlan16k;
  } else if (rate == 8000) {
    nFrameLen = 200;
    nFrameShift = 80;
    hPlan = &hPlan8k;
  } else {
    nFrameLen = 150;
    nFrameShift = 60;
    hPlan = &hPlan6k;
  }
  nFftSize = 2;
  nFftLog2 = 1;
  while (nFftSize < nFrameLen) {
    nFftSize *= 2;
    ++nFftLog2;
  }
  fBinHz = static_cast<float>(nSampleRate) / static_cast<float>(nFftSize);
  pFftIn.clear_to_zero();
  BuildHamming(pHamming.data(), nFrameLen);
  ForgetFramesAhead();
}

void CSignalProcess::BuildBanks() {
  if (bank24.bins() == nFftSize / 2 && fBankHz == fBinHz) return;
  fBankHz = fBinHz;
  bank24.Build(nFilters, nFftSize, fBinHz);
  bank40.Build(kFb40, nFftSize, fBinHz);
  bothBanks.Build(bank24, bank40);
}

float CSignalProcess::K4Energy(float squares, float sum) const {
  const float mean_square = sum * sum / static_cast<float>(nFrameLen);
  const float variance = squares - mean_square;
  const float raised = variance + 500000.0f;
  const float log = static_cast<float>(std::log10(static_cast<double>(raised)));
  return 10.0f * log;
}

void CSignalProcess::PrepareFrames(const int16_t* samples, int count) {
  const int n = nFrameLen;
  float sums[kFramesAtOnce];
  for (int f = 0; f < count; ++f) {
    // The sum of a frame stays within 400 * 2^15 < 2^24, where every whole number is a float: the integer sum is the single sum.
    const int16_t* frame = samples + f * nFrameShift;
    sums[f] = static_cast<float>(loops.sum(frame, n));
    const float mean = bRemoveDc == 1 ? sums[f] / static_cast<float>(n) : 0.0f;
    loops.take(frame, n, mean, pSamples.data() + f * kMaxFrameLen);
  }
  float squares[kFramesAtOnce];
  if (bK4Energy) {
    SumSquares(samples, count, nFrameShift, n, squares);
  } else {
    SumSquares(pSamples.data(), count, kMaxFrameLen, n, squares);
  }
  for (int f = 0; f < count; ++f) {
    if (bK4Energy) {
      afEnergy[f] = K4Energy(squares[f], sums[f]);
    } else {
      afEnergy[f] = squares[f] != 0.0f ? std::log(squares[f]) : squares[f];
    }
  }
  nPrepared = count;
  nUsed = 0;
}

float CSignalProcess::ComputeFrame(const int16_t* samples, int ahead, float* banks) {
  if (nUsed == nPrepared) PrepareFrames(samples, ahead < kFramesAtOnce ? 1 + ahead : kFramesAtOnce);
  const float* x = pSamples.data() + nUsed * kMaxFrameLen;
  const float energy = afEnergy[nUsed];
  ++nUsed;
  if (!bK4Energy) fLogEnergy = energy;

  loops.window(x, nFrameLen, fPreEmphasis, pHamming.data(), pFftIn.data());
  hPlan->Execute(pFftIn.data(), pSpectrum.data());
  loops.power(reinterpret_cast<const float*>(pSpectrum.data()), nFftSize / 2, pPower.data());
  bothBanks.Apply(pPower.data(), banks);
  for (int i = 0; i < kFbAll; ++i) banks[i] = std::log(1.0f > banks[i] ? 1.0f : banks[i]);
  return energy;
}

}  // namespace TSEG
