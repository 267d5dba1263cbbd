// SPDX-License-Identifier: Apache-2.0
//
// The spectral base: energies, pre-emphasis, window, transform, filter banks and logarithms of one frame.
#include "frontend/signal_process.h"

#include <cmath>

namespace TSEG {

void BuildHamming(float* w, int n) {
  const float d = static_cast<float>(6.2831854820251465 / (n - 1));
  for (int i = 0; i < n; ++i) {
    const float angle = static_cast<float>(i) * d;
    w[i] = static_cast<float>(0.54 - 0.46 * std::cos(static_cast<double>(angle)));
  }
}

CSignalProcess::CSignalProcess()
    : pHamming(kMaxFrameLen, RealFft::kAlignment),
      pSamples(kMaxFftSize, RealFft::kAlignment),
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
}

void CSignalProcess::BuildBanks() {
  bank24.Build(nFilters, nFftSize, fBinHz);
  bank40.Build(kFb40, nFftSize, fBinHz);
}

float CSignalProcess::K4Energy(const int16_t* samples, float sum) const {
  float squares = 0.0f;
  for (int i = 0; i < nFrameLen; ++i) {
    const float v = static_cast<float>(samples[i]);
    squares += v * v;
  }
  const float mean_square = sum * sum / static_cast<float>(nFrameLen);
  const float variance = squares - mean_square;
  const float raised = variance + 500000.0f;
  const float log = static_cast<float>(std::log10(static_cast<double>(raised)));
  return 10.0f * log;
}

float CSignalProcess::ComputeFrame(const int16_t* samples, float* banks) {
  const int n = nFrameLen;

  // The sum of a frame stays within 400 * 2^15 < 2^24, where every whole number is a float: the integer sum is the single sum.
  int32_t whole_sum = 0;
  for (int i = 0; i < n; ++i) whole_sum += samples[i];
  const float sum = static_cast<float>(whole_sum);

  const float mean = bRemoveDc == 1 ? sum / static_cast<float>(n) : 0.0f;
  float* x = pSamples.data();
  for (int i = 0; i < n; ++i) x[i] = static_cast<float>(samples[i]) - mean;

  float energy;
  if (bK4Energy) {
    energy = K4Energy(samples, sum);
  } else {
    energy = 0.0f;
    for (int i = 0; i < n; ++i) energy += x[i] * x[i];
    if (energy != 0.0f) energy = std::log(energy);
    fLogEnergy = energy;
  }

  float* y = pFftIn.data();
  const float* w = pHamming.data();
  y[0] = x[0] * (1.0f - fPreEmphasis) * w[0];
  for (int i = 1; i < n; ++i) y[i] = (x[i] - fPreEmphasis * x[i - 1]) * w[i];
  hPlan->Execute(y, pSpectrum.data());

  const float* s = reinterpret_cast<const float*>(pSpectrum.data());
  float* p = pPower.data();
  for (int k = 0; k < nFftSize / 2; ++k) p[k] = s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1];

  bank24.Apply(p, banks);
  bank40.Apply(p, banks + kFb24);
  for (int i = 0; i < kFbAll; ++i) {
    const float floored = 1.0f > banks[i] ? 1.0f : banks[i];
    banks[i] = std::log(floored);
  }
  return energy;
}

}  // namespace TSEG
