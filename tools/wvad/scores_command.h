// SPDX-License-Identifier: Apache-2.0
//
// `wvad scores`: recordings in, one speech probability for each 10 ms out: what the network says, before any decision is made of it.
//
// No call of the engine hands scores out, so this command runs the engine's own front end and network, which the program holds anyway, with
// the parameters that the engine has settled on.
#ifndef WVAD_WVAD_SCORES_COMMAND_H_
#define WVAD_WVAD_SCORES_COMMAND_H_

#include <string>

#include "wvad/engine_options.h"
#include "wvad/input.h"
#include "wvad/output_folder.h"
#include "wvad/score_output.h"

namespace TSEG::tool {

struct ScoresOptions {
  InputOptions input;
  EngineOptions engine;
  const ScoreFormat* format = ScoreFormats().data();
  std::string output;  // one file for all; empty: standard output, or a file for each recording
  FolderOptions folder{"", "", false};
  bool quiet = false;
  bool resume = false;  // what an earlier run was through with is kept
};

// Works through all files; a file that fails gives its line on standard error and the others are still worked on. The result is the code of
// the first failure. What concerns all files (model, parameters, output) leaves as Failure.
ExitCode RunScores(const ScoresOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SCORES_COMMAND_H_
