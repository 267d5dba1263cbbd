// SPDX-License-Identifier: Apache-2.0
//
// How a command brings the engine up: the options that all commands share, and the configuration that comes of them.
#ifndef WVAD_WVAD_ENGINE_OPTIONS_H_
#define WVAD_WVAD_ENGINE_OPTIONS_H_

#include <string>
#include <vector>

#include "wvad/parameters.h"
#include "wvad/plain_settings.h"

namespace TSEG::tool {

struct EngineOptions {
  std::string model;                  // a name or a file
  std::string models_dir;             // empty: where models usually lie
  std::string config;                 // a further configuration file for the engine, empty for none
  std::vector<std::string> settings;  // NAME=VALUE
  PlainSettings plain;                // under the settings
  bool slow_start = false;            // as Engine takes it
};

// What the engine is to be set to: by plain names, then by --set, which wins. `model` is the model's file. Throws Failure(kBadParameter).
std::vector<std::string> AllSettings(const EngineOptions& options, const std::string& model);

// What a run with these options may read beside recordings: the model in its forms, if there is one, the configuration, and the list of
// names, if there is one.
std::vector<std::string> FilesBesideRecordings(const EngineOptions& options, const std::string& list);

// The text that follows our own lines in the engine's configuration: the settings of the audio-quality component, the user's
// configuration, and, where both are silent, the component's sample rate, which has to be that of the sessions, and the energy floor.
// `model` is the model's file.
std::string FurtherConfiguration(const ParameterPlan& plan, const std::string& model, const std::string& configuration);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_ENGINE_OPTIONS_H_
