# SPDX-License-Identifier: Apache-2.0
"""The sentences of a recording or of samples."""
from __future__ import annotations

import threading
from typing import Any, Callable, Dict, Iterator, List, Optional, Sequence, Tuple, Union, overload

import numpy as np

from . import _picture, _sources, _told, errors
from ._track import Outline, mono
from ._types import Array, Channel
from .events import Event, Sentence
from .model import Model, ModelLike, choose
from .stream import Stream, channel_number

_SETTINGS = Dict[str, Any]


_Step = Tuple[int, str, str]  # frames that were heard; damage and note, as far as they are known


def _listen(source: _sources.Source, streams: List[Stream], outlines: List[Outline], found: List[Sentence]) -> Iterator[_Step]:
    """Each step is a block; what it brings is in `found` by then. Knows nothing of the Segmentation, so that one that is dropped before its end
    gives source and streams back at once, and not when rings of objects are looked for."""
    heard = 0
    try:
        for stream in streams:
            stream._probabilities = []
            stream._scale_told = True  # the source says it
        for block in source.blocks():
            for stream, outline in zip(streams, outlines):
                events = stream._push_behind(heard, block)
                outline.add_samples(mono(block, stream.channel))
                _keep(stream, outline, events, found)
            heard += len(block)
            yield len(block), "", ""
        for stream, outline in zip(streams, outlines):
            _keep(stream, outline, stream.finish(), found)
        damage, note = source.damage, source.note
        yield 0, damage, note
    finally:
        source.close()
        for stream in streams:
            stream.close()
    for words in (damage, note):
        if words:
            _told.warn(f"{source.name}: {words}")


def _keep(stream: Stream, outline: Outline, events: List[Event], found: List[Sentence]) -> None:
    outline.add_probabilities(stream._probabilities or [])
    stream._probabilities = []
    found += [event.sentence for event in events if event.sentence is not None]


class Segmentation(Sequence[Sentence]):
    """The sentences of one source, found as they are asked for.

    A loop over it listens as far as the next sentence; what was found is kept, so that further loops do not listen again. `len()`, an index
    from behind, a picture and pickling listen to the end. Samples are not kept. In a notebook it shows itself as a picture. Several threads may
    use it, and each gets all sentences: one listens, the others wait for what it finds.

    Attributes:
        name: of the source.
        rate, channels: of the source.
        model: that listens.
        heard: frames of the source that were heard so far.
        damage, note: behind the end: what was wrong with a recording, and what else should be known of it or of samples, such as a wrong scale;
            they are warned of (AudioWarning) too.

    Raises while listening: as AudioFile and Stream. Behind such an exception, and behind an interrupt, it stays broken: what was found
    until then is in `found`, and asking for more raises StateError.
    """

    def __init__(self, source: Any, rate: Optional[int], channel: Channel, track: int, model: ModelLike, options: _SETTINGS) -> None:
        opened = _sources.open_source(source, rate, track)
        try:
            if channel != "all":
                channel_number(channel, opened.channels, '"mix", "all"')
            channels: List[Channel] = list(range(1, opened.channels + 1)) if channel == "all" else [channel]
            self.model: Model = choose(model, options["profile"], opened.rate)
            streams = [Stream(opened.rate, opened.channels, dtype=opened.dtype, channel=one, model=self.model, probability=True, **options)
                       for one in channels]
        except BaseException:
            opened.close()
            raise
        self.name: str = opened.name
        self.rate: int = opened.rate
        self.channels: int = opened.channels
        self.found: List[Sentence] = []
        self.heard = 0
        self.damage = ""
        self.note = ""
        self._settings = streams[0].settings
        self._outlines = [(stream.channel, Outline(self.rate)) for stream in streams]
        self._trouble = ""
        self._turn = threading.RLock()  # of the thread that listens
        self._listens = False
        self._closing = False
        self._untold: Optional[TypeError] = None
        self._run: Optional[Iterator[_Step]] = _listen(opened, streams, [outline for _, outline in self._outlines], self.found)

    def _step(self, known: Optional[int] = None) -> bool:
        """Listens to a block, or ends the sentences behind the last one; false behind that. Does nothing where more than `known` sentences
        were found meanwhile."""
        with self._turn:
            if known is not None and len(self.found) > known:
                return True
            if self._listens:  # only the thread that has the turn comes here
                raise errors.StateError(f"{self.name}: is asked for sentences by its own source")
            if self._closing:
                self._give_back()
            if self._run is None:
                untold, self._untold = self._untold, None
                if untold is not None:
                    raise untold
                if self._trouble:
                    raise errors.StateError(f"{self.name}: was not heard to its end ({self._trouble})")
                return False
            self._listens = True
            try:
                frames, self.damage, self.note = next(self._run)
                self.heard += frames
                return True
            except StopIteration:
                self._run = None
                return False
            except BaseException as trouble:
                self._run = None
                self._trouble = str(trouble) or type(trouble).__name__
                raise
            finally:
                self._listens = False

    def _give_back(self) -> None:
        run, self._run = self._run, None
        if run is not None:
            self._trouble = "it was closed"
            run.close()  # type: ignore[attr-defined]

    def finish(self) -> "Segmentation":
        """Listens to the end."""
        while self._step():
            pass
        return self

    def close(self) -> None:
        """Gives decoder and streams back before the end, behind the block that another thread listens to; what was found stays."""
        self._closing = True
        with self._turn:
            if not self._listens:  # else its own source or a signal handler closes it: the next step does
                self._give_back()

    def __enter__(self) -> "Segmentation":
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()

    @property
    def duration(self) -> float:
        """What was heard so far, in seconds."""
        return self.heard / self.rate

    @property
    def settings(self) -> Dict[str, float]:
        """The values in use by name."""
        return dict(self._settings)

    def to_dicts(self) -> List[Dict[str, Any]]:
        """A row for each sentence, for `pandas.DataFrame` or `pyarrow.Table.from_pylist`. Listens to the end."""
        return [sentence.to_dict() for sentence in self]

    def __iter__(self) -> Iterator[Sentence]:
        place = 0
        while place < len(self.found) or self._step(place):
            if place < len(self.found):
                yield self.found[place]
                place += 1

    def __len__(self) -> int:
        try:
            return len(self.finish().found)
        except TypeError as trouble:  # list() asks for the length first, and passes over this kind
            self._untold = trouble
            raise

    def __bool__(self) -> bool:
        return any(True for _ in self)

    @overload
    def __getitem__(self, index: int) -> Sentence: ...

    @overload
    def __getitem__(self, index: slice) -> List[Sentence]: ...

    def __getitem__(self, index: Union[int, slice]) -> Union[Sentence, List[Sentence]]:
        needed = index if isinstance(index, int) and index >= 0 else None
        while (needed is None or needed >= len(self.found)) and self._step(needed):
            pass
        return self.found[index]

    def __repr__(self) -> str:
        state = "" if self._run is None else " so far"
        return f"<wvad.Segmentation of {self.name}: {len(self.found)} sentences in {self.duration:.2f} s{state}>"

    def _repr_html_(self) -> str:
        return _picture.draw(self.finish().name, self._lanes(), self.duration, self._settings["threshold"], self.damage)

    def _lanes(self) -> List["_picture.Lane"]:
        return [_picture.Lane(channel, outline, [one for one in self.found if one.channel == channel]) for channel, outline in self._outlines]

    def __getstate__(self) -> Dict[str, Any]:
        self.finish()
        return {name: value for name, value in self.__dict__.items() if name not in ("_run", "_turn")}

    def __setstate__(self, state: Dict[str, Any]) -> None:
        self.__dict__.update(state, _run=None, _turn=threading.RLock())


def segment(source: Any, rate: Optional[int] = None, *, channel: Channel = "mix", profile: str = "default", model: ModelLike = None,
            track: int = 0, audio: bool = False, features: bool = False, **settings: float) -> Segmentation:
    """Finds the sentences of a recording or of samples.

    Args:
        source: a path; the bytes of a recording; a file object that was opened for bytes; or with `rate` an array [frames] or [frames,
            channels] (int16, int32, float32, float64; tensors too), or arrays that come one after the other, such as a generator's.
        rate: of samples, in Hz, 4000 to 192000. A recording says its own.
        channel: that is listened to, from 1; "mix" for the mean of all; "all" for each by itself (then in the order of being known).
        profile: "default", "fast", "dictation", "meeting" or "telephone".
        model: a Model, a name, a path or bytes; None for the bundled one that suits profile and rate.
        track: of several sound tracks, from 1; 0 for the default one.
        audio, features: keep those of each sentence.
        settings: single settings by name, as `min_silence=0.3`; `wvad.describe()` lists them.

    Returns a Segmentation, which listens as far as it is asked for. Raises at once for what cannot be opened: AudioFileError, AudioError,
    ArgumentError, ModelError, UnavailableError, TypeError; the rest while it listens.
    """
    options: _SETTINGS = {"profile": profile, "audio": audio, "features": features, **settings}
    return Segmentation(source, rate, channel, track, model, options)


def scores(source: Any, rate: Optional[int] = None, *, channel: Channel = "mix", profile: str = "default", model: ModelLike = None,
           track: int = 0, **settings: Any) -> Array:
    """The probability of speech for each 10 ms, from the start of the audio on: float32 [whole 10 ms of it].

    Takes and raises what `segment` does; `channel` is one or "mix".
    """
    return _scores(lambda: True, source, rate, channel=channel, profile=profile, model=model, track=track, **settings)


def _scores(going: Callable[[], bool], source: Any, rate: Optional[int] = None, *, channel: Channel = "mix", profile: str = "default",
            model: ModelLike = None, track: int = 0, **settings: Any) -> Array:
    """`scores`, of as much as was heard while `going` said so."""
    opened = _sources.open_source(source, rate, track)
    try:
        with Stream(opened.rate, opened.channels, dtype=opened.dtype, channel=channel, profile=profile, model=model, probability=True,
                    **settings) as stream:
            stream._probabilities = []
            stream._scale_told = True
            parts: List[Array] = []
            heard = 0
            for block in opened.blocks():
                if not going():
                    break
                stream._push_behind(heard, block)
                heard += len(block)
                parts.append(_taken(stream))
            stream.finish()
            parts.append(_taken(stream))
        for words in (opened.damage, opened.note):
            if words:
                _told.warn(f"{opened.name}: {words}")
    finally:
        opened.close()
    return _each_10_ms(np.concatenate(parts), opened.rate, heard)


def _taken(stream: Stream) -> Array:
    """The probabilities since the last call, [count, 2]: their frame, their value."""
    values: List[Tuple[int, float]] = stream._probabilities or []
    stream._probabilities = []
    return np.array(values, np.float64).reshape(-1, 2)


def _each_10_ms(told: Array, rate: int, heard: int) -> Array:
    """One value for each whole 10 ms. What was not told (the end, whose windows the audio does not fill: 40 ms, with "lstm_fb40" 20) is as
    what stands before it."""
    count = heard * 100 // rate
    places = np.rint(told[:, 0] * 100 / rate).astype(np.int64)
    inside = places < count
    values: Array = np.full(count, np.nan, np.float32)
    values[places[inside]] = told[inside, 1]
    known = np.flatnonzero(~np.isnan(values))
    if len(known) == 0:
        return np.zeros(count, np.float32)
    last_known = np.maximum(np.searchsorted(known, np.arange(count), side="right") - 1, 0)
    values = values[known[last_known]]
    return values
