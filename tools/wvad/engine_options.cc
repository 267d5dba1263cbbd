// SPDX-License-Identifier: Apache-2.0
#include "wvad/engine_options.h"

#include <exception>

#include "modelfile/describe.h"
#include "wvad/failure.h"
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

}  // namespace

std::vector<std::string> FilesOfEngine(const EngineOptions& options) {
  std::vector<std::string> files;
  if (!options.config.empty()) files.push_back(options.config);
  try {
    files.push_back(FindModel(options.model, options.models_dir));
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
  return text + "[vad]\n" + configuration + "\n[kel]\nwkel_param_sampleRate = " + rate + "\n";
}

}  // namespace TSEG::tool
