// SPDX-License-Identifier: Apache-2.0
//
// CPitchTracker: the fundamental frequency of one frame by sub-harmonic summation over a magnitude spectrum (after Hermes, 1988), and its
// reliability as the normalised correlation at that lag.
//
// Each frame stands alone: nothing is tracked from frame to frame. Single precision with no fused operations; each candidate's sum runs
// from the first harmonic up. Construction allocates and plans (the maker holds FrontEndLock), a frame does neither.
#ifndef WVAD_FRONTEND_PITCH_TRACKER_H_
#define WVAD_FRONTEND_PITCH_TRACKER_H_

#include <complex>
#include <cstdint>
#include <vector>

#include "buffers/aligned_buffer.h"
#include "frontend/fft.h"
#include "frontend/loops/loops.h"

namespace TSEG {

class CPitchTracker {
 public:
  CPitchTracker();
  virtual ~CPitchTracker() = default;
  CPitchTracker(const CPitchTracker&) = delete;
  CPitchTracker& operator=(const CPitchTracker&) = delete;

  // Sets window, transform and tables for 16000, 8000 or 6000; any other rate logs and changes nothing.
  void SetPitchSampleRate(int rate);
  // Zeroes the counters.
  void Reset();
  // One frame of nWindow samples; leaves nF0 and fCorr.
  void Process(const int16_t* samples);

  int32_t nWindow = 800;
  int32_t nF0 = 0;        // the frame's estimate in Hz
  float fCorr = 0;        // its correlation
  int32_t nUnvoiced = 0;  // frames in a row at or below fUnvoicedCorr
  int32_t nFrame = 0;     // frames since the reset
  const std::vector<int32_t>& candidates() const { return pF0; }
  int32_t sample_rate() const { return nSampleRate; }
  int32_t min_bin() const { return nMinBin; }
  int32_t max_bin() const { return nMaxBin; }
  int32_t bin_edge(int j) const { return pBinHz[j]; }  // j from 0 to 40
  float score(size_t candidate) const { return pScore[candidate]; }

 private:
  static constexpr int kMaxWindow = 800;
  static constexpr int kMaxFftSize = 1024;
  static constexpr int kBuckets = 40;
  static constexpr int kMaxUsedBin = 112;  // bins that a harmonic may fall into, rounded up: 1250 Hz is bin 107 at 6000

  static constexpr int kMaxHarmonics = 12;

  void BuildTables();
  void Correlate();

  int32_t nSampleRate = 16000;
  int32_t nMinF0 = 70, nMaxF0 = 480;  // candidate range in Hz
  float fF0Ratio = 1.01499f;          // step between candidates
  int32_t nCandidates = 0;
  int32_t nHarmonics = 12;        // summed at most
  int32_t nMaxHarmonicHz = 1250;  // no harmonic above this frequency
  float fHarmonicDecay = 0.94f;   // weight ratio of successive harmonics
  int32_t nLagMargin = 30;        // added to nMinF0 to get the length of the correlation
  float fEnergyFloor = 40.0f;     // amplitude that stands behind fCorrFloor
  float fUnvoicedCorr = 0.05f;    // at or below it a frame counts as unvoiced
  float fPreEmphasis = 0.98f;     // its own, not the spectral base's
  int32_t nCorrLen = 160;         // nSampleRate / (nLagMargin + nMinF0)
  float fCorrFloor = 0;           // keeps the denominator of the correlation off zero
  int32_t nFftSize = 1024;
  float fBinHz = 15.625f;
  int32_t nMinBin = 4, nMaxBin = 30;  // nMinF0 and nMaxF0 in bins, cut

  std::vector<int32_t> pF0;           // candidates in Hz, ascending
  std::vector<float> pScore;          // their sums in the current frame, and room for whole vectors
  int32_t pBinHz[kBuckets + 1] = {};  // edges of the buckets
  AlignedBuffer<float> pRaw;          // the frame as floats
  AlignedBuffer<float> pFftIn;
  AlignedBuffer<std::complex<float>> pSpectrum;
  AlignedBuffer<float> pMagnitude;  // of the first kMaxUsedBin bins
  AlignedBuffer<float> pHamming;
  const loops::Loops& loops = loops::LoopsOfThisProcessor();
  const RealFft* hPlan = nullptr;
  RealFft hPlan16k, hPlan8k, hPlan6k;

  // The summation reads a table of weighted magnitudes, one row a harmonic. Each candidate has a list of places in that table; candidates
  // with the same number of harmonics stand together, most harmonics first.
  int32_t PlaceOf(int32_t h, int32_t f0) const;
  void BuildBlocks();
  void WeighMagnitudes();
  void SumAllCandidates();
  template <int kHarmonics>
  void SumCandidates(const uint16_t** places);
  struct HarmonicRow {
    int32_t first_bin = 0, end_bin = 0;  // bins that some candidate looks up, rounded out to whole vectors
    float weight = 0;
  };
  HarmonicRow rows_[kMaxHarmonics];
  int32_t used_bins_ = 0;  // the magnitudes that are looked up lie below
  AlignedBuffer<float> weighted_;
  std::vector<uint16_t> places_;
  int32_t group_begin_[kMaxHarmonics + 2] = {};  // [h]: first candidate with at most h harmonics
  // The same for loops that take eight candidates at once.
  std::vector<loops::Places> block_places_;
  std::vector<uint8_t> block_counts_;
  int32_t n_usable_ = 0;  // candidates below the last bucket's end
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_PITCH_TRACKER_H_
