// SPDX-License-Identifier: Apache-2.0
//
// The spectral base: window, rates, energies and the floor of the filter banks.
#include "frontend/signal_process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "frontend/test_audio.h"

namespace TSEG {
namespace {

class OpenSignalProcess : public CSignalProcess {
 public:
  using CSignalProcess::bank24;
  using CSignalProcess::bK4Energy;
  using CSignalProcess::bRemoveDc;
  using CSignalProcess::BuildBanks;
  using CSignalProcess::ComputeFrame;
  using CSignalProcess::fBinHz;
  using CSignalProcess::fLogEnergy;
  using CSignalProcess::ForgetFramesAhead;
  using CSignalProcess::hPlan;
  using CSignalProcess::nFftLog2;
  using CSignalProcess::nFftSize;
  using CSignalProcess::nFrameLen;
  using CSignalProcess::nFrameShift;
  using CSignalProcess::pHamming;
  using CSignalProcess::SetFrameRate;
};

TEST(SignalProcess, RatesSetFrameAndTransform) {
  struct Row {
    int rate, frame, shift, fft, log2;
    float bin_hz;
  };
  constexpr Row kRows[] = {{16000, 400, 160, 512, 9, 31.25f}, {8000, 200, 80, 256, 8, 31.25f}, {6000, 150, 60, 256, 8, 23.4375f}};
  OpenSignalProcess process;
  for (const Row& row : kRows) {
    process.SetFrameRate(row.rate);
    EXPECT_EQ(process.nFrameLen, row.frame) << row.rate;
    EXPECT_EQ(process.nFrameShift, row.shift) << row.rate;
    EXPECT_EQ(process.nFftSize, row.fft) << row.rate;
    EXPECT_EQ(process.nFftLog2, row.log2) << row.rate;
    EXPECT_EQ(process.fBinHz, row.bin_hz) << row.rate;
    EXPECT_EQ(process.hPlan->size(), row.fft) << row.rate;
  }
}

TEST(SignalProcess, HammingWindowRunsFrom008To1AndBack) {
  float w[401];
  BuildHamming(w, 401);
  EXPECT_FLOAT_EQ(w[0], 0.08f);
  EXPECT_FLOAT_EQ(w[200], 1.0f);
  EXPECT_NEAR(w[400], 0.08f, 1e-6);
  EXPECT_NEAR(w[100], 0.54f, 1e-6);
}

TEST(SignalProcess, SilenceGivesZerosAndTheK4Floor) {
  OpenSignalProcess process;
  process.BuildBanks();
  const std::vector<int16_t> silence(400);
  std::vector<float> banks(64, -1.0f);
  EXPECT_EQ(process.ComputeFrame(silence.data(), 0, banks.data()), 0.0f);
  for (const float v : banks) EXPECT_EQ(v, 0.0f);
  process.bK4Energy = 1;
  EXPECT_NEAR(process.ComputeFrame(silence.data(), 0, banks.data()), 56.9897f, 5e-5);  // 10 * log10(500000)
}

TEST(SignalProcess, ConstantFrameIsSilenceOnceItsMeanIsRemoved) {
  OpenSignalProcess process;
  process.BuildBanks();
  const std::vector<int16_t> frame(400, 1234);
  std::vector<float> banks(64, -1.0f);
  EXPECT_EQ(process.ComputeFrame(frame.data(), 0, banks.data()), 0.0f);
  for (const float v : banks) EXPECT_EQ(v, 0.0f);
  process.bRemoveDc = 0;
  EXPECT_NEAR(process.ComputeFrame(frame.data(), 0, banks.data()), 20.22750f, 1e-4);  // ln(400 * 1234^2)
}

TEST(SignalProcess, EnergiesOfAnAlternatingFrame) {
  OpenSignalProcess process;
  process.BuildBanks();
  std::vector<int16_t> frame(400);
  for (size_t i = 0; i < frame.size(); ++i) frame[i] = i % 2 == 0 ? 1000 : -1000;
  std::vector<float> banks(64);
  EXPECT_FLOAT_EQ(process.ComputeFrame(frame.data(), 0, banks.data()), 19.806975f);  // ln(4e8)
  process.bK4Energy = 1;
  EXPECT_FLOAT_EQ(process.ComputeFrame(frame.data(), 0, banks.data()), 86.026025f);  // 10 * log10(4e8 + 5e5)
}

TEST(SignalProcess, LoudestFramesKeepTheirSumExact) {
  // All samples at the lowest value: the sum is -400 * 32768, the mean -32768, and nothing is left.
  OpenSignalProcess process;
  process.BuildBanks();
  const std::vector<int16_t> frame(400, -32768);
  std::vector<float> banks(64);
  EXPECT_EQ(process.ComputeFrame(frame.data(), 0, banks.data()), 0.0f);
}

// Frames that are known ahead share a pass; each of them has the values that it has by itself.
TEST(SignalProcess, FramesAheadChangeNoValue) {
  for (const int rate : {16000, 8000, 6000}) {
    for (const bool k4 : {false, true}) {
      OpenSignalProcess one_by_one, ahead;
      for (OpenSignalProcess* process : {&one_by_one, &ahead}) {
        process->SetFrameRate(rate);
        process->BuildBanks();
        process->bK4Energy = k4;
      }
      const size_t shift = static_cast<size_t>(one_by_one.nFrameShift);
      const size_t length = static_cast<size_t>(one_by_one.nFrameLen);
      const std::vector<int16_t> samples = testing_support::Noise(length + 20 * shift, 9000);
      std::vector<float> want(64), got(64);
      for (size_t frame = 0; frame <= 20; ++frame) {
        const int16_t* at = samples.data() + frame * shift;
        const float energy = one_by_one.ComputeFrame(at, 0, want.data());
        EXPECT_EQ(ahead.ComputeFrame(at, static_cast<int>(20 - frame), got.data()), energy) << rate << " frame " << frame;
        EXPECT_EQ(got, want) << rate << " frame " << frame;
      }
    }
  }
}

TEST(SignalProcess, ForgottenFramesAheadAreNotUsed) {
  OpenSignalProcess process;
  process.BuildBanks();
  const std::vector<int16_t> silence(400 + 3 * 160);
  const std::vector<int16_t> loud(400, 1000);
  std::vector<float> banks(64);
  process.bRemoveDc = 0;
  process.ComputeFrame(silence.data(), 3, banks.data());
  process.ForgetFramesAhead();
  EXPECT_FLOAT_EQ(process.ComputeFrame(loud.data(), 0, banks.data()), 19.806975f);  // ln(400 * 1000^2)
  process.ComputeFrame(silence.data(), 3, banks.data());
  process.SetFrameRate(8000);
  process.BuildBanks();
  EXPECT_FLOAT_EQ(process.ComputeFrame(loud.data(), 0, banks.data()), 19.113828f);  // ln(200 * 1000^2)
}

TEST(SignalProcess, ToneRaisesTheFiltersAroundIt) {
  OpenSignalProcess process;
  process.BuildBanks();
  const std::vector<int16_t> frame = testing_support::Tone(400, 1000.0, 16000, 8000);
  std::vector<float> banks(64);
  process.ComputeFrame(frame.data(), 0, banks.data());
  const int b = process.bank24.bin(32);  // 1000 Hz lies between filters b - 1 and b
  const float near = std::max(banks[static_cast<size_t>(b)], banks[static_cast<size_t>(b - 1)]);
  for (int i = 0; i < 24; ++i) {
    if (i == b || i == b - 1) continue;
    EXPECT_LT(banks[static_cast<size_t>(i)], near) << i;
  }
}

}  // namespace
}  // namespace TSEG
