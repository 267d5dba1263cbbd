// SPDX-License-Identifier: Apache-2.0
//
// What becomes of each --set NAME=VALUE: most parameters are set on the detector before each session, a few work only from the
// configuration that the engine reads at its start, and a few cannot be left to the user.
#ifndef WVAD_WVAD_PARAMETERS_H_
#define WVAD_WVAD_PARAMETERS_H_

#include <string>
#include <vector>

#include "wvad/engine.h"

namespace TSEG::tool {

// What a command takes of the sentences that the engine hands out.
enum class Handout { kNothing, kPcm, kFeatures };

struct ParameterPlan {
  ParameterList configuration;  // for the engine's start
  ParameterList quality;        // for the start of its audio-quality component
  ParameterList session;        // for each session, in order
};

// Which model is loaded is not for a parameter to say.
bool IsOfModelOption(const std::string& name);
// Throws Failure(kBadParameter) for a parameter that is not the user's: one that the model or an option settles, or, unless `endpoint`, one
// that would end the session.
void CheckSettable(const std::string& name, bool endpoint);
// Throws Failure(kBadParameter) for debug watches that are switched on. `value` has been found right.
void CheckWatches(const std::string& name, const std::string& value);

// Sorts the settings, each NAME=VALUE. `endpoint`: the session may end by itself; otherwise the limits that would end it are the program's.
// `handout`: unless kNothing, the command decides what is read. `quality`: the audio-quality component is on.
// Throws Failure(kBadParameter) for what makes no sense. Names that nobody knows are left to the engine.
ParameterPlan PlanParameters(const std::vector<std::string>& settings, bool endpoint, Handout handout = Handout::kNothing,
                             bool quality = false);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_PARAMETERS_H_
