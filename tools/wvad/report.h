// SPDX-License-Identifier: Apache-2.0
//
// What a command tells of recordings and their sentences. Every sentence goes out at once, so that a live source shows what is known. The
// forms that it takes are in report_formats.h.
#ifndef WVAD_WVAD_REPORT_H_
#define WVAD_WVAD_REPORT_H_

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wvad/engine.h"
#include "wvad/failure.h"
#include "wvad/messages.h"
#include "wvad/recording.h"

namespace TSEG::tool {

constexpr const char* kInterruptedReason = "interrupt";
constexpr const char* kWholeReason = "end of audio";

// A recording as it lies there, before channels are taken and rates changed.
struct RecordingFacts {
  int rate_hz = 0;  // 0: nothing is known of it
  int channels = 0;
  int64_t frames = -1;                          // its length, one sample of each channel; -1 if it is not known
  std::string sha256;                           // of the file, where it was asked for
  std::optional<double> measured_gain_db = {};  // by which it was amplified, where that was measured
};

// By what a recording is heard.
struct HeardWith {
  std::string model;    // in the form that fits the recording
  int rate_hz = 16000;  // of what is heard
  std::string made_by;  // how its results come about (provenance.h), JSON in one line; empty where that is not told
};

// How a file's work came to its end.
struct FileEnd {
  int rate_hz = 16000;                // of the sample numbers
  int64_t samples = 0;                // heard
  std::string reason = kWholeReason;  // or "tail silence", "no speech", "interrupt"
  bool endpoint = false;              // asked for; `reason` is worth telling
  std::vector<OtherResult> others;
  std::vector<SessionQuality> quality;  // instead of `others`, for those who ask for it
  std::string damage;                   // what was wrong with the recording; empty if it was whole
  std::string note;                     // what else a listener should know
  RecordingFacts recording;
  std::string made_by;  // as in HeardWith
};

class Report {
 public:
  virtual ~Report() = default;
  // What hears the file that will be begun next.
  virtual void HearWith(const HeardWith&) {}
  virtual void BeginFile(const std::string& name) = 0;
  virtual void Add(const Sentence& sentence, int rate_hz) = 0;
  virtual void EndFile(const FileEnd& end) = 0;
  // The file that was begun cannot be worked on to its end.
  virtual void FailFile(const std::string& message) = 0;
  // A file that could not be begun.
  virtual void RefuseFile(const std::string& name, const std::string& message) = 0;
  // The same with the exit code, for forms that have room for it.
  virtual void Fail(const Failure& failure) { FailFile(failure.what()); }
  virtual void Refuse(const std::string& name, const Failure& failure) { RefuseFile(name, failure.what()); }
  // A line for the person at the terminal, which is no part of the report.
  virtual void Say(const std::string& line) { SayNote(line); }
  virtual void End() = 0;
  // It writes where progress is shown.
  virtual bool on_terminal() const { return false; }
};

// `text` as a field of CSV, or between other separators, in quotes where it has to be.
std::string CsvField(const std::string& text);
std::string SeparatedField(const std::string& text, char separator);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_H_
