/* SPDX-License-Identifier: Apache-2.0
 *
 * A C11 client of the built library: where the fields lie (on systems with 64-bit pointers, where bindings write it down), and one stream
 * from opening to close. Exits with 1 and a line if something is not as it should be. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wvad_stream.h>

#if UINTPTR_MAX == UINT64_MAX
#define AT(type, field, at) _Static_assert(offsetof(type, field) == (at), #type "." #field)
_Static_assert(sizeof(wvad_model_info) == 16, "wvad_model_info");
AT(wvad_model_info, rate_hz, 4);
AT(wvad_model_info, kind, 8);
_Static_assert(sizeof(wvad_settings) == 80, "wvad_settings");
AT(wvad_settings, profile, 4);
AT(wvad_settings, threshold, 8);
AT(wvad_settings, min_speech, 16);
AT(wvad_settings, min_silence, 24);
AT(wvad_settings, pad_before, 32);
AT(wvad_settings, pad_after, 40);
AT(wvad_settings, max_sentence, 48);
AT(wvad_settings, energy_floor_db, 56);
AT(wvad_settings, turn_silence, 64);
AT(wvad_settings, still_every, 72);
_Static_assert(sizeof(wvad_setting_info) == 72, "wvad_setting_info");
AT(wvad_setting_info, name, 8);
AT(wvad_setting_info, unit, 16);
AT(wvad_setting_info, low, 24);
AT(wvad_setting_info, high, 32);
AT(wvad_setting_info, zero_is_off, 40);
AT(wvad_setting_info, initial, 48);
AT(wvad_setting_info, engine_name, 56);
AT(wvad_setting_info, meaning, 64);
_Static_assert(sizeof(wvad_event) == 112, "wvad_event");
AT(wvad_event, kind, 4);
AT(wvad_event, time, 8);
AT(wvad_event, known_at, 16);
AT(wvad_event, sentence, 24);
AT(wvad_event, begin, 32);
AT(wvad_event, end, 40);
AT(wvad_event, flags, 48);
AT(wvad_event, probability, 52);
AT(wvad_event, level_db, 56);
AT(wvad_event, snr_db, 64);
AT(wvad_event, clipped, 72);
AT(wvad_event, audio, 80);
AT(wvad_event, n_audio, 88);
AT(wvad_event, features, 96);
AT(wvad_event, n_features, 104);
_Static_assert(sizeof(wvad_stream_options) == 48, "wvad_stream_options");
AT(wvad_stream_options, rate_hz, 4);
AT(wvad_stream_options, channels, 8);
AT(wvad_stream_options, sample_form, 12);
AT(wvad_stream_options, channel, 16);
AT(wvad_stream_options, want, 20);
AT(wvad_stream_options, on_event, 24);
AT(wvad_stream_options, user, 32);
AT(wvad_stream_options, queue_limit, 40);
_Static_assert(sizeof(wvad_stream_info) == 72, "wvad_stream_info");
AT(wvad_stream_info, samples, 8);
AT(wvad_stream_info, heard, 16);
AT(wvad_stream_info, sentences, 24);
AT(wvad_stream_info, renewals, 32);
AT(wvad_stream_info, queued, 40);
AT(wvad_stream_info, in_sentence, 48);
AT(wvad_stream_info, finished, 52);
AT(wvad_stream_info, cancels, 56);
AT(wvad_stream_info, mix_loss_db, 64);
#endif

#define CHECK(condition)                                                                      \
  do {                                                                                        \
    if (!(condition)) {                                                                       \
      fprintf(stderr, "%s:%d: %s (%s)\n", __FILE__, __LINE__, #condition, wvad_last_error()); \
      exit(1);                                                                                \
    }                                                                                         \
  } while (0)

static int events_of_kind[16];

static void Count(const wvad_event* event, void* user) {
  CHECK(user == events_of_kind);
  if (event->kind > 0 && event->kind < 16) ++events_of_kind[event->kind];
}

int main(int argc, char** argv) {
  wvad_model* model = NULL;
  wvad_stream* stream = NULL;
  wvad_stream_options options;
  wvad_settings settings;
  static int16_t samples[5 * 16000];
  size_t i;
  CHECK(argc == 2);
  CHECK(wvad_stream_abi() == WVAD_STREAM_ABI);
  CHECK(wvad_model_open_bundled(NULL, &model) == WVAD_OK);
  CHECK(wvad_model_close(&model) == WVAD_OK && model == NULL);
  CHECK(wvad_model_open(argv[1], &model) == WVAD_OK);
  CHECK(wvad_stream_options_init(&options, sizeof options) == WVAD_OK);
  options.on_event = Count;
  options.user = events_of_kind;
  CHECK(wvad_settings_init(&settings, sizeof settings, WVAD_PROFILE_FAST) == WVAD_OK);
  CHECK(wvad_settings_parse(&settings, "min_silence=0.3") == WVAD_OK);
  CHECK(wvad_stream_open(model, &options, &settings, &stream) == WVAD_OK);
  CHECK(wvad_model_close(&model) == WVAD_OK);
  for (i = 16000; i < 32000; ++i) samples[i] = (i / 160) % 2 == 0 ? 8000 : -8000;
  CHECK(wvad_stream_push(stream, samples, sizeof samples) == WVAD_OK);
  CHECK(wvad_stream_push(stream, samples, 1) == WVAD_E_LENGTH);
  CHECK(strlen(wvad_last_error()) > 0);
  CHECK(wvad_stream_finish(stream) == WVAD_OK);
  CHECK(wvad_stream_close(&stream) == WVAD_OK && stream == NULL);
  CHECK(events_of_kind[WVAD_EVENT_ONSET] == 1);
  CHECK(events_of_kind[WVAD_EVENT_SENTENCE_BEGIN] == 1);
  CHECK(events_of_kind[WVAD_EVENT_SENTENCE_END] == 1);
  CHECK(events_of_kind[WVAD_EVENT_TURN_END] == 1);
  CHECK(events_of_kind[WVAD_EVENT_STREAM_END] == 1);
  return 0;
}
