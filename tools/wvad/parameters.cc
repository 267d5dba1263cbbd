// SPDX-License-Identifier: Apache-2.0
#include "wvad/parameters.h"

#include <algorithm>
#include <charconv>
#include <string_view>
#include <system_error>

#include "wvad/failure.h"

namespace TSEG::tool {
namespace {

// Read by the engine at its start only; on a detector they would come too late. Values are few and checked here, because the
// configuration file takes anything and makes 0 of what it does not understand.
struct StartParameter {
  std::string_view name;
  char greatest_digit;
};
constexpr StartParameter kFromConfiguration[] = {{"wvad_param_bKelOn", '1'}, {"wvad_param_cmn_type", '4'}};

// The network that is loaded decides these; a detector told otherwise would reach for parts that it does not have.
constexpr std::string_view kFromModel[] = {"wvad_param_isTsegLstm", "wvad_param_TsegModelType", "wvad_param_vad_AgcOn"};

constexpr std::string_view kFromOptions[] = {"wvad_param_model_path", "wvad_param_model_name"};

// These end a session by themselves, which a recording that is segmented to its end must not do.
constexpr std::string_view kEndSession[] = {"wvad_param_nSpeechTailMS", "VAD_PARAM_SPEECHTAIL", "wvad_param_nResponseTimeOut"};

// The audio-quality component knows these from its own section of the configuration only.
constexpr std::string_view kOfQuality[] = {"wkel_param_sampleRate", "wkel_param_snr_threshold", "wkel_param_cur_threshold"};

constexpr std::string_view kReadTypes[] = {"wvad_param_nReadType", "wvad_param_readtype"};

bool IsNumber(const std::string& text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

template <typename List>
bool Holds(const List& list, std::string_view name) {
  return std::find(std::begin(list), std::end(list), name) != std::end(list);
}

constexpr const char* kForever = "2147483647";

}  // namespace

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
    const size_t equals = setting.find('=');
    if (equals == std::string::npos || equals == 0) {
      throw Failure(ExitCode::kBadParameter, "--set " + setting + ": expected NAME=VALUE");
    }
    const std::string name = setting.substr(0, equals);
    const std::string value = setting.substr(equals + 1);
    if (setting.find_first_of("\n\r") != std::string::npos) {
      throw Failure(ExitCode::kBadParameter, name.substr(0, name.find_first_of("\n\r")) + ": line breaks are not allowed");
    }
    if (Holds(kFromModel, name)) throw Failure(ExitCode::kBadParameter, name + ": this is settled by the model");
    if (Holds(kFromOptions, name)) throw Failure(ExitCode::kBadParameter, name + ": choose the model with --model and --models-dir");
    if (!endpoint && Holds(kEndSession, name)) {
      throw Failure(ExitCode::kBadParameter, name + ": works with --endpoint only; a recording is segmented to its end");
    }
    if ((handout != Handout::kNothing && Holds(kReadTypes, name)) || (quality && name == "wvad_param_bKelOn")) {
      throw Failure(ExitCode::kBadParameter, name + ": this is settled by the command");
    }
    if (Holds(kOfQuality, name)) {
      if (name == "wkel_param_sampleRate" && value != "16000" && value != "8000" && value != "6000") {
        throw Failure(ExitCode::kBadParameter, name + ": \"" + value + "\" is not 16000, 8000 or 6000");
      }
      if (!IsNumber(value)) throw Failure(ExitCode::kBadParameter, name + ": \"" + value + "\" is not a number");
      // Of entries with one name the component takes the first, and of settings the last shall count.
      plan.quality.emplace(plan.quality.begin(), name, value);
      continue;
    }
    const auto start = std::find_if(std::begin(kFromConfiguration), std::end(kFromConfiguration),
                                    [&](const StartParameter& row) { return row.name == name; });
    if (start != std::end(kFromConfiguration)) {
      if (value.size() != 1 || value[0] < '0' || value[0] > start->greatest_digit) {
        throw Failure(ExitCode::kBadParameter, name + ": \"" + value + "\" is not a value from 0 to " + start->greatest_digit);
      }
      plan.configuration.emplace_back(name, value);
      continue;
    }
    plan.session.emplace_back(name, value);
  }
  return plan;
}

}  // namespace TSEG::tool
