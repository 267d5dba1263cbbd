# SPDX-License-Identifier: Apache-2.0
"""Streams and recordings for asyncio. The engine works on a thread of the loop's executor, meanwhile the loop goes on.

    async with wvad.aio.Stream(rate=48000) as stream:
        async for block in microphone:
            for event in await stream.push(block): ...

    async for event in wvad.aio.events(microphone, rate=48000): ...
    async for sentence in wvad.aio.segment("talk.mp3"): ...

A task that is cancelled, however often, waits for the piece that is being worked on, so that the stream can be used or closed at once; its events
come with the next call.
"""
from __future__ import annotations

import asyncio
import threading
from contextlib import suppress
from typing import Any, AsyncIterable, AsyncIterator, Callable, List, Optional, TypeVar

from numpy.typing import DTypeLike

from . import segments, stream
from ._types import Array, Channel
from .events import Event, Sentence
from .model import ModelLike

_T = TypeVar("_T")


async def _on_thread(work: Callable[[], _T], undo: Optional[Callable[[_T], None]] = None, stop: Callable[[], None] = lambda: None) -> _T:
    """What `work` gives or raises. When the task is cancelled `stop` is called, the work is still waited for, and `undo` gets its result."""
    running = asyncio.get_running_loop().run_in_executor(None, work)
    try:
        return await asyncio.shield(running)
    except asyncio.CancelledError:
        stop()
        while not running.done():
            with suppress(asyncio.CancelledError):  # a second one changes nothing
                await asyncio.wait([running])
        if not running.cancelled() and running.exception() is None and undo is not None:
            undo(running.result())
        raise


class Stream:
    """wvad.Stream with calls that are awaited; arguments, results and exceptions are its own. Calls of several tasks take turns."""

    def __init__(self, rate: int = 16000, channels: int = 1, *, dtype: DTypeLike = None, channel: Channel = "mix", profile: str = "default",
                 model: ModelLike = None, probability: bool = False, audio: bool = False, features: bool = False, **settings_by_name: float) -> None:
        self._stream = stream.Stream(rate, channels, dtype=dtype, channel=channel, profile=profile, model=model, probability=probability,
                                     audio=audio, features=features, **settings_by_name)
        self._turn = asyncio.Lock()

    async def push(self, samples: Any) -> List[Event]:
        """Takes the next piece and gives the events that became known with it."""
        return await self._call(lambda: self._stream.push(samples))

    async def finish(self) -> List[Event]:
        """The audio is over: gives the last events."""
        return await self._call(self._stream.finish)

    async def _call(self, work: Callable[[], List[Event]]) -> List[Event]:
        async with self._turn:
            return await _on_thread(work, self._put_back)

    def _put_back(self, events: List[Event]) -> None:
        self._stream._waiting[:0] = events

    @property
    def info(self) -> stream.StreamInfo:
        """How the stream stands; between two calls."""
        return self._stream.info

    async def close(self) -> None:
        """Frees the stream, behind the call that is running. A second call does nothing."""
        async with self._turn:
            self._stream.close()

    def __repr__(self) -> str:
        return repr(self._stream).replace("wvad.Stream", "wvad.aio.Stream", 1)

    async def __aenter__(self) -> "Stream":
        return self

    async def __aexit__(self, *exception: Any) -> None:
        await self.close()


async def events(blocks: AsyncIterable[Any], rate: int = 16000, channels: int = 1, *, dtype: DTypeLike = None, channel: Channel = "mix",
                 profile: str = "default", model: ModelLike = None, probability: bool = False, audio: bool = False, features: bool = False,
                 **settings_by_name: float) -> AsyncIterator[Event]:
    """The events of blocks of samples that come by and by, up to STREAM_END behind the last one. Arguments as of wvad.Stream."""
    if not hasattr(blocks, "__aiter__"):
        raise TypeError(f"expected blocks that come by `async for`, got {type(blocks).__name__}; wvad.aio.segment takes arrays and generators")
    async with Stream(rate, channels, dtype=dtype, channel=channel, profile=profile, model=model, probability=probability, audio=audio,
                      features=features, **settings_by_name) as listening:
        async for block in blocks:
            for event in await listening.push(block):
                yield event
        for event in await listening.finish():
            yield event


async def segment(source: Any, rate: Optional[int] = None, *, channel: Channel = "mix", profile: str = "default", model: ModelLike = None,
                  track: int = 0, audio: bool = False, features: bool = False, **settings: float) -> AsyncIterator[Sentence]:
    """The sentences of a recording or of samples as they are found. Arguments and exceptions as of wvad.segment."""
    def begin() -> segments.Segmentation:
        return segments.segment(source, rate, channel=channel, profile=profile, model=model, track=track, audio=audio, features=features, **settings)

    with await _on_thread(begin, segments.Segmentation.close) as found:
        place = 0
        more = True
        while more:
            more = await _on_thread(found._step)
            for sentence in found.found[place:]:
                yield sentence
            place = len(found.found)


async def scores(source: Any, rate: Optional[int] = None, *, channel: Channel = "mix", profile: str = "default", model: ModelLike = None,
                 track: int = 0, **settings: Any) -> Array:
    """wvad.scores, awaited; a cancelled task waits for the piece that is being worked on."""
    stopped = threading.Event()
    return await _on_thread(lambda: segments._scores(lambda: not stopped.is_set(), source, rate, channel=channel, profile=profile, model=model,
                                                     track=track, **settings), stop=stopped.set)
