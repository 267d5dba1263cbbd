// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the element share: GStreamer with the built plugin and no registry, made audio, the element in a harness, and what it
// posted.
#ifndef WVAD_TESTS_GSTREAMER_RIG_H_
#define WVAD_TESTS_GSTREAMER_RIG_H_

#include <gst/check/gstharness.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace TSEG::gst::testing {

using Spans = std::vector<std::pair<double, double>>;

// Starts GStreamer, once, with the plugins that the tests take and no others.
inline void NeedGStreamer() {
  static const bool started = [] {
    g_setenv("GST_REGISTRY_DISABLE", "yes", TRUE);
    gst_init(nullptr, nullptr);
    const std::string folder = WVAD_GSTREAMER_PLUGINS;
    for (const std::string& path : {std::string(WVAD_GSTREAMER_PLUGIN), folder + "/libgstcoreelements.so", folder + "/libgstapp.so",
                                    folder + "/libgstaudiotestsrc.so", folder + "/libgstrawparse.so"}) {
      GError* error = nullptr;
      GstPlugin* plugin = gst_plugin_load_file(path.c_str(), &error);
      EXPECT_NE(plugin, nullptr) << path << ": " << (error != nullptr ? error->message : "");
      g_clear_error(&error);
      if (plugin != nullptr) gst_object_unref(plugin);
    }
    return true;
  }();
  ASSERT_TRUE(started);
}

// A square wave of a quarter of full scale (period 20 ms) inside the given spans of seconds, digital silence elsewhere, 16 bits.
//
// With the model of the tests frame f is speech if the 25 ms window from 10 f ms on reaches into a burst: for one from a to b seconds,
// frames 100a - 2 to 100b - 1, of which the first two prove nothing. In the default profile that is: may have begun at a - 0.02, a sentence
// from a - 0.3 to b + 0.2.
inline std::vector<int16_t> Bursts(double length_s, const Spans& spans, int rate_hz = 16000, int channels = 1) {
  const auto frames_of = [&](double s) { return static_cast<size_t>(s * rate_hz + 0.5); };
  std::vector<int16_t> signal(frames_of(length_s) * static_cast<size_t>(channels), 0);
  for (const auto& [begin, end] : spans) {
    for (size_t i = frames_of(begin); i < frames_of(end) && i < frames_of(length_s); ++i) {
      const int16_t value = (i / static_cast<size_t>(rate_hz / 100)) % 2 == 0 ? 8000 : -8000;
      for (size_t c = 0; c < static_cast<size_t>(channels); ++c) signal[i * static_cast<size_t>(channels) + c] = value;
    }
  }
  return signal;
}

inline GstClockTime Seconds(double s) { return static_cast<GstClockTime>(s * 1e9 + 0.5); }

template <typename T>
GstBuffer* BufferOf(const std::vector<T>& samples, GstClockTime time, GstClockTime duration = GST_CLOCK_TIME_NONE) {
  GstBuffer* buffer = gst_buffer_new_allocate(nullptr, samples.size() * sizeof(T), nullptr);
  gst_buffer_fill(buffer, 0, samples.data(), samples.size() * sizeof(T));
  GST_BUFFER_PTS(buffer) = time;
  GST_BUFFER_DURATION(buffer) = duration;
  return buffer;
}

inline std::string CapsOf(const char* format = "S16LE", int rate_hz = 16000, int channels = 1) {
  std::string caps = std::string("audio/x-raw, format=") + format + ", layout=interleaved, rate=" + std::to_string(rate_hz) +
                     ", channels=" + std::to_string(channels);
  if (channels > 2) caps += ", channel-mask=(bitmask)0";
  return caps;
}

// What the element posted, in order, taken apart.
struct Told {
  explicit Told(GstMessage* message) : message_(message) {}
  Told(Told&& other) noexcept : message_(std::exchange(other.message_, nullptr)) {}
  Told& operator=(Told&& other) noexcept {
    std::swap(message_, other.message_);
    return *this;
  }
  ~Told() {
    if (message_ != nullptr) gst_message_unref(message_);
  }
  const GstStructure* fields() const { return gst_message_get_structure(message_); }
  std::string event() const { return gst_structure_get_string(fields(), "event"); }
  bool has(const char* name) const { return gst_structure_has_field(fields(), name) != FALSE; }
  bool flag(const char* name) const {
    gboolean value = FALSE;
    EXPECT_TRUE(gst_structure_get_boolean(fields(), name, &value)) << name;
    return value != FALSE;
  }
  double number(const char* name) const {
    gdouble value = 0;
    EXPECT_TRUE(gst_structure_get_double(fields(), name, &value)) << name;
    return value;
  }
  int64_t count(const char* name) const {
    gint64 value = -1;
    EXPECT_TRUE(gst_structure_get_int64(fields(), name, &value)) << name;
    return value;
  }
  // A time in seconds, or -1 for none.
  double time(const char* name) const {
    guint64 value = 0;
    EXPECT_TRUE(gst_structure_get_uint64(fields(), name, &value)) << name;
    return value == GST_CLOCK_TIME_NONE ? -1 : static_cast<double>(value) / 1e9;
  }

 private:
  GstMessage* message_;
};

// All that waits on `bus` of the kind "wvad", in order; other messages go.
inline std::vector<Told> TakeTold(GstBus* bus) {
  std::vector<Told> all;
  while (GstMessage* message = gst_bus_pop(bus)) {
    if (gst_message_has_name(message, "wvad")) {
      all.emplace_back(message);
    } else {
      gst_message_unref(message);
    }
  }
  return all;
}

inline std::vector<std::string> EventsOf(const std::vector<Told>& all) {
  std::vector<std::string> events;
  for (const Told& one : all) events.push_back(one.event());
  return events;
}

// Begin and end of each sentence on the clock named, in seconds.
inline Spans SentencesOf(const std::vector<Told>& all, const std::string& clock = "timestamp") {
  Spans spans;
  for (const Told& one : all) {
    if (one.event() == "ended") spans.emplace_back(one.time(("begin-" + clock).c_str()), one.time(clock.c_str()));
  }
  return spans;
}

inline void ExpectSpans(const Spans& found, const Spans& expected, double within_s = 1e-6) {
  ASSERT_EQ(found.size(), expected.size());
  for (size_t i = 0; i < found.size(); ++i) {
    EXPECT_NEAR(found[i].first, expected[i].first, within_s) << "begin of " << i;
    EXPECT_NEAR(found[i].second, expected[i].second, within_s) << "end of " << i;
  }
}

// The element between two loose pads, with the model of the tests, and its bus.
class Rig {
 public:
  explicit Rig(const std::string& properties = "", bool with_model = true) {
    NeedGStreamer();
    std::string line = "wvad name=detector " + properties;
    if (with_model) line += " model=" WVAD_TEST_MODEL;
    harness_ = gst_harness_new_parse(line.c_str());
    element_ = gst_harness_find_element(harness_, "wvad");
    bus_ = gst_bus_new();
    gst_element_set_bus(element_, bus_);
  }
  ~Rig() {
    gst_element_set_bus(element_, nullptr);
    gst_object_unref(bus_);
    gst_object_unref(element_);
    gst_harness_teardown(harness_);
  }
  Rig(const Rig&) = delete;
  Rig& operator=(const Rig&) = delete;

  GstHarness* harness() { return harness_; }
  GstElement* element() { return element_; }
  GstBus* bus() { return bus_; }
  void SetCaps(const std::string& caps = CapsOf()) { gst_harness_set_src_caps_str(harness_, caps.c_str()); }

  // `samples` from timestamp `start` on, in buffers of `piece` frames. The first that is refused ends it.
  template <typename T>
  GstFlowReturn Push(const std::vector<T>& samples, GstClockTime start, int rate_hz = 16000, int channels = 1, size_t piece = 320) {
    const size_t width = static_cast<size_t>(channels);
    for (size_t at = 0; at < samples.size() / width; at += piece) {
      const size_t end = std::min(at + piece, samples.size() / width);
      const auto time_of = [&](size_t frame) { return gst_util_uint64_scale(frame, GST_SECOND, static_cast<guint64>(rate_hz)); };
      const std::vector<T> part(samples.begin() + static_cast<std::ptrdiff_t>(at * width),
                                samples.begin() + static_cast<std::ptrdiff_t>(end * width));
      const GstFlowReturn flow = gst_harness_push(harness_, BufferOf(part, start + time_of(at), time_of(end) - time_of(at)));
      if (flow != GST_FLOW_OK) return flow;
    }
    return GST_FLOW_OK;
  }
  bool PushEvent(GstEvent* event) { return gst_harness_push_event(harness_, event) != FALSE; }
  bool End() { return PushEvent(gst_event_new_eos()); }

  // A segment of time in which `start` is shown at `time` and played at running time `base`.
  void PushSegment(double start_s, double time_s, double base_s) {
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    segment.start = segment.position = Seconds(start_s);
    segment.time = Seconds(time_s);
    segment.base = Seconds(base_s);
    PushEvent(gst_event_new_segment(&segment));
  }
  std::vector<Told> TakeTold() { return testing::TakeTold(bus_); }

  // The text of the first error or warning that waits, empty for none. Messages before it go.
  std::string TakeTrouble(GstMessageType type) {
    GstMessage* message = gst_bus_pop_filtered(bus_, type);
    if (message == nullptr) return "";
    GError* error = nullptr;
    (type == GST_MESSAGE_ERROR ? gst_message_parse_error : gst_message_parse_warning)(message, &error, nullptr);
    const std::string text = error->message;
    g_error_free(error);
    gst_message_unref(message);
    return text;
  }
  std::string TakeError() { return TakeTrouble(GST_MESSAGE_ERROR); }

 private:
  GstHarness* harness_;
  GstElement* element_;
  GstBus* bus_;
};

}  // namespace TSEG::gst::testing

#endif  // WVAD_TESTS_GSTREAMER_RIG_H_
