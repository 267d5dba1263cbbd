# SPDX-License-Identifier: Apache-2.0
"""Sentences in speech: a streaming voice-activity and endpoint detector.

    import wvad

    for sentence in wvad.segment("talk.mp3"):
        print(sentence.begin, sentence.end, sentence.snr)

    with wvad.Stream(rate=48000, channels=2, profile="fast") as stream:
        for event in stream.push(block): ...

    probabilities = wvad.scores(samples, rate)  # one for each 10 ms

`segment` and `scores` take recordings and arrays, `Stream` takes what comes live; `wvad.aio` has them for asyncio, `wvad.compat` look-alikes of
other detectors, `wvad.audio` the decoders alone. Times are seconds, levels dB of full scale. Exceptions are `wvad.Error`.
"""
import importlib as _importlib
import typing as _typing

from . import audio
from ._library import version as _version
from .audio import AudioFile
from .errors import (ArgumentError, AudioError, AudioFileError, AudioWarning, Error, LibraryMemoryError, ModelError, StateError,
                     UnavailableError)
from .events import Event, EventKind, Sentence
from .model import Model, bundled_models
from .segments import Segmentation, scores, segment
from .settings import PROFILES, SettingInfo, describe
from .stream import Stream, StreamInfo

if _typing.TYPE_CHECKING:
    from . import aio, compat
else:
    def __getattr__(name):
        """`wvad.aio` and `wvad.compat`, loaded when they are first asked for: not every process wants asyncio."""
        if name in ("aio", "compat"):
            return _importlib.import_module(f".{name}", __name__)
        raise AttributeError(f"module {__name__!r} has no attribute {name!r}")

    def __dir__():
        return sorted({*globals(), "aio", "compat"})

__version__: str = _version()

__all__ = [
    "ArgumentError", "AudioError", "AudioFile", "AudioFileError", "AudioWarning", "Error", "Event", "EventKind", "LibraryMemoryError",
    "Model", "ModelError", "PROFILES", "Segmentation", "Sentence", "SettingInfo", "StateError", "Stream", "StreamInfo",
    "UnavailableError", "aio", "audio", "bundled_models", "compat", "describe", "scores", "segment",
]
