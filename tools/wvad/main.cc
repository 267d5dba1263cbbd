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
#include "wvad/model_command.h"
#include "wvad/model_finder.h"
#include "wvad/segment_command.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

constexpr const char* kFooter = R"(Exit codes:
  0  all files done
  1  internal error, memory exhausted
  2  the command line makes no sense
  3  an input is missing or cannot be opened
  4  an input is not audio, or damaged
  5  a sample rate or channel that cannot be served
  6  a bad parameter (--set, --config)
  7  the model is missing or unusable
  8  the output cannot be written
  9  the engine refused to go on
 10  interrupted; what was found until then has been printed
With several files the others are still worked on; the code is that of the first failure.)";

constexpr const char* kSegmentFooter =
    R"(Times are seconds from the start of the recording. "vol" is the engine's measure of a sentence's energy: the
squared distance of its mean log energy from 14.5 (smaller is quieter); "trig" is true when it lies under the
engine's threshold; "eg" is the level, 20 log10 of the root mean square of the 16-bit samples.

Environment: WVAD_MODELS_DIR, a folder of models; TMPDIR, for a private folder during start-up.

Examples:
  wvad segment meeting.mp3
  wvad segment --format json *.wav > sentences.json
  wvad segment --set wvad_param_nFrameGap=80 lecture.flac      join sentences over pauses of up to 0.8 s
  arecord -f S16_LE -r 16000 -c 1 -t raw | wvad segment -      sentences as they are spoken

)";

void AddSegment(CLI::App& app, SegmentOptions& options) {
  CLI::App* command = app.add_subcommand("segment", "Find the sentences in recordings");
  command->footer(std::string(kSegmentFooter) + kFooter);
  command->add_option("FILE", options.files, "Audio files (WAV, FLAC, Ogg, MP3, ...); - is raw 16-bit little-endian PCM on standard input")
      ->required();
  command->add_option("-f,--format", options.format, "table for people; json (one document), jsonl (one object a line) or csv for programs")
      ->check(CLI::IsMember({"table", "json", "jsonl", "csv"}))
      ->capture_default_str();
  command->add_option("-o,--output", options.output, "Write to this file instead of standard output");
  options.model = kDefaultModel;
  command->add_option("-m,--model", options.model, "Model: the name of a bundled one, or a file")->capture_default_str();
  command->add_option("--models-dir", options.models_dir, "Folder of models, instead of the installed one");
  command->add_option("-s,--set", options.settings, "Set a parameter of the engine, NAME=VALUE; may be repeated")
      ->allow_extra_args(false)
      ->type_name("NAME=VALUE");
  command->add_option("--config", options.config, "Further configuration for the engine's start, a file in the form of w_tseg.cfg");
  command->add_option("--channel", options.channel, "Channel to listen to, counted from 1, or mix for the mean of all")
      ->capture_default_str()
      ->type_name("N|mix");
  command
      ->add_option("--gain", options.gain,
                   "Amplify before the engine hears it, in dB; auto measures the file first. The engine takes what lies under about "
                   "-47 dB of full scale for silence")
      ->capture_default_str()
      ->type_name("DB|auto");
  command->add_option("--chunk-ms", options.chunk_ms, "Length of the pieces that the engine is fed with, in ms")
      ->check(CLI::Range(1, 10000))
      ->capture_default_str();
  command->add_flag("--endpoint", options.endpoint,
                    "Stop where a live client would: after the tail silence (wvad_param_nSpeechTailMS), or without speech in time "
                    "(wvad_param_nResponseTimeOut); say why");
  command->add_option("--rate", options.rate_hz, "Sample rate of standard input in Hz")->capture_default_str();
  command->add_option("--channels", options.channels, "Channels of standard input")->check(CLI::Range(1, 64))->capture_default_str();
  command->add_flag("-q,--quiet", options.quiet, "No summary, no notes, no progress bar; failures are still told");
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
  app.footer(kFooter);
  SegmentOptions segment;
  ModelOptions model;
  AddSegment(app, segment);
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
