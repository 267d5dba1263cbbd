/* SPDX-License-Identifier: Apache-2.0
 *
 * heard FILE [ROUNDS]: a client of the stream library as a package installs it, for every system. Hears a file of 16-bit samples, one
 * channel, 16000 a second, so many times over (once), each time with a stream of its own, and prints begin and end of each sentence of the
 * last, in samples, a line each.
 */
#include <stdio.h>
#include <stdlib.h>
#include <wvad_stream.h>

static void check(wvad_status status, const char* what) {
  if (status >= WVAD_OK) return;
  fprintf(stderr, "%s: %s (%s)\n", what, wvad_last_error(), wvad_status_name(status));
  exit(1);
}

static void tell(const wvad_event* event, void* user) {
  const int aloud = *(const int*)user;
  if (aloud && event->kind == WVAD_EVENT_SENTENCE_END) printf("%lld %lld\n", (long long)event->begin, (long long)event->end);
}

static void hear(wvad_model* model, FILE* file, int aloud) {
  static short piece[1600];
  wvad_stream* stream = NULL;
  wvad_stream_options options;
  size_t n;
  check(wvad_stream_options_init(&options, sizeof options), "options");
  options.rate_hz = 16000;
  options.on_event = tell;
  options.user = &aloud;
  check(wvad_stream_open(model, &options, NULL, &stream), "stream");
  rewind(file);
  while ((n = fread(piece, sizeof piece[0], sizeof piece / sizeof piece[0], file)) > 0) {
    check(wvad_stream_push(stream, piece, n * sizeof piece[0]), "audio");
  }
  check(wvad_stream_finish(stream), "end");
  check(wvad_stream_close(&stream), "close");
}

int main(int argc, char** argv) {
  const int rounds = argc > 2 ? atoi(argv[2]) : 1;
  wvad_model* model = NULL;
  FILE* file = argc > 1 ? fopen(argv[1], "rb") : NULL;
  if (file == NULL) {
    fprintf(stderr, "usage: heard FILE [ROUNDS]\n");
    return 1;
  }
  check(wvad_model_open_bundled(NULL, &model), "model");
  for (int round = 1; round <= rounds; ++round) hear(model, file, round == rounds);
  check(wvad_model_close(&model), "model");
  fclose(file);
  return 0;
}
