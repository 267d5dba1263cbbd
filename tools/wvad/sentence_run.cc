// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_run.h"

#include <cmath>
#include <cstdio>
#include <optional>
#include <utility>

#include "wvad/engine.h"
#include "wvad/level.h"
#include "wvad/model_finder.h"
#include "wvad/output.h"
#include "wvad/progress.h"
#include "wvad/recording.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// The component's measures belong to a session, and are wanted of a whole recording: sessions are not renewed for their age alone. It
// counts the bytes of a session in 32 bits, enough for 18 hours.
RenewalPolicy PolicyFor(const SentenceTask& task) {
  RenewalPolicy policy;
  if (task.quality) policy.age_s = policy.hard_s;
  return policy;
}

// One run over all files, with what they share.
class SentenceRun {
 public:
  SentenceRun(const SentenceOptions& options, const SentenceTask& task, Detector& detector, ParameterList parameters)
      : options_(options), task_(task), detector_(detector), parameters_(std::move(parameters)) {
    // Every parameter is tried once before any audio is touched, so that a mistake costs nothing. The rate alone outlives a session.
    const Session trial(detector_, parameters_);
    rate_hz_ = ParseInt(detector_.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
    if (detector_.Get("wvad_param_k4_energy") == "0") floor_ = ParseInt(detector_.Get("wvad_param_nEnergyThreshhood"));
    if (task.handout == Handout::kPcm) frame_bytes_ = static_cast<size_t>(rate_hz_ * 2 / 100);
    if (task.handout == Handout::kFeatures) frame_bytes_ = kFeatureFloats * sizeof(float);
  }

  int rate_hz() const { return rate_hz_; }
  bool heard_any() const { return heard_any_; }

  void File(const InputReader& reader, const std::string& name, Report& report) {
    // Opened before it is announced: a missing file has no table.
    std::unique_ptr<Input> input;
    try {
      input = reader.Open(name);
    } catch (const Failure& failure) {
      report.RefuseFile(name, failure.what());
      throw;
    }
    const bool typing = name == "-" && report.on_terminal();
    Progress progress(!options_.quiet && !typing && IsTerminal(kStandardError), name, input->seconds_total());
    LevelMeter level(rate_hz_);
    report.BeginFile(name);
    heard_any_ = true;
    int64_t sentences = 0;
    const Recording::Sink sink = [&](const Sentence& sentence) {
      if (report.on_terminal()) progress.Hide();
      report.Add(sentence, rate_hz_);
      ++sentences;
    };
    const Heard heard = [&](const std::vector<int16_t>& piece) {
      level.Feed(piece.data(), piece.size());
      progress.Show(input->seconds_read());
    };
    try {
      const FileEnd end = options_.endpoint ? ToEndpoint(*input, sink, heard) : ToTheEnd(*input, sink, heard);
      progress.Hide();
      report.EndFile(end);
    } catch (const Failure& failure) {
      progress.Hide();
      if (failure.code() != ExitCode::kOutput) report.FailFile(failure.what());
      throw;
    }
    if (Interrupted()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    if (sentences == 0 && !options_.quiet) Advise(name, level);
  }

 private:
  using Heard = std::function<void(const std::vector<int16_t>&)>;

  FileEnd ToTheEnd(Input& input, const Recording::Sink& sink, const Heard& heard) {
    Recording recording(detector_, parameters_, rate_hz_, PolicyFor(task_), sink, frame_bytes_);
    for (std::vector<int16_t> piece; !Interrupted() && input.Next(&piece);) {
      recording.Feed(piece);
      heard(piece);
    }
    recording.Finish();
    FileEnd end;
    if (Interrupted()) end.reason = kInterruptedReason;
    end.rate_hz = rate_hz_;
    end.samples = recording.samples();
    if (task_.quality) {
      end.quality = recording.quality();
    } else {
      end.others = recording.others();
    }
    return end;
  }

  // As a live client does: one session, and nothing is sent any more once the engine has had enough.
  FileEnd ToEndpoint(Input& input, const Recording::Sink& sink, const Heard& heard) {
    Session session(detector_, parameters_, frame_bytes_);
    FileEnd end;
    end.rate_hz = rate_hz_;
    end.endpoint = true;
    const int64_t frame_samples = rate_hz_ / 100;
    const auto pass_on = [&] {
      for (SessionSentence& found : session.TakeClosed()) {
        sink({found.begin_frame * frame_samples,
              found.end_frame * frame_samples,
              found.vol,
              found.trig,
              found.eg,
              std::move(found.data),
              {}});
      }
    };
    for (std::vector<int16_t> piece; !session.ended() && !Interrupted() && input.Next(&piece);) {
      session.Write(piece.data(), piece.size(), false);
      end.samples += static_cast<int64_t>(piece.size());
      pass_on();
      heard(piece);
    }
    if (session.ended()) {
      // Only a session without any sentence can run into the response time-out, and only one with a sentence has a tail.
      end.reason = session.sentences() == 0 ? "no speech" : "tail silence";
    } else {
      session.Write(nullptr, 0, true);
      pass_on();
      if (Interrupted()) end.reason = kInterruptedReason;
    }
    if (task_.quality) {
      end.quality.push_back({0, end.samples, session.others()});
    } else {
      end.others = session.others();
    }
    return end;
  }

  // Nothing found: if the level is the likely reason, say so.
  void Advise(const std::string& name, const LevelMeter& level) const {
    if (!floor_) return;
    // The floor is the natural logarithm of the energy sum of a 25 ms window (400 samples at 16 kHz).
    const double window = rate_hz_ / 40;
    const double floor_db = 10 * std::log10(std::exp(*floor_) / window) - 20 * std::log10(32768.0);
    if (level.loudest_db() <= -119 || level.loudest_db() > floor_db + 12) return;
    std::fprintf(
        stderr,
        "wvad: %s: note: the recording is very quiet (loudest 10 ms at %.0f dB, the engine's floor is at %.0f dB); try --gain auto\n",
        name.c_str(), level.loudest_db(), floor_db);
  }

  const SentenceOptions& options_;
  const SentenceTask& task_;
  Detector& detector_;
  ParameterList parameters_;
  int rate_hz_ = 16000;
  size_t frame_bytes_ = 0;
  bool heard_any_ = false;
  std::optional<int> floor_;  // the fixed energy floor; none with the adaptive one
};

void EndQuietly(Report& report) {
  try {
    report.End();
  } catch (const Failure&) {
    // The failure that led here is the one to tell.
  }
}

}  // namespace

RunResult RunSentences(const SentenceOptions& options, const SentenceTask& task) {
  RememberInterrupts();
  const ParameterPlan plan = PlanParameters(options.engine.settings, options.endpoint, task.handout, task.quality);
  const std::string model = FindModel(options.engine.model, options.engine.models_dir);
  Engine engine(model, plan.configuration, FurtherConfiguration(options.engine, plan, model));
  Detector detector(engine);
  SentenceRun run(options, task, detector, plan.session);
  const InputReader reader(options.input, run.rate_hz());
  const std::unique_ptr<Report> report = task.make_report(run.rate_hz());
  RunResult result;
  try {
    result.code = ForEachFile(options.input.files, [&](const std::string& name) { run.File(reader, name, *report); });
  } catch (const Failure&) {
    // What has been told until then shall be a whole document, if there is room for its end.
    EndQuietly(*report);
    throw;
  }
  report->End();
  result.heard_any = run.heard_any();
  return result;
}

ExitCode ReportSentences(const ReportOptions& options, SentenceTask task) {
  std::vector<std::string> read = FilesOfEngine(options.engine);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  const OutputRules rules(options.force, read);
  // Before any work, which may be long.
  CheckOutput(options.output, rules);
  std::optional<Output> output;
  task.make_report = [&](int) {
    output.emplace(options.output, rules);
    return options.format->make(*output, {options.input.files.size() > 1, !options.quiet, false});
  };
  const RunResult result = RunSentences(options, task);
  if (result.heard_any) output->Close();
  return result.code;
}

}  // namespace TSEG::tool
