/* SPDX-License-Identifier: Apache-2.0
 *
 * wvad: streaming voice activity and endpoint detection.
 *
 * The one public header of the library: sixteen functions, four records, the codes. Valid C11 and C++; no other header of the
 * library is needed by a client.
 *
 * Units. Audio is 16-bit signed PCM, one channel, machine byte order, at 16000, 8000 or 6000 Hz. A frame is 10 ms, numbered from 0 at
 * wVadStart. Results in text carry milliseconds; wVadQueryEPInfo and wVadGetSilLen answer in frames.
 *
 * Calling order. wVadInitialize once per process; wVadCreateInst as often as wanted; then for each utterance on an instance
 * wVadSetParameter (any number), wVadStart, wVadAudioWrite and wVadAudioRead in any alternation, wVadGetResult, wVadQueryEPInfo and
 * wVadGetSilLen as wanted, wVadStop; wVadDestroyInst for each instance; wVadUninitialize last.
 *
 * Threads. wVadInitialize and wVadUninitialize run alone. Calls on one instance are serialised by the caller; different instances
 * may run on different threads at once. All audio work happens on the calling thread.
 *
 * Files. The configuration "w_tseg.cfg" is read from the current folder at wVadInitialize; the model lies under the folder of the
 * library's own file, at wvad_param_model_path plus wvad_param_model_name; the log goes to "../log/w_tseg.log" from that same folder
 * unless "tseg.cfu" beside the library says otherwise.
 *
 * Results. Every function but wVadQueryEPInfo (a count) returns 0 or one of the codes below, and a failure is explained by two lines
 * in the log.
 */
#ifndef WVAD_H_
#define WVAD_H_

#include <stdint.h>

#define WVAD_VERSION_MAJOR 0
#define WVAD_VERSION_MINOR 1
#define WVAD_VERSION_PATCH 0
#define WVAD_VERSION "0.1.0"

#if defined(_WIN32)
#if defined(WVAD_BUILDING_LIBRARY)
#define WVAD_API __declspec(dllexport)
#else
#define WVAD_API
#endif
#elif defined(__GNUC__)
#define WVAD_API __attribute__((visibility("default")))
#else
#define WVAD_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Codes. The gaps in the numbering stay unused. */
enum WVadError {
  WVAD_SUCCESS = 0,
  WVAD_ERROR_ALREADY_INIT = 14001,         /* wVadInitialize on a running engine */
  WVAD_ERROR_NOT_INIT = 14002,             /* a call that needs the engine while it is down */
  WVAD_ERROR_ALREADY_START = 14003,        /* wVadStart or wVadSetParameter on a started instance */
  WVAD_ERROR_NOT_START = 14004,            /* wVadAudioWrite or wVadAudioRead on an instance that is not started */
  WVAD_ERROR_RESOURCE_TYPE = 14007,        /* logged only: the model type names no known frame loop */
  WVAD_ERROR_INVALID_PARA = 14009,         /* null audio pointer, unknown parameter name, negative pause index */
  WVAD_ERROR_INVALID_PARA_VALUE = 14010,   /* sample rate outside 16000, 8000, 6000; negative margin at wVadStart */
  WVAD_ERROR_NULL_HANDLE = 14011,          /* null instance; in wVadSetParameter also a null name or value */
  WVAD_ERROR_INVALID_HANDLE = 14012,       /* wVadGetParameter: null instance, name or buffer */
  WVAD_ERROR_BUF_NOT_ENOUGH = 14013,       /* sentence table full, write over 3145728 bytes, parameter buffer too small */
  WVAD_ERROR_AUDIO_ENOUGH = 14014,         /* wVadAudioWrite after the session has ended */
  WVAD_ERROR_PARA_NOT_SETTABLE = 14017,    /* a known special name without a setter */
  WVAD_ERROR_PARAM_TOO_LONG = 14020,       /* a parameter name of more than 256 characters */
  WVAD_ERROR_WRITE_LENGTH_NOT_EVEN = 14021 /* wVadAudioWrite with an odd number of bytes */
};

/* Codes that wVadInitialize passes on from the loading of the model. */
enum WVadResourceError {
  RES_MGR_ERROR_RESOURCE_NOT_EXIST = 30000,     /* no file at the model's path, or a folder */
  RES_MGR_ERROR_RESOURCE_ALREADY_EXIST = 30001, /* the key is in use */
  RES_MGR_ERROR_RESOURCE_UNREADABLE = 30002,    /* cannot be opened or mapped, empty, cut short, inconsistent */
  RES_MGR_ERROR_INVALID_PARA_VALUE = 30003,     /* unknown resource category, missing record */
  RES_MGR_ERROR_NULL_HANDLE = 30004,            /* null path */
  RES_MGR_ERROR_RESOURCE_MAGIC = 30005,         /* not a model file of this library */
  RES_MGR_ERROR_RESOURCE_TOO_OLD = 30007,       /* the model lacks one of its seven configuration values */
  RES_MGR_ERROR_RESOURCE_DELETE = 30009,        /* still in use */
  RES_MGR_ERROR_RESOURCE_TYPE = 30011           /* a network type that this engine does not run */
};

/* Status of a piece given to wVadAudioWrite. */
enum WVadWriteStatus {
  WVAD_WRITE_FIRST = 0,    /* a first or ordinary piece */
  WVAD_WRITE_CONTINUE = 1, /* a continuing piece; acts like 0 */
  WVAD_WRITE_LAST = 2      /* the last piece of the session; it may be empty */
};

/* Status of a piece handed out by wVadAudioRead. */
enum WVadReadStatus {
  WVAD_READ_NONE = 0,  /* nothing to report; len may still be above 0 */
  WVAD_READ_BEGIN = 1, /* a sentence begins with this piece; nFrame is its begin frame */
  WVAD_READ_GOON = 2,  /* the sentence goes on; nFrame is the first frame of the piece */
  WVAD_READ_END = 3,   /* the sentence ends with this piece; nFrame is its end frame */
  WVAD_READ_OVER = 4   /* the session is over */
};

/* What the detector says of one frame; seen by clients in logs and tools only. */
enum FrameVerdict {
  WVAD_FRAME_BEGIN = 5,     /* a sentence has begun */
  WVAD_FRAME_PAUSE = 6,     /* a sentence has ended, the session goes on */
  WVAD_FRAME_TAIL = 8,      /* the tail silence is used up, the session is over */
  WVAD_FRAME_NOSPEECH = 10, /* no speech within the response time, the session is over */
  WVAD_FRAME_GOON = 11      /* nothing to report */
};

/* One detector. Opaque; made by wVadCreateInst, freed by wVadDestroyInst. */
typedef struct TsegInst* WVADInst;

/* A piece of audio at the boundary, in or out. Natural alignment. */
typedef struct WVadAudioSample {
  void* pData;       /* write: the caller's PCM, only read. read: the piece, owned by the instance until its next read */
  uint32_t len;      /* bytes at pData. write: even, 0 to 3145728 */
  const char* pType; /* write: ignored. read: "feature/F75*1" for features (460 bytes a frame, 115 floats), null for PCM */
  uint32_t status;   /* write: WVadWriteStatus. read: WVadReadStatus */
  int32_t nFrame;    /* write: ignored. read: frame number by status, -1 with nothing to report */
} WVadAudioSample;

/* One result. All texts belong to the instance. */
typedef struct WVadResultItem {
  const char* pName; /* "KEL" */
  const char* pKey;  /* "vol", "fnt", "bkt", "sil", "snr", "cur" */
  const char* pText; /* "ws":[{...}], a JSON member without its outer braces; times in milliseconds */
  uint32_t nWord;    /* 0 */
  uint32_t nUnused;  /* never written */
} WVadResultItem;

/* What wVadGetResult hands out. Valid until the next wVadGetResult on the instance. */
typedef struct WVadResult {
  uint32_t nStatus;       /* 0 */
  WVadResultItem* pItems; /* up to 16 items */
  int32_t nCount;         /* items in use, 0 to 16 */
} WVadResult;

/* Brings the engine up: opens the log, reads "w_tseg.cfg" from the current folder, loads the model, takes the model's seven
 * parameters. `reserved` goes to the audio-quality component and is otherwise ignored; pass null.
 * Returns 0, 14001 when up already, -1, or a code of the model's loading (WVadResourceError). After a failure it may be called again. */
WVAD_API int wVadInitialize(void* reserved);

/* Takes the engine down. All instances should have been destroyed before: later calls on one answer 14002.
 * Returns 0 or 14002. */
WVAD_API int wVadUninitialize(void);

/* Sets a parameter by name for the next session of an idle instance; wVadStop puts every parameter back to its default.
 * `param` up to 256 characters, `paramValue` text, up to 256 characters for a normal parameter.
 * Returns 0, 14011 (null), 14002, 14003 (started), 14020 (name too long), 14009 (unknown, or a value that is too long), 14010 (rate,
 * which is stored nevertheless), 14017 (not settable). A number that is not one, whole, raises boost::bad_lexical_cast (a
 * std::bad_cast) for a normal parameter; special names read it as 0. */
WVAD_API int wVadSetParameter(WVADInst inst, const char* param, const char* paramValue);

/* Reads a parameter as text into `nParamValue`, a buffer of `nValueLen` bytes, terminator included.
 * "wkel_param_sid" is answered by the audio-quality component, where it is on, with up to 1024 bytes whatever `nValueLen` says.
 * Returns 0 (a normal parameter's buffer that is too small stays untouched, as with an empty text), 14012 (null), 14002, 14009 (unknown;
 * the log line holds what stands in the buffer), 14013 (buffer too small for a special name, or without a byte). */
WVAD_API int wVadGetParameter(WVADInst inst, const char* param, char* nParamValue, int nValueLen);

/* Makes an instance from the default parameters and stores its handle in `*inst`.
 * Returns 0, 14002, 14011 (null), or a code of the audio-quality component. */
WVAD_API int wVadCreateInst(WVADInst* inst);

/* Frees an instance, started or not. Returns 0, 14002 or 14011. */
WVAD_API int wVadDestroyInst(WVADInst inst);

/* Begins a session on an idle instance.
 * Returns 0, 14011 (null), 14002, 14003 (started), 14010 (a negative margin, or a sample rate that was refused before). */
WVAD_API int wVadStart(WVADInst inst);

/* Ends the session, drops its audio and results, restores the default parameters. Needs no running session.
 * Returns 0, 14002 or 14011. */
WVAD_API int wVadStop(WVADInst inst);

/* Takes a piece of audio and decides on every frame that it completes, before it returns. Write with WVAD_WRITE_LAST (len 0 is
 * ordinary) to close the session: an open sentence then ends.
 * Returns 0, 14002, 14011 (null instance), 14009 (null record, or null data with a length), 14004 (not started), 14021 (odd length),
 * 14013 (length over 3145728, or 20479 sentences), 14014 (the session has ended). */
WVAD_API int wVadAudioWrite(WVADInst inst, WVadAudioSample* audio);

/* Hands out the next piece of the sentences found so far: features or, with wvad_param_nReadType non-zero, PCM. Fills all of `audio`.
 * Call until WVAD_READ_OVER after the last write. Returns 0, 14002, 14011, 14009 or 14004. */
WVAD_API int wVadAudioRead(WVADInst inst, WVadAudioSample* audio);

/* Writes begin and end frame of each closed sentence to `nEndPoints`, pairs while fewer than `nSize` integers are written. Pairs are whole:
 * give an even size, or room for one integer more. Returns the count of integers written, 0 on every failure. */
WVAD_API int wVadQueryEPInfo(WVADInst inst, int* nEndPoints, int nSize);

/* Entry points that are kept for their callers: ignore the arguments, return 0. */
WVAD_API int wVADResourceAdd(void* a, void* b, void* c, void* d, void* e, void* f);
WVAD_API int wVADResourceDelete(void* a, void* b, void* c, void* d, void* e);

/* Does nothing and returns 0, on any argument and in any state. */
WVAD_API int wVadReset(WVADInst inst);

/* Sets `*out` to the results that are due: "vol" once per sentence; with the audio-quality component on also "snr", "cur", "fnt", "bkt"
 * and "sil". Returns 0, or 14011 for a null instance (with `*out` null) or a null `out`. */
WVAD_API int wVadGetResult(WVADInst inst, WVadResult** out);

/* Sets `*pLen` to the silence after sentence `nIndexPause`, in frames, -1 for a sentence not begun.
 * Returns 0, 14002, 14011 (null instance), 14009 (negative index, null pLen). */
WVAD_API int wVadGetSilLen(WVADInst inst, int nIndexPause, int* pLen);

#ifdef __cplusplus
}
#endif

#endif /* WVAD_H_ */
