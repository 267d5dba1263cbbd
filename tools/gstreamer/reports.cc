// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/reports.h"

#include <cmath>

namespace TSEG::gst {
namespace {

const char* NameOf(int32_t kind) {
  switch (kind) {
    case WVAD_EVENT_ONSET:
      return "may-have-begun";
    case WVAD_EVENT_ONSET_DROPPED:
      return "dropped";
    case WVAD_EVENT_SENTENCE_BEGIN:
      return "begun";
    case WVAD_EVENT_SENTENCE_END:
      return "ended";
    case WVAD_EVENT_TURN_END:
      return "turn-ended";
    case WVAD_EVENT_SILENCE:
      return "silence";
    case WVAD_EVENT_PROBABILITY:
      return "probability";
    default:
      return nullptr;
  }
}

// The three times of a timestamp, under their names behind `prefix`. In a segment of another format than time only the first is known.
void SetTimes(GstStructure* message, const char* prefix, GstClockTime time, const GstSegment& segment) {
  const bool timed = segment.format == GST_FORMAT_TIME;
  const guint64 stream_time = timed ? gst_segment_to_stream_time(&segment, GST_FORMAT_TIME, time) : GST_CLOCK_TIME_NONE;
  const guint64 running_time = timed ? gst_segment_to_running_time(&segment, GST_FORMAT_TIME, time) : GST_CLOCK_TIME_NONE;
  const struct {
    const char* name;
    guint64 value;
  } times[] = {{"timestamp", time}, {"stream-time", stream_time}, {"running-time", running_time}};
  for (const auto& one : times) {
    gchar* name = g_strconcat(prefix, one.name, nullptr);
    gst_structure_set(message, name, G_TYPE_UINT64, one.value, nullptr);
    g_free(name);
  }
}

void SetFlag(GstStructure* message, const char* name, uint32_t flags, uint32_t flag) {
  gst_structure_set(message, name, G_TYPE_BOOLEAN, (flags & flag) != 0 ? TRUE : FALSE, nullptr);
}

void SetMeasure(GstStructure* message, const char* name, double value) {
  if (!std::isnan(value)) gst_structure_set(message, name, G_TYPE_DOUBLE, value, nullptr);
}

}  // namespace

void RegisterTags() {
  gst_tag_register_static(kTagModel, GST_TAG_FLAG_META, G_TYPE_STRING, "voice activity model", "Model that looked for sentences",
                          gst_tag_merge_use_first);
  gst_tag_register_static(kTagProfile, GST_TAG_FLAG_META, G_TYPE_STRING, "voice activity profile",
                          "Profile of the settings that sentences were looked for with", gst_tag_merge_use_first);
  gst_tag_register_static(kTagSentences, GST_TAG_FLAG_DECODED, G_TYPE_UINT64, "sentences", "Sentences that have ended so far", nullptr);
  gst_tag_register_static(kTagSpeech, GST_TAG_FLAG_DECODED, G_TYPE_UINT64, "speech", "Length of these sentences in nanoseconds", nullptr);
}

GstStructure* Reports::Message(const wvad_event& event, const Timeline& timeline, const GstSegment& segment) {
  const char* name = NameOf(event.kind);
  if (name == nullptr) return nullptr;
  GstStructure* message = gst_structure_new("wvad", "event", G_TYPE_STRING, name, nullptr);
  SetTimes(message, "", timeline.At(event.time), segment);
  gst_structure_set(message, "delay", G_TYPE_UINT64, timeline.Length(MAX(event.known_at - event.time, 0)), nullptr);
  if (event.sentence >= 0) gst_structure_set(message, "sentence", G_TYPE_INT64, stretch_base_ + event.sentence, nullptr);
  switch (event.kind) {
    case WVAD_EVENT_ONSET:
      onset_ = true;
      break;
    case WVAD_EVENT_ONSET_DROPPED:
      onset_ = false;
      break;
    case WVAD_EVENT_SENTENCE_BEGIN:
      onset_ = false;
      open_ = true;
      ++sentences_;
      begin_ = timeline.At(event.begin);
      SetFlag(message, "began-in-speech", event.flags, WVAD_FLAG_BEGAN_IN_SPEECH);
      break;
    case WVAD_EVENT_SENTENCE_END:
      AddEnd(message, event, timeline, segment);
      break;
    case WVAD_EVENT_SILENCE:
      gst_structure_set(message, "duration", G_TYPE_UINT64, timeline.Length(event.time - event.begin), nullptr);
      break;
    case WVAD_EVENT_PROBABILITY:
      gst_structure_set(message, "probability", G_TYPE_DOUBLE, static_cast<double>(event.probability), nullptr);
      break;
    default:
      break;
  }
  return message;
}

void Reports::AddEnd(GstStructure* message, const wvad_event& event, const Timeline& timeline, const GstSegment& segment) {
  const GstClockTime length = timeline.Length(event.end - event.begin);
  SetTimes(message, "begin-", begin_, segment);
  gst_structure_set(message, "duration", G_TYPE_UINT64, length, nullptr);
  SetMeasure(message, "level-db", event.level_db);
  SetMeasure(message, "snr-db", event.snr_db);
  SetMeasure(message, "clipped", event.clipped);
  SetFlag(message, "began-in-speech", event.flags, WVAD_FLAG_BEGAN_IN_SPEECH);
  SetFlag(message, "ended-in-speech", event.flags, WVAD_FLAG_ENDED_IN_SPEECH);
  open_ = false;
  ++ended_;
  speech_ += length;
}

GstStructure* Reports::Abandon() {
  if (quiet()) return nullptr;
  GstStructure* message = gst_structure_new("wvad", "event", G_TYPE_STRING, "abandoned", nullptr);
  if (open_) gst_structure_set(message, "sentence", G_TYPE_INT64, sentences_ - 1, nullptr);
  onset_ = open_ = false;
  return message;
}

}  // namespace TSEG::gst
