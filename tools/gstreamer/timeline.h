// SPDX-License-Identifier: Apache-2.0
//
// Timeline: timestamps of the sample frames of one stretch of audio without a break.
//
// Positions count frames from the stretch's first. Timestamps of buffers may wander against the count of frames, as those of a sound card
// do against the pipeline's clock: the line follows them in small steps. One that lies further off belongs to another stretch.
#ifndef WVAD_GSTREAMER_TIMELINE_H_
#define WVAD_GSTREAMER_TIMELINE_H_

#include <gst/gst.h>

#include <cstdint>
#include <deque>

namespace TSEG::gst {

class Timeline {
 public:
  // The first frame has this time.
  void Start(int rate_hz, GstClockTime time);

  // Of the frame at `position`, 0 and above.
  GstClockTime At(int64_t position) const;
  // How long `frames` frames take.
  GstClockTime Length(int64_t frames) const;

  // Whether a buffer that begins at `position` with this timestamp goes on with the stretch. One without a timestamp does.
  bool Continues(int64_t position, GstClockTime time) const;
  // It does, and the line goes through its timestamp from there on, if that lies off by more than the events are exact to.
  void Follow(int64_t position, GstClockTime time);

 private:
  struct Anchor {
    int64_t position;
    GstClockTime time;
  };

  int rate_hz_ = 0;
  std::deque<Anchor> anchors_;  // in order, one at least behind Start
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_TIMELINE_H_
