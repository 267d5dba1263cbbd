# SPDX-License-Identifier: Apache-2.0
"""Recordings in whatever container as blocks of samples, by the decoders of the program `wvad` (tools/audio_reader/audio_reader.h).

What they read: WAV, FLAC, MP3, Ogg and what else libsndfile takes; with FFmpeg's libraries on the machine also M4A, MP4, WebM, AMR and the
sound of films.
"""
from __future__ import annotations

import contextlib
import ctypes
import errno
import io
import os
import re
import stat
import threading
import weakref
from ctypes import POINTER, c_char_p, c_float, c_int32, c_int64, c_size_t, c_uint64, c_void_p
from typing import Any, BinaryIO, Generator, Iterator, NoReturn, Optional, Tuple, Union

import numpy as np

from . import _library, errors
from ._numbers import hertz, whole
from ._types import Array

_NOT_HERE = "there are no decoders in this installation ({}); decode the recording otherwise and give the samples: wvad.segment(array, rate)"

#: What to do with samples that no container names: no decoder takes them.
BARE_SAMPLES = "bare samples are given as an array with their rate (wvad.segment(numpy.frombuffer(data, \"int16\"), rate=16000))"
_CURE_OF_PROGRAM = re.compile(r"samples without a container need --raw$")  # an option that a call does not have

AudioLike = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, BinaryIO]


class _Request(ctypes.Structure):
    _fields_ = [("user", c_void_p), ("offset", c_uint64), ("out", c_void_p), ("count", c_size_t), ("got", c_int64)]


_READ_AT = ctypes.CFUNCTYPE(None, POINTER(_Request))


class _Bytes(ctypes.Structure):
    _fields_ = [("read_at", _READ_AT), ("user", c_void_p), ("length", c_int64)]


class _Info(ctypes.Structure):
    _fields_ = [("rate_hz", c_int32), ("channels", c_int32), ("frames", c_int64)]


_PROTOTYPES = {
    "wvad_audio_version": (c_char_p, []),
    "wvad_audio_last_error": (c_char_p, []),
    "wvad_audio_open": (c_int32, [c_char_p, POINTER(_Bytes), c_int32, c_int32, POINTER(c_void_p)]),
    "wvad_audio_get_info": (None, [c_void_p, POINTER(_Info)]),
    "wvad_audio_read": (c_int64, [c_void_p, POINTER(c_float), c_size_t]),
    "wvad_audio_damage": (c_char_p, [c_void_p]),
    "wvad_audio_note": (c_char_p, [c_void_p]),
    "wvad_audio_close": (None, [POINTER(c_void_p)]),
}
_NO_FILE = 3
_OF_CODE = {4: errors.AudioError, 5: errors.ArgumentError, 8: errors.AudioFileError}

_loading = threading.Lock()
_loaded: Optional[ctypes.CDLL] = None


def _decoders() -> ctypes.CDLL:
    """The decoders, loaded when a recording needs them first: arrays are served without."""
    global _loaded
    with _loading:
        if _loaded is None:
            try:
                found = _library.declare(ctypes.CDLL(os.fspath(_library.NATIVE / "lib" / "libwvad-audio.so")), _PROTOTYPES)
            except (OSError, AttributeError) as reason:
                if type(reason) not in (OSError, AttributeError):  # a TimeoutError of a signal's handler, for one
                    raise
                raise errors.UnavailableError(_NOT_HERE.format(reason)) from None
            if _library.text(found.wvad_audio_version()) != _library.version():
                raise errors.UnavailableError(_NOT_HERE.format("libwvad-audio.so is of another version"))
            _loaded = found
        return _loaded


class _CallerFile:
    """A file object as the decoders ask for it. What it raises is kept until the decoder has returned: nothing may pass through C."""

    def __init__(self, file: BinaryIO, name: str) -> None:
        self._file = file
        self._name = name
        self.failure: Optional[BaseException] = None
        seekable = getattr(file, "seekable", None)
        self._base = 0
        length = -1
        if seekable is not None and seekable():
            self._base = file.tell()
            file.seek(0, io.SEEK_END)
            length = file.tell() - self._base
            file.seek(self._base)
        self._seekable = length >= 0
        self._length = max(length, -1)

    def record(self) -> _Bytes:
        """For the decoders; has to be held as long as they may call. This object does not hold it: a ring of the two would keep the file open."""
        serving = self._serve()
        next(serving)
        return _Bytes(_READ_AT(serving.send), None, self._length)

    def _serve(self) -> Generator[None, Any, None]:
        """Answers one request after the other. A generator is within its `try` from the moment on that it is called: what a signal's handler
        raises there would be lost at the entry of a function."""
        while True:
            try:
                while True:
                    self._answer((yield).contents)
            except GeneratorExit:
                raise
            except BaseException as failure:  # an interrupt too
                self.failure = failure

    def _answer(self, request: _Request) -> None:
        if self.failure is not None:
            return
        data = self._read(request.offset, request.count)
        if len(data) > request.count:
            raise errors.AudioFileError(f"{self._name}: its read({request.count}) gave {len(data)} bytes")
        ctypes.memmove(request.out, data, len(data))
        request.got = len(data)

    def _read(self, offset: int, count: int) -> bytes:
        if self._seekable:
            self._file.seek(self._base + offset)
        read_some = None if self._seekable else getattr(self._file, "read1", None)  # does not wait for all of `count`
        data = (read_some or self._file.read)(count)
        if isinstance(data, str):
            raise TypeError(f"{self._name}: a file that was opened as text; open it with \"rb\"")
        if data is None:
            raise BlockingIOError(f"{self._name}: does not wait for its data; make it blocking")
        try:
            view: Optional[memoryview] = memoryview(data)
        except TypeError:
            view = None
        if view is None or view.ndim != 1 or view.itemsize != 1:
            raise TypeError(f"{self._name}: its read() gives {type(data).__name__}, not bytes; where these are samples, give them with their rate: "
                            f"wvad.segment(file.read(dtype=\"int16\"), file.samplerate)")
        return view.tobytes()


def _pass_on(reason: OSError) -> None:
    """Raises what a signal's handler has raised while the system was asked: TimeoutError is an OSError too, but the system's name the file."""
    if reason.filename is None:
        raise reason


def _refusal(path: Optional[str]) -> int:
    """Why the system does not give a file out (errno); 0 where it does, or where there is none."""
    if path is None:
        return 0
    try:
        os.close(os.open(path, os.O_RDONLY | os.O_NONBLOCK | os.O_CLOEXEC))
        return errno.EISDIR if os.path.isdir(path) else 0
    except OSError as reason:
        _pass_on(reason)
        return reason.errno or 0


def _close(decoders: ctypes.CDLL, handle: c_void_p, _held: Any, own: Optional[BinaryIO]) -> None:
    decoders.wvad_audio_close(ctypes.byref(handle))
    if own is not None:
        own.close()


class AudioFile:
    """A recording that is decoded as it is read.

    Args:
        source: a path, the bytes of a whole recording, or an object with `read` that was opened for bytes; what is read from it and cannot
            be read again (a pipe, a connection) is kept only as far as its container asks for.
        track: of several sound tracks, from 1; 0 for the default one. Asks for FFmpeg's libraries from the second on.
        rate: in Hz, to which it is resampled; None for its own.

    Attributes:
        name: for messages.
        rate: in Hz.
        channels: of the recording.
        frames: length in samples of each channel; None where the recording does not say, and where it is resampled.
        damage: behind the end: what was wrong with it, in words; "" if it was whole.
        note: behind the end: what else should be known of it.

    Raises AudioFileError (missing, a folder, no right to read), AudioError (no audio), ArgumentError (no such track, a rate that cannot be
    served), UnavailableError (no decoders), and what a file object raises. One thread at a time may use it; another one's call is refused with
    StateError.
    """

    def __init__(self, source: AudioLike, track: int = 0, rate: Optional[int] = None) -> None:
        number = whole("track", track)
        if number < 0:
            raise errors.ArgumentError(f"track: there is no sound track {number}; they count from 1, and 0 is the default one", "WVAD_E_FORMAT")
        hz = 0 if rate is None else hertz("rate", rate)
        if rate is not None and hz < 1:
            raise errors.ArgumentError(f"rate: unsupported sample rate {rate!r} Hz", "WVAD_E_FORMAT")
        self.damage = ""
        self.note = ""
        self._handle = c_void_p()
        self._lock = threading.Lock()
        self._decoders = _decoders()
        self._own: Optional[BinaryIO] = None
        self._file: Optional[_CallerFile] = None
        self._record: Optional[_Bytes] = None
        self._path: Optional[str] = None
        self.name: str
        name = self._take(source)
        if b"\0" in name:
            raise errors.AudioFileError(f"{self.name!r}: holds a zero character, which no path does")
        try:
            self._check(self._decoders.wvad_audio_open(name, self._way_back(), number, hz, ctypes.byref(self._handle)))
        except BaseException:
            self._close_own()
            raise
        self._finalizer = weakref.finalize(self, _close, self._decoders, self._handle, self._record, self._own)
        info = _Info()
        self._decoders.wvad_audio_get_info(self._handle, ctypes.byref(info))
        self.rate: int = info.rate_hz
        self.channels: int = info.channels
        self.frames: Optional[int] = info.frames if info.frames >= 0 else None

    def _take(self, source: AudioLike) -> bytes:
        """Sets `name` and where the bytes come from; gives the name as the decoders take it."""
        if isinstance(source, (bytes, bytearray, memoryview)):
            self.name = "<bytes>"
            self._file = _CallerFile(io.BytesIO(source), self.name)
        elif not isinstance(source, (str, os.PathLike)) and callable(getattr(source, "read", None)):
            named = getattr(source, "name", None)
            self.name = named if isinstance(named, str) and named != "-" else f"<{type(source).__name__}>"
            self._file = _CallerFile(source, self.name)
        elif isinstance(source, (str, os.PathLike)):
            path = os.fsencode(source)
            self.name = path.decode("utf-8", "backslashreplace")
            if re.match(rb"[A-Za-z0-9+.-]+://", path) and not os.path.exists(path):
                raise errors.AudioFileError(f"{self.name}: is an address; give what urllib.request.urlopen opens, or a file")
            self._path = os.fsdecode(path)
            self._open_special(path)
            # To the decoders "-" is standard input, and what holds "://" an address.
            return path if os.path.isabs(path) else b"./" + path if path == b"-" or b"://" in path else path
        else:
            raise TypeError(f"expected a path, bytes or a file that was opened for bytes, got {type(source).__name__}")
        return self.name.encode("utf-8", "backslashreplace")

    def _way_back(self) -> Any:
        """Where the decoders ask for bytes; None where they open a path themselves."""
        if self._file is None:
            return None
        self._record = self._file.record()
        return ctypes.byref(self._record)

    def _open_special(self, path: bytes) -> None:
        """A pipe or a device is read from here, where an interrupt ends the waiting."""
        if b"\0" in path:
            return  # the decoders have words for it
        try:
            mode = os.stat(path).st_mode
        except OSError as reason:
            _pass_on(reason)
            return  # and for this
        if stat.S_ISREG(mode) or stat.S_ISDIR(mode):
            return
        try:
            self._own = open(path, "rb", buffering=0)
        except OSError as reason:
            _pass_on(reason)
            raise errors.of_file(f"{self.name}: cannot be opened: {reason.strerror}", reason.errno or 0, os.fsdecode(path)) from None
        self._file = _CallerFile(self._own, self.name)

    def _check(self, code: int) -> int:
        """Raises for a failure: first what a file object has raised. Codes of wvad_audio_read are negative."""
        if self._file is not None and self._file.failure is not None:
            failure, self._file.failure = self._file.failure, OSError(f"{self.name}: broke off before")
            try:
                raise failure
            finally:
                del failure  # which holds this frame, and with it the file
        if code < 0 or code > 0 and not self._handle:
            words = _CURE_OF_PROGRAM.sub(lambda _: BARE_SAMPLES, _library.text(self._decoders.wvad_audio_last_error()))
            if abs(code) == _NO_FILE:
                raise errors.of_file(words, _refusal(self._path), self._path)
            raise _OF_CODE.get(abs(code), errors.Error)(words)
        return code

    def read(self, frames: int) -> Array:
        """The next `frames` frames as float32 [frames, channels], full scale 1.0; fewer only at the end, none behind it. Samples that are no
        numbers are 0, and `note` tells of them."""
        with self._in_use():
            if not self._handle:
                raise errors.StateError(f"{self.name}: is closed")
            block = np.empty((frames, self.channels), np.float32)
            got = self._check(self._decoders.wvad_audio_read(self._handle, block.ctypes.data_as(POINTER(c_float)), frames))
            if got < frames:
                self.damage = _library.text(self._decoders.wvad_audio_damage(self._handle))
                self.note = _library.text(self._decoders.wvad_audio_note(self._handle))
                self._check(0)
            return block[:got]

    @contextlib.contextmanager
    def _in_use(self) -> Iterator[None]:
        """Refuses the call where another thread, or the file object that is read from, is in one."""
        if not self._lock.acquire(blocking=False):
            raise errors.StateError(f"{self.name}: is in a call already, on another thread", "WVAD_E_BUSY")
        try:
            yield
        finally:
            self._lock.release()

    def blocks(self, seconds: float = 0.5) -> Iterator[Array]:
        """The rest of the recording, so many seconds at a time. Raises ArgumentError for what is shorter than a sample."""
        frames = int(self.rate * seconds)
        if frames < 1:
            raise errors.ArgumentError(f"seconds: {seconds!r} holds no sample", "WVAD_E_RANGE")
        while True:
            block = self.read(frames)
            if len(block):
                yield block
            if len(block) < frames:
                return

    def close(self) -> None:
        """Frees the decoder. A file object that was given stays open. A second call does nothing."""
        with self._in_use():
            if self._handle:
                self._finalizer()
                self._handle = c_void_p()
            self._close_own()

    def _close_own(self) -> None:
        if self._own is not None:
            self._own.close()
            self._own = None

    def __repr__(self) -> str:
        length = "" if self.frames is None else f", {self.frames / self.rate:.2f} s"
        return (f"<wvad.AudioFile {self.name}: {self.rate} Hz, {self.channels} channel{'' if self.channels == 1 else 's'}{length}"
                f"{'' if self._handle else ', closed'}>")

    def __reduce__(self) -> NoReturn:
        raise TypeError("an AudioFile cannot be pickled: its decoder lives in this process; open the recording again, or pickle its samples")

    def __enter__(self) -> "AudioFile":
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()


def read(source: AudioLike, track: int = 0, rate: Optional[int] = None) -> Tuple[Array, int]:
    """A whole recording, resampled to `rate` where that is given: float32 [frames, channels], full scale 1.0, and its rate in Hz. Raises as
    AudioFile."""
    with AudioFile(source, track, rate) as file:
        blocks = list(file.blocks())
        return (np.concatenate(blocks) if blocks else np.empty((0, file.channels), np.float32)), file.rate
