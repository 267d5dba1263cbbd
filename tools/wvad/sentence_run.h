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

namespace TSEG::tool {

struct SentenceOptions {
  InputOptions input;
  EngineOptions engine;
  bool endpoint = false;
  bool quiet = false;
  bool resume = false;  // what an earlier run was through with is kept
};

struct SentenceTask {
  Handout handout = Handout::kNothing;
  bool quality = false;   // the audio-quality component listens, and FileEnd has its measures
  bool checksum = false;  // FileEnd has that of the recording
  bool made_by = false;   // HeardWith and FileEnd tell how the results come about
  // Called with a file that the engine will write by itself. Throws Failure(kOutput) where an output would fall on it.
  std::function<void(const std::string& path)> keep_away;
  // Called once everything but the recordings has been found right, with what hears the first of them, as far as that can be known. May
  // give null: nothing is told.
  std::function<std::unique_ptr<Report>(const HeardWith& first)> make_report;
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

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_RUN_H_
