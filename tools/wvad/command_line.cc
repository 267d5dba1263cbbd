// SPDX-License-Identifier: Apache-2.0
#include "wvad/command_line.h"

#include <wvad.h>

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "wvad/audio_options.h"
#include "wvad/command_words.h"
#include "wvad/compare/compare_command.h"
#include "wvad/explain_command.h"
#include "wvad/failure.h"
#include "wvad/features_command.h"
#include "wvad/forms/printf.h"
#include "wvad/help_formatter.h"
#include "wvad/help_text.h"
#include "wvad/listening_options.h"
#include "wvad/live/listen_command.h"
#include "wvad/model_command.h"
#include "wvad/model_finder.h"
#include "wvad/named_rows.h"
#include "wvad/option_values.h"
#include "wvad/output.h"
#include "wvad/output_options.h"
#include "wvad/page_command.h"
#include "wvad/quality_command.h"
#include "wvad/retouch_command.h"
#include "wvad/scores_command.h"
#include "wvad/segment_command.h"
#include "wvad/split_command.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

CLI::App* AddCommand(CLI::App& app, const std::string& name, const std::string& words, const char* help) {
  CLI::App* command = app.add_subcommand(name, words);
  command->footer(help + ExitCodesHelp());
  return command;
}

constexpr const char* kTold = "What is told of it. ";

// What a command with one report takes beside its format.
void AddReport(CLI::App* command, ReportOptions& options) {
  AddOutput(command, options.output)->description(kFormOfOutput);
  AddForce(command, options.force);
  command->add_flag("--bare", options.bare, "Say nothing of how the results came about (version, model, parameters, recording)");
  command->add_flag("--checksum", options.checksum, "Say the SHA-256 of each recording too");
  AddSentences(command, options, "No summary, no notes");
}

void AddSaved(CLI::App* command, SaveOptions& options) {
  AddFolder(command, options.folder);
  AddChoice(command, "-f,--format", options.format, kTold, SavingFormats());
  AddSentences(command, options, "No table, no notes");
}

// What a command line may say, and where it is kept.
struct CommandLine {
  SegmentOptions segment;
  ListenOptions listen;
  DevicesOptions devices;
  SplitOptions split;
  FeaturesOptions features;
  RetouchOptions trim;
  RetouchOptions mute;
  QualityOptions quality;
  ScoresOptions scores;
  ExplainOptions explain;
  PageOptions page;
  CompareOptions compare;
  ModelPackOptions pack;
  ModelInspectOptions inspect;
  std::vector<std::string> help;     // names of the command whose help is asked for
  const Shell* shell = nullptr;      // whose completions are
  std::function<ExitCode()> chosen;  // runs the command that was named
};

// A command that hears recordings.
template <typename Options>
std::function<ExitCode()> Listening(Options& options, ExitCode (*run)(const Options&)) {
  return [&options, run] {
    options.input.hints = !options.quiet;
    FindFiles(options.input);
    return run(options);
  };
}

void AddForms(CLI::App* command, SegmentOptions& options) {
  const std::string names = NamesOf(ReportFormats(), "|", "|") + "|" + NamesOf(FormatGroups(), "|", "|") + kListForm;
  CLI::Option* format = command->add_option_function<std::string>(
      "-f,--format", [&options](const std::string& given) { options.formats = FormatsOf(given); },
      "Several with commas between them, and then -o names a folder. " + WordsOf(ReportFormats()) + "; " + WordsOf(FormatGroups()));
  format->default_str(options.formats[0]->name)->type_name(names)->option_text("FORM[,...]=" + std::string(options.formats[0]->name));
  command
      ->add_option_function<std::string>(
          "--printf",
          [&options](const std::string& given) {
            options.details.printf = given;
            options.formats = {&PrintfRow()};
          },
          "Print this for each sentence instead, with the fields {name} (numbers: {name:DECIMALS}) and the escapes \\n \\t \\r \\0 "
          "\\\\ \\xHH. " +
              WordsOf(PrintfFields()))
      ->type_name("FORMAT")
      ->excludes(format);
  command->add_option("--caption", options.details.caption, "Words of each caption of srt and vtt, instead of none")->type_name("TEXT");
  command->add_option("--fps", options.details.fps, "Frames a second of the time codes of edl")
      ->check(CLI::IsMember({"24", "25", "30", "50", "60"}))
      ->capture_default_str();
}

void AddSegment(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddCommand(app, "segment", "Find the sentences in recordings", kSegmentHelp);
  AddForms(command, line.segment);
  AddReport(command, line.segment);
  command->final_callback([command, &line] {
    if (command->count("--printf") == 0) {
      TakeFormOfOutput(*command, line.segment.output, FormatOfEnding(ReportFormats(), line.segment.output), line.segment.formats[0]);
    }
    line.chosen = Listening(line.segment, RunSegment);
  });
}

void AddSplit(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddCommand(app, "split", "Save each sentence as a sound file", kSplitHelp);
  AddChoice(command, "-a,--audio", line.split.audio, "Kind of the sound files. ", SoundKinds());
  AddSaved(command, line.split);
  command->final_callback([&line] { line.chosen = Listening(line.split, RunSplit); });
}

void AddFeatures(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddCommand(app, "features", "Save the features of each sentence as a NumPy array", kFeaturesHelp);
  AddSaved(command, line.features);
  command->final_callback([&line] { line.chosen = Listening(line.features, RunFeatures); });
}

// What trim and mute have in common.
CLI::App* AddRetouch(CLI::App& app, const std::string& name, const std::string& words, const char* help, RetouchOptions& options) {
  CLI::App* command = AddCommand(app, name, words, help);
  AddOutput(command, options.output)->description("The sound file to write")->required();
  AddChoice(command, "-a,--audio", options.kind, "Kind of the sound file, instead of what its ending says. ", SoundFileKinds());
  AddForce(command, options.force);
  AddWhole(command, "--fade", options.fade_ms, "Milliseconds over which the sound goes and comes at each joint", 0, 1000)->type_name("MS");
  AddInput(command, options.input, {.several = false, .channels_apart = false}, options.engine, options.quiet, "No notes");
  AddPlain(command, options.engine.plain);
  return command;
}

void AddTrim(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddRetouch(app, "trim", "Write a recording without its silences", kTrimHelp, line.trim);
  command->add_option("--keep", line.trim.keep_s, "Seconds of each silence that stay")
      ->check(PlainNumber())
      ->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str()
      ->type_name("S");
  command->add_option("--map", line.trim.map, "Write where each stretch has come to stand, as .json or .csv")->type_name("FILE");
  command->final_callback([&line] { line.chosen = Listening(line.trim, RunTrim); });
}

void AddMute(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddRetouch(app, "mute", "Write a recording with silence for all that is no speech", kMuteHelp, line.mute);
  command->final_callback([&line] { line.chosen = Listening(line.mute, RunMute); });
}

void AddListen(CLI::App& app, CommandLine& line) {
  ListenOptions& options = line.listen;
  CLI::App* command = AddCommand(app, "listen", "Tell the sentences that a microphone hears, as they are spoken", kListenHelp);
  command->add_option("--device", options.device, "The microphone: its number in wvad devices, its name, or a part of it")
      ->type_name("NUMBER|NAME");
  AddWhole(command, "--rate", options.rate_hz, "Sample rate in Hz to ask it for, instead of its usual one", 4000, 192000);
  command
      ->add_option_function<std::string>(
          "--channel",
          [&options](const std::string& text) {
            const std::optional<int> number = ParseInt(text);
            if (text != "mix" && (!number || *number < 1)) throw CLI::ValidationError("--channel", "expected a number from 1, or mix");
            options.channel = number.value_or(0);
          },
          "Channel to listen to, counted from 1; mix for the mean of the first two")
      ->default_str("mix")
      ->type_name("N|mix");
  AddWhole(command, "--for", options.seconds, "Stop after so many seconds", 1, 10000000);
  AddChoice(command, "-f,--format", options.format, "", LiveFormats());
  AddOutput(command, options.output)->description(kFormOfOutput);
  AddForce(command, options.force);
  options.engine.model = kDefaultModel;
  command->add_option("-m,--model", options.engine.model, kModelWords)->capture_default_str()->type_name(kModelForm);
  command->add_option("--models-dir", options.engine.models_dir, "Folder of models, instead of the installed one");
  AddPlain(command, options.engine.plain);
  command->add_flag("-q,--quiet", options.quiet, "No line at the foot, no sums, no notes");
  command->final_callback([command, &line] {
    TakeFormOfOutput(*command, line.listen.output, LiveFormatOfEnding(line.listen.output), line.listen.format);
    line.chosen = [&line] { return RunListen(line.listen, TheCaptureModule()); };
  });
}

void AddDevices(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddCommand(app, "devices", "List the microphones that listen knows", "");
  command->add_flag("--json", line.devices.json, "As JSON");
  command->final_callback([&line] { line.chosen = [&line] { return RunDevices(line.devices, TheCaptureModule()); }; });
}

void AddQuality(CLI::App& app, CommandLine& line) {
  CLI::App* command = AddCommand(app, "quality", "Measure noise, clipping and level", kQualityHelp);
  AddChoice(command, "-f,--format", line.quality.format, "", MeasuringFormats());
  AddReport(command, line.quality);
  command->final_callback([command, &line] {
    TakeFormOfOutput(*command, line.quality.output, FormatOfEnding(MeasuringFormats(), line.quality.output), line.quality.format);
    line.chosen = Listening(line.quality, RunQuality);
  });
}

void AddScores(CLI::App& app, CommandLine& line) {
  ScoresOptions& options = line.scores;
  CLI::App* command = AddCommand(app, "scores", "Tell the probability of speech for each 10 ms", kScoresHelp);
  AddChoice(command, "-f,--format", options.format, "", ScoreFormats());
  AddOutput(command, options.output)->description(kFormOfOutput);
  AddFolder(command, options.folder);
  AddInput(command, options.input, {.several = true, .channels_apart = false}, options.engine, options.quiet, "No notes");
  AddManyFiles(command, options.input, options.resume);
  command->final_callback([command, &line] {
    TakeFormOfOutput(*command, line.scores.output, ScoreFormatOfEnding(line.scores.output), line.scores.format);
    line.chosen = Listening(line.scores, RunScores);
  });
}

void AddExplain(CLI::App& app, CommandLine& line) {
  ExplainOptions& options = line.explain;
  CLI::App* command = AddCommand(app, "explain", "Tell what was decided at a place of a recording, and why", kExplainHelp);
  command->add_option("--at", options.at, "The place: seconds or h:m:s, or from one to another; may be repeated")
      ->required()
      ->allow_extra_args(false)
      ->type_name("TIME[-TIME]");
  command->add_flag("--json", options.json, "As JSON");
  AddOutput(command, options.output);
  AddForce(command, options.force);
  AddInput(command, options.input, {.several = true, .channels_apart = false}, options.engine, options.quiet, "No notes");
  AddPlain(command, options.engine.plain);
  command->final_callback([&line] {
    TakeJsonOfOutput(line.explain.output, line.explain.json);
    line.chosen = Listening(line.explain, RunExplain);
  });
}

void AddPage(CLI::App& app, CommandLine& line) {
  PageOptions& options = line.page;
  CLI::App* command = AddCommand(app, "report", "Show a recording and what was decided on it as a page for a browser", kReportHelp);
  AddOutput(command, options.output)->description("The page to write, one file that needs no other")->required();
  AddForce(command, options.force);
  command->add_flag("--link-audio", options.link_audio, "Link the sound to the recording's file instead of putting it into the page");
  AddAudio(command, options.input, {.several = false, .channels_apart = false});
  options.models = {kDefaultModel};
  command->add_option("-m,--model", options.models, std::string(kModelWords) + "; may be repeated, for a track each")
      ->capture_default_str()
      ->type_name(kModelForm)
      ->allow_extra_args(false);
  command
      ->add_option("--compare", options.compared,
                   "A further track: another model, NAME=VALUE, or several of these with commas between; may be repeated")
      ->allow_extra_args(false)
      ->type_name(kComparedForm);
  AddSettings(command, options.engine);
  AddPlain(command, options.engine.plain);
  AddQuiet(command, options.quiet, "No notes");
  command->final_callback([&line] {
    line.chosen = [&line] {
      FindFiles(line.page.input);
      return RunPage(line.page);
    };
  });
}

void AddCompare(CLI::App& app, CommandLine& line) {
  CompareOptions& options = line.compare;
  CLI::App* command = AddCommand(app, "compare", "Score sentences against a reference", kCompareHelp);
  command->add_option("REF", options.reference, "What is right: a file, a folder of them, or - for standard input")->required();
  command->add_option("HYP", options.found, "What is scored, likewise")->required();
  AddChoice(command, "--ref-format", options.reference_form, "Form of REF, instead of what its ending says. ", AnnotationForms());
  AddChoice(command, "--hyp-format", options.found_form, "Form of HYP, likewise. ", AnnotationForms());
  command->add_option("--uem", options.uem, "Score these regions alone, a UEM file");
  command->add_option("--collar", options.collar_s, "Seconds on both sides of each boundary of REF that are not scored")
      ->check(PlainNumber())
      ->check(CLI::Range(0.0, 3600.0))
      ->capture_default_str();
  AddChoice(command, "-f,--format", options.format, "", CompareFormats());
  AddOutput(command, options.output)->description(kFormOfOutput);
  AddForce(command, options.force);
  command->add_flag("-q,--quiet", options.quiet, "No notes");
  command->final_callback([command, &line] {
    TakeFormOfOutput(*command, line.compare.output, CompareFormatOfEnding(line.compare.output), line.compare.format);
    line.chosen = [&line] { return RunCompare(line.compare); };
  });
}

void AddModelPack(CLI::App* model, CommandLine& line) {
  CLI::App* command = model->add_subcommand("pack", "Make a model file from a folder of arrays and its model.json");
  command->add_option("DIR", line.pack.folder, "Folder with model.json and the arrays that it names")->required();
  AddOutput(command, line.pack.output)->description("Model file to write")->required();
  AddForce(command, line.pack.force);
  command->add_flag("-q,--quiet", line.pack.quiet, "Do not say what was written");
  command->footer("The form of model.json is described in docs/model_format.md.");
  command->final_callback([&line] { line.chosen = [&line] { return RunModelPack(line.pack); }; });
}

void AddModelInspect(CLI::App* model, CommandLine& line) {
  CLI::App* command = model->add_subcommand("inspect", "Show a model's header, variables, value ranges, settings and shifts or scales");
  command->add_option("FILE", line.inspect.model, "Model file, or the name of a bundled model")->required()->type_name(kModelForm);
  command->add_flag("--json", line.inspect.json, "As JSON");
  AddOutput(command, line.inspect.output);
  AddForce(command, line.inspect.force);
  command->final_callback([&line] {
    TakeJsonOfOutput(line.inspect.output, line.inspect.json);
    line.chosen = [&line] { return RunModelInspect(line.inspect); };
  });
}

void AddModel(CLI::App& app, CommandLine& line) {
  CLI::App* model = app.add_subcommand("model", "Make model files and look into them");
  model->require_subcommand(1);
  AddModelPack(model, line);
  AddModelInspect(model, line);
}

// On standard output, as any other result.
ExitCode Print(const std::string& text) {
  Output output("", OutputRules(false, {}));
  output.Write(text);
  output.Close();
  return ExitCode::kSuccess;
}

void AddHelp(CLI::App& app, CommandLine& line) {
  CLI::App* command = app.add_subcommand(kHelpCommand, "Print the help of a command and exit");
  command->add_option("COMMAND", line.help, "The command, such as segment or model pack; without it the program's own help")->type_name("");
  command->final_callback([&app, &line] { line.chosen = [&app, &line] { return Print(HelpOf(app, line.help)); }; });
}

void AddCompletions(CLI::App& app, CommandLine& line) {
  CLI::App* command = app.add_subcommand("completions", "Print what a shell needs to complete this program's command lines");
  AddChoice(command, "SHELL", line.shell, "Whose. ", Shells())->required();
  command->final_callback([&app, &line] { line.chosen = [&app, &line] { return Print(line.shell->make(WordsOfCommands(app))); }; });
}

}  // namespace

ExitCode RunCommandLine(int argc, char** argv) {
  CLI::App app("Streaming voice activity and endpoint detection: where the sentences in a recording begin and end.", "wvad");
  app.set_version_flag("-V,--version", std::string("wvad ") + WVAD_VERSION);
  app.require_subcommand(1);
  app.allow_windows_style_options(false);  // "/talk.wav" is a path there too
  app.set_help_all_flag("--help-all", "Print the help of all commands and exit");
  app.footer(ExitCodesHelp());
  // Flags may come any number of times, as people with aliases expect; what holds a value is looked at below.
  app.formatter(std::make_shared<HelpFormatter>(static_cast<size_t>(TextWidth())));
  app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
  CommandLine line;
  AddSegment(app, line);
  AddListen(app, line);
  AddDevices(app, line);
  AddSplit(app, line);
  AddTrim(app, line);
  AddMute(app, line);
  AddFeatures(app, line);
  AddQuality(app, line);
  AddScores(app, line);
  AddExplain(app, line);
  AddPage(app, line);
  AddCompare(app, line);
  AddModel(app, line);
  AddHelp(app, line);
  AddCompletions(app, line);
  CheckArguments(argc, argv);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are "errors" of code 0.
    if (error.get_exit_code() != 0) throw Failure(ExitCode::kUsage, WhatIsWrong(app, error));
    std::ostringstream text;
    app.exit(error, text, text);
    return Print(text.str());
  }
  CheckValues(app);
  return line.chosen();
}

}  // namespace TSEG::tool
