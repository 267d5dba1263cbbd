// SPDX-License-Identifier: Apache-2.0
#include "wvad/input.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

#include "wvad/file_system.h"
#include "wvad/level.h"
#include "wvad/sample_audit.h"
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
  if (text == "all") return kAllChannels;
  const std::optional<int> number = ParseWhole<int>(text);
  if (!number || *number < 1) throw Failure(ExitCode::kUsage, "--channel " + text + ": expected a number from 1, mix or all");
  return *number;
}

// Nothing for "auto".
std::optional<double> ParseGain(const std::string& text) {
  if (text == "auto") return std::nullopt;
  const std::optional<double> gain = ParseWhole<double>(text);
  if (!gain || !(std::fabs(*gain) <= 60)) throw Failure(ExitCode::kUsage, "--gain " + text + ": expected decibels from -60 to 60, or auto");
  return gain;
}

[[noreturn]] void CannotMeasure(const std::string& name) {
  throw Failure(ExitCode::kUsage, name + ": --gain auto hears a recording twice, which this one cannot be; say --gain DB");
}

}  // namespace

std::optional<int> ParseInt(const std::string& text) { return ParseWhole<int>(text); }

Input::Input(std::unique_ptr<AudioSource> source, const std::string& name, int channel, int engine_rate_hz, int chunk_ms, double gain_db)
    : source_(std::move(source)), stream_(*source_, name, channel, engine_rate_hz, chunk_ms, gain_db) {}

InputReader::InputReader(const InputOptions& options, int engine_rate_hz)
    : options_(options), engine_rate_hz_(engine_rate_hz), channel_(ParseChannel(options.channel)), gain_db_(ParseGain(options.gain)) {
  if (std::count(options.files.begin(), options.files.end(), "-") > 1) {
    throw Failure(ExitCode::kUsage, "- is given twice; standard input can be heard once");
  }
}

std::unique_ptr<Input> InputReader::Open(const std::string& name) const {
  const FileKind kind = (name == "-" ? LookAtDescriptor(kStandardInput) : LookAt(name)).kind;
  if (!gain_db_ && kind == FileKind::kSpecial) CannotMeasure(name);
  std::unique_ptr<AudioSource> source = OpenAudio(name, options_.source);
  const double gain_db = gain_db_ ? *gain_db_ : MeasureGain(name);
  return std::make_unique<Input>(std::make_unique<SampleAudit>(std::move(source), gain_db), name, channel_, engine_rate_hz_,
                                 options_.chunk_ms, gain_db);
}

double InputReader::MeasureGain(const std::string& name) const {
  SampleAudit source(OpenAudio(name, options_.source), 0);
  PcmStream stream(source, name, channel_, engine_rate_hz_, 1000, 0);
  std::vector<LevelMeter> levels(stream.lanes(), LevelMeter(engine_rate_hz_));
  for (std::vector<std::vector<int16_t>> pieces; !Interrupted() && stream.Next(&pieces);) {
    for (size_t lane = 0; lane < pieces.size(); ++lane) levels[lane].Feed(pieces[lane].data(), pieces[lane].size());
  }
  // One gain for all channels: what the loudest bears.
  std::optional<double> gain_db;
  for (const LevelMeter& level : levels) {
    if (level.silent()) continue;
    gain_db = std::min(gain_db.value_or(level.AutoGainDb()), level.AutoGainDb());
  }
  return gain_db.value_or(0.0);
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
