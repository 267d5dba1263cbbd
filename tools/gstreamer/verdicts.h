// SPDX-License-Identifier: Apache-2.0
//
// Verdicts: which audio of a stretch lies in sentences, and up to where that is certain.
//
//   heard             ........######################..................................|
//   decided, frames   ..................................................|                  what lies behind waits for its context
//   sentence                 [ begin                     end ]
//   certain, silence                                          ...|                         a begin that is told later lies behind it
//   certain, sentence             ...|                                                     so does an end
//
// Positions are frames of the input from the stretch's first. Nothing that was certain changes: a begin that comes later than it should
// holds from there on.
#ifndef WVAD_GSTREAMER_VERDICTS_H_
#define WVAD_GSTREAMER_VERDICTS_H_

#include <wvad_stream.h>

#include <cstdint>
#include <deque>
#include <limits>

namespace TSEG::gst {

// How far behind the last decided frame something can begin or end that is told next. Seconds.
struct Lags {
  double silence;  // as long as no speech is in sight
  double onset;    // before a place where speech may have begun
  double begin;    // at most, whatever is in sight
  double end;
};

Lags LagsOf(const wvad_settings& settings);

// The longest time in seconds from a frame of the input until its verdict is certain, for audio of `rate_hz` on a model of this rate.
double LatencyOf(const wvad_settings& settings, int model_rate_hz, int rate_hz);

struct Verdict {
  bool keep;
  int64_t until;  // the first frame of which it does not hold, or is not certain
};

class Verdicts {
 public:
  Verdicts() = default;
  Verdicts(const wvad_settings& settings, int rate_hz);

  // Each event of the stretch, those of the probability of each frame among them, in order.
  void Note(const wvad_event& event);

  // Of the frame at `position`, which is not asked about again. `until` is `position` where nothing is certain yet.
  Verdict At(int64_t position);

 private:
  struct Span {
    int64_t begin;
    int64_t end;
  };
  int64_t CertainTo() const;

  static constexpr int64_t kOpen = std::numeric_limits<int64_t>::max();

  int64_t rate_hz_ = 1;
  int64_t silence_ = 0;  // the lags, in frames of the input
  int64_t onset_lag_ = 0;
  int64_t begin_lag_ = 0;
  int64_t end_lag_ = 0;
  int64_t decided_ = 0;
  int64_t certain_ = 0;
  int64_t onset_ = -1;
  std::deque<Span> sentences_;  // that were not passed yet; the last may be open
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_VERDICTS_H_
