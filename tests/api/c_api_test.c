/* SPDX-License-Identifier: Apache-2.0
 *
 * The exported interface as a C client sees it: links nothing but the shared library. Each function, each refusal, in each order that a
 * client can get wrong. Run as: c_api_test MODEL, in a folder of its own; the configuration is made here. Exit code 0 when all holds.
 *
 * MODEL calls every frame speech, so that the energy floor alone tells speech from silence: a square wave from 1.0 to 2.0 s is the sentence
 * from 0.70 to 2.20 s. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wvad.h>

static int failures = 0;

#define EXPECT(condition)                                                     \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      ++failures;                                                             \
    }                                                                         \
  } while (0)

#define EXPECT_CODE(call, wanted)                                                                     \
  do {                                                                                                \
    const int got_code = (call);                                                                      \
    if (got_code != (wanted)) {                                                                       \
      fprintf(stderr, "%s:%d: %s gives %d, not %d\n", __FILE__, __LINE__, #call, got_code, (wanted)); \
      ++failures;                                                                                     \
    }                                                                                                 \
  } while (0)

enum { kRate = 16000, kSamples = 5 * kRate };
static int16_t signal_[kSamples];

static void make_signal(void) {
  int i;
  for (i = 0; i < kSamples; ++i) {
    signal_[i] = (int16_t)(i >= kRate && i < 2 * kRate ? ((i / 160) % 2 ? -8000 : 8000) : 0);
  }
}

/* `model` is a path from the folder above that of the library. */
static int write_configuration(const char* model, const char* more) {
  FILE* file = fopen("w_tseg.cfg", "w");
  if (file == NULL) return 0;
  fprintf(file, "[vad]\nwvad_param_model_path = ../\nwvad_param_model_name = %s\n%s", model, more);
  return fclose(file) == 0;
}

static int write_piece(WVADInst inst, const void* data, uint32_t bytes, uint32_t status) {
  WVadAudioSample piece;
  memset(&piece, 0, sizeof piece);
  piece.pData = (void*)data;
  piece.len = bytes;
  piece.status = status;
  return wVadAudioWrite(inst, &piece);
}

static void test_engine_down(void) {
  static char handle_memory[64];
  WVADInst inst = (WVADInst)handle_memory; /* never looked into while the engine is down */
  WVADInst made = NULL;
  WVadAudioSample piece;
  char text[32] = "untouched";
  int number = 7;
  memset(&piece, 0, sizeof piece);
  EXPECT_CODE(wVadUninitialize(), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadCreateInst(&made), WVAD_ERROR_NOT_INIT);
  EXPECT(made == NULL);
  EXPECT_CODE(wVadCreateInst(NULL), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadDestroyInst(NULL), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadStop(NULL), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadStart(NULL), WVAD_ERROR_NULL_HANDLE); /* the handle is looked at first here */
  EXPECT_CODE(wVadStart(inst), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadSetParameter(NULL, "x", "1"), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadSetParameter(inst, "x", "1"), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadGetParameter(NULL, "x", text, 32), WVAD_ERROR_INVALID_HANDLE);
  EXPECT_CODE(wVadGetParameter(inst, "x", text, 32), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadAudioWrite(NULL, NULL), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadAudioRead(NULL, NULL), WVAD_ERROR_NOT_INIT);
  EXPECT(wVadQueryEPInfo(NULL, &number, 1) == 0);
  EXPECT_CODE(wVadGetSilLen(NULL, -1, NULL), WVAD_ERROR_NOT_INIT);
  EXPECT_CODE(wVadReset(NULL), 0);
  EXPECT_CODE(wVADResourceAdd(NULL, NULL, NULL, NULL, NULL, NULL), 0);
  EXPECT_CODE(wVADResourceDelete(NULL, NULL, NULL, NULL, NULL), 0);
  EXPECT(strcmp(text, "untouched") == 0 && number == 7);
}

static void test_start_refusals(void) {
  /* Without a configuration the model's name is empty: the path ends in a folder. */
  remove("w_tseg.cfg");
  EXPECT_CODE(wVadInitialize(NULL), RES_MGR_ERROR_RESOURCE_NOT_EXIST);
  EXPECT(write_configuration("no/such/model", ""));
  EXPECT_CODE(wVadInitialize(NULL), RES_MGR_ERROR_RESOURCE_NOT_EXIST);
  EXPECT_CODE(wVadUninitialize(), WVAD_ERROR_NOT_INIT);
}

static void test_parameters(WVADInst inst) {
  char text[1100];
  char name[258];
  memset(name, 'n', 257);
  name[257] = 0;
  EXPECT_CODE(wVadSetParameter(NULL, "x", "1"), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadSetParameter(inst, NULL, "1"), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadSetParameter(inst, "x", NULL), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadSetParameter(inst, name, "1"), WVAD_ERROR_PARAM_TOO_LONG);
  EXPECT_CODE(wVadSetParameter(inst, name + 1, "1"), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_normal_none", "1"), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_normal_count", "1"), WVAD_ERROR_PARA_NOT_SETTABLE);
  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_MARGIN", "1"), WVAD_ERROR_PARA_NOT_SETTABLE);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_para_vadtype", "1"), WVAD_ERROR_PARA_NOT_SETTABLE);
  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_SAMPLERATE", "11025"), WVAD_ERROR_INVALID_PARA_VALUE);
  EXPECT_CODE(wVadGetParameter(inst, "VAD_PARAM_SAMPLERATE", text, sizeof text), 0);
  EXPECT(strcmp(text, "11025") == 0); /* stored all the same */
  EXPECT_CODE(wVadStart(inst), WVAD_ERROR_INVALID_PARA_VALUE);
  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_SAMPLERATE", "16000"), 0);

  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_SPEECHGAP", "805"), 0);
  EXPECT_CODE(wVadGetParameter(inst, "wvad_param_nFrameGap", text, sizeof text), 0);
  EXPECT(strcmp(text, "80") == 0);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nFrameGap", "40"), 0);

  EXPECT_CODE(wVadGetParameter(NULL, "x", text, 9), WVAD_ERROR_INVALID_HANDLE);
  EXPECT_CODE(wVadGetParameter(inst, NULL, text, 9), WVAD_ERROR_INVALID_HANDLE);
  EXPECT_CODE(wVadGetParameter(inst, "x", NULL, 9), WVAD_ERROR_INVALID_HANDLE);
  EXPECT_CODE(wVadGetParameter(inst, "x", text, 9), WVAD_ERROR_INVALID_PARA);
  strcpy(text, "untouched");
  EXPECT_CODE(wVadGetParameter(inst, "wvad_param_nFrameGap", text, 1), 0);
  EXPECT_CODE(wVadGetParameter(inst, "VAD_PARAM_SPEECHTAIL", text, sizeof text), 0);
  EXPECT_CODE(wVadGetParameter(inst, "wvad_para_vadtype", text, 4), WVAD_ERROR_BUF_NOT_ENOUGH);
  EXPECT(strcmp(text, "untouched") == 0);
  EXPECT_CODE(wVadGetParameter(inst, "wvad_para_vadtype", text, 5), 0);
  EXPECT(strcmp(text, "tseg") == 0);
  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_SID", "call-17"), 0);
  EXPECT_CODE(wVadGetParameter(inst, "VAD_PARAM_SID", text, sizeof text), 0);
  EXPECT(strcmp(text, "call-17") == 0);
}

static void test_idle_refusals(WVADInst inst) {
  WVadAudioSample piece;
  int points[4];
  memset(&piece, 0, sizeof piece);
  EXPECT_CODE(wVadAudioWrite(inst, NULL), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadAudioWrite(inst, &piece), WVAD_ERROR_NOT_START);
  EXPECT_CODE(wVadAudioRead(inst, NULL), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadAudioRead(inst, &piece), WVAD_ERROR_NOT_START);
  EXPECT_CODE(wVadAudioWrite(NULL, &piece), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadAudioRead(NULL, &piece), WVAD_ERROR_NULL_HANDLE);
  EXPECT(wVadQueryEPInfo(inst, points, 4) == 0);
  EXPECT_CODE(wVadStop(inst), 0);
  EXPECT_CODE(wVadStop(inst), 0);
  EXPECT_CODE(wVadStart(NULL), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadStop(NULL), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadDestroyInst(NULL), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nFrameEndMargin", "-1"), 0);
  EXPECT_CODE(wVadStart(inst), WVAD_ERROR_INVALID_PARA_VALUE);
  EXPECT_CODE(wVadAudioRead(inst, &piece), WVAD_ERROR_NOT_START); /* so it has not started */
  EXPECT_CODE(wVadStop(inst), 0);
}

/* Of a session that has started and heard nothing yet. */
static void test_refusals_change_nothing(WVADInst inst) {
  static int16_t too_much[3145730 / 2];
  WVadAudioSample piece;
  WVadResult* results = (WVadResult*)&piece;
  int points[4] = {-7, -7, -7, -7};
  int length = -7;
  EXPECT_CODE(wVadStart(inst), WVAD_ERROR_ALREADY_START);
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nFrameGap", "1"), WVAD_ERROR_ALREADY_START);
  EXPECT_CODE(write_piece(inst, signal_, 801, WVAD_WRITE_CONTINUE), WVAD_ERROR_WRITE_LENGTH_NOT_EVEN);
  EXPECT_CODE(write_piece(inst, too_much, 3145729, WVAD_WRITE_CONTINUE), WVAD_ERROR_WRITE_LENGTH_NOT_EVEN);
  EXPECT_CODE(write_piece(inst, too_much, 3145730, WVAD_WRITE_CONTINUE), WVAD_ERROR_BUF_NOT_ENOUGH);
  EXPECT_CODE(write_piece(inst, NULL, 800, WVAD_WRITE_CONTINUE), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadAudioWrite(inst, NULL), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadGetSilLen(inst, 0, &length), 0);
  EXPECT(length == -1); /* no sentence has begun */
  EXPECT_CODE(wVadGetSilLen(inst, -1, &length), WVAD_ERROR_INVALID_PARA);
  EXPECT_CODE(wVadGetSilLen(NULL, 0, &length), WVAD_ERROR_NULL_HANDLE);
  EXPECT_CODE(wVadGetResult(NULL, &results), WVAD_ERROR_NULL_HANDLE);
  EXPECT(results == NULL);
  EXPECT_CODE(wVadGetResult(inst, NULL), WVAD_ERROR_NULL_HANDLE);
  EXPECT(wVadQueryEPInfo(NULL, points, 4) == 0);
  EXPECT(wVadQueryEPInfo(inst, NULL, 4) == 0);

  memset(&piece, 0xFF, sizeof piece);
  EXPECT_CODE(wVadAudioRead(inst, &piece), 0); /* every member is filled in */
  EXPECT(piece.status == WVAD_READ_NONE && piece.len == 0 && piece.nFrame == -1 && piece.pType == NULL);
}

/* Three seconds with one sentence. */
static void test_results_of_a_sentence(WVADInst inst) {
  WVadResult* results = NULL;
  int points[4] = {-7, -7, -7, -7};
  int length = -7;
  EXPECT_CODE(write_piece(inst, signal_, 3 * kRate * 2, WVAD_WRITE_FIRST), 0);
  EXPECT(wVadQueryEPInfo(inst, points, 4) == 2);
  EXPECT(points[0] == 70 && points[1] == 220 && points[2] == -7 && points[3] == -7);
  EXPECT_CODE(wVadReset(inst), 0); /* changes nothing */
  EXPECT(wVadQueryEPInfo(inst, points, 2) == 2);
  EXPECT_CODE(wVadGetResult(inst, &results), 0);
  EXPECT(results != NULL && results->nCount == 1 && results->nStatus == 0);
  if (results != NULL && results->nCount == 1) {
    EXPECT(strcmp(results->pItems[0].pName, "KEL") == 0 && strcmp(results->pItems[0].pKey, "vol") == 0);
    EXPECT(strstr(results->pItems[0].pText, "\"bg\":700,\"ed\":2200,\"eg\":76.30") != NULL);
  }
  EXPECT_CODE(wVadGetResult(inst, &results), 0);
  EXPECT(results != NULL && results->nCount == 0); /* delivered once */
  EXPECT_CODE(wVadGetSilLen(inst, 0, &length), 0);
  EXPECT(length > 40);
}

static void test_reading_to_the_end(WVADInst inst) {
  WVadAudioSample piece;
  size_t read_bytes = 0;
  int statuses[8];
  int n_statuses = 0;
  EXPECT_CODE(write_piece(inst, NULL, 0, WVAD_WRITE_LAST), 0);
  EXPECT_CODE(write_piece(inst, signal_, 800, WVAD_WRITE_CONTINUE), WVAD_ERROR_AUDIO_ENOUGH);
  do {
    EXPECT_CODE(wVadAudioRead(inst, &piece), 0);
    if (n_statuses < 8) statuses[n_statuses++] = (int)piece.status;
    if (piece.status == WVAD_READ_BEGIN) EXPECT(piece.nFrame == 70);
    if (piece.status == WVAD_READ_END) EXPECT(piece.nFrame == 220);
    if (piece.len > 0) {
      EXPECT(memcmp(piece.pData, signal_ + 70 * 160 + read_bytes / 2, piece.len) == 0);
      read_bytes += piece.len;
    }
  } while (piece.status != WVAD_READ_OVER && n_statuses < 8);
  EXPECT(n_statuses == 3 && statuses[0] == WVAD_READ_BEGIN && statuses[1] == WVAD_READ_END && statuses[2] == WVAD_READ_OVER);
  EXPECT(read_bytes == 150 * 320);
  EXPECT_CODE(wVadAudioRead(inst, &piece), 0);
  EXPECT(piece.status == WVAD_READ_NONE); /* over is said once after the end of the audio */
}

static void test_session(WVADInst inst) {
  int points[4] = {-7, -7, -7, -7};
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nReadType", "1"), 0);
  EXPECT_CODE(wVadStart(inst), 0);
  test_refusals_change_nothing(inst);
  test_results_of_a_sentence(inst);
  test_reading_to_the_end(inst);
  EXPECT_CODE(wVadStop(inst), 0);
  EXPECT(wVadQueryEPInfo(inst, points, 4) == 0);
}

static void test_parameters_last_one_session(WVADInst inst) {
  char text[32];
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nFrameGap", "55"), 0);
  EXPECT_CODE(wVadStart(inst), 0);
  EXPECT_CODE(wVadGetParameter(inst, "wvad_param_nFrameGap", text, sizeof text), 0);
  EXPECT(strcmp(text, "55") == 0);
  EXPECT_CODE(wVadStop(inst), 0);
  EXPECT_CODE(wVadGetParameter(inst, "wvad_param_nFrameGap", text, sizeof text), 0);
  EXPECT(strcmp(text, "41") == 0); /* the configuration file's */
}

static void test_endings(WVADInst inst) {
  WVadAudioSample piece;
  int i;
  /* Tail: 1 s after the sentence; the write that follows is refused. */
  EXPECT_CODE(wVadSetParameter(inst, "VAD_PARAM_SPEECHTAIL", "1000"), 0);
  EXPECT_CODE(wVadStart(inst), 0);
  EXPECT_CODE(write_piece(inst, signal_, kSamples * 2, WVAD_WRITE_CONTINUE), 0);
  EXPECT_CODE(write_piece(inst, signal_, 800, WVAD_WRITE_CONTINUE), WVAD_ERROR_AUDIO_ENOUGH);
  EXPECT_CODE(wVadStop(inst), 0);
  /* No speech in time: reads say over, again and again. */
  EXPECT_CODE(wVadSetParameter(inst, "wvad_param_nResponseTimeOut", "200"), 0);
  EXPECT_CODE(wVadStart(inst), 0);
  EXPECT_CODE(write_piece(inst, signal_, kRate * 2, WVAD_WRITE_CONTINUE), 0);
  EXPECT_CODE(write_piece(inst, signal_ + 2 * kRate, 2 * kRate * 2, WVAD_WRITE_CONTINUE), WVAD_SUCCESS);
  for (i = 0; i < 3; ++i) {
    EXPECT_CODE(wVadAudioRead(inst, &piece), 0);
    EXPECT(piece.status == WVAD_READ_OVER);
  }
  EXPECT_CODE(write_piece(inst, signal_, 800, WVAD_WRITE_CONTINUE), WVAD_ERROR_AUDIO_ENOUGH);
  /* Destroyed without a stop by the caller. */
}

int main(int argc, char** argv) {
  WVADInst inst = NULL;
  static WVADInst left = NULL; /* never freed, as the last lines show */
  int round;
  if (argc != 2) return fprintf(stderr, "usage: %s MODEL, by its path from the folder above that of the library\n", argv[0]), 2;
  make_signal();
  test_engine_down();
  test_start_refusals();
  for (round = 0; round < 2; ++round) { /* up and down and up again */
    EXPECT(write_configuration(argv[1], "wvad_param_nFrameGap = 41\n"));
    EXPECT_CODE(wVadInitialize(NULL), 0);
    EXPECT_CODE(wVadInitialize(NULL), WVAD_ERROR_ALREADY_INIT);
    EXPECT_CODE(wVadCreateInst(NULL), WVAD_ERROR_NULL_HANDLE);
    EXPECT_CODE(wVadCreateInst(&inst), 0);
    if (inst == NULL) return 1;
    test_parameters(inst);
    test_idle_refusals(inst);
    test_session(inst);
    test_session(inst); /* an instance runs any number of sessions */
    test_parameters_last_one_session(inst);
    test_endings(inst);
    EXPECT_CODE(wVadDestroyInst(inst), 0);
    if (round == 0) {
      EXPECT_CODE(wVadUninitialize(), 0);
      test_engine_down();
    }
  }
  EXPECT_CODE(wVadCreateInst(&left), 0);
  EXPECT_CODE(wVadUninitialize(), 0);
  EXPECT_CODE(wVadDestroyInst(left), WVAD_ERROR_NOT_INIT); /* too late: it stays */
  EXPECT_CODE(wVadUninitialize(), WVAD_ERROR_NOT_INIT);
  if (failures > 0) fprintf(stderr, "%d expectations failed\n", failures);
  return failures > 0;
}
