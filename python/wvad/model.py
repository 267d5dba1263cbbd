# SPDX-License-Identifier: Apache-2.0
"""Models: opened once, shared by any number of streams on any threads."""
from __future__ import annotations

import ctypes
import os
import threading
import weakref
from pathlib import Path
from typing import Any, Dict, List, Union

from . import _library, errors, settings

ModelLike = Union["Model", str, "os.PathLike[str]", bytes, None]


def bundled_models() -> List[str]:
    """Names of the models that came with the package."""
    return sorted(path.stem for path in (_library.NATIVE / "lib" / "vad").glob("*.bin"))


def _close(handle: ctypes.c_void_p) -> None:
    _library.lib.wvad_model_close(ctypes.byref(handle))


class Model:
    """A model, read only. Given back when nothing uses it any more; there is nothing to close.

    Args:
        source: the name of a bundled model ("lstm_fb75", the default; "lstm_fb40", "dnn_fb75"; for audio of 8 kHz "lstm_fb75_8k",
            "lstm_fb40_8k"), the path of a model file (a text with a separator or ending in ".bin", or a Path), or the bytes of one.

    Attributes:
        rate: in Hz, that it listens at; audio of other rates is resampled to it.
        kind: "dnn_fb75", "lstm_fb75" or "lstm_fb40".

    Raises ModelError for one that is missing, damaged or of another kind, ArgumentError for a name that could be none.
    A model can be pickled: by its name, its path, or its bytes.
    """

    def __init__(self, source: Union[str, "os.PathLike[str]", bytes, bytearray, memoryview] = "lstm_fb75") -> None:
        handle = ctypes.c_void_p()
        place = ctypes.byref(handle)
        if isinstance(source, (bytes, bytearray, memoryview)):
            self._source: Union[str, Path, bytes] = bytes(source)
            status = _library.lib.wvad_model_open_memory(self._source, len(self._source), place)
        elif source == "":  # the library's default, which nobody has asked for here
            raise errors.ArgumentError("model: the name is empty", "WVAD_E_PARAMETER")
        elif isinstance(source, str) and os.sep not in source and not source.endswith(".bin"):
            self._source = source
            status = _library.lib.wvad_model_open_bundled(_name(source), place)
        elif isinstance(source, (str, os.PathLike)):
            self._source = Path(source)
            status = _library.lib.wvad_model_open(_name(os.fsencode(source)), place)
        else:
            raise TypeError(f"model: expected a name, a path or bytes, got {type(source).__name__}")
        _library.check(status)
        self._handle = handle
        weakref.finalize(self, _close, handle)
        info = _library.ModelInfo(size=ctypes.sizeof(_library.ModelInfo))
        _library.check(_library.lib.wvad_model_get_info(handle, ctypes.byref(info)))
        self.rate: int = info.rate_hz
        self.kind: str = _library.text(info.kind)

    @property
    def name(self) -> str:
        """What the model goes by: its bundled name, its file's name, or "model in memory"."""
        if isinstance(self._source, bytes):
            return "model in memory"
        return self._source if isinstance(self._source, str) else self._source.name

    def __repr__(self) -> str:
        return f"<wvad.Model {self.name}: {self.kind}, {self.rate} Hz>"

    def __reduce__(self) -> Any:
        return Model, (self._source,)


def _name(name: Union[str, bytes]) -> bytes:
    """As the library takes it; a zero byte would end it early."""
    encoded = name.encode("utf-8", "surrogateescape") if isinstance(name, str) else name
    if b"\0" in encoded:
        raise errors.ArgumentError(f"model: {name!r} holds a zero character, which no name does", "WVAD_E_PARAMETER")
    return encoded


_opened: Dict[str, Model] = {}
_opening = threading.Lock()


def choose(model: ModelLike, profile: str, rate: int) -> Model:
    """The model to listen with: `model` itself, opened by name, path or bytes, or for None the bundled one that suits `profile` and `rate`.
    Bundled ones are opened once for the process."""
    if isinstance(model, Model):
        return model
    if model is not None and not isinstance(model, str):
        return Model(model)
    name = settings.profile_model(profile, rate) if model is None else model
    with _opening:
        found = _opened.get(name) or Model(name)
        if isinstance(found._source, str):
            _opened[name] = found
        return found
