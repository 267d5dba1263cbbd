// SPDX-License-Identifier: Apache-2.0
//
// SessionChain: audio of any length as a chain of sessions with one clock.
//
// A session of the engine has limits: it takes 20479 sentences, counts bytes in 32 bits and, unless it is told to, frees nothing before its
// first sentence and little in a long silence. So the chain renews the session whenever no sentence is open and one of these has grown
// large. The new session first gets the last seconds of audio once more, so that its running means are settled where its own work begins:
//
//   old session   ....[sentence]......................|
//   new session                      |...lead-in......|...[sentence]...
//                                                     ^ handover
//
// A sentence that the new session finds wholly in the lead-in, or that ends where one was reported already, is not reported again; one
// that reaches back over the end of a reported sentence begins there. A run of speech that had just begun at the handover is found by
// the new session, since it lies in the lead-in. So nothing is lost and nothing comes twice.
//
// A long stillness spoils a session for what follows: the running means of the front end and the state of a recurrent network come to stand
// for it, and the speech behind it is taken for one long sentence. So the session is also renewed where sound comes back, with a lead-in so
// short that the new one begins as a recording does.
//
// One thread; memory does not grow with the audio's length, only with that of the longest sentence where sentences are kept.
#ifndef WVAD_STREAM_SESSION_CHAIN_H_
#define WVAD_STREAM_SESSION_CHAIN_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "stream/chain_session.h"

namespace TSEG::stream {

// A sentence on the chain's clock: sample numbers at the engine's rate, counted in 64 bits from the chain's start.
struct Sentence {
  int64_t begin_sample = 0;
  int64_t end_sample = 0;
  std::optional<double> vol;
  std::optional<bool> trig;
  std::optional<double> eg;
  std::vector<unsigned char> data = {};  // of each of its frames, in order; empty unless the sessions keep it
  std::string saved_as = {};             // the file that it was written to, for reports; mostly empty
  int channel = 0;                       // that it was heard on, where each is listened to by itself
};

// What the audio-quality component said of one session, and the stretch of audio that the session heard.
struct SessionQuality {
  int64_t begin_sample = 0;
  int64_t end_sample = 0;
  std::vector<OtherResult> results;
  int channel = 0;
};

// When a session is renewed, and with how much lead-in. All lengths in seconds of audio.
struct RenewalPolicy {
  int64_t lead_in_s = 20;
  int64_t quiet_s = 240;        // without a sentence for so long: an engine that is not told to free it holds all audio since then
  int64_t age_s = 2 * 3600;     // whatever happens in it
  int64_t sentences = 8000;     // of the 20479 that a session takes
  int64_t still_s = 10;         // of stillness, when sound comes back; 0 for never
  int64_t still_lead_in_s = 1;  // lead-in there
  int64_t hard_s = 12 * 3600;   // even inside a sentence, which ends there (only a raised sentence limit leads here)
};

class SessionChain {
 public:
  using Sink = std::function<void(const Sentence&)>;
  // Makes the next session, whose frame 0 stands at `start_sample`. The one before it is gone by then.
  using Factory = std::function<std::unique_ptr<ChainSession>(int64_t start_sample)>;

  // `sink` gets each sentence as soon as it is known, in order of time; with `frame_bytes` above 0 with what the engine handed out of it,
  // so many bytes a frame, for sessions that keep it.
  SessionChain(Factory make_session, int rate_hz, RenewalPolicy policy, Sink sink, size_t frame_bytes = 0);

  void Feed(const std::vector<int16_t>& piece) { Feed(piece.data(), piece.size()); }
  void Feed(const int16_t* piece, size_t count);
  // Ends the last session; an open sentence ends with the audio.
  void Finish();

  int64_t samples() const { return samples_; }
  int64_t renewals() const { return renewals_; }
  // The sample that is frame 0 of the present session, and the one from which on it tells the sentences.
  int64_t session_start() const { return session_start_; }
  int64_t decided_to() const { return decided_to_; }
  // Where a sentence that begins at `begin` is told to begin: not before the end of the one before it.
  int64_t BeginToTell(int64_t begin) const;
  // Whether a sentence from `begin` that ends at `end` or later will be told, and not taken for one that was told already.
  bool WillBeTold(int64_t begin, int64_t end) const;
  // Of the last session.
  const std::vector<OtherResult>& others() const { return others_; }
  // One entry a session; none with the audio-quality component off.
  const std::vector<SessionQuality>& quality() const { return quality_; }

 private:
  void Report();
  void Deliver(SessionSentence&& found);
  void CloseSession();
  bool RenewalIsDue() const;
  void FeedSession(const int16_t* samples, size_t count);
  bool SoundComesBack(int16_t sample);
  void Renew(int64_t wanted_lead_in);
  void Remember(const int16_t* samples, size_t count);

  Factory make_session_;
  int64_t rate_hz_;
  RenewalPolicy policy_;
  Sink sink_;
  size_t frame_bytes_;
  std::unique_ptr<ChainSession> session_;
  int64_t session_start_ = 0;  // the sample that is frame 0 of the session
  int64_t samples_ = 0;
  int64_t decided_to_ = 0;   // sentences ending up to here are the affair of earlier sessions
  int64_t reported_to_ = 0;  // end of the last sentence that was reported
  int64_t renewals_ = 0;
  int64_t since_check_ = 0;    // samples since it was last looked whether a renewal is due
  int64_t still_ = 0;          // samples of stillness before the block that is being filled
  int64_t block_fill_ = 0;     // samples of that block
  double block_power_ = 0;     // and their power
  std::vector<int16_t> past_;  // at least the last lead_in_s seconds, where there are so many
  std::vector<OtherResult> others_;
  std::vector<SessionQuality> quality_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_SESSION_CHAIN_H_
