# SPDX-License-Identifier: Apache-2.0
"""libwvad-stream as ctypes sees it: where it lies, its structs and functions, and refusals as exceptions.

The structs repeat include/wvad_stream.h field by field; `size` says to the library what this file knows, so that a later one still fits.
ctypes lets other Python threads run while a function works.
"""
from __future__ import annotations

import ctypes
import os
from ctypes import POINTER, c_char_p, c_double, c_float, c_int16, c_int32, c_int64, c_size_t, c_uint32, c_uint64, c_void_p
from pathlib import Path
from typing import Any

from . import errors

NATIVE = Path(__file__).resolve().parent / "_native"
SONAME = "libwvad-stream.so.1"  # its number is WVAD_STREAM_ABI


class ModelInfo(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("rate_hz", c_int32), ("kind", c_char_p)]


class Settings(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("profile", c_int32)] + [(name, c_double) for name in (
        "threshold", "min_speech", "min_silence", "pad_before", "pad_after", "max_sentence", "energy_floor_db", "turn_silence",
        "still_every")]


class SettingInfo(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("name", c_char_p), ("unit", c_char_p), ("low", c_double), ("high", c_double),
                ("zero_is_off", c_int32), ("initial", c_double), ("engine_name", c_char_p), ("meaning", c_char_p)]


class EventRecord(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("kind", c_int32), ("time", c_int64), ("known_at", c_int64), ("sentence", c_int64),
                ("begin", c_int64), ("end", c_int64), ("flags", c_uint32), ("probability", c_float), ("level_db", c_double),
                ("snr_db", c_double), ("clipped", c_double), ("audio", POINTER(c_int16)), ("n_audio", c_size_t),
                ("features", POINTER(c_float)), ("n_features", c_size_t)]


class StreamOptions(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("rate_hz", c_int32), ("channels", c_int32), ("sample_form", c_int32), ("channel", c_int32),
                ("want", c_uint32), ("on_event", c_void_p), ("user", c_void_p), ("queue_limit", c_uint32)]


class StreamInfo(ctypes.Structure):
    _fields_ = [("size", c_uint32), ("samples", c_int64), ("heard", c_int64), ("sentences", c_int64), ("renewals", c_int64),
                ("queued", c_uint64), ("in_sentence", c_int32), ("finished", c_int32), ("cancels", c_int32), ("mix_loss_db", c_double)]


_PROTOTYPES = {
    "wvad_last_error": (c_char_p, []),
    "wvad_status_name": (c_char_p, [c_int32]),
    "wvad_stream_version": (c_char_p, []),
    "wvad_model_open": (c_int32, [c_char_p, POINTER(c_void_p)]),
    "wvad_model_open_memory": (c_int32, [c_char_p, c_size_t, POINTER(c_void_p)]),
    "wvad_model_open_bundled": (c_int32, [c_char_p, POINTER(c_void_p)]),
    "wvad_model_get_info": (c_int32, [c_void_p, POINTER(ModelInfo)]),
    "wvad_model_close": (c_int32, [POINTER(c_void_p)]),
    "wvad_profile_model": (c_char_p, [c_int32, c_int32]),
    "wvad_settings_init": (c_int32, [POINTER(Settings), c_size_t, c_int32]),
    "wvad_settings_parse": (c_int32, [POINTER(Settings), c_char_p]),
    "wvad_settings_check": (c_int32, [POINTER(Settings)]),
    "wvad_settings_describe": (c_int32, [c_size_t, POINTER(SettingInfo)]),
    "wvad_stream_options_init": (c_int32, [POINTER(StreamOptions), c_size_t]),
    "wvad_stream_open": (c_int32, [c_void_p, POINTER(StreamOptions), POINTER(Settings), POINTER(c_void_p)]),
    "wvad_stream_push": (c_int32, [c_void_p, c_void_p, c_size_t]),
    "wvad_stream_finish": (c_int32, [c_void_p]),
    "wvad_stream_reset": (c_int32, [c_void_p]),
    "wvad_stream_next_event": (c_int32, [c_void_p, POINTER(EventRecord)]),
    "wvad_stream_get_info": (c_int32, [c_void_p, POINTER(StreamInfo)]),
    "wvad_stream_close": (c_int32, [POINTER(c_void_p)]),
}


def declare(library: ctypes.CDLL, prototypes: Any) -> ctypes.CDLL:
    """Tells ctypes what the functions take and give: {name: (result, arguments)}."""
    for name, (result, arguments) in prototypes.items():
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


def _load() -> ctypes.CDLL:
    """The library of this package, or where the package is installed without one, that of the system."""
    bundled = NATIVE / "lib" / SONAME
    try:
        return declare(ctypes.CDLL(os.fspath(bundled) if bundled.exists() else SONAME), _PROTOTYPES)
    except (OSError, AttributeError) as reason:
        raise errors.UnavailableError(f"libwvad-stream cannot be loaded: {reason}") from None


lib = _load()


def text(value: bytes) -> str:
    """Words of the library, in which a file's name may be no UTF-8."""
    return value.decode("utf-8", "backslashreplace")


def check(status: int) -> int:
    """Raises the exception for a refusal; gives what was no refusal back."""
    if status < 0:
        raise errors.of_status(text(lib.wvad_status_name(status)), text(lib.wvad_last_error()))
    return status


def version() -> str:
    """The library's version, such as "0.1.0"."""
    return text(lib.wvad_stream_version())
