// SPDX-License-Identifier: Apache-2.0
#include "wvad/model_choice.h"

#include <algorithm>
#include <string_view>

#include "wvad/audio_source.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/media_source.h"
#include "wvad/model_finder.h"

namespace TSEG::tool {
namespace {

// Of the settings of one name the last counts. 0 for none, and for one that is no number, which is refused elsewhere.
int RateOfSettings(const std::vector<std::string>& settings) {
  constexpr std::string_view kBegin = "VAD_PARAM_SAMPLERATE=";
  int rate_hz = 0;
  for (const std::string& setting : settings) {
    if (setting.compare(0, kBegin.size(), kBegin) == 0) rate_hz = ParseInt(setting.substr(kBegin.size())).value_or(0);
  }
  return rate_hz;
}

int RateOfRecording(const std::string& name, const SourceOptions& options) {
  const bool heard_once = name == "-" || IsAddress(name) || LookAt(name).kind == FileKind::kSpecial;
  if (options.raw.form != nullptr || heard_once) return options.raw.rate_hz;
  try {
    return OpenAudio(name, options)->rate_hz();
  } catch (const Failure&) {
    // The run will come to it and say what is wrong.
    return 0;
  }
}

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

}  // namespace

int RateOfRun(const EngineOptions& engine, const InputOptions& input) {
  int rate_hz = RateOfSettings(engine.settings);
  if (rate_hz > 0) return rate_hz;
  for (const std::string& name : input.files) {
    rate_hz = std::max(rate_hz, RateOfRecording(name, input.source));
    if (rate_hz > kNarrowRate) break;
  }
  return rate_hz;
}

std::string ModelForRun(const EngineOptions& engine, const InputOptions& input) {
  const std::string& model = engine.model;
  if (model.find('/') != std::string::npos || EndsWith(model, ".bin") || EndsWith(model, kNarrowEnding)) return model;
  const std::string narrow = model + kNarrowEnding;
  try {
    if (FolderOf(FindModel(narrow, engine.models_dir)) != FolderOf(FindModel(model, engine.models_dir))) return model;
  } catch (const Failure&) {
    return model;
  }
  const int rate_hz = RateOfRun(engine, input);
  return rate_hz > 0 && rate_hz <= kNarrowRate ? narrow : model;
}

void ChooseForms(std::vector<EngineOptions>& engines, const InputOptions& input) {
  std::vector<std::string> models;
  for (const EngineOptions& engine : engines) models.push_back(ModelForRun(engine, input));
  if (!std::all_of(models.begin(), models.end(), [](const std::string& model) { return EndsWith(model, kNarrowEnding); })) return;
  for (size_t i = 0; i < engines.size(); ++i) engines[i].model = models[i];
}

}  // namespace TSEG::tool
