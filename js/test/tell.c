/* SPDX-License-Identifier: Apache-2.0
 *
 * What the native library tells of bare samples, a line an event, numbers as the bits of their doubles: what the package has to tell too.
 *
 *   tell MODEL RATE CHANNELS FORM CHANNEL SETTINGS [time] <SAMPLES      FORM: WVAD_SAMPLE_..., CHANNEL: 0 for the mean
 *
 * Audio and features show as their FNV-1a sums. With "time" it tells nothing but the processor time that it takes to hear the samples, in
 * seconds. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <wvad_stream.h>

static void check(wvad_status status) {
  if (status >= WVAD_OK) return;
  fprintf(stderr, "%s\n", wvad_last_error());
  exit(1);
}

static unsigned long long bits(double value) {
  unsigned long long word;
  memcpy(&word, &value, sizeof word);
  return value != value ? 0x7ff8000000000000ull : word;
}

static unsigned sum(const void* data, size_t n_bytes) {
  const unsigned char* bytes = data;
  unsigned hash = 2166136261u;
  size_t i;
  for (i = 0; i < n_bytes; ++i) hash = (hash ^ bytes[i]) * 16777619u;
  return hash;
}

static void tell(const wvad_event* event, void* user) {
  (void)user;
  printf("%d %lld %lld", event->kind, (long long)event->time, (long long)event->known_at);
  if (event->kind == WVAD_EVENT_PROBABILITY) printf(" %016llx", bits((double)event->probability));
  if (event->kind == WVAD_EVENT_SENTENCE_BEGIN || event->kind == WVAD_EVENT_TURN_END) printf(" %lld", (long long)event->sentence);
  if (event->kind == WVAD_EVENT_SENTENCE_END) {
    printf(" %lld %lld %lld %u %016llx %016llx %016llx %08x %08x", (long long)event->sentence, (long long)event->begin,
           (long long)event->end, (unsigned)event->flags, bits(event->level_db), bits(event->snr_db), bits(event->clipped),
           sum(event->audio, event->n_audio * 2), sum(event->features, event->n_features * 115 * 4));
  }
  printf("\n");
}

int main(int argc, char** argv) {
  static char piece[1 << 16];
  wvad_model* model = NULL;
  wvad_stream* stream = NULL;
  wvad_settings settings;
  wvad_stream_options options;
  size_t n;
  clock_t begin;
  const int times = argc == 8 && strcmp(argv[7], "time") == 0;
  if (argc != 7 && !times) return 2;
  check(wvad_settings_init(&settings, sizeof settings, WVAD_PROFILE_DEFAULT));
  check(wvad_settings_parse(&settings, argv[6]));
  check(wvad_stream_options_init(&options, sizeof options));
  options.rate_hz = atoi(argv[2]);
  options.channels = atoi(argv[3]);
  options.sample_form = atoi(argv[4]);
  options.channel = atoi(argv[5]);
  if (!times) {
    options.want = WVAD_WANT_PROBABILITY | WVAD_WANT_AUDIO | WVAD_WANT_FEATURES;
    options.on_event = tell;
  }
  check(wvad_model_open(argv[1], &model));
  check(wvad_stream_open(model, &options, &settings, &stream));
  begin = clock();
  /* 24 is a multiple of the bytes of a frame of one to three channels. */
  while ((n = fread(piece, 1, sizeof piece / 24 * 24, stdin)) > 0) check(wvad_stream_push(stream, piece, n));
  check(wvad_stream_finish(stream));
  if (times) printf("%.6f\n", (double)(clock() - begin) / CLOCKS_PER_SEC);
  check(wvad_stream_close(&stream));
  check(wvad_model_close(&model));
  return 0;
}
