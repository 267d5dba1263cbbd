// SPDX-License-Identifier: Apache-2.0
#include "stream/sentence_meter.h"

#include <cmath>
#include <limits>

namespace TSEG::stream {
namespace {

constexpr int64_t kNoiseFrames = 1000;
constexpr int64_t kLeastNoiseFrames = 50;
constexpr double kLowestDb = -100;

double Decibels(double power) { return power <= 1e-10 ? kLowestDb : 10 * std::log10(power); }

}  // namespace

void SentenceMeter::AddFrame(const int16_t* samples, size_t count) {
  double sum = 0;
  for (size_t i = 0; i < count; ++i) sum += static_cast<double>(samples[i]) * samples[i];
  power_.Add(static_cast<float>(sum / (static_cast<double>(count) * 32768.0 * 32768.0)));
  speech_.Add(0);
}

void SentenceMeter::MarkSpeech(int64_t frame) {
  if (frame >= speech_.begin() && frame < speech_.end()) speech_.at(frame) = 1;
}

int64_t SentenceMeter::SpeechIn(int64_t from, int64_t to) const {
  int64_t count = 0;
  for (int64_t i = std::max(from, speech_.begin()); i < std::min(to, speech_.end()); ++i) count += speech_.at(i);
  return count;
}

double SentenceMeter::NoiseDb() const {
  std::vector<float> quiet = power_.Copy(power_.end() - kNoiseFrames, power_.end());
  const int64_t count = static_cast<int64_t>(quiet.size());
  if (count < kLeastNoiseFrames) return std::numeric_limits<double>::quiet_NaN();
  const int64_t tenth = count / 10;
  std::nth_element(quiet.begin(), quiet.begin() + static_cast<std::ptrdiff_t>(tenth), quiet.end());
  double sum = 0;
  for (int64_t i = 0; i < tenth; ++i) sum += quiet[static_cast<size_t>(i)];
  return Decibels(sum / static_cast<double>(tenth));
}

SentenceMeasures SentenceMeter::Measure(int64_t begin, int64_t end, int64_t begin_input, int64_t end_input) const {
  begin = std::max(begin, power_.begin());
  end = std::min(end, power_.end());
  const bool any_speech = SpeechIn(begin, end) > 0;
  double power = 0;
  int64_t counted = 0;
  for (int64_t i = begin; i < end; ++i) {
    if (any_speech && speech_.at(i) == 0) continue;
    power += power_.at(i);
    ++counted;
  }
  SentenceMeasures measures{};
  measures.level_db = Decibels(counted > 0 ? power / static_cast<double>(counted) : 0);
  measures.snr_db = measures.level_db - NoiseDb();
  const int64_t first = std::max(begin_input / input_block_, clipped_.begin());
  const int64_t last = std::min((end_input + input_block_ - 1) / input_block_, clipped_.end());
  double clipped = 0;
  for (int64_t i = first; i < last; ++i) clipped += clipped_.at(i);
  if (last > first) measures.clipped = clipped / static_cast<double>((last - first) * input_block_ * input_channels_);
  return measures;
}

void SentenceMeter::ForgetBefore(int64_t frame, int64_t input) {
  // The noise looks back beyond a sentence that has just begun.
  const int64_t kept = std::min(frame, power_.end() - kNoiseFrames);
  power_.ForgetBefore(kept);
  speech_.ForgetBefore(kept);
  clipped_.ForgetBefore(input / input_block_);
}

}  // namespace TSEG::stream
