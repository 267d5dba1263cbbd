# SPDX-License-Identifier: Apache-2.0
"""Arrays of samples as the library takes them: one of three forms, interleaved, in the machine's byte order.

What is taken: int16 and int32 (full scale is the type's), float32 and float64 (full scale is 1.0), of any byte order and memory layout,
[frames] or [frames, channels]; and whatever NumPy makes such an array of (tensors, lists of floats). Other types are refused: their full
scale would be a guess.
"""
from __future__ import annotations

from typing import Any, Optional

import numpy as np

from . import errors
from ._types import Array

#: Form of the library (WVAD_SAMPLE_...) for each type that is handed over.
FORMS = {"int16": 1, "int32": 3, "float32": 4}
#: What to do about types whose full scale only the caller knows.
_CURES = {
    "int64": " (samples of 16 bits: numpy.asarray(samples, \"int16\"))",
    "uint8": " (samples of 8 bits, silence being 128: (samples.astype(\"int16\") - 128) * 256)",
    "float16": " (samples.astype(\"float32\"))",
}


def as_array(samples: Any, what: str = "samples") -> Array:
    """`samples` as a NumPy array, [frames] or [frames, channels], of a type that is taken; nothing is copied where that can be helped.
    Raises TypeError for a type that is not taken and ArgumentError for other dimensions."""
    if isinstance(samples, (str, dict, set)) or samples is None:
        raise TypeError(f"{what}: expected an array of samples, got {type(samples).__name__}")
    if is_bytes(samples):
        raise TypeError(f"{what}: bytes do not say of which type their samples are; give numpy.frombuffer(data, \"int16\")")
    try:
        array = np.asarray(samples)
    except (TypeError, ValueError, RuntimeError) as reason:
        raise TypeError(f"{what}: {type(samples).__name__} is no array of samples ({reason})") from None
    if target_type(array.dtype) is None:
        raise TypeError(f"{what}: samples of type {array.dtype}; expected int16, int32, float32 or float64{_CURES.get(array.dtype.name, '')}")
    if array.ndim not in (1, 2):
        raise errors.ArgumentError(f"{what}: an array of shape {array.shape}; expected [frames] or [frames, channels]")
    return array


def is_bytes(source: Any) -> bool:
    """Whether it is bytes that say nothing of samples; a buffer of wider items is an array."""
    return isinstance(source, (bytes, bytearray)) or isinstance(source, memoryview) and source.itemsize == 1


def is_typed_buffer(source: Any) -> bool:
    """Whether it is a buffer of wider items than bytes, such as array.array("h")."""
    try:
        return memoryview(source).itemsize > 1
    except TypeError:
        return False


def form_name(dtype: Any) -> str:
    """The name of a type that streams take, given by name or as NumPy's. Raises ArgumentError for another."""
    try:
        found = np.dtype(dtype)
        if found.name in FORMS and found.isnative:
            return found.name
    except TypeError:
        pass
    raise errors.ArgumentError(f"dtype: {dtype!r} is none of {', '.join(FORMS)}", "WVAD_E_FORMAT")


def target_type(dtype: "np.dtype[Any]") -> Optional[str]:
    """Name of the type that samples of `dtype` are handed over in; None for those that are not taken."""
    if dtype.kind == "i" and dtype.itemsize in (2, 4):
        return "int16" if dtype.itemsize == 2 else "int32"
    return "float32" if dtype.kind == "f" and dtype.itemsize in (4, 8) else None


def type_of(array: Array) -> str:
    """target_type of an array that was taken."""
    dtype = target_type(array.dtype)
    assert dtype is not None
    return dtype


def channels_of(array: Array, what: str = "samples") -> int:
    """How many channels an array has that says so itself. Raises ArgumentError where frames and channels seem to be exchanged."""
    if array.ndim == 1:
        return 1
    frames, channels = array.shape
    if channels == 0 or (channels > 8 and channels > frames):
        raise errors.ArgumentError(f"{what}: an array of shape {array.shape} has {channels} channels; expected [frames, channels]"
                                   + (", as its transpose is" if channels else ""))
    return channels


def packed(array: Array, dtype: str) -> Array:
    """`array` as the library takes it: of the type `dtype`, in the machine's order, one sample behind the other. Float64 is rounded to
    float32; where it lies beyond that it becomes infinite, which the library refuses."""
    with np.errstate(over="ignore"):
        return np.ascontiguousarray(array, dtype=np.dtype(dtype))


def whole_frames(data: bytes, dtype: str, channels: int) -> Array:
    """Bare samples as an array [frames, channels]. Raises ArgumentError where they end within a frame."""
    frame = np.dtype(dtype).itemsize * channels
    if len(data) % frame:
        raise errors.ArgumentError(f"samples: {len(data)} bytes are not a multiple of {frame}, the bytes of a frame", "WVAD_E_LENGTH")
    return np.frombuffer(data, dtype=dtype).reshape(-1, channels)
