// SPDX-License-Identifier: Apache-2.0
//
// EventTracker: the frames that the sessions of a chain decide on, and the sentences that the chain tells, as events on the stream's clock.
//
//   frames      . . s s s s s s s s s s . . s s s s s . . . . . . . . .
//   may begin       ^ ONSET: speech for the first time (the profile says for how long)
//   begun                   ^ BEGIN: the engine has its proof; `begin` reaches back to before the first s
//   ended                                                   ^ END: the engine has its silence; `end` lies behind the last s
//   turn over                                                         ^ TURN_END
//
// A frame that two sessions decide on, since the second began with a lead-in, is looked at once. A begin is told when it is certain that
// the chain will tell the sentence. So every BEGIN is followed by its END before the next, and every ONSET by a BEGIN or by ONSET_DROPPED.
#ifndef WVAD_STREAM_EVENT_TRACKER_H_
#define WVAD_STREAM_EVENT_TRACKER_H_

#include <cstdint>

#include "decision/decision_observer.h"
#include "stream/event.h"
#include "stream/sentence_meter.h"
#include "stream/session_chain.h"
#include "stream/stream_clock.h"
#include "stream/trailing_history.h"

namespace TSEG::stream {

struct TrackerRules {
  int32_t onset_frames = 3;    // of speech before it may have begun
  int64_t turn = 0;            // engine samples; 0 for never
  int64_t still = 0;           // likewise
  bool probabilities = false;  // an event for each frame
  bool audio = false;          // the audio with each sentence
};

class EventTracker : public DecisionObserver {
 public:
  EventTracker(const TrackerRules& rules, const StreamClock& clock, SentenceMeter* meter, EventSink sink)
      : rules_(rules), clock_(clock), meter_(meter), sink_(std::move(sink)) {}

  // The chain that will tell the sentences; before everything else.
  void Follow(const SessionChain* chain) { chain_ = chain; }
  // So much of the input has been heard.
  void SetNow(int64_t input) { now_ = input; }
  // The next session begins at engine sample `start`.
  void OnSession(int64_t start) { session_start_ = start; }
  // Audio at the engine's rate, before it is fed to the chain. `count`: a frame, or less at the end.
  void OnAudio(const int16_t* samples, size_t count);
  void OnFrame(const TsegInst& inst, int32_t index, const DecidedFrame& frame, EndpointResult result) override;
  void OnSentence(const Sentence& sentence);
  // The chain has told all that the last piece of audio brought.
  void AfterFeed(const TsegInst& inst);
  // The chain is finished: what is open is closed, and the stream ends.
  void OnEnd();

  int64_t sentences() const { return n_sentences_; }
  bool in_sentence() const { return open_; }

 private:
  void FollowRun(bool speech, int64_t at);
  void NotePause(const TsegInst& inst);
  void DropOnset(const TsegInst& inst);
  void TellSilence(const TsegInst& inst);
  void TellBegin(const TsegInst& inst);
  void Open(int64_t begin);
  void CloseSentence(int64_t end, const std::vector<unsigned char>& data);
  void Emit(int32_t kind, int64_t at) { sink_(Make(kind, at)); }
  Event Make(int32_t kind, int64_t at) const;
  int64_t Input(int64_t engine_samples) const;

  TrackerRules rules_;
  StreamClock clock_;
  SentenceMeter* meter_;
  EventSink sink_;
  const SessionChain* chain_ = nullptr;
  TrailingHistory<int16_t> audio_;

  // Positions are engine samples on the chain's clock, but for the first.
  int64_t now_ = 0;  // input
  int64_t session_start_ = 0;
  int64_t seen_to_ = 0;  // the end of the last frame that was looked at
  float last_probability_ = 0;
  int64_t run_ = 0;  // frames of speech in a row
  int64_t run_begin_ = 0;
  int64_t silent_run_ = 0;  // frames without
  bool onset_ = false;      // ONSET has been told, and nothing that follows from it
  int64_t onset_at_ = 0;
  bool open_ = false;  // BEGIN has been told, and not its END
  int64_t begin_ = 0;
  uint32_t flags_ = 0;
  int64_t n_sentences_ = 0;
  bool paused_ = false;  // the engine has ended the open sentence
  bool paused_in_speech_ = false;
  int64_t last_speech_end_ = 0;
  int64_t last_end_ = 0;  // of the last sentence
  int64_t cut_at_ = -1;   // likewise, if it ended in the midst of speech
  bool turn_due_ = false;
  int64_t silence_told_ = 0;  // how much silence since last_end_ has been told
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_EVENT_TRACKER_H_
