// SPDX-License-Identifier: Apache-2.0
#include "stream/listener.h"

#include <algorithm>
#include <string>
#include <utility>

#include "frontend/feature_records.h"
#include "stream/pcm.h"
#include "stream/refusal.h"

namespace TSEG::stream {
namespace {

constexpr int32_t kLowestRate = 4000;
constexpr int32_t kHighestRate = 192000;
constexpr int32_t kMostChannels = 65535;

TrackerRules RulesFor(const wvad_stream_options& options, const wvad_settings& settings, const Profile& profile, const StreamClock& clock) {
  TrackerRules rules;
  rules.onset_frames = profile.onset_frames;
  rules.turn = clock.WholeFrames(settings.turn_silence);
  rules.still = clock.WholeFrames(settings.still_every);
  rules.probabilities = (options.want & WVAD_WANT_PROBABILITY) != 0;
  rules.audio = (options.want & WVAD_WANT_AUDIO) != 0;
  return rules;
}

}  // namespace

void CheckFormat(const wvad_stream_options& options) {
  if (options.rate_hz < kLowestRate || options.rate_hz > kHighestRate) {
    throw Refusal(WVAD_E_FORMAT, "rate_hz: " + std::to_string(options.rate_hz) + " Hz is outside of 4000 to 192000");
  }
  if (options.channels < 1 || options.channels > kMostChannels) {
    throw Refusal(WVAD_E_FORMAT, "channels: " + std::to_string(options.channels) + " is outside of 1 to 65535");
  }
  if (BytesOfSample(options.sample_form) == 0) {
    throw Refusal(WVAD_E_FORMAT, "sample_form: there is no form " + std::to_string(options.sample_form));
  }
  if (options.channel < 0 || options.channel > options.channels) {
    throw Refusal(WVAD_E_FORMAT,
                  "channel: there is no channel " + std::to_string(options.channel) + " of " + std::to_string(options.channels));
  }
}

Listener::Listener(std::shared_ptr<SharedModel> model, const wvad_stream_options& options, const wvad_settings& settings, EventSink sink,
                   const RenewalPolicy& policy)
    : model_(std::move(model)),
      profile_(*FindProfile(settings.profile)),
      mixes_(options.channel == WVAD_CHANNEL_MEAN && options.channels > 1),
      clock_{options.rate_hz, model_->rate_hz()},
      meter_(options.rate_hz / 100, mixes_ ? options.channels : 1),
      tracker_(RulesFor(options, settings, profile_, clock_), clock_, &meter_, std::move(sink)),
      instance_(model_->engine(), &tracker_),
      parameters_(EngineParameters(settings, model_->rate_hz(), (options.want & WVAD_WANT_FEATURES) != 0)),
      frame_bytes_((options.want & WVAD_WANT_FEATURES) != 0 ? kFeatureFrame * sizeof(float) : 0),
      resampler_(options.rate_hz, model_->rate_hz(), profile_.short_filter ? Resampler::Filter::kShort : Resampler::Filter::kHigh),
      chain_(
          [this](int64_t start) {
            tracker_.OnSession(start);
            return std::make_unique<EngineSession>(instance_, parameters_, frame_bytes_);
          },
          model_->rate_hz(), policy, [this](const Sentence& sentence) { tracker_.OnSentence(sentence); }, frame_bytes_),
      block_(static_cast<size_t>(options.rate_hz / 100)) {
  tracker_.Follow(&chain_);
}

void Listener::Push(const SampleReader& piece, size_t frames) {
  for (size_t at = 0; at < frames;) {
    const size_t count = std::min(frames - at, block_.size() - fill_);
    clipped_ += piece.Read(at, count, block_.data() + fill_, mixes_ ? &phase_ : nullptr);
    fill_ += count;
    at += count;
    if (fill_ == block_.size()) TakeBlock();
  }
}

void Listener::TakeBlock() {
  meter_.AddInputBlock(clipped_);
  resampler_.Process(block_.data(), fill_, &ready_);
  heard_ += static_cast<int64_t>(fill_);
  fill_ = clipped_ = 0;
  tracker_.SetNow(heard_);
  FeedFrames(false);
}

void Listener::FeedFrames(bool last) {
  const size_t whole = static_cast<size_t>(clock_.frame_samples());
  size_t fed = 0;
  while (ready_.size() - fed >= whole || (last && fed < ready_.size())) {
    const size_t count = std::min(whole, ready_.size() - fed);
    frame_.resize(count);
    for (size_t i = 0; i < count; ++i) frame_[i] = ToSample(ready_[fed + i]);
    tracker_.OnAudio(frame_.data(), count);
    chain_.Feed(frame_.data(), count);
    tracker_.AfterFeed(instance_.record());
    fed += count;
  }
  ready_.erase(ready_.begin(), ready_.begin() + static_cast<std::ptrdiff_t>(fed));
}

void Listener::Finish() {
  if (fill_ > 0) TakeBlock();
  resampler_.Finish(&ready_);
  FeedFrames(true);
  chain_.Finish();
  tracker_.OnEnd();
}

}  // namespace TSEG::stream
