// SPDX-License-Identifier: Apache-2.0
//
// The pitch tracker: tables per rate, sub-harmonic summation, choice of the candidate, correlation at its lag.
#include "frontend/pitch_tracker.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "frontend/signal_process.h"
#include "log/log.h"

namespace TSEG {
namespace {

constexpr int32_t kVector = 4;  // floats that the compiler handles at once

}  // namespace

CPitchTracker::CPitchTracker()
    : pRaw(kMaxFftSize, RealFft::kAlignment),
      pFftIn(kMaxFftSize, RealFft::kAlignment),
      pSpectrum(kMaxFftSize, RealFft::kAlignment),
      pMagnitude(kMaxFftSize, RealFft::kAlignment),
      pHamming(kMaxWindow, RealFft::kAlignment),
      hPlan16k(kMaxFftSize),
      hPlan8k(kMaxFftSize / 2),
      hPlan6k(kMaxFftSize / 2),
      weighted_(kMaxHarmonics * kMaxUsedBin, RealFft::kAlignment) {
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

  places_.clear();
  float weight = 1.0f;
  for (HarmonicRow& row : rows_) {
    row = HarmonicRow{kMaxUsedBin, 0, weight};
    weight = weight * fHarmonicDecay;
  }
  int32_t harmonics = nHarmonics;
  for (int32_t i = 0; i < nCandidates; ++i) {
    const int32_t f0 = pF0[static_cast<size_t>(i)];
    while (harmonics * f0 > nMaxHarmonicHz) group_begin_[--harmonics] = i;
    for (int32_t h = 1; h <= harmonics; ++h) {
      const int32_t bin = static_cast<int32_t>(static_cast<float>(h * f0) / fBinHz + 0.5f);
      places_.push_back(static_cast<uint16_t>((h - 1) * kMaxUsedBin + bin));
      HarmonicRow& row = rows_[h - 1];
      row.first_bin = std::min(row.first_bin, bin / kVector * kVector);
      row.end_bin = std::max(row.end_bin, (bin / kVector + 1) * kVector);
    }
  }
  for (; harmonics > 0; --harmonics) group_begin_[harmonics - 1] = nCandidates;
  used_bins_ = 0;
  for (const HarmonicRow& row : rows_) used_bins_ = std::max(used_bins_, row.end_bin);
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

  WeighMagnitudes();
  const uint16_t* places = places_.data();
  SumCandidates<12>(&places);
  SumCandidates<11>(&places);
  SumCandidates<10>(&places);
  SumCandidates<9>(&places);
  SumCandidates<8>(&places);
  SumCandidates<7>(&places);
  SumCandidates<6>(&places);
  SumCandidates<5>(&places);
  SumCandidates<4>(&places);
  SumCandidates<3>(&places);
  SumCandidates<2>(&places);
  SumCandidates<1>(&places);

  // The buckets between the edges pBinHz[nMinBin] and pBinHz[nMaxBin] together hold the candidates from the first one up to n_usable_, and
  // the best of all buckets is the best of those, the lower one of equals. Scores are never negative.
  float lanes[kVector] = {};
  const float* scores = pScore.data();
  int32_t i = 0;
  for (; i + kVector <= n_usable_; i += kVector) {
    for (int32_t j = 0; j < kVector; ++j) lanes[j] = scores[i + j] > lanes[j] ? scores[i + j] : lanes[j];
  }
  float best = 0.0f;
  for (const float lane : lanes) best = lane > best ? lane : best;
  for (; i < n_usable_; ++i) best = scores[i] > best ? scores[i] : best;
  int32_t winner = 0;
  while (scores[winner] != best) ++winner;
  nF0 = pF0[static_cast<size_t>(winner)];

  Correlate();
  if (fCorr > fUnvoicedCorr) {
    nUnvoiced = 0;
  } else {
    ++nUnvoiced;
  }
  ++nFrame;
}

void CPitchTracker::WeighMagnitudes() {
  const float* s = reinterpret_cast<const float*>(pSpectrum.data());
  float* __restrict magnitude = pMagnitude.data();
  for (int32_t k = 0; k < used_bins_; ++k) magnitude[k] = std::sqrt(s[2 * k] * s[2 * k] + s[2 * k + 1] * s[2 * k + 1]);
  float* __restrict out = weighted_.data();
  for (const HarmonicRow& row : rows_) {
    const float weight = row.weight;
    for (int32_t k = row.first_bin; k < row.end_bin; k += kVector) {
      for (int32_t j = 0; j < kVector; ++j) out[k + j] = magnitude[k + j] * weight;
    }
    out += kMaxUsedBin;
  }
}

// Sums of the candidates with exactly kHarmonics harmonics, each from its first harmonic up.
template <int kHarmonics>
void CPitchTracker::SumCandidates(const uint16_t** places) {
  const float* __restrict weighted = weighted_.data();
  float* __restrict score = pScore.data();
  const uint16_t* place = *places;
  const int32_t end = group_begin_[kHarmonics - 1];
  for (int32_t i = group_begin_[kHarmonics]; i < end; ++i) {
    float acc = weighted[place[0]];
    for (int h = 1; h < kHarmonics; ++h) acc = weighted[place[h]] + acc;
    score[i] = acc;
    place += kHarmonics;
  }
  *places = place;
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
