// SPDX-License-Identifier: Apache-2.0
//
// One model under one set of parameters, brought up so that its decisions can be looked at, and a recording that it hears: sentences as the
// other commands find them, and beside them the trace of every frame. Looking changes nothing that is found.
//
// One thread. Memory does not grow with the recording.
#ifndef WVAD_WVAD_TRACED_RUN_H_
#define WVAD_WVAD_TRACED_RUN_H_

#include <memory>
#include <string>
#include <vector>

#include "wvad/decision_words.h"
#include "wvad/engine.h"
#include "wvad/engine_options.h"
#include "wvad/recording.h"

namespace TSEG::tool {

// A parameter as it is in force in the sessions, and what it is where nobody sets it.
struct ParameterInForce {
  std::string name;
  std::string value;
  std::string built_in;
};

class TracedEngine {
 public:
  // `configuration` is the user's, as ReadConfiguration gives it. Throws Failure for a model, a parameter or a configuration that cannot be
  // used.
  TracedEngine(const EngineOptions& options, const std::string& configuration);

  int rate_hz() const { return rate_hz_; }
  const RunFacts& facts() const { return facts_; }
  const std::string& model() const { return model_; }  // as it was asked for
  const std::string& model_file() const { return model_file_; }
  const std::vector<ParameterInForce>& parameters() const { return in_force_; }
  // The value in force of a parameter that is a whole number; 0 for one that is none.
  int Number(const std::string& name) const;

 private:
  friend class TracedRecording;

  std::string model_;
  std::string model_file_;
  ParameterList session_;
  std::unique_ptr<Engine> engine_;
  std::unique_ptr<Detector> detector_;
  std::vector<ParameterInForce> in_force_;
  int rate_hz_ = 16000;
  RunFacts facts_;
};

class TracedRecording {
 public:
  TracedRecording(TracedEngine& engine, Recording::Sink sentences, DecisionTrace::Sink rows);
  ~TracedRecording();
  TracedRecording(const TracedRecording&) = delete;
  TracedRecording& operator=(const TracedRecording&) = delete;

  void Feed(const std::vector<int16_t>& piece);
  void Finish() { recording_.Finish(); }
  int64_t samples() const { return recording_.samples(); }
  // The samples from which on the decisions are those of a further session.
  const std::vector<int64_t>& renewals() const { return renewals_; }

 private:
  TracedEngine& engine_;
  Recording recording_;
  DecisionTrace trace_;
  std::vector<int64_t> renewals_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_TRACED_RUN_H_
