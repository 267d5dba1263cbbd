// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_run.h"

#include <algorithm>
#include <cstdio>
#include <optional>
#include <utility>

#include "wvad/checksum.h"
#include "wvad/debug_text.h"
#include "wvad/engine.h"
#include "wvad/engine_config.h"
#include "wvad/floor_note.h"
#include "wvad/model_finder.h"
#include "wvad/output.h"
#include "wvad/progress.h"
#include "wvad/provenance.h"
#include "wvad/recording.h"
#include "wvad/report_json.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// The component's measures belong to a session, and are wanted of a whole recording: sessions are not renewed for their age or a stillness.
// It counts the bytes of a session in 32 bits, enough for 18 hours.
RenewalPolicy PolicyFor(const SentenceTask& task) {
  RenewalPolicy policy;
  if (task.quality) {
    policy.age_s = policy.hard_s;
    policy.still_s = 0;
  }
  return policy;
}

// One run over all files, with what they share.
class SentenceRun {
 public:
  SentenceRun(const SentenceOptions& options, const SentenceTask& task, Engine& engine, ParameterList parameters)
      : options_(options), task_(task), engine_(engine), parameters_(std::move(parameters)) {
    // Every parameter is tried once before any audio is touched, so that a mistake costs nothing. The rate alone outlives a session.
    Detector& detector = DetectorOf(0);
    const Session trial(detector, parameters_);
    rate_hz_ = ParseInt(detector.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
    if (detector.Get("wvad_param_k4_energy") == "0") floor_ = ParseInt(detector.Get("wvad_param_nEnergyThreshhood"));
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
    report.BeginFile(name);
    heard_any_ = true;
    FileEnd end;
    try {
      end = Listen(*input, name, reader.all_channels(), report);
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kOutput) report.FailFile(failure.what());
      throw;
    }
    if (Interrupted()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    if (!end.damage.empty()) throw Failure(ExitCode::kNotAudio, name + ": " + end.damage);
  }

 private:
  using Pieces = std::vector<std::vector<int16_t>>;
  using Step = std::function<void()>;

  // An instance for each channel that is listened to at once.
  Detector& DetectorOf(size_t lane) {
    while (detectors_.size() <= lane) detectors_.push_back(std::make_unique<Detector>(engine_));
    return *detectors_[lane];
  }

  FileEnd Listen(Input& input, const std::string& name, bool all_channels, Report& report) {
    const bool typing = name == "-" && report.on_terminal();
    Progress progress(!options_.quiet && !typing && IsTerminal(kStandardError), name, input.seconds_total());
    FloorNote floor_note(floor_, rate_hz_);
    std::vector<std::unique_ptr<Observed>> observed;
    for (size_t lane = 0; lane < input.lanes(); ++lane) observed.push_back(std::make_unique<Observed>(DetectorOf(lane), floor_note));
    const Recording::Sink sink = [&](const Sentence& sentence) {
      if (report.on_terminal()) progress.Hide();
      report.Add(sentence, rate_hz_);
    };
    const Step heard = [&] { progress.Show(input.seconds_read()); };
    FileEnd end = options_.endpoint ? ToEndpoint(input, sink, heard) : ToTheEnd(input, all_channels, sink, heard);
    progress.Hide();
    end.note = input.note();
    if (input.phase().cancels()) end.note += (end.note.empty() ? "" : "; ") + PhaseNote(input.phase());
    if (end.note.empty()) end.note = floor_note.Text(GainAdvice(name));
    end.recording = Facts(input, name, end);
    report.EndFile(end);
    if (!end.note.empty() && !options_.quiet && !Interrupted())
      std::fprintf(stderr, "wvad: %s: note: %s\n", name.c_str(), end.note.c_str());
    return end;
  }

  RecordingFacts Facts(const Input& input, const std::string& name, const FileEnd& end) const {
    const bool to_its_end = end.reason == kWholeReason;
    return {input.source_rate_hz(), input.source_channels(), to_its_end ? input.frames_read() : input.frames_total(),
            task_.checksum ? Sha256Of(name) : ""};
  }

  FileEnd ToTheEnd(Input& input, bool all_channels, const Recording::Sink& sink, const Step& heard) {
    std::vector<std::unique_ptr<Recording>> lanes;
    for (size_t lane = 0; lane < input.lanes(); ++lane) {
      const int channel = all_channels ? static_cast<int>(lane) + 1 : 0;
      const Recording::Sink of_channel = [&sink, channel](const Sentence& sentence) {
        Sentence named = sentence;
        named.channel = channel;
        sink(named);
      };
      lanes.push_back(std::make_unique<Recording>(DetectorOf(lane), parameters_, rate_hz_, PolicyFor(task_),
                                                  all_channels ? of_channel : sink, frame_bytes_));
    }
    for (Pieces pieces; !Interrupted() && input.Next(&pieces);) {
      for (size_t lane = 0; lane < lanes.size(); ++lane) lanes[lane]->Feed(pieces[lane]);
      heard();
    }
    FileEnd end;
    end.rate_hz = rate_hz_;
    for (size_t lane = 0; lane < lanes.size(); ++lane) {
      lanes[lane]->Finish();
      end.samples = lanes[lane]->samples();
      if (task_.quality) {
        for (SessionQuality quality : lanes[lane]->quality()) {
          quality.channel = all_channels ? static_cast<int>(lane) + 1 : 0;
          end.quality.push_back(std::move(quality));
        }
      } else if (lanes.size() == 1) {
        end.others = lanes[lane]->others();
      }
    }
    if (Interrupted()) {
      end.reason = kInterruptedReason;
    } else {
      end.damage = input.damage();
    }
    return end;
  }

  // As a live client does: one session, and nothing is sent any more once the engine has had enough.
  FileEnd ToEndpoint(Input& input, const Recording::Sink& sink, const Step& heard) {
    Session session(DetectorOf(0), parameters_, frame_bytes_);
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
              {},
              0});
      }
    };
    for (Pieces pieces; !session.ended() && !Interrupted() && input.Next(&pieces);) {
      session.Write(pieces[0].data(), pieces[0].size(), false);
      end.samples += static_cast<int64_t>(pieces[0].size());
      pass_on();
      heard();
    }
    if (session.ended()) {
      // Only a session without any sentence can run into the response time-out, and only one with a sentence has a tail.
      end.reason = session.sentences() == 0 ? "no speech" : "tail silence";
    } else {
      session.Write(nullptr, 0, true);
      pass_on();
      if (Interrupted()) {
        end.reason = kInterruptedReason;
      } else {
        end.damage = input.damage();
      }
    }
    if (task_.quality) {
      end.quality.push_back({0, end.samples, session.others(), 0});
    } else {
      end.others = session.others();
    }
    return end;
  }

  // What is heard once cannot be measured before.
  std::string GainAdvice(const std::string& name) const {
    if (options_.input.gain == "auto") return "";
    return name == "-" ? "--gain 20" : "--gain auto";
  }

  const SentenceOptions& options_;
  const SentenceTask& task_;
  Engine& engine_;
  ParameterList parameters_;
  std::vector<std::unique_ptr<Detector>> detectors_;
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
  const std::string model = FindModel(options.engine.model, options.engine.models_dir);
  const ParameterPlan plan = PlanParameters(AllSettings(options.engine, model), options.endpoint, task.handout, task.quality);
  const std::string own = ReadConfiguration(options.engine.config, options.endpoint, options.quiet);
  DebugText debug_text;
  Engine engine(model, plan.configuration, FurtherConfiguration(plan, model, own));
  debug_text.Claim(engine, plan.session, task.keep_away);
  SentenceRun run(options, task, engine, plan.session);
  const InputReader reader(options.input, run.rate_hz());
  if (options.endpoint && reader.all_channels()) {
    throw Failure(ExitCode::kUsage, "--endpoint and --channel all exclude each other: a live client listens to one");
  }
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

ReportShape ShapeOf(const ReportOptions& options) {
  ReportShape shape{options.input.files.size() > 1, !options.quiet, false, options.input.channel == "all", options.details};
  shape.details.channel = options.input.channel;
  if (!options.bare) shape.details.provenance = JsonText(ProvenanceOfRun(options));
  return shape;
}

ExitCode ReportSentences(const ReportOptions& options, SentenceTask task) {
  std::vector<std::string> read = FilesOfEngine(options.engine);
  read.insert(read.end(), options.input.files.begin(), options.input.files.end());
  OutputRules rules(options.force, read);
  task.keep_away = [&](const std::string& path) {
    rules.KeepForDebugText(path);
    CheckOutput(options.output, rules);
  };
  // Before any work, which may be long.
  CheckOutput(options.output, rules);
  if (options.checksum) CheckChecksums(options.input.files);
  task.checksum = options.checksum;
  std::optional<Output> output;
  task.make_report = [&](int) {
    output.emplace(options.output, rules);
    return options.format->make(*output, ShapeOf(options));
  };
  const RunResult result = RunSentences(options, task);
  if (result.heard_any) output->Close();
  return result.code;
}

}  // namespace TSEG::tool
