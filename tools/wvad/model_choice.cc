// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_choice.h"

#include <algorithm>
#include <string_view>

#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/input.h"
#include "wvad/model_finder.h"

namespace TSEG::tool {
namespace {

// Of the settings of one name the last counts. 0 for none, and for one that is no number, which is refused elsewhere.
int RateOfSettings(const std::vector<std::string>& settings) {
  constexpr std::string_view kBegin = "VAD_PARAM_SAMPLERATE=";
  int rate_hz = 0;
  for (const std::string& setting : settings) {
    if (setting.starts_with(kBegin)) rate_hz = ParseInt(setting.substr(kBegin.size())).value_or(0);
  }
  return rate_hz;
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.find_last_of(kSeparators)); }

// Whether `model` is a bare name that has a form for 8000 Hz.
bool HasNarrowForm(const std::string& model, const std::string& models_dir) {
  if (model.find_first_of(kSeparators) != std::string::npos || model.ends_with(".bin") || model.ends_with(kNarrowEnding)) return false;
  try {
    return FolderOf(FindModel(model + kNarrowEnding, models_dir)) == FolderOf(FindModel(model, models_dir));
  } catch (const Failure&) {
    return false;
  }
}

}  // namespace

ModelChoice::ModelChoice(const EngineOptions& engine) : model_(engine.model) {
  if (!HasNarrowForm(model_, engine.models_dir)) return;
  const int rate_hz = RateOfSettings(engine.settings);
  if (rate_hz <= 0) {
    narrow_ = model_ + kNarrowEnding;
  } else if (rate_hz <= kNarrowRate) {
    model_ += kNarrowEnding;
  }
}

void ChooseForms(std::vector<EngineOptions>& engines, int rate_hz) {
  std::vector<std::string> models;
  for (const EngineOptions& engine : engines) models.push_back(ModelChoice(engine).For(rate_hz));
  if (!std::all_of(models.begin(), models.end(), [](const std::string& model) { return model.ends_with(kNarrowEnding); })) return;
  for (size_t i = 0; i < engines.size(); ++i) engines[i].model = models[i];
}

int RateAhead(const std::string& name, const SourceOptions& options) {
  if (options.raw.form != nullptr) return options.raw.rate_hz;
  if (IsHeardOnce(name)) return 0;
  try {
    return OpenAudio(name, options)->rate_hz();
  } catch (const Failure&) {
    // The run will come to it and say what is wrong.
    return 0;
  }
}

}  // namespace TSEG::tool
