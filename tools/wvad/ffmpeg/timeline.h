// SPDX-License-Identifier: Apache-2.0
//
// Where decoded sound belongs: each piece of it says when it is to be heard, and what a player would leave silent becomes silence, so that
// counting samples gives the time that a player shows.
#ifndef WVAD_WVAD_FFMPEG_TIMELINE_H_
#define WVAD_WVAD_FFMPEG_TIMELINE_H_

#include <cstdint>
#include <optional>

namespace TSEG::tool {

class Timeline {
 public:
  explicit Timeline(int rate_hz) : rate_hz_(rate_hz) {}

  // The clock of the pieces that follow is known to be set anew, or no more.
  void set_anew(bool known) { set_anew_ = known; }

  // What to do with a piece, in samples: so much silence goes before it, so much of its begin is left out. `jump`: how far ahead its clock
  // was set anew, negative for back; 0 where it was not.
  struct Place {
    int64_t silence = 0;
    int64_t drop = 0;
    int64_t jump = 0;
  };
  // The piece of `count` samples is to be heard from sample `at` on (none: behind the one before). `loose`: something before it was lost,
  // so that a small distance counts as well.
  //
  // Containers round their times, to a millisecond and worse, so a distance of less than a tenth of a second to the piece before is none.
  // One of more than an hour, or of more than a second back, comes of a clock that was set anew, as where recordings were put one behind
  // the other, or of damage: the sound then goes on where it is. Where a clock is known to be set anew, so does one of more than a second
  // ahead.
  Place Put(std::optional<int64_t> at, int64_t count, bool loose);

  // Samples up to here, and those of them that pieces have brought.
  int64_t reached() const { return reached_; }
  int64_t brought() const { return brought_; }

 private:
  int64_t rate_hz_;
  bool set_anew_ = false;
  int64_t reached_ = 0;
  int64_t brought_ = 0;
  int64_t clock_ = 0;  // what a clock that was set anew is ahead
  bool first_ = true;
};

}  // namespace TSEG::tool

#endif  // WVAD_WVAD_FFMPEG_TIMELINE_H_
