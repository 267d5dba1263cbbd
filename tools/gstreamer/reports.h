// SPDX-License-Identifier: Apache-2.0
//
// Reports: what the stream library tells of one stretch of audio, as element messages and as tags.
//
// A message is named "wvad". Its field "event" says what happened, the other fields are times in nanoseconds, as those of other elements
// that look at audio: "timestamp" on the buffers' clock, "stream-time" and "running-time" of the same place. docs/gstreamer.md has the
// table.
#ifndef WVAD_GSTREAMER_REPORTS_H_
#define WVAD_GSTREAMER_REPORTS_H_

#include <gst/gst.h>
#include <wvad_stream.h>

#include <cstdint>

#include "gstreamer/timeline.h"

namespace TSEG::gst {

inline constexpr char kTagModel[] = "wvad-model";
inline constexpr char kTagProfile[] = "wvad-profile";
inline constexpr char kTagSentences[] = "wvad-sentences";
inline constexpr char kTagSpeech[] = "wvad-speech";

// Makes the tags known to GStreamer; once for the process.
void RegisterTags();

class Reports {
 public:
  // The message of an event, or null for one that is not told. Counts sentences.
  GstStructure* Message(const wvad_event& event, const Timeline& timeline, const GstSegment& segment);

  // What was begun will not be told to its end, since the audio was thrown away. Null if nothing is open.
  GstStructure* Abandon();
  // The next events come from another stretch, whose sentences are numbered from 0 again.
  void NextStretch() { stretch_base_ = sentences_; }
  void Reset() { *this = Reports(); }

  // Sentences that have ended since the last Reset, and their length together.
  int64_t ended() const { return ended_; }
  GstClockTime speech() const { return speech_; }
  // Whether nothing has begun, or may have begun.
  bool quiet() const { return !onset_ && !open_; }

 private:
  void AddEnd(GstStructure* message, const wvad_event& event, const Timeline& timeline, const GstSegment& segment);

  bool onset_ = false;
  bool open_ = false;
  GstClockTime begin_ = 0;    // timestamp of the open sentence
  int64_t stretch_base_ = 0;  // sentences of earlier stretches
  int64_t sentences_ = 0;     // begun
  int64_t ended_ = 0;
  GstClockTime speech_ = 0;
};

}  // namespace TSEG::gst

#endif  // WVAD_GSTREAMER_REPORTS_H_
