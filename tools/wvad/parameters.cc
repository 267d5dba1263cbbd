// SPDX-License-Identifier: Apache-2.0
#include "wvad/parameters.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "wvad/failure.h"
#include "wvad/parameter_table.h"

namespace TSEG::tool {
namespace {

// Read by the engine at its start only; on a detector they would come too late.
constexpr std::string_view kFromConfiguration[] = {"wvad_param_bKelOn", "wvad_param_cmn_type"};

// The network that is loaded decides these; a detector told otherwise would reach for parts that it does not have.
constexpr std::string_view kFromModel[] = {"wvad_param_isTsegLstm", "wvad_param_TsegModelType", "wvad_param_vad_AgcOn"};

constexpr std::string_view kFromOptions[] = {"wvad_param_model_path", "wvad_param_model_name"};

// These end a session by themselves, which a recording that is segmented to its end must not do.
constexpr std::string_view kEndSession[] = {"wvad_param_nSpeechTailMS", "VAD_PARAM_SPEECHTAIL", "wvad_param_nResponseTimeOut"};

// The audio-quality component knows these from its own section of the configuration only.
constexpr std::string_view kOfQuality[] = {"wkel_param_sampleRate", "wkel_param_snr_threshold", "wkel_param_cur_threshold"};

constexpr std::string_view kReadTypes[] = {"wvad_param_nReadType", "wvad_param_readtype"};

template <typename List>
bool Holds(const List& list, std::string_view name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

constexpr const char* kForever = "2147483647";

// NAME=VALUE as its two sides.
std::pair<std::string, std::string> Split(const std::string& setting) {
  const size_t equals = setting.find('=');
  if (equals == std::string::npos || equals == 0) {
    throw Failure(ExitCode::kBadParameter, "--set " + setting + ": expected NAME=VALUE");
  }
  std::string name = setting.substr(0, equals);
  if (setting.find_first_of("\n\r") != std::string::npos) {
    throw Failure(ExitCode::kBadParameter, name.substr(0, name.find_first_of("\n\r")) + ": line breaks are not allowed");
  }
  return {std::move(name), setting.substr(equals + 1)};
}

}  // namespace

bool IsOfModelOption(const std::string& name) { return Holds(kFromOptions, name); }

void CheckSettable(const std::string& name, bool endpoint) {
  if (Holds(kFromModel, name)) throw Failure(ExitCode::kBadParameter, name + ": this is settled by the model");
  if (Holds(kFromOptions, name)) throw Failure(ExitCode::kBadParameter, name + ": choose the model with --model and --models-dir");
  if (!endpoint && Holds(kEndSession, name)) {
    throw Failure(ExitCode::kBadParameter, name + ": works with --endpoint only; a recording is segmented to its end");
  }
}

void CheckWatches(const std::string& name, const std::string& value) {
  // Whatever a configuration may write for "off".
  const bool off = value.empty() || value == "false" || value.find_first_not_of("+-0xX") == std::string::npos;
  if (name != "wvad_param_isDebugWatch" || off) return;
  throw Failure(ExitCode::kBadParameter,
                name + ": is for clients of the library; the engine then writes files of its own, and text onto standard output");
}

ParameterPlan PlanParameters(const std::vector<std::string>& settings, bool endpoint, Handout handout, bool quality) {
  ParameterPlan plan;
  if (quality) plan.configuration.emplace_back("wvad_param_bKelOn", "1");
  // Where nothing is wanted, reading is only there to let the engine free what it has handed out, and PCM is the shorter form.
  plan.session.emplace_back("wvad_param_nReadType", handout == Handout::kFeatures ? "0" : "1");
  if (!endpoint) {
    plan.session.emplace_back("wvad_param_nSpeechTailMS", kForever);
    plan.session.emplace_back("wvad_param_nResponseTimeOut", kForever);
  }
  for (const std::string& setting : settings) {
    const auto [name, value] = Split(setting);
    CheckSettable(name, endpoint);
    if ((handout != Handout::kNothing && Holds(kReadTypes, name)) || (quality && name == "wvad_param_bKelOn")) {
      throw Failure(ExitCode::kBadParameter, name + ": this is settled by the command");
    }
    // A name that is none is left to the engine, which knows it from one that cannot be set; so is the rate, which has a code of its own.
    const ParameterRow* row = FindParameter(name);
    if (row != nullptr && name != "VAD_PARAM_SAMPLERATE") CheckValue(*row, value, Writing::kSetting);
    CheckWatches(name, value);
    if (Holds(kOfQuality, name)) {
      // Of entries with one name the component takes the first, and of settings the last shall count.
      plan.quality.emplace(plan.quality.begin(), name, value);
    } else if (Holds(kFromConfiguration, name)) {
      plan.configuration.emplace_back(name, value);
    } else {
      plan.session.emplace_back(name, value);
    }
  }
  return plan;
}

}  // namespace TSEG::tool
