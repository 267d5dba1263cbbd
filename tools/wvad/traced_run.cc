// SPDX-License-Identifier: Apache-2.0
#include "wvad/traced_run.h"

#include <array>
#include <charconv>
#include <utility>

#include "params/cfg_vad.h"
#include "session/tseg_inst.h"
#include "wvad/input.h"
#include "wvad/model_finder.h"
#include "wvad/parameter_table.h"
#include "wvad/parameters.h"

namespace TSEG::tool {
namespace {

std::string BuiltIn(const std::string& name) {
  CFG_VAD fresh;
  std::array<char, 512> text{};
  return fresh.get_para_value(name.c_str(), text.data(), text.size()) ? std::string(text.data()) : std::string();
}

// The shortest text of the number that the engine has: it gives one of single precision nine digits.
std::string Tidy(const ParameterRow& row, const std::string& value) {
  float number = 0;
  const char* end = value.data() + value.size();
  if (row.kind != ValueKind::kDecimal || std::from_chars(value.data(), end, number).ptr != end) return value;
  std::array<char, 32> text{};
  return std::string(text.data(), std::to_chars(text.data(), text.data() + text.size(), number).ptr);
}

}  // namespace

TracedEngine::TracedEngine(const EngineOptions& options, const std::string& configuration)
    : model_(options.model), model_file_(FindModel(options.model, options.models_dir)) {
  ParameterPlan plan = PlanParameters(AllSettings(options, model_file_), false);
  plan.session.emplace_back("wvad_param_isVadDegOn", "0");  // its text would be for nobody
  engine_ =
      std::make_unique<Engine>(model_file_, plan.configuration, FurtherConfiguration(plan, model_file_, configuration), options.slow_start);
  detector_ = std::make_unique<Detector>(*engine_);
  session_ = std::move(plan.session);
  // The values of a session go with it.
  const Session trial(*detector_, session_);
  for (const ParameterRow& row : ParameterTable()) {
    const std::string name(row.name);
    const std::string built_in = BuiltIn(name);
    // Where the model was found by the engine is the program's affair. Those without a value of their own are other names of these.
    if (!IsOfModelOption(name) && !built_in.empty()) in_force_.push_back({name, Tidy(row, detector_->Get(name)), Tidy(row, built_in)});
  }
  rate_hz_ = ParseInt(detector_->Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
  const CFG_VAD& cfg = *detector_->handle()->pCfg;
  facts_.threshold = static_cast<double>(cfg.wvad_param_vad_threshold);
  facts_.adaptive_floor = cfg.wvad_param_k4_energy;
}

int TracedEngine::Number(const std::string& name) const {
  for (const ParameterInForce& parameter : in_force_) {
    if (parameter.name == name) return ParseInt(parameter.value).value_or(0);
  }
  return 0;
}

TracedRecording::TracedRecording(TracedEngine& engine, Recording::Sink sentences, DecisionTrace::Sink rows)
    : engine_(engine),
      recording_(*engine.detector_, engine.session_, engine.rate_hz(), RenewalPolicy(), std::move(sentences)),
      trace_(
          engine.rate_hz(),
          [this] {
            return DecisionTrace::Place{recording_.session_start(), recording_.decided_to()};
          },
          std::move(rows)) {
  engine_.detector_->handle()->decision.pObserver = &trace_;
}

TracedRecording::~TracedRecording() { engine_.detector_->handle()->decision.pObserver = nullptr; }

void TracedRecording::Feed(const std::vector<int16_t>& piece) {
  const int64_t before = recording_.renewals();
  recording_.Feed(piece);
  if (recording_.renewals() != before) renewals_.push_back(recording_.decided_to());
}

}  // namespace TSEG::tool
