// SPDX-License-Identifier: Apache-2.0
#include "stream/event_tracker.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "session/tseg_inst.h"

namespace TSEG::stream {
namespace {

// An onset is dropped after so many frames without speech: a closure inside a word is shorter.
constexpr int64_t kDropFrames = 10;
// What begins or ends so close to an edge was cut off there.
constexpr int64_t kEdgeFrames = 10;
constexpr int64_t kKeptFrames = 2500;

}  // namespace

int64_t EventTracker::Input(int64_t engine_samples) const { return std::min(clock_.ToInput(std::max<int64_t>(engine_samples, 0)), now_); }

Event EventTracker::Make(int32_t kind, int64_t at) const { return Event(kind, Input(at), now_); }

void EventTracker::OnAudio(const int16_t* samples, size_t count) {
  meter_->AddFrame(samples, count);
  const int64_t kept_from = std::min(open_ ? begin_ : seen_to_, seen_to_ - kKeptFrames * clock_.frame_samples());
  meter_->ForgetBefore(kept_from / clock_.frame_samples(), clock_.ToInput(std::max<int64_t>(kept_from, 0)));
  if (!rules_.audio) return;
  audio_.Add(samples, count);
  audio_.ForgetBefore(kept_from);
}

void EventTracker::OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) {
  const int64_t at = session_start_ + index * clock_.frame_samples();
  if (at < seen_to_) return;
  seen_to_ = at + clock_.frame_samples();
  if (frame.speech >= 0 && frame.speech <= 1) last_probability_ = frame.speech;
  if (rules_.probabilities) {
    Event event = Make(WVAD_EVENT_PROBABILITY, at);
    event.record.probability = last_probability_;
    sink_(std::move(event));
  }
  // Threshold and energy floor alone: without the frames that are held back behind each silence, and beyond the longest sentence.
  const bool is_speech = frame.raw >= 0 && !frame.below_floor;
  if (is_speech) meter_->MarkSpeech(at / clock_.frame_samples());
  FollowRun(is_speech, at);
  if (result == EP_RESULT_END) NotePause(inst);
  if (!open_) {
    TellBegin(inst);
    DropOnset(inst);
    TellSilence(inst);
  }
}

void EventTracker::FollowRun(bool speech, int64_t at) {
  if (!speech) {
    run_ = 0;
    ++silent_run_;
    return;
  }
  silent_run_ = 0;
  if (run_++ == 0) run_begin_ = at;
  if (open_ || onset_ || run_ < rules_.onset_frames) return;
  onset_ = true;
  onset_at_ = std::max(run_begin_, last_end_);
  Emit(WVAD_EVENT_ONSET, onset_at_);
}

// The silence that ended the sentence was real, or the longest sentence's.
void EventTracker::NotePause(const TsegInst& inst) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  const int64_t last_frame = seen_to_ / clock_.frame_samples();
  const int64_t silence = detector.nSilFrames;
  paused_ = true;
  paused_in_speech_ = 2 * meter_->SpeechIn(last_frame - silence, last_frame) > silence;
  last_speech_end_ = session_start_ + (detector.nLastEnd + 1) * clock_.frame_samples();
}

void EventTracker::DropOnset(const TsegInst& inst) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  if (!onset_ || detector.nState == 1 || detector.nEdgeState == 2 || detector.bPending != 0 || silent_run_ < kDropFrames) return;
  onset_ = false;
  Emit(WVAD_EVENT_ONSET_DROPPED, onset_at_);
}

void EventTracker::TellSilence(const TsegInst& inst) {
  if (open_ || onset_ || inst.decision.pEndpoint->nState == 1) return;
  if (turn_due_ && rules_.turn > 0 && seen_to_ - last_speech_end_ >= rules_.turn) {
    turn_due_ = false;
    Event event = Make(WVAD_EVENT_TURN_END, last_speech_end_);
    event.record.sentence = n_sentences_ - 1;
    sink_(std::move(event));
  }
  if (rules_.still > 0 && seen_to_ - last_end_ >= silence_told_ + rules_.still) {
    silence_told_ += rules_.still;
    Event event = Make(WVAD_EVENT_SILENCE, seen_to_);
    event.record.begin = Input(last_end_);
    sink_(std::move(event));
  }
}

void EventTracker::TellBegin(const TsegInst& inst) {
  const EndpointDetector& detector = *inst.decision.pEndpoint;
  if (open_ || detector.nState != 1) return;
  const int64_t begin = session_start_ + detector.nBeginFrame * clock_.frame_samples();
  const int64_t heard_to = session_start_ + (detector.nFloor + 1) * clock_.frame_samples();
  if (chain_->WillBeTold(begin, heard_to)) Open(chain_->BeginToTell(begin));
}

void EventTracker::Open(int64_t begin) {
  if (!onset_) {
    onset_at_ = begin;
    Emit(WVAD_EVENT_ONSET, begin);
  }
  const int64_t edge = kEdgeFrames * clock_.frame_samples();
  const bool cut_off = onset_at_ < edge || (cut_at_ >= 0 && onset_at_ - cut_at_ < edge);
  onset_ = false;
  open_ = true;
  paused_ = false;
  turn_due_ = false;
  begin_ = begin;
  flags_ = cut_off ? WVAD_FLAG_BEGAN_IN_SPEECH : 0;
  Event event = Make(WVAD_EVENT_SENTENCE_BEGIN, begin);
  event.record.sentence = n_sentences_++;
  event.record.begin = event.record.time;
  event.record.flags = flags_;
  sink_(std::move(event));
}

void EventTracker::OnSentence(const Sentence& sentence) {
  if (!open_) Open(sentence.begin_sample);
  CloseSentence(sentence.end_sample, sentence.data);
}

void EventTracker::CloseSentence(int64_t end, const std::vector<unsigned char>& data) {
  const bool in_speech = paused_ ? paused_in_speech_ : silent_run_ < kEdgeFrames;
  if (in_speech) flags_ |= WVAD_FLAG_ENDED_IN_SPEECH;
  Event event = Make(WVAD_EVENT_SENTENCE_END, end);
  event.record.sentence = n_sentences_ - 1;
  event.record.begin = Input(begin_);
  event.record.end = event.record.time;
  event.record.flags = flags_;
  const int64_t frame = clock_.frame_samples();
  const SentenceMeasures measures = meter_->Measure(begin_ / frame, (end + frame - 1) / frame, event.record.begin, event.record.end);
  event.record.level_db = measures.level_db;
  event.record.snr_db = measures.snr_db;
  event.record.clipped = measures.clipped;
  if (rules_.audio) event.audio = audio_.Copy(begin_, end);
  if (!data.empty()) {
    event.features.resize(data.size() / sizeof(float));
    std::memcpy(event.features.data(), data.data(), event.features.size() * sizeof(float));
  }
  open_ = false;
  cut_at_ = in_speech ? end : -1;
  last_end_ = end;
  silence_told_ = 0;
  if (!paused_) last_speech_end_ = end;
  turn_due_ = true;
  sink_(std::move(event));
}

void EventTracker::AfterFeed(const TsegInst& inst) { TellBegin(inst); }

void EventTracker::OnEnd() {
  if (open_) CloseSentence(seen_to_, {});
  if (onset_) Emit(WVAD_EVENT_ONSET_DROPPED, onset_at_);
  onset_ = false;
  sink_(Event(WVAD_EVENT_STREAM_END, now_, now_));
}

}  // namespace TSEG::stream
