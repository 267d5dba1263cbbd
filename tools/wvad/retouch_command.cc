// SPDX-License-Identifier: Apache-2.0
#include "wvad/retouch_command.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <optional>

#include "wvad/cut_plan.h"
#include "wvad/messages.h"
#include "wvad/named_rows.h"
#include "wvad/new_file.h"
#include "wvad/output.h"
#include "wvad/progress.h"
#include "wvad/report_json.h"
#include "wvad/sample_audit.h"
#include "wvad/spooled_source.h"
#include "wvad/system.h"
#include "wvad/time_map.h"

namespace TSEG::tool {
namespace {

// What was found in the recording.
struct Heard {
  std::vector<Sentence> sentences;
  std::optional<FileEnd> end;  // none: it broke off
};

class Collector : public Report {
 public:
  explicit Collector(Heard& heard) : heard_(heard) {}
  void BeginFile(const std::string&) override {}
  void Add(const Sentence& sentence, int) override { heard_.sentences.push_back(sentence); }
  void EndFile(const FileEnd& end) override { heard_.end = end; }
  void FailFile(const std::string&) override {}
  void RefuseFile(const std::string&, const std::string&) override {}
  void End() override {}

 private:
  Heard& heard_;
};

enum class Between { kLeftOut, kSilent };  // what becomes of what does not stay

class Retouch {
 public:
  Retouch(const RetouchOptions& options, Between between)
      : options_(options), between_(between), name_(options.input.files.at(0)), rules_(options.force, FilesRead()), kind_(Kind()) {
    CheckUsage();
  }

  ExitCode Run() {
    // Both are there before the work: a folder that is missing costs nothing then, and neither is begun without the other.
    NewFile file(options_.output, rules_);
    std::optional<Output> map;
    if (!options_.map.empty()) map.emplace(options_.map, rules_);
    const ExitCode code = Listen();
    if (!heard_.end || heard_.end->reason == kInterruptedReason) return code;
    std::unique_ptr<AudioSource> source = spool_ ? spool_->Again() : OpenAudio(name_, options_.input.source);
    frames_ = heard_.end->recording.frames;
    rate_hz_ = source->rate_hz();
    depth_ = source->depth();
    spans_ = SpeechOf(heard_.sentences, heard_.end->rate_hz, rate_hz_, frames_);
    if (between_ == Between::kLeftOut) spans_ = WithSilences(spans_, std::llround(options_.keep_s * rate_hz_), frames_);
    kept_ =
        std::accumulate(spans_.begin(), spans_.end(), int64_t{0}, [](int64_t sum, const FrameSpan& span) { return sum + span.length(); });
    if ((between_ == Between::kLeftOut ? kept_ : frames_) == 0 && !CanBeEmpty(kind_)) {
      throw Failure(ExitCode::kOutput,
                    options_.output + ": nothing of " + name_ + " stays, and " + kind_.name + " holds no empty sound; wav does");
    }
    Write(std::make_unique<SampleAudit>(std::move(source), 0), file);
    if (map) map->Write(MapFormOfEnding(options_.map)->text({name_, options_.output, rate_hz_, frames_, spans_, heard_.end->made_by}));
    file.Publish();
    if (map) map->Close();
    Tell();
    return code;
  }

 private:
  std::vector<std::string> FilesRead() const {
    std::vector<std::string> read = FilesBesideRecordings(options_.engine, options_.input.list.list);
    read.push_back(options_.input.files.at(0));
    return read;
  }

  const SoundFileKind& Kind() const {
    const SoundFileKind* kind = options_.kind != nullptr ? options_.kind : SoundFileKindOfEnding(options_.output);
    if (kind == nullptr) {
      RefuseFolder(options_.output);
      throw Failure(ExitCode::kUsage, options_.output + ": its ending names no kind of sound file; say which with --audio " +
                                          NamesOf(SoundFileKinds(), ", ", " or "));
    }
    return *kind;
  }

  void CheckUsage() const {
    if (options_.input.files.size() > 1) throw Failure(ExitCode::kUsage, "several recordings: call it once for each");
    if (options_.input.channel == "all")
      throw Failure(ExitCode::kUsage, "--channel all: what stays is decided for all channels at once; say mix, or which one to listen to");
    CheckOutput(options_.output, rules_);
    if (!IsForFile(options_.output))
      throw Failure(ExitCode::kUsage, options_.output + ": a sound file is completed at its begin, which a pipe or a device cannot be");
    if (options_.map.empty()) return;
    RefuseFolder(options_.map);
    if (MapFormOfEnding(options_.map) == nullptr)
      throw Failure(ExitCode::kUsage, "--map " + options_.map + ": its ending names no form; .json or .csv");
    CheckOutput(options_.map, rules_);
    if (AreOneFile(options_.map, options_.output)) throw Failure(ExitCode::kUsage, "--map and --output name one file");
  }

  ExitCode Listen() {
    SentenceOptions listening = options_;
    listening.input.tap = [this](std::unique_ptr<AudioSource> source) {
      CheckSoundFile(name_, kind_, source->rate_hz(), source->channels());
      if (!IsHeardOnce(name_)) return source;
      spool_.emplace(name_);
      return spool_->Keep(std::move(source));
    };
    SentenceTask task;
    task.made_by = true;
    task.keep_away = [this](const std::string& path) {
      rules_.KeepForDebugText(path);
      CheckOutput(options_.output, rules_);
      if (!options_.map.empty()) CheckOutput(options_.map, rules_);
    };
    task.make_report = [this](const HeardWith&) { return std::make_unique<Collector>(heard_); };
    return RunSentences(listening, task).code;
  }

  void Write(std::unique_ptr<AudioSource> source, NewFile& file) {
    constexpr size_t kBlock = 16384;
    const size_t channels = static_cast<size_t>(source->channels());
    SoundFile sound(file, kind_, source->depth(), rate_hz_, source->channels(), frames_);
    Progress progress(!options_.quiet && HasLivingTerminal(), {name_});
    std::vector<float> block(kBlock * channels);
    int64_t at = 0;
    for (size_t count = kBlock; at < frames_ && count > 0;) {
      count = source->Read(block.data(), static_cast<size_t>(std::min<int64_t>(kBlock, frames_ - at)));
      if (Interrupted()) throw Failure(ExitCode::kInterrupted, name_ + ": interrupted");
      WriteBlock(at, block, count, channels, sound);
      at += static_cast<int64_t>(count);
      progress.Show(0, Seconds(at, rate_hz_), Seconds(frames_, rate_hz_));
    }
    if (at != frames_) throw Failure(ExitCode::kNotAudio, name_ + ": has changed while it was worked on");
    sound.Finish();
  }

  // The frames [at, at + count) in `block`.
  void WriteBlock(int64_t at, std::vector<float>& block, size_t count, size_t channels, SoundFile& sound) {
    const Fader fader(spans_, int64_t{options_.fade_ms} * rate_hz_ / 1000, frames_);
    const int64_t end = at + static_cast<int64_t>(count);
    const auto samples = [&](int64_t frame) { return block.data() + static_cast<size_t>(frame - at) * channels; };
    int64_t done = at;
    for (; span_ < spans_.size() && spans_[span_].begin < end; ++span_) {
      const int64_t first = std::max(done, spans_[span_].begin);
      const int64_t last = std::min(end, spans_[span_].end);
      Silence(samples(done), samples(first));
      fader.Apply(span_, first, samples(first), static_cast<size_t>(last - first), channels);
      if (between_ == Between::kLeftOut) sound.Write(samples(first), static_cast<size_t>(last - first));
      done = last;
      if (spans_[span_].end > end) break;
    }
    Silence(samples(done), samples(end));
    if (between_ == Between::kSilent) sound.Write(block.data(), count);
  }

  static void Silence(float* begin, float* end) { std::fill(begin, end, 0.0F); }

  void Tell() const {
    if (options_.quiet) return;
    const std::string share = Fixed(Seconds(kept_, rate_hz_), 2) + " of " + Fixed(Seconds(frames_, rate_hz_), 2) + " s";
    SayNote(options_.output + ": " + share + (between_ == Between::kLeftOut ? " kept" : " left as they were") +
            (heard_.sentences.empty() ? "; no sentences found" : "") +
            (depth_ == SampleDepth::k32 && IsLossless(kind_) ? "; of 32 bits the upper 24 are written" : ""));
  }

  const RetouchOptions& options_;
  Between between_;
  std::string name_;
  OutputRules rules_;
  const SoundFileKind& kind_;
  std::optional<SampleSpool> spool_;
  Heard heard_;
  int rate_hz_ = 0;
  SampleDepth depth_ = SampleDepth::k16;
  int64_t frames_ = 0;
  std::vector<FrameSpan> spans_;  // that stay
  int64_t kept_ = 0;              // frames of them
  size_t span_ = 0;               // the first that does not lie wholly behind
};

}  // namespace

ExitCode RunTrim(const RetouchOptions& options) { return Retouch(options, Between::kLeftOut).Run(); }

ExitCode RunMute(const RetouchOptions& options) { return Retouch(options, Between::kSilent).Run(); }

}  // namespace TSEG::tool
