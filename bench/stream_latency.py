#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""stream_latency.py LIBRARY AUDIO LABELS [NAME...]: how soon the stream library tells of speech, and how well it finds it.

LIBRARY is the built libwvad-stream.so, with the models in "vad" beside it. AUDIO and LABELS are folders that hold recordings and, under the same
names with ".csv", the times of their speech, a line START,END in seconds for each stretch below one line of heading. NAMEs are folders or
recordings below AUDIO without their ending; all labelled ones otherwise.

Prints for each profile, with its model, the median and the 95th percentile of
  onset   from a labelled onset (behind 0.5 s without speech, or the first of a recording) to ONSET,
  begin   from there to SENTENCE_BEGIN,
  first   the same two for the first onset of a stream alone,
  end     from a labelled end (before 0.5 s more than min_silence without speech) to SENTENCE_END,
and the share of labelled speech outside of sentences, the share of the rest, 0.3 s around speech left out, inside of them, and the share of ONSETs
that were dropped. With --settings TEXT these on top of each profile; with --noise FOLDER seconds of sentences per hour in recordings without
speech. Needs libsndfile."""
import argparse
import csv
import ctypes as c
import pathlib
import statistics
import sys

PROFILES = ("default", "fast", "dictation", "meeting", "telephone")
ONSET, DROPPED, BEGIN, END = 1, 2, 3, 4


class Event(c.Structure):
    _fields_ = [("size", c.c_uint32), ("kind", c.c_int32), ("time", c.c_int64), ("known_at", c.c_int64), ("sentence", c.c_int64),
                ("begin", c.c_int64), ("end", c.c_int64), ("flags", c.c_uint32), ("probability", c.c_float), ("level_db", c.c_double),
                ("snr_db", c.c_double), ("clipped", c.c_double), ("audio", c.c_void_p), ("n_audio", c.c_size_t), ("features", c.c_void_p),
                ("n_features", c.c_size_t)]


class Options(c.Structure):
    _fields_ = [("size", c.c_uint32), ("rate_hz", c.c_int32), ("channels", c.c_int32), ("sample_form", c.c_int32), ("channel", c.c_int32),
                ("want", c.c_uint32), ("on_event", c.c_void_p), ("user", c.c_void_p), ("queue_limit", c.c_uint32)]


class Settings(c.Structure):
    _fields_ = [("size", c.c_uint32), ("profile", c.c_int32)] + [(name, c.c_double) for name in (
        "threshold", "min_speech", "min_silence", "pad_before", "pad_after", "max_sentence", "energy_floor_db", "turn_silence", "still_every")]


class Info(c.Structure):
    _fields_ = [("frames", c.c_int64), ("samplerate", c.c_int), ("channels", c.c_int), ("format", c.c_int), ("sections", c.c_int),
                ("seekable", c.c_int)]


def read_sound(path):
    """(rate, channels, 16-bit samples) of a sound file."""
    sndfile = c.CDLL("libsndfile.so.1")
    sndfile.sf_open.restype = c.c_void_p
    sndfile.sf_readf_short.restype = c.c_int64
    info = Info()
    handle = sndfile.sf_open(str(path).encode(), 0x10, c.byref(info))
    if not handle:
        sys.exit(f"{path}: cannot be read")
    samples = (c.c_int16 * (info.frames * info.channels))()
    count = sndfile.sf_readf_short(c.c_void_p(handle), samples, c.c_int64(info.frames))
    sndfile.sf_close(c.c_void_p(handle))
    return info.samplerate, info.channels, bytes(samples)[:2 * count * info.channels]


class Library:
    def __init__(self, path):
        self.calls = c.CDLL(str(path))
        self.calls.wvad_last_error.restype = c.c_char_p
        self.calls.wvad_profile_model.restype = c.c_char_p

    def check(self, status):
        if status < 0:
            sys.exit(self.calls.wvad_last_error().decode())
        return status

    def settings(self, text):
        settings = Settings()
        self.check(self.calls.wvad_settings_init(c.byref(settings), c.c_size_t(c.sizeof(settings)), 0))
        self.check(self.calls.wvad_settings_parse(c.byref(settings), text.encode()))
        return settings

    def open_model(self, name):
        model = c.c_void_p()
        self.check(self.calls.wvad_model_open_bundled(name, c.byref(model)))
        return model

    def events(self, model, settings, sound):
        """(kind, time, known_at, end) of each event, in seconds."""
        rate, channels, samples = sound
        options = Options()
        self.check(self.calls.wvad_stream_options_init(c.byref(options), c.c_size_t(c.sizeof(options))))
        options.rate_hz, options.channels, options.queue_limit = rate, channels, 2**31
        stream = c.c_void_p()
        self.check(self.calls.wvad_stream_open(model, c.byref(options), c.byref(settings), c.byref(stream)))
        self.check(self.calls.wvad_stream_push(stream, samples, c.c_size_t(len(samples))))
        self.check(self.calls.wvad_stream_finish(stream))
        event, found = Event(size=c.sizeof(Event)), []
        while self.check(self.calls.wvad_stream_next_event(stream, c.byref(event))):
            found.append((event.kind, (event.begin if event.kind == END else event.time) / rate, event.known_at / rate, event.end / rate))
        self.check(self.calls.wvad_stream_close(c.byref(stream)))
        return found


def overlap(spans, others):
    """Seconds of `spans` that lie in `others`; both in order, without overlaps of their own."""
    return sum(max(0, min(end, other_end) - max(begin, other_begin)) for begin, end in spans for other_begin, other_end in others)


def merged(spans, margin):
    out = []
    for begin, end in spans:
        begin, end = begin - margin, end + margin
        if out and begin <= out[-1][1]:
            out[-1][1] = end
        else:
            out.append([begin, end])
    return out


class Tally:
    def __init__(self):
        self.delays = {name: [] for name in ("onset", "begin", "first onset", "first begin", "end")}
        self.missed = self.speech = self.false = self.rest = self.onsets = self.dropped = 0

    def add(self, spans, events, seconds, min_silence):
        stretches = merged(spans, 0.25)  # what less than 0.5 s parts is one stretch
        begins = [(known, time) for kind, time, known, _ in events if kind == BEGIN]
        onsets = [(known, time) for kind, time, known, _ in events if kind == ONSET]
        ends = [(known, time, end) for kind, time, known, end in events if kind == END]
        for number, (begin, _) in enumerate(stretches):
            begin += 0.25
            for name, told in (("onset", onsets), ("begin", begins)):
                delay = next((known - begin for known, _ in told if -0.1 <= known - begin <= 2.5), None)
                if delay is not None:
                    self.delays[name].append(delay)
                    if number == 0:
                        self.delays["first " + name].append(delay)
        for number, (_, end) in enumerate(stretches):
            end -= 0.25
            following = stretches[number + 1][0] + 0.25 if number + 1 < len(stretches) else seconds
            if following - end >= min_silence + 0.5:
                delay = next((known - end for known, _, _ in ends if 0 <= known - end <= min_silence + 0.5), None)
                if delay is not None:
                    self.delays["end"].append(delay)
        sentences = [(begin, end) for _, begin, end in ends]
        near = merged(spans, 0.3)
        speech = sum(end - begin for begin, end in spans)
        self.speech += speech
        self.missed += speech - overlap(spans, sentences)
        self.rest += seconds - overlap(near, [(0, seconds)])
        self.false += sum(end - begin for begin, end in sentences) - overlap(near, sentences)
        self.onsets += len(onsets)
        self.dropped += sum(1 for kind, *_ in events if kind == DROPPED)

    def row(self):
        def pair(values):
            if len(values) < 2:
                return "-"
            return f"{1000 * statistics.median(values):.0f} / {1000 * statistics.quantiles(values, n=20)[-1]:.0f}"

        def share(part, whole):
            return f"{100 * part / whole:.1f} %" if whole else "-"

        return [pair(values) for values in self.delays.values()] + [share(self.missed, self.speech), share(self.false, self.rest),
                                                                   share(self.dropped, self.onsets)]


def recordings(audio, labels, names):
    for path in sorted(audio.rglob("*")):
        name = path.relative_to(audio).with_suffix("")
        label = next((place for place in (labels / f"{name}.csv", labels / f"{name.name}.csv") if place.exists()), None)
        wanted = not names or any(str(name) == wanted or str(name).startswith(wanted.rstrip("/") + "/") for wanted in names)
        if wanted and path.is_file() and label:
            with open(label, encoding="utf-8") as lines:
                spans = [(float(row[0]), float(row[1])) for row in list(csv.reader(lines))[1:]]
            yield read_sound(path), spans


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("library", type=pathlib.Path)
    parser.add_argument("audio", type=pathlib.Path)
    parser.add_argument("labels", type=pathlib.Path)
    parser.add_argument("names", nargs="*")
    parser.add_argument("--profile", action="append", choices=PROFILES)
    parser.add_argument("--model", help="a bundled model instead of the one that each profile names")
    parser.add_argument("--settings", default="", help="settings as text, on top of each profile")
    parser.add_argument("--noise", action="append", default=[], type=pathlib.Path, help="folder of recordings without speech")
    arguments = parser.parse_args()
    library = Library(arguments.library.resolve())
    sounds = list(recordings(arguments.audio, arguments.labels, arguments.names))
    noises = [read_sound(path) for folder in arguments.noise for path in sorted(folder.rglob("*")) if path.is_file()]
    print("| profile | model | onset, ms | begin, ms | first onset | first begin | end, ms | missed | false | dropped |" +
          (" false in noise, s/h |" if noises else ""))
    print("|---|---|---|---|---|---|---|---|---|---|" + ("---|" if noises else ""))
    for profile in arguments.profile or PROFILES:
        settings = library.settings(f"profile={profile} {arguments.settings}")
        name = arguments.model.encode() if arguments.model else library.calls.wvad_profile_model(settings.profile, min((sound[0] for sound, _ in sounds), default=16000))
        model = library.open_model(name)
        tally = Tally()
        for sound, spans in sounds:
            tally.add(spans, library.events(model, settings, sound), len(sound[2]) / (2 * sound[0] * sound[1]), settings.min_silence)
        row = tally.row()
        if noises:
            false = sum(end - time for noise in noises for kind, time, _, end in library.events(model, settings, noise) if kind == END)
            row.append(f"{3600 * false / sum(len(noise[2]) / (2 * noise[0] * noise[1]) for noise in noises):.0f}")
        print(f"| {profile} | {name.decode()} | " + " | ".join(row) + " |", flush=True)
        library.calls.wvad_model_close(c.byref(model))


if __name__ == "__main__":
    main()
