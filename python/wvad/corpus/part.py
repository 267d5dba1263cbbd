# SPDX-License-Identifier: Apache-2.0
"""A file of rows that grows as NAME.part and gets its name when it is whole. Broken off anywhere, it goes on behind its last whole row."""
from __future__ import annotations

import fcntl
import json
import os
from pathlib import Path
from typing import Any, BinaryIO, Iterable, Optional

from .. import errors
from .entry import Entry
from .names import shown


class Part:
    """The rows of `entries` in their order, as far as they are there; what is behind the last whole one is cut off.

    Args:
        out: the name that finish() gives it. `out`.part is held against other runs as long as this object is open.
        header: what stands before the rows; may be empty.
        wait: for another run that holds it, instead of refusing.

    Attributes:
        done, bad: rows that are there, and those of them that have an error.

    Raises StateError where another run holds it; ArgumentError where it is the output of something else, which stays as it is; OSError.
    """

    def __init__(self, out: Path, header: bytes, entries: Iterable[Entry], wait: bool = False) -> None:
        self._out = out
        self.path = Path(f"{out}.part")
        self.done = self.bad = 0
        self._file = self._locked(wait)
        try:
            self._go_on(header, entries)
        except BaseException:
            self.close()
            raise

    def _locked(self, wait: bool) -> BinaryIO:
        """The file, held. The one that was opened may have got its name, or been removed, by whoever held it until then."""
        while True:
            try:
                file = open(self.path, "a+b")
            except OSError as trouble:  # under the name that was asked for
                raise type(trouble)(trouble.errno, trouble.strerror, str(self._out)) from None
            try:
                fcntl.flock(file, fcntl.LOCK_EX | (0 if wait else fcntl.LOCK_NB))
                if os.path.exists(self.path) and os.path.samestat(os.fstat(file.fileno()), os.stat(self.path)):
                    return file
            except OSError as trouble:
                file.close()
                if isinstance(trouble, BlockingIOError):
                    raise errors.StateError(f"{shown(str(self.path))}: another run is writing it") from None
                raise
            file.close()

    def _go_on(self, header: bytes, entries: Iterable[Entry]) -> None:
        self._file.seek(0)
        begun = self._file.read(len(header))
        if not header.startswith(begun):
            raise self._refusal(_difference(begun, header))
        if begun != header:
            self._file.truncate(0)
            self._file.write(header)
            self._file.flush()
        self._file.seek(len(header))
        end = len(header)
        left = iter(entries)
        for line in self._file:
            if not line.endswith(b"\n"):
                break
            self._count(line, next(left, None))
            end += len(line)
        self._file.truncate(end)
        self._file.seek(end)

    def _count(self, line: bytes, entry: Optional[Entry]) -> None:
        try:
            row = json.loads(line)
            name = row["file"]
        except (ValueError, TypeError, KeyError):
            raise self._refusal(f"row {self.done + 1} is none") from None
        if entry is None or name != entry.name:
            raise self._refusal(f"was made of other recordings ({name})")
        self.done += 1
        self.bad += "error" in row

    def _refusal(self, words: str) -> errors.ArgumentError:
        return errors.ArgumentError(f"{shown(str(self.path))}: {words}; delete it, or give another name")

    def write(self, line: bytes) -> None:
        """Puts a row behind the others; it is there for whoever goes on."""
        self._file.write(line)
        self._file.flush()
        self.done += 1
        self.bad += b'"error": ' in line and "error" in json.loads(line)

    def sync(self) -> None:
        """Brings all rows to the disk."""
        os.fsync(self._file.fileno())

    def finish(self) -> None:
        """Gives it its name, when it is whole. Replaces what has that name."""
        self.sync()
        os.replace(self.path, self._out)

    def close(self) -> None:
        """Lets it go. A second call does nothing."""
        self._file.close()

    def __enter__(self) -> "Part":
        return self

    def __exit__(self, *exception: Any) -> None:
        self.close()


def _difference(begun: bytes, header: bytes) -> str:
    """What says of a header that is another one why it is."""
    try:
        one, other = json.loads(begun.splitlines()[0]), json.loads(header)
        differ = {name for name in {*one, *other} if one.get(name) != other.get(name)}
    except (ValueError, TypeError, IndexError):
        differ = set()
    return {frozenset({"recordings_sha256"}): "was made of other recordings, or of other pieces of them",
            frozenset({"model_sha256"}): "was made with another model of this name"}.get(frozenset(differ), "was made by another version or with other settings")
