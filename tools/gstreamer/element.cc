// SPDX-License-Identifier: Apache-2.0
#include "gstreamer/element.h"

#include <cstring>

namespace TSEG::gst {
namespace {

// A buffer's bytes, to be read.
class Bytes {
 public:
  explicit Bytes(GstBuffer* buffer) : buffer_(buffer), mapped_(gst_buffer_map(buffer, &map_, GST_MAP_READ) != FALSE) {}
  ~Bytes() {
    if (mapped_) gst_buffer_unmap(buffer_, &map_);
  }
  Bytes(const Bytes&) = delete;
  Bytes& operator=(const Bytes&) = delete;
  bool mapped() const { return mapped_; }
  const void* data() const { return map_.data; }
  size_t size() const { return map_.size; }

 private:
  GstBuffer* buffer_;
  GstMapInfo map_{};
  bool mapped_;
};

// Whether a timestamp means the same in both.
bool SameClock(const GstSegment& a, const GstSegment& b) {
  GstSegment other = b;
  other.position = a.position;
  other.duration = a.duration;
  return gst_segment_is_equal(&a, &other) != FALSE;
}

bool SameHearing(const Configuration& a, const Configuration& b) {
  return std::memcmp(&a.settings, &b.settings, sizeof a.settings) == 0 && a.channel == b.channel && a.mode == b.mode &&
         a.post_probabilities == b.post_probabilities;
}

}  // namespace

Element::Element(GstElement* element, GstPad* sink, GstPad* src) : element_(element), sink_(sink), src_(src), held_(src) {
  gst_segment_init(&segment_, GST_FORMAT_UNDEFINED);
}

Element::~Element() { gst_clear_tag_list(&upstream_tags_); }

GstFlowReturn Element::Chain(GstBuffer* buffer) {
  if (!has_form_) {
    gst_buffer_unref(buffer);
    GST_ELEMENT_ERROR(element_, CORE, NEGOTIATION, ("Audio came before its caps."), (nullptr));
    return GST_FLOW_NOT_NEGOTIATED;
  }
  if (!backward_) {
    try {
      Hear(buffer);
    } catch (const Trouble& trouble) {
      gst_buffer_unref(buffer);
      Fail(trouble);
      return GST_FLOW_ERROR;
    }
  }
  if (backward_ || configuration_.mode == Mode::kPass) return gst_pad_push(src_, buffer);
  held_.Add(buffer);
  return held_.Release(verdicts_, timeline_);
}

void Element::Hear(GstBuffer* buffer) {
  const Bytes bytes(buffer);
  if (!bytes.mapped()) throw Trouble(WVAD_E_MEMORY, "a buffer cannot be read");
  TakeChanges();
  const GstClockTime time = GST_BUFFER_PTS(buffer);
  if (in_stretch_ && !timeline_.Continues(position_, time)) EndStretch();
  if (!ear_.open()) OpenEar();
  if (!in_stretch_) BeginStretch(time);
  timeline_.Follow(position_, time);
  if (tags_due_) PushTags();
  if (!ear_.Push(bytes.data(), bytes.size()) && !warned_) {
    warned_ = true;
    GST_ELEMENT_WARNING(element_, STREAM, FORMAT, ("Samples that are no finite numbers are heard as silence."), (nullptr));
  }
  position_ += static_cast<int64_t>(bytes.size()) / GST_AUDIO_INFO_BPF(&form_);
  TellEvents();
}

void Element::BeginStretch(GstClockTime time) {
  const bool timed = segment_.format == GST_FORMAT_TIME;
  const GstClockTime expected = GST_CLOCK_TIME_IS_VALID(next_time_) ? next_time_ : timed ? segment_.start : 0;
  const int rate_hz = GST_AUDIO_INFO_RATE(&form_);
  timeline_.Start(rate_hz, GST_CLOCK_TIME_IS_VALID(time) ? time : expected);
  verdicts_ = Verdicts(configuration_.settings, rate_hz);
  held_.Begin(form_, configuration_.mode == Mode::kMute, timed);
  in_stretch_ = true;
  position_ = 0;
}

// Other settings begin to hold where nothing is said, so that no sentence is cut by them.
void Element::TakeChanges() {
  const uint64_t changes = properties_.changes();
  if (changes == changes_seen_) return;
  Configuration wanted = properties_.Copy();
  configuration_.post_messages = wanted.post_messages;
  wanted.model = configuration_.model;
  if (!SameHearing(wanted, configuration_)) {
    if (!reports_.quiet()) return;
    EndStretch();
    ear_.Close();
    configuration_ = wanted;
  }
  changes_seen_ = changes;
}

void Element::OpenEar() {
  const bool passes = configuration_.mode == Mode::kPass;
  ear_.Open(form_, configuration_, !passes || configuration_.post_probabilities ? uint32_t{WVAD_WANT_PROBABILITY} : 0U);
  tags_due_ = true;
  const double latency_s = passes ? 0 : LatencyOf(configuration_.settings, ear_.model_rate_hz(), GST_AUDIO_INFO_RATE(&form_));
  const auto latency = static_cast<uint64_t>(latency_s * GST_SECOND);
  // A pipeline that has asked already goes by another.
  const GstClockTime told = Latency();
  latency_ = latency;
  if (told != latency) gst_element_post_message(element_, gst_message_new_latency(GST_OBJECT(element_)));
}

void Element::EndStretch() {
  if (!in_stretch_) return;
  in_stretch_ = false;
  next_time_ = timeline_.At(position_);
  ear_.Finish();
  TellEvents();
  ear_.Close();
  reports_.NextStretch();
  held_.Release(verdicts_, timeline_);
  held_.Drop();
}

bool Element::TryEndStretch() {
  try {
    EndStretch();
    return true;
  } catch (const Trouble& trouble) {
    Fail(trouble);
    return false;
  }
}

void Element::DropStretch() {
  in_stretch_ = false;
  next_time_ = GST_CLOCK_TIME_NONE;
  ear_.Close();
  held_.Drop();
  Post(reports_.Abandon());
  reports_.NextStretch();
}

void Element::TellEvents() {
  wvad_event event{};
  while (ear_.NextEvent(&event)) {
    verdicts_.Note(event);
    if (event.kind == WVAD_EVENT_PROBABILITY && !configuration_.post_probabilities) continue;
    Post(reports_.Message(event, timeline_, segment_));
    if (event.kind == WVAD_EVENT_SENTENCE_END) PushTags();
  }
}

void Element::Post(GstStructure* message) {
  if (message == nullptr) return;
  if (configuration_.post_messages) {
    gst_element_post_message(element_, gst_message_new_element(GST_OBJECT(element_), message));
  } else {
    gst_structure_free(message);
  }
}

// Tags of the same scope replace each other downstream, so those from above go along.
void Element::PushTags() {
  tags_due_ = false;
  GstTagList* tags = upstream_tags_ != nullptr ? gst_tag_list_copy(upstream_tags_) : gst_tag_list_new_empty();
  gst_tag_list_set_scope(tags, GST_TAG_SCOPE_STREAM);
  wvad_settings settings = configuration_.settings;
  static const char* const kProfileNames[] = {"default", "fast", "dictation", "meeting", "telephone"};
  gst_tag_list_add(tags, GST_TAG_MERGE_REPLACE, kTagModel, ear_.model_name().c_str(), kTagProfile, kProfileNames[settings.profile],
                   kTagSentences, static_cast<guint64>(reports_.ended()), kTagSpeech, static_cast<guint64>(reports_.speech()), nullptr);
  gst_pad_push_event(src_, gst_event_new_tag(tags));
}

bool Element::SinkEvent(GstEvent* event) {
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_CAPS: {
      GstCaps* caps = nullptr;
      gst_event_parse_caps(event, &caps);
      if (!TakeCaps(caps)) {
        gst_event_unref(event);
        return false;
      }
      break;
    }
    case GST_EVENT_SEGMENT: {
      const GstSegment* segment = nullptr;
      gst_event_parse_segment(event, &segment);
      TakeSegment(*segment);
      break;
    }
    case GST_EVENT_TAG: {
      GstTagList* tags = nullptr;
      gst_event_parse_tag(event, &tags);
      if (gst_tag_list_get_scope(tags) == GST_TAG_SCOPE_STREAM) TakeTags(tags);
      break;
    }
    case GST_EVENT_FLUSH_STOP:
      DropStretch();
      gst_segment_init(&segment_, GST_FORMAT_UNDEFINED);
      backward_ = false;
      break;
    case GST_EVENT_STREAM_START:
      TryEndStretch();
      gst_clear_tag_list(&upstream_tags_);
      break;
    case GST_EVENT_GAP:
    case GST_EVENT_SEGMENT_DONE:
    case GST_EVENT_EOS:
      TryEndStretch();
      break;
    default:
      break;
  }
  if (HoldsBack(event)) {
    held_.Add(event);
    return true;
  }
  return gst_pad_event_default(sink_, GST_OBJECT(element_), event) != FALSE;
}

// Events in the stream must not overtake the audio before them. Those that end a stretch find nothing held.
bool Element::HoldsBack(GstEvent* event) const {
  return !held_.empty() && GST_EVENT_IS_SERIALIZED(event) && GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_STOP;
}

bool Element::SourceQuery(GstQuery* query) {
  if (GST_QUERY_TYPE(query) == GST_QUERY_LATENCY) return AnswerLatency(query);
  return gst_pad_query_default(src_, GST_OBJECT(element_), query) != FALSE;
}

// Of the open ear, or as far as it can be told before there is one.
GstClockTime Element::Latency() const {
  const uint64_t known = latency_;
  if (GST_CLOCK_TIME_IS_VALID(known)) return known;
  const Configuration wanted = properties_.Copy();
  return wanted.mode == Mode::kPass ? 0 : static_cast<GstClockTime>(LatencyOf(wanted.settings, 0, 16000) * GST_SECOND);
}

bool Element::AnswerLatency(GstQuery* query) {
  if (!gst_pad_peer_query(sink_, query)) return false;
  gboolean live = FALSE;
  GstClockTime least = 0;
  GstClockTime most = 0;
  gst_query_parse_latency(query, &live, &least, &most);
  const GstClockTime own = Latency();
  gst_query_set_latency(query, live, least + own, GST_CLOCK_TIME_IS_VALID(most) ? most + own : GST_CLOCK_TIME_NONE);
  return true;
}

bool Element::TakeCaps(GstCaps* caps) {
  GstAudioInfo form;
  if (!gst_audio_info_from_caps(&form, caps)) {
    GST_ELEMENT_ERROR(element_, STREAM, FORMAT, ("These caps are none of audio."), ("%" GST_PTR_FORMAT, static_cast<void*>(caps)));
    return false;
  }
  if (has_form_ && gst_audio_info_is_equal(&form, &form_)) return true;
  try {
    EndStretch();
    ear_.Close();
    form_ = form;
    has_form_ = true;
    if (changes_seen_ != properties_.changes()) {
      changes_seen_ = properties_.changes();
      configuration_ = properties_.Copy();
    }
    OpenEar();
    return true;
  } catch (const Trouble& trouble) {
    has_form_ = false;
    Fail(trouble);
    return false;
  }
}

void Element::TakeSegment(const GstSegment& segment) {
  if (SameClock(segment, segment_)) {
    segment_ = segment;
    return;
  }
  TryEndStretch();
  next_time_ = GST_CLOCK_TIME_NONE;
  segment_ = segment;
  backward_ = segment.rate < 0;
  if (backward_) {
    GST_ELEMENT_WARNING(element_, STREAM, NOT_IMPLEMENTED, ("Audio that runs backward passes unheard."), (nullptr));
  }
}

void Element::TakeTags(GstTagList* tags) {
  gst_clear_tag_list(&upstream_tags_);
  upstream_tags_ = gst_tag_list_ref(tags);
  tags_due_ = true;
}

void Element::Stop() {
  DropStretch();
  reports_.Reset();
  has_form_ = false;
  warned_ = false;
  backward_ = false;
  changes_seen_ = ~uint64_t{0};
  latency_ = GST_CLOCK_TIME_NONE;
  gst_segment_init(&segment_, GST_FORMAT_UNDEFINED);
  gst_clear_tag_list(&upstream_tags_);
}

void Element::Fail(const Trouble& trouble) {
  in_stretch_ = false;
  ear_.Close();
  held_.Drop();
  switch (trouble.status()) {
    case WVAD_E_MODEL_MISSING:
      GST_ELEMENT_ERROR(element_, RESOURCE, NOT_FOUND, ("%s", trouble.what()), (nullptr));
      break;
    case WVAD_E_MODEL_DAMAGED:
    case WVAD_E_MODEL_KIND:
    case WVAD_E_PARAMETER:
      GST_ELEMENT_ERROR(element_, RESOURCE, OPEN_READ, ("%s", trouble.what()), (nullptr));
      break;
    case WVAD_E_FORMAT:
    case WVAD_E_LENGTH:
      GST_ELEMENT_ERROR(element_, STREAM, FORMAT, ("%s", trouble.what()), (nullptr));
      break;
    case WVAD_E_RANGE:
      GST_ELEMENT_ERROR(element_, LIBRARY, SETTINGS, ("%s", trouble.what()), (nullptr));
      break;
    default:
      GST_ELEMENT_ERROR(element_, LIBRARY, FAILED, ("%s (%s)", trouble.what(), wvad_status_name(trouble.status())), (nullptr));
  }
}

}  // namespace TSEG::gst
