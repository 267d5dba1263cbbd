// SPDX-License-Identifier: Apache-2.0
#include "wvad/input.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>
#include <system_error>
#include <utility>

#include "wvad/container.h"
#include "wvad/file_system.h"
#include "wvad/level.h"
#include "wvad/media_source.h"
#include "wvad/messages.h"
#include "wvad/piece_list.h"
#include "wvad/recording_name.h"
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

// What is called like sound and is none is told when its turn comes. Lists lead to recordings that lie in folders themselves.
bool LooksLikeAudio(const std::string& name) {
  if (IsSoundName(name)) return true;
  try {
    const std::unique_ptr<ByteSource> bytes = OpenBytes(name);
    return Recognise(*bytes) != Container::kNone && !IsList(*bytes);
  } catch (const Failure&) {
    return true;  // so is this
  }
}

std::string Files(size_t count) { return std::to_string(count) + (count == 1 ? " file" : " files"); }

std::string NoRecordingAmong(size_t passed_over) {
  return "there is no recording: " + Files(passed_over) + " in folders, none of them audio";
}

// ", and 2 more" behind the first.
std::string AndMore(size_t count) { return count > 1 ? ", and " + std::to_string(count - 1) + " more" : ""; }

void TellRepeated(const FileList& found) {
  if (!found.again.empty()) SayNote("note: " + found.again[0] + " is named twice and heard once" + AndMore(found.again.size()));
  std::map<std::pair<uint64_t, uint64_t>, const std::string*> names;
  std::string first;
  size_t others = 0;
  for (const std::string& name : found.files) {
    const FileLook look = name == "-" ? FileLook() : LookAt(name);
    if (look.kind != FileKind::kFile) continue;
    const auto [row, fresh] = names.emplace(std::pair(look.device, look.inode), &name);
    if (!fresh && others++ == 0) first = name + " is " + *row->second + " by another name, and heard as well";
  }
  if (others > 0) SayNote("note: " + first + AndMore(others));
}

}  // namespace

bool IsHeardOnce(const std::string& name) { return name == "-" || IsAddress(name) || LookAt(name).kind == FileKind::kSpecial; }

std::optional<int> ParseInt(const std::string& text) { return ParseWhole<int>(text); }

Input::Input(std::unique_ptr<AudioSource> source, const std::string& name, int channel, int engine_rate_hz, int chunk_ms, double gain_db,
             bool gain_measured)
    : source_(std::move(source)),
      engine_rate_hz_(engine_rate_hz),
      measured_gain_db_(gain_measured ? std::optional<double>(gain_db) : std::nullopt),
      stream_(*source_, name, channel, engine_rate_hz, chunk_ms, gain_db) {}

InputReader::InputReader(const InputOptions& options)
    : options_(options), channel_(ParseChannel(options.channel)), gain_db_(ParseGain(options.gain)) {
  if (std::count(options.files.begin(), options.files.end(), "-") > 1) {
    throw Failure(ExitCode::kUsage, "- is given twice; standard input can be heard once");
  }
}

std::unique_ptr<Input> InputReader::Open(const std::string& name, const EngineRate& engine_rate) const {
  const FileKind kind = (name == "-" ? LookAtDescriptor(kStandardInput) : LookAt(name)).kind;
  if (!gain_db_ && kind == FileKind::kSpecial) CannotMeasure(name);
  if (name == "-" && options_.hints && IsTerminal(kStandardInput)) {
    SayNote(
        "note: listening to what is typed here, which is hardly meant; give FILE, or a pipe such as arecord -f cd | wvad segment - "
        "(Ctrl-D ends it)");
  }
  std::unique_ptr<AudioSource> source = OpenAudio(name, options_.source);
  if (options_.tap) source = options_.tap(std::move(source));
  const int engine_rate_hz = engine_rate(source->rate_hz());
  const double gain_db = gain_db_ ? *gain_db_ : MeasureGain(name, engine_rate_hz);
  return std::make_unique<Input>(std::make_unique<SampleAudit>(std::move(source), gain_db), name, channel_, engine_rate_hz,
                                 options_.chunk_ms, gain_db, !gain_db_);
}

double InputReader::MeasureGain(const std::string& name, int engine_rate_hz) const {
  SampleAudit source(OpenAudio(name, options_.source), 0);
  PcmStream stream(source, name, channel_, engine_rate_hz, 1000, 0);
  std::vector<LevelMeter> levels(stream.lanes(), LevelMeter(engine_rate_hz));
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

void FindFiles(InputOptions& options) {
  FileList found = ListFiles(options.list);
  if (options.hints) TellRepeated(found);
  options.walked = std::move(found.walked);
  for (std::string& name : found.files) {
    if (options.source.raw.form == nullptr && options.walked.count(name) > 0 && !LooksLikeAudio(name)) {
      ++options.passed_over;
    } else {
      options.files.push_back(std::move(name));
    }
  }
  if (!options.files.empty()) return;
  if (options.passed_over > 0) throw Failure(ExitCode::kNoFile, NoRecordingAmong(options.passed_over));
  throw Failure(ExitCode::kNoFile, "there is no recording: the folders and lists that were named hold no file");
}

FileTally::FileTally(const InputOptions& options, std::function<void()> hide)
    : options_(options), hide_(std::move(hide)), passed_over_(options.passed_over), done_(options.passed_over) {}

bool FileTally::Do(const std::string& name, const std::function<void()>& work) {
  ++done_;
  try {
    work();
    return true;
  } catch (const NoSound& failure) {
    if (options_.walked.count(name) > 0) {
      ++passed_over_;
      return !Interrupted();
    }
    hide_();
    SayFailure(failure.what());
    if (code_ == ExitCode::kSuccess) code_ = failure.code();
  } catch (const Failure& failure) {
    if (failure.code() == ExitCode::kOutput) throw;
    hide_();
    SayFailure(failure.what());
    if (code_ == ExitCode::kSuccess) code_ = failure.code();
  }
  return !Interrupted();
}

ExitCode FileTally::Finish(bool quiet) {
  hide_();
  if (passed_over_ == 0) return code_;
  if (passed_over_ == done_) throw Failure(ExitCode::kNoFile, NoRecordingAmong(passed_over_));
  if (!quiet) SayNote("note: " + Files(passed_over_) + " in folders passed over, which are no audio");
  return code_;
}

ExitCode ForEachFile(const InputOptions& options, bool quiet, const std::function<void()>& hide,
                     const std::function<void(size_t index, const std::string& name)>& work) {
  FileTally tally(options, hide);
  for (size_t index = 0; index < options.files.size(); ++index) {
    const std::string& name = options.files[index];
    if (!tally.Do(name, [&] { work(index, name); })) break;
  }
  return tally.Finish(quiet);
}

}  // namespace TSEG::tool
