// SPDX-License-Identifier: Apache-2.0
#include "wvad/scores_command.h"

#include <memory>
#include <optional>

#include "blocks/score_source.h"
#include "wvad/engine.h"
#include "wvad/engine_config.h"
#include "wvad/messages.h"
#include "wvad/model_choice.h"
#include "wvad/model_finder.h"
#include "wvad/output.h"
#include "wvad/parameters.h"
#include "wvad/progress.h"
#include "wvad/score_output.h"
#include "wvad/score_track.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// What the library makes of model, configuration and settings, as far as the way to the scores goes.
struct Settled {
  blocks::BlockOptions blocks;
  int priming_frames = -1;
};

Settled SettleParameters(const EngineOptions& options, const std::string& model, const std::string& configuration) {
  ParameterPlan plan = PlanParameters(options.settings, false);
  plan.session.emplace_back("wvad_param_isVadDegOn", "0");  // the trial below has nothing to tell
  Engine engine(model, plan.configuration, FurtherConfiguration(plan, model, configuration));
  Detector detector(engine);
  // The type of mean removal is taken from the defaults, not from an instance.
  const int cmn_type = ParseInt(detector.Get("wvad_param_cmn_type")).value_or(0);
  const Session trial(detector, plan.session);
  Settled settled;
  settled.blocks.rate_hz = ParseInt(detector.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
  settled.blocks.mean_removal = detector.Get("wvad_param_isTsegDoCMN") != "0";
  settled.blocks.cmn_type = cmn_type;
  if (detector.Get("wvad_param_vad_AgcOn") == "1") {
    settled.blocks.gain_control_hz = ParseInt(detector.Get("wvad_param_SampleRate")).value_or(16000);
  }
  settled.priming_frames = ParseInt(detector.Get("wvad_param_vad_LstmPaddingNum")).value_or(-1);
  return settled;
}

// One form of the model, ready to score.
class Scorer {
 public:
  Scorer(const EngineOptions& options, const std::string& configuration) {
    const std::string file = FindModel(options.model, options.models_dir);
    const Settled settled = SettleParameters(options, file, configuration);
    std::string error;
    model_ = blocks::ScoreModel::Load(file, &error);
    if (!model_) throw Failure(ExitCode::kBadModel, error);
    rate_hz_ = settled.blocks.rate_hz;
    source_.emplace(settled.blocks, model_.get(), settled.priming_frames);
  }
  int rate_hz() const { return rate_hz_; }
  blocks::ScoreSource& source() { return *source_; }

 private:
  std::unique_ptr<blocks::ScoreModel> model_;
  int rate_hz_ = 0;
  std::optional<blocks::ScoreSource> source_;
};

class ScoreRun {
 public:
  ScoreRun(const ScoresOptions& options, PerForm<Scorer>& scorers)
      : options_(options),
        reader_(options.input),
        scorers_(scorers),
        progress_(!options.quiet && HasLivingTerminal(), options.input.files) {}

  void HideProgress() { progress_.Hide(); }

  // Throws Failure as InputReader::Open.
  std::unique_ptr<Input> Open(const std::string& name) {
    return reader_.Open(name, [this](int rate_hz) {
      scorer_ = &scorers_.For(rate_hz);
      return scorer_->rate_hz();
    });
  }

  // Scores what was opened last. A recording that breaks off is scored as far as it goes; the failure is the result.
  // `shared`: other recordings go to the same writer.
  std::optional<Failure> File(Input& input, size_t index, bool on_terminal, bool shared, ScoreWriter& writer) {
    const std::string& name = options_.input.files[index];
    const bool typing = name == "-" && on_terminal;
    ScoreTrack track([&](const ScoreTrack::Row& row) { writer.Add(row); });
    const blocks::ScoreSource::PairSink sink = [&](const float* pair, bool own) { track.Add(pair, own); };
    const auto pass_on = [&] {
      if (on_terminal) progress_.Hide();
      writer.Flush();
    };
    writer.Begin(name, shared);
    int64_t samples = 0;
    std::optional<Failure> broken;
    scorer_->source().Begin();
    for (std::vector<std::vector<int16_t>> pieces; !Interrupted() && Next(input, &pieces, &broken);) {
      const std::vector<int16_t>& piece = pieces[0];
      scorer_->source().Push(piece.data(), piece.size(), sink);
      samples += static_cast<int64_t>(piece.size());
      pass_on();
      if (!typing) progress_.Show(index, input.seconds_read(), input.seconds_total());
    }
    scorer_->source().Finish(sink);
    track.Finish(samples / (scorer_->rate_hz() / 100));
    pass_on();
    progress_.Done(index);
    progress_.Hide();
    if (Interrupted()) return Failure(ExitCode::kInterrupted, name + ": interrupted");
    if (const std::string damage = broken ? "" : input.damage(); !damage.empty())
      broken = Failure(ExitCode::kNotAudio, name + ": " + damage);
    if (const std::string note = input.note(); !note.empty() && !options_.quiet) SayNote(name + ": note: " + note);
    if (input.phase().cancels() && !options_.quiet) SayNote(name + ": note: " + PhaseNote(input.phase()));
    if (!broken && !track.found_any() && !options_.quiet) {
      SayNote(name + ": note: too short for a score of its own");
    }
    return broken;
  }

 private:
  static bool Next(Input& input, std::vector<std::vector<int16_t>>* pieces, std::optional<Failure>* broken) {
    try {
      return input.Next(pieces);
    } catch (const Failure& failure) {
      *broken = failure;
      return false;
    }
  }

  const ScoresOptions& options_;
  InputReader reader_;
  PerForm<Scorer>& scorers_;
  Scorer* scorer_ = nullptr;  // of what was opened last
  Progress progress_;
};

// An array holds one recording and has to be completed at its begin.
bool IsArray(const ScoreFormat& format) { return format.make == nullptr; }

// A recording into a file of its own, which appears when its work is done.
void ToOwnFile(ScoreRun& run, Input& input, size_t index, const ScoreFormat& format, NewFile& file) {
  std::optional<Failure> failure;
  if (IsArray(format)) {
    ArrayWriter writer(file);
    failure = run.File(input, index, false, false, writer);
    writer.Finish();
  } else {
    const std::unique_ptr<ScoreWriter> writer = format.make([&file](std::string_view bytes) { file.Write(bytes); });
    failure = run.File(input, index, false, false, *writer);
    writer->Flush();
  }
  file.Publish();
  if (failure) throw *failure;
}

// The array of one recording to standard output, a pipe or a device.
ExitCode ArrayToPipe(ScoreRun& run, const ScoresOptions& options, const OutputRules& rules) {
  Output output(options.output, rules);
  const auto hide = [&run] { run.HideProgress(); };
  return ForEachFile(options.input, options.quiet, hide, [&](size_t index, const std::string& name) {
    const std::unique_ptr<Input> input = run.Open(name);
    WholeArrayWriter writer([&](std::string_view bytes) { output.Write(bytes); });
    const std::optional<Failure> failure = run.File(*input, index, output.is_terminal(), false, writer);
    writer.Finish();
    output.Close();
    if (failure) throw *failure;
  });
}

// All recordings into one output.
ExitCode ToOneOutput(ScoreRun& run, const ScoresOptions& options, const OutputRules& rules) {
  Output output(options.output, rules);
  const std::unique_ptr<ScoreWriter> writer = options.format->make([&](std::string_view bytes) { output.Write(bytes); });
  const bool shared = options.input.files.size() > 1;
  bool heard_any = false;
  const auto hide = [&run] { run.HideProgress(); };
  const ExitCode result = ForEachFile(options.input, options.quiet, hide, [&](size_t index, const std::string& name) {
    const std::unique_ptr<Input> input = run.Open(name);
    heard_any = true;
    const std::optional<Failure> failure = run.File(*input, index, output.is_terminal(), shared, *writer);
    if (failure) throw *failure;
  });
  writer->Flush();
  if (heard_any) output.Close();
  return result;
}

void CheckUsage(const ScoresOptions& options) {
  const bool into_folder = !options.folder.folder.empty();
  if (into_folder && !options.output.empty()) throw Failure(ExitCode::kUsage, "--output and --directory exclude each other");
  if (!into_folder && !options.folder.prefix.empty()) throw Failure(ExitCode::kUsage, "--prefix goes with --directory");
  if (options.input.channel == "all") throw Failure(ExitCode::kUsage, "--channel all: scores are of one channel at a time");
  if (!IsArray(*options.format) || into_folder) return;
  const std::string format = std::string("--format ") + options.format->name;
  if (options.output.empty())
    throw Failure(ExitCode::kUsage, format + ": needs --output FILE (- for standard output), or --directory DIR for several recordings");
  if (options.input.files.size() > 1) throw Failure(ExitCode::kUsage, format + ": several recordings need --directory DIR");
}

}  // namespace

ExitCode RunScores(const ScoresOptions& options) {
  RememberInterrupts();
  CheckUsage(options);
  std::vector<std::string> read = FilesOfEngine(options.engine);
  std::optional<OutputFolder> folder;
  const OutputSuffixes suffixes = {std::string("scores.") + options.format->ending, ""};
  if (!options.folder.folder.empty()) folder.emplace(options.folder, options.input.files, suffixes, read);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  const OutputRules rules(options.folder.force, read);
  if (!folder) CheckOutput(options.output, rules);

  const std::string configuration = ReadConfiguration(options.engine.config, false, options.quiet);
  PerForm<Scorer> scorers(options.engine, [&](const EngineOptions& of_form) { return std::make_unique<Scorer>(of_form, configuration); });
  // One is there before any output is opened, so that what is wrong with model or settings costs nothing.
  scorers.For(scorers.choice().is_open() ? RateAhead(options.input.files[0], options.input.source) : 0);
  ScoreRun run(options, scorers);
  if (!folder && !IsArray(*options.format)) return ToOneOutput(run, options, rules);
  if (!folder && !IsForFile(options.output)) return ArrayToPipe(run, options, rules);
  if (folder) folder->Make();
  const auto hide = [&run] { run.HideProgress(); };
  return ForEachFile(options.input, options.quiet, hide, [&](size_t index, const std::string& name) {
    const std::unique_ptr<Input> input = run.Open(name);
    NewFile file(folder ? folder->Path(folder->File(name)) : options.output, rules);
    ToOwnFile(run, *input, index, *options.format, file);
  });
}

}  // namespace TSEG::tool
