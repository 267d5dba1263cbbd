// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine_options.h"

#include <exception>

#include "modelfile/describe.h"
#include "wvad/failure.h"
#include "wvad/model_choice.h"
#include "wvad/model_finder.h"

namespace TSEG::tool {
namespace {

// The rate that the model brings: its key "4".
std::string RateOfModel(const std::string& file) {
  try {
    const modelfile::ModelInfo info = modelfile::InspectFile(file);
    std::vector<const modelfile::ModelInfo*> models = {&info};
    for (const auto& section : info.sections) {
      for (const modelfile::ModelInfo& model : section.model) models.push_back(&model);
    }
    for (const modelfile::ModelInfo* model : models) {
      for (const auto& [key, value] : model->keys) {
        if (key == "4") return value;
      }
    }
  } catch (const std::exception&) {
    // The engine will find words for what is wrong with the file.
  }
  return "16000";
}

// As a number; a rate that the engine will refuse counts as the usual one.
int RateNumber(const std::string& rate) { return rate == "8000" ? 8000 : (rate == "6000" ? 6000 : 16000); }

}  // namespace

std::vector<std::string> AllSettings(const EngineOptions& options, const std::string& model) {
  std::vector<std::string> settings = EngineSettings(options.plain, RateNumber(RateOfModel(model)));
  settings.insert(settings.end(), options.settings.begin(), options.settings.end());
  return settings;
}

std::vector<std::string> FilesBesideRecordings(const EngineOptions& options, const std::string& list) {
  std::vector<std::string> files;
  if (!list.empty()) files.push_back(list);
  if (!options.config.empty()) files.push_back(options.config);
  try {
    for (const std::string& model : ModelChoice(options).models()) files.push_back(FindModel(model, options.models_dir));
  } catch (const Failure&) {
    // Who wants to load it will say so.
  }
  return files;
}

std::string FurtherConfiguration(const ParameterPlan& plan, const std::string& model, const std::string& configuration) {
  std::string rate;
  for (const auto& [name, value] : plan.session) {
    if (name == "VAD_PARAM_SAMPLERATE") rate = value;
  }
  if (rate.empty()) rate = RateOfModel(model);
  // Of entries with one name the first counts.
  std::string text = "[kel]\n";
  for (const auto& [name, value] : plan.quality) text += name + " = " + value + "\n";
  text += "[vad]\n" + configuration + "\n[vad]\n" + UsualFloor(RateNumber(rate));
  return text + "[kel]\nwkel_param_sampleRate = " + rate + "\n";
}

}  // namespace TSEG::tool
