// SPDX-License-Identifier: Apache-2.0
//
// ChainSession: one session of the engine, from start to stop, as a chain of them sees it, whoever holds the engine.
#ifndef WVAD_STREAM_CHAIN_SESSION_H_
#define WVAD_STREAM_CHAIN_SESSION_H_

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace TSEG::stream {

// A sentence of one session, in frames of 10 ms from the session's start, with the values that the engine gave for it. Values are missing
// where the engine has dropped them (more than sixteen sentences ending in one write).
struct SessionSentence {
  int64_t begin_frame = 0;
  int64_t end_frame = 0;
  std::optional<double> vol;
  std::optional<bool> trig;
  std::optional<double> eg;
  std::vector<unsigned char> data;  // what the engine handed out of it, whole frames; empty unless the session keeps it
};

// A further result of the audio-quality component, as it stands: key and JSON member text.
struct OtherResult {
  std::string key;
  std::string text;
};

class ChainSession {
 public:
  ChainSession() = default;
  virtual ~ChainSession() = default;
  ChainSession(const ChainSession&) = delete;
  ChainSession& operator=(const ChainSession&) = delete;

  // Writes `count` samples; `last` closes the session (an open sentence then ends).
  virtual void Write(const int16_t* samples, size_t count, bool last) = 0;
  // The sentences that have closed since the last call, in order; with kept data as soon as that is whole.
  virtual std::vector<SessionSentence> TakeClosed() = 0;
  // Results other than those of sentences; filled by the last write, and by the write that ended the session.
  virtual const std::vector<OtherResult>& others() const = 0;
  virtual bool sentence_open() const = 0;
  // Begun so far.
  virtual int64_t sentences() const = 0;
  // The audio-quality component listens; the last write brings its results.
  virtual bool measures_quality() const = 0;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_CHAIN_SESSION_H_
