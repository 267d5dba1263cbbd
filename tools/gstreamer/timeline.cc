// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/timeline.h"

namespace TSEG::gst {
namespace {

// As far as audio sinks bear a timestamp off its place.
constexpr GstClockTimeDiff kBreak = 40 * GST_MSECOND;
// Half of the 10 ms that events are exact to.
constexpr GstClockTimeDiff kStep = 5 * GST_MSECOND;
// Hours of any clock's drift; what lies before the oldest goes by that one.
constexpr size_t kMostAnchors = 1024;

}  // namespace

void Timeline::Start(int rate_hz, GstClockTime time) {
  rate_hz_ = rate_hz;
  anchors_.assign(1, {0, time});
}

GstClockTime Timeline::Length(int64_t frames) const {
  return gst_util_uint64_scale(static_cast<guint64>(frames), GST_SECOND, static_cast<guint64>(rate_hz_));
}

GstClockTime Timeline::At(int64_t position) const {
  size_t i = anchors_.size() - 1;
  while (i > 0 && anchors_[i].position > position) --i;
  const Anchor& anchor = anchors_[i];
  if (position >= anchor.position) return anchor.time + Length(position - anchor.position);
  const GstClockTime before = Length(anchor.position - position);
  return anchor.time > before ? anchor.time - before : 0;
}

bool Timeline::Continues(int64_t position, GstClockTime time) const {
  if (!GST_CLOCK_TIME_IS_VALID(time)) return true;
  return ABS(GST_CLOCK_DIFF(At(position), time)) <= kBreak;
}

void Timeline::Follow(int64_t position, GstClockTime time) {
  if (!GST_CLOCK_TIME_IS_VALID(time) || ABS(GST_CLOCK_DIFF(At(position), time)) <= kStep) return;
  anchors_.push_back({position, time});
  if (anchors_.size() > kMostAnchors) anchors_.pop_front();
}

}  // namespace TSEG::gst
