// SPDX-License-Identifier: Apache-2.0
#include "wvad/cut_plan.h"

#include <algorithm>
#include <cmath>

namespace TSEG::tool {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int64_t kUndecidedMs = 50;  // what is decided ends so near the end: 40 ms, and less than a frame

}  // namespace

std::vector<FrameSpan> SpeechOf(const std::vector<stream::Sentence>& sentences, int heard_hz, int rate_hz, int64_t frames) {
  std::vector<FrameSpan> spans;
  for (const stream::Sentence& sentence : sentences) {
    const int64_t begin = sentence.begin_sample * rate_hz / heard_hz;
    int64_t end = (sentence.end_sample * rate_hz + heard_hz - 1) / heard_hz;
    if (frames - end < rate_hz * kUndecidedMs / 1000) end = frames;
    if (begin >= end) continue;
    if (!spans.empty() && begin <= spans.back().end) {
      spans.back().end = std::max(spans.back().end, end);
    } else {
      spans.push_back({begin, end});
    }
  }
  return spans;
}

std::vector<FrameSpan> WithSilences(const std::vector<FrameSpan>& speech, int64_t keep, int64_t frames) {
  if (speech.empty()) return keep > 0 && frames > 0 ? std::vector{FrameSpan{0, std::min(keep, frames)}} : std::vector<FrameSpan>();
  std::vector<FrameSpan> spans = speech;
  spans.front().begin -= std::min(keep, spans.front().begin);
  spans.back().end += std::min(keep, frames - spans.back().end);
  std::vector<FrameSpan> joined = {spans.front()};
  for (size_t i = 1; i < spans.size(); ++i) {
    if (speech[i].begin - speech[i - 1].end <= keep) {
      joined.back().end = spans[i].end;
      continue;
    }
    joined.back().end = speech[i - 1].end + (keep + 1) / 2;
    joined.push_back({speech[i].begin - keep / 2, spans[i].end});
  }
  return joined;
}

float FadeGain(int64_t at, int64_t fade) {
  if (at >= fade) return 1.0F;
  return static_cast<float>(0.5 - 0.5 * std::cos(kPi * (static_cast<double>(at) + 0.5) / static_cast<double>(fade)));
}

void Fader::Apply(size_t span, int64_t begin, float* samples, size_t count, size_t channels) const {
  const FrameSpan& own = spans_[span];
  const int64_t fade = std::min(fade_, own.length() / 2);
  const int64_t fade_in = own.begin > 0 ? fade : 0;
  const int64_t fade_out = own.end < frames_ ? fade : 0;
  for (size_t i = 0; i < count; ++i) {
    const int64_t frame = begin + static_cast<int64_t>(i);
    const float gain = FadeGain(frame - own.begin, fade_in) * FadeGain(own.end - 1 - frame, fade_out);
    if (gain == 1.0F) continue;
    for (size_t c = 0; c < channels; ++c) samples[i * channels + c] *= gain;
  }
}

}  // namespace TSEG::tool
