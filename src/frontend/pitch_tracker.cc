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
constexpr int32_t kBlock = 8;   // candidates of loops::Places

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
      weighted_(kMaxHarmonics * kMaxUsedBin + kBlock, RealFft::kAlignment) {
  for (int32_t f0 = nMinF0; f0 < nMaxF0; f0 = static_cast<int32_t>(static_cast<float>(f0) * fF0Ratio)) pF0.push_back(f0);
  nCandidates = static_cast<int32_t>(pF0.size());
  pScore.assign((pF0.size() + kBlock - 1) / kBlock * kBlock, 0.0f);
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
      const int32_t place = PlaceOf(h, f0);
      const int32_t bin = place - (h - 1) * kMaxUsedBin;
      places_.push_back(static_cast<uint16_t>(place));
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
  if (loops.sum_places != nullptr) BuildBlocks();
}

// Candidates are so close together that eight of them find one harmonic within eight bins, or in a few more places.
void CPitchTracker::BuildBlocks() {
  block_places_.clear();
  block_counts_.clear();
  for (int32_t block = 0; block < nCandidates; block += kBlock) {
    const size_t before = block_places_.size();
    const int32_t end = std::min(block + kBlock, nCandidates);
    for (int32_t h = 1; h <= nHarmonics; ++h) {
      for (int32_t i = block; i < end && h * pF0[static_cast<size_t>(i)] <= nMaxHarmonicHz;) {
        const int32_t first = PlaceOf(h, pF0[static_cast<size_t>(i)]);
        loops::Places places = {static_cast<uint16_t>(first), {-1, -1, -1, -1, -1, -1, -1, -1}};
        for (; i < end && h * pF0[static_cast<size_t>(i)] <= nMaxHarmonicHz; ++i) {
          const int32_t place = PlaceOf(h, pF0[static_cast<size_t>(i)]);
          if (place - first >= kBlock) break;
          places.lane[i - block] = static_cast<int8_t>(place - first);
        }
        block_places_.push_back(places);
      }
    }
    block_counts_.push_back(static_cast<uint8_t>(block_places_.size() - before));
  }
}

// Where the table of weighted magnitudes has harmonic h of a candidate.
int32_t CPitchTracker::PlaceOf(int32_t h, int32_t f0) const {
  return (h - 1) * kMaxUsedBin + static_cast<int32_t>(static_cast<float>(h * f0) / fBinHz + 0.5f);
}

void CPitchTracker::Reset() {
  nUnvoiced = 0;
  nFrame = 0;
}

void CPitchTracker::Process(const int16_t* samples) {
  loops.take(samples, nWindow, 0.0f, pRaw.data());
  loops.window(pRaw.data(), nWindow, fPreEmphasis, pHamming.data(), pFftIn.data());
  hPlan->Execute(pFftIn.data(), pSpectrum.data());

  WeighMagnitudes();
  SumAllCandidates();

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
  const float* magnitude = pMagnitude.data();
  loops.magnitude(reinterpret_cast<const float*>(pSpectrum.data()), used_bins_, pMagnitude.data());
  float* __restrict out = weighted_.data();
  for (const HarmonicRow& row : rows_) {
    const float weight = row.weight;
    for (int32_t k = row.first_bin; k < row.end_bin; k += kVector) {
      for (int32_t j = 0; j < kVector; ++j) out[k + j] = magnitude[k + j] * weight;
    }
    out += kMaxUsedBin;
  }
}

void CPitchTracker::SumAllCandidates() {
  if (loops.sum_places != nullptr) {
    loops.sum_places(weighted_.data(), block_places_.data(), block_counts_.data(), static_cast<int32_t>(block_counts_.size()),
                     pScore.data());
    return;
  }
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
