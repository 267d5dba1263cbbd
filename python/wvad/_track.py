# SPDX-License-Identifier: Apache-2.0
"""The outline of audio of any length in a bounded number of columns: what a picture of it needs."""
from __future__ import annotations

from typing import List, Tuple

import numpy as np

from ._types import Array

_MOST_COLUMNS = 4096


class Outline:
    """Least and greatest sample, and mean probability, of columns of equal length. When there are too many, two become one: memory stays
    the same however long the audio is.

    Attributes:
        rate: of the audio in Hz.
        column_frames: length of a column in frames of the audio; 10 ms at first.
    """

    def __init__(self, rate: int) -> None:
        self.rate = rate
        self.column_frames = max(1, rate // 100)
        self._low = np.empty(0, np.float32)
        self._high = np.empty(0, np.float32)
        self._rest = np.empty(0, np.float32)  # frames that do not fill a column yet
        self._sums = np.zeros(_MOST_COLUMNS)
        self._counts = np.zeros(_MOST_COLUMNS)

    def add_samples(self, samples: Array) -> None:
        """The next frames: float32 [frames], full scale 1.0."""
        samples = np.concatenate((self._rest, samples))
        whole = len(samples) // self.column_frames * self.column_frames
        columns = samples[:whole].reshape(-1, self.column_frames)
        self._rest = samples[whole:].copy()
        self._low = np.concatenate((self._low, columns.min(axis=1)))
        self._high = np.concatenate((self._high, columns.max(axis=1)))
        while len(self._low) >= _MOST_COLUMNS:
            self._halve()

    def _halve(self) -> None:
        if len(self._low) % 2:  # the odd one fills the first half of a column, with values that give the same outline
            half = np.full(self.column_frames, self._low[-1], np.float32)
            half[-1] = self._high[-1]
            self._rest = np.concatenate((half, self._rest))
            self._low, self._high = self._low[:-1], self._high[:-1]
        self._low = self._low.reshape(-1, 2).min(axis=1)
        self._high = self._high.reshape(-1, 2).max(axis=1)
        self.column_frames *= 2
        for name in ("_sums", "_counts"):
            pairs = getattr(self, name).reshape(-1, 2).sum(axis=1)
            setattr(self, name, np.concatenate((pairs, np.zeros(_MOST_COLUMNS // 2))))

    def add_probabilities(self, values: List[Tuple[int, float]]) -> None:
        """Probabilities with the frame at which their 10 ms begin, all within what was added as samples."""
        if values:
            at, value = np.array(values).T
            columns = np.minimum(at.astype(np.int64) // self.column_frames, _MOST_COLUMNS - 1)
            np.add.at(self._sums, columns, value)
            np.add.at(self._counts, columns, 1)

    def columns(self) -> Tuple[Array, Array, Array]:
        """Least and greatest sample and mean probability (not-a-number where there is none) of each column, the last one begun included."""
        low, high = self._low, self._high
        if len(self._rest):
            low, high = np.append(low, self._rest.min()), np.append(high, self._rest.max())
        with np.errstate(invalid="ignore"):
            return low, high, (self._sums / self._counts)[:len(low)]


def mono(block: Array, channel: int) -> Array:
    """One channel of a block of any type that is taken (0 for the mean of all) as float32 [frames], full scale 1.0."""
    picked = block if block.ndim == 1 else block[:, channel - 1] if channel else block
    scaled: Array = picked.astype(np.float32)
    if block.dtype.kind == "i":
        scaled /= 2.0 ** (8 * block.dtype.itemsize - 1)
    if scaled.ndim == 2:
        scaled = scaled.mean(axis=1, dtype=np.float32)
    return scaled
