# SPDX-License-Identifier: Apache-2.0
"""How a stream decides: profiles, and single settings by name (docs/stream.md has their values)."""
from __future__ import annotations

import ctypes
from dataclasses import dataclass
from typing import Any, Dict, List, Mapping

import numpy as np

from . import _library, errors

#: Names of the profiles, each at the place of its number.
PROFILES = ("default", "fast", "dictation", "meeting", "telephone")


@dataclass(frozen=True)
class SettingInfo:
    """One row of the table of settings: `name`, `unit` ("s", "dB" or ""), smallest and largest value, whether 0 is taken beside them for
    "never", the value in the default profile, and the meaning in one line."""

    name: str
    unit: str
    low: float
    high: float
    zero_is_off: bool
    initial: float
    meaning: str


def describe() -> List[SettingInfo]:
    """All settings that `segment`, `Stream` and `scores` take by name."""
    rows: List[SettingInfo] = []
    info = _library.SettingInfo(size=ctypes.sizeof(_library.SettingInfo))
    while _library.check(_library.lib.wvad_settings_describe(len(rows), ctypes.byref(info))) == 1:
        rows.append(SettingInfo(_library.text(info.name), _library.text(info.unit), info.low, info.high, bool(info.zero_is_off),
                                info.initial, _library.text(info.meaning)))
    return rows


def profile_number(profile: str) -> int:
    """Raises ArgumentError for a name that is no profile."""
    if profile in PROFILES:
        return PROFILES.index(profile)
    raise errors.ArgumentError(f"profile: {profile!r} is none of {', '.join(PROFILES)}", "WVAD_E_PARAMETER")


def profile_model(profile: str, rate: int) -> str:
    """The name of the bundled model that suits `profile` best for audio of `rate` Hz: up to 8000 Hz one that was trained for it."""
    return _library.text(_library.lib.wvad_profile_model(profile_number(profile), rate))


def values_of(settings: Any) -> Dict[str, float]:
    """The nine values of a library's record by name."""
    return {name: getattr(settings, name) for name, _ in _library.Settings._fields_[2:]}


def make(profile: str, given: Mapping[str, float]) -> _library.Settings:
    """The library's record of `profile`, changed by what is `given` by name (None: left as it is).

    Raises ArgumentError for a name that is no setting and for a value out of its range, TypeError for what is no number.
    """
    settings = _library.Settings()
    _library.check(_library.lib.wvad_settings_init(ctypes.byref(settings), ctypes.sizeof(settings), profile_number(profile)))
    names = [name for name, _ in _library.Settings._fields_[2:]]
    for name, value in given.items():
        if name not in names:
            raise errors.ArgumentError(f"{name}: there is no such setting; there are {', '.join(names)}", "WVAD_E_PARAMETER")
        if value is not None:
            setattr(settings, name, _number(name, value))
    _library.check(_library.lib.wvad_settings_check(ctypes.byref(settings)))
    return settings


def _number(name: str, value: Any) -> float:
    if isinstance(value, (str, bytes, bool, np.bool_)):
        raise TypeError(f"{name}: expected a number, got {value!r}")
    try:
        return float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name}: expected a number, got {value!r}") from None
    except OverflowError:  # of a whole number that no float holds
        raise errors.ArgumentError(f"{name}: the number is out of range", "WVAD_E_RANGE") from None
