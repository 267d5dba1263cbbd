// SPDX-License-Identifier: Apache-2.0
//
// The exported functions about streams.
#include <utility>

#include "stream/handles.h"
#include "stream/last_error.h"
#include "stream/sized_struct.h"
#include "wvad_stream.h"

namespace {

using namespace TSEG::stream;

constexpr uint32_t kAllWants = WVAD_WANT_PROBABILITY | WVAD_WANT_AUDIO | WVAD_WANT_FEATURES;

wvad_stream_options InitialOptions() {
  wvad_stream_options options{};
  options.size = sizeof options;
  options.rate_hz = 16000;
  options.channels = 1;
  options.sample_form = WVAD_SAMPLE_S16;
  options.channel = WVAD_CHANNEL_MEAN;
  options.queue_limit = 65536;
  return options;
}

void CheckOptions(const wvad_stream_options& options) {
  CheckFormat(options);
  if ((options.want & ~kAllWants) != 0) {
    throw Refusal(WVAD_E_PARAMETER, "want: " + std::to_string(options.want) + " has a flag that there is not");
  }
  if (options.queue_limit == 0) throw Refusal(WVAD_E_RANGE, "queue_limit: 0 is outside of its range, 1 and more");
}

std::unique_ptr<Listener> MakeListener(wvad_stream* stream) {
  const auto hand_on = [stream](Event&& event) {
    if (stream->options.on_event != nullptr) {
      stream->options.on_event(&event.Linked(), stream->options.user);
    } else {
      stream->queue.Put(std::move(event));
    }
  };
  return std::make_unique<Listener>(stream->model, stream->options, stream->settings, hand_on);
}

void CheckTakesAudio(const StreamInUse& stream) {
  if (stream->failed) throw Refusal(WVAD_E_INTERNAL, "the stream broke off in an earlier call; close or reset it");
  if (stream->finished) throw Refusal(WVAD_E_STATE, "the stream is finished; reset it to begin anew");
}

// Runs a step in which the stream may break off.
template <typename Step>
void Run(const StreamInUse& stream, const Step& step) {
  stream->failed = true;
  step();
  stream->failed = false;
}

wvad_status PushPiece(const StreamInUse& stream, const PieceLayout& piece, size_t n_bytes, size_t frame_bytes) {
  if (n_bytes % frame_bytes != 0) {
    throw Refusal(WVAD_E_LENGTH, "n_bytes: " + std::to_string(n_bytes) + " is not a multiple of " + std::to_string(frame_bytes) +
                                     ", the bytes of a frame");
  }
  if (stream->options.on_event == nullptr && stream->queue.size() >= stream->options.queue_limit) {
    throw Refusal(WVAD_E_QUEUE_FULL, std::to_string(stream->queue.size()) + " events wait, as many as may; take them first");
  }
  const size_t frames = n_bytes / frame_bytes;
  const SampleReader reader(piece, stream->options.channel);
  const size_t bad = reader.FirstBad(frames);
  if (bad < frames) throw Refusal(WVAD_E_SAMPLES, "frame " + std::to_string(bad) + " of the piece is not a finite number");
  Run(stream, [&] { stream->listener->Push(reader, frames); });
  return WVAD_OK;
}

}  // namespace

wvad_status wvad_stream_options_init(wvad_stream_options* options, size_t size) {
  return AtBorder([&] {
    NeedPointer(options, "options");
    CheckSize(size, kFirstSize<wvad_stream_options>, "wvad_stream_options");
    options->size = static_cast<uint32_t>(std::min(size, sizeof *options));
    HandOut(options, InitialOptions(), "wvad_stream_options");
    return WVAD_OK;
  });
}

wvad_status wvad_stream_open(wvad_model* model, const wvad_stream_options* options, const wvad_settings* settings, wvad_stream** stream) {
  return AtBorder([&] {
    NeedPointer(stream, "stream");
    *stream = nullptr;
    NeedModel(model);
    NeedPointer(options, "options");
    auto made = std::make_unique<wvad_stream>();
    made->model = model->model;
    made->options = TakeIn(options, InitialOptions(), "wvad_stream_options");
    const wvad_settings usual = SettingsOf(kProfiles[0]);
    made->settings = settings == nullptr ? usual : TakeIn(settings, usual, "wvad_settings");
    CheckOptions(made->options);
    CheckSettings(made->settings);
    made->listener = MakeListener(made.get());
    *stream = made.release();
    return WVAD_OK;
  });
}

wvad_status wvad_stream_push(wvad_stream* stream, const void* samples, size_t n_bytes) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    CheckTakesAudio(in_use);
    if (n_bytes > 0) NeedPointer(samples, "samples");
    const size_t channels = static_cast<size_t>(stream->options.channels);
    const int32_t form = stream->options.sample_form;
    return PushPiece(in_use, {samples, nullptr, channels, form}, n_bytes, channels * BytesOfSample(form));
  });
}

wvad_status wvad_stream_push_planar(wvad_stream* stream, const void* const* planes, size_t n_bytes) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    CheckTakesAudio(in_use);
    const size_t channels = static_cast<size_t>(stream->options.channels);
    const int32_t form = stream->options.sample_form;
    if (n_bytes > 0) {
      NeedPointer(planes, "planes");
      for (size_t c = 0; c < channels; ++c) NeedPointer(planes[c], "a pointer in planes");
    }
    return PushPiece(in_use, {nullptr, planes, channels, form}, n_bytes, BytesOfSample(form));
  });
}

wvad_status wvad_stream_finish(wvad_stream* stream) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    CheckTakesAudio(in_use);
    Run(in_use, [&] {
      stream->finished = true;
      stream->listener->Finish();
    });
    return WVAD_OK;
  });
}

wvad_status wvad_stream_reset(wvad_stream* stream) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    std::unique_ptr<Listener> fresh = MakeListener(stream);
    stream->listener = std::move(fresh);
    stream->queue.Clear();
    stream->handed_out = Event();
    stream->finished = stream->failed = false;
    return WVAD_OK;
  });
}

wvad_status wvad_stream_next_event(wvad_stream* stream, wvad_event* event) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    NeedPointer(event, "event");
    CheckSize(SizeOf(event), kFirstSize<wvad_event>, "wvad_event");
    if (stream->options.on_event != nullptr) throw Refusal(WVAD_E_STATE, "the events of this stream go to its callback");
    if (stream->queue.empty()) return 0;
    stream->handed_out = stream->queue.Take();
    HandOut(event, stream->handed_out.Linked(), "wvad_event");
    return 1;
  });
}

wvad_status wvad_stream_get_info(wvad_stream* stream, wvad_stream_info* info) {
  return AtBorder([&] {
    const StreamInUse in_use(stream);
    NeedPointer(info, "info");
    const Listener& listener = *stream->listener;
    wvad_stream_info told{};
    told.samples = listener.samples();
    told.heard = listener.heard();
    told.sentences = listener.tracker().sentences();
    told.renewals = listener.renewals();
    told.queued = stream->queue.size();
    told.in_sentence = listener.tracker().in_sentence() ? 1 : 0;
    told.finished = stream->finished ? 1 : 0;
    told.cancels = listener.phase().cancels() ? 1 : 0;
    told.mix_loss_db = std::min(listener.phase().loss_db(), 0.0);
    HandOut(info, told, "wvad_stream_info");
    return WVAD_OK;
  });
}

wvad_status wvad_stream_close(wvad_stream** stream) {
  return AtBorder([&] {
    NeedPointer(stream, "stream");
    if (*stream == nullptr) return WVAD_OK;
    std::unique_ptr<wvad_stream> owned;
    {
      const StreamInUse in_use(*stream);
      owned.reset(*stream);
    }
    *stream = nullptr;
    return WVAD_OK;
  });
}
