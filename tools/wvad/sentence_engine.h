// SPDX-License-Identifier: Apache-2.0
//
// An engine as the commands on sentences bring it up: one form of the model under the run's settings, and what of them the work on a
// recording goes by.
#ifndef WVAD_WVAD_SENTENCE_ENGINE_H_
#define WVAD_WVAD_SENTENCE_ENGINE_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "wvad/engine.h"
#include "wvad/engine_options.h"
#include "wvad/parameters.h"

namespace TSEG::tool {

constexpr size_t kFeatureFloats = 115;  // of a frame that the engine hands out

// What its sessions are for.
struct SentenceUse {
  bool endpoint = false;  // they may end by themselves
  Handout handout = Handout::kNothing;
  bool quality = false;  // the audio-quality component listens
};

class SentenceEngine {
 public:
  // `configuration` is the user's, as ReadConfiguration gives it. `before_sessions` is called once the engine is up. Then every parameter
  // is tried, before any audio is touched. Throws Failure as FindModel, PlanParameters, Engine and Detector::Set.
  using BeforeSessions = std::function<void(Engine& engine, const ParameterList& parameters)>;
  SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& configuration,
                 const BeforeSessions& before_sessions);

  Engine& engine() { return engine_; }
  const std::string& model() const { return model_; }              // as it was asked for, in the form that this is
  const ParameterList& parameters() const { return parameters_; }  // of each session
  int rate_hz() const { return rate_hz_; }
  // Of what a session hands out of a frame; 0 where nothing of it is kept.
  size_t frame_bytes() const { return frame_bytes_; }
  // The fixed energy floor; none with the adaptive one.
  const std::optional<int>& floor() const { return floor_; }

 private:
  SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& model_file, const std::string& configuration,
                 const BeforeSessions& before_sessions);
  SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& model_file, const ParameterPlan& plan,
                 const std::string& configuration, const BeforeSessions& before_sessions);

  std::string model_;
  ParameterList parameters_;
  Engine engine_;
  int rate_hz_ = 16000;
  size_t frame_bytes_ = 0;
  std::optional<int> floor_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_ENGINE_H_
