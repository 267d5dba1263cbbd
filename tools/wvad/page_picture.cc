// SPDX-License-Identifier: Apache-2.0
#include "wvad/page_picture.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <numbers>

#include "buffers/aligned_buffer.h"
#include "frontend/fft.h"

namespace TSEG::tool {
namespace {

// Up to so many columns the spectrogram has one for each 10 ms; beyond, each stands for a whole number of those.
constexpr size_t kMostColumns = 200000;
constexpr double kFloorDb = -140;

double Mel(double hz) { return 1127 * std::log1p(hz / 700); }
double Hz(double mel) { return 700 * std::expm1(mel / 1127); }

// Powers of one window of 32 ms after another, in triangular bands. The transform is as long as a power of two: behind the window it hears
// nothing.
class BandMeter {
 public:
  BandMeter(int rate_hz, double high_hz)
      : length_(rate_hz * 32 / 1000 / 2 * 2),
        size_(static_cast<int>(std::bit_ceil(static_cast<unsigned>(length_)))),
        window_(static_cast<size_t>(length_)),
        in_(static_cast<size_t>(size_)),
        out_(static_cast<size_t>(size_ / 2 + 1)),
        fft_(size_) {
    double sum = 0;
    for (int i = 0; i < length_; ++i) {
      window_[static_cast<size_t>(i)] = 0.5 - 0.5 * std::cos(2 * std::numbers::pi * (i + 0.5) / length_);
      sum += window_[static_cast<size_t>(i)];
    }
    // A sine of full scale comes to 0 dB.
    scale_ = 4 / (sum * sum * 32768.0 * 32768.0);
    const double low = Mel(Spectrogram::kLowHz);
    const double step = (Mel(high_hz) - low) / (Spectrogram::kBands + 1);
    for (int i = 0; i < Spectrogram::kBands + 2; ++i) edges_.push_back(Hz(low + step * i) * size_ / rate_hz);
  }

  // Adds the powers of the window around sample `centre` to `bands`.
  void Add(const std::vector<int16_t>& samples, int64_t centre, std::vector<double>* bands) {
    const int64_t first = centre - length_ / 2;
    for (int i = 0; i < length_; ++i) {
      const int64_t at = first + i;
      const bool there = at >= 0 && at < static_cast<int64_t>(samples.size());
      in_.data()[i] = there ? static_cast<float>(window_[static_cast<size_t>(i)] * samples[static_cast<size_t>(at)]) : 0.0F;
    }
    fft_.Execute(in_.data(), out_.data());
    for (size_t band = 0; band < bands->size(); ++band) (*bands)[band] += Power(band);
  }

 private:
  // The triangle from its lower to its upper edge. A band narrower than a line takes what lies between the two lines beside its middle.
  double Power(size_t band) const {
    const double low = edges_[band];
    const double middle = edges_[band + 1];
    const double high = edges_[band + 2];
    double power = 0;
    double weights = 0;
    for (int line = static_cast<int>(std::ceil(low)); line <= std::min(static_cast<int>(high), size_ / 2); ++line) {
      const double weight = line <= middle ? (line - low) / (middle - low) : (high - line) / (high - middle);
      power += weight * Line(line);
      weights += weight;
    }
    if (weights > 0.5) return power / weights;
    const int below = static_cast<int>(middle);
    const double part = middle - below;
    return (1 - part) * Line(below) + part * Line(std::min(below + 1, size_ / 2));
  }
  double Line(int line) const { return scale_ * static_cast<double>(std::norm(out_.data()[line])); }

  int length_;  // of the window
  int size_;    // of the transform
  std::vector<double> window_;
  AlignedBuffer<float> in_;
  AlignedBuffer<std::complex<float>> out_;
  RealFft fft_;
  double scale_ = 0;
  std::vector<double> edges_;  // of the bands, in lines of the transform
};

// The level that all but a thousandth lie below.
double TopOf(const std::vector<float>& levels_db) {
  if (levels_db.empty()) return 0;
  std::vector<float> sorted = levels_db;
  const auto at = sorted.end() - 1 - static_cast<std::ptrdiff_t>(sorted.size() / 1000);
  std::nth_element(sorted.begin(), at, sorted.end());
  return std::max(static_cast<double>(*at), -80.0);
}

}  // namespace

WaveEnvelope EnvelopeOf(const std::vector<int16_t>& samples, int rate_hz) {
  WaveEnvelope envelope;
  for (const int16_t sample : samples) envelope.peak = std::max(envelope.peak, std::abs(static_cast<int>(sample)));
  const size_t step = static_cast<size_t>(rate_hz / envelope.per_second);
  const double scale = envelope.peak > 0 ? 127.0 / envelope.peak : 0;
  for (size_t at = 0; at < samples.size(); at += step) {
    const auto [least, most] = std::minmax_element(samples.begin() + static_cast<std::ptrdiff_t>(at),
                                                   samples.begin() + static_cast<std::ptrdiff_t>(std::min(at + step, samples.size())));
    envelope.pairs.push_back(static_cast<int8_t>(std::lround(*least * scale)));
    envelope.pairs.push_back(static_cast<int8_t>(std::lround(*most * scale)));
  }
  return envelope;
}

Spectrogram SpectrogramOf(const std::vector<int16_t>& samples, int rate_hz) {
  Spectrogram picture;
  picture.high_hz = rate_hz / 2.0;
  const size_t frame = static_cast<size_t>(rate_hz / 100);
  const size_t frames = samples.size() / frame;
  const size_t merged = std::max<size_t>(1, (frames + kMostColumns - 1) / kMostColumns);
  picture.hop_ms = static_cast<int>(10 * merged);
  BandMeter meter(rate_hz, picture.high_hz);
  std::vector<float> levels_db;
  std::vector<double> bands(Spectrogram::kBands);
  for (size_t first = 0; first < frames; first += merged) {
    const size_t count = std::min(merged, frames - first);
    std::fill(bands.begin(), bands.end(), 0.0);
    for (size_t i = 0; i < count; ++i) meter.Add(samples, static_cast<int64_t>((first + i) * frame + frame / 2), &bands);
    for (const double power : bands) {
      levels_db.push_back(static_cast<float>(std::max(kFloorDb, 10 * std::log10(power / static_cast<double>(count) + 1e-20))));
    }
  }
  picture.top_db = TopOf(levels_db);
  for (const float level_db : levels_db) {
    const double steps = std::round((static_cast<double>(level_db) - picture.top_db) / Spectrogram::kStepDb) + Spectrogram::kLevels - 1;
    picture.columns.push_back(static_cast<uint8_t>(std::clamp(steps, 0.0, Spectrogram::kLevels - 1.0)));
  }
  return picture;
}

}  // namespace TSEG::tool
