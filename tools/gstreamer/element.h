// SPDX-License-Identifier: Apache-2.0
//
// Element: what flows through "wvad", and what is told of it.
//
//   buffers -> stretch of audio without a break -> Ear -> events -> Reports -> bus, tags
//           |                                                    -> Verdicts
//           -> source pad (pass), or HeldAudio -> what the verdicts leave of it -> source pad (cut, mute)
//
// A stretch begins with caps and ends where audio breaks off: at a jump of the timestamps, a gap, other caps, another segment, the end.
// What is open in it is told to its end there, and what is held back goes on or goes away; only a flush throws it away. Chain, SinkEvent
// and Stop are calls of the streaming thread or come when it rests; properties() and SourceQuery may be used at any time.
#ifndef WVAD_GSTREAMER_ELEMENT_H_
#define WVAD_GSTREAMER_ELEMENT_H_

#include <gst/audio/audio.h>
#include <gst/gst.h>

#include <atomic>
#include <cstdint>

#include "gstreamer/ear.h"
#include "gstreamer/held_audio.h"
#include "gstreamer/properties.h"
#include "gstreamer/reports.h"
#include "gstreamer/timeline.h"
#include "gstreamer/verdicts.h"

namespace TSEG::gst {

class Element {
 public:
  // The pads belong to `element`, which outlives this.
  Element(GstElement* element, GstPad* sink, GstPad* src);
  ~Element();
  Element(const Element&) = delete;
  Element& operator=(const Element&) = delete;

  Properties& properties() { return properties_; }

  // Both take what they are given.
  GstFlowReturn Chain(GstBuffer* buffer);
  bool SinkEvent(GstEvent* event);
  bool SourceQuery(GstQuery* query);

  // No more audio comes: back to what it was before the first.
  void Stop();
  void ForgetModel() { ear_.Forget(); }

 private:
  bool TakeCaps(GstCaps* caps);
  void TakeSegment(const GstSegment& segment);
  void TakeTags(GstTagList* tags);
  void TakeChanges();
  void OpenEar();
  void Hear(GstBuffer* buffer);
  void BeginStretch(GstClockTime time);
  void EndStretch();
  // The same, with trouble told on the bus. False if there was some.
  bool TryEndStretch();
  void DropStretch();
  void TellEvents();
  bool HoldsBack(GstEvent* event) const;
  bool AnswerLatency(GstQuery* query);
  GstClockTime Latency() const;
  void Post(GstStructure* message);
  void PushTags();
  void Fail(const Trouble& trouble);

  GstElement* element_;
  GstPad* sink_;
  GstPad* src_;
  Properties properties_;

  Configuration configuration_;  // that the ear was opened with, or will be
  uint64_t changes_seen_ = ~uint64_t{0};
  GstAudioInfo form_{};
  bool has_form_ = false;
  GstSegment segment_{};
  bool backward_ = false;  // audio that runs backward passes unheard
  bool warned_ = false;    // of samples that are no numbers

  Ear ear_;
  Timeline timeline_;
  bool in_stretch_ = false;
  int64_t position_ = 0;                          // frames of the stretch so far
  GstClockTime next_time_ = GST_CLOCK_TIME_NONE;  // behind the last stretch
  Reports reports_;
  Verdicts verdicts_;
  HeldAudio held_;
  std::atomic<uint64_t> latency_{GST_CLOCK_TIME_NONE};  // of the open ear; none before
  GstTagList* upstream_tags_ = nullptr;
  bool tags_due_ = false;
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_ELEMENT_H_
