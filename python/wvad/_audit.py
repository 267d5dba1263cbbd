# SPDX-License-Identifier: Apache-2.0
"""Samples at the wrong scale, which are heard as noise or as silence and are no error. The words are those of the program
(tools/wvad/sample_audit.h)."""
from __future__ import annotations

from ._types import Array

_FAR_BEYOND = 2.0  # 6 dB beyond full scale
_INTEGERS = 1000.0  # no float recording is so loud; one in the range of 16-bit numbers is
_LARGEST = 3.4e38  # what is beyond float32 is no number there, and refused
_OF_16_BITS = 32768
_SCALE = "full scale is 1.0; samples that go up to 32768 have to be divided by that first"


def wrong_scale(piece: Array) -> str:
    """What a stream warns of: floats that can only be integers; "" for nothing."""
    if piece.dtype.kind != "f" or piece.size == 0:
        return ""
    peak = max(float(piece.max()), -float(piece.min()))
    return f"samples go up to {peak:.0f}; {_SCALE}" if _INTEGERS < peak < _LARGEST else ""


class Audit:
    """Looks at samples on their way, and says behind them what should be known."""

    def __init__(self) -> None:
        self._samples = 0
        self._beyond = 0
        self._peak = 0.0
        self._wide = True  # int32 alone came

    def hear(self, block: Array) -> None:
        """The next samples, of any type that is taken."""
        if block.size == 0:
            return
        self._wide = self._wide and block.dtype.kind == "i" and block.dtype.itemsize == 4
        self._peak = max(self._peak, float(block.max()), -float(block.min()))
        self._samples += block.size
        if block.dtype.kind == "f" and self._peak > _FAR_BEYOND:
            self._beyond += int(((block > _FAR_BEYOND) | (block < -_FAR_BEYOND)).sum())

    def note(self) -> str:
        """Tells where one float in a thousand or more lies 6 dB beyond full scale, and of int32 that never leaves the range of 16 bits."""
        if self._beyond > 0 and self._beyond >= self._samples // 1000:
            percent = 100 * self._beyond / self._samples
            share = "less than 0.1 %" if percent < 0.1 else f"{percent:.1f} %"
            return f"{share} of the samples lie more than 6 dB beyond full scale and were clipped" + (f" ({_SCALE})" if self._peak > _INTEGERS else "")
        if self._wide and _INTEGERS < self._peak <= _OF_16_BITS:
            return f"the int32 samples go up to {self._peak:.0f}, and full scale is 2147483648; where they are of 16 bits, give them as int16"
        return ""
