// SPDX-License-Identifier: Apache-2.0
//
// FrameSpeech: which frames of a recording count as speech, a bit each, and from them the sentences with their margins told from their
// speech.
#ifndef WVAD_WVAD_FRAME_SPEECH_H_
#define WVAD_WVAD_FRAME_SPEECH_H_

#include <cstdint>
#include <vector>

#include "wvad/decision_trace.h"
#include "wvad/explanation.h"
#include "wvad/recording.h"

namespace TSEG::tool {

class FrameSpeech {
 public:
  void Set(int64_t frame, const TraceRow& row) {
    const size_t at = static_cast<size_t>(frame);
    if (speech_.size() <= at) speech_.resize(at + 1);
    speech_[at] = row.says(Statement::kCountsAsSpeech);
  }
  bool At(int64_t frame) const { return frame >= 0 && frame < static_cast<int64_t>(speech_.size()) && speech_[static_cast<size_t>(frame)]; }

  // `sentence` in frames, as number `number`.
  NumberedSentence Number(const Sentence& sentence, int rate_hz, int64_t number) const {
    const int64_t frame_samples = rate_hz / 100;
    NumberedSentence numbered{number, sentence.begin_sample / frame_samples, sentence.end_sample / frame_samples, 0, 0};
    numbered.speech_begin = numbered.begin;
    while (numbered.speech_begin < numbered.end && !At(numbered.speech_begin)) ++numbered.speech_begin;
    numbered.speech_end = numbered.end;
    while (numbered.speech_end > numbered.speech_begin && !At(numbered.speech_end - 1)) --numbered.speech_end;
    return numbered;
  }

 private:
  std::vector<bool> speech_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FRAME_SPEECH_H_
