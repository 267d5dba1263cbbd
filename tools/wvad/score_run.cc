// SPDX-License-Identifier: Apache-2.0
#include "wvad/score_run.h"

#include <vector>

#include "session/tseg_inst.h"
#include "wvad/engine.h"
#include "wvad/engine_options.h"
#include "wvad/model_finder.h"
#include "wvad/parameters.h"
#include "wvad/recording_note.h"
#include "wvad/score_track.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

bool Next(Input& input, std::vector<std::vector<int16_t>>* pieces, std::optional<Failure>* broken) {
  try {
    return input.Next(pieces);
  } catch (const Failure& failure) {
    *broken = failure;
    return false;
  }
}

}  // namespace

// What the library makes of model, configuration and settings, as far as the way to the scores goes.
Scorer::Scorer(const EngineOptions& options, const std::string& configuration) {
  const std::string file = FindModel(options.model, options.models_dir);
  ParameterPlan plan = PlanParameters(options.settings, false);
  plan.session.emplace_back("wvad_param_isVadDegOn", "0");  // the trial below has nothing to tell
  Engine engine(file, plan.configuration, FurtherConfiguration(plan, file, configuration), options.slow_start);
  Detector detector(engine);
  // The type of mean removal is taken from the defaults, not from an instance.
  blocks_.cmn_type = ParseInt(detector.Get("wvad_param_cmn_type")).value_or(0);
  const Session trial(detector, plan.session);
  blocks_.rate_hz = ParseInt(detector.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
  blocks_.ready_means = detector.handle()->nReadyMeans;
  blocks_.mean_removal = detector.Get("wvad_param_isTsegDoCMN") != "0";
  if (detector.Get("wvad_param_vad_AgcOn") == "1") {
    blocks_.gain_control_hz = ParseInt(detector.Get("wvad_param_SampleRate")).value_or(16000);
  }
  priming_frames_ = ParseInt(detector.Get("wvad_param_vad_LstmPaddingNum")).value_or(-1);
  std::string error;
  model_ = blocks::ScoreModel::Load(file, &error);
  if (!model_) throw Failure(ExitCode::kBadModel, error);
}

std::unique_ptr<blocks::ScoreSource> Scorer::MakeSource() const {
  return std::make_unique<blocks::ScoreSource>(blocks_, model_.get(), priming_frames_);
}

ScoreRun::ScoreRun(const InputOptions& options, PerForm<Scorer>& scorers, Progress& progress)
    : options_(options), reader_(options), scorers_(scorers), progress_(progress) {}

bool ScoreRun::Stopped() const { return Interrupted() || abandoned_; }

std::unique_ptr<Input> ScoreRun::Open(const std::string& name) {
  return reader_.Open(name, [this](int rate_hz) {
    scorer_ = &scorers_.For(rate_hz);
    return scorer_->rate_hz();
  });
}

std::optional<Failure> ScoreRun::File(Input& input, size_t index, const Telling& telling, ScoreWriter& writer) {
  const std::string& name = options_.files[index];
  const bool typing = name == "-" && telling.on_terminal;
  std::unique_ptr<blocks::ScoreSource>& source = sources_[scorer_];
  if (!source) source = scorer_->MakeSource();
  ScoreTrack track([&](const ScoreTrack::Row& row) { writer.Add(row); });
  const blocks::ScoreSource::PairSink sink = [&](const float* pair, bool own) { track.Add(pair, own); };
  const auto pass_on = [&] {
    if (telling.on_terminal) progress_.Hide();
    writer.Flush();
  };
  writer.Begin(name, telling.shared);
  int64_t samples = 0;
  std::optional<Failure> broken;
  source->Begin();
  for (std::vector<std::vector<int16_t>> pieces; !Stopped() && Next(input, &pieces, &broken);) {
    const std::vector<int16_t>& piece = pieces[0];
    source->Push(piece.data(), piece.size(), sink);
    samples += static_cast<int64_t>(piece.size());
    pass_on();
    if (!typing) progress_.Show(index, input.seconds_read(), input.seconds_total());
  }
  source->Finish(sink);
  track.Finish(samples / (scorer_->rate_hz() / 100));
  pass_on();
  progress_.Done(index);
  if (telling.on_terminal) progress_.Hide();
  if (Stopped()) return Failure(ExitCode::kInterrupted, name + ": interrupted");
  if (const std::string damage = broken ? "" : input.damage(); !damage.empty()) broken = Failure(ExitCode::kNotAudio, name + ": " + damage);
  if (telling.note) {
    if (const std::string note = NoteOf(input); !note.empty()) telling.note(name + ": note: " + note);
    if (!broken && !track.found_any()) telling.note(name + ": note: too short for a score of its own");
  }
  return broken;
}

}  // namespace TSEG::tool
