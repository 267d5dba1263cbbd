/* SPDX-License-Identifier: Apache-2.0 */
#include <stdio.h>
#include <wvad_stream.h>

int main(void) {
  static const short silence[16000];
  wvad_model* model = NULL;
  wvad_stream* stream = NULL;
  wvad_stream_options options;
  wvad_status status = wvad_model_open_bundled(NULL, &model);
  if (status == WVAD_OK) status = wvad_stream_options_init(&options, sizeof options);
  if (status == WVAD_OK) status = wvad_stream_open(model, &options, NULL, &stream);
  if (status == WVAD_OK) status = wvad_stream_push(stream, silence, sizeof silence);
  if (status == WVAD_OK) status = wvad_stream_finish(stream);
  if (status == WVAD_OK) status = wvad_stream_close(&stream);
  if (status == WVAD_OK) status = wvad_model_close(&model);
  return printf("wvad %s answers %d %s\n", wvad_stream_version(), status, wvad_last_error()) < 0 || status != WVAD_OK;
}
