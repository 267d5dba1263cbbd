// SPDX-License-Identifier: Apache-2.0
#include "wvad/shared_options.h"

#include "stream/profiles.h"
#include "wvad/model_finder.h"
#include "wvad/option_values.h"
#include "wvad/raw_source.h"
#include "wvad/resampler.h"

namespace TSEG::tool {

// Which recordings there are.
void AddFileList(CLI::App* command, FileListOptions& list) {
  command->add_flag("-r,--recursive", list.recursive, "Walk through the folders below a folder too");
  // Several may be given, each with its own option: a bare name behind is a FILE.
  const auto several = [](CLI::Option* option) { option->allow_extra_args(false)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll); };
  several(command->add_option("--include", list.include, "Of what lies in folders, take only files like this; may be repeated")
              ->type_name("PATTERN"));
  several(command->add_option("--exclude", list.exclude, "Of what lies in folders, leave out files and folders like this; may be repeated")
              ->type_name("PATTERN"));
  command->add_option("--files-from", list.list, "Take names from this file too, one a line; - is standard input")->type_name("LIST");
  command->add_flag("-0,--null", list.zero_ends, "Names in that list end with a zero byte");
}

// Which audio of a recording is listened to, and how.
void AddAudio(CLI::App* command, InputOptions& input) {
  command
      ->add_option("FILE", input.list.names,
                   "Audio files (WAV, FLAC, Ogg, MP3, M4A, WebM, ...) and films; - is standard input, raw 16-bit samples where no "
                   "container is recognised; the files of a folder")
      ->type_name("");
  AddFileList(command, input.list);
  command->add_option("--channel", input.channel, "Channel to listen to, counted from 1; mix for the mean of all; all for each by itself")
      ->capture_default_str()
      ->type_name("N|mix|all");
  AddWhole(command, "--track", input.source.track, "Sound track to listen to, counted from 1, instead of the file's default", 1, 1000);
  command->add_flag("--allow-network", input.source.allow_network, "Open addresses, given as FILE or found in a playlist");
  command
      ->add_option("--gain", input.gain,
                   "Amplify before the engine hears it, in dB; auto measures the file first. The engine takes what lies under about "
                   "-64 dB of full scale for silence")
      ->capture_default_str()
      ->type_name("DB|auto");
  AddWhole(command, "--chunk-ms", input.chunk_ms, "Length of the pieces that the engine is fed with, in ms", 1, 10000);
  AddChoice(command, "--raw", input.source.raw.form, "The input is samples without a container. ", RawForms());
  const auto described = [&input](const std::string&) { input.source.raw.described = true; };
  AddWhole(command, "--rate", input.source.raw.rate_hz, "Sample rate of raw samples in Hz", kLowestRate, kHighestRate)->each(described);
  AddWhole(command, "--channels", input.source.raw.channels, "Channels of raw samples", 1, 64)->each(described);
}

// What an engine is given beside its model.
void AddSettings(CLI::App* command, EngineOptions& engine) {
  command->add_option("--models-dir", engine.models_dir, "Folder of models, instead of the installed one");
  command->add_option("-s,--set", engine.settings, "Set a parameter of the engine, NAME=VALUE; may be repeated")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
  command->add_option("--config", engine.config, "Further configuration for the engine's start, a file in the form of w_tseg.cfg");
}

void AddQuiet(CLI::App* command, bool& quiet, const std::string& words) {
  command->add_flag("-q,--quiet", quiet, words + ", no progress bar; failures are still told");
}

// The plain names, each with the words and the range of its row.
void AddPlain(CLI::App* command, PlainSettings& plain) {
  const auto something = [](const std::string& text) { return text.empty() ? std::string("a value is needed") : std::string(); };
  std::string names;
  for (const stream::Profile& profile : stream::kProfiles) names += (names.empty() ? "" : "|") + std::string(profile.name);
  command->add_option("--profile", plain.profile, "Settings for an occasion; the options below and --set win")
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

// What every command that listens to recordings takes. `words`: what --quiet leaves out beside the progress bar.
void AddInput(CLI::App* command, InputOptions& input, EngineOptions& engine, bool& quiet, const std::string& words) {
  AddAudio(command, input);
  engine.model = kDefaultModel;
  command->add_option("-m,--model", engine.model, kModelWords)->capture_default_str();
  AddSettings(command, engine);
  AddQuiet(command, quiet, words);
}

void AddSentences(CLI::App* command, SentenceOptions& options, const std::string& quiet_words) {
  AddInput(command, options.input, options.engine, options.quiet, quiet_words);
  AddPlain(command, options.engine.plain);
  command->add_option("-j,--jobs", options.input.jobs, "Recordings to work on at once; the result is the same")
      ->check(CLI::Range(1, 256))
      ->capture_default_str();
  command->add_flag("--resume", options.resume, "Go on with what a run that was stopped has left: keep what is whole, do the rest");
  command->add_flag("--endpoint", options.endpoint,
                    "Stop where a live client would: after the tail silence (wvad_param_nSpeechTailMS), or without speech in time "
                    "(wvad_param_nResponseTimeOut); say why");
}

void AddForce(CLI::App* command, bool& force) { command->add_flag("--force", force, "Replace files that are there"); }

CLI::Option* AddOutput(CLI::App* command, std::string& output) {
  return command->add_option("-o,--output", output, "Write to this file instead of standard output");
}

void AddFolder(CLI::App* command, FolderOptions& folder) {
  command->add_option("-d,--directory", folder.folder, "Folder for the files, made if it is missing")->capture_default_str();
  command->add_option("--prefix", folder.prefix, "Begin of the files' names, instead of the recording's name");
  AddForce(command, folder.force);
}

}  // namespace TSEG::tool
