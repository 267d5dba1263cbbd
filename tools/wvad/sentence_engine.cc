// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_engine.h"

#include "wvad/input.h"
#include "wvad/model_finder.h"

namespace TSEG::tool {
namespace {

// The plan, which hangs on the file.
ParameterPlan PlanOf(const EngineOptions& options, const SentenceUse& use, const std::string& model_file) {
  return PlanParameters(AllSettings(options, model_file), use.endpoint, use.handout, use.quality);
}

}  // namespace

SentenceEngine::SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& configuration,
                               const BeforeSessions& before_sessions)
    : SentenceEngine(options, use, FindModel(options.model, options.models_dir), configuration, before_sessions) {}

SentenceEngine::SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& model_file,
                               const std::string& configuration, const BeforeSessions& before_sessions)
    : SentenceEngine(options, use, model_file, PlanOf(options, use, model_file), configuration, before_sessions) {}

SentenceEngine::SentenceEngine(const EngineOptions& options, const SentenceUse& use, const std::string& model_file,
                               const ParameterPlan& plan, const std::string& configuration, const BeforeSessions& before_sessions)
    : model_(options.model),
      parameters_(plan.session),
      engine_(model_file, plan.configuration, FurtherConfiguration(plan, model_file, configuration), options.slow_start) {
  before_sessions(engine_, parameters_);
  Detector detector(engine_);
  const Session trial(detector, parameters_);
  // The rate alone outlives a session.
  rate_hz_ = ParseInt(detector.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
  if (detector.Get("wvad_param_k4_energy") == "0") floor_ = ParseInt(detector.Get("wvad_param_nEnergyThreshhood"));
  if (use.handout == Handout::kPcm) frame_bytes_ = static_cast<size_t>(rate_hz_ * 2 / 100);
  if (use.handout == Handout::kFeatures) frame_bytes_ = kFeatureFloats * sizeof(float);
}

}  // namespace TSEG::tool
