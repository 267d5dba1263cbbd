// SPDX-License-Identifier: Apache-2.0
//
// What `segment`, `split`, `features` and `quality` have in common: recordings go through the engine to their ends, and each sentence goes
// to a report, with what the engine hands out of it where that is wanted.
#ifndef WVAD_WVAD_SENTENCE_RUN_H_
#define WVAD_WVAD_SENTENCE_RUN_H_

#include <functional>
#include <memory>
#include <string>

#include "wvad/engine_options.h"
#include "wvad/failure.h"
#include "wvad/input.h"
#include "wvad/parameters.h"
#include "wvad/report.h"
#include "wvad/report_formats.h"

namespace TSEG::tool {

struct SentenceOptions {
  InputOptions input;
  EngineOptions engine;
  bool endpoint = false;
  bool quiet = false;
  bool resume = false;  // what an earlier run was through with is kept
};

constexpr size_t kFeatureFloats = 115;  // of a frame that the engine hands out

struct SentenceTask {
  Handout handout = Handout::kNothing;
  bool quality = false;   // the audio-quality component listens, and FileEnd has its measures
  bool checksum = false;  // FileEnd has that of the recording
  // Called with a file that the engine will write by itself. Throws Failure(kOutput) where an output would fall on it.
  std::function<void(const std::string& path)> keep_away;
  // Called once everything but the recordings has been found right. May give null: nothing is told.
  std::function<std::unique_ptr<Report>(int rate_hz)> make_report;
  // A report that saves sentences and then tells `told` (may be null) of them; empty for a task that saves none. One for each thread.
  std::function<std::unique_ptr<Report>(Report* told)> save;
};

struct RunResult {
  ExitCode code = ExitCode::kSuccess;  // of the first file that failed
  bool heard_any = false;              // some file could be opened
};

// Works through all files; a file that fails gives its line on standard error and the others are still worked on. What concerns all files
// (model, parameters, output) leaves as Failure.
RunResult RunSentences(const SentenceOptions& options, const SentenceTask& task);

// What `segment` and `quality` have in common: one report.
struct ReportOptions : SentenceOptions {
  const ReportFormat* format = ReportFormats().data();
  std::string output;     // empty: standard output
  bool force = false;     // `output` may be replaced
  bool bare = false;      // nothing is said of how the results came about
  bool checksum = false;  // of each recording, with that
  FormDetails details;    // what was said of them on the command line
};
// What the report of these options tells; with how it came about, for which the model is read. Throws Failure as FindModel.
ReportShape ShapeOf(const ReportOptions& options);
// The same with a report, which is written where no file could be opened only if it goes out piece by piece. Gives the code.
ExitCode ReportSentences(const ReportOptions& options, SentenceTask task);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_RUN_H_
