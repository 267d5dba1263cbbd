// SPDX-License-Identifier: Apache-2.0
//
// The element in whole pipelines: from a file with a seek, from an application, from a live source.
#include <gst/app/gstappsrc.h>

#include <filesystem>
#include <fstream>

#include "gstreamer/rig.h"

namespace TSEG::gst::testing {
namespace {

class Pipeline {
 public:
  explicit Pipeline(const std::string& line) {
    NeedGStreamer();
    GError* error = nullptr;
    pipeline_ = gst_parse_launch(line.c_str(), &error);
    EXPECT_EQ(error, nullptr) << error->message;
    bus_ = gst_element_get_bus(pipeline_);
  }
  ~Pipeline() {
    gst_element_set_state(pipeline_, GST_STATE_NULL);
    gst_object_unref(bus_);
    gst_object_unref(pipeline_);
  }
  Pipeline(const Pipeline&) = delete;
  Pipeline& operator=(const Pipeline&) = delete;

  GstElement* get() { return pipeline_; }
  GstElement* Find(const char* name) { return gst_bin_get_by_name(GST_BIN(pipeline_), name); }
  bool Reach(GstState state) {
    gst_element_set_state(pipeline_, state);
    return gst_element_get_state(pipeline_, nullptr, nullptr, 20 * GST_SECOND) != GST_STATE_CHANGE_FAILURE;
  }
  // What was told until the end; an error ends the test.
  std::vector<Told> RunToEnd() {
    std::vector<Told> all;
    gst_element_set_state(pipeline_, GST_STATE_PLAYING);
    for (;;) {
      GstMessage* message = gst_bus_timed_pop(bus_, 60 * GST_SECOND);
      if (message == nullptr) {
        ADD_FAILURE() << "no end";
        return all;
      }
      const GstMessageType type = GST_MESSAGE_TYPE(message);
      if (type == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        ADD_FAILURE() << error->message;
        g_error_free(error);
      }
      if (gst_message_has_name(message, "wvad")) {
        all.emplace_back(message);
      } else {
        gst_message_unref(message);
      }
      if (type == GST_MESSAGE_EOS || type == GST_MESSAGE_ERROR) return all;
    }
  }
  std::vector<Told> TakeTold() { return testing::TakeTold(bus_); }

 private:
  GstElement* pipeline_;
  GstBus* bus_;
};

class GstreamerPipelines : public ::testing::Test {
 protected:
  GstreamerPipelines() : path_(std::filesystem::path(::testing::TempDir()) / ("gst" + std::to_string(g_random_int()) + ".raw")) {}
  ~GstreamerPipelines() override { std::filesystem::remove(path_); }
  std::string FromFile(const std::vector<int16_t>& signal) {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(signal.data()), static_cast<std::streamsize>(signal.size() * sizeof(int16_t)));
    return "filesrc location=" + path_.string() + " ! rawaudioparse sample-rate=16000 num-channels=1 ! ";
  }

 private:
  std::filesystem::path path_;
};

TEST_F(GstreamerPipelines, FileIsHeardToItsEnd) {
  Pipeline pipeline(FromFile(Bursts(10, {{1, 2}, {5, 6.5}})) + "wvad model=" WVAD_TEST_MODEL " ! fakesink");
  ExpectSpans(SentencesOf(pipeline.RunToEnd(), "stream-time"), {{0.70, 2.20}, {4.70, 6.70}}, 0.0011);
}

TEST_F(GstreamerPipelines, SeekGoesThroughAndNothingOfBeforeIsToldAfterIt) {
  Pipeline pipeline(FromFile(Bursts(30, {{1, 2}, {20, 21}})) + "wvad model=" WVAD_TEST_MODEL " ! fakesink sync=true");
  ASSERT_TRUE(pipeline.Reach(GST_STATE_PAUSED));
  pipeline.TakeTold();
  ASSERT_TRUE(gst_element_seek(pipeline.get(), 1.0, GST_FORMAT_TIME,
                               static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE), GST_SEEK_TYPE_SET, 18 * GST_SECOND,
                               GST_SEEK_TYPE_SET, 23 * GST_SECOND));
  const std::vector<Told> told = pipeline.RunToEnd();
  // The parser goes on at one of its own frames, which need not lie on whole 10 ms.
  ExpectSpans(SentencesOf(told, "stream-time"), {{19.70, 21.20}}, 0.0101);
  ExpectSpans(SentencesOf(told, "running-time"), {{1.70, 3.20}}, 0.0101);
}

TEST_F(GstreamerPipelines, ApplicationPushesAudioAndReadsTheBus) {
  Pipeline pipeline("appsrc name=in is-live=true format=time caps=\"" + CapsOf() +
                    "\" ! wvad model=" WVAD_TEST_MODEL " ! fakesink sync=false");
  GstElement* in = pipeline.Find("in");
  gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
  const std::vector<int16_t> signal = Bursts(4, {{1, 2}});
  for (size_t at = 0; at < signal.size(); at += 160) {
    const std::vector<int16_t> part(signal.begin() + static_cast<std::ptrdiff_t>(at),
                                    signal.begin() + static_cast<std::ptrdiff_t>(at + 160));
    ASSERT_EQ(gst_app_src_push_buffer(GST_APP_SRC(in), BufferOf(part, Seconds(static_cast<double>(at) / 16000))), GST_FLOW_OK);
  }
  gst_app_src_end_of_stream(GST_APP_SRC(in));
  gst_object_unref(in);
  ExpectSpans(SentencesOf(pipeline.RunToEnd()), {{0.70, 2.20}}, 1e-6);
}

TEST_F(GstreamerPipelines, LiveSourceIsHeardWithoutDelay) {
  // 60 buffers of 50 ms, at the pace of the clock; the model of the tests hears speech in any sound.
  Pipeline pipeline("audiotestsrc is-live=true wave=square samplesperbuffer=800 num-buffers=60 ! " + CapsOf() +
                    " ! wvad name=detector model=" WVAD_TEST_MODEL " ! fakesink sync=true");
  const GstClockTime begun = static_cast<GstClockTime>(g_get_monotonic_time()) * 1000;
  const std::vector<Told> told = pipeline.RunToEnd();
  EXPECT_GT(static_cast<GstClockTime>(g_get_monotonic_time()) * 1000 - begun, Seconds(2.5));
  ASSERT_EQ(EventsOf(told), (std::vector<std::string>{"may-have-begun", "begun", "ended"}));
  EXPECT_TRUE(told[1].flag("began-in-speech"));
  ExpectSpans(SentencesOf(told, "stream-time"), {{told[1].time("stream-time"), told[1].time("stream-time") + 2.96}}, 1e-6);
}

TEST_F(GstreamerPipelines, AudioThatPassesHasNoLatency) {
  Pipeline pipeline("audiotestsrc is-live=true samplesperbuffer=800 ! " + CapsOf() +
                    " ! wvad name=detector model=" WVAD_TEST_MODEL " ! fakesink sync=true");
  ASSERT_TRUE(pipeline.Reach(GST_STATE_PLAYING));
  GstElement* detector = pipeline.Find("detector");
  GstQuery* query = gst_query_new_latency();
  ASSERT_TRUE(gst_element_query(detector, query));
  gst_object_unref(detector);
  gboolean live = FALSE;
  GstClockTime least = 0, most = 0;
  gst_query_parse_latency(query, &live, &least, &most);
  gst_query_unref(query);
  EXPECT_TRUE(live);
  EXPECT_EQ(least, Seconds(0.05));  // a buffer of the source
}

}  // namespace
}  // namespace TSEG::gst::testing
