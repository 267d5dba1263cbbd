# SPDX-License-Identifier: Apache-2.0
"""Which recordings `wvad corpus` works on: those that are named, found in folders, or listed."""
from __future__ import annotations

import json
import os
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Dict, Iterator, List

from . import errors

#: What is taken for a recording in a folder that is walked.
ENDINGS = frozenset(".aac .aif .aiff .amr .au .caf .flac .m4a .mka .mkv .mov .mp2 .mp3 .mp4 .oga .ogg .opus .rf64 .sph .w64 .wav .webm .wma"
                    .split())
#: Where a row of a manifest names its recording; the first that it has.
NAMED_BY = ("audio_filepath", "audio", "path", "file", "wav")


@dataclass(frozen=True)
class Entry:
    """A recording: the name that it goes by in the output, its path, what the manifest says of it beside that, and what is wrong with its row
    already."""

    name: str
    path: str
    more: Dict[str, Any] = field(default_factory=dict)
    trouble: str = ""


def entries(inputs: List[str]) -> List[Entry]:
    """The recordings in their order. Raises AudioFileError for an input that is missing or cannot be read, and where there is none at all."""
    found: List[Entry] = []
    for given in inputs:
        path = Path(given)
        try:
            if path.is_dir():
                found += [Entry(_shown(name), name) for name in _walk(given)]
            elif path.suffix.lower() == ".jsonl":
                found += _manifest(path)
            elif path.suffix.lower() in (".txt", ".lst", ".list"):
                lines = path.read_text(encoding="utf-8", errors="surrogateescape").splitlines()
                found += [Entry(_shown(line), str(path.parent / line)) for line in lines if line.strip()]
            elif path.exists():
                found.append(Entry(_shown(given), given))
            else:
                raise errors.AudioFileError(f"{_shown(given)}: no such file")
        except OSError as trouble:
            raise errors.AudioFileError(f"{_shown(given)}: {trouble.strerror or trouble}") from None
    if not found:
        raise errors.AudioFileError("there is no recording in what was named")
    return found


def _shown(name: str) -> str:
    """A name as text that can be written, whatever it holds."""
    return os.fsencode(name).decode("utf-8", "backslashreplace")


def _walk(folder: str) -> Iterator[str]:
    """Names in the order of their bytes, so that a run that goes on finds the same; hidden ones are left out."""
    def refuse(trouble: OSError) -> None:
        raise trouble

    for where, folders, files in os.walk(folder, onerror=refuse):
        folders[:] = sorted((name for name in folders if not name.startswith(".")), key=os.fsencode)
        for name in sorted(files, key=os.fsencode):
            if not name.startswith(".") and os.path.splitext(name)[1].lower() in ENDINGS:
                yield os.path.join(where, name)


def _manifest(path: Path) -> Iterator[Entry]:
    """A recording for each line of JSON. What else a row says goes on into the output."""
    for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
        if not line.strip():
            continue
        where = f"{_shown(str(path))}:{number}"
        try:
            row = json.loads(line)
            key = next((one for one in NAMED_BY if isinstance(row.get(one), str)), None)
        except (ValueError, AttributeError):
            yield Entry(where, "", trouble=f"{where}: is no JSON object")
            continue
        if key is None:
            yield Entry(where, "", trouble=f"{where}: names no recording ({', '.join(NAMED_BY)})")
            continue
        name = row[key]
        more = {"manifest": {other: value for other, value in row.items() if other != key}} if len(row) > 1 else {}
        trouble = f"{where}: a part of a recording (offset) cannot be asked for" if row.get("offset") else ""
        yield Entry(_shown(name), str(path.parent / name), more, trouble)
