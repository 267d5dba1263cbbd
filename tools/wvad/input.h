// SPDX-License-Identifier: Apache-2.0
//
// The recordings that a command works on, and how each is listened to: the options that all commands share, opened inputs, and the loop
// over several of them.
#ifndef WVAD_WVAD_INPUT_H_
#define WVAD_WVAD_INPUT_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "wvad/audio_source.h"
#include "wvad/failure.h"
#include "wvad/file_list.h"
#include "wvad/pcm_stream.h"

namespace TSEG::tool {

struct InputOptions {
  FileListOptions list;            // what the user named
  std::vector<std::string> files;  // what that comes to (FindFiles); "-" for standard input
  WalkedFiles walked;              // those of them that were found in folders
  size_t passed_over = 0;          // of what lies in folders: what is no audio by its first bytes
  int jobs = 1;                    // recordings that are worked on at once
  std::string channel = "mix";     // or "all", or a number from 1
  std::string gain = "0";          // decibels, or "auto"
  int chunk_ms = 100;
  bool hints = true;  // say what is waited for, and which names come to one file
  // Stands between a recording and its listener, if there is one; gets what was opened and gives what is heard.
  std::function<std::unique_ptr<AudioSource>(std::unique_ptr<AudioSource> source)> tap = {};
  SourceOptions source;
};

// One opened recording.
class Input {
 public:
  Input(std::unique_ptr<AudioSource> source, const std::string& name, int channel, int engine_rate_hz, int chunk_ms, double gain_db,
        bool gain_measured);

  // Of the samples that it gives.
  int engine_rate_hz() const { return engine_rate_hz_; }
  // How many are listened to: one, or each channel.
  size_t lanes() const { return stream_.lanes(); }
  // The next piece of samples of each lane at the engine's rate; false when there is none left.
  bool Next(std::vector<std::vector<int16_t>>* pieces) { return stream_.Next(pieces); }
  const PhaseMeter& phase() const { return stream_.phase(); }
  // What was wrong with the recording; empty if it was whole. Call behind its end.
  std::string damage() { return source_->damage(); }
  // What else a listener should know of its samples; empty for nothing. Call behind its end.
  std::string note() const { return source_->note(); }
  // By which it is amplified, where --gain auto has measured that.
  std::optional<double> measured_gain_db() const { return measured_gain_db_; }
  int source_rate_hz() const { return source_->rate_hz(); }
  int source_channels() const { return source_->channels(); }
  // Of the source, as it lies there: read until now, and its length, -1 if it does not know.
  int64_t frames_read() const { return stream_.frames_read(); }
  int64_t frames_total() const { return source_->frames(); }
  double seconds_read() const { return static_cast<double>(stream_.frames_read()) / source_->rate_hz(); }
  // 0 if the source does not know.
  double seconds_total() const { return source_->frames() > 0 ? static_cast<double>(source_->frames()) / source_->rate_hz() : 0; }

 private:
  std::unique_ptr<AudioSource> source_;
  int engine_rate_hz_;
  std::optional<double> measured_gain_db_;
  PcmStream stream_;
};

class InputReader {
 public:
  // Throws Failure(kUsage) for a channel or gain that is none. `options` has to outlive the reader.
  explicit InputReader(const InputOptions& options);

  // Each channel is its own source.
  bool all_channels() const { return channel_ == kAllChannels; }
  // The rate at which a recording of `recording_rate_hz` is heard. What it throws leaves through Open.
  using EngineRate = std::function<int(int recording_rate_hz)>;
  // With --gain auto this takes a first pass over the whole file. Throws Failure as OpenAudio, and kBadRate for a missing channel.
  std::unique_ptr<Input> Open(const std::string& name, const EngineRate& engine_rate) const;

 private:
  double MeasureGain(const std::string& name, int engine_rate_hz) const;

  const InputOptions& options_;
  int channel_;
  std::optional<double> gain_db_;  // none: measured
};

// Fills in `files`, `walked` and `passed_over`, and says with `hints` what stood there twice. Throws Failure as ListFiles, and kNoFile
// where there is no recording at all.
void FindFiles(InputOptions& options);

// Whether a recording can be opened only once: standard input, a pipe, an address.
bool IsHeardOnce(const std::string& name);

// The whole of `text` as a whole number.
std::optional<int> ParseInt(const std::string& text);

// What comes of the files of a run: one that fails gives its line on standard error and the others are still worked on; what is no audio
// in a folder is passed over and counted.
class FileTally {
 public:
  // `hide` is called before something is printed.
  FileTally(const InputOptions& options, std::function<void()> hide);

  // Does the work on one file; false where it was interrupted, so that no further one is begun. Failures of output leave at once, since
  // there is nothing to go on for.
  bool Do(const std::string& name, const std::function<void()>& work);
  // The code of the first failure, with a line about what was passed over unless `quiet`. Throws Failure(kNoFile) where that was all.
  ExitCode Finish(bool quiet);

 private:
  const InputOptions& options_;
  std::function<void()> hide_;
  ExitCode code_ = ExitCode::kSuccess;
  size_t passed_over_ = 0;
  size_t done_ = 0;
};

// Calls `work` with each file, one after the other, and gives the code.
ExitCode ForEachFile(const InputOptions& options, bool quiet, const std::function<void()>& hide,
                     const std::function<void(size_t index, const std::string& name)>& work);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_INPUT_H_
