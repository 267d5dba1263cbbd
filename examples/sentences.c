/* SPDX-License-Identifier: Apache-2.0
 *
 * The smallest client: sentences < speech.raw (16 kHz, mono, 16 bit), or arecord -f S16_LE -r 16000 -t raw | sentences. One line for each
 * sentence, with its begin and end in seconds, however long the pauses are. Run it in a folder with a "w_tseg.cfg" such as this one. */
#include <stdio.h>
#include <stdlib.h>
#include <wvad.h>

static WVADInst inst;
static double heard_s, session_s; /* what has been written, and where the session began */

static void check(int code, const char* what) {
  if (code == WVAD_SUCCESS) return;
  fprintf(stderr, "%s: code %d\n", what, code);
  if (code >= RES_MGR_ERROR_RESOURCE_NOT_EXIST) {
    fprintf(stderr,
            "Is there a w_tseg.cfg in this folder, and its model in \"vad\" beside the library? ../log/w_tseg.log, seen from there, says "
            "more.\n");
  }
  exit(1);
}

static void begin_session(void) {
  check(wVadSetParameter(inst, "wvad_param_nReadType", "1"), "parameter"); /* reads give PCM; holds for one session */
  check(wVadStart(inst), "start");
  session_s = heard_s;
}

/* What the last write has brought. */
static void take(void) {
  WVadResult* results = NULL;
  WVadAudioSample speech;
  int i, begin_ms, end_ms;
  if (wVadGetResult(inst, &results) == WVAD_SUCCESS && results != NULL) {
    for (i = 0; i < results->nCount; ++i) {
      const char* place = results->pItems[i].pText;
      while (*place != '\0' && sscanf(place, "\"bg\":%d,\"ed\":%d", &begin_ms, &end_ms) != 2) ++place;
      if (*place != '\0') printf("%.2f to %.2f\n", session_s + begin_ms / 1000.0, session_s + end_ms / 1000.0);
    }
    fflush(stdout);
  }
  do { /* the speech itself, for a recogniser: speech.pData, speech.len bytes */
    check(wVadAudioRead(inst, &speech), "read");
  } while (speech.status == WVAD_READ_BEGIN || speech.status == WVAD_READ_END);
}

int main(void) {
  static short pcm[320]; /* pieces of 20 ms */
  WVadAudioSample piece = {0};
  int code;
  check(wVadInitialize(NULL), "no engine"); /* reads w_tseg.cfg, loads the model */
  check(wVadCreateInst(&inst), "no detector");
  begin_session();
  do {
    piece.pData = pcm;
    piece.len = (uint32_t)(fread(pcm, 2, 320, stdin) * 2);
    piece.status = piece.len > 0 ? WVAD_WRITE_CONTINUE : WVAD_WRITE_LAST;
    code = wVadAudioWrite(inst, &piece);
    if (code == WVAD_ERROR_AUDIO_ENOUGH) { /* the session is over: 1.8 s of silence behind a sentence, or 10 s without any */
      wVadStop(inst);
      begin_session();
      code = wVadAudioWrite(inst, &piece);
    }
    check(code, "write");
    heard_s += piece.len / 32000.0;
    take();
  } while (piece.status != WVAD_WRITE_LAST);
  wVadStop(inst);
  wVadDestroyInst(inst);
  return wVadUninitialize();
}
