# SPDX-License-Identifier: Apache-2.0
"""What the tests of the package share: a model and signals whose sentences can be worked out by hand, recordings, and folders.

The model calls every frame speech; the energy floor alone tells speech from silence. For a burst from a to b seconds the default profile
gives the sentence from a - 0.3 (pad_before) to b + 0.2 (pad_after), exact to 10 ms, as tests/stream/signals.h works out.
"""
import os
import tempfile
import unittest
import wave
from pathlib import Path

import numpy as np

MODEL = Path(os.environ["WVAD_TEST_MODEL"])
EXAMPLES = Path(__file__).resolve().parent.parent.parent / "examples/audio"
JFK = EXAMPLES / "jfk.flac"


def bursts(length_s, spans, rate=16000):
    """int16 [frames]: a square wave of amplitude 8000 and 20 ms inside the spans (in seconds), silence elsewhere."""
    signal = np.zeros(round(length_s * rate), np.int16)
    square = np.where(np.arange(len(signal)) // (rate // 100) % 2 == 0, 8000, -8000).astype(np.int16)
    for begin, end in spans:
        inside = slice(round(begin * rate), round(end * rate))
        signal[inside] = square[inside]
    return signal


def times(sentences):
    """[(begin, end)] in seconds, to the millisecond."""
    return [(round(sentence.begin, 3), round(sentence.end, 3)) for sentence in sentences]


def write_wave(path, samples, rate=16000):
    """int16 [frames] or [frames, channels] as a WAV file."""
    with wave.open(os.fspath(path), "wb") as file:
        file.setnchannels(1 if samples.ndim == 1 else samples.shape[1])
        file.setsampwidth(2)
        file.setframerate(rate)
        file.writeframes(samples.astype("<i2").tobytes())


class InFolder(unittest.TestCase):
    """Tests that write files."""

    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)

    def wave(self, name, samples, rate=16000):
        path = self.folder / name
        write_wave(path, samples, rate)
        return path
