// SPDX-License-Identifier: Apache-2.0
//
// From the network's score pairs to one speech probability for each 10 ms of audio. Pairs come in the order of their frames; frame n is the
// hop that begins at 10 n ms.
//
// A frame without a pair of its own is held: it repeats the last probability before it, and is marked. That happens where a pair is not a
// number, where a session repeats the last pair because the network's delay has eaten the rest, and behind the last frame whose window
// the audio fills.
#ifndef WVAD_WVAD_SCORE_TRACK_H_
#define WVAD_WVAD_SCORE_TRACK_H_

#include <cstdint>
#include <functional>

namespace TSEG::tool {

class ScoreTrack {
 public:
  struct Row {
    int64_t frame = 0;
    float speech = 0;  // 0 to 1; 0 where nothing has been found before either
    bool held = false;
  };
  using Sink = std::function<void(const Row&)>;

  explicit ScoreTrack(Sink sink) : sink_(static_cast<Sink&&>(sink)) {}

  // The next frame's pair, speech first. `own` is false where another frame's pair stands in.
  void Add(const float* pair, bool own);
  // Holds what is missing of the audio's `hops`.
  void Finish(int64_t hops);

  int64_t frames() const { return next_; }
  // Some frame had a pair of its own.
  bool found_any() const { return found_any_; }

 private:
  void Put(bool held);

  Sink sink_;
  int64_t next_ = 0;
  float last_ = 0;
  bool found_any_ = false;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_SCORE_TRACK_H_
