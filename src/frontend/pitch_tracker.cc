// SPDX-License-Identifier: Apache-2.0
//
// The pitch tracker: tables per rate, sub-harmonic summation, choice of the candidate, correlation at its lag.
#include "frontend/pitch_tracker.h"

#include <cmath>

#include "frontend/signal_process.h"
#include "log/log.h"

namespace TSEG {

CPitchTracker::CPitchTracker()
    : pRaw(kMaxFftSize, RealFft::kAlignment),
      pFftIn(kMaxFftSize, RealFft::kAlignment),
      pSpectrum(kMaxFftSize, RealFft::kAlignment),
      pMagnitude(kMaxFftSize, RealFft::kAlignment),
      pHamming(kMaxWindow, RealFft::kAlignment),
      hPlan16k(kMaxFftSize),
      hPlan8k(kMaxFftSize / 2),
      hPlan6k(kMaxFftSize / 2) {
  for (int32_t f0 = nMinF0; f0 < nMaxF0; f0 = static_cast<int32_t>(static_cast<float>(f0) * fF0Ratio)) pF0.push_back(f0);
  nCandidates = static_cast<int32_t>(pF0.size());
  pScore.assign(pF0.size(), 0.0f);
  hPlan = &hPlan16k;
  BuildTables();
}

void CPitchTracker::SetPitchSampleRate(int rate) {
  if (rate == 16000) {
    nWindow = 800;
    nFftSize = 1024;
    hPlan = &hPlan16k;
  } else if (rate == 8000) {
    nWindow = 400;
    nFftSize = 512;
    hPlan = &hPlan8k;
  } else if (rate == 6000) {
    nWindow = 300;
    nFftSize = 512;
    hPlan = &hPlan6k;
  } else {
    WVAD_LOG_ERROR("%s | invalid SampleRate ,SampleRate = %s", "TSEG::CPitchTracker::SetPitchSampleRate", std::to_string(rate).c_str());
    return;
  }
  nSampleRate = rate;
  pSpectrum.clear_to_zero();
  pFftIn.clear_to_zero();
  BuildTables();
}

void CPitchTracker::BuildTables() {
  nCorrLen = nSampleRate / (nLagMargin + nMinF0);
  const float floor_energy = fEnergyFloor * fEnergyFloor * static_cast<float>(nCorrLen);
  fCorrFloor = floor_energy * floor_energy;
  BuildHamming(pHamming.data(), nWindow);
  fBinHz = static_cast<float>(nSampleRate) / static_cast<float>(nFftSize);
  nMinBin = static_cast<int32_t>(static_cast<float>(nMinF0) / fBinHz);
  nMaxBin = static_cast<int32_t>(static_cast<float>(nMaxF0) / fBinHz);
  for (int j = 0; j <= kBuckets; ++j) pBinHz[j] = static_cast<int32_t>(static_cast<float>(j) * fBinHz + 0.5f);

  harmonic_bin_.clear();
  harmonic_first_.clear();
  for (const int32_t f0 : pF0) {
    harmonic_first_.push_back(static_cast<uint16_t>(harmonic_bin_.size()));
    for (int32_t h = 1; h <= nHarmonics && h * f0 <= nMaxHarmonicHz; ++h) {
      harmonic_bin_.push_back(static_cast<uint8_t>(static_cast<float>(h * f0) / fBinHz + 0.5f));
    }
  }
  harmonic_first_.push_back(static_cast<uint16_t>(harmonic_bin_.size()));
  float weight = 1.0f;
  for (float& w : harmonic_weight_) {
    w = weight;
    weight = weight * fHarmonicDecay;
  }
  n_usable_ = 0;
  while (n_usable_ < nCandidates && pF0[static_cast<size_t>(n_usable_)] < pBinHz[nMaxBin]) ++n_usable_;
}

void CPitchTracker::Reset() {
  nUnvoiced = 0;
  nFrame = 0;
}

void CPitchTracker::Process(const int16_t* samples) {
  const int n = nWindow;
  float* x = pRaw.data();
  float* y = pFftIn.data();
  const float* w = pHamming.data();
  for (int i = 0; i < n; ++i) x[i] = static_cast<float>(samples[i]);
  y[0] = x[0] * (1.0f - fPreEmphasis) * w[0];
  for (int i = 1; i < n; ++i) y[i] = (x[i] - fPreEmphasis * x[i - 1]) * w[i];
  hPlan->Execute(y, pSpectrum.data());

  const float* s = reinterpret_cast<const float*>(pSpectrum.data());
  float* magnitude = pMagnitude.data();
  for (int k = 0; k < kMaxUsedBin; ++k) magnitude[k] = std::sqrt(s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1]);

  const uint8_t* bins = harmonic_bin_.data();
  for (size_t i = 0; i < pF0.size(); ++i) {
    const size_t first = harmonic_first_[i];
    const size_t count = static_cast<size_t>(harmonic_first_[i + 1]) - first;
    float acc = 0.0f;
    for (size_t h = 0; h < count; ++h) acc = magnitude[bins[first + h]] * harmonic_weight_[h] + acc;
    pScore[i] = acc;
  }

  // The buckets between the edges pBinHz[nMinBin] and pBinHz[nMaxBin] together hold the candidates from the first one up to n_usable_, and the
  // best of all buckets is the best of those, the lower one of equals.
  float best = -1.0f;
  nF0 = 0;
  for (int32_t i = 0; i < n_usable_; ++i) {
    if (pScore[static_cast<size_t>(i)] > best) {
      best = pScore[static_cast<size_t>(i)];
      nF0 = pF0[static_cast<size_t>(i)];
    }
  }

  Correlate();
  if (fCorr > fUnvoicedCorr) {
    nUnvoiced = 0;
  } else {
    ++nUnvoiced;
  }
  ++nFrame;
}

void CPitchTracker::Correlate() {
  const float* a = pRaw.data();
  const float* b = a + nSampleRate / nF0;
  float sab = 0.0f, saa = 0.0f, sbb = 0.0f;
  for (int i = 0; i < nCorrLen; ++i) {
    sab += a[i] * b[i];
    saa += a[i] * a[i];
    sbb += b[i] * b[i];
  }
  fCorr = sab / std::sqrt(sbb * saa + fCorrFloor);
  if (fCorr < 0.0f) fCorr = -fCorr;
}

}  // namespace TSEG
