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
};

constexpr size_t kFeatureFloats = 115;  // of a frame that the engine hands out

struct SentenceTask {
  Handout handout = Handout::kNothing;
  bool quality = false;  // the audio-quality component listens, and FileEnd has its measures
  // Called once everything but the recordings has been found right.
  std::function<std::unique_ptr<Report>(int rate_hz)> make_report;
};

// Works through all files. The result is the code of the first that failed; what concerns all files (model, parameters, output) leaves as
// Failure.
ExitCode RunSentences(const SentenceOptions& options, const SentenceTask& task);
// The same with a report of `format` to the file `output`, to standard output if that is empty.
ExitCode ReportSentences(const SentenceOptions& options, SentenceTask task, const std::string& format, const std::string& output);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SENTENCE_RUN_H_
