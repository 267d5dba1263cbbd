/* SPDX-License-Identifier: Apache-2.0
 *
 * The sentences of an endless stream: reads 16-bit samples, one channel, from standard input and prints each event as it becomes known.
 *
 *   arecord -q -f S16_LE -r 48000 -t raw | ./stream 48000 profile=fast
 */
#include <stdio.h>
#include <stdlib.h>
#include <wvad_stream.h>

static void check(wvad_status status, const char* what) {
  if (status >= WVAD_OK) return;
  fprintf(stderr, "%s: %s (%s)\n", what, wvad_last_error(), wvad_status_name(status));
  exit(1);
}

/* Called within wvad_stream_push, as soon as the event is known. */
static void tell(const wvad_event* event, void* user) {
  const double rate_hz = *(const double*)user;
  const double now = event->known_at / rate_hz;
  switch (event->kind) {
    case WVAD_EVENT_ONSET:
      printf("%8.2f  speech may have begun at %.2f\n", now, event->time / rate_hz);
      break;
    case WVAD_EVENT_ONSET_DROPPED:
      printf("%8.2f  it was none\n", now);
      break;
    case WVAD_EVENT_SENTENCE_BEGIN:
      printf("%8.2f  sentence %lld begins at %.2f\n", now, (long long)event->sentence, event->begin / rate_hz);
      break;
    case WVAD_EVENT_SENTENCE_END:
      printf("%8.2f  sentence %lld: %.2f to %.2f, %.1f dB, %.0f dB over the noise\n", now, (long long)event->sentence,
             event->begin / rate_hz, event->end / rate_hz, event->level_db, event->snr_db);
      break;
    case WVAD_EVENT_TURN_END:
      printf("%8.2f  the turn is over\n", now);
      break;
    default: /* a kind that this program does not care for, or that a later library tells of */
      break;
  }
  fflush(stdout);
}

int main(int argc, char** argv) {
  double rate_hz = argc > 1 ? atof(argv[1]) : 16000;
  wvad_model* model = NULL;
  wvad_stream* stream = NULL;
  wvad_settings settings;
  wvad_stream_options options;
  static short piece[1024];
  size_t n;

  check(wvad_settings_init(&settings, sizeof settings, WVAD_PROFILE_DEFAULT), "settings");
  if (argc > 2) check(wvad_settings_parse(&settings, argv[2]), "settings");
  check(wvad_stream_options_init(&options, sizeof options), "options");
  options.rate_hz = (int32_t)rate_hz;
  options.on_event = tell;
  options.user = &rate_hz;
  check(wvad_model_open_bundled(wvad_profile_model(settings.profile, options.rate_hz), &model), "model");
  check(wvad_stream_open(model, &options, &settings, &stream), "stream");
  check(wvad_model_close(&model), "model"); /* the stream keeps what it needs */

  while ((n = fread(piece, sizeof piece[0], sizeof piece / sizeof piece[0], stdin)) > 0) {
    check(wvad_stream_push(stream, piece, n * sizeof piece[0]), "audio");
  }
  check(wvad_stream_finish(stream), "end");
  check(wvad_stream_close(&stream), "close");
  return 0;
}
