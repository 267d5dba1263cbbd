// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/verdicts.h"

#include <algorithm>

namespace TSEG::gst {
namespace {

// An onset takes up to three frames of speech, two more are refused behind silence, and windows reach over their frame.
constexpr double kEdgeS = 0.08;
// A run of speech of more than this that proves nothing yet waits so long for another.
constexpr double kClickS = 0.1;
constexpr double kSearchS = 0.42;
// From a frame's begin until its own window and its network's context have been heard.
constexpr double kContextS = 0.25;
constexpr double kBlockS = 0.01;

double ResamplingOf(const wvad_settings& settings, int model_rate_hz, int rate_hz) {
  if (rate_hz == model_rate_hz) return 0;
  if (settings.profile == WVAD_PROFILE_FAST) return 0.06;
  return rate_hz < 8000 ? 0.24 : 0.13;
}

}  // namespace

Lags LagsOf(const wvad_settings& settings) {
  Lags lags{};
  lags.silence = settings.pad_before + kEdgeS;
  lags.onset = settings.pad_before + kEdgeS / 2;
  lags.begin = settings.pad_before + settings.min_speech + (settings.min_speech > kClickS ? kSearchS : 0) + kEdgeS;
  lags.end = std::max(0.0, settings.min_silence - settings.pad_after) + kEdgeS;
  return lags;
}

double LatencyOf(const wvad_settings& settings, int model_rate_hz, int rate_hz) {
  const Lags lags = LagsOf(settings);
  return std::max(lags.begin, lags.end) + ResamplingOf(settings, model_rate_hz, rate_hz) + kContextS + kBlockS;
}

Verdicts::Verdicts(const wvad_settings& settings, int rate_hz) : rate_hz_(rate_hz) {
  const Lags lags = LagsOf(settings);
  const auto frames = [&](double seconds) { return static_cast<int64_t>(seconds * rate_hz + 0.5); };
  silence_ = frames(lags.silence);
  onset_lag_ = frames(lags.onset);
  begin_lag_ = frames(lags.begin);
  end_lag_ = frames(lags.end);
}

void Verdicts::Note(const wvad_event& event) {
  switch (event.kind) {
    case WVAD_EVENT_ONSET:
      onset_ = event.time;
      break;
    case WVAD_EVENT_ONSET_DROPPED:
      onset_ = -1;
      break;
    case WVAD_EVENT_SENTENCE_BEGIN:
      onset_ = -1;
      sentences_.push_back({event.begin, kOpen});
      break;
    case WVAD_EVENT_SENTENCE_END:
      if (!sentences_.empty()) sentences_.back().end = std::max(event.end, sentences_.back().begin);
      break;
    case WVAD_EVENT_PROBABILITY:
      decided_ = std::max(decided_, event.time + rate_hz_ / 100);
      break;
    case WVAD_EVENT_STREAM_END:
      decided_ = kOpen;
      break;
    default:
      break;
  }
}

int64_t Verdicts::CertainTo() const {
  if (decided_ == kOpen) return kOpen;
  if (!sentences_.empty() && sentences_.back().end == kOpen) return decided_ - end_lag_;
  int64_t certain = decided_ - silence_;
  if (onset_ >= 0) certain = std::max(std::min(certain, onset_ - onset_lag_), decided_ - begin_lag_);
  // What was decided before the end of the last sentence lies in it or before it.
  return sentences_.empty() ? certain : std::max(certain, sentences_.back().end);
}

Verdict Verdicts::At(int64_t position) {
  certain_ = std::max(certain_, CertainTo());
  while (!sentences_.empty() && sentences_.front().end <= position) {
    // The last one stays: what follows cannot begin before its end.
    if (sentences_.size() == 1) break;
    sentences_.pop_front();
  }
  Verdict verdict{false, certain_};
  for (const Span& sentence : sentences_) {
    if (sentence.end <= position) continue;
    verdict.keep = sentence.begin <= position;
    verdict.until = std::min(certain_, verdict.keep ? sentence.end : sentence.begin);
    break;
  }
  verdict.until = std::max(verdict.until, position);
  return verdict;
}

}  // namespace TSEG::gst
