# SPDX-License-Identifier: Apache-2.0
"""How far a run is, in one line of a terminal that is written again and again; nothing at all where there is no terminal."""
from __future__ import annotations

import os
import sys
import threading
import time

_WIDTH = 30  # of the bar itself; less, or none, on a narrow terminal
_NARROWEST = 6
_EACH_S = 0.1  # more often nobody sees it, and millions of lines cost


class Bar:
    """Counts recordings: `done` of `total` are there when it begins, `bad` of these with an error."""

    def __init__(self, total: int, done: int, bad: int, quiet: bool) -> None:
        self._total, self._done, self._at_first, self._bad = total, done, done, bad
        self._quiet = quiet
        self._shown = not quiet and sys.stderr.isatty()
        self._line = threading.RLock()  # notes come from other threads
        self._began = self._told = time.monotonic()
        self._tell()

    def step(self, count: int, bad: int) -> None:
        """`count` more are done, `bad` of them with an error."""
        self.reach(self._done + count, self._bad + bad)

    def reach(self, done: int, bad: int) -> None:
        """So many are done."""
        with self._line:
            self._done, self._bad = done, bad
            now = time.monotonic()
            if done >= self._total or now - self._told >= _EACH_S:
                self._told = now
                self._tell()

    def say(self, words: str) -> None:
        """Puts a line of its own above the bar, from any thread; on no terminal, too."""
        if self._quiet:
            return
        with self._line:
            self.clear()
            self._put(f"wvad corpus: {words}\n")
            self._tell()

    def _tell(self) -> None:
        if not self._shown:
            return
        words = f"{self._done}/{self._total}"
        if self._done > self._at_first:
            words += f", {_clock((self._told - self._began) / (self._done - self._at_first) * (self._total - self._done))} left"
        words += f", {self._bad} with errors" if self._bad else ""
        room = _columns() - 1  # a line that fills the last column is two on some terminals, and stays
        width = min(_WIDTH, room - len(words) - len("[] "))
        full = width * self._done // max(self._total, 1)
        picture = f"[{'#' * full}{'-' * (width - full)}] " if width >= _NARROWEST else ""
        self._put(f"\r\x1b[K{f'{picture}{words}'[:max(room, 1)]}")

    def clear(self) -> None:
        """Leaves the line empty."""
        if self._shown:
            self._put("\r\x1b[K")

    def _put(self, text: str) -> None:
        """Writes it; a terminal that is gone ends the bar, and not the run."""
        try:
            print(text, end="", file=sys.stderr, flush=True)
        except OSError:
            self._shown = False


def _columns() -> int:
    """Of the terminal; 80 where it does not say."""
    try:
        return os.get_terminal_size(sys.stderr.fileno()).columns or 80
    except (OSError, ValueError):
        return 80


def _clock(seconds: float) -> str:
    """Minutes and seconds, and hours where there are some."""
    whole = round(seconds)
    return f"{whole // 3600}:{whole // 60 % 60:02}:{whole % 60:02}" if whole >= 3600 else f"{whole // 60}:{whole % 60:02}"
