# SPDX-License-Identifier: Apache-2.0
"""What is written of one recording, or of a piece of one."""
from __future__ import annotations

import json
import math
import warnings
from typing import Any, Dict

from .. import errors, segments
from .entry import Entry, Piece
from .piece import PieceReader

_SENTENCE = ("channel", "begin", "end", "level", "snr", "clipped", "began_in_speech", "ended_in_speech")
Row = Dict[str, Any]


def row_of(entry: Entry, options: Dict[str, Any]) -> Row:
    """The row of an entry. Whatever is wrong with it becomes a row too; raises only for what is wrong with the run: UnavailableError (no decoders)
    and ModelError."""
    row: Row = entry.begin_row()
    try:
        if entry.trouble:
            raise errors.AudioFileError(entry.trouble)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", errors.AudioWarning)  # the row says it
            return {**row, **(_of_whole(entry, options) if entry.piece is None else _of_piece(entry, entry.piece, options))}
    except (errors.UnavailableError, errors.ModelError):
        raise
    except Exception as trouble:
        kind = "AudioFileError" if isinstance(trouble, errors.AudioFileError) else type(trouble).__name__
        return {**row, "error": str(trouble), "kind": kind}


def _of_whole(entry: Entry, options: Dict[str, Any]) -> Row:
    found = segments.segment(entry.path, **options).finish()
    sentences = [{name: rounded(value) for name, value in one.to_dict().items() if name in _SENTENCE} for one in found]
    return {"rate": found.rate, "channels": found.channels, "duration": rounded(found.duration), "damage": found.damage, "note": found.note,
            "sentences": sentences}


def _of_piece(entry: Entry, piece: Piece, options: Dict[str, Any]) -> Row:
    """Times are those of the recording, channels too."""
    with PieceReader(entry, piece) as reader:
        channel = options["channel"]
        if isinstance(channel, int):
            if channel not in reader.heard:
                raise errors.ArgumentError(f"channel: {channel} is not among those of the piece ({', '.join(map(str, reader.heard))})")
            channel = reader.heard.index(channel) + 1
        found = segments.segment(reader.blocks(), reader.rate, **{**options, "channel": channel}).finish()
        sentences = []
        for one in found:
            values = one.to_dict()
            values["channel"] = reader.heard[one.channel - 1] if one.channel else 0
            values["begin"] = (one.begin_frame + reader.first) / reader.rate
            values["end"] = (one.end_frame + reader.first) / reader.rate
            sentences.append({name: rounded(value) for name, value in values.items() if name in _SENTENCE})
        # The whole of several files is none of them.
        offset = {} if piece._replace(parts=()) == Piece() else {"offset": rounded(reader.first / reader.rate)}
        return {**offset, "rate": reader.rate, "channels": reader.channels, "duration": rounded(found.duration), "damage": reader.damage,
                "note": reader.note or found.note, "sentences": sentences}


def rounded(value: Any) -> Any:
    """Numbers to what means something: microseconds, and millionths of a decibel."""
    return round(value, 6) if isinstance(value, float) else value


def as_line(row: Row) -> bytes:
    """A row as it is written: JSON in UTF-8. What is no number there (a manifest may say NaN or Infinity) is null."""
    try:
        text = json.dumps(row, ensure_ascii=False, allow_nan=False)
    except ValueError:
        text = json.dumps(_numbers(row), ensure_ascii=False)
    return text.encode("utf-8", "backslashreplace") + b"\n"


def _numbers(value: Any) -> Any:
    """A value without floats that JSON cannot say."""
    if isinstance(value, dict):
        return {name: _numbers(one) for name, one in value.items()}
    if isinstance(value, (list, tuple)):
        return [_numbers(one) for one in value]
    return None if isinstance(value, float) and not math.isfinite(value) else value
