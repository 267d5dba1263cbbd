// SPDX-License-Identifier: Apache-2.0
//
// A C++11 client of the built library: the header in that language, and beside the one of the sixteen functions.
#include <wvad.h>
#include <wvad_stream.h>

#include <cstdio>
#include <memory>
#include <vector>

int main(int argc, char** argv) {
  wvad_model* opened = nullptr;
  if (argc != 2 || wvad_model_open(argv[1], &opened) != WVAD_OK) {
    std::fprintf(stderr, "%s\n", wvad_last_error());
    return 1;
  }
  const auto close_model = [](wvad_model* model) { wvad_model_close(&model); };
  const std::unique_ptr<wvad_model, decltype(close_model)> model(opened, close_model);
  wvad_stream_options options;
  wvad_stream* stream = nullptr;
  int kinds = 0;
  if (wvad_stream_options_init(&options, sizeof options) != WVAD_OK) return 1;
  if (wvad_stream_open(model.get(), &options, nullptr, &stream) != WVAD_OK) return 1;
  const std::vector<int16_t> quiet(16000);
  if (wvad_stream_push(stream, quiet.data(), quiet.size() * sizeof quiet[0]) != WVAD_OK) return 1;
  if (wvad_stream_finish(stream) != WVAD_OK) return 1;
  wvad_event event;
  event.size = sizeof event;
  while (wvad_stream_next_event(stream, &event) == 1) kinds = 10 * kinds + event.kind;
  return wvad_stream_close(&stream) == WVAD_OK && kinds == WVAD_EVENT_STREAM_END ? 0 : 1;
}
