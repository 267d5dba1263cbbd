// SPDX-License-Identifier: Apache-2.0
//
// The engine's debug text (wvad_param_isVadDegOn) goes into a file of its own choice, wvad_param_debug_log_filename, to which the engine
// appends whatever lies there. The program lets it have a new file only, and keeps its own outputs away from it.
#ifndef WVAD_WVAD_DEBUG_TEXT_H_
#define WVAD_WVAD_DEBUG_TEXT_H_

#include <functional>
#include <string>

#include "wvad/engine.h"

namespace TSEG::tool {

class DebugText {
 public:
  DebugText() = default;
  // Takes the file away again if nothing was written into it. The engine has to be down by then.
  ~DebugText();
  DebugText(const DebugText&) = delete;
  DebugText& operator=(const DebugText&) = delete;

  // Makes the file, if sessions with these parameters write into one, and calls `keep_away` with its path. Call before the first session:
  // the engine writes at the end of each. Throws Failure: kOutput if something is there or nothing can be, and as Detector::Set.
  // Once: further engines of the run write into the same file.
  void Claim(Engine& engine, const ParameterList& parameters, const std::function<void(const std::string&)>& keep_away);

  bool claimed() const { return claimed_; }

 private:
  bool claimed_ = false;
  std::string file_;  // empty for none
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_DEBUG_TEXT_H_
