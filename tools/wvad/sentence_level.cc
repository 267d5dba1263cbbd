// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_level.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace TSEG::tool {
namespace {

constexpr int64_t kAroundFrames = 200;
constexpr size_t kLeastFrames = 20;
constexpr double kLeastPower = 1e-14;

double Db(double power) { return 10 * std::log10(std::max(power, kLeastPower)); }

double Mean(const std::vector<float>& powers) {
  return powers.empty() ? 0 : std::accumulate(powers.begin(), powers.end(), 0.0) / static_cast<double>(powers.size());
}

std::vector<float> Slice(const std::vector<float>& powers, int64_t begin, int64_t end) {
  const int64_t size = static_cast<int64_t>(powers.size());
  begin = std::clamp<int64_t>(begin, 0, size);
  end = std::clamp<int64_t>(end, begin, size);
  return {powers.begin() + static_cast<std::ptrdiff_t>(begin), powers.begin() + static_cast<std::ptrdiff_t>(end)};
}

// The power of the noise around sentence `i`.
double Noise(const std::vector<NumberedSentence>& sentences, size_t i, const std::vector<float>& powers, std::vector<float> own) {
  const NumberedSentence& sentence = sentences[i];
  const int64_t from = std::max(sentence.begin - kAroundFrames, i > 0 ? sentences[i - 1].end : 0);
  const int64_t most = static_cast<int64_t>(powers.size());
  const int64_t to = std::min(sentence.end + kAroundFrames, i + 1 < sentences.size() ? sentences[i + 1].begin : most);
  std::vector<float> around = Slice(powers, from, sentence.begin);
  const std::vector<float> behind = Slice(powers, sentence.end, to);
  around.insert(around.end(), behind.begin(), behind.end());
  if (around.size() >= kLeastFrames) return Mean(around);
  std::sort(own.begin(), own.end());
  own.resize(std::max<size_t>(1, own.size() / 10));
  return Mean(own);
}

}  // namespace

std::vector<float> FramePowers(const std::vector<int16_t>& samples, int rate_hz) {
  const size_t frame = static_cast<size_t>(rate_hz / 100);
  std::vector<float> powers;
  for (size_t at = 0; at < samples.size(); at += frame) {
    const size_t end = std::min(at + frame, samples.size());
    double sum = 0;
    for (size_t i = at; i < end; ++i) sum += static_cast<double>(samples[i]) * samples[i];
    powers.push_back(static_cast<float>(sum / static_cast<double>(end - at) / (32768.0 * 32768.0)));
  }
  return powers;
}

std::vector<SentenceLevel> LevelsOf(const std::vector<NumberedSentence>& sentences, const std::vector<float>& powers) {
  std::vector<SentenceLevel> levels;
  for (size_t i = 0; i < sentences.size(); ++i) {
    const std::vector<float> own = Slice(powers, sentences[i].speech_begin, sentences[i].speech_end);
    SentenceLevel level;
    const double power = Mean(own);
    level.level_db = Db(power);
    const double noise = own.empty() ? 0 : Noise(sentences, i, powers, own);
    if (noise > kLeastPower) level.snr_db = Db((std::max(power - noise, noise * 1e-3)) / noise);
    levels.push_back(level);
  }
  return levels;
}

}  // namespace TSEG::tool
