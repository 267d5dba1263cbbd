// SPDX-License-Identifier: Apache-2.0
#include "wvad/segment_command.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "wvad/audio_source.h"
#include "wvad/engine.h"
#include "wvad/level.h"
#include "wvad/model_finder.h"
#include "wvad/parameters.h"
#include "wvad/pcm_stream.h"
#include "wvad/progress.h"
#include "wvad/recording.h"
#include "wvad/report.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

constexpr const char* kInterruptedReason = "interrupt";

template <typename Number>
std::optional<Number> ParseWhole(const std::string& text) {
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

int ParseChannel(const std::string& text) {
  if (text == "mix") return kMixChannels;
  const std::optional<int> number = ParseWhole<int>(text);
  if (!number || *number < 1) throw Failure(ExitCode::kUsage, "--channel " + text + ": expected a number from 1, or mix");
  return *number;
}

// Nothing for "auto".
std::optional<double> ParseGain(const std::string& text) {
  if (text == "auto") return std::nullopt;
  const std::optional<double> gain = ParseWhole<double>(text);
  if (!gain || !(std::fabs(*gain) <= 60)) throw Failure(ExitCode::kUsage, "--gain " + text + ": expected decibels from -60 to 60, or auto");
  return gain;
}

std::string ReadConfiguration(const std::string& path) {
  if (path.empty()) return {};
  std::ifstream in(path, std::ios::binary);
  if (!in) throw Failure(ExitCode::kBadParameter, path + ": the configuration file cannot be opened");
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// One run over all files, with what they share.
class Segmenter {
 public:
  Segmenter(const SegmentOptions& options, Detector& detector, ParameterList parameters, Output& output)
      : options_(options),
        detector_(detector),
        parameters_(std::move(parameters)),
        output_(output),
        channel_(ParseChannel(options.channel)),
        gain_db_(ParseGain(options.gain)) {
    // Every parameter is tried once before any audio is touched, so that a mistake costs nothing. The rate alone outlives a session.
    const Session trial(detector_, parameters_);
    rate_hz_ = ParseWhole<int>(detector_.Get("VAD_PARAM_SAMPLERATE")).value_or(16000);
    if (detector_.Get("wvad_param_k4_energy") == "0") floor_ = ParseWhole<int>(detector_.Get("wvad_param_nEnergyThreshhood"));
  }

  void File(const std::string& name, Report& report) {
    // Opened before it is announced: a missing file has no table.
    std::unique_ptr<AudioSource> source;
    std::optional<PcmStream> opened;
    try {
      source = Open(name);
      const double gain_db = gain_db_ ? *gain_db_ : MeasureGain(name);
      opened.emplace(*source, name, channel_, rate_hz_, options_.chunk_ms, gain_db);
    } catch (const Failure& failure) {
      report.RefuseFile(name, failure.what());
      throw;
    }
    PcmStream& stream = *opened;
    const double total = source->frames() > 0 ? static_cast<double>(source->frames()) / source->rate_hz() : 0;
    Progress progress(!options_.quiet && !(name == "-" && output_.is_terminal()) && IsTerminal(STDERR_FILENO), name, total);
    LevelMeter level(rate_hz_);
    report.BeginFile(name);
    int64_t sentences = 0;
    const Recording::Sink sink = [&](const Sentence& sentence) {
      if (output_.is_terminal()) progress.Hide();
      report.Add(sentence, rate_hz_);
      ++sentences;
    };
    const auto heard = [&](const std::vector<int16_t>& piece) {
      level.Feed(piece.data(), piece.size());
      progress.Show(static_cast<double>(stream.frames_read()) / source->rate_hz());
    };
    try {
      const FileEnd end = options_.endpoint ? ToEndpoint(stream, sink, heard) : ToTheEnd(stream, sink, heard);
      progress.Hide();
      report.EndFile(end);
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kOutput) report.FailFile(failure.what());
      throw;
    }
    if (Interrupted()) throw Failure(ExitCode::kInterrupted, name + ": interrupted");
    if (sentences == 0 && !options_.quiet) Advise(name, level);
  }

 private:
  std::unique_ptr<AudioSource> Open(const std::string& name) const {
    return name == "-" ? OpenStandardInput(options_.rate_hz, options_.channels) : OpenAudioFile(name);
  }

  // A first pass over the whole file.
  double MeasureGain(const std::string& name) const {
    if (name == "-") throw Failure(ExitCode::kUsage, "-: --gain auto needs a file that can be read twice");
    const std::unique_ptr<AudioSource> source = Open(name);
    PcmStream stream(*source, name, channel_, rate_hz_, 1000, 0);
    LevelMeter level(rate_hz_);
    for (std::vector<int16_t> piece; stream.Next(&piece);) level.Feed(piece.data(), piece.size());
    return level.AutoGainDb();
  }

  template <typename Heard>
  FileEnd ToTheEnd(PcmStream& stream, const Recording::Sink& sink, const Heard& heard) {
    Recording recording(detector_, parameters_, rate_hz_, RenewalPolicy{}, sink);
    for (std::vector<int16_t> piece; !Interrupted() && stream.Next(&piece);) {
      recording.Feed(piece);
      heard(piece);
    }
    recording.Finish();
    FileEnd end;
    if (Interrupted()) end.reason = kInterruptedReason;
    end.rate_hz = rate_hz_;
    end.samples = recording.samples();
    end.others = recording.others();
    return end;
  }

  // As a live client does: one session, and nothing is sent any more once the engine has had enough.
  template <typename Heard>
  FileEnd ToEndpoint(PcmStream& stream, const Recording::Sink& sink, const Heard& heard) {
    Session session(detector_, parameters_);
    FileEnd end;
    end.rate_hz = rate_hz_;
    end.endpoint = true;
    const int64_t frame_samples = rate_hz_ / 100;
    const auto pass_on = [&] {
      for (const SessionSentence& found : session.TakeClosed()) {
        sink({found.begin_frame * frame_samples, found.end_frame * frame_samples, found.vol, found.trig, found.eg});
      }
    };
    for (std::vector<int16_t> piece; !session.ended() && !Interrupted() && stream.Next(&piece);) {
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
    end.others = session.others();
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

  const SegmentOptions& options_;
  Detector& detector_;
  ParameterList parameters_;
  Output& output_;
  int channel_;
  std::optional<double> gain_db_;
  int rate_hz_ = 16000;
  std::optional<int> floor_;  // the fixed energy floor; none with the adaptive one
};

}  // namespace

ExitCode RunSegment(const SegmentOptions& options) {
  RememberInterrupts();
  const ParameterPlan plan = PlanParameters(options.settings, options.endpoint);
  Engine engine(FindModel(options.model, options.models_dir), plan.configuration, ReadConfiguration(options.config));
  Detector detector(engine);
  Output output(options.output);
  Segmenter segmenter(options, detector, plan.session, output);
  const std::unique_ptr<Report> report = MakeReport(options.format, output, options.files.size() > 1, !options.quiet);
  ExitCode result = ExitCode::kSuccess;
  for (const std::string& name : options.files) {
    try {
      segmenter.File(name, *report);
    } catch (const Failure& failure) {
      // Without output there is nothing to go on for.
      if (failure.code() == ExitCode::kOutput) throw;
      std::fprintf(stderr, "wvad: %s\n", failure.what());
      if (result == ExitCode::kSuccess) result = failure.code();
      if (Interrupted()) break;
    }
  }
  report->End();
  output.Close();
  return result;
}

}  // namespace TSEG::tool
