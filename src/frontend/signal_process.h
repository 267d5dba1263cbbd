// SPDX-License-Identifier: Apache-2.0
//
// CSignalProcess: the spectral base of the front end. One frame of samples becomes its energy and the logarithms of two mel filter banks.
//
// Single precision with no fused operations; sums run in the order of the samples and bins. Construction allocates and plans (the maker
// holds FrontEndLock), a frame does neither. Belongs to one thread at a time.
#ifndef WVAD_FRONTEND_SIGNAL_PROCESS_H_
#define WVAD_FRONTEND_SIGNAL_PROCESS_H_

#include <complex>
#include <cstdint>

#include "buffers/aligned_buffer.h"
#include "frontend/feature_records.h"
#include "frontend/fft.h"
#include "frontend/loops/loops.h"
#include "frontend/mel_bank.h"
#include "frontend/mel_pair.h"

namespace TSEG {

// A window of `n` points, w[i] = 0.54 - 0.46 * cos(i * d) with the angle rounded to single at each step.
void BuildHamming(float* w, int n);

class CSignalProcess {
 public:
  CSignalProcess();
  virtual ~CSignalProcess() = default;
  CSignalProcess(const CSignalProcess&) = delete;
  CSignalProcess& operator=(const CSignalProcess&) = delete;

 protected:
  static constexpr int kMaxFrameLen = 400;
  static constexpr int kMaxFftSize = 512;

  // Sets frame, transform and window for a rate of 16000, 8000 or 6000. The banks follow by BuildBanks.
  void SetFrameRate(int rate);
  // Both filter banks for the present nFftSize and fBinHz, unless they are that already.
  void BuildBanks();
  // The frame at `samples` [nFrameLen]: logarithms of both banks to `banks` [64], 24 and then 40. Returns the frame's energy: the K4 value
  // with bK4Energy, else fLogEnergy. Of the two only the one in use is computed.
  //
  // `ahead` frames behind it, nFrameShift apart, are in `samples` too, and the next calls are for those: an energy is a chain of additions,
  // and the chains of several frames run side by side.
  float ComputeFrame(const int16_t* samples, int ahead, float* banks);
  // The next call of ComputeFrame is for another frame than the ones before said.
  void ForgetFramesAhead() { nPrepared = nUsed = 0; }

  int32_t nFilters = kFb24;  // of the first bank; the second has 40
  int32_t nFrameShift = 160;
  int32_t nSampleRate = 16000;
  int32_t nFrameLen = 400;
  int32_t nFftSize = 512;  // smallest power of two, at least 2, not below nFrameLen
  int32_t nFftLog2 = 9;
  float fBinHz = 31.25f;
  int32_t bRemoveDc = 1;
  MelBank bank24;
  MelBank bank40;
  MelPair bothBanks;
  float fBankHz = 0;  // the fBinHz of the banks
  AlignedBuffer<float> pHamming;
  float fPreEmphasis = 0.97f;
  static constexpr int kFramesAtOnce = 4;
  AlignedBuffer<float> pSamples;  // the frames being worked on, their means removed, kMaxFrameLen apart
  AlignedBuffer<float> pFftIn;    // what the transform reads: emphasised, windowed, zero from nFrameLen on
  AlignedBuffer<std::complex<float>> pSpectrum;
  AlignedBuffer<float> pPower;
  const loops::Loops& loops = loops::LoopsOfThisProcessor();
  const RealFft* hPlan = nullptr;  // the one in use
  RealFft hPlan16k, hPlan8k, hPlan6k;
  float fLogEnergy = 0;
  uint8_t bK4Energy = 0;

 private:
  void PrepareFrames(const int16_t* samples, int count);
  float K4Energy(float squares, float sum) const;

  float afEnergy[kFramesAtOnce] = {};  // of the frames in pSamples
  int nPrepared = 0, nUsed = 0;        // of those frames
};

}  // namespace TSEG

#endif  // WVAD_FRONTEND_SIGNAL_PROCESS_H_
