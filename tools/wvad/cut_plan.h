// SPDX-License-Identifier: Apache-2.0
//
// What stays of a recording: the stretches of its speech, how much of the silence between them, and where each comes to stand when the rest
// is left out. Counted in frames of the recording (one sample of each channel), exactly.
#ifndef WVAD_WVAD_CUT_PLAN_H_
#define WVAD_WVAD_CUT_PLAN_H_

#include <cstddef>
#include <cstdint>
#include <vector>

#include "stream/session_chain.h"

namespace TSEG::tool {

// Frames [begin, end).
struct FrameSpan {
  int64_t begin = 0;
  int64_t end = 0;

  int64_t length() const { return end - begin; }
  bool operator==(const FrameSpan&) const = default;
};

// The frames of a recording of `frames` at `rate_hz` that belong to sentences, whose samples count at `heard_hz`: every frame of which they
// hold a part, and behind one that lasts until nothing more could be decided (the windows of the last 40 ms reach beyond the recording)
// those to the end. In order of time, none empty, none touching another.
std::vector<FrameSpan> SpeechOf(const std::vector<stream::Sentence>& sentences, int heard_hz, int rate_hz, int64_t frames);

// What stays where `keep` frames of each silence stay, of a shorter one all: between two stretches of speech half of them behind the first
// (one more of an odd number) and half before the second; at the recording's begin those before its speech, at its end those behind it. A
// recording without speech is one silence, of which the first stay.
std::vector<FrameSpan> WithSilences(const std::vector<FrameSpan>& speech, int64_t keep, int64_t frames);

// The share that is left of a sample `at` frames behind the begin of a stretch or before its end, where the sound comes or goes over `fade`
// frames: half a period of a cosine, 1 from `fade` on.
float FadeGain(int64_t at, int64_t fade);

// Puts the fades of `spans` onto sound. A begin or end that is the recording's own is no joint, and stays as it is; a stretch shorter than
// two fades has as much less of each.
class Fader {
 public:
  // `spans` outlive this.
  Fader(const std::vector<FrameSpan>& spans, int64_t fade, int64_t frames) : spans_(spans), fade_(fade), frames_(frames) {}
  // `samples`: [count x channels] from frame `begin` on, all of them within span number `span`.
  void Apply(size_t span, int64_t begin, float* samples, size_t count, size_t channels) const;

 private:
  const std::vector<FrameSpan>& spans_;
  int64_t fade_;
  int64_t frames_;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_CUT_PLAN_H_
