# SPDX-License-Identifier: Apache-2.0
"""A stream: audio that comes piece by piece, for ever, and what it holds as events."""
from __future__ import annotations

import ctypes
import threading
import weakref
from dataclasses import dataclass
from typing import Any, Callable, Dict, Iterator, List, NoReturn, Optional, Tuple

import numpy as np
from numpy.typing import DTypeLike

from . import _audit, _library, _samples, _told, errors, settings
from ._types import Array, Channel
from ._numbers import flag, hertz, whole
from .events import Event, EventKind, event_of
from .model import Model, ModelLike, choose

_PIECE_S = 1  # an interrupt waits no longer than such a piece of audio takes
_MOST_EVENTS = 2**32 - 1


@dataclass(frozen=True)
class StreamInfo:
    """How a stream stands: frames of the input that were taken, and of these handed to the detector; sentences begun so far; renewals of
    the session inside, in which nothing is lost; whether a sentence is open and the stream finished; whether mixing the channels takes the
    sound away, since they carry it in opposite phase, and what it does to the power in dB."""

    samples: int
    heard: int
    sentences: int
    renewals: int
    in_sentence: bool
    finished: bool
    cancels: bool
    mix_loss_db: float


def channel_number(channel: Channel, channels: int, words: str = '"mix"') -> int:
    """0 for "mix", or a number from 1. Raises ArgumentError for a channel that the audio does not have."""
    if channel == "mix":
        return 0
    if not isinstance(channel, str):
        number = whole("channel", channel)
        if 1 <= number <= channels:
            return number
    raise errors.ArgumentError(f"channel: {channel!r} is neither {words} nor a number from 1 to {channels}", "WVAD_E_FORMAT")


def _close(handle: ctypes.c_void_p) -> None:
    _library.lib.wvad_stream_close(ctypes.byref(handle))


class Stream:
    """Listens to audio of one rate and form in pieces of any length; their lengths do not change the result by a bit.

    Args:
        rate: of the audio in Hz, 4000 to 192000.
        channels: of the audio, 1 to 65535.
        dtype: type of the samples, "int16", "int32" or "float32" (or NumPy's of that name); None for that of the first piece that is taken (float64 becomes float32).
        channel: that is listened to, from 1, or "mix" for the mean of all.
        profile: "default", "fast", "dictation", "meeting" or "telephone".
        model: a Model, a name, a path or bytes; None for the bundled one that suits profile and rate.
        probability: tell an event for each 10 ms.
        audio, features: keep those of each sentence.
        settings: single settings by name, as `min_silence=0.3`; `wvad.describe()` lists them.

    Raises ArgumentError, ModelError, TypeError. One thread at a time may use a stream; another one's call is refused with StateError.
    A `with` block closes the stream; the last sentence comes with `finish()`.
    """

    def __init__(self, rate: int = 16000, channels: int = 1, *, dtype: DTypeLike = None, channel: Channel = "mix",
                 profile: str = "default", model: ModelLike = None, probability: bool = False, audio: bool = False,
                 features: bool = False, **settings_by_name: float) -> None:
        self.rate = hertz("rate", rate)
        self.channels = whole("channels", channels)
        self.dtype = None if dtype is None else _samples.form_name(dtype)
        self._settings = settings.make(profile, settings_by_name)
        self.model: Model = choose(model, profile, self.rate)
        self._options = _library.StreamOptions()
        _library.check(_library.lib.wvad_stream_options_init(ctypes.byref(self._options), ctypes.sizeof(self._options)))
        self._options.rate_hz = self.rate
        self._options.channels = self.channels
        self._options.want = flag("probability", probability) | 2 * flag("audio", audio) | 4 * flag("features", features)
        self._options.queue_limit = _MOST_EVENTS
        self._lock = threading.Lock()
        self._waiting: List[Event] = []
        self._probabilities: Optional[List[Tuple[int, float]]] = None  # a list takes them (frame, value) in place of events: a third of the time
        self._scale_told = False
        self._record = _library.EventRecord()
        self._handle = ctypes.c_void_p()
        self._finalizer: Callable[[], Any] = lambda: None
        self.channel = channel_number(channel, self.channels) if self.channels > 0 else 0
        self._options.channel = self.channel
        self._open(self.dtype or "int16")

    def _open(self, dtype: str) -> None:
        """Opens the library's stream for samples of this type, in place of one that has heard nothing yet."""
        self._options.sample_form = _samples.FORMS[dtype]
        handle = ctypes.c_void_p()
        _library.check(_library.lib.wvad_stream_open(self.model._handle, ctypes.byref(self._options), ctypes.byref(self._settings),
                                                     ctypes.byref(handle)))
        self._finalizer()
        self._handle = handle
        self._finalizer = weakref.finalize(self, _close, handle)

    def push(self, samples: Any) -> List[Event]:
        """Takes the next piece and gives the events that became known with it.

        Args:
            samples: array [frames] or [frames, channels], or bytes of bare samples (of `dtype`, int16 if that was left open).

        Raises ArgumentError for another number of channels, a broken frame or a sample that is not a number, TypeError for another type:
        nothing of the piece is taken then, and the stream goes on. Floats that go beyond 1000, so that they can only be integers that were not
        divided by their full scale, are warned of (AudioWarning), once. Raises StateError behind the end. An interrupt (Ctrl-C) may leave a
        long piece taken in part; what was found in that part comes with the next call.
        """
        with self._in_use():
            for piece in self._pieces(samples):
                _library.check(_library.lib.wvad_stream_push(self._handle, piece.ctypes.data, piece.nbytes))
                self.dtype = piece.dtype.name
                self._collect()
            return self._take()

    def finish(self) -> List[Event]:
        """The audio is over: gives the last events, STREAM_END being the very last. A second call is refused with StateError."""
        with self._in_use():
            _library.check(_library.lib.wvad_stream_finish(self._handle))
            self._collect()
            return self._take()

    def reset(self) -> None:
        """Back to the start, finished or not, with the same settings."""
        with self._in_use():
            _library.check(_library.lib.wvad_stream_reset(self._handle))
            self._waiting.clear()

    @property
    def info(self) -> StreamInfo:
        """How the stream stands."""
        with self._in_use():
            found = _library.StreamInfo(size=ctypes.sizeof(_library.StreamInfo))
            _library.check(_library.lib.wvad_stream_get_info(self._handle, ctypes.byref(found)))
        return StreamInfo(found.samples, found.heard, found.sentences, found.renewals, bool(found.in_sentence), bool(found.finished),
                          bool(found.cancels), found.mix_loss_db)

    @property
    def settings(self) -> Dict[str, float]:
        """The values in use by name."""
        return settings.values_of(self._settings)

    @property
    def closed(self) -> bool:
        """Whether close() was called."""
        return not self._handle

    def close(self) -> None:
        """Frees the stream, without further events. A second call does nothing."""
        if not self.closed:
            with self._in_use():
                self._finalizer()
                self._handle = ctypes.c_void_p()

    def __repr__(self) -> str:
        form = f"{self.rate} Hz, {self.channels} channel{'' if self.channels == 1 else 's'}{f', {self.dtype}' if self.dtype else ''}"
        return f"<wvad.Stream of {form}: {self.model.name}{', closed' if self.closed else ''}>"

    def __enter__(self) -> "Stream":
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()

    def __reduce__(self) -> NoReturn:
        raise TypeError("a stream cannot be pickled: what it has heard lives in the library; pickle its results or its model")

    def _in_use(self) -> "_Use":
        return _Use(self)

    def _pieces(self, samples: Any) -> Iterator[Array]:
        """`samples` as the library takes them, a second at a time. All of them are looked at before the first is handed over, so that a
        refusal takes nothing."""
        if _samples.is_bytes(samples):
            samples = _samples.whole_frames(bytes(samples), self.dtype or "int16", self.channels)
        array = _samples.as_array(samples)
        given = 1 if array.ndim == 1 else array.shape[1]
        if given != self.channels:
            raise errors.ArgumentError(f"samples: an array of shape {array.shape} has {given} channels, the stream {self.channels}",
                                       "WVAD_E_FORMAT")
        dtype = _samples.type_of(array)
        if self.dtype is None:
            if self._options.sample_form != _samples.FORMS[dtype]:
                self._open(dtype)
        elif dtype != self.dtype:
            raise TypeError(f"samples: of type {array.dtype}, but this stream takes {self.dtype}")
        if not self._scale_told:
            words = _audit.wrong_scale(array)
            if words:
                self._scale_told = True
                _told.warn(words)
        step = self.rate * _PIECE_S
        if len(array) > step:
            bad = self._bad_frame(array)
            if bad is not None:
                raise errors.ArgumentError(f"frame {bad} of the piece is not a finite number", "WVAD_E_SAMPLES")
        for begin in range(0, len(array), step):
            yield _samples.packed(array[begin:begin + step], dtype)

    def _bad_frame(self, array: Array) -> Optional[int]:
        """The first frame that is not a finite number where it is listened to."""
        if array.dtype.kind != "f":
            return None
        heard = array if array.ndim == 1 or self.channel == 0 else array[:, self.channel - 1]
        for begin in range(0, len(heard), 1 << 20):
            part = _samples.packed(heard[begin:begin + (1 << 20)], "float32")
            bad = np.flatnonzero(~np.isfinite(part.reshape(len(part), -1)).all(axis=1))
            if len(bad):
                return begin + int(bad[0])
        return None

    def _push_behind(self, heard: int, block: Array) -> List[Event]:
        """push() of what comes behind `heard` frames of one source: a sample that is refused is told by its place in that."""
        try:
            return self.push(block)
        except errors.ArgumentError as refusal:
            bad = self._bad_frame(block) if refusal.status == "WVAD_E_SAMPLES" else None
            if bad is None:
                raise
            raise errors.ArgumentError(f"frame {heard + bad} of the samples is not a finite number", refusal.status) from None

    def _collect(self) -> None:
        """Events of the library go behind those that wait."""
        record = self._record
        while True:
            record.size = ctypes.sizeof(record)
            if _library.check(_library.lib.wvad_stream_next_event(self._handle, ctypes.byref(record))) == 0:
                return
            if self._probabilities is not None and record.kind == EventKind.PROBABILITY:
                self._probabilities.append((record.time, record.probability))
                continue
            event = event_of(record, self.rate, self.channel)
            if event is not None:
                self._waiting.append(event)

    def _take(self) -> List[Event]:
        events, self._waiting = self._waiting, []
        return events


class _Use:
    """A stream that is open and that no other thread uses, for the length of a call."""

    def __init__(self, stream: Stream) -> None:
        self._stream = stream

    def __enter__(self) -> None:
        if not self._stream._lock.acquire(blocking=False):
            raise errors.StateError("the stream is in a call already, on another thread", "WVAD_E_BUSY")
        if self._stream.closed:
            self._stream._lock.release()
            raise errors.StateError("the stream is closed", "WVAD_E_STATE")

    def __exit__(self, *exception: Any) -> None:
        self._stream._lock.release()
