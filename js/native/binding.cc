// SPDX-License-Identifier: Apache-2.0
//
// The stream library for JavaScript: its structs as rows of doubles and texts, so that the other side needs to know no layout. All else
// (models, push, finish, reset, close) is called as include/wvad_stream.h declares it. Doubles hold every position exactly, up to 2^53.
#include <emscripten.h>

#include "wvad_stream.h"

extern "C" {

// Opens a stream on `model` into `*stream`. `settings` is a text for wvad_settings_parse. A status.
EMSCRIPTEN_KEEPALIVE wvad_status wvad_js_stream_open(wvad_model* model, int32_t rate_hz, int32_t channels, int32_t sample_form,
                                                     int32_t channel, uint32_t want, const char* settings, wvad_stream** stream) {
  wvad_stream_options options;
  wvad_settings values;
  *stream = nullptr;
  wvad_stream_options_init(&options, sizeof options);
  wvad_settings_init(&values, sizeof values, WVAD_PROFILE_DEFAULT);
  options.rate_hz = rate_hz;
  options.channels = channels;
  options.sample_form = sample_form;
  options.channel = channel;
  options.want = want;
  const wvad_status status = wvad_settings_parse(&values, settings);
  return status < 0 ? status : wvad_stream_open(model, &options, &values, stream);
}

// The next event into `row` [15]: kind, time, known_at, sentence, begin, end, flags, probability, level_db, snr_db, clipped, then address
// and number of the samples and of the frames of features. 1, 0 if none waits, or a status.
EMSCRIPTEN_KEEPALIVE wvad_status wvad_js_next_event(wvad_stream* stream, double* row) {
  wvad_event event;
  event.size = sizeof event;
  const wvad_status status = wvad_stream_next_event(stream, &event);
  if (status != 1) return status;
  const double values[] = {static_cast<double>(event.kind),
                           static_cast<double>(event.time),
                           static_cast<double>(event.known_at),
                           static_cast<double>(event.sentence),
                           static_cast<double>(event.begin),
                           static_cast<double>(event.end),
                           static_cast<double>(event.flags),
                           static_cast<double>(event.probability),
                           event.level_db,
                           event.snr_db,
                           event.clipped,
                           static_cast<double>(reinterpret_cast<uintptr_t>(event.audio)),
                           static_cast<double>(event.n_audio),
                           static_cast<double>(reinterpret_cast<uintptr_t>(event.features)),
                           static_cast<double>(event.n_features)};
  for (const double value : values) *row++ = value;
  return status;
}

// How the stream stands into `row` [9]: samples, heard, sentences, renewals, queued, in_sentence, finished, cancels, mix_loss_db. A status.
EMSCRIPTEN_KEEPALIVE wvad_status wvad_js_stream_info(wvad_stream* stream, double* row) {
  wvad_stream_info info;
  info.size = sizeof info;
  const wvad_status status = wvad_stream_get_info(stream, &info);
  if (status < 0) return status;
  const double values[] = {static_cast<double>(info.samples),  static_cast<double>(info.heard),   static_cast<double>(info.sentences),
                           static_cast<double>(info.renewals), static_cast<double>(info.queued),  static_cast<double>(info.in_sentence),
                           static_cast<double>(info.finished), static_cast<double>(info.cancels), info.mix_loss_db};
  for (const double value : values) *row++ = value;
  return status;
}

// The model's rate in Hz, or a status; its kind, which belongs to the model, or null.
EMSCRIPTEN_KEEPALIVE int32_t wvad_js_model_rate(const wvad_model* model) {
  wvad_model_info info;
  info.size = sizeof info;
  const wvad_status status = wvad_model_get_info(model, &info);
  return status < 0 ? status : info.rate_hz;
}
EMSCRIPTEN_KEEPALIVE const char* wvad_js_model_kind(const wvad_model* model) {
  wvad_model_info info;
  info.size = sizeof info;
  return wvad_model_get_info(model, &info) < 0 ? nullptr : info.kind;
}

// Row `index` of the table of settings: low, high, initial and whether 0 is off into `row` [4], the addresses of name, unit and meaning
// into `texts` [3]. 1, or 0 behind the last row.
EMSCRIPTEN_KEEPALIVE wvad_status wvad_js_describe(size_t index, double* row, const char** texts) {
  wvad_setting_info info;
  info.size = sizeof info;
  const wvad_status status = wvad_settings_describe(index, &info);
  if (status != 1) return status;
  row[0] = info.low;
  row[1] = info.high;
  row[2] = info.initial;
  row[3] = info.zero_is_off;
  texts[0] = info.name;
  texts[1] = info.unit;
  texts[2] = info.meaning;
  return status;
}

}  // extern "C"
