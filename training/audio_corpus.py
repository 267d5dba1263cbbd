# SPDX-License-Identifier: Apache-2.0
"""Reads a corpus: the list of its recordings, their speech labels, their samples.

A corpus is a folder with manifest.csv (one row a file; docs/training.md lists the columns that are read), label files with the columns
start_s,end_s, and 16 kHz mono audio in any format that libsndfile reads. Samples are decoded by libsndfile itself, through ctypes, so that
training hears exactly what the other programs of this project hear. Decoded audio is kept as raw 16-bit files in a cache folder.

Where a corpus has them, better labels stand beside: posterior/PATH.i8 (ten times the log-odds of speech, one signed byte a hop, -128 between
joined clips), labels_joined/NAME.csv (the hard form), doubtful.csv (where two ways of labelling differ) and hidden_speech.csv (voices in files of
noise).
"""

import csv
import ctypes
import ctypes.util
import os
import re
from dataclasses import dataclass, field

import numpy as np

SAMPLE_RATE = 16000
HOP = 160  # samples per 10 ms frame


class _SfInfo(ctypes.Structure):
    _fields_ = [
        ("frames", ctypes.c_int64),
        ("samplerate", ctypes.c_int),
        ("channels", ctypes.c_int),
        ("format", ctypes.c_int),
        ("sections", ctypes.c_int),
        ("seekable", ctypes.c_int),
    ]


def _load_sndfile():
    lib = ctypes.CDLL(ctypes.util.find_library("sndfile") or "libsndfile.so.1")
    lib.sf_open.restype = ctypes.c_void_p
    lib.sf_open.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.POINTER(_SfInfo)]
    lib.sf_readf_short.restype = ctypes.c_int64
    lib.sf_readf_short.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
    lib.sf_close.argtypes = [ctypes.c_void_p]
    lib.sf_strerror.restype = ctypes.c_char_p
    lib.sf_strerror.argtypes = [ctypes.c_void_p]
    return lib


_sndfile = None


def read_audio(path):
    """The samples of a 16 kHz mono file as int16. Raises ValueError for any other rate or channel count, OSError if unreadable."""
    global _sndfile
    if _sndfile is None:
        _sndfile = _load_sndfile()
    info = _SfInfo()
    handle = _sndfile.sf_open(os.fsencode(path), 0x10, ctypes.byref(info))
    if not handle:
        raise OSError(f"{path}: {_sndfile.sf_strerror(None).decode()}")
    try:
        if info.samplerate != SAMPLE_RATE or info.channels != 1:
            raise ValueError(f"{path}: {info.samplerate} Hz, {info.channels} channels; 16000 Hz mono is needed")
        parts = []
        while True:
            part = np.empty(1 << 16, np.int16)
            got = _sndfile.sf_readf_short(handle, part.ctypes.data, len(part))
            parts.append(part[:got])
            if got < len(part):
                break
        return np.concatenate(parts)
    finally:
        _sndfile.sf_close(handle)


@dataclass
class Recording:
    path: str  # relative to the corpus
    category: str
    subcategory: str
    speaker: str
    split: str
    licence: str
    label: str
    label_quality: str
    seconds: float
    row: dict = field(repr=False, default_factory=dict)
    clips: list = field(default_factory=list)  # (start, end) in samples of the clips that were joined


# What cannot be shared on under the terms of the models. A second licence that can ("... or CC-BY-SA") lets a file in.
EXCLUDED_LICENCES = r"^(GPL|LGPL|MPL|GFDL)(?!.* or CC-BY)"
CERTAIN = 8.0  # log-odds that stand for certainty
NOT_A_CLIP = -128


class Corpus:
    def __init__(self, root, cache, exclude_licence=EXCLUDED_LICENCES):
        self.root = root
        self.cache = cache
        os.makedirs(cache, exist_ok=True)
        self.recordings = []
        self.excluded = []
        with open(os.path.join(root, "manifest.csv"), newline="", encoding="utf-8") as handle:
            for row in csv.DictReader(handle):
                clips = []
                for span in filter(None, (row.get("clips") or "").split(";")):
                    start, end = span.split("-")
                    clips.append((int(float(start) * SAMPLE_RATE), int(float(end) * SAMPLE_RATE)))
                recording = Recording(row["path"], row["category"], row["subcategory"], row["speaker"], row["split"], row["licence"],
                                      row.get("label") or "", row.get("label_quality") or "", float(row["seconds"]), row, clips)
                if exclude_licence and re.search(exclude_licence, recording.licence):
                    self.excluded.append(recording)
                else:
                    self.recordings.append(recording)
        self.doubtful = self._spans_by_path("doubtful.csv", lambda row: True)
        # One of the two detectors takes a baby or a saw for a voice now and then; what both hear is a voice.
        self.hidden_speech = self._spans_by_path("hidden_speech.csv", lambda row: min(float(row["silero"]), float(row["firered"])) >= 0.5)

    def _spans_by_path(self, name, keep):
        spans, path = {}, os.path.join(self.root, name)
        if os.path.exists(path):
            with open(path, newline="", encoding="utf-8") as handle:
                for row in filter(keep, csv.DictReader(handle)):
                    spans.setdefault(row["path"], []).append((int(float(row["start_s"]) * SAMPLE_RATE), int(float(row["end_s"]) * SAMPLE_RATE)))
        return spans

    def select(self, category, split, keep=lambda recording: True):
        return [r for r in self.recordings if r.category == category and r.split == split and keep(r)]

    def samples(self, recording):
        """All samples of a recording, decoded once and then mapped from the cache."""
        cached = os.path.join(self.cache, recording.path.replace("/", "__") + ".s16")
        if not os.path.exists(cached):
            pcm = read_audio(os.path.join(self.root, recording.path))
            temporary = f"{cached}.{os.getpid()}"
            pcm.tofile(temporary)
            os.replace(temporary, cached)
        if os.path.getsize(cached) == 0:
            return np.zeros(0, np.int16)
        return np.memmap(cached, np.int16, "r")

    def speech_spans(self, recording):
        """Labelled speech as a list of (start, end) in samples; the joined labels where there are some."""
        name = os.path.splitext(os.path.basename(recording.path))[0]
        joined = os.path.join(self.root, "labels_joined", name + ".csv")
        return read_label_file(joined if os.path.exists(joined) else os.path.join(self.root, recording.label))

    def has_log_odds(self, recording):
        return os.path.exists(self._posterior_path(recording))

    def _posterior_path(self, recording):
        return os.path.join(self.root, "posterior", os.path.splitext(recording.path)[0] + ".i8")

    def log_odds(self, recording, n_hops):
        """The log-odds of speech of each hop, held within CERTAIN, and whether a clip lies there at all."""
        path = self._posterior_path(recording)
        if not os.path.exists(path):
            hops = mask_to_hops(spans_to_mask(self.speech_spans(recording), n_hops * HOP))
            return np.where(hops == 1, CERTAIN, -CERTAIN), np.ones(n_hops, bool)
        stored = np.full(n_hops, NOT_A_CLIP, np.int8)
        read = np.fromfile(path, np.int8)[:n_hops]
        stored[:len(read)] = read
        return np.clip(stored / 10.0, -CERTAIN, CERTAIN), stored != NOT_A_CLIP

    def trusted(self, recording, n_hops):
        """Where the ways of labelling agree, one bool a hop."""
        return mask_to_hops(spans_to_mask(self.doubtful.get(recording.path, []), n_hops * HOP)) == 0


def read_label_file(path):
    with open(path, newline="", encoding="utf-8") as handle:
        return [(int(round(float(row["start_s"]) * SAMPLE_RATE)), int(round(float(row["end_s"]) * SAMPLE_RATE)))
                for row in csv.DictReader(handle)]


def spans_to_mask(spans, n_samples):
    """One bool a sample."""
    mask = np.zeros(n_samples, bool)
    for start, end in spans:
        mask[max(0, start):max(0, end)] = True
    return mask


def mask_to_hops(mask):
    """One uint8 a whole hop: 1 where at least half of the hop that begins at sample 160 * f is speech."""
    n_hops = len(mask) // HOP
    return (mask[:n_hops * HOP].reshape(n_hops, HOP).mean(axis=1) >= 0.5).astype(np.uint8)
