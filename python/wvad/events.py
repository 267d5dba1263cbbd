# SPDX-License-Identifier: Apache-2.0
"""What a stream tells: events, and the sentences that come of them."""
from __future__ import annotations

import enum
import math
from dataclasses import dataclass, field
from typing import Any, Dict, Optional

import numpy as np

from ._types import Array

FEATURES = 115  # values of each 10 ms


class EventKind(enum.IntEnum):
    """Kinds of events, with the library's numbers."""

    ONSET = 1  #: speech may have begun, at `time`: told at once, for whoever has to fall silent
    ONSET_DROPPED = 2  #: what was told as ONSET, at `time`, was none
    SENTENCE_BEGIN = 3  #: a sentence has begun, at `time`
    SENTENCE_END = 4  #: the sentence has ended, at `time`; `sentence` has all that is known of it
    TURN_END = 5  #: for turn_silence nothing has followed the last speech, which ended at `time`
    SILENCE = 6  #: silence since `begin`, up to `time`; every still_every
    PROBABILITY = 7  #: the 10 ms from `time` on are speech with `probability`
    STREAM_END = 8  #: the stream is finished; `time` is its length


@dataclass(frozen=True)
class Sentence:
    """A sentence. Times in seconds from the start of the audio, frames as counts of its samples of each channel.

    Attributes:
        number: from 0, in the stream.
        begin, end: with the margins pad_before and pad_after; `end` is the first time outside.
        begin_frame, end_frame: the same, exact.
        level: mean power of the speech in it, in dB of full scale (0 is a full square wave), -100 at least.
        snr: level over the noise, in dB; not-a-number where the noise is not known yet (the first half second).
        clipped: share of its samples at full scale, 0 to 1.
        began_in_speech, ended_in_speech: cut off there, by an end of the audio or by max_sentence.
        known_at: how much of the audio had been heard when it was known, in seconds.
        channel: that was listened to, from 1; 0 for the mean of all.
        audio: int16 [samples], one channel at the model's rate, where it was asked for.
        features: float32 [frames of 10 ms, 115], where they were asked for.
    """

    number: int
    begin: float
    end: float
    begin_frame: int
    end_frame: int
    level: float
    snr: float
    clipped: float
    began_in_speech: bool
    ended_in_speech: bool
    known_at: float
    channel: int = 0
    audio: Optional[Array] = field(default=None, repr=False, compare=False)
    features: Optional[Array] = field(default=None, repr=False, compare=False)

    @property
    def duration(self) -> float:
        """In seconds."""
        return self.end - self.begin

    def to_dict(self) -> Dict[str, Any]:
        """A row of plain values for pandas, Arrow or JSON; what is not known is None. Audio and features are left out."""
        names = ("number", "channel", "begin", "end", "duration", "begin_frame", "end_frame", "level", "snr", "clipped",
                 "began_in_speech", "ended_in_speech", "known_at")
        return {name: plain(getattr(self, name)) for name in names}


@dataclass(frozen=True)
class Event:
    """One event. Times in seconds from the start of the stream; what an event does not speak of is None.

    Attributes:
        kind: which one.
        time: what it speaks of.
        known_at: how much of the stream had been heard when it was known; `known_at - time` is the delay.
        number: of the sentence, with SENTENCE_BEGIN, SENTENCE_END and TURN_END.
        begin: with SENTENCE_BEGIN, SENTENCE_END and SILENCE.
        began_in_speech: with SENTENCE_BEGIN and SENTENCE_END.
        probability: 0 to 1, with PROBABILITY.
        sentence: with SENTENCE_END.
        time_frame: `time` as an exact count of the input's frames.
    """

    kind: EventKind
    time: float
    known_at: float
    time_frame: int
    number: Optional[int] = None
    begin: Optional[float] = None
    began_in_speech: Optional[bool] = None
    probability: Optional[float] = None
    sentence: Optional[Sentence] = None

    def to_dict(self) -> Dict[str, Any]:
        """A row of plain values; `kind` by its name, the sentence as a row of its own."""
        row = {name: plain(getattr(self, name)) for name in ("time", "known_at", "time_frame", "number", "begin", "began_in_speech",
                                                             "probability")}
        return {"kind": self.kind.name, **row, "sentence": self.sentence.to_dict() if self.sentence else None}


def plain(value: Any) -> Any:
    """Not-a-number as None, everything else as it is."""
    return None if isinstance(value, float) and math.isnan(value) else value


def sentence_of(record: Any, rate: int, channel: int) -> Sentence:
    """The sentence that a SENTENCE_END tells of."""
    audio = features = None
    if record.audio:
        audio = np.ctypeslib.as_array(record.audio, (record.n_audio,)).copy()
    if record.features:
        features = np.ctypeslib.as_array(record.features, (record.n_features, FEATURES)).copy()
    return Sentence(record.sentence, record.begin / rate, record.end / rate, record.begin, record.end, record.level_db, record.snr_db,
                    record.clipped, bool(record.flags & 1), bool(record.flags & 2), record.known_at / rate, channel, audio, features)


_WITH_NUMBER = (EventKind.SENTENCE_BEGIN, EventKind.SENTENCE_END, EventKind.TURN_END)
_WITH_BEGIN = (EventKind.SENTENCE_BEGIN, EventKind.SENTENCE_END, EventKind.SILENCE)
_OF_SENTENCE = (EventKind.SENTENCE_BEGIN, EventKind.SENTENCE_END)
_KINDS = {int(kind): kind for kind in EventKind}


def event_of(record: Any, rate: int, channel: int) -> Optional[Event]:
    """The event of a library's record; None for a kind that a later library tells of."""
    kind = _KINDS.get(record.kind)
    if kind is None:
        return None
    return Event(kind, record.time / rate, record.known_at / rate, record.time,
                 number=record.sentence if kind in _WITH_NUMBER else None,
                 begin=record.begin / rate if kind in _WITH_BEGIN else None,
                 began_in_speech=bool(record.flags & 1) if kind in _OF_SENTENCE else None,
                 probability=record.probability if kind is EventKind.PROBABILITY else None,
                 sentence=sentence_of(record, rate, channel) if kind is EventKind.SENTENCE_END else None)
