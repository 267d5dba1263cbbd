# SPDX-License-Identifier: Apache-2.0
"""The calls of webrtcvad over this engine: names, arguments and results are those of its documentation, the decisions are this engine's.

    import wvad.compat.webrtcvad as webrtcvad

    vad = webrtcvad.Vad(2)
    vad.is_speech(frame, 16000)  # 10, 20 or 30 ms of 16-bit samples

What differs: a network hears the frames as one piece of audio, so they have to come one after the other, and an answer is that of the audio some
0.2 s before. `wvad.Stream` tells the places instead.
"""
from __future__ import annotations

from typing import Any, Optional

from ..stream import Stream

__version__ = "2.0.10"  # whose calls these are

RATES = (8000, 16000, 32000, 48000)
#: From which probability on a frame is speech: mode 0 lets the most through, mode 3 filters out the most.
THRESHOLDS = (0.3, 0.5, 0.7, 0.9)


class Error(Exception):
    """A rate or frame that is not served."""


class Vad:
    """Answers frame after frame of one piece of audio.

    Args: `mode`, 0 (filters out the least) to 3 (the most).
    """

    def __init__(self, mode: Optional[int] = None) -> None:
        self._threshold = THRESHOLDS[0]
        self._stream: Optional[Stream] = None
        self._probability = 0.0
        if mode is not None:
            self.set_mode(mode)

    def set_mode(self, mode: int) -> None:
        """Raises Error for a mode that there is not."""
        if isinstance(mode, bool) or not isinstance(mode, int):
            raise TypeError(f"an integer is required (got type {type(mode).__name__})")
        if not 0 <= mode < len(THRESHOLDS):
            raise Error(f"Unable to set mode to {mode}: 0 to 3")
        self._threshold = THRESHOLDS[mode]

    def is_speech(self, buf: Any, sample_rate: int, length: Optional[int] = None) -> bool:
        """Whether the frame is speech.

        Args:
            buf: bytes, or what has the buffer of such: 16-bit samples, one channel.
            sample_rate: 8000, 16000, 32000 or 48000. Another one than before begins anew.
            length: samples of `buf` that are looked at, 10, 20 or 30 ms; None for all.

        Raises Error for a rate or length that is not served, IndexError for a `length` beyond `buf`.
        """
        data = bytes(memoryview(buf).cast("B"))
        length = length or len(data) // 2
        if 2 * length > len(data):
            raise IndexError(f"buffer has {len(data) // 2} frames, but length argument was {length}")
        if not valid_rate_and_frame_length(sample_rate, length):
            raise Error(f"Error while processing frame: {length} samples at {sample_rate} Hz; served are 10, 20 and 30 ms at "
                        + ", ".join(map(str, RATES)))
        if self._stream is None or self._stream.rate != sample_rate:
            self._stream = Stream(sample_rate, profile="fast", probability=True)
            self._probability = 0.0
        for event in self._stream.push(data[:2 * length]):
            if event.probability is not None:
                self._probability = event.probability
        return self._probability >= self._threshold


def valid_rate_and_frame_length(rate: int, frame_length: int) -> bool:
    """Whether frames of so many samples are served at `rate` Hz: 10, 20 or 30 ms."""
    return rate in RATES and frame_length in (rate // 100, rate // 50, 3 * rate // 100)
