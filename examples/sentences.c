/* SPDX-License-Identifier: Apache-2.0
 *
 * The smallest client: raw PCM (16 kHz, mono, 16 bit) on standard input, one line for each sentence on standard output, until the speaker
 * has been silent for 1.8 s. Run it in a folder with a "w_tseg.cfg" that names the model, such as this one. */
#include <stdio.h>
#include <wvad.h>

static void print_results(WVADInst inst) {
  WVadResult* results;
  int i;
  if (wVadGetResult(inst, &results) != WVAD_SUCCESS || results == NULL) return;
  for (i = 0; i < results->nCount; ++i) printf("%s: %s\n", results->pItems[i].pKey, results->pItems[i].pText);
}

int main(void) {
  static short pcm[1600]; /* pieces of 100 ms */
  WVADInst inst;
  WVadAudioSample piece = {0}, out;
  int code;
  if ((code = wVadInitialize(NULL)) != WVAD_SUCCESS) return fprintf(stderr, "no engine: %d (is w_tseg.cfg here?)\n", code), 1;
  if ((code = wVadCreateInst(&inst)) != WVAD_SUCCESS) return fprintf(stderr, "no detector: %d\n", code), 1;
  wVadSetParameter(inst, "wvad_param_nReadType", "1"); /* reads give PCM */
  wVadStart(inst);
  do {
    piece.pData = pcm;
    piece.len = (uint32_t)(fread(pcm, 2, 1600, stdin) * 2);
    piece.status = piece.len > 0 ? WVAD_WRITE_CONTINUE : WVAD_WRITE_LAST;
    if ((code = wVadAudioWrite(inst, &piece)) != WVAD_SUCCESS) break; /* 14014: the speaker has finished */
    print_results(inst);
    do { /* take the speech that is ready: out.pData, out.len bytes */
      wVadAudioRead(inst, &out);
    } while (out.status == WVAD_READ_BEGIN || out.status == WVAD_READ_END);
  } while (out.status != WVAD_READ_OVER && piece.status != WVAD_WRITE_LAST);
  wVadStop(inst);
  wVadDestroyInst(inst);
  return wVadUninitialize();
}
