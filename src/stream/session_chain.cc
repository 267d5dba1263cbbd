// SPDX-License-Identifier: Apache-2.0
#include "stream/session_chain.h"

#include <algorithm>
#include <utility>

namespace TSEG::stream {

SessionChain::SessionChain(Factory make_session, int rate_hz, RenewalPolicy policy, Sink sink, size_t frame_bytes)
    : make_session_(std::move(make_session)),
      rate_hz_(rate_hz),
      policy_(policy),
      sink_(std::move(sink)),
      frame_bytes_(frame_bytes),
      session_(make_session_(0)) {}

void SessionChain::Feed(const int16_t* piece, size_t count) {
  size_t fed = 0;
  const auto feed_to = [&](size_t at) {
    FeedSession(piece + fed, at - fed);
    fed = at;
  };
  for (size_t at = 0; at < count; ++at) {
    if (SoundComesBack(piece[at])) {
      feed_to(at);
      // The new session's frames lie on the grid of whole 10 ms.
      const int64_t lead_in = policy_.still_lead_in_s * rate_hz_;
      if (!session_->sentence_open()) Renew(lead_in + (samples_ - lead_in) % (rate_hz_ / 100));
    }
    // Every tenth of a second of the chain's own clock, so that the lengths of pieces do not matter.
    if (++since_check_ < rate_hz_ / 10) continue;
    since_check_ = 0;
    feed_to(at + 1);
    if (RenewalIsDue()) Renew(policy_.lead_in_s * rate_hz_);
  }
  feed_to(count);
}

void SessionChain::FeedSession(const int16_t* samples, size_t count) {
  if (count == 0) return;
  session_->Write(samples, count, false);
  samples_ += static_cast<int64_t>(count);
  Remember(samples, count);
  Report();
}

// Goes by blocks of 10 ms counted from the recording's start and by single samples, so that the length of pieces does not matter. A block
// is still that lies under -50 dB, 3 dB below the engine's own floor.
bool SessionChain::SoundComesBack(int16_t sample) {
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

void SessionChain::Finish() {
  CloseSession();
  Report();
  session_.reset();
}

void SessionChain::CloseSession() {
  session_->Write(nullptr, 0, true);
  others_ = session_->others();
  if (session_->measures_quality()) quality_.push_back({session_start_, samples_, others_, 0});
}

void SessionChain::Report() {
  for (SessionSentence& found : session_->TakeClosed()) Deliver(std::move(found));
}

void SessionChain::Deliver(SessionSentence&& found) {
  const int64_t frame_samples = rate_hz_ / 100;
  Sentence sentence{session_start_ + found.begin_frame * frame_samples,
                    session_start_ + found.end_frame * frame_samples,
                    found.vol,
                    found.trig,
                    found.eg,
                    std::move(found.data),
                    {},
                    0};
  if (!WillBeTold(sentence.begin_sample, sentence.end_sample)) return;
  const int64_t begin = BeginToTell(sentence.begin_sample);
  const size_t known_bytes =
      std::min(sentence.data.size(), static_cast<size_t>((begin - sentence.begin_sample) / frame_samples) * frame_bytes_);
  sentence.data.erase(sentence.data.begin(), sentence.data.begin() + static_cast<std::ptrdiff_t>(known_bytes));
  sentence.begin_sample = begin;
  reported_to_ = sentence.end_sample;
  sink_(sentence);
}

int64_t SessionChain::BeginToTell(int64_t begin) const {
  if (renewals_ == 0 || begin >= reported_to_) return begin;
  // Whole frames go, counted from where the sentence begins: a session that was not begun on a whole 10 ms has a grid of its own.
  const int64_t frame_samples = rate_hz_ / 100;
  return begin + (reported_to_ - begin + frame_samples - 1) / frame_samples * frame_samples;
}

bool SessionChain::WillBeTold(int64_t begin, int64_t end) const {
  if (renewals_ == 0) return true;
  if (end <= std::max(decided_to_, reported_to_)) return false;
  // The same sentence heard again need not end on the same frame. Speech that really goes on is longer than this: the earlier session had
  // already heard so much silence behind the end.
  const int64_t splinter = rate_hz_ * 2 / 5;
  return begin >= reported_to_ || end >= reported_to_ + splinter;
}

bool SessionChain::RenewalIsDue() const {
  const int64_t age = samples_ - session_start_;
  if (age >= policy_.hard_s * rate_hz_) return true;
  if (session_->sentence_open()) return false;
  return samples_ - std::max(session_start_, reported_to_) >= policy_.quiet_s * rate_hz_ || age >= policy_.age_s * rate_hz_ ||
         session_->sentences() >= policy_.sentences;
}

void SessionChain::Renew(int64_t wanted_lead_in) {
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
  session_ = make_session_(session_start_);
  const int16_t* next = past_.data() + (static_cast<int64_t>(past_.size()) - lead_in);
  for (int64_t left = lead_in; left > 0;) {
    const int64_t count = std::min(left, rate_hz_);
    session_->Write(next, static_cast<size_t>(count), false);
    next += count;
    left -= count;
  }
  Report();
}

void SessionChain::Remember(const int16_t* samples, size_t count) {
  const size_t wanted = static_cast<size_t>(policy_.lead_in_s * rate_hz_);
  past_.insert(past_.end(), samples, samples + count);
  if (past_.size() > 2 * wanted + count) past_.erase(past_.begin(), past_.end() - static_cast<std::ptrdiff_t>(wanted));
}

}  // namespace TSEG::stream
