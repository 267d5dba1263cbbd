// SPDX-License-Identifier: Apache-2.0
//
// `wvad explain`: what the engine decided at a place of a recording, and why.
#ifndef WVAD_WVAD_EXPLAIN_COMMAND_H_
#define WVAD_WVAD_EXPLAIN_COMMAND_H_

#include <string>
#include <vector>

#include "wvad/engine_options.h"
#include "wvad/exit_codes.h"
#include "wvad/input.h"

namespace TSEG::tool {

struct ExplainOptions {
  InputOptions input;
  EngineOptions engine;
  std::vector<std::string> at;  // places (time_range.h)
  bool json = false;
  std::string output;  // empty: standard output
  bool force = false;  // `output` may be replaced
  bool quiet = false;
};

// Works through all files, each as far as the places need it; a file that fails gives its line on standard error and the others are still
// worked on. The result is the code of the first failure. What concerns all files leaves as Failure.
ExitCode RunExplain(const ExplainOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_EXPLAIN_COMMAND_H_
