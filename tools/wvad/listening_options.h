// SPDX-License-Identifier: Apache-2.0
//
// The options that the commands which hear something share: with which model, under which settings, and how its sentences are looked for.
#ifndef WVAD_WVAD_LISTENING_OPTIONS_H_
#define WVAD_WVAD_LISTENING_OPTIONS_H_

#include <CLI/CLI.hpp>
#include <string>

#include "wvad/audio_options.h"
#include "wvad/engine_options.h"
#include "wvad/sentence_run.h"

namespace TSEG::tool {

// What --model is told to be.
constexpr const char* kModelWords =
    "Model: the name of a bundled one, or a file. NAME_8k takes the place of a bundled NAME for recordings of up to 8000 Hz";

// All that these fill in has to outlive the parsing.
//
// What an engine is given beside its model.
void AddSettings(CLI::App* command, EngineOptions& engine);
// The plain names, each with the words and the range of its row.
void AddPlain(CLI::App* command, PlainSettings& plain);
// `words`: what --quiet leaves out beside the progress bar.
void AddQuiet(CLI::App* command, bool& quiet, const std::string& words);
// What every command that listens to recordings takes.
void AddInput(CLI::App* command, InputOptions& input, const AudioScope& scope, EngineOptions& engine, bool& quiet,
              const std::string& quiet_words);
// How a run over many recordings is worked through.
void AddManyFiles(CLI::App* command, InputOptions& input, bool& resume);
// The same for those that look for sentences in any number of them.
void AddSentences(CLI::App* command, SentenceOptions& options, const std::string& quiet_words);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_LISTENING_OPTIONS_H_
