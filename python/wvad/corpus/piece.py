# SPDX-License-Identifier: Apache-2.0
"""The samples of a piece of a recording: from one time to another, of some of its channels, from one file or from several side by side."""
from __future__ import annotations

from contextlib import ExitStack
from typing import Any, Iterator, List, Tuple

import numpy as np

from .. import errors
from .._types import Array
from ..audio import AudioFile
from .entry import Entry, Piece

_BLOCK_S = 0.5
_SHORT_S = 0.1  # manifests round their times; what ends sooner than that is told


class PieceReader:
    """Reads the piece that an entry asks for, which has to have one.

    Attributes:
        rate: in Hz.
        channels: of the whole recording.
        heard: the channels (from 1) that blocks() gives, in their order.
        first: frame of the recording at which the piece begins.
        frames: that blocks() has given.
        damage, note: behind the end: what was wrong with the recording, and what else should be known of the piece.

    Raises as AudioFile, and ArgumentError for channels that the recording does not have and for files that are not of one kind.
    """

    def __init__(self, entry: Entry, piece: Piece) -> None:
        self._name = entry.name
        self._piece = piece
        self.damage = ""
        self.note = ""
        self.frames = 0
        with ExitStack() as opened:
            self._files = [opened.enter_context(AudioFile(path)) for path, _ in piece.parts or ((entry.path, ()),)]
            self.rate: int = self._files[0].rate
            self._columns = self._placed(piece.parts)
            self._opened = opened.pop_all()
        self.first = round(piece.begin * self.rate)

    def _placed(self, parts: Tuple[Tuple[str, Tuple[int, ...]], ...]) -> List[int]:
        """Sets `channels` and `heard`; gives the columns of the files side by side that are heard."""
        numbers: List[int] = []
        for file, held in zip(self._files, [held for _, held in parts] or [()]):
            if file.rate != self.rate:
                raise errors.ArgumentError(f"{self._name}: its files have different rates, {self.rate} and {file.rate} Hz")
            if held and len(held) != file.channels:
                raise errors.ArgumentError(f"{file.name}: has {file.channels} channels, and its manifest says {len(held)}")
            numbers += held or range(1, file.channels + 1)
        self.channels = len(numbers)
        self.heard = list(self._piece.channels) or sorted(numbers)
        missing = [one for one in self.heard if one not in numbers]
        if missing:
            raise errors.ArgumentError(f"{self._name}: there is no channel {missing[0] - 1} (counted from 0) in it; it has {self.channels}")
        return [numbers.index(one) for one in self.heard]

    def close(self) -> None:
        """Gives the files back. A second call does nothing."""
        self._opened.close()

    def __enter__(self) -> "PieceReader":
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()

    def blocks(self) -> Iterator[Array]:
        """float32 [frames, heard channels], half a second at a time. Raises ArgumentError where the recording ends before the piece begins, and for a
        piece of less than half a sample."""
        whole = None if self._piece.duration is None else round((self._piece.begin + self._piece.duration) * self.rate) - self.first
        if whole is not None and whole <= 0:
            raise errors.ArgumentError(f"{self._name}: the piece from {self._piece.begin:g} s holds no sample")
        step = max(1, int(self.rate * _BLOCK_S))
        left = self.first
        while left > 0:  # decoded and dropped: that is exact in every container
            got = len(self._read(min(step, left)))
            if got == 0:
                raise self._begins_behind(self.first - left)
            left -= got
        while whole is None or self.frames < whole:
            block = self._read(step if whole is None else min(step, whole - self.frames))
            if len(block) == 0:
                break
            self.frames += len(block)
            yield block[:, self._columns]
        if self.frames == 0:
            raise self._begins_behind(self.first)
        self.damage = next((file.damage for file in self._files if file.damage), "")
        self.note = next((file.note for file in self._files if file.note), "")
        if not self.damage and whole is not None and self.frames < whole - _SHORT_S * self.rate:
            ends = f"the recording ends at {(self.first + self.frames) / self.rate:g} s, before the piece does"
            self.note = "; ".join(filter(None, (self.note, ends)))

    def _begins_behind(self, end: int) -> errors.ArgumentError:
        return errors.ArgumentError(f"{self._name}: the piece begins at {self._piece.begin:g} s, and the recording ends at {end / self.rate:g} s")

    def _read(self, frames: int) -> Array:
        """Up to `frames` frames of all files side by side; a file that has ended is silent until the longest has."""
        blocks = [file.read(frames) for file in self._files]
        longest = max(len(block) for block in blocks)
        filled = [block if len(block) == longest else np.concatenate((block, np.zeros((longest - len(block), block.shape[1]), np.float32)))
                  for block in blocks]
        return filled[0] if len(filled) == 1 else np.hstack(filled)
