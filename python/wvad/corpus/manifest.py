# SPDX-License-Identifier: Apache-2.0
"""Manifests of speech toolkits: a row of JSON for each recording, or for each piece of one.

| A row with | is |
|---|---|
| `audio_filepath` (or `audio`, `path`, `file`, `wav`), perhaps `offset` and `duration` | a recording, or a piece of it; a list of files: their channels |
| `sources`, a list of `type`, `channels`, `source` | a recording whose channels, counted from 0, lie in one or several files |
| `recording`, itself such a row, with `start`, `duration`, `channel` | a piece of it |
| `recording_id`, with `start`, `duration`, `channel` | a piece of the recording of that `id` in a manifest of recordings |

What cannot be served is an entry with its trouble: commands, addresses, changes of the sound that somebody else would have to apply.
"""
from __future__ import annotations

import gzip
import json
import math
import os
import zlib
from codecs import BOM_UTF8
from pathlib import Path
from typing import Any, Dict, Iterator, List, Mapping, Optional, Tuple

from .. import errors
from .entry import Entry, Piece
from .names import shown, trouble_of

#: Where a row of a manifest names its recording; the first that it has.
NAMED_BY = ("audio_filepath", "audio", "path", "file", "wav")
ENDINGS = (".jsonl", ".jsonl.gz")
_DEEPEST = 100  # of lists and objects in each other; what writes a row down goes no deeper than some hundreds
Recordings = Mapping[str, Tuple[Dict[str, Any], Path]]


class _Refused(Exception):
    """Why a row cannot be served."""


def _lines(path: Path) -> Iterator[Tuple[int, bytes]]:
    """Lines that hold something, with their numbers from 1. Raises OSError; AudioFileError for what is not compressed as it says."""
    try:
        with (gzip.open if path.suffix.lower() == ".gz" else open)(path, "rb") as file:  # type: ignore[operator]
            for number, line in enumerate(file, 1):
                line = line[len(BOM_UTF8):] if number == 1 and line.startswith(BOM_UTF8) else line
                if line.strip():
                    yield number, line
    except (EOFError, gzip.BadGzipFile, zlib.error) as trouble:
        raise errors.AudioFileError(f"{shown(str(path))}: {trouble}") from None


def _object(pairs: List[Tuple[str, Any]]) -> Dict[str, Any]:
    found: Dict[str, Any] = {}
    for name, value in pairs:
        if name in found:
            raise _Refused(f"the name {name!r} stands twice in it; which of them counts is not said")
        found[name] = value
    return found


def _row(line: bytes) -> Dict[str, Any]:
    """The object of a line. Raises _Refused for what is none, and for one that contradicts itself."""
    try:
        row = json.loads(line.decode("utf-8").rstrip(), object_pairs_hook=_object)
    except UnicodeDecodeError:
        raise _Refused("is not UTF-8") from None
    except json.JSONDecodeError as trouble:
        raise _Refused(f"is no JSON object ({trouble.msg}, character {trouble.pos + 1})") from None
    except RecursionError:
        deep = True
    except ValueError:
        raise _Refused("is no JSON object (a number of so many digits is not read)") from None
    else:
        deep = line.count(b"[") + line.count(b"{") > _DEEPEST and _is_deeper(row, _DEEPEST)
    if deep:
        raise _Refused(f"has lists and objects in each other over {_DEEPEST} deep")
    if not isinstance(row, dict):
        raise _Refused(f"is no JSON object, but {_brief(row)}")
    return row


def _is_deeper(value: Any, most: int) -> bool:
    inside = value.values() if isinstance(value, dict) else value if isinstance(value, list) else None
    return inside is not None and (most == 0 or any(_is_deeper(one, most - 1) for one in inside))


def _brief(value: Any) -> str:
    """A value in few words: as JSON has it, the begin of a long one, or what it is."""
    if isinstance(value, (list, dict)):
        return "a list" if isinstance(value, list) else "an object"
    text = json.dumps(value, ensure_ascii=False)
    return text if len(text) <= 60 else text[:57] + "..."


def _id(given: Any) -> str:
    """An id as it is looked for: text, or a whole number by its digits. Raises ValueError for others."""
    if isinstance(given, bool) or not isinstance(given, (str, int)):
        raise ValueError
    return str(given)


def recordings_of(path: Path) -> Dict[str, Tuple[Dict[str, Any], Path]]:
    """The rows of a manifest of recordings by their `id`, each with the folder of the manifest. Raises as entries_of, and ArgumentError for a row
    that is none and for an id that another row has."""
    found: Dict[str, Tuple[Dict[str, Any], Path]] = {}
    for number, line in _lines(path):
        where = f"{shown(str(path))}:{number}"
        try:
            row = _row(line)
            name = _id(row["id"])
        except _Refused as trouble:
            raise errors.ArgumentError(f"{where}: {trouble}") from None
        except (ValueError, KeyError):
            raise errors.ArgumentError(f"{where}: is no row of a recording: it has no id") from None
        if name in found:
            raise errors.ArgumentError(f"{where}: an earlier row has the id {name!r} too")
        found[name] = (row, path.parent)
    return found


def entries_of(path: Path, recordings: Recordings) -> Iterator[Entry]:
    """An entry for each row, in their order; what else a row says goes on into the output. Raises OSError and AudioFileError."""
    for number, line in _lines(path):
        where = f"{shown(str(path))}:{number}"
        name = where
        more: Optional[Dict[str, Any]] = None
        try:
            row = _row(line)
            key = next((one for one in NAMED_BY if row.get(one) and isinstance(row[one], (str, list))), None)
            if key is not None:
                said = {other: value for other, value in row.items() if other != key}
                more = {"manifest": said} if said else {}
                name = shown(_first_of(row[key]))
                if isinstance(row[key], list) and len(row[key]) > 1:
                    more["files"] = [shown(_first_of([one])) for one in row[key]]
                more = more or None
                yield _flat(row, key, path.parent, name, more)
            else:
                more = {"manifest": row}
                yield _nested(row, path.parent, recordings, more)
        except _Refused as trouble:
            yield Entry(name, "", more, f"{where}: {trouble}")


def _first_of(named: Any) -> str:
    first = named if isinstance(named, str) else named[0]
    if not isinstance(first, str):
        raise _Refused("names its recording by something other than text")
    return first


def _flat(row: Dict[str, Any], key: str, folder: Path, name: str, more: Optional[Dict[str, Any]]) -> Entry:
    """A row that names its file at the first level. Relative names start at the manifest's folder."""
    _refuse_changes(row)
    begin = _seconds(row, "offset", 0.0)
    duration = _seconds(row, "duration", None, least=0.0)
    files = [row[key]] if isinstance(row[key], str) else row[key]
    paths = [_checked(_first_of([one]), str(folder / _first_of([one]))) for one in files]
    parts: Tuple[Tuple[str, Tuple[int, ...]], ...] = ()
    if len(paths) > 1:
        parts = tuple((one, (number,)) for number, one in enumerate(paths, 1))
    whole = not begin and duration is None and not parts
    return Entry(name, paths[0], more, "", None if whole else Piece(begin or 0.0, duration, (), parts))


def _nested(row: Dict[str, Any], folder: Path, recordings: Recordings, more: Optional[Dict[str, Any]]) -> Entry:
    """A row of a recording with its sources, or of a piece of such a recording."""
    if "sources" in row:
        return _of_sources(row, folder, Piece(), more)
    _refuse_changes(row)
    recording = row.get("recording")
    name = row.get("recording_id")
    if recording is None and isinstance(name, (str, int)) and not isinstance(name, bool):
        if _id(name) not in recordings:
            raise _Refused(f"there is no recording {name!r}; --recordings names the manifest that has it")
        recording, folder = recordings[_id(name)]
    if recording is None:
        odd = next((one for one in NAMED_BY if row.get(one) not in (None, "", [])), None)
        if odd is not None:
            raise _Refused(f"{odd}: expected a name or a list of names, got {_brief(row[odd])}")
        raise _Refused(f"names no recording ({', '.join(NAMED_BY)}, sources, recording, recording_id)")
    if not isinstance(recording, dict):
        raise _Refused(f"recording: expected a row with sources, got {_brief(recording)}; {NAMED_BY[0]} names a file")
    if "sources" not in recording:
        raise _Refused("its recording has no sources")
    channels = sorted(set(_counted_from_0(row.get("channel", ()), "channel")))
    piece = Piece(_seconds(row, "start", 0.0) or 0.0, _seconds(row, "duration", None, least=0.0), tuple(channels))
    return _of_sources(recording, folder, piece, more)


def _refuse_changes(row: Dict[str, Any]) -> None:
    """Refuses a row whose sound is not that of its files: what was found in these would be said of something else."""
    if isinstance(row.get("tracks"), list) and row["tracks"]:
        raise _Refused("a mixture of several recordings (tracks) cannot be heard before it is mixed")
    given = row.get("transforms")
    if given:
        names = [one.get("name", "?") if isinstance(one, dict) else one for one in (given if isinstance(given, list) else [given])]
        raise _Refused(f"its sound is to be changed first (transforms: {', '.join(map(str, names))}), which is not done here")


def _of_sources(recording: Dict[str, Any], folder: Path, piece: Piece, more: Optional[Dict[str, Any]]) -> Entry:
    sources = recording["sources"]
    if not isinstance(sources, list) or not sources or not all(isinstance(one, dict) for one in sources):
        raise _Refused("sources: expected a list of type, channels and source")
    _refuse_changes(recording)
    parts: List[Tuple[str, Tuple[int, ...]]] = []
    for source in sources:
        if source.get("type", "file") != "file":
            raise _Refused(f"a source of type {source.get('type')!r} is not read: files alone are; no command of a manifest is run, and no address opened")
        if not isinstance(source.get("source"), str) or not source["source"]:
            raise _Refused("sources: one names no file")
        parts.append((_checked(source["source"], _found(source["source"], folder)), _counted_from_0(source.get("channels", ()), "channels")))
    numbers = [number for _, held in parts for number in held]
    if len(parts) > 1 and (len(set(numbers)) < len(numbers) or not all(held for _, held in parts)):
        raise _Refused("sources: several files need channels of their own")
    if len(parts) == 1 and numbers == list(range(1, len(numbers) + 1)):
        parts = [(parts[0][0], ())]  # all channels of one file
    plain = len(parts) == 1 and not parts[0][1]
    piece = piece._replace(parts=() if plain else tuple(parts))
    name = shown(sources[0]["source"])
    return Entry(name, parts[0][0], more, "", None if piece == Piece() else piece)


def _checked(name: str, path: str) -> str:
    """`path`, of the recording `name`. Refuses names that can be none."""
    trouble = trouble_of(name, path)
    if trouble:
        raise _Refused(trouble)
    return path


def _found(name: str, folder: Path) -> str:
    """Toolkits write such names from where they run; a manifest that was moved with its recordings has them beside it."""
    beside = str(folder / name)
    return name if os.path.isabs(name) or not os.path.exists(beside) and os.path.exists(name) else beside


def _counted_from_0(given: Any, what: str) -> Tuple[int, ...]:
    """Channels as toolkits count them, a number or a list of such, from 1 on."""
    numbers = given if isinstance(given, (list, tuple)) else [given]
    if not all(isinstance(one, int) and not isinstance(one, bool) and 0 <= one < 65535 for one in numbers):
        raise _Refused(f"{what}: expected channels from 0 on, got {given!r}")
    return tuple(one + 1 for one in numbers)


def _seconds(row: Dict[str, Any], name: str, missing: Optional[float], least: float = -math.inf) -> Optional[float]:
    """A time of a row; `missing` where it says none. Refuses what is no number, below 0, or not above `least`."""
    value = row.get(name)
    if value is None:
        return missing
    if isinstance(value, bool) or not isinstance(value, (int, float)) or not 0 <= value <= 1e9 or value <= least:
        raise _Refused(f"{name}: expected seconds{' above 0' if least == 0 else ', 0 or more'}, got {value!r}")
    return float(value)
