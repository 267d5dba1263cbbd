/* SPDX-License-Identifier: Apache-2.0
 *
 * The program's decoders behind flat C functions, for bindings of the stream library: a recording in whatever container, from a file or
 * from bytes that the caller brings, as interleaved floats. The library's own clients decode by themselves; a language's package wants to
 * open what its users name.
 *
 * This is the inside of such a package and no interface that stays: both sides are built together, and wvad_audio_version() says whether
 * they were. Nothing is thrown, nothing aborts. A handle is used by one thread at a time; different handles do not know of each other.
 */
#ifndef WVAD_AUDIO_READER_AUDIO_READER_H_
#define WVAD_AUDIO_READER_AUDIO_READER_H_

#include <stddef.h>
#include <stdint.h>

#define WVAD_AUDIO_API __attribute__((visibility("default")))

#ifdef __cplusplus
extern "C" {
#endif

/* Numbers of the program's exit codes. Nothing else is given back. */
enum {
  WVAD_AUDIO_OK = 0,
  WVAD_AUDIO_INTERNAL = 1,  /* memory is exhausted, or a defect */
  WVAD_AUDIO_NO_FILE = 3,   /* missing, a folder, no right to read; or the caller's bytes failed */
  WVAD_AUDIO_NOT_AUDIO = 4, /* not audio, or so damaged that nothing can be heard */
  WVAD_AUDIO_BAD_RATE = 5,  /* a sample rate that cannot be served, or a sound track that is not there */
  WVAD_AUDIO_NO_ROOM = 8    /* a stream has to be kept, and there is no room for a temporary file */
};

/* The version of the decoders, as wvad_stream_version(). */
WVAD_AUDIO_API const char* wvad_audio_version(void);

/* Why the last call on this thread failed: one line, in the encoding of the name that was given. Valid until the next failure. */
WVAD_AUDIO_API const char* wvad_audio_last_error(void);

/* What is asked for of bytes that the caller brings: up to `count` of them, from `offset` on, into `out`. `got`: how many were stored
 * there, fewer than `count` only where no more are there yet, 0 at the end. It is -1, a failure, until the caller sets it: a callback that
 * an exception ends on its way hands nothing back. */
typedef struct wvad_audio_request {
  void* user;
  uint64_t offset;
  void* out;
  size_t count;
  int64_t got;
} wvad_audio_request;

/* Bytes that the caller brings. `read_at` is called within wvad_audio_open, _read and _damage, on their thread; `user` is handed to it.
 * `length` in bytes, -1 for a stream, whose offsets only go forward. */
typedef struct wvad_audio_bytes {
  void (*read_at)(wvad_audio_request* request);
  void* user;
  int64_t length;
} wvad_audio_bytes;

typedef struct wvad_audio_info {
  int32_t rate_hz;
  int32_t channels;
  int64_t frames; /* samples of each channel, -1 if the recording does not say */
} wvad_audio_info;

typedef struct wvad_audio wvad_audio;

/* Opens a recording and stores its handle in `*audio`, which is null after a failure. `name`: of the file, or with `bytes` for messages
 * alone. `bytes` (copied; null for a file): where they come from. `track`: of several sound tracks, from 1; 0 for the default one.
 * `rate_hz`: to which it is resampled, each channel by itself; 0 for its own. */
WVAD_AUDIO_API int32_t wvad_audio_open(const char* name, const wvad_audio_bytes* bytes, int32_t track, int32_t rate_hz, wvad_audio** audio);

WVAD_AUDIO_API void wvad_audio_get_info(const wvad_audio* audio, wvad_audio_info* info);

/* Up to `frames` frames into `out` [frames x channels], full scale 1.0; fewer only at the end, 0 behind it, a negative code (-3, ...) for
 * a failure. What cannot be decoded is passed over; samples that are no numbers become 0. */
WVAD_AUDIO_API int64_t wvad_audio_read(wvad_audio* audio, float* out, size_t frames);

/* Behind the end: what was wrong with the recording, and what else a listener should know of it, in words; empty for nothing. Valid until
 * the next call on the handle. */
WVAD_AUDIO_API const char* wvad_audio_damage(wvad_audio* audio);
WVAD_AUDIO_API const char* wvad_audio_note(wvad_audio* audio);

/* Frees the handle and sets it to null; one that is null already is fine. */
WVAD_AUDIO_API void wvad_audio_close(wvad_audio** audio);

#ifdef __cplusplus
}
#endif

#endif /* WVAD_AUDIO_READER_AUDIO_READER_H_ */
