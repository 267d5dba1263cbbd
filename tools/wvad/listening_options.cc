// SPDX-License-Identifier: Apache-2.0
#include "wvad/listening_options.h"

#include <cctype>
#include <cstdio>

#include "stream/profiles.h"
#include "wvad/command_words.h"
#include "wvad/model_finder.h"
#include "wvad/option_values.h"

namespace TSEG::tool {

void AddSettings(CLI::App* command, EngineOptions& engine) {
  command->add_option("--models-dir", engine.models_dir, "Folder of models, instead of the installed one");
  command->add_option("-s,--set", engine.settings, "Set a parameter of the engine, NAME=VALUE; may be repeated")
      ->allow_extra_args(false)
      ->type_name(kSettingForm);
  command->add_flag("--slow-start", engine.slow_start,
                    "Hear the first two seconds together before the first of them is judged, as sessions of libwvad do");
  command->add_option("--config", engine.config, "Further configuration for the engine's start, a file in the form of w_tseg.cfg");
}

void AddQuiet(CLI::App* command, bool& quiet, const std::string& words) {
  command->add_flag("-q,--quiet", quiet, words + ", no progress bar; failures are still told");
}

void AddPlain(CLI::App* command, PlainSettings& plain) {
  const auto something = [](const std::string& text) { return text.empty() ? std::string("a value is needed") : std::string(); };
  std::string names;
  for (const stream::Profile& profile : stream::kProfiles) names += (names.empty() ? "" : "|") + std::string(profile.name);
  command->add_option("--profile", plain.profile, "Settings for an occasion; what other options say wins")
      ->check(something)
      ->type_name(names);
  for (const stream::SettingRow& row : stream::kSettings) {
    if (!IsOption(row)) continue;
    const std::string unit = *row.unit == '\0' ? "P" : (*row.unit == 's' ? "S" : "DB");
    std::string words = row.meaning;
    words[0] = static_cast<char>(std::toupper(words[0]));
    char range[64];
    std::snprintf(range, sizeof range, ", %g to %g", row.low, row.high);
    command->add_option(OptionOf(row), plain.values[row.name], words + range)->check(something)->type_name(unit);
  }
}

void AddInput(CLI::App* command, InputOptions& input, const AudioScope& scope, EngineOptions& engine, bool& quiet,
              const std::string& quiet_words) {
  AddAudio(command, input, scope);
  engine.model = kDefaultModel;
  command->add_option("-m,--model", engine.model, kModelWords)->capture_default_str()->type_name(kModelForm);
  AddSettings(command, engine);
  AddQuiet(command, quiet, quiet_words);
}

void AddManyFiles(CLI::App* command, InputOptions& input, bool& resume) {
  AddWhole(command, "-j,--jobs", input.jobs, "Recordings to work on at once; the result is the same", 1, 256);
  command->add_flag("--resume", resume,
                    "Go on with what a run that was stopped has left: keep what is whole, do the rest; with --force begin anew what cannot "
                    "be gone on with");
}

void AddSentences(CLI::App* command, SentenceOptions& options, const std::string& quiet_words) {
  AddInput(command, options.input, {.several = true, .channels_apart = true}, options.engine, options.quiet, quiet_words);
  AddPlain(command, options.engine.plain);
  AddManyFiles(command, options.input, options.resume);
  command->add_flag("--endpoint", options.endpoint,
                    "Stop where a live client would: after the tail silence (wvad_param_nSpeechTailMS), or without speech in time "
                    "(wvad_param_nResponseTimeOut); say why");
}

}  // namespace TSEG::tool
