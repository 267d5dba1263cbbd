# SPDX-License-Identifier: Apache-2.0
"""Whole numbers, and what is true or false, as callers give them."""
from __future__ import annotations

import operator
from typing import Any

import numpy as np

from . import errors


def whole(what: str, value: Any) -> int:
    """A whole number; raises TypeError for anything else, True and False included, and ArgumentError beyond 31 bits."""
    try:
        if isinstance(value, (bool, np.bool_)):
            raise TypeError
        number = operator.index(value)
    except TypeError:
        raise TypeError(f"{what}: expected a whole number, got {value!r}") from None
    if abs(number) >= 2**31:
        raise errors.ArgumentError(f"{what}: {number} is out of range", "WVAD_E_FORMAT")
    return number


def hertz(what: str, value: Any) -> int:
    """A rate, which other packages hand out as a float: 44100.0 is taken, 44100.5 is no whole number."""
    is_integer = getattr(value, "is_integer", None)  # of float and NumPy's
    return whole(what, int(value) if callable(is_integer) and not isinstance(value, (bool, np.bool_)) and is_integer() else value)


def flag(what: str, value: Any) -> bool:
    """True or False, NumPy's too. Raises TypeError for anything else: a text such as "no" would count as true."""
    if not isinstance(value, (bool, np.bool_)):
        raise TypeError(f"{what}: expected True or False, got {value!r}")
    return bool(value)
