// SPDX-License-Identifier: Apache-2.0
#include "wvad/input.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

#include "wvad/level.h"
#include "wvad/system.h"

namespace TSEG::tool {
namespace {

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

}  // namespace

std::optional<int> ParseInt(const std::string& text) { return ParseWhole<int>(text); }

Input::Input(std::unique_ptr<AudioSource> source, const std::string& name, int channel, int engine_rate_hz, int chunk_ms, double gain_db)
    : source_(std::move(source)), stream_(*source_, name, channel, engine_rate_hz, chunk_ms, gain_db) {}

InputReader::InputReader(const InputOptions& options, int engine_rate_hz)
    : options_(options), engine_rate_hz_(engine_rate_hz), channel_(ParseChannel(options.channel)), gain_db_(ParseGain(options.gain)) {}

std::unique_ptr<Input> InputReader::Open(const std::string& name) const {
  std::unique_ptr<AudioSource> source = OpenSource(name);
  const double gain_db = gain_db_ ? *gain_db_ : MeasureGain(name);
  return std::make_unique<Input>(std::move(source), name, channel_, engine_rate_hz_, options_.chunk_ms, gain_db);
}

std::unique_ptr<AudioSource> InputReader::OpenSource(const std::string& name) const {
  return name == "-" ? OpenStandardInput(options_.rate_hz, options_.channels) : OpenAudioFile(name);
}

double InputReader::MeasureGain(const std::string& name) const {
  if (name == "-") throw Failure(ExitCode::kUsage, "-: --gain auto needs a file that can be read twice");
  const std::unique_ptr<AudioSource> source = OpenSource(name);
  PcmStream stream(*source, name, channel_, engine_rate_hz_, 1000, 0);
  LevelMeter level(engine_rate_hz_);
  for (std::vector<int16_t> piece; stream.Next(&piece);) level.Feed(piece.data(), piece.size());
  return level.AutoGainDb();
}

ExitCode ForEachFile(const std::vector<std::string>& files, const std::function<void(const std::string&)>& work) {
  ExitCode result = ExitCode::kSuccess;
  for (const std::string& name : files) {
    try {
      work(name);
    } catch (const Failure& failure) {
      if (failure.code() == ExitCode::kOutput) throw;
      std::fprintf(stderr, "wvad: %s\n", failure.what());
      if (result == ExitCode::kSuccess) result = failure.code();
      if (Interrupted()) break;
    }
  }
  return result;
}

}  // namespace TSEG::tool
