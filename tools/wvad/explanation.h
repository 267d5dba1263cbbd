// SPDX-License-Identifier: Apache-2.0
//
// What is told of the frames of a range: stretches in which the same can be said of every frame, the sentence that each belongs to, and
// their forms for people and for programs.
#ifndef WVAD_WVAD_EXPLANATION_H_
#define WVAD_WVAD_EXPLANATION_H_

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

#include "wvad/decision_words.h"
#include "wvad/time_range.h"

namespace TSEG::tool {

// A sentence in frames of the recording, the end not included, and its number from 1.
struct NumberedSentence {
  int64_t number = 0;
  int64_t begin = 0;
  int64_t end = 0;
  // The first and behind the last frame in it that counts as speech; what lies before and behind them is margin. Equal if there is none.
  int64_t speech_begin = 0;
  int64_t speech_end = 0;
};

struct ExplainedStretch {
  int64_t first = 0;  // frames
  int64_t last = 0;
  FrameValues values;
  const NumberedSentence* sentence = nullptr;                               // that all of it belongs to, or none
  enum class Part { kNone, kBefore, kInside, kBehind } part = Part::kNone;  // of the sentence
};

// `rows` [range.last - range.first + 1]. The sentences have to outlive the result.
std::vector<ExplainedStretch> Explain(const FrameRange& range, const std::vector<TraceRow>& rows,
                                      const std::vector<NumberedSentence>& sentences);

std::string ToText(const ExplainedStretch& stretch, const RunFacts& facts, size_t width);
nlohmann::ordered_json ToJson(const ExplainedStretch& stretch, const RunFacts& facts);

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_EXPLANATION_H_
