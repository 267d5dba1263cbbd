// SPDX-License-Identifier: Apache-2.0
//
// The program `wvad`: command line in, one command run, exit code out. All failures end here, in one line each.
#include <wvad.h>

#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "wvad/failure.h"
#include "wvad/features_command.h"
#include "wvad/help_text.h"
#include "wvad/model_command.h"
#include "wvad/model_finder.h"
#include "wvad/quality_command.h"
#include "wvad/scores_command.h"
#include "wvad/segment_command.h"
#include "wvad/split_command.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// What every command that listens to recordings takes.
void AddInput(CLI::App* command, InputOptions& input, EngineOptions& engine, bool& quiet, const std::string& quiet_words = "No summary, ") {
  command->add_option("FILE", input.files, "Audio files (WAV, FLAC, Ogg, MP3, ...); - is raw 16-bit little-endian PCM on standard input")
      ->required();
  engine.model = kDefaultModel;
  command->add_option("-m,--model", engine.model, "Model: the name of a bundled one, or a file")->capture_default_str();
  command->add_option("--models-dir", engine.models_dir, "Folder of models, instead of the installed one");
  command->add_option("-s,--set", engine.settings, "Set a parameter of the engine, NAME=VALUE; may be repeated")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
  command->add_option("--config", engine.config, "Further configuration for the engine's start, a file in the form of w_tseg.cfg");
  command->add_option("--channel", input.channel, "Channel to listen to, counted from 1, or mix for the mean of all")
      ->capture_default_str()
      ->type_name("N|mix");
  command
      ->add_option("--gain", input.gain,
                   "Amplify before the engine hears it, in dB; auto measures the file first. The engine takes what lies under about "
                   "-47 dB of full scale for silence")
      ->capture_default_str()
      ->type_name("DB|auto");
  command->add_option("--chunk-ms", input.chunk_ms, "Length of the pieces that the engine is fed with, in ms")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  command->add_option("--rate", input.rate_hz, "Sample rate of standard input in Hz")->capture_default_str();
  command->add_option("--channels", input.channels, "Channels of standard input")->check(CLI::Range(1, 64))->capture_default_str();
  command->add_flag("-q,--quiet", quiet, quiet_words + "no notes, no progress bar; failures are still told");
}

void AddSentences(CLI::App* command, SentenceOptions& options, const std::string& quiet_words = "No summary, ") {
  AddInput(command, options.input, options.engine, options.quiet, quiet_words);
  command->add_flag("--endpoint", options.endpoint,
                    "Stop where a live client would: after the tail silence (wvad_param_nSpeechTailMS), or without speech in time "
                    "(wvad_param_nResponseTimeOut); say why");
}

void AddFolder(CLI::App* command, FolderOptions& folder) {
  command->add_option("-d,--directory", folder.folder, "Folder for the files, made if it is missing")->capture_default_str();
  command->add_option("--prefix", folder.prefix, "Begin of the files' names, instead of the recording's name");
  command->add_flag("--force", folder.force, "Replace files that are there");
}

// `words`: what the format is that of.
void AddFormat(CLI::App* command, std::string& format, const std::string& words, const std::vector<std::string>& formats) {
  command->add_option("-f,--format", format, words)->check(CLI::IsMember(formats))->capture_default_str();
}

constexpr const char* kReportFormats = "table for people; json (one document), jsonl (one object a line) or csv for programs";

void AddSegment(CLI::App& app, SegmentOptions& options) {
  CLI::App* command = app.add_subcommand("segment", "Find the sentences in recordings");
  command->footer(std::string(kSegmentHelp) + kExitCodesHelp);
  AddFormat(command, options.format, kReportFormats, {"table", "json", "jsonl", "csv"});
  command->add_option("-o,--output", options.output, "Write to this file instead of standard output");
  AddSentences(command, options);
}

void AddSplit(CLI::App& app, SplitOptions& options) {
  CLI::App* command = app.add_subcommand("split", "Save each sentence as a sound file");
  command->footer(std::string(kSplitHelp) + kExitCodesHelp);
  command->add_option("-a,--audio", options.audio, "Kind of the sound files")->check(CLI::IsMember({"wav", "flac"}))->capture_default_str();
  AddFolder(command, options.folder);
  AddFormat(command, options.format, std::string("What is told of it: ") + kReportFormats, {"table", "json", "jsonl", "csv"});
  AddSentences(command, options, "No table, ");
}

void AddFeatures(CLI::App& app, FeaturesOptions& options) {
  CLI::App* command = app.add_subcommand("features", "Save the features of each sentence as a NumPy array");
  command->footer(std::string(kFeaturesHelp) + kExitCodesHelp);
  AddFolder(command, options.folder);
  AddFormat(command, options.format, std::string("What is told of it: ") + kReportFormats, {"table", "json", "jsonl", "csv"});
  AddSentences(command, options, "No table, ");
}

void AddQuality(CLI::App& app, QualityOptions& options) {
  CLI::App* command = app.add_subcommand("quality", "Measure noise, clipping and level");
  command->footer(std::string(kQualityHelp) + kExitCodesHelp);
  AddFormat(command, options.format, "table for people; json (one document) or jsonl (one object a line) for programs",
            {"table", "json", "jsonl"});
  command->add_option("-o,--output", options.output, "Write to this file instead of standard output");
  command->add_flag("--force", options.force, "Replace that file if it is there");
  AddSentences(command, options);
}

void AddScores(CLI::App& app, ScoresOptions& options) {
  CLI::App* command = app.add_subcommand("scores", "Tell the probability of speech for each 10 ms");
  command->footer(std::string(kScoresHelp) + kExitCodesHelp);
  AddFormat(command, options.format, "text, csv, or npy for a NumPy array", {"text", "csv", "npy"});
  command->add_option("-o,--output", options.output, "Write to this file instead of standard output");
  AddFolder(command, options.folder);
  AddInput(command, options.input, options.engine, options.quiet, "");
}

struct ModelOptions {
  std::string folder;
  std::string output;
  std::string file;
  bool json = false;
  bool quiet = false;
};

void AddModel(CLI::App& app, ModelOptions& options) {
  CLI::App* model = app.add_subcommand("model", "Make model files and look into them");
  model->require_subcommand(1);
  CLI::App* pack = model->add_subcommand("pack", "Make a model file from a folder of arrays and its model.json");
  pack->add_option("DIR", options.folder, "Folder with model.json and the arrays that it names")->required();
  pack->add_option("-o,--output", options.output, "Model file to write")->required();
  pack->add_flag("-q,--quiet", options.quiet, "Do not say what was written");
  pack->footer("The form of model.json is described in docs/model_format.md.");
  CLI::App* inspect = model->add_subcommand("inspect", "Show a model's header, variables, value ranges, settings and shifts or scales");
  inspect->add_option("FILE", options.file, "Model file, or the name of a bundled model")->required();
  inspect->add_flag("--json", options.json, "As JSON");
}

ExitCode Run(int argc, char** argv) {
  CLI::App app("Streaming voice activity and endpoint detection: where the sentences in a recording begin and end.", "wvad");
  app.set_version_flag("--version", std::string("wvad ") + WVAD_VERSION);
  app.require_subcommand(1);
  app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
  app.footer(kExitCodesHelp);
  SegmentOptions segment;
  SplitOptions split;
  FeaturesOptions features;
  QualityOptions quality;
  ScoresOptions scores;
  ModelOptions model;
  AddSegment(app, segment);
  AddSplit(app, split);
  AddFeatures(app, features);
  AddQuality(app, quality);
  AddScores(app, scores);
  AddModel(app, model);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are "errors" of code 0, and print themselves.
    if (error.get_exit_code() == 0) return app.exit(error) == 0 ? ExitCode::kSuccess : ExitCode::kInternal;
    const std::vector<std::string> rest = app.remaining();
    if (app.get_subcommands().empty() && !rest.empty()) throw Failure(ExitCode::kUsage, "no such command: " + rest[0] + " (see --help)");
    throw Failure(ExitCode::kUsage, std::string(error.what()) + " (see --help)");
  }
  if (app.got_subcommand("segment")) return RunSegment(segment);
  if (app.got_subcommand("split")) return RunSplit(split);
  if (app.got_subcommand("features")) return RunFeatures(features);
  if (app.got_subcommand("quality")) return RunQuality(quality);
  if (app.got_subcommand("scores")) return RunScores(scores);
  if (app.get_subcommand("model")->got_subcommand("pack")) {
    RunModelPack(model.folder, model.output, model.quiet);
  } else {
    std::error_code ignored;
    const bool file = model.file.find('/') != std::string::npos || std::filesystem::exists(model.file, ignored);
    RunModelInspect(file ? model.file : FindModel(model.file, ""), model.json);
  }
  return ExitCode::kSuccess;
}

}  // namespace
}  // namespace TSEG::tool

int main(int argc, char** argv) {
  using TSEG::tool::ExitCode;
  TSEG::tool::IgnoreBrokenPipes();
  ExitCode code = ExitCode::kInternal;
  try {
    code = TSEG::tool::Run(argc, argv);
  } catch (const TSEG::tool::Failure& failure) {
    std::fprintf(stderr, "wvad: %s\n", failure.what());
    code = failure.code();
  } catch (const std::bad_alloc&) {
    std::fputs("wvad: out of memory\n", stderr);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "wvad: internal error: %s\n", error.what());
  }
  return static_cast<int>(code);
}
