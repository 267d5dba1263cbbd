// SPDX-License-Identifier: Apache-2.0
//
// What the tests of the stream library share: the model that hears every frame as speech, a stream as an owner, and its
// events.
#ifndef WVAD_TESTS_STREAM_SIGNALS_H_
#define WVAD_TESTS_STREAM_SIGNALS_H_

#include <gtest/gtest.h>
#include <wvad_stream.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "support/bursts.h"

namespace TSEG::stream::testing {

using testing_support::Bursts;
using testing_support::kLoud;

class Model {
 public:
  explicit Model(const std::string& path = WVAD_TEST_MODEL) {
    EXPECT_EQ(wvad_model_open(path.c_str(), &handle_), WVAD_OK) << wvad_last_error();
  }
  ~Model() { wvad_model_close(&handle_); }
  Model(const Model&) = delete;
  Model& operator=(const Model&) = delete;
  wvad_model* get() const { return handle_; }

 private:
  wvad_model* handle_ = nullptr;
};

inline wvad_stream_options Options(int rate_hz = 16000, int channels = 1, int form = WVAD_SAMPLE_S16) {
  wvad_stream_options options;
  EXPECT_EQ(wvad_stream_options_init(&options, sizeof options), WVAD_OK);
  options.rate_hz = rate_hz;
  options.channels = channels;
  options.sample_form = form;
  return options;
}

inline wvad_settings Settings(const std::string& text = "") {
  wvad_settings settings;
  EXPECT_EQ(wvad_settings_init(&settings, sizeof settings, WVAD_PROFILE_DEFAULT), WVAD_OK);
  EXPECT_EQ(wvad_settings_parse(&settings, text.c_str()), WVAD_OK) << wvad_last_error();
  return settings;
}

// An event with what it pointed to.
struct Seen {
  wvad_event record{};
  std::vector<int16_t> audio;
  std::vector<float> features;
};

class Stream {
 public:
  Stream(const Model& model, const wvad_stream_options& options, const wvad_settings& settings) : options_(options) {
    EXPECT_EQ(wvad_stream_open(model.get(), &options, &settings, &handle_), WVAD_OK) << wvad_last_error();
  }
  ~Stream() { EXPECT_EQ(wvad_stream_close(&handle_), WVAD_OK); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;
  wvad_stream* get() const { return handle_; }

  template <typename T>
  void Push(const std::vector<T>& samples, size_t piece_samples) {
    for (size_t at = 0; at < samples.size(); at += piece_samples) {
      const size_t count = std::min(piece_samples, samples.size() - at);
      ASSERT_EQ(wvad_stream_push(handle_, samples.data() + at, count * sizeof(T)), WVAD_OK) << wvad_last_error();
      Collect();
    }
  }
  void Finish() {
    ASSERT_EQ(wvad_stream_finish(handle_), WVAD_OK) << wvad_last_error();
    Collect();
  }
  void Collect() {
    wvad_event event{};
    event.size = sizeof event;
    while (wvad_stream_next_event(handle_, &event) == 1) {
      Seen one;
      one.record = event;
      if (event.audio != nullptr) one.audio.assign(event.audio, event.audio + event.n_audio);
      if (event.features != nullptr) one.features.assign(event.features, event.features + 115 * event.n_features);
      one.record.audio = nullptr;
      one.record.features = nullptr;
      events.push_back(one);
    }
  }
  std::vector<wvad_event> Of(int kind) const {
    std::vector<wvad_event> found;
    for (const Seen& seen : events) {
      if (seen.record.kind == kind) found.push_back(seen.record);
    }
    return found;
  }
  // Begin and end of each sentence, in seconds of the input.
  std::vector<std::pair<double, double>> Sentences() const {
    std::vector<std::pair<double, double>> found;
    for (const wvad_event& event : Of(WVAD_EVENT_SENTENCE_END)) {
      found.emplace_back(static_cast<double>(event.begin) / options_.rate_hz, static_cast<double>(event.end) / options_.rate_hz);
    }
    return found;
  }

  std::vector<Seen> events;

 private:
  wvad_stream_options options_;
  wvad_stream* handle_ = nullptr;
};

// All events of `samples` in one text, to compare runs by.
inline std::string Text(const std::vector<Seen>& events) {
  std::string text;
  for (const Seen& seen : events) {
    const wvad_event& e = seen.record;
    text += std::to_string(e.kind) + " t" + std::to_string(e.time) + " k" + std::to_string(e.known_at) + " s" + std::to_string(e.sentence) +
            " " + std::to_string(e.begin) + "-" + std::to_string(e.end) + " f" + std::to_string(e.flags) + " p" +
            std::to_string(e.probability) + " l" + std::to_string(e.level_db) + " n" + std::to_string(e.snr_db) + " c" +
            std::to_string(e.clipped) + " a" + std::to_string(seen.audio.size()) + " q" + std::to_string(seen.features.size()) + "\n";
  }
  return text;
}

}  // namespace TSEG::stream::testing

#endif  // WVAD_TESTS_STREAM_SIGNALS_H_
