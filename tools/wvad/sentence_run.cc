// SPDX-License-Identifier: Apache-2.0
#include "wvad/sentence_run.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <map>
#include <mutex>
#include <utility>

#include "wvad/checksum.h"
#include "wvad/debug_text.h"
#include "wvad/engine_config.h"
#include "wvad/floor_note.h"
#include "wvad/in_order.h"
#include "wvad/messages.h"
#include "wvad/model_choice.h"
#include "wvad/progress.h"
#include "wvad/provenance.h"
#include "wvad/recorded_report.h"
#include "wvad/recording.h"
#include "wvad/recording_files.h"
#include "wvad/recording_note.h"
#include "wvad/report_json.h"
#include "wvad/sentence_engine.h"
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

// An engine, and what reports are told of it.
struct Listener {
  Listener(const EngineOptions& options, const SentenceUse& use, const std::string& configuration,
           const SentenceEngine::BeforeSessions& before_sessions)
      : engine(options, use, configuration, before_sessions) {}
  SentenceEngine engine;
  HeardWith with;
};

// Feeds the channels of a recording by turns of at most 10 ms, from multiples of it on: a frame ends in no more than one of them, and
// sentences stand in the order in which they are known, those of one frame by channel, whatever the length of the pieces.
class Turns {
 public:
  explicit Turns(int rate_hz) : turn_(static_cast<size_t>(rate_hz) / 100) {}

  void Feed(const std::vector<std::vector<int16_t>>& pieces, const std::vector<std::unique_ptr<Recording>>& lanes) {
    const size_t count = pieces[0].size();
    for (size_t from = 0; from < count;) {
      const size_t length = lanes.size() == 1 ? count : std::min(count - from, turn_ - fed_ % turn_);
      for (size_t lane = 0; lane < lanes.size(); ++lane) lanes[lane]->Feed(pieces[lane].data() + from, length);
      from += length;
      fed_ += length;
    }
  }

 private:
  size_t turn_;
  size_t fed_ = 0;  // samples of each channel
};

// One run over all files, with what they share.
class SentenceRun {
 public:
  SentenceRun(const SentenceOptions& options, const SentenceTask& task, PerForm<Listener>& listeners, Progress& progress)
      : options_(options), task_(task), listeners_(listeners), progress_(progress) {}

  bool heard_any() const { return heard_any_; }

  // Work that is going on comes to an end, as if interrupted. Any thread may call.
  void Abandon() {
    abandoned_ = true;
    StopReading();
  }

  void File(const InputReader& reader, size_t index, Report& report) {
    const std::string& name = options_.input.files[index];
    if (Stopped()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    const DoneAtLast done{progress_, index};
    // Opened before it is announced: a missing file has no table.
    std::unique_ptr<Input> input;
    Listener* listener = nullptr;
    try {
      input = reader.Open(name, [&](int rate_hz) {
        listener = &listeners_.For(rate_hz);
        return listener->engine.rate_hz();
      });
    } catch (const NoSound& failure) {
      if (options_.input.walked.count(name) == 0) report.Refuse(name, failure);
      throw;
    } catch (const Failure& failure) {
      report.Refuse(name, failure);
      throw;
    }
    report.HearWith(listener->with);
    report.BeginFile(name);
    heard_any_ = true;
    FileEnd end;
    try {
      end = Listen(*input, *listener, index, reader.all_channels(), report);
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kOutput) report.Fail(failure);
      throw;
    }
    if (Stopped()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    if (!end.damage.empty()) throw Failure(ExitCode::kNotAudio, name + ": " + end.damage);
  }

 private:
  using Pieces = std::vector<std::vector<int16_t>>;
  using Step = std::function<void()>;

  // A recording is done with, whether it failed or not.
  struct DoneAtLast {
    Progress& progress;
    size_t index;
    ~DoneAtLast() { progress.Done(index); }
  };

  bool Stopped() const { return Interrupted() || abandoned_; }

  // An instance for each channel that is listened to at once.
  Detector& DetectorOf(SentenceEngine& engine, size_t lane) {
    static std::mutex one_at_a_time;
    const std::lock_guard<std::mutex> lock(one_at_a_time);
    std::vector<std::unique_ptr<Detector>>& detectors = detectors_[&engine];
    while (detectors.size() <= lane) detectors.push_back(std::make_unique<Detector>(engine.engine()));
    return *detectors[lane];
  }

  FileEnd Listen(Input& input, Listener& listener, size_t index, bool all_channels, Report& report) {
    SentenceEngine& engine = listener.engine;
    const std::string& name = options_.input.files[index];
    const bool typing = name == "-" && report.on_terminal();
    FloorNote floor_note(engine.floor(), engine.rate_hz());
    std::vector<std::unique_ptr<Observed>> observed;
    for (size_t lane = 0; lane < input.lanes(); ++lane)
      observed.push_back(std::make_unique<Observed>(DetectorOf(engine, lane), floor_note));
    const Recording::Sink sink = [&](const Sentence& sentence) {
      if (report.on_terminal()) progress_.Hide();
      report.Add(sentence, engine.rate_hz());
    };
    const Step heard = [&] {
      if (!typing) progress_.Show(index, input.seconds_read(), input.seconds_total());
    };
    FileEnd end = options_.endpoint ? ToEndpoint(input, engine, sink, heard) : ToTheEnd(input, engine, all_channels, sink, heard);
    if (report.on_terminal()) progress_.Hide();
    end.note = NoteOf(input);
    if (end.note.empty()) end.note = floor_note.Text(GainAdvice(name));
    end.recording = Facts(input, name, end);
    end.made_by = listener.with.made_by;
    report.EndFile(end);
    if (!end.note.empty() && !options_.quiet && !Stopped()) {
      progress_.Hide();
      report.Say(name + ": note: " + end.note);
    }
    return end;
  }

  RecordingFacts Facts(const Input& input, const std::string& name, const FileEnd& end) const {
    const bool to_its_end = end.reason == kWholeReason;
    return {input.source_rate_hz(), input.source_channels(), to_its_end ? input.frames_read() : input.frames_total(),
            task_.checksum ? Sha256Of(FilesOfRecording(name)) : "", input.measured_gain_db()};
  }

  FileEnd ToTheEnd(Input& input, SentenceEngine& engine, bool all_channels, const Recording::Sink& sink, const Step& heard) {
    std::vector<std::unique_ptr<Recording>> lanes;
    for (size_t lane = 0; lane < input.lanes(); ++lane) {
      const int channel = all_channels ? static_cast<int>(lane) + 1 : 0;
      const Recording::Sink of_channel = [&sink, channel](const Sentence& sentence) {
        Sentence named = sentence;
        named.channel = channel;
        sink(named);
      };
      lanes.push_back(std::make_unique<Recording>(DetectorOf(engine, lane), engine.parameters(), engine.rate_hz(), PolicyFor(task_),
                                                  all_channels ? of_channel : sink, engine.frame_bytes()));
    }
    Turns turns(engine.rate_hz());
    for (Pieces pieces; !Stopped() && input.Next(&pieces);) {
      turns.Feed(pieces, lanes);
      heard();
    }
    FileEnd end;
    end.rate_hz = engine.rate_hz();
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
    if (Stopped()) {
      end.reason = kInterruptedReason;
    } else {
      end.damage = input.damage();
    }
    return end;
  }

  // As a live client does: one session, and nothing is sent any more once the engine has had enough.
  FileEnd ToEndpoint(Input& input, SentenceEngine& engine, const Recording::Sink& sink, const Step& heard) {
    Session session(DetectorOf(engine, 0), engine.parameters(), engine.frame_bytes());
    FileEnd end;
    end.rate_hz = engine.rate_hz();
    end.endpoint = true;
    const int64_t frame_samples = engine.rate_hz() / 100;
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
    for (Pieces pieces; !session.ended() && !Stopped() && input.Next(&pieces);) {
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
      if (Stopped()) {
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
  PerForm<Listener>& listeners_;
  Progress& progress_;
  std::atomic<bool> abandoned_ = false;
  std::map<SentenceEngine*, std::vector<std::unique_ptr<Detector>>> detectors_;
  bool heard_any_ = false;
};

// For those who want nothing told.
class NoReport : public Report {
 public:
  void BeginFile(const std::string&) override {}
  void Add(const Sentence&, int) override {}
  void EndFile(const FileEnd&) override {}
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}
};

// One recording after the other, told while it is heard.
ExitCode OneByOne(const SentenceOptions& options, const SentenceTask& task, SentenceRun& run, const InputReader& reader, Report& told,
                  Progress& progress) {
  const std::unique_ptr<Report> saving = task.save ? task.save(&told) : nullptr;
  Report& report = saving ? *saving : told;
  const auto hide = [&progress] { progress.Hide(); };
  return ForEachFile(options.input, options.quiet, hide, [&](size_t index, const std::string&) { run.File(reader, index, report); });
}

// Several at once, each told as a whole when its turn has come.
ExitCode SeveralAtOnce(const SentenceOptions& options, const SentenceTask& task, const std::vector<std::unique_ptr<SentenceRun>>& runs,
                       const InputReader& reader, Report& told, Progress& progress) {
  struct Outcome {
    RecordedReport report;
    std::exception_ptr failure;
  };
  std::vector<std::unique_ptr<Outcome>> outcomes(options.input.files.size());
  FileTally tally(options.input, [&progress] { progress.Hide(); });
  InOrderWork work;
  work.work = [&](size_t worker, size_t index) {
    auto outcome = std::make_unique<Outcome>();
    try {
      const std::unique_ptr<Report> saving = task.save ? task.save(&outcome->report) : nullptr;
      runs[worker]->File(reader, index, saving ? *saving : outcome->report);
    } catch (...) {
      outcome->failure = std::current_exception();
    }
    outcomes[index] = std::move(outcome);
  };
  work.finish = [&](size_t index) {
    const std::unique_ptr<Outcome> outcome = std::move(outcomes[index]);
    const Progress::Pause pause(progress);
    return tally.Do(options.input.files[index], [&] {
      outcome->report.Replay(told);
      if (outcome->failure) std::rethrow_exception(outcome->failure);
    });
  };
  work.abandon = [&] {
    for (const std::unique_ptr<SentenceRun>& run : runs) run->Abandon();
  };
  WorkInOrder(options.input.files.size(), runs.size(), work);
  return tally.Finish(options.quiet);
}

void EndQuietly(Report& report) {
  try {
    report.End();
  } catch (const Failure&) {
    // The failure that led here is the one to tell.
  }
}

std::unique_ptr<Listener> MakeListener(const SentenceOptions& options, const EngineOptions& of_form, const SentenceTask& task,
                                       const std::string& configuration, DebugText& debug_text) {
  const auto claim = [&](Engine& engine, const ParameterList& parameters) {
    if (!debug_text.claimed()) debug_text.Claim(engine, parameters, task.keep_away);
  };
  const SentenceUse use = {options.endpoint, task.handout, task.quality};
  auto listener = std::make_unique<Listener>(of_form, use, configuration, claim);
  SentenceOptions told = options;
  told.engine = of_form;
  listener->with = {of_form.model, listener->engine.rate_hz(), task.made_by ? JsonText(ProvenanceOfRun(told)) : ""};
  return listener;
}

}  // namespace

RunResult RunSentences(const SentenceOptions& options, const SentenceTask& task) {
  RememberInterrupts();
  const std::string configuration = ReadConfiguration(options.engine.config, options.endpoint, options.quiet);
  DebugText debug_text;
  PerForm<Listener> listeners(
      options.engine, [&](const EngineOptions& of_form) { return MakeListener(options, of_form, task, configuration, debug_text); });
  const size_t workers = std::clamp<size_t>(static_cast<size_t>(options.input.jobs), 1, options.input.files.size());
  if (workers > 1) listeners.MakeAll();
  const int first_rate_hz = listeners.choice().is_open() ? RateAhead(options.input.files[0], options.input.source) : 0;
  const HeardWith first = listeners.For(first_rate_hz).with;
  Progress progress(!options.quiet && HasLivingTerminal(), options.input.files);
  std::vector<std::unique_ptr<SentenceRun>> runs;
  while (runs.size() < workers) runs.push_back(std::make_unique<SentenceRun>(options, task, listeners, progress));
  const InputReader reader(options.input);
  if (options.endpoint && reader.all_channels()) {
    throw Failure(ExitCode::kUsage, "--endpoint and --channel all exclude each other: a live client listens to one");
  }
  std::unique_ptr<Report> report = task.make_report(first);
  if (!report) report = std::make_unique<NoReport>();
  RunResult result;
  try {
    result.code = workers == 1 ? OneByOne(options, task, *runs[0], reader, *report, progress)
                               : SeveralAtOnce(options, task, runs, reader, *report, progress);
  } catch (const Failure&) {
    // What has been told until then shall be a whole document, if there is room for its end.
    EndQuietly(*report);
    throw;
  }
  report->End();
  for (const std::unique_ptr<SentenceRun>& run : runs) result.heard_any |= run->heard_any();
  return result;
}

}  // namespace TSEG::tool
