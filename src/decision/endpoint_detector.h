// SPDX-License-Identifier: Apache-2.0
//
// The endpoint state machine: signed frame scores in, begins and ends of sentences out.
//
// Two stages. The edge stage turns a score into one of four events; the sentence stage decides on those, in a plain variant (any run of
// speech counts) or a sliding one (speech frames among the last 20), as wvad_param_isPostProcessWinSlideOn says. Positions are frame
// numbers. Constant work per frame, no allocation, no failing path.
#ifndef WVAD_DECISION_ENDPOINT_DETECTOR_H_
#define WVAD_DECISION_ENDPOINT_DETECTOR_H_

#include <cstdint>

#include "session/decision_records.h"

namespace TSEG {

enum EndpointResult { EP_RESULT_NONE = 0, EP_RESULT_BEGIN = 1, EP_RESULT_END = 2 };
enum EdgeEvent { EP_EVENT_SILENCE = 11, EP_EVENT_RISE = 12, EP_EVENT_FALL = 21, EP_EVENT_SPEECH = 22 };

// One frame: the edge stage on `score`, then the sentence stage at `frame` with `gap` as the silence that ends a sentence.
EndpointResult EndpointStep(EndpointDetector* detector, float score, int32_t frame, int32_t gap);
// The two stages alone. Zero counts as speech; a score that is not a number counts as silence.
EdgeEvent EndpointEdgeStage(EndpointDetector* detector, float score);
EndpointResult EndpointSentenceStage(EndpointDetector* detector, EdgeEvent event, int32_t frame, int32_t gap);
// The sentence ended at frame `frame` at the latest; gives its end.
int32_t MarkEnd(EndpointDetector* detector, int32_t frame);

}  // namespace TSEG

#endif  // WVAD_DECISION_ENDPOINT_DETECTOR_H_
