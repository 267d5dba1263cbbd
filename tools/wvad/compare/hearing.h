// SPDX-License-Identifier: Apache-2.0
//
// What a result of this program says of itself: whether its recording was heard whole, and how far if not. Nobody else's annotation says
// it.
#ifndef WVAD_WVAD_COMPARE_HEARING_H_
#define WVAD_WVAD_COMPARE_HEARING_H_

#include <nlohmann/json.hpp>
#include <string>

#include "wvad/compare/annotation.h"

namespace TSEG::tool {

// Puts into `recording.not_heard` what the members "whole", "heard", "stopped_by" and "damage" of `told` say; nothing where it was heard
// whole, or where they are absent.
void TakeHearing(const nlohmann::json& told, AnnotatedRecording& recording);

// The same from the comments of a form of lines (";; {...}", "# {...}", "NOTE {...}"), for the recordings that `annotation` holds. Comments
// that say something else are nobody's mistake.
void TakeHearingOfComments(const std::string& text, Annotation& annotation);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_COMPARE_HEARING_H_
