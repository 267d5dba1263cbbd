// SPDX-License-Identifier: Apache-2.0
//
// What the program prints: a table for people, JSON, JSON lines or CSV for programs. Every sentence goes out at once, so that a live source
// shows what is known; JSON is one document all the same, valid when the run ends.
#ifndef WVAD_WVAD_REPORT_H_
#define WVAD_WVAD_REPORT_H_

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "wvad/engine.h"
#include "wvad/recording.h"

namespace TSEG::tool {

constexpr const char* kInterruptedReason = "interrupt";

// How a file's work came to its end.
struct FileEnd {
  int rate_hz = 16000;                  // of the sample numbers
  int64_t samples = 0;                  // heard
  std::string reason = "end of audio";  // or "tail silence", "no speech", "interrupt"
  bool endpoint = false;                // asked for; `reason` is worth telling
  std::vector<OtherResult> others;
  std::vector<SessionQuality> quality;  // instead of `others`, for those who ask for it
};

// Where the report goes: standard output or a file. Throws Failure(kOutput) when it cannot be opened or written.
class Output {
 public:
  explicit Output(const std::string& path);  // empty: standard output
  ~Output();
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;
  void Write(const std::string& text);  // and flushes
  // Tells whether everything arrived; call once, at the end.
  void Close();
  bool is_terminal() const;

 private:
  [[noreturn]] void Fail(int error) const;

  std::string path_;
  std::FILE* file_;
};

class Report {
 public:
  virtual ~Report() = default;
  virtual void BeginFile(const std::string& name) = 0;
  virtual void Add(const Sentence& sentence, int rate_hz) = 0;
  virtual void EndFile(const FileEnd& end) = 0;
  // The file that was begun cannot be worked on to its end.
  virtual void FailFile(const std::string& message) = 0;
  // A file that could not be begun.
  virtual void RefuseFile(const std::string& name, const std::string& message) = 0;
  virtual void End() = 0;
  // It writes where progress is shown.
  virtual bool on_terminal() const { return false; }
};

// `text` as a field of CSV, in quotes where it has to be.
std::string CsvField(const std::string& text);

// `format`: "table", "json", "jsonl", "csv". `several`: more than one file, so that each is named. `summary`: close each table with its
// sums. Sentences that were saved have the names of their files as a further column or member.
std::unique_ptr<Report> MakeReport(const std::string& format, Output& output, bool several, bool summary, bool saved = false);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_REPORT_H_
