// SPDX-License-Identifier: Apache-2.0
#include "wvad/recording.h"

#include <algorithm>
#include <utility>

namespace TSEG::tool {

Recording::Recording(Detector& detector, ParameterList parameters, int rate_hz, RenewalPolicy policy, Sink sink, size_t frame_bytes)
    : detector_(detector),
      parameters_(std::move(parameters)),
      rate_hz_(rate_hz),
      policy_(policy),
      sink_(std::move(sink)),
      frame_bytes_(frame_bytes),
      session_(std::make_unique<Session>(detector_, parameters_, frame_bytes_)) {}

void Recording::Feed(const std::vector<int16_t>& piece) {
  size_t fed = 0;
  for (size_t at = 0; at < piece.size(); ++at) {
    if (!SoundComesBack(piece[at])) continue;
    FeedSession(piece.data() + fed, at - fed);
    fed = at;
    // The new session's frames lie on the grid of whole 10 ms.
    const int64_t lead_in = policy_.still_lead_in_s * rate_hz_;
    if (!session_->sentence_open()) Renew(lead_in + (samples_ - lead_in) % (rate_hz_ / 100));
  }
  FeedSession(piece.data() + fed, piece.size() - fed);
  if (RenewalIsDue()) Renew(policy_.lead_in_s * rate_hz_);
}

void Recording::FeedSession(const int16_t* samples, size_t count) {
  if (count == 0) return;
  session_->Write(samples, count, false);
  samples_ += static_cast<int64_t>(count);
  Remember(samples, count);
  Report();
}

// Goes by blocks of 10 ms counted from the recording's start and by single samples, so that the length of pieces does not matter. A block
// is still that lies under -50 dB, 3 dB below the engine's own floor.
bool Recording::SoundComesBack(int16_t sample) {
  constexpr double kStillPower = 100.0 * 100.0;
  const int64_t block = rate_hz_ / 100;
  const double limit = kStillPower * static_cast<double>(block);
  const bool was_still = block_power_ < limit;
  block_power_ += static_cast<double>(sample) * sample;
  bool back = false;
  if (was_still && block_power_ >= limit) {
    back = policy_.still_s > 0 && still_ >= policy_.still_s * rate_hz_;
    still_ = 0;
  }
  if (++block_fill_ == block) {
    if (block_power_ < limit) still_ += block;
    block_fill_ = 0;
    block_power_ = 0;
  }
  return back;
}

void Recording::Finish() {
  CloseSession();
  Report();
  session_.reset();
}

void Recording::CloseSession() {
  session_->Write(nullptr, 0, true);
  others_ = session_->others();
  if (session_->measures_quality()) quality_.push_back({session_start_, samples_, others_, 0});
}

void Recording::Report() {
  for (SessionSentence& found : session_->TakeClosed()) Deliver(std::move(found));
}

void Recording::Deliver(SessionSentence&& found) {
  const int64_t frame_samples = rate_hz_ / 100;
  Sentence sentence{session_start_ + found.begin_frame * frame_samples,
                    session_start_ + found.end_frame * frame_samples,
                    found.vol,
                    found.trig,
                    found.eg,
                    std::move(found.data),
                    {},
                    0};
  if (renewals_ > 0) {
    if (sentence.end_sample <= std::max(decided_to_, reported_to_)) return;
    if (sentence.begin_sample < reported_to_) {
      // The same sentence heard again need not end on the same frame. Speech that really goes on is longer than this: the earlier session
      // had already heard so much silence behind the end.
      const int64_t splinter = rate_hz_ * 2 / 5;
      if (sentence.end_sample < reported_to_ + splinter) return;
      // Whole frames go: the sessions' frames need not lie on one grid.
      const int64_t known_frames = (reported_to_ - sentence.begin_sample + frame_samples - 1) / frame_samples;
      sentence.begin_sample += known_frames * frame_samples;
      const size_t known_bytes = std::min(sentence.data.size(), static_cast<size_t>(known_frames) * frame_bytes_);
      sentence.data.erase(sentence.data.begin(), sentence.data.begin() + static_cast<std::ptrdiff_t>(known_bytes));
    }
  }
  reported_to_ = sentence.end_sample;
  sink_(sentence);
}

bool Recording::RenewalIsDue() const {
  const int64_t age = samples_ - session_start_;
  if (age >= policy_.hard_s * rate_hz_) return true;
  if (session_->sentence_open()) return false;
  return samples_ - std::max(session_start_, reported_to_) >= policy_.quiet_s * rate_hz_ || age >= policy_.age_s * rate_hz_ ||
         session_->sentences() >= policy_.sentences;
}

void Recording::Renew(int64_t wanted_lead_in) {
  // What the old session has heard but not decided upon at the handover is less than a second: its last frames wait for their context,
  // and a begin is told about a fifth of a second after it. A sentence ending before that would have been open, or closed, by now.
  const int64_t undecided = rate_hz_;
  const bool cut = session_->sentence_open();
  if (cut) {
    CloseSession();
    Report();
  } else if (session_->measures_quality()) {
    // For its results alone: a sentence that only the closing brings about is the next session's to find.
    CloseSession();
  }
  session_.reset();
  ++renewals_;
  decided_to_ = std::max(decided_to_, cut ? samples_ : samples_ - undecided);
  const int64_t lead_in = std::min(wanted_lead_in, static_cast<int64_t>(past_.size()));
  session_start_ = samples_ - lead_in;
  session_ = std::make_unique<Session>(detector_, parameters_, frame_bytes_);
  const int16_t* next = past_.data() + (static_cast<int64_t>(past_.size()) - lead_in);
  for (int64_t left = lead_in; left > 0;) {
    const int64_t count = std::min(left, rate_hz_);
    session_->Write(next, static_cast<size_t>(count), false);
    next += count;
    left -= count;
  }
  Report();
}

void Recording::Remember(const int16_t* samples, size_t count) {
  const size_t wanted = static_cast<size_t>(policy_.lead_in_s * rate_hz_);
  past_.insert(past_.end(), samples, samples + count);
  if (past_.size() > 2 * wanted + count) past_.erase(past_.begin(), past_.end() - static_cast<std::ptrdiff_t>(wanted));
}

}  // namespace TSEG::tool
