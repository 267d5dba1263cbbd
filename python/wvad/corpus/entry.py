# SPDX-License-Identifier: Apache-2.0
"""What a corpus is made of: recordings, and pieces of such."""
from __future__ import annotations

import hashlib
import json
import os
from typing import Any, Dict, Iterable, List, NamedTuple, Optional, Tuple


class Piece(NamedTuple):
    """What of a recording is asked for.

    `begin` in seconds from its start; `duration` in seconds, None up to its end. `channels`: that count, from 1; none given: all of them.
    `parts`: where the channels lie in several files, each file with the channels (from 1) of the recording that it holds, in its order.
    """

    begin: float = 0.0
    duration: Optional[float] = None
    channels: Tuple[int, ...] = ()
    parts: Tuple[Tuple[str, Tuple[int, ...]], ...] = ()


class Entry(NamedTuple):
    """A recording: the name that it goes by in the output, its path, what a manifest says of it beside that, what is wrong with its row
    already, and which piece of it is meant, where it is not the whole."""

    name: str
    path: str
    more: Optional[Dict[str, Any]] = None
    trouble: str = ""
    piece: Optional[Piece] = None

    def paths(self) -> List[str]:
        """The files that are read for it."""
        return [file for file, _ in self.piece.parts] if self.piece is not None and self.piece.parts else [self.path]

    def begin_row(self) -> Dict[str, Any]:
        """What its row has in any case."""
        row = {"file": self.name, **(self.more or {})}
        path = os.fsencode(self.path)
        try:
            path.decode("utf-8")
        except UnicodeDecodeError:  # the name above writes such bytes as \xe9, which another file may have as four characters
            row["path_hex"] = path.hex()
        return row


def to_line(entry: Entry) -> bytes:
    """An entry as a line of JSON, in ASCII: a path may be no UTF-8."""
    return json.dumps([entry.name, entry.path, entry.more, entry.trouble, entry.piece]).encode("ascii") + b"\n"


def digest(entries: Iterable[Entry]) -> str:
    """What two lists have in common only where every entry is the same: the SHA-256 of their lines."""
    found = hashlib.sha256()
    for entry in entries:
        found.update(to_line(entry))
    return found.hexdigest()


def of_line(line: bytes) -> Entry:
    """What to_line() was given."""
    name, path, more, trouble, piece = json.loads(line)
    if piece is not None:
        begin, duration, channels, parts = piece
        piece = Piece(begin, duration, tuple(channels), tuple((file, tuple(numbers)) for file, numbers in parts))
    return Entry(name, path, more, trouble, piece)
