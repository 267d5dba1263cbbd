// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/held_audio.h"

#include <algorithm>

namespace TSEG::gst {
namespace {

// Timestamp of a frame of a buffer: by the buffer's own, where it has one.
GstClockTime TimeAt(GstBuffer* buffer, int64_t offset, int64_t position, const Timeline& timeline) {
  return GST_BUFFER_PTS_IS_VALID(buffer) ? GST_BUFFER_PTS(buffer) + timeline.Length(offset) : timeline.At(position);
}

}  // namespace

void HeldAudio::Begin(const GstAudioInfo& form, bool mute, bool gaps) {
  form_ = form;
  mute_ = mute;
  gaps_ = gaps;
  left_out_ = true;
  added_ = passed_ = 0;
}

void HeldAudio::Add(GstBuffer* buffer) {
  const int64_t frames = static_cast<int64_t>(gst_buffer_get_size(buffer)) / GST_AUDIO_INFO_BPF(&form_);
  held_.push_back({GST_MINI_OBJECT_CAST(buffer), added_, added_ + frames});
  added_ += frames;
}

void HeldAudio::Add(GstEvent* event) { held_.push_back({GST_MINI_OBJECT_CAST(event), added_, added_}); }

GstFlowReturn HeldAudio::Release(Verdicts& verdicts, const Timeline& timeline) {
  while (!held_.empty()) {
    const Held front = held_.front();
    if (GST_IS_EVENT(front.object)) {
      held_.pop_front();
      gst_pad_push_event(pad_, GST_EVENT_CAST(front.object));
      continue;
    }
    if (passed_ < front.end) {
      const Verdict verdict = verdicts.At(passed_);
      const int64_t end = std::min(verdict.until, front.end);
      if (end <= passed_) return GST_FLOW_OK;
      const GstFlowReturn flow = Emit(front, end, verdict.keep, timeline);
      passed_ = end;
      if (flow != GST_FLOW_OK) return flow;
    }
    if (passed_ == front.end) {
      held_.pop_front();
      gst_mini_object_unref(front.object);
    }
  }
  return GST_FLOW_OK;
}

GstFlowReturn HeldAudio::Emit(const Held& held, int64_t end, bool keep, const Timeline& timeline) {
  GstBuffer* whole = GST_BUFFER_CAST(held.object);
  const GstClockTime time = TimeAt(whole, passed_ - held.begin, passed_, timeline);
  const GstClockTime length = TimeAt(whole, end - held.begin, end, timeline) - time;
  if (!keep && mute_) return EmitSilence(whole, time, length, end - passed_);
  if (!keep) {
    left_out_ = true;
    if (gaps_) gst_pad_push_event(pad_, gst_event_new_gap(time, length));
    return GST_FLOW_OK;
  }
  GstBuffer* part = PartOf(held, end);
  GST_BUFFER_PTS(part) = time;
  GST_BUFFER_DURATION(part) = length;
  if (!mute_ && left_out_) GST_BUFFER_FLAG_SET(part, GST_BUFFER_FLAG_DISCONT);
  left_out_ = false;
  return gst_pad_push(pad_, part);
}

// The frames of a held buffer from passed_ to `end`, which share its memory.
GstBuffer* HeldAudio::PartOf(const Held& held, int64_t end) const {
  GstBuffer* whole = GST_BUFFER_CAST(held.object);
  const auto bytes = [&](int64_t frames) { return static_cast<gsize>(frames) * static_cast<gsize>(GST_AUDIO_INFO_BPF(&form_)); };
  const int64_t offset = passed_ - held.begin;
  GstBuffer* part = gst_buffer_copy_region(whole, GST_BUFFER_COPY_ALL, bytes(offset), bytes(end - passed_));
  if (offset > 0) gst_buffer_unset_flags(part, static_cast<GstBufferFlags>(GST_BUFFER_FLAG_DISCONT | GST_BUFFER_FLAG_RESYNC));
  const bool counted = GST_BUFFER_OFFSET_IS_VALID(whole);
  GST_BUFFER_OFFSET(part) = counted ? GST_BUFFER_OFFSET(whole) + static_cast<guint64>(offset) : GST_BUFFER_OFFSET_NONE;
  GST_BUFFER_OFFSET_END(part) = counted ? GST_BUFFER_OFFSET(part) + static_cast<guint64>(end - passed_) : GST_BUFFER_OFFSET_NONE;
  return part;
}

GstFlowReturn HeldAudio::EmitSilence(GstBuffer* like, GstClockTime time, GstClockTime length, int64_t frames) {
  const gsize bytes = static_cast<gsize>(frames) * static_cast<gsize>(GST_AUDIO_INFO_BPF(&form_));
  GstBuffer* silence = gst_buffer_new_allocate(nullptr, bytes, nullptr);
  gst_buffer_memset(silence, 0, 0, bytes);  // which is silence in each of the forms
  if (GST_BUFFER_FLAG_IS_SET(like, GST_BUFFER_FLAG_DISCONT) && passed_ == held_.front().begin) {
    GST_BUFFER_FLAG_SET(silence, GST_BUFFER_FLAG_DISCONT);
  }
  GST_BUFFER_FLAG_SET(silence, GST_BUFFER_FLAG_GAP);
  GST_BUFFER_PTS(silence) = time;
  GST_BUFFER_DURATION(silence) = length;
  return gst_pad_push(pad_, silence);
}

void HeldAudio::Drop() {
  for (const Held& held : held_) {
    if (GST_IS_EVENT(held.object) && GST_EVENT_IS_STICKY(held.object)) gst_pad_store_sticky_event(pad_, GST_EVENT_CAST(held.object));
    gst_mini_object_unref(held.object);
  }
  held_.clear();
}

}  // namespace TSEG::gst
