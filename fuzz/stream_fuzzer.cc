// SPDX-License-Identifier: Apache-2.0
//
// The input is a sequence of calls on the stream library: up to four streams on models of the three kinds, with rates, forms, channels,
// settings as text and pieces of any length, by callback and by queue; and structs with any size field. What comes back is held against
// what the header promises: refusals take nothing, events are in order and complete.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "fuzz_support.h"
#include "wvad_stream.h"

namespace TSEG::fuzz {
namespace {

constexpr uint32_t kSlots = 4;
// Seconds of audio that one input may have decided upon, which bounds its time.
constexpr double kMaxSeconds = 8;

// What the header promises of the order of events.
struct Watch {
  bool in_onset = false;
  bool in_sentence = false;
  bool ended = false;
  int64_t sentences = 0;
  int64_t known_at = 0;
  int64_t last_end = 0;

  void See(const wvad_event& event) {
    FUZZ_CHECK(!ended && event.known_at >= known_at && event.time <= event.known_at && event.time >= 0);
    known_at = event.known_at;
    switch (event.kind) {
      case WVAD_EVENT_ONSET:
        FUZZ_CHECK(!in_onset && !in_sentence);
        in_onset = true;
        break;
      case WVAD_EVENT_ONSET_DROPPED:
        FUZZ_CHECK(in_onset);
        in_onset = false;
        break;
      case WVAD_EVENT_SENTENCE_BEGIN:
        FUZZ_CHECK(in_onset && !in_sentence && event.sentence == sentences && event.begin >= last_end);
        in_onset = false;
        in_sentence = true;
        break;
      case WVAD_EVENT_SENTENCE_END:
        FUZZ_CHECK(in_sentence && event.sentence == sentences && event.end >= event.begin);
        FUZZ_CHECK(event.level_db >= -100 && event.level_db < 1 && event.clipped >= 0 && event.clipped <= 1);
        FUZZ_CHECK((event.n_audio == 0) == (event.audio == nullptr) && (event.n_features == 0) == (event.features == nullptr));
        for (size_t i = 0; i < 115 * event.n_features; i += 115) FUZZ_CHECK(!std::isinf(event.features[i]));
        in_sentence = false;
        last_end = event.end;
        ++sentences;
        break;
      case WVAD_EVENT_TURN_END:
        FUZZ_CHECK(!in_sentence && event.sentence == sentences - 1);
        break;
      case WVAD_EVENT_SILENCE:
        FUZZ_CHECK(!in_sentence && event.begin <= event.time);
        break;
      case WVAD_EVENT_PROBABILITY:
        FUZZ_CHECK(event.probability >= 0 && event.probability <= 1);
        break;
      case WVAD_EVENT_STREAM_END:
        FUZZ_CHECK(!in_onset && !in_sentence);
        ended = true;
        break;
      default:
        FUZZ_CHECK(false);
    }
  }
};

void OnEvent(const wvad_event* event, void* user) { static_cast<Watch*>(user)->See(*event); }

struct Slot {
  wvad_stream* stream = nullptr;
  wvad_stream_options options{};
  Watch watch;
};

class Caller {
 public:
  Caller(const uint8_t* data, size_t size) : in_(data, size) {}

  void Run() {
    const std::vector<uint8_t>& bytes = SmallModel(in_.Byte() % kModels);
    FUZZ_CHECK(wvad_model_open_memory(bytes.data(), bytes.size(), &model_) == WVAD_OK);
    Open(0);
    for (int calls = 0; calls < 200 && !in_.empty(); ++calls) {
      const int which = in_.Byte() % 10;
      Call(which, in_.Byte() % kSlots);
    }
    wvad_model_close(&model_);
    for (Slot& slot : slots_) {
      if (slot.stream != nullptr && wvad_stream_finish(slot.stream) == WVAD_OK) Take(&slot, 1 << 30);
      FUZZ_CHECK(wvad_stream_close(&slot.stream) == WVAD_OK && slot.stream == nullptr);
    }
  }

 private:
  void Call(int which, uint32_t number) {
    Slot& slot = slots_[number];
    switch (which) {
      case 0:
        Open(number);
        break;
      case 1:
        if (wvad_stream_finish(slot.stream) == WVAD_OK) Take(&slot, 1 << 30);
        break;
      case 2:
        if (wvad_stream_reset(slot.stream) == WVAD_OK) slot.watch = Watch();
        break;
      case 3:
        Take(&slot, in_.Byte());
        break;
      case 4:
        Info(slot);
        break;
      case 5:
        Text();
        break;
      default:
        Push(&slot);
    }
  }

  void Open(uint32_t number) {
    Slot& slot = slots_[number];
    FUZZ_CHECK(wvad_stream_close(&slot.stream) == WVAD_OK);
    slot.watch = Watch();
    wvad_stream_options& options = slot.options;
    wvad_stream_options_init(&options, sizeof options);
    static constexpr int32_t kRates[] = {16000, 8000, 44100, 48000, 4000, 192000, 11025, 3999};
    const uint8_t choice = in_.Byte();
    options.rate_hz = choice < 200 ? kRates[choice % 8] : static_cast<int32_t>(in_.Long() % 250000);
    options.channels = in_.Byte() % 4;
    options.sample_form = in_.Byte() % 6;
    options.channel = in_.Byte() % 4;
    options.want = in_.Byte() % 9;
    if (in_.Byte() % 2 == 0) {
      options.on_event = OnEvent;
      options.user = &slot.watch;
    }
    options.queue_limit = 1 + in_.Byte() * 16U;
    if (in_.Byte() % 32 == 31) options.size = in_.Byte();
    wvad_settings settings;
    wvad_settings_init(&settings, sizeof settings, in_.Byte() % 5);
    wvad_settings_parse(&settings, in_.Text().c_str());
    if (in_.Byte() % 8 == 7) in_.Fill(&settings.threshold, 3 * sizeof(double));
    const wvad_status status = wvad_stream_open(model_, &options, &settings, &slot.stream);
    FUZZ_CHECK((status == WVAD_OK) == (slot.stream != nullptr));
    if (status != WVAD_OK) FUZZ_CHECK(*wvad_last_error() != '\0');
  }

  void Push(Slot* slot) {
    const size_t length = in_.Byte() < 128 ? in_.Byte() : in_.Word() % 20000U;
    const double seconds = slot->stream == nullptr ? 0 : static_cast<double>(length) / (2.0 * slot->options.rate_hz);
    if (seconds_ + seconds > kMaxSeconds) return;
    seconds_ += seconds;
    std::vector<unsigned char> bytes(length + 1);
    // Bytes of the input, or sound from which sentences come.
    if (in_.Byte() % 2 == 0) {
      in_.Fill(bytes.data(), std::min<size_t>(length, 64));
    } else {
      const std::vector<int16_t>& audio = Audio();
      const size_t from = in_.Word() % (audio.size() - 20000);
      std::memcpy(bytes.data(), audio.data() + from, length);
    }
    wvad_stream_info before{}, after{};
    before.size = after.size = sizeof before;
    if (slot->stream != nullptr) wvad_stream_get_info(slot->stream, &before);
    wvad_status status = 0;
    if (in_.Byte() % 4 == 0) {
      const void* planes[4] = {bytes.data(), bytes.data() + length % 2, bytes.data(), bytes.data()};
      status = wvad_stream_push_planar(slot->stream, length == 0 ? nullptr : planes, length);
    } else {
      status = wvad_stream_push(slot->stream, length == 0 ? nullptr : bytes.data() + length % 2, length);
    }
    FUZZ_CHECK(status <= 0 && status > WVAD_E_MODEL_MISSING);
    if (slot->stream == nullptr) return;
    wvad_stream_get_info(slot->stream, &after);
    if (status != WVAD_OK) FUZZ_CHECK(after.samples == before.samples && after.queued == before.queued);
  }

  void Take(Slot* slot, int most) {
    wvad_event event{};
    event.size = sizeof event;
    while (most-- > 0 && wvad_stream_next_event(slot->stream, &event) == 1) slot->watch.See(event);
  }

  void Info(const Slot& slot) {
    wvad_stream_info info{};
    info.size = in_.Byte() % 2 == 0 ? sizeof info : in_.Byte();
    if (wvad_stream_get_info(slot.stream, &info) == WVAD_OK) FUZZ_CHECK(info.heard <= info.samples && info.mix_loss_db <= 0);
  }

  void Text() {
    wvad_settings settings;
    wvad_settings_init(&settings, sizeof settings, WVAD_PROFILE_DEFAULT);
    if (wvad_settings_parse(&settings, in_.Text().c_str()) == WVAD_OK) FUZZ_CHECK(wvad_settings_check(&settings) == WVAD_OK);
  }

  ByteSource in_;
  wvad_model* model_ = nullptr;
  std::array<Slot, kSlots> slots_;
  double seconds_ = 0;
};

}  // namespace
}  // namespace TSEG::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TSEG::fuzz::Caller(data, size).Run();
  return 0;
}
