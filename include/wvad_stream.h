/* SPDX-License-Identifier: Apache-2.0
 *
 * wvad_stream: sentences in endless audio, as events.
 *
 * A model is opened once, from a path, from memory or by the name of a bundled one. Any number of streams then listen with it: each takes
 * audio of one rate and form in pieces of any length, for ever, and tells what it hears as events, through a callback or a queue.
 *
 *   wvad_model* model = NULL;
 *   wvad_stream* stream = NULL;
 *   wvad_stream_options options;
 *   wvad_event event;
 *   wvad_model_open_bundled(NULL, &model);
 *   wvad_stream_options_init(&options, sizeof options);
 *   options.rate_hz = 48000;
 *   wvad_stream_open(model, &options, NULL, &stream);
 *   while (more) {
 *     wvad_stream_push(stream, samples, n_bytes);
 *     event.size = sizeof event;
 *     while (wvad_stream_next_event(stream, &event) == 1) ...
 *   }
 *   wvad_stream_finish(stream);   then the last events
 *   wvad_stream_close(&stream);
 *   wvad_model_close(&model);
 *
 * Time. Every position is a 64-bit count of sample frames of the input (one sample of each channel) since the stream's first; divide by
 * rate_hz for seconds. What the detector says is exact to 10 ms. The result does not depend on the lengths of the pieces, to the bit.
 *
 * Results. Functions return a wvad_status: 0 and above for success, a negative code for a refusal, which changes nothing and takes nothing
 * of what was given. wvad_last_error() has the reason in words. Nothing is thrown, nothing aborts, no function ends the process.
 *
 * Threads. A model may be used by all threads at once. A stream is used by one thread at a time, not always the same; a call that finds
 * another one running on its stream is refused with WVAD_E_BUSY. Streams do not know of each other. All work is done in the calls, on the
 * caller's thread. Where the library was built with FFTW, opening, resetting and closing a stream plan transforms, one thread at a time;
 * a client that plans with FFTW in single precision itself must not do so meanwhile. The library's own transform has no such bound.
 *
 * Surroundings. Nothing is read but the model that is asked for, and for one asked for by its name what the system says of where this
 * library lies; nothing is written, nothing goes to standard output or error, and no environment variable is looked at but
 * WVAD_FORCE_KERNELS, by which tests choose the instructions and which changes no bit: at the first stream of the process.
 *
 * Growth. Each struct begins with `size`, sizeof of the struct as the caller was compiled; later versions add fields at the end and
 * functions. A struct may be larger than this library knows if the rest of it is zero. Enumerators keep their values; a client skips
 * events of a kind that it does not know. WVAD_STREAM_ABI counts the changes that break older clients; it is part of the library's soname.
 */
#ifndef WVAD_STREAM_H_
#define WVAD_STREAM_H_

#include <stddef.h>
#include <stdint.h>

#define WVAD_STREAM_ABI 1

#if defined(_WIN32)
#if defined(WVAD_BUILDING_STREAM_LIBRARY)
#define WVAD_STREAM_API __declspec(dllexport)
#else
#define WVAD_STREAM_API
#endif
#elif defined(__GNUC__)
#define WVAD_STREAM_API __attribute__((visibility("default")))
#else
#define WVAD_STREAM_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status -------------------------------------------------------------------------------------------------------------------- */

typedef int32_t wvad_status;

enum {
  WVAD_OK = 0,
  WVAD_E_NULL = -1,           /* a pointer that is needed is null */
  WVAD_E_HANDLE = -2,         /* not an open handle of this kind; a copy of a closed one is recognised where its memory still shows it */
  WVAD_E_SIZE = -3,           /* the size field of a struct is none that there has been, or unknown fields of a larger one are in use */
  WVAD_E_PARAMETER = -4,      /* no setting, flag, profile or model has this name or number */
  WVAD_E_RANGE = -5,          /* a value outside its range, or no number */
  WVAD_E_FORMAT = -6,         /* a rate, sample form, number of channels or channel that cannot be served */
  WVAD_E_LENGTH = -7,         /* a piece that does not end with a whole frame */
  WVAD_E_SAMPLES = -8,        /* the piece holds a sample that is not a number or infinite */
  WVAD_E_STATE = -9,          /* audio after the end; an event asked of a stream with a callback */
  WVAD_E_BUSY = -10,          /* another call is running on this stream: on another thread, or the one that called the callback */
  WVAD_E_QUEUE_FULL = -11,    /* queue_limit events wait; take them, then give the piece again */
  WVAD_E_MODEL_MISSING = -12, /* there is no model file at the path, but nothing or a folder, or it cannot be read */
  WVAD_E_MODEL_DAMAGED = -13, /* a model that is cut short or inconsistent */
  WVAD_E_MODEL_KIND = -14,    /* not a model of this engine, or of a kind that it does not run */
  WVAD_E_MEMORY = -15,        /* memory is exhausted; close the stream */
  WVAD_E_INTERNAL = -16       /* a defect of this library; close the stream */
};

/* Why the last refused call on this thread was refused: one line, UTF-8, without a line end, 511 bytes at most; a byte of a
 * name that is no UTF-8, or would do something to a terminal, is told as a question mark. Empty before the first.
 * Belongs to the library, valid until the thread's next call that fails or the thread's end. Calls that succeed leave it alone. */
WVAD_STREAM_API const char* wvad_last_error(void);

/* The name of a status, such as "WVAD_E_RANGE"; "unknown" for a number that is none. Lives for ever. */
WVAD_STREAM_API const char* wvad_status_name(wvad_status status);

/* The library's version, "0.1.0", and the WVAD_STREAM_ABI that it was built with. */
WVAD_STREAM_API const char* wvad_stream_version(void);
WVAD_STREAM_API int32_t wvad_stream_abi(void);

/* ---- Models -------------------------------------------------------------------------------------------------------------------- */

/* A model, read only. Shared by streams and threads. */
typedef struct wvad_model wvad_model;

typedef struct wvad_model_info {
  uint32_t size;
  int32_t rate_hz;  /* that it listens at: 16000, 8000 or 6000; audio of other rates is resampled to it */
  const char* kind; /* "dnn_fb75", "lstm_fb75" or "lstm_fb40"; belongs to the model */
} wvad_model_info;

/* Opens a model and stores its handle in `*model`, which is null after a refusal.
 *   wvad_model_open: the file at `path`, UTF-8.
 *   wvad_model_open_memory: the `n_bytes` at `data`, a whole model file; they are copied.
 *   wvad_model_open_bundled: one that came with the library, from the folder "vad" beside its own file: "lstm_fb75" (the default, null or
 *   empty), "lstm_fb40", "dnn_fb75", and for audio of 8 kHz "lstm_fb75_8k", "lstm_fb40_8k"; wvad_profile_model() says which one suits.
 * Refusals: NULL, MODEL_MISSING, MODEL_DAMAGED, MODEL_KIND, PARAMETER (a name with anything but letters, digits, "_" and "-"), MEMORY. */
WVAD_STREAM_API wvad_status wvad_model_open(const char* path, wvad_model** model);
WVAD_STREAM_API wvad_status wvad_model_open_memory(const void* data, size_t n_bytes, wvad_model** model);
WVAD_STREAM_API wvad_status wvad_model_open_bundled(const char* name, wvad_model** model);

/* Fills `*info`, whose size field the caller has set. Refusals: NULL, HANDLE, SIZE. */
WVAD_STREAM_API wvad_status wvad_model_get_info(const wvad_model* model, wvad_model_info* info);

/* Gives up the handle and sets it to null. Streams that listen with the model keep it until they are closed. A handle that is null already
 * is fine. Refusals: NULL (of `model` itself), HANDLE. */
WVAD_STREAM_API wvad_status wvad_model_close(wvad_model** model);

/* ---- Settings ------------------------------------------------------------------------------------------------------------------ */

/* Sets of settings for an occasion. */
enum {
  WVAD_PROFILE_DEFAULT = 0,   /* "default": conversation and recordings */
  WVAD_PROFILE_FAST = 1,      /* "fast": for a machine that answers; early begins and ends */
  WVAD_PROFILE_DICTATION = 2, /* "dictation": pauses for thought belong to the sentence */
  WVAD_PROFILE_MEETING = 3,   /* "meeting": distant and quiet talkers */
  WVAD_PROFILE_TELEPHONE = 4  /* "telephone": narrow band, noise of the line */
};

/* The name of the bundled model that suits a profile best for audio of `rate_hz`: up to 8000 Hz one that was trained for it. Null for a
 * number that is no profile. Nothing is chosen behind the caller's back: open it with wvad_model_open_bundled. Lives for ever. */
WVAD_STREAM_API const char* wvad_profile_model(int32_t profile, int32_t rate_hz);

/* How a stream decides. Times in seconds, rounded to whole 10 ms. In text each field goes by its own name, as in "min_silence=0.25", and
 * the profile by its name, as in "profile=fast". wvad_settings_describe() has the ranges, docs/stream.md the values of each profile. */
typedef struct wvad_settings {
  uint32_t size;
  int32_t profile;    /* that the values were taken from, WVAD_PROFILE_...; says nothing more about them */
  double threshold;   /* probability of speech from which 10 ms are speech. 0.01 to 0.99 */
  double min_speech;  /* s that speech has to last to begin a sentence. 0.03 to 2 */
  double min_silence; /* s of silence that end it; half of it in a sentence of over 10 s. 0.05 to 10 */
  double pad_before;  /* s put before the first speech, as far as no sentence lies there. 0 to 2 */
  double pad_after;   /* s put behind the last speech; no more than min_silence has effect. 0 to 2 */
  double
      max_sentence; /* s, the longest sentence: from a second before it weak spots, from a second behind it anything, end it. 2 to 3600 */
  double energy_floor_db; /* dB of full scale under which nothing is speech, taken in steps of 4.34 dB. -116 to -12 */
  double turn_silence;    /* s of silence behind a sentence after which the turn is over. 0: never. Else 0.05 to 3600 */
  double still_every;     /* s between two reports of silence. 0: never. Else 0.1 to 3600 */
} wvad_settings;

/* One row of the table of settings. All texts live for ever. */
typedef struct wvad_setting_info {
  uint32_t size;
  const char* name; /* of the field, and in text */
  const char* unit; /* "s", "dB" or "" */
  double low;       /* smallest and largest value; 0 is also taken where zero_is_off */
  double high;
  int32_t zero_is_off;     /* 1 or 0 */
  double initial;          /* in the default profile */
  const char* engine_name; /* the engine's parameter that it becomes (docs/parameters.md), "" for none */
  const char* meaning;     /* in one line */
} wvad_setting_info;

/* Fills `*settings` with the values of `profile`. `size` is sizeof *settings. Refusals: NULL, SIZE, PARAMETER. */
WVAD_STREAM_API wvad_status wvad_settings_init(wvad_settings* settings, size_t size, int32_t profile);

/* Takes over `text`: entries name=value with blanks or commas between them, the later one wins. "profile=NAME" puts every value to that of
 * the profile, whichever entries stand before it. A number is decimal with a point, in any locale; nothing may follow it. All entries hold,
 * or none. Refusals: NULL, SIZE, PARAMETER (unknown name), RANGE. */
WVAD_STREAM_API wvad_status wvad_settings_parse(wvad_settings* settings, const char* text);

/* Whether every value lies in its range. Refusals: NULL, SIZE, PARAMETER (profile), RANGE. wvad_stream_open checks the same. */
WVAD_STREAM_API wvad_status wvad_settings_check(const wvad_settings* settings);

/* Fills `*info`, whose size field the caller has set, with row `index` of the table, from 0. Returns 1, or 0 behind the last row.
 * Refusals: NULL, SIZE. */
WVAD_STREAM_API wvad_status wvad_settings_describe(size_t index, wvad_setting_info* info);

/* ---- Events -------------------------------------------------------------------------------------------------------------------- */

enum {
  /* Speech may have begun, at `time`: told at once, for whoever has to fall silent. Followed by SENTENCE_BEGIN or ONSET_DROPPED. */
  WVAD_EVENT_ONSET = 1,
  /* What was told as ONSET, at `time`, was none. */
  WVAD_EVENT_ONSET_DROPPED = 2,
  /* A sentence has begun, at `time`, which is `begin`. */
  WVAD_EVENT_SENTENCE_BEGIN = 3,
  /* The sentence has ended, at `time`, which is `end`. Comes with all that is known of it. */
  WVAD_EVENT_SENTENCE_END = 4,
  /* For turn_silence nothing has followed the last speech of sentence `sentence`; that lies at `time`. Once for a sentence at most. */
  WVAD_EVENT_TURN_END = 5,
  /* Still no sentence: silence since `begin` (the stream's start or a sentence's end), up to `time`. Every still_every. */
  WVAD_EVENT_SILENCE = 6,
  /* With WVAD_WANT_PROBABILITY: of speech, from `time` on for 10 ms. In order, without gaps but in renewals; the last 40 ms have none. */
  WVAD_EVENT_PROBABILITY = 7,
  /* The stream is finished; `time` is its length. The last event. */
  WVAD_EVENT_STREAM_END = 8
};

enum {
  WVAD_FLAG_BEGAN_IN_SPEECH = 1, /* the stream began, or the sentence before was cut off, in the midst of speech */
  WVAD_FLAG_ENDED_IN_SPEECH = 2  /* the stream ended, or max_sentence cut the sentence off, in the midst of speech */
};

/* One event. Fields that an event does not speak of are 0; `sentence` is -1, and `probability` and the measures are
 * not-a-number there. */
typedef struct wvad_event {
  uint32_t size;
  int32_t kind;          /* WVAD_EVENT_... */
  int64_t time;          /* what it speaks of, in sample frames of the input from the stream's start */
  int64_t known_at;      /* how much of the stream had been heard when it was known; known_at - time is the delay */
  int64_t sentence;      /* number of the sentence, from 0. With SENTENCE_BEGIN, SENTENCE_END and TURN_END */
  int64_t begin;         /* with SENTENCE_BEGIN, SENTENCE_END, SILENCE */
  int64_t end;           /* with SENTENCE_END; the first that is outside */
  uint32_t flags;        /* WVAD_FLAG_...; with SENTENCE_BEGIN (the first) and SENTENCE_END */
  float probability;     /* 0 to 1, with PROBABILITY */
  double level_db;       /* mean power of the speech in it, in dB of full scale (0 is a full square wave), -100 at least. SENTENCE_END */
  double snr_db;         /* level_db over the noise, the quietest tenth of the last 10 s; not-a-number in the first 0.5 s. SENTENCE_END */
  double clipped;        /* share of its samples at full scale, 0 to 1, before mixing and resampling. SENTENCE_END */
  const int16_t* audio;  /* the sentence, one channel at the model's rate; with SENTENCE_END and WVAD_WANT_AUDIO, else null */
  size_t n_audio;        /* samples */
  const float* features; /* [n_features x 115] for its 10 ms frames; with SENTENCE_END and WVAD_WANT_FEATURES, else null */
  size_t n_features;     /* frames */
} wvad_event;

/* Gets each event as soon as it is known, within the call that made it known, on the same thread. `event` and what it points to are valid
 * until the callback returns. Calls on the same stream are refused with WVAD_E_BUSY; calls on others are fine. Must return normally: no
 * exception, no longjmp. */
typedef void (*wvad_event_callback)(const wvad_event* event, void* user);

/* ---- Streams ------------------------------------------------------------------------------------------------------------------- */

/* One endless piece of audio that is listened to. */
typedef struct wvad_stream wvad_stream;

/* Forms of a sample, in the machine's byte order. Samples need not be aligned. */
enum {
  WVAD_SAMPLE_S16 = 1, /* 16-bit signed */
  WVAD_SAMPLE_S24 = 2, /* 24-bit signed in the low three quarters of 32 bits, the upper eight not looked at: aligned to the least
                          significant bit, as ALSA's S24_LE. What is aligned to the most significant bit is S32 */
  WVAD_SAMPLE_S32 = 3, /* 32-bit signed; also 24 bits in its upper three quarters */
  WVAD_SAMPLE_F32 = 4  /* 32-bit float, full scale 1.0; beyond it is cut off as it is read, and counts as clipped */
};

enum {
  WVAD_WANT_PROBABILITY = 1, /* an event for each 10 ms */
  WVAD_WANT_AUDIO = 2,       /* the audio of each sentence */
  WVAD_WANT_FEATURES = 4     /* the features of each sentence */
};

#define WVAD_CHANNEL_MEAN 0 /* the mean of all channels */

typedef struct wvad_stream_options {
  uint32_t size;
  int32_t rate_hz;              /* of the input, 4000 to 192000. Initially 16000 */
  int32_t channels;             /* of the input, 1 to 65535. Initially 1 */
  int32_t sample_form;          /* WVAD_SAMPLE_...; initially WVAD_SAMPLE_S16 */
  int32_t channel;              /* that is listened to, from 1, or WVAD_CHANNEL_MEAN, as initially */
  uint32_t want;                /* WVAD_WANT_..., added. Initially 0 */
  wvad_event_callback on_event; /* or null, as initially: events then wait in a queue */
  void* user;                   /* for on_event; not looked at */
  uint32_t queue_limit; /* events that may wait before a push is refused, 1 and more. Initially 65536. A push that is taken is taken whole
                           and may go beyond it */
} wvad_stream_options;

typedef struct wvad_stream_info {
  uint32_t size;
  int64_t samples;     /* frames of the input that were taken */
  int64_t heard;       /* of these, handed to the detector: less than 10 ms, and with resampling the filter's delay, are held back */
  int64_t sentences;   /* begun so far */
  int64_t renewals;    /* of the session inside; for curiosity, nothing is lost in one */
  uint64_t queued;     /* events that wait */
  int32_t in_sentence; /* 1 or 0 */
  int32_t finished;    /* 1 or 0 */
  int32_t cancels;     /* 1 if mixing the channels takes the sound away, since they carry it in opposite phase; choose one of them */
  double mix_loss_db;  /* what mixing does to the power, 0 and below; 0 with a single channel */
} wvad_stream_info;

/* Fills `*options` with initial values. `size` is sizeof *options. Refusals: NULL, SIZE. */
WVAD_STREAM_API wvad_status wvad_stream_options_init(wvad_stream_options* options, size_t size);

/* Opens a stream on `model` and stores its handle in `*stream`, which is null after a refusal. `settings` null: those of the default
 * profile. Nothing of the structs is referred to afterwards. Refusals: NULL, HANDLE, SIZE, PARAMETER, RANGE, FORMAT, MEMORY. */
WVAD_STREAM_API wvad_status wvad_stream_open(wvad_model* model, const wvad_stream_options* options, const wvad_settings* settings,
                                             wvad_stream** stream);

/* Takes the next piece, `n_bytes` of interleaved samples, whole frames of channels times the sample's bytes (2 or 4); 0 is fine, and
 * `samples` may be null then. The piece is read within the call alone.
 * Refusals: NULL, HANDLE, LENGTH, SAMPLES, STATE, BUSY, QUEUE_FULL: nothing of the piece is taken. MEMORY, INTERNAL: part of it may be. */
WVAD_STREAM_API wvad_status wvad_stream_push(wvad_stream* stream, const void* samples, size_t n_bytes);

/* The same with a pointer to each channel's samples, `channels` pointers; `n_bytes` are those of one channel. The pointers of channels that
 * are not listened to are needed as well. */
WVAD_STREAM_API wvad_status wvad_stream_push_planar(wvad_stream* stream, const void* const* planes, size_t n_bytes);

/* The audio is over: what was held back is heard, an open sentence ends, and STREAM_END follows. A second call is refused.
 * Refusals: NULL, HANDLE, STATE, BUSY, MEMORY, INTERNAL. */
WVAD_STREAM_API wvad_status wvad_stream_finish(wvad_stream* stream);

/* Puts the stream back to its start, finished or not, with the same options and settings. Events that wait are dropped.
 * Refusals: NULL, HANDLE, BUSY, MEMORY. */
WVAD_STREAM_API wvad_status wvad_stream_reset(wvad_stream* stream);

/* Takes the oldest event that waits into `*event`, whose size field the caller has set. Returns 1, or 0 if none waits. What the event
 * points to is valid until the next call of this function, of reset or close on the stream.
 * Refusals: NULL, HANDLE, SIZE, STATE (the stream has a callback), BUSY. */
WVAD_STREAM_API wvad_status wvad_stream_next_event(wvad_stream* stream, wvad_event* event);

/* Fills `*info`, whose size field the caller has set. Refusals: NULL, HANDLE, SIZE, BUSY. */
WVAD_STREAM_API wvad_status wvad_stream_get_info(wvad_stream* stream, wvad_stream_info* info);

/* Frees the stream, finished or not, without further events, and sets the handle to null. A handle that is null already is fine.
 * Refusals: NULL (of `stream` itself), HANDLE, BUSY. */
WVAD_STREAM_API wvad_status wvad_stream_close(wvad_stream** stream);

#ifdef __cplusplus
}
#endif

#endif /* WVAD_STREAM_H_ */
