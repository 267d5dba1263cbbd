// SPDX-License-Identifier: Apache-2.0
//
// What is refused, how, and that nothing is lost by it.
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "stream/signals.h"
#include "support/temp_folder.h"

namespace TSEG::stream::testing {
namespace {

std::string ModelBytes() {
  std::ifstream in(WVAD_TEST_MODEL, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

class Refusals : public ::testing::Test {
 protected:
  void Expect(wvad_status got, wvad_status wanted, const std::string& says) {
    EXPECT_EQ(got, wanted) << wvad_status_name(got);
    EXPECT_NE(std::string(wvad_last_error()).find(says), std::string::npos) << wvad_last_error();
  }
  wvad_status Open(const wvad_stream_options& options) {
    wvad_stream* stream = reinterpret_cast<wvad_stream*>(this);
    const wvad_status status = wvad_stream_open(model_.get(), &options, nullptr, &stream);
    EXPECT_EQ(stream, nullptr);
    return status;
  }
  Model model_;
};

TEST_F(Refusals, ModelsThatAreMissingCutOrOfAnotherKind) {
  testing_support::TempFolder folder;
  wvad_model* model = reinterpret_cast<wvad_model*>(this);
  Expect(wvad_model_open((folder.path() + "/none.bin").c_str(), &model), WVAD_E_MODEL_MISSING, "none.bin: there is no such file");
  EXPECT_EQ(model, nullptr);
  Expect(wvad_model_open("", &model), WVAD_E_MODEL_MISSING, "");
  Expect(wvad_model_open(folder.path().c_str(), &model), WVAD_E_MODEL_MISSING, ": is a folder, not a model file");
  const std::string bytes = ModelBytes();
  Expect(wvad_model_open(folder.write("cut.bin", bytes.substr(0, bytes.size() / 2)).c_str(), &model), WVAD_E_MODEL_DAMAGED, "cut.bin");
  Expect(wvad_model_open(folder.write("empty.bin", "").c_str(), &model), WVAD_E_MODEL_DAMAGED, "empty.bin");
  Expect(wvad_model_open(folder.write("text.bin", std::string(20000, 'x')).c_str(), &model), WVAD_E_MODEL_KIND, "not a model");
  Expect(wvad_model_open_memory(bytes.data(), bytes.size() / 2, &model), WVAD_E_MODEL_DAMAGED, "model in memory");
  Expect(wvad_model_open_memory(bytes.data(), 0, &model), WVAD_E_MODEL_DAMAGED, "");
  Expect(wvad_model_open_bundled("no_such_model", &model), WVAD_E_MODEL_MISSING, "no_such_model.bin");
  Expect(wvad_model_open_bundled("../vad/x", &model), WVAD_E_PARAMETER, "not the name of a bundled model");
}

TEST_F(Refusals, EveryNullPointer) {
  wvad_model* model = nullptr;
  Expect(wvad_model_open(nullptr, &model), WVAD_E_NULL, "path is null");
  Expect(wvad_model_open("x", nullptr), WVAD_E_NULL, "model is null");
  Expect(wvad_model_open_memory(nullptr, 10, &model), WVAD_E_NULL, "data is null");
  Expect(wvad_model_close(nullptr), WVAD_E_NULL, "model is null");
  EXPECT_EQ(wvad_model_close(&model), WVAD_OK);
  wvad_model_info model_info{};
  Expect(wvad_model_get_info(nullptr, &model_info), WVAD_E_NULL, "model is null");
  Expect(wvad_model_get_info(model_.get(), nullptr), WVAD_E_NULL, "info is null");
  Expect(wvad_settings_init(nullptr, sizeof(wvad_settings), 0), WVAD_E_NULL, "settings");
  Expect(wvad_settings_parse(nullptr, ""), WVAD_E_NULL, "settings");
  wvad_settings settings = Settings();
  Expect(wvad_settings_parse(&settings, nullptr), WVAD_E_NULL, "text");
  Expect(wvad_settings_check(nullptr), WVAD_E_NULL, "settings");
  Expect(wvad_settings_describe(0, nullptr), WVAD_E_NULL, "info");
  Expect(wvad_stream_options_init(nullptr, sizeof(wvad_stream_options)), WVAD_E_NULL, "options");
  const wvad_stream_options options = Options();
  wvad_stream* stream = nullptr;
  Expect(wvad_stream_open(nullptr, &options, &settings, &stream), WVAD_E_NULL, "model");
  Expect(wvad_stream_open(model_.get(), nullptr, &settings, &stream), WVAD_E_NULL, "options");
  Expect(wvad_stream_open(model_.get(), &options, &settings, nullptr), WVAD_E_NULL, "stream");
  Expect(wvad_stream_push(nullptr, "", 0), WVAD_E_NULL, "stream is null");
  Expect(wvad_stream_push_planar(nullptr, nullptr, 0), WVAD_E_NULL, "stream");
  Expect(wvad_stream_finish(nullptr), WVAD_E_NULL, "stream");
  Expect(wvad_stream_reset(nullptr), WVAD_E_NULL, "stream");
  wvad_event event{};
  Expect(wvad_stream_next_event(nullptr, &event), WVAD_E_NULL, "stream");
  Expect(wvad_stream_get_info(nullptr, nullptr), WVAD_E_NULL, "stream");
  Expect(wvad_stream_close(nullptr), WVAD_E_NULL, "stream");
  EXPECT_EQ(wvad_stream_close(&stream), WVAD_OK);
  Stream open(model_, options, settings);
  Expect(wvad_stream_push(open.get(), nullptr, 2), WVAD_E_NULL, "samples is null");
  EXPECT_EQ(wvad_stream_push(open.get(), nullptr, 0), WVAD_OK);
  Expect(wvad_stream_push_planar(open.get(), nullptr, 2), WVAD_E_NULL, "planes is null");
  const void* planes[] = {nullptr};
  Expect(wvad_stream_push_planar(open.get(), planes, 2), WVAD_E_NULL, "a pointer in planes is null");
  Expect(wvad_stream_next_event(open.get(), nullptr), WVAD_E_NULL, "event");
  Expect(wvad_stream_get_info(open.get(), nullptr), WVAD_E_NULL, "info");
}

TEST_F(Refusals, FormsThatCannotBeServed) {
  const auto expect = [&](void (*change)(wvad_stream_options*), wvad_status status, const char* says) {
    wvad_stream_options options = Options();
    change(&options);
    Expect(Open(options), status, says);
  };
  expect([](auto* o) { o->rate_hz = 3999; }, WVAD_E_FORMAT, "rate_hz: 3999 Hz is outside of 4000 to 192000");
  expect([](auto* o) { o->rate_hz = 192001; }, WVAD_E_FORMAT, "rate_hz");
  expect([](auto* o) { o->rate_hz = -16000; }, WVAD_E_FORMAT, "rate_hz");
  expect([](auto* o) { o->channels = 0; }, WVAD_E_FORMAT, "channels: 0");
  expect([](auto* o) { o->channels = 65536; }, WVAD_E_FORMAT, "channels: 65536");
  expect([](auto* o) { o->sample_form = 0; }, WVAD_E_FORMAT, "sample_form");
  expect([](auto* o) { o->sample_form = 5; }, WVAD_E_FORMAT, "sample_form");
  expect([](auto* o) { o->channel = 2; }, WVAD_E_FORMAT, "there is no channel 2 of 1");
  expect([](auto* o) { o->channel = -1; }, WVAD_E_FORMAT, "there is no channel -1");
  expect([](auto* o) { o->want = 8; }, WVAD_E_PARAMETER, "want");
  expect([](auto* o) { o->queue_limit = 0; }, WVAD_E_RANGE, "queue_limit");
}

TEST_F(Refusals, SizesThatAreNone) {
  wvad_stream_options options = Options();
  options.size = 0;
  Expect(Open(options), WVAD_E_SIZE, "wvad_stream_options: size is 0");
  options.size = sizeof options - 1;
  Expect(Open(options), WVAD_E_SIZE, "at least");
  options.size = 0xFFFFFFFFU;
  Expect(Open(options), WVAD_E_SIZE, "set it to sizeof");
  wvad_settings settings;
  Expect(wvad_settings_init(&settings, 8, 0), WVAD_E_SIZE, "wvad_settings: size is 8");
  Stream stream(model_, Options(), Settings());
  wvad_event event{};
  Expect(wvad_stream_next_event(stream.get(), &event), WVAD_E_SIZE, "wvad_event: size is 0");
}

TEST_F(Refusals, StructOfALaterVersionIsTakenUnlessItAsksForMore) {
  struct Later {
    wvad_stream_options options;
    uint64_t more;
  } later{Options(), 0};
  later.options.size = sizeof later;
  wvad_stream* stream = nullptr;
  EXPECT_EQ(wvad_stream_open(model_.get(), &later.options, nullptr, &stream), WVAD_OK) << wvad_last_error();
  EXPECT_EQ(wvad_stream_close(&stream), WVAD_OK);
  later.more = 1;
  Expect(wvad_stream_open(model_.get(), &later.options, nullptr, &stream), WVAD_E_SIZE, "does not know");
}

TEST_F(Refusals, PieceThatIsRefusedIsNotTaken) {
  const std::vector<int16_t> signal = Bursts(5, {{1, 2}});
  std::vector<float> floats(signal.size());
  for (size_t i = 0; i < signal.size(); ++i) floats[i] = static_cast<float>(signal[i]) / 32768.0F;
  Stream plain(model_, Options(16000, 1, WVAD_SAMPLE_F32), Settings());
  plain.Push(floats, 1000);
  plain.Finish();
  Stream disturbed(model_, Options(16000, 1, WVAD_SAMPLE_F32), Settings());
  for (size_t at = 0; at < floats.size(); at += 1000) {
    std::vector<float> bad(floats.begin() + static_cast<std::ptrdiff_t>(at), floats.begin() + static_cast<std::ptrdiff_t>(at) + 1000);
    bad[999] = at % 2000 == 0 ? std::numeric_limits<float>::quiet_NaN() : -std::numeric_limits<float>::infinity();
    Expect(wvad_stream_push(disturbed.get(), bad.data(), 4000), WVAD_E_SAMPLES, "frame 999 of the piece is not a finite number");
    Expect(wvad_stream_push(disturbed.get(), floats.data() + at, 3999), WVAD_E_LENGTH, "n_bytes: 3999 is not a multiple of 4");
    ASSERT_EQ(wvad_stream_push(disturbed.get(), floats.data() + at, 4000), WVAD_OK);
  }
  disturbed.Finish();
  EXPECT_EQ(Text(disturbed.events), Text(plain.events));
  EXPECT_EQ(plain.Sentences().size(), 1U);
}

TEST_F(Refusals, BadSampleCountsOnTheChannelsThatAreHeardAlone) {
  wvad_stream_options options = Options(16000, 2, WVAD_SAMPLE_F32);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const std::vector<float> piece = {0, nan, 0, nan};
  options.channel = 1;
  Stream first(model_, options, Settings());
  EXPECT_EQ(wvad_stream_push(first.get(), piece.data(), 16), WVAD_OK);
  options.channel = WVAD_CHANNEL_MEAN;
  Stream both(model_, options, Settings());
  Expect(wvad_stream_push(both.get(), piece.data(), 16), WVAD_E_SAMPLES, "frame 0");
}

TEST_F(Refusals, AudioBehindTheEndAndAnEndBehindTheEnd) {
  Stream stream(model_, Options(), Settings());
  const std::vector<int16_t> signal = Bursts(3, {{1, 2}});
  stream.Push(signal, 160);
  stream.Finish();
  Expect(wvad_stream_push(stream.get(), signal.data(), 320), WVAD_E_STATE, "the stream is finished");
  Expect(wvad_stream_finish(stream.get()), WVAD_E_STATE, "the stream is finished");
  const std::string first = Text(stream.events);
  EXPECT_EQ(wvad_stream_reset(stream.get()), WVAD_OK);
  stream.events.clear();
  stream.Push(signal, 160);
  stream.Finish();
  EXPECT_EQ(Text(stream.events), first);
}

TEST_F(Refusals, FullQueueTakesNoPieceAndLosesNoEvent) {
  wvad_stream_options options = Options();
  options.want = WVAD_WANT_PROBABILITY;
  options.queue_limit = 50;
  const std::vector<int16_t> signal = Bursts(10, {{1, 2}});
  Stream wide(
      model_,
      [&] {
        wvad_stream_options all = options;
        all.queue_limit = 1000000;
        return all;
      }(),
      Settings());
  wide.Push(signal, signal.size());
  wide.Finish();
  Stream narrow(model_, options, Settings());
  int refused = 0;
  for (size_t at = 0; at < signal.size(); at += 1600) {
    while (wvad_stream_push(narrow.get(), signal.data() + at, 3200) != WVAD_OK) {
      Expect(WVAD_E_QUEUE_FULL, WVAD_E_QUEUE_FULL, "events wait, as many as may");
      narrow.Collect();
      ASSERT_LT(++refused, 1000);
    }
  }
  narrow.Finish();
  EXPECT_GT(refused, 5);
  EXPECT_EQ(Text(narrow.events), Text(wide.events));
}

TEST_F(Refusals, HandleOfAnotherKind) {
  Stream stream(model_, Options(), Settings());
  wvad_model_info info{};
  info.size = sizeof info;
  Expect(wvad_model_get_info(reinterpret_cast<wvad_model*>(stream.get()), &info), WVAD_E_HANDLE, "model is not an open model");
  Expect(wvad_stream_finish(reinterpret_cast<wvad_stream*>(model_.get())), WVAD_E_HANDLE, "stream is not an open stream");
}

TEST_F(Refusals, ClosedHandleIsNull) {
  wvad_model* model = nullptr;
  ASSERT_EQ(wvad_model_open(WVAD_TEST_MODEL, &model), WVAD_OK);
  wvad_stream* stream = nullptr;
  const wvad_stream_options options = Options();
  ASSERT_EQ(wvad_stream_open(model, &options, nullptr, &stream), WVAD_OK);
  ASSERT_EQ(wvad_model_close(&model), WVAD_OK);
  EXPECT_EQ(model, nullptr);
  // The stream still holds it.
  const std::vector<int16_t> signal = Bursts(3, {{1, 2}});
  EXPECT_EQ(wvad_stream_push(stream, signal.data(), signal.size() * 2), WVAD_OK);
  EXPECT_EQ(wvad_stream_close(&stream), WVAD_OK);
  EXPECT_EQ(stream, nullptr);
  Expect(wvad_stream_push(stream, signal.data(), 2), WVAD_E_NULL, "stream is null");
}

struct Caller {
  wvad_stream* stream = nullptr;
  wvad_stream* other = nullptr;
  std::vector<wvad_status> from_inside;
  int events = 0;
};

void OnEvent(const wvad_event* event, void* user) {
  Caller* caller = static_cast<Caller*>(user);
  ++caller->events;
  EXPECT_EQ(event->size, sizeof(wvad_event));
  caller->from_inside.push_back(wvad_stream_push(caller->stream, nullptr, 0));
  wvad_stream* copy = caller->stream;
  caller->from_inside.push_back(wvad_stream_close(&copy));
  EXPECT_EQ(wvad_stream_push(caller->other, nullptr, 0), WVAD_OK);
}

TEST_F(Refusals, CallsOnTheSameStreamFromItsCallback) {
  Caller caller;
  wvad_stream_options options = Options();
  Stream other(model_, options, Settings());
  options.on_event = OnEvent;
  options.user = &caller;
  Stream stream(model_, options, Settings());
  caller.stream = stream.get();
  caller.other = other.get();
  const std::vector<int16_t> signal = Bursts(5, {{1, 2}});
  ASSERT_EQ(wvad_stream_push(stream.get(), signal.data(), signal.size() * 2), WVAD_OK);
  ASSERT_EQ(wvad_stream_finish(stream.get()), WVAD_OK);
  EXPECT_EQ(caller.events, 5);  // onset, begin, end, turn, end of the stream
  for (const wvad_status status : caller.from_inside) EXPECT_EQ(status, WVAD_E_BUSY);
  wvad_event event{};
  event.size = sizeof event;
  Expect(wvad_stream_next_event(stream.get(), &event), WVAD_E_STATE, "go to its callback");
}

TEST_F(Refusals, MessageIsOfItsThread) {
  EXPECT_EQ(wvad_settings_check(nullptr), WVAD_E_NULL);
  std::thread([] { EXPECT_STREQ(wvad_last_error(), ""); }).join();
  EXPECT_STREQ(wvad_last_error(), "settings is null");
}

// The first 511 bytes hold a quotation mark, `ahead` letters, and as many of the long name's characters as find room whole.
TEST_F(Refusals, MessageThatIsTooLongEndsWithAWholeCharacter) {
  wvad_settings settings = Settings();
  for (const std::string character : {"x", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x8E\xA4"}) {
    for (size_t ahead = 0; ahead < 5; ++ahead) {
      std::string text(ahead, 'x');
      for (int i = 0; i < 600; ++i) text += character;
      EXPECT_EQ(wvad_settings_parse(&settings, (text + "=1").c_str()), WVAD_E_PARAMETER);
      const size_t whole = (510 - ahead) / character.size() * character.size();
      EXPECT_EQ(wvad_last_error(), "\"" + text.substr(0, ahead + whole)) << character << " " << ahead;
    }
  }
  // What fits is whole, to the last byte: 511 of them with the quotation marks and the words behind.
  const std::string words = ": there is no such setting";
  const std::string fits(511 - 2 - words.size(), 'x');
  EXPECT_EQ(wvad_settings_parse(&settings, (fits + "=1").c_str()), WVAD_E_PARAMETER);
  EXPECT_EQ(wvad_last_error(), "\"" + fits + "\"" + words);
}

TEST_F(Refusals, MessageIsALineOfUtf8WhateverANameHolds) {
  wvad_model* model = nullptr;
  EXPECT_LT(wvad_model_open("no\nsuch\x1B[31m\xFF \xC3\xA4 \xC2\x9B.bin", &model), 0);
  EXPECT_EQ(std::string(wvad_last_error()).rfind("no such?[31m? \xC3\xA4 ??.bin: ", 0), 0U) << wvad_last_error();
  // Of 512 bytes that are no characters 511 are told.
  wvad_settings settings = Settings();
  EXPECT_EQ(wvad_settings_parse(&settings, (std::string(600, '\xFF') + "=1").c_str()), WVAD_E_PARAMETER);
  EXPECT_EQ(wvad_last_error(), "\"" + std::string(510, '?'));
}

TEST_F(Refusals, EachStatusHasItsName) {
  EXPECT_STREQ(wvad_status_name(WVAD_OK), "WVAD_OK");
  for (wvad_status status = WVAD_E_INTERNAL; status < 0; ++status) {
    EXPECT_EQ(std::string(wvad_status_name(status)).rfind("WVAD_E_", 0), 0U) << status;
  }
  EXPECT_STREQ(wvad_status_name(-17), "unknown");
  EXPECT_STREQ(wvad_status_name(1), "unknown");
}

}  // namespace
}  // namespace TSEG::stream::testing
