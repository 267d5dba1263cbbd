// SPDX-License-Identifier: Apache-2.0
//
// EngineSession: a session on an instance of an engine that is an object, and the instance itself as an owner.
#ifndef WVAD_STREAM_ENGINE_SESSION_H_
#define WVAD_STREAM_ENGINE_SESSION_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "decision/decision_observer.h"
#include "engine/engine.h"
#include "stream/chain_session.h"
#include "stream/settings.h"

namespace TSEG::stream {

// An instance of `engine`, which outlives it. Throws Refusal(WVAD_E_INTERNAL).
class EngineInstance {
 public:
  // `observer` is told of every frame. Sessions begin with the usual means and speak up at once.
  EngineInstance(Engine& engine, DecisionObserver* observer);
  ~EngineInstance();
  EngineInstance(const EngineInstance&) = delete;
  EngineInstance& operator=(const EngineInstance&) = delete;

  Engine& engine() { return engine_; }
  TsegInst& record() { return *handle_; }

 private:
  Engine& engine_;
  WVADInst handle_ = nullptr;
};

class EngineSession : public ChainSession {
 public:
  // Starts. `frame_bytes` above 0: what is read back is kept for its sentence. Throws Refusal(WVAD_E_INTERNAL), as Write does.
  EngineSession(EngineInstance& instance, const ParameterList& parameters, size_t frame_bytes);
  ~EngineSession() override;

  void Write(const int16_t* samples, size_t count, bool last) override;
  std::vector<SessionSentence> TakeClosed() override;
  const std::vector<OtherResult>& others() const override { return others_; }
  bool sentence_open() const override;
  int64_t sentences() const override;
  bool measures_quality() const override { return false; }

 private:
  void Drain();

  EngineInstance& instance_;
  size_t frame_bytes_;
  size_t n_taken_ = 0;                     // sentences that TakeClosed has given
  bool all_read_ = false;                  // nothing more will be handed out
  std::vector<unsigned char> handed_out_;  // not taken by a sentence yet; frames in order, no frame belongs to two sentences
  std::vector<OtherResult> others_;
};

}  // namespace TSEG::stream

#endif  // WVAD_STREAM_ENGINE_SESSION_H_
