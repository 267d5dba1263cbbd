// SPDX-License-Identifier: Apache-2.0
//
// `wvad report`: a recording and what was decided on it as one page for a browser, for one or more models and sets of parameters.
#ifndef WVAD_WVAD_PAGE_COMMAND_H_
#define WVAD_WVAD_PAGE_COMMAND_H_

#include <string>
#include <vector>

#include "wvad/engine_options.h"
#include "wvad/exit_codes.h"
#include "wvad/input.h"

namespace TSEG::tool {

struct PageOptions {
  InputOptions input;
  EngineOptions engine;               // `model` is not looked at
  std::vector<std::string> models;    // a track for each, with the settings of `engine`
  std::vector<std::string> compared;  // a further track for each: "MODEL", "NAME=VALUE", or several of these with commas between them
  std::string output;
  bool link_audio = false;
  bool force = false;  // `output` may be replaced
  bool quiet = false;
};

// The tracks that the options ask for, in order. A comparison begins with the first model and the settings of all, to which it adds.
// Throws Failure(kUsage) for one that is empty.
std::vector<EngineOptions> TracksOf(const PageOptions& options);

// Writes the page of one recording. A damaged one is shown as far as it goes, and told by its line and code. Throws Failure.
ExitCode RunPage(const PageOptions& options);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PAGE_COMMAND_H_
