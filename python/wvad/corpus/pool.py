# SPDX-License-Identifier: Apache-2.0
"""Rows of many recordings at once, each on a process with an engine of its own."""
from __future__ import annotations

import collections
import ctypes
import itertools
import multiprocessing
import os
import signal
from concurrent.futures import Future, ProcessPoolExecutor
from concurrent.futures.process import BrokenProcessPool
from multiprocessing import resource_tracker
from typing import Any, Callable, Deque, Dict, Iterable, Iterator, Optional, Tuple

from .. import errors
from .entry import Entry
from .row import Row, as_line, row_of

_AHEAD = 16  # recordings for each process that may be heard before the first of them: a long one keeps nobody waiting
Work = Callable[[Entry, Dict[str, Any]], Row]


def end_with(parent: int) -> None:
    """From now on this process is killed when its parent, process `parent`, goes; it is gone at once where that has happened already."""
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG
    if os.getppid() != parent:
        os.kill(os.getpid(), signal.SIGKILL)


def _begin_worker(parent: int) -> None:
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # the first process ends the others
    end_with(parent)


def _begin_tracker() -> None:
    """Begins the process in which Python keeps account of semaphores. Ctrl-C and TERM it passes over; where HUP goes to all processes of a terminal, it
    has to outlive that, too, or it is missed aloud."""
    before = signal.pthread_sigmask(signal.SIG_BLOCK, {signal.SIGHUP})
    try:
        resource_tracker.ensure_running()
    finally:
        signal.pthread_sigmask(signal.SIG_SETMASK, before)


class _Pool:
    """Processes that are begun anew when one of them was taken down."""

    def __init__(self, jobs: int) -> None:
        self._jobs = jobs
        self._size = 0
        self._workers: Optional[ProcessPoolExecutor] = None

    def submit(self, alone: bool, work: Work, entry: Entry, options: Dict[str, Any]) -> "Future[Row]":
        """`alone`: on the only process that there is. Raises BrokenProcessPool."""
        size = 1 if alone else self._jobs
        if self._workers is None or size != self._size:
            self.close()
            self._size = size
            _begin_tracker()
            self._workers = ProcessPoolExecutor(size, mp_context=multiprocessing.get_context("spawn"), initializer=_begin_worker,
                                                initargs=(os.getpid(),))
            if alone:
                self._try_one()
        return self._workers.submit(work, entry, options)

    def _try_one(self) -> None:
        """What takes a process down before it has a recording is no recording."""
        try:
            assert self._workers is not None
            self._workers.submit(int).result()
        except BrokenProcessPool:
            raise errors.StateError("the processes that listen cannot be started, or are ended at once (memory?)") from None

    def close(self) -> None:
        """Ends them, whatever they do."""
        if self._workers is not None:
            self._workers.shutdown(wait=False, cancel_futures=True)
            self._workers = None
            for process in multiprocessing.active_children():
                process.terminate()


def lines_at_once(entries: Iterable[Entry], options: Dict[str, Any], jobs: int, work: Work = row_of) -> Iterator[bytes]:
    """The rows in their order. A recording that takes its process down (memory, a defect) is tried once more by itself; if that fails too, its
    row says so. Raises what `work` raises."""
    pool = _Pool(jobs)
    running: "Deque[Tuple[Entry, Future[Row]]]" = collections.deque()
    again: Deque[Entry] = collections.deque()  # that were under way when a process went
    fresh = iter(entries)
    alone = 0  # so many of them are still to be heard one by one: which of them it was is not known
    try:
        while True:
            while len(running) < (1 if alone else _AHEAD * jobs):
                if not again:
                    again.extend(itertools.islice(fresh, 1))
                if not again:
                    break
                entry = again.popleft()
                try:
                    running.append((entry, pool.submit(alone > 0, work, entry, options)))
                except BrokenProcessPool:
                    again.appendleft(entry)
                    break  # the first of those that run will say so
            if not running and not again:
                return
            row, alone = _first_row(pool, running, again, alone)
            if row is not None:
                yield as_line(row)
    finally:
        pool.close()


def _first_row(pool: _Pool, running: "Deque[Tuple[Entry, Future[Row]]]", again: Deque[Entry], alone: int) -> Tuple[Optional[Row], int]:
    """The row of the first that runs, and how many are still to be heard alone. No row where a process went and the culprit is not known yet:
    all go to `again`."""
    if running:
        entry, future = running.popleft()
        try:
            return future.result(), max(alone - 1, 0)
        except BrokenProcessPool:
            pool.close()
            if alone:
                words = f"{entry.name}: the process that listened to it was ended"
                return {**entry.begin_row(), "error": words, "kind": "BrokenProcessPool"}, 0
            again.extendleft([one for one, _ in reversed(running)])
            again.appendleft(entry)
            suspects = len(running) + 1
            running.clear()
            return None, suspects
    pool.close()
    return None, len(again)
