// SPDX-License-Identifier: Apache-2.0
//
// The pitch tracker: its tables, silence, tones, counters, and a plain form of the summation and the buckets as the oracle.
#include "frontend/pitch_tracker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <vector>

#include "frontend/signal_process.h"
#include "frontend/test_audio.h"
#include "support/log_capture.h"

namespace TSEG {
namespace {

using testing_support::LogCapture;
using testing_support::Mixture;
using testing_support::Noise;
using testing_support::Tone;

constexpr int kRates[] = {16000, 8000, 6000};

TEST(PitchTracker, CandidatesStartInStepsOfOneHertz) {
  const CPitchTracker tracker;
  const std::vector<int32_t>& f0 = tracker.candidates();
  ASSERT_EQ(f0.size(), 163u);
  EXPECT_THAT(std::vector<int32_t>(f0.begin(), f0.begin() + 3), testing::ElementsAre(70, 71, 72));
  EXPECT_THAT(std::vector<int32_t>(f0.end() - 5, f0.end()), testing::ElementsAre(449, 455, 461, 467, 474));
}

TEST(PitchTracker, RatesSetWindowAndBuckets) {
  struct Row {
    int rate, window, min_bin, max_bin, edge_1, last_edge;
  };
  // Edges are cut from j * bin + 0.5; the last one of all, 40, is 625 Hz or 468 Hz and a quarter and a half.
  constexpr Row kRows[] = {{16000, 800, 4, 30, 16, 625}, {8000, 400, 4, 30, 16, 625}, {6000, 300, 5, 40, 12, 469}};
  CPitchTracker tracker;
  EXPECT_EQ(tracker.nWindow, 800);
  EXPECT_EQ(tracker.bin_edge(4), 63);
  for (const Row& row : kRows) {
    tracker.SetPitchSampleRate(row.rate);
    EXPECT_EQ(tracker.sample_rate(), row.rate);
    EXPECT_EQ(tracker.nWindow, row.window) << row.rate;
    EXPECT_EQ(tracker.min_bin(), row.min_bin) << row.rate;
    EXPECT_EQ(tracker.max_bin(), row.max_bin) << row.rate;
    EXPECT_EQ(tracker.bin_edge(1), row.edge_1) << row.rate;
    EXPECT_EQ(tracker.bin_edge(40), row.last_edge) << row.rate;
    EXPECT_EQ(tracker.candidates().size(), 163u) << row.rate;
  }
}

TEST(PitchTracker, UnknownRateLogsAndChangesNothing) {
  const LogCapture log(kLogErr);
  CPitchTracker tracker;
  tracker.SetPitchSampleRate(8000);
  tracker.SetPitchSampleRate(11025);
  EXPECT_EQ(tracker.sample_rate(), 8000);
  EXPECT_EQ(tracker.nWindow, 400);
  EXPECT_THAT(log.Lines(), testing::ElementsAre("TSEG::CPitchTracker::SetPitchSampleRate | invalid SampleRate ,SampleRate = 11025"));
}

TEST(PitchTracker, SilenceGivesTheFirstCandidateAndCountsUp) {
  for (const int rate : kRates) {
    CPitchTracker tracker;
    tracker.SetPitchSampleRate(rate);
    const std::vector<int16_t> silence(static_cast<size_t>(tracker.nWindow));
    for (int i = 1; i <= 5; ++i) {
      tracker.Process(silence.data());
      EXPECT_EQ(tracker.nF0, 70) << rate;
      EXPECT_EQ(tracker.fCorr, 0.0f) << rate;
      EXPECT_EQ(tracker.nUnvoiced, i) << rate;
      EXPECT_EQ(tracker.nFrame, i) << rate;
    }
  }
}

TEST(PitchTracker, PureToneGivesACandidateOfItsBin) {
  for (const int rate : kRates) {
    CPitchTracker tracker;
    tracker.SetPitchSampleRate(rate);
    tracker.Process(Tone(static_cast<size_t>(tracker.nWindow), 200.0, rate, 8000).data());
    const double bin_hz = rate == 6000 ? 11.71875 : 15.625;
    EXPECT_EQ(static_cast<int>(tracker.nF0 / bin_hz + 0.5), static_cast<int>(200 / bin_hz + 0.5)) << rate << " " << tracker.nF0;
    EXPECT_GT(tracker.fCorr, 0.95f) << rate;
    EXPECT_EQ(tracker.nUnvoiced, 0) << rate;
  }
}

TEST(PitchTracker, HarmonicsPullTheEstimateToTheirFundamental) {
  for (const int rate : kRates) {
    CPitchTracker tracker;
    tracker.SetPitchSampleRate(rate);
    tracker.Process(Tone(static_cast<size_t>(tracker.nWindow), 120.0, rate, 2000, 8).data());
    EXPECT_NEAR(tracker.nF0, 120, 3) << rate;
    EXPECT_GT(tracker.fCorr, 0.5f) << rate;
  }
}

TEST(PitchTracker, VoiceEndsTheUnvoicedRunAndResetClearsTheCounters) {
  CPitchTracker tracker;
  const std::vector<int16_t> silence(800);
  tracker.Process(silence.data());
  tracker.Process(silence.data());
  EXPECT_EQ(tracker.nUnvoiced, 2);
  tracker.Process(Tone(800, 150.0, 16000, 5000, 3).data());
  EXPECT_EQ(tracker.nUnvoiced, 0);
  tracker.Process(silence.data());
  EXPECT_EQ(tracker.nFrame, 4);
  tracker.Reset();
  EXPECT_EQ(tracker.nUnvoiced, 0);
  EXPECT_EQ(tracker.nFrame, 0);
}

// Everything behind the transform in its plainest form: summation, the walk through the buckets, the correlation.
struct Oracle {
  int32_t f0 = 0;
  float corr = 0;
  bool negative = false;  // before its sign was dropped
  std::vector<float> scores;
};

// Of the samples, with pre-emphasis and a Hamming window.
std::vector<float> PlainMagnitudes(const std::vector<float>& raw, int n_fft) {
  const int window = static_cast<int>(raw.size());
  AlignedBuffer<float> in(static_cast<size_t>(n_fft));
  AlignedBuffer<std::complex<float>> spectrum(static_cast<size_t>(n_fft));
  std::vector<float> hamming(raw.size());
  BuildHamming(hamming.data(), window);
  for (size_t i = 0; i < raw.size(); ++i) in[i] = raw[i];
  for (int i = window - 1; i >= 1; --i) in[static_cast<size_t>(i)] = in[static_cast<size_t>(i)] - 0.98f * in[static_cast<size_t>(i - 1)];
  in[0] = in[0] * (1.0f - 0.98f);
  for (size_t i = 0; i < raw.size(); ++i) in[i] = in[i] * hamming[i];
  const RealFft fft(n_fft);
  fft.Execute(in.data(), spectrum.data());
  std::vector<float> magnitude(static_cast<size_t>(n_fft / 2));
  for (size_t k = 0; k < magnitude.size(); ++k) {
    const float re2 = spectrum[k].real() * spectrum[k].real();
    const float im2 = spectrum[k].imag() * spectrum[k].imag();
    magnitude[k] = std::sqrt(re2 + im2);
  }
  return magnitude;
}

// Of the candidate `f0` Hz: its harmonics up to 1250 Hz, each worth 0.94 of the one before.
float PlainScore(const std::vector<float>& magnitude, int32_t f0, float bin_hz) {
  float acc = 0.0f, w = 1.0f;
  for (int h = 1; h <= 12; ++h) {
    const int f = h * f0;
    if (f > 1250) break;
    const float product = magnitude[static_cast<size_t>(static_cast<float>(f) / bin_hz + 0.5f)] * w;
    acc = product + acc;
    w = w * 0.94f;
  }
  return acc;
}

// The candidate of the greatest score, looked for bucket by bucket; the first of equals.
int32_t PlainBest(const CPitchTracker& tracker, const std::vector<float>& scores) {
  int32_t f0 = 0;
  float best = -1.0f;
  size_t cursor = 0;
  for (int b = tracker.min_bin(); b < tracker.max_bin(); ++b) {
    float bucket = -1.0f;
    for (; cursor < scores.size(); ++cursor) {
      const int32_t c = tracker.candidates()[cursor];
      if (c >= tracker.bin_edge(b + 1)) break;
      if (c >= tracker.bin_edge(b) && scores[cursor] > bucket) {
        bucket = scores[cursor];
        if (bucket > best) {
          best = bucket;
          f0 = c;
        }
      }
    }
  }
  return f0;
}

Oracle Plain(const CPitchTracker& tracker, const std::vector<int16_t>& samples) {
  const int rate = tracker.sample_rate();
  const int n_fft = rate == 16000 ? 1024 : 512;
  const std::vector<float> raw(samples.begin(), samples.begin() + tracker.nWindow);
  const std::vector<float> magnitude = PlainMagnitudes(raw, n_fft);
  const float bin_hz = static_cast<float>(rate) / static_cast<float>(n_fft);
  Oracle result;
  for (const int32_t f0 : tracker.candidates()) result.scores.push_back(PlainScore(magnitude, f0, bin_hz));
  result.f0 = PlainBest(tracker, result.scores);
  float sab = 0, saa = 0, sbb = 0;
  const int length = rate / 100;
  const size_t lag = static_cast<size_t>(rate / result.f0);
  for (size_t i = 0; i < static_cast<size_t>(length); ++i) {
    sab += raw[i] * raw[i + lag];
    saa += raw[i] * raw[i];
    sbb += raw[i + lag] * raw[i + lag];
  }
  result.negative = sab < 0;
  const float amplitude = 1600.0f * static_cast<float>(length);
  result.corr = std::fabs(sab / std::sqrt(sbb * saa + amplitude * amplitude));
  return result;
}

TEST(PitchTracker, EqualsThePlainFormBitForBit) {
  for (const int rate : kRates) {
    CPitchTracker tracker;
    tracker.SetPitchSampleRate(rate);
    const size_t window = static_cast<size_t>(tracker.nWindow);
    const std::vector<int16_t> voice = Mixture(static_cast<size_t>(rate), rate);
    const std::vector<int16_t> noise = Noise(static_cast<size_t>(rate), 32000, 7);
    int negative = 0;
    for (size_t at = 0; at + window <= voice.size(); at += window / 3) {
      for (const std::vector<int16_t>* source : {&voice, &noise}) {
        const std::vector<int16_t> frame(source->begin() + static_cast<long>(at), source->begin() + static_cast<long>(at + window));
        tracker.Process(frame.data());
        const Oracle want = Plain(tracker, frame);
        if (want.negative) ++negative;
        ASSERT_EQ(tracker.nF0, want.f0) << rate << " at " << at;
        ASSERT_EQ(tracker.fCorr, want.corr) << rate << " at " << at;
        for (size_t i = 0; i < want.scores.size(); ++i)
          ASSERT_EQ(tracker.score(i), want.scores[i]) << rate << " at " << at << " candidate " << i;
      }
    }
    EXPECT_GT(negative, 0) << rate;
  }
}

}  // namespace
}  // namespace TSEG
