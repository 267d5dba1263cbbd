// SPDX-License-Identifier: Apache-2.0
#include "wvad/explain_command.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

#include "wvad/engine_config.h"
#include "wvad/explanation.h"
#include "wvad/failure.h"
#include "wvad/frame_speech.h"
#include "wvad/messages.h"
#include "wvad/model_choice.h"
#include "wvad/output.h"
#include "wvad/output_options.h"
#include "wvad/progress.h"
#include "wvad/recording_note.h"
#include "wvad/report_json.h"
#include "wvad/shown.h"
#include "wvad/system.h"
#include "wvad/traced_run.h"

namespace TSEG::tool {
namespace {

// A renewed session decides on the last second before it once more (recording.h), and a sentence reaches back by its margin.
constexpr int64_t kSecondFrames = 100;
constexpr int64_t kMostFrames = 60 * 60 * kSecondFrames;

std::vector<FrameRange> ParsePlaces(const std::vector<std::string>& places) {
  std::vector<FrameRange> ranges;
  for (const std::string& place : places) {
    ranges.push_back(ParseFrameRange(place));
    if (ranges.back().last - ranges.back().first >= kMostFrames) throw Failure(ExitCode::kUsage, "--at " + place + ": at most an hour");
  }
  return ranges;
}

bool InSentence(const TraceRow& row) {
  return row.says(Statement::kInSpeech) || row.says(Statement::kInSilence) || row.says(Statement::kBegins);
}

// What is known of one recording.
class Hearing {
 public:
  Hearing(TracedEngine& engine, const std::vector<FrameRange>& ranges)
      : engine_(engine),
        ranges_(ranges),
        recording_(
            engine, [this](const Sentence& sentence) { Take(sentence); },
            [this](int64_t frame, const TraceRow& row) { Take(frame, row); }) {
    int64_t last = 0;
    for (const FrameRange& range : ranges) {
      rows_.emplace_back(static_cast<size_t>(range.last - range.first + 1));
      last = std::max(last, range.last);
    }
    settled_at_ = last + 2 * kSecondFrames + std::max(engine.Number("wvad_param_nFrameStartMargin"), 0);
  }

  // Takes as much of `input` as the places need.
  void Listen(Input& input, size_t index, Progress& progress) {
    for (std::vector<std::vector<int16_t>> pieces; !Interrupted() && !Settled() && input.Next(&pieces);) {
      recording_.Feed(pieces[0]);
      progress.Show(index, input.seconds_read(), input.seconds_total());
    }
    if (!Settled()) recording_.Finish();
  }
  // It was heard to its end.
  bool whole() const { return !Settled(); }

  int64_t frames() const { return recording_.samples() / (engine_.rate_hz() / 100); }
  std::vector<ExplainedStretch> Of(size_t place) const {
    FrameRange range = ranges_[place];
    range.last = std::min(range.last, frames() - 1);
    return Explain(range, rows_[place], sentences_);
  }

 private:
  void Take(const Sentence& sentence) {
    sentences_.push_back(speech_.Number(sentence, engine_.rate_hz(), static_cast<int64_t>(sentences_.size()) + 1));
  }
  void Take(int64_t frame, const TraceRow& row) {
    speech_.Set(frame, row);
    for (size_t i = 0; i < ranges_.size(); ++i) {
      if (ranges_[i].Holds(frame)) rows_[i][static_cast<size_t>(frame - ranges_[i].first)] = row;
    }
    newest_ = frame;
    open_ = InSentence(row);
  }
  // Nothing that is still to come changes what is told.
  bool Settled() const { return newest_ >= settled_at_ && !open_; }

  TracedEngine& engine_;
  const std::vector<FrameRange>& ranges_;
  TracedRecording recording_;
  std::vector<std::vector<TraceRow>> rows_;  // of each range
  std::vector<NumberedSentence> sentences_;
  FrameSpeech speech_;
  int64_t settled_at_ = 0;
  int64_t newest_ = -1;
  bool open_ = false;
};

class ExplainRun {
 public:
  ExplainRun(const ExplainOptions& options, PerForm<TracedEngine>& engines, Output& output)
      : options_(options),
        engines_(engines),
        output_(output),
        ranges_(ParsePlaces(options.at)),
        reader_(options.input),
        progress_(!options.quiet && HasLivingTerminal(), options.input.files) {}

  ExitCode Run() {
    const auto hide = [this] { progress_.Hide(); };
    const auto work = [this](size_t index, const std::string& name) { File(index, name); };
    const ExitCode code = ForEachFile(options_.input, options_.quiet, hide, work);
    if (options_.json && heard_any_) output_.Write(JsonText({{"files", files_}}) + "\n");
    if (heard_any_) output_.Close();
    return code;
  }

 private:
  void File(size_t index, const std::string& name) {
    TracedEngine* engine = nullptr;
    const std::unique_ptr<Input> input = reader_.Open(name, [&](int rate_hz) {
      engine = &engines_.For(rate_hz);
      return engine->rate_hz();
    });
    heard_any_ = true;
    Hearing hearing(*engine, ranges_);
    hearing.Listen(*input, index, progress_);
    progress_.Done(index);
    progress_.Hide();
    if (Interrupted()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    nlohmann::ordered_json stretches = nlohmann::ordered_json::array();
    std::string text = options_.input.files.size() > 1 ? Shown(name) + "\n" : "";
    std::optional<std::string> behind;
    for (size_t i = 0; i < ranges_.size(); ++i) {
      if (ranges_[i].first >= hearing.frames() && !behind) behind = options_.at[i];
      for (const ExplainedStretch& stretch : hearing.Of(i)) {
        text += ToText(stretch, engine->facts(), output_.width());
        stretches.push_back(ToJson(stretch, engine->facts()));
      }
    }
    if (!options_.json) output_.Write(text);
    const std::string note = NoteOf(*input);
    const std::string damage = hearing.whole() ? input->damage() : "";
    files_.push_back({{"file", name}, {"model", engine->model()}, {"stretches", stretches}});
    if (!note.empty()) files_.back()["note"] = note;
    if (!damage.empty()) files_.back()["damage"] = damage;
    if (!note.empty() && !options_.quiet) SayNote(name + ": note: " + note);
    if (behind) {
      throw Failure(ExitCode::kUsage,
                    name + ": --at " + *behind + " lies behind its end (" + Fixed(static_cast<double>(hearing.frames()) / 100, 2) + " s)");
    }
    if (!damage.empty()) throw Failure(ExitCode::kNotAudio, name + ": " + damage);
  }

  const ExplainOptions& options_;
  PerForm<TracedEngine>& engines_;
  Output& output_;
  std::vector<FrameRange> ranges_;
  InputReader reader_;
  Progress progress_;
  nlohmann::ordered_json files_ = nlohmann::ordered_json::array();
  bool heard_any_ = false;
};

}  // namespace

ExitCode RunExplain(const ExplainOptions& options) {
  RememberInterrupts();
  ParsePlaces(options.at);  // before any work
  if (options.input.channel == "all") throw Failure(ExitCode::kUsage, "--channel all: decisions are of one channel at a time");
  std::vector<std::string> read = FilesBesideRecordings(options.engine, options.input.list.list);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  const OutputRules rules(options.force, read);
  CheckOutput(options.output, rules);
  RefuseOtherName(options.output, options.json);
  const std::string configuration = ReadConfiguration(options.engine.config, false, options.quiet);
  PerForm<TracedEngine> engines(options.engine,
                                [&](const EngineOptions& of_form) { return std::make_unique<TracedEngine>(of_form, configuration); });
  // One is there before any output is opened, so that what is wrong with model or settings costs nothing.
  engines.For(engines.choice().is_open() ? RateAhead(options.input.files[0], options.input.source) : 0);
  Output output(options.output, rules);
  return ExplainRun(options, engines, output).Run();
}

}  // namespace TSEG::tool
