// SPDX-License-Identifier: Apache-2.0
//
// HeldAudio: buffers that wait until it is certain what of them lies in sentences, and the events that came between them.
//
// What lies in sentences goes on with its own timestamps; where something was left out before it, with the flag for a discontinuity. The
// rest becomes a gap event (cut), or a buffer of silence of the same length with the flag for a gap (mute). One thread.
#ifndef WVAD_GSTREAMER_HELD_AUDIO_H_
#define WVAD_GSTREAMER_HELD_AUDIO_H_

#include <gst/audio/audio.h>
#include <gst/gst.h>

#include <cstdint>
#include <deque>

#include "gstreamer/timeline.h"
#include "gstreamer/verdicts.h"

namespace TSEG::gst {

class HeldAudio {
 public:
  // `pad` is where all of it goes.
  explicit HeldAudio(GstPad* pad) : pad_(pad) {}
  ~HeldAudio() { Drop(); }
  HeldAudio(const HeldAudio&) = delete;
  HeldAudio& operator=(const HeldAudio&) = delete;

  // The next stretch, whose frames are counted from 0. Nothing is held. `gaps`: whether gap events have a meaning in the segment.
  void Begin(const GstAudioInfo& form, bool mute, bool gaps);
  bool empty() const { return held_.empty(); }

  // Both are taken. A buffer has whole frames.
  void Add(GstBuffer* buffer);
  void Add(GstEvent* event);

  // Lets go what is certain. Stops at the first buffer that is not wanted, and gives why.
  GstFlowReturn Release(Verdicts& verdicts, const Timeline& timeline);

  // All of it goes away, but for what later buffers will need of the events.
  void Drop();

 private:
  struct Held {
    GstMiniObject* object;
    int64_t begin;
    int64_t end;
  };
  GstFlowReturn Emit(const Held& held, int64_t end, bool keep, const Timeline& timeline);
  GstFlowReturn EmitSilence(GstBuffer* like, GstClockTime time, GstClockTime length, int64_t frames);
  GstBuffer* PartOf(const Held& held, int64_t end) const;

  GstPad* pad_;
  GstAudioInfo form_{};
  bool mute_ = false;
  bool gaps_ = false;
  bool left_out_ = false;  // something was, before the next that is kept
  int64_t added_ = 0;
  int64_t passed_ = 0;
  std::deque<Held> held_;
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_HELD_AUDIO_H_
