// SPDX-License-Identifier: Apache-2.0
#include "wvad/page_command.h"

#include <filesystem>
#include <system_error>

#include "wvad/engine_config.h"
#include "wvad/failure.h"
#include "wvad/file_system.h"
#include "wvad/media_source.h"
#include "wvad/messages.h"
#include "wvad/model_choice.h"
#include "wvad/output.h"
#include "wvad/output_options.h"
#include "wvad/page_document.h"
#include "wvad/progress.h"
#include "wvad/recording_name.h"
#include "wvad/recording_note.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

// The way from the page to the recording, as a URL; absolute where the page goes to no file.
std::string LinkTo(const std::string& recording, const std::string& page) {
  if (IsAddress(recording)) return recording;
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::path target = fs::absolute(PathOf(recording), error).lexically_normal();
  if (LookAt(page).kind == FileKind::kSpecial || page == "-") return FileUrl(recording);
  const fs::path way = target.lexically_proximate(fs::absolute(PathOf(page), error).lexically_normal().parent_path());
  if (way.is_absolute()) return FileUrl(recording);  // on another drive
  constexpr std::string_view kPlain = "-._~/ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  std::string url;
  for (const char c : SlashedNameOf(way)) {
    const unsigned code = static_cast<unsigned char>(c);
    if (kPlain.find(c) != std::string_view::npos) {
      url += c;
    } else {
      url += {'%', "0123456789ABCDEF"[code >> 4], "0123456789ABCDEF"[code & 15]};
    }
  }
  return url;
}

void CheckUsage(const PageOptions& options) {
  if (options.input.files.size() > 1) throw Failure(ExitCode::kUsage, "a page shows one recording; call it once for each");
  if (options.input.channel == "all") throw Failure(ExitCode::kUsage, "--channel all: a page shows one channel, or the mean of all");
  if (options.link_audio && options.input.files[0] == "-")
    throw Failure(ExitCode::kUsage, "--link-audio: standard input has no place to link to");
}

// What is told on standard error once the page is there.
Failure Damage(const PageRecording& recording) { return Failure(ExitCode::kNotAudio, recording.name + ": " + recording.damage); }

class PageRun {
 public:
  explicit PageRun(const PageOptions& options)
      : options_(options), name_(options.input.files[0]), configuration_(ReadConfiguration(options.engine.config, false, options.quiet)) {}

  // The recording is heard once, at the rate of the first engine, and kept: standard input comes only once.
  void Run(std::vector<EngineOptions> tracks) {
    std::unique_ptr<TracedEngine> engine;
    const InputReader reader(options_.input);
    const std::unique_ptr<Input> input = reader.Open(name_, [&](int rate_hz) {
      ChooseForms(tracks, rate_hz);
      engine = std::make_unique<TracedEngine>(tracks[0], configuration_);
      return engine->rate_hz();
    });
    Hear(*input);
    for (const EngineOptions& track : tracks) {
      if (!engine) engine = std::make_unique<TracedEngine>(track, configuration_);
      Add(track, *engine);
      engine.reset();
    }
  }

  const PageRecording& recording() const { return recording_; }
  const std::vector<PageTrack>& tracks() const { return tracks_; }

 private:
  void Add(const EngineOptions& options, TracedEngine& engine) {
    if (engine.rate_hz() != recording_.rate_hz) {
      throw Failure(ExitCode::kUsage, "one page cannot show engines of " + std::to_string(recording_.rate_hz) + " and " +
                                          std::to_string(engine.rate_hz()) + " Hz");
    }
    Progress progress(!options_.quiet && HasLivingTerminal(), {options.model});
    const size_t piece = static_cast<size_t>(recording_.rate_hz) * static_cast<size_t>(options_.input.chunk_ms) / 1000;
    tracks_.push_back(MakeTrack(options, engine, recording_.samples, powers_, piece,
                                [&](int64_t samples) { progress.Show(0, static_cast<double>(samples) / recording_.rate_hz, Seconds()); }));
    CheckInterrupt();
  }

  double Seconds() const { return static_cast<double>(recording_.samples.size()) / recording_.rate_hz; }

  void Hear(Input& input) {
    Progress progress(!options_.quiet && HasLivingTerminal(), {name_});
    recording_.name = name_;
    recording_.rate_hz = input.engine_rate_hz();
    for (std::vector<std::vector<int16_t>> pieces; !Interrupted() && input.Next(&pieces);) {
      recording_.samples.insert(recording_.samples.end(), pieces[0].begin(), pieces[0].end());
      progress.Show(0, input.seconds_read(), input.seconds_total());
    }
    CheckInterrupt();
    recording_.damage = input.damage();
    recording_.note = NoteOf(input);
    powers_ = FramePowers(recording_.samples, recording_.rate_hz);
    if (options_.link_audio) recording_.sound_link = LinkTo(name_, options_.output);
  }

  void CheckInterrupt() const {
    if (Interrupted()) throw Failure(ExitCode::kInterrupted, name_ + ": interrupted");
  }

  const PageOptions& options_;
  std::string name_;
  std::string configuration_;
  PageRecording recording_;
  std::vector<float> powers_;
  std::vector<PageTrack> tracks_;
};

}  // namespace

std::vector<EngineOptions> TracksOf(const PageOptions& options) {
  std::vector<EngineOptions> tracks;
  for (const std::string& model : options.models) {
    tracks.push_back(options.engine);
    tracks.back().model = model;
  }
  for (const std::string& compared : options.compared) {
    EngineOptions track = tracks.front();
    for (size_t from = 0; from <= compared.size();) {
      const size_t comma = std::min(compared.find(',', from), compared.size());
      const std::string part = compared.substr(from, comma - from);
      if (part.empty())
        throw Failure(ExitCode::kUsage, "--compare " + compared + ": expected MODEL, NAME=VALUE, or several with commas between");
      if (part.find('=') == std::string::npos) {
        track.model = part;
      } else {
        track.settings.push_back(part);
      }
      from = comma + 1;
    }
    tracks.push_back(track);
  }
  return tracks;
}

ExitCode RunPage(const PageOptions& options) {
  RememberInterrupts();
  CheckUsage(options);
  const std::vector<EngineOptions> tracks = TracksOf(options);
  std::vector<std::string> read = options.input.files;
  for (const EngineOptions& track : tracks) {
    const std::vector<std::string> files = FilesBesideRecordings(track, options.input.list.list);
    read.insert(read.end(), files.begin(), files.end());
  }
  const OutputRules rules(options.force, read);
  CheckOutput(options.output, rules);
  RefuseSoundName(options.output, false);
  if (!IsPageName(options.output)) RefuseOtherForm(options.output, false);
  Output output(options.output, rules);  // a place that cannot be written is found before the work
  PageRun run(options);
  run.Run(tracks);
  WritePage(run.recording(), run.tracks(), [&](std::string_view text) { output.Write(text); });
  output.Close();
  if (!run.recording().note.empty() && !options.quiet) {
    SayNote(run.recording().name + ": note: " + run.recording().note);
  }
  if (!run.recording().damage.empty()) throw Damage(run.recording());
  return ExitCode::kSuccess;
}

}  // namespace TSEG::tool
