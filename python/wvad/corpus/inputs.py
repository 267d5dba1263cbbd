# SPDX-License-Identifier: Apache-2.0
"""Which recordings `wvad corpus` works on: those that are named, found in folders, or listed."""
from __future__ import annotations

import os
from pathlib import Path
from typing import Iterator, List

from .. import errors
from . import manifest
from .entry import Entry
from .names import shown, trouble_of

#: What is taken for a recording in a folder that is walked.
ENDINGS = frozenset(".aac .aif .aiff .amr .au .caf .flac .m4a .mka .mkv .mov .mp2 .mp3 .mp4 .oga .ogg .opus .rf64 .sph .w64 .wav .webm .wma"
                    .split())
_LISTS = (".txt", ".lst", ".list")


def entries(inputs: List[str], recordings: manifest.Recordings) -> Iterator[Entry]:
    """The recordings in their order, found as they are asked for. `recordings`: those that rows may name by their id. Raises AudioFileError for
    an input that is missing or cannot be read, and where there is no recording at all."""
    count = 0
    for given in inputs:
        try:
            for count, entry in enumerate(_of(given, recordings), count + 1):
                yield entry
        except OSError as trouble:
            if isinstance(trouble, errors.Error):
                raise
            raise errors.AudioFileError(f"{shown(given)}: {trouble.strerror or trouble}") from None
    if count == 0:
        raise errors.AudioFileError("there is no recording in what was named")


def _of(given: str, recordings: manifest.Recordings) -> Iterator[Entry]:
    path = Path(given)
    if path.is_dir():
        for name in _walk(given):
            yield Entry(shown(name), name)
    elif path.name.lower().endswith(manifest.ENDINGS):
        yield from manifest.entries_of(path, recordings)
    elif path.suffix.lower() in _LISTS:
        with open(path, encoding="utf-8-sig", errors="surrogateescape") as lines:
            for number, line in enumerate(lines, 1):
                name = line.rstrip("\n")
                if name.strip():
                    trouble = trouble_of(name, str(path.parent / name))
                    yield Entry(shown(name), str(path.parent / name), None, trouble and f"{shown(given)}:{number}: {trouble}")
    elif path.exists():
        yield Entry(shown(given), given)
    else:
        raise errors.AudioFileError(trouble_of(given, given) or f"{shown(given)}: no such file")


def _walk(folder: str) -> Iterator[str]:
    """Names in the order of their bytes, so that a run that goes on finds the same; hidden ones, pipes and devices are left out."""
    def refuse(trouble: OSError) -> None:
        raise trouble

    for where, folders, files in os.walk(folder, onerror=refuse):
        folders[:] = sorted((name for name in folders if not name.startswith(".")), key=os.fsencode)
        for name in sorted(files, key=os.fsencode):
            path = os.path.join(where, name)
            # A pipe would be waited for without an end. What leads nowhere is a failure.
            other = os.path.exists(path) and not os.path.isfile(path)
            if not name.startswith(".") and os.path.splitext(name)[1].lower() in ENDINGS and not other:
                yield path
