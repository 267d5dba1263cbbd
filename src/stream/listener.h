// SPDX-License-Identifier: Apache-2.0
//
// Listener: one stream without its borders: pieces of any form and length in, events out.
//
//   piece -> blocks of 10 ms of the input, one channel -> resampler -> frames of the model's rate -> chain of sessions -> tracker -> events
//
// All steps go by the blocks, which are counted from the stream's start, so that the pieces' lengths do not matter.
#ifndef WVAD_STREAM_LISTENER_H_
#define WVAD_STREAM_LISTENER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "stream/engine_session.h"
#include "stream/event.h"
#include "stream/event_tracker.h"
#include "stream/phase_meter.h"
#include "stream/profiles.h"
#include "stream/resampler.h"
#include "stream/sample_form.h"
#include "stream/sentence_meter.h"
#include "stream/session_chain.h"
#include "stream/settings.h"
#include "stream/shared_model.h"

namespace TSEG::stream {

// Throws Refusal for a form that cannot be served.
void CheckFormat(const wvad_stream_options& options);

class Listener {
 public:
  // Of checked options and settings. `policy` decides when sessions are renewed. Throws Refusal.
  Listener(std::shared_ptr<SharedModel> model, const wvad_stream_options& options, const wvad_settings& settings, EventSink sink,
           const RenewalPolicy& policy = {});

  // `frames` frames of a piece that has been found good.
  void Push(const SampleReader& piece, size_t frames);
  void Finish();

  int64_t samples() const { return heard_ + static_cast<int64_t>(fill_); }
  int64_t heard() const { return heard_; }
  int64_t renewals() const { return chain_.renewals(); }
  const EventTracker& tracker() const { return tracker_; }
  const PhaseMeter& phase() const { return phase_; }

 private:
  void TakeBlock();
  void FeedFrames(bool last);

  std::shared_ptr<SharedModel> model_;
  const Profile& profile_;
  bool mixes_;
  StreamClock clock_;
  SentenceMeter meter_;
  EventTracker tracker_;
  EngineInstance instance_;
  ParameterList parameters_;
  size_t frame_bytes_;  // of features that are kept, or 0
  Resampler resampler_;
  SessionChain chain_;
  PhaseMeter phase_;
  std::vector<float> block_;  // one channel, at the input's rate
  size_t fill_ = 0;
  size_t clipped_ = 0;        // in the block
  int64_t heard_ = 0;         // frames of the input before the block
  std::vector<float> ready_;  // at the model's rate, not fed yet: less than a frame between calls
  std::vector<int16_t> frame_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_LISTENER_H_
