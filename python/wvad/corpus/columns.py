# SPDX-License-Identifier: Apache-2.0
"""Rows as columns of fixed types, for tables: `numpy.load(shard)` gives arrays, those of `recording.*` of one length and those of `sentence.*` of another.

`sentence.recording` is the place of its recording in the whole corpus, `recording.number` the same. What a recording that has an error lacks is 0, "" or
not-a-number; `recording.manifest` is what the manifest says, `recording.files` the list of the files where there are several, both as JSON.
"""
from __future__ import annotations

import json
from pathlib import Path
from typing import Any, Dict, List

import numpy as np

_RECORDING = {"file": str, "path_hex": str, "error": str, "kind": str, "offset": np.float64, "rate": np.int32, "channels": np.int32,
              "duration": np.float64, "damage": str, "note": str}
_AS_JSON = ("manifest", "files")
_SENTENCE = {"channel": np.int32, "begin": np.float64, "end": np.float64, "level": np.float64, "snr": np.float64, "clipped": np.float64,
             "began_in_speech": np.bool_, "ended_in_speech": np.bool_}


def write(rows: Path, out: Path, first: int) -> None:
    """Writes the rows of JSON in `rows` as columns to `out`. `first`: the place of the first row in the whole corpus. The same rows give the same
    bytes."""
    found: Dict[str, List[Any]] = {f"recording.{name}": [] for name in ("number", *_RECORDING, "sentences", *_AS_JSON)}
    found.update({f"sentence.{name}": [] for name in ("recording", *_SENTENCE)})
    with open(rows, encoding="utf-8") as file:
        for number, line in enumerate(file, first):
            _take(found, number, json.loads(line))
    types: Dict[str, Any] = {"recording.number": np.int64, "recording.sentences": np.int64, "sentence.recording": np.int64,
                             **{f"recording.{name}": str for name in _AS_JSON},
                             **{f"recording.{name}": one for name, one in _RECORDING.items()}, **{f"sentence.{name}": one for name, one in _SENTENCE.items()}}
    with open(out, "wb") as written:
        np.savez(written, **{name: np.array(values, types[name]) for name, values in found.items()})


def _take(found: Dict[str, List[Any]], number: int, row: Dict[str, Any]) -> None:
    found["recording.number"].append(number)
    for name, kind in _RECORDING.items():
        found[f"recording.{name}"].append(row.get(name, _missing(kind)))
    found["recording.sentences"].append(len(row.get("sentences", ())))
    for name in _AS_JSON:
        found[f"recording.{name}"].append(json.dumps(row[name], ensure_ascii=False) if name in row else "")
    for sentence in row.get("sentences", ()):
        found["sentence.recording"].append(number)
        for name, kind in _SENTENCE.items():
            value = sentence[name]
            found[f"sentence.{name}"].append(_missing(kind) if value is None else value)


def _missing(kind: Any) -> Any:
    return "" if kind is str else np.nan if kind is np.float64 else 0
