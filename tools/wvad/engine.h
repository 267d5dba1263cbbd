// SPDX-License-Identifier: Apache-2.0
//
// What the library's C interface does, as owned objects: an engine, a detector, and a running session on it. Codes become `Failure`s with
// words; nothing else is added. A run may hold several engines, each on a model of its own; their log is the process's.
//
// Engines are made and end on one thread, while no other opens files: the start changes the current folder for a moment. A detector and its
// session are used by one thread at a time. Objects end in the reverse order: session, detector, engine.
#ifndef WVAD_WVAD_ENGINE_H_
#define WVAD_WVAD_ENGINE_H_

#include <wvad.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/engine.h"
#include "stream/chain_session.h"

namespace TSEG::tool {

using ParameterList = std::vector<std::pair<std::string, std::string>>;

// Brings the engine up with the model file `model`. `configuration` are lines for the section "vad" of the configuration file, `more` is
// the text of a whole further configuration file that follows (its entries count where ours are silent). `slow_start`: its sessions hear
// the first two seconds together before they speak up, as those of the exported functions do; else they begin with the usual means, at
// once, if the kind of mean removal is the usual one. Throws Failure: kBadModel with the reason, kBadParameter for a configuration that
// cannot be used.
class Engine {
 public:
  Engine(const std::string& model, const ParameterList& configuration, const std::string& more, bool slow_start = false);
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // The calls that the exported functions make.
  TSEG::Engine& core() { return core_; }
  bool slow_start() const { return slow_start_; }

 private:
  TSEG::Engine core_;
  bool slow_start_;
};

// One instance of the detector.
class Detector {
 public:
  explicit Detector(Engine& engine);
  ~Detector();
  Detector(const Detector&) = delete;
  Detector& operator=(const Detector&) = delete;

  // For the next session. Throws Failure(kBadParameter) or, for a rate outside the engine's, Failure(kBadRate).
  void Set(const std::string& name, const std::string& value);
  // The value as text; empty for a parameter that cannot be read back.
  std::string Get(const std::string& name) const;
  WVADInst handle() const { return handle_; }
  TSEG::Engine& core() const { return core_; }

 private:
  TSEG::Engine& core_;
  WVADInst handle_ = nullptr;
};

using stream::OtherResult;
using stream::SessionSentence;

// One session on a detector, from start to stop. Reads back what the engine hands out, so that its memory stays flat.
class Session : public stream::ChainSession {
 public:
  // `frame_bytes` above 0: what is read back is kept for its sentence, so many bytes a frame (only the last frame of the audio may be
  // shorter). Memory then grows with the longest sentence.
  Session(Detector& detector, const ParameterList& parameters, size_t frame_bytes = 0);
  ~Session() override;

  // Writes `count` samples; `last` closes the session (an open sentence then ends). Throws Failure(kEngine).
  void Write(const int16_t* samples, size_t count, bool last) override;
  // The sentences that have closed since the last call, in order; with kept data as soon as that is whole.
  std::vector<SessionSentence> TakeClosed() override;
  // Results other than those of sentences; filled by the last write, and by the write that ended the session.
  const std::vector<OtherResult>& others() const override { return others_; }

  bool sentence_open() const override { return open_; }
  int64_t sentences() const override { return static_cast<int64_t>(n_closed_) + (open_ ? 1 : 0); }
  // The engine ended the session by itself: tail silence, or no speech in time.
  bool ended() const { return ended_; }
  // The audio-quality component listens; the last write brings its results.
  bool measures_quality() const override { return quality_; }

 private:
  void Drain();
  bool TakeData(SessionSentence* sentence);
  void Collect();
  void AttachValues(const char* text);

  Detector& detector_;
  TSEG::Engine& core_;
  bool quality_ = false;
  size_t frame_bytes_;
  bool all_read_ = false;                  // nothing more will be handed out
  std::vector<unsigned char> handed_out_;  // not taken by a sentence yet; frames in order, no frame belongs to two sentences
  bool ended_ = false;
  bool open_ = false;
  size_t n_closed_ = 0;
  std::vector<SessionSentence> fresh_;   // closed, not taken yet
  std::vector<SessionSentence> values_;  // values whose sentence has not been seen closed yet
  std::vector<int> end_points_;
  std::vector<OtherResult> others_;
};

// The name of a code of the library, such as "WVAD_ERROR_NOT_INIT (14002)".
std::string CodeName(int code);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_ENGINE_H_
