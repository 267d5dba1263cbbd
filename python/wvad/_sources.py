# SPDX-License-Identifier: Apache-2.0
"""What `segment` and `scores` take, brought to one form: blocks of samples of one rate and number of channels, a piece at a time."""
from __future__ import annotations

import itertools
import os
from typing import Any, Iterable, Iterator, Optional, Union

import numpy as np

from . import _samples, errors
from ._audit import Audit
from ._numbers import hertz, whole
from ._types import Array
from .audio import BARE_SAMPLES, AudioFile


class ArraySource:
    """An array that is there as a whole."""

    damage = ""

    def __init__(self, samples: Any, rate: int) -> None:
        self._audit = Audit()
        self._array = _samples.as_array(samples)
        self.name = f"<{type(samples).__name__}>"
        self.rate = rate
        self.channels = _samples.channels_of(self._array)
        self.dtype = _samples.type_of(self._array)

    def blocks(self) -> Iterator[Array]:
        """Half a second at a time."""
        step = max(1, self.rate // 2)
        for begin in range(0, len(self._array), step):
            block = self._array[begin:begin + step]
            self._audit.hear(block)
            yield block

    @property
    def note(self) -> str:
        """What should be known of the samples, behind their end."""
        return self._audit.note()

    def close(self) -> None:
        """Nothing is held."""


class BlocksSource:
    """Arrays of one form that come one after the other, of any lengths."""

    damage = ""

    def __init__(self, blocks: Iterable[Any], rate: int) -> None:
        self._audit = Audit()
        self.name = f"<{type(blocks).__name__}>"
        self.rate = rate
        self._blocks = iter(blocks)
        first = list(itertools.islice(self._blocks, 1))
        array = _samples.as_array(first[0]) if first else np.empty(0, np.float32)
        self.channels = 1 if array.ndim == 1 else array.shape[1]
        self.dtype = _samples.type_of(array)
        self._first = [array]

    def blocks(self) -> Iterator[Array]:
        """Each as it comes."""
        for block in itertools.chain(self._first, (_samples.as_array(block) for block in self._blocks)):
            self._audit.hear(block)
            yield block

    @property
    def note(self) -> str:
        """What should be known of the samples, behind their end."""
        return self._audit.note()

    def close(self) -> None:
        """Lets a generator clean up."""
        close = getattr(self._blocks, "close", None)
        if close is not None:
            close()


class FileSource(AudioFile):
    """A recording."""

    dtype = "float32"


Source = Union[ArraySource, BlocksSource, FileSource]


def open_source(source: Any, rate: Optional[int], track: int = 0) -> Source:
    """The source of whatever was given; `rate` is needed with arrays, and taken with them alone; `track` with recordings alone. Raises TypeError,
    and as AudioFile and arrays do."""
    if isinstance(source, (str, os.PathLike)) or _samples.is_bytes(source) or callable(getattr(source, "read", None)):
        if rate is not None:
            raise errors.ArgumentError(f"rate: a recording says itself what rate it has; {BARE_SAMPLES}")
        return FileSource(source, track)
    is_array = (hasattr(source, "__array__") or _samples.is_typed_buffer(source)
                or isinstance(source, (list, tuple)) and not any(hasattr(item, "__array__") and np.ndim(item) > 0 for item in source[:1]))
    if not is_array and not hasattr(source, "__iter__"):
        raise TypeError(f"expected a path, a file opened for bytes, bytes, an array with its rate or arrays one after the other, got "
                        f"{type(source).__name__}" + ("; wvad.aio.events takes blocks that come by and by" if hasattr(source, "__aiter__") else ""))
    if whole("track", track) != 0:
        raise errors.ArgumentError("track: samples have no sound tracks; the tracks of a recording are meant", "WVAD_E_FORMAT")
    if rate is None:
        raise errors.ArgumentError("rate: is needed with samples: wvad.segment(samples, rate)")
    number = hertz("rate", rate)
    if not 4000 <= number <= 192000:
        raise errors.ArgumentError(f"rate: {number} Hz cannot be served; 4000 to 192000", "WVAD_E_FORMAT")
    return ArraySource(source, number) if is_array else BlocksSource(source, number)
