// SPDX-License-Identifier: Apache-2.0
//
// Recordings through the engine's front end and a network, score by score: one form of a model as it is ready for that, which threads
// share, and the work on a recording, which is one thread's.
#ifndef WVAD_WVAD_SCORE_RUN_H_
#define WVAD_WVAD_SCORE_RUN_H_

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "blocks/score_source.h"
#include "wvad/failure.h"
#include "wvad/input.h"
#include "wvad/model_choice.h"
#include "wvad/progress.h"
#include "wvad/score_output.h"

namespace TSEG::tool {

// Nothing in it changes.
class Scorer {
 public:
  // `configuration` is the user's, as ReadConfiguration gives it. Throws Failure for a model, a parameter or a configuration that cannot be
  // used.
  Scorer(const EngineOptions& options, const std::string& configuration);

  int rate_hz() const { return blocks_.rate_hz; }
  std::unique_ptr<blocks::ScoreSource> MakeSource() const;

 private:
  blocks::BlockOptions blocks_;
  int priming_frames_ = -1;
  std::unique_ptr<blocks::ScoreModel> model_;
};

class ScoreRun {
 public:
  // All outlive it.
  ScoreRun(const InputOptions& options, PerForm<Scorer>& scorers, Progress& progress);

  // Throws Failure as InputReader::Open.
  std::unique_ptr<Input> Open(const std::string& name);

  // What is told of a recording beside its rows.
  struct Telling {
    bool on_terminal = false;                           // the rows go where progress is shown
    bool shared = false;                                // with those of other recordings
    std::function<void(const std::string& line)> note;  // may be empty
  };
  // Scores what was opened last. A recording that breaks off is scored as far as it goes; the failure is the result.
  std::optional<Failure> File(Input& input, size_t index, const Telling& telling, ScoreWriter& writer);

  // Work that is going on comes to an end, as if interrupted. Any thread may call.
  void Abandon() { abandoned_ = true; }

 private:
  bool Stopped() const;

  const InputOptions& options_;
  InputReader reader_;
  PerForm<Scorer>& scorers_;
  Progress& progress_;
  std::atomic<bool> abandoned_ = false;
  std::map<const Scorer*, std::unique_ptr<blocks::ScoreSource>> sources_;
  const Scorer* scorer_ = nullptr;  // of what was opened last
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SCORE_RUN_H_
