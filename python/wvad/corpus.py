# SPDX-License-Identifier: Apache-2.0
"""`python -m wvad corpus`: the sentences of many recordings, on all cores of one machine.

    python -m wvad corpus talks/ more.jsonl -o sentences.jsonl

The output has a header row, which says what made it, and a row for each recording, in the order of the input:

    {"wvad": "0.1.0", "profile": "default", "model": null, "channel": "mix", "settings": {"min_silence": 0.3}}
    {"file": "a.wav", "rate": 16000, "channels": 1, "duration": 11.0, "damage": "", "note": "", "sentences": [{"begin": 0.05, ...}, ...]}
    {"file": "b.txt", "error": "b.txt: not an audio file that can be read ...", "kind": "AudioError"}

It appears under its name when it is whole; until then it is NAME.part. After an interrupt, a kill or a loss of power the same command goes on
where the last whole row ends, and the result is the same to the byte as without. Rows do not depend on the number of processes.
"""
from __future__ import annotations

import argparse
import collections
import ctypes
import fcntl
import json
import multiprocessing
import os
import signal
import sys
import time
import warnings
from concurrent.futures import Future, ProcessPoolExecutor
from concurrent.futures.process import BrokenProcessPool
from pathlib import Path
from typing import Any, BinaryIO, Deque, Dict, Iterator, List, Optional, Tuple

from . import __version__, corpus_input, errors, segments, settings

_Task = Tuple[str, Dict[str, Any]]
_SENTENCE = ("channel", "begin", "end", "level", "snr", "clipped", "began_in_speech", "ended_in_speech")


def row_of(entry: corpus_input.Entry, options: Dict[str, Any]) -> Dict[str, Any]:
    """What is written of one recording. Whatever is wrong with it becomes a row too."""
    row: Dict[str, Any] = {"file": entry.name, **entry.more}
    try:
        if entry.trouble:
            raise errors.AudioFileError(entry.trouble)
        with warnings.catch_warnings():
            warnings.simplefilter("ignore", errors.AudioWarning)  # the row says it
            found = segments.segment(entry.path, **options).finish()
    except (errors.Error, OSError, ValueError) as trouble:
        kind = errors.AudioFileError if isinstance(trouble, errors.AudioFileError) else type(trouble)
        return {**row, "error": str(trouble), "kind": kind.__name__}
    sentences = [{name: rounded(value) for name, value in one.to_dict().items() if name in _SENTENCE} for one in found]
    return {**row, "rate": found.rate, "channels": found.channels, "duration": rounded(found.duration), "damage": found.damage,
            "note": found.note, "sentences": sentences}


def rounded(value: Any) -> Any:
    """Numbers to what means something: microseconds, and millionths of a decibel."""
    return round(value, 6) if isinstance(value, float) else value


def as_line(row: Dict[str, Any]) -> bytes:
    return json.dumps(row, ensure_ascii=False).encode("utf-8", "backslashreplace") + b"\n"


def _begin_worker() -> None:
    signal.signal(signal.SIGINT, signal.SIG_IGN)  # the first process ends the others
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)  # PR_SET_PDEATHSIG: where it is killed they go too


def _lines_at_once(entries: List[corpus_input.Entry], options: Dict[str, Any], jobs: int) -> Iterator[bytes]:
    """The rows in their order, each recording on a process with an engine of its own. One that takes its process down (memory, a defect) is
    tried once more by itself; if that fails too, its row says so."""
    context = multiprocessing.get_context("spawn")

    def pool(count: int) -> ProcessPoolExecutor:
        return ProcessPoolExecutor(count, mp_context=context, initializer=_begin_worker)

    workers = pool(jobs)
    running: "Deque[Tuple[corpus_input.Entry, Future[Dict[str, Any]]]]" = collections.deque()
    left = collections.deque(entries)
    try:
        while left or running:
            while left and len(running) < 2 * jobs:
                try:
                    running.append((left[0], workers.submit(row_of, left[0], options)))
                except BrokenProcessPool:
                    break  # the first of those that run will say so
                left.popleft()
            entry, future = running.popleft()
            try:
                row = future.result()
            except BrokenProcessPool:
                left.extendleft([entry for entry, _ in reversed(running)])
                running.clear()
                row = _alone(pool(1), entry, options)
                workers = pool(jobs)
            yield as_line(row)
    finally:
        workers.shutdown(wait=False, cancel_futures=True)
        for process in multiprocessing.active_children():
            process.terminate()


def _alone(worker: ProcessPoolExecutor, entry: corpus_input.Entry, options: Dict[str, Any]) -> Dict[str, Any]:
    with worker:
        try:
            return worker.submit(row_of, entry, options).result()
        except BrokenProcessPool:
            return {"file": entry.name, **entry.more, "error": f"{entry.name}: the process that listened to it was ended", "kind": "BrokenProcessPool"}


def whole_rows(part: BinaryIO, header: bytes) -> int:
    """How many recordings a broken-off output holds; what stands behind its last whole row is cut off. Raises ArgumentError where it is the
    output of something else."""
    part.seek(0)
    data = part.read()
    end = data.rfind(b"\n") + 1
    if end and not data.startswith(header):
        raise errors.ArgumentError("was made by another version or with other settings; delete it, or give another name")
    part.truncate(end)
    part.seek(end)
    return data.count(b"\n", 0, end) - 1 if end else -1


def run(entries: List[corpus_input.Entry], out: Path, header: bytes, options: Dict[str, Any], jobs: int, quiet: bool) -> int:
    """Writes `out`; gives the number of recordings that have an error. Raises OSError where it cannot be written."""
    part = Path(f"{out}.part")
    bad = 0
    with open(part, "a+b") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise errors.StateError(f"{part}: another run is writing it") from None
        try:
            done = whole_rows(file, header)
        except errors.ArgumentError as trouble:
            raise errors.ArgumentError(f"{part}: {trouble}") from None
        if done < 0:
            file.write(header)
            done = 0
        file.seek(0)
        for number, line in enumerate(file.read().split(b"\n")[1:-1]):
            row = json.loads(line)
            if number >= len(entries) or row["file"] != entries[number].name:
                raise errors.ArgumentError(f"{part}: was made of other recordings ({row['file']}); delete it, or give another name")
            bad += "error" in row
        bar = _Bar(len(entries), done, quiet)
        for line in _lines_at_once(entries[done:], options, jobs):
            file.write(line)
            file.flush()
            bad += b'"error": ' in line and "error" in json.loads(line)
            bar.step(bad)
        bar.clear()
        os.fsync(file.fileno())
    os.replace(part, out)
    return bad


class _Bar:
    """How far a run is, on a terminal alone."""

    def __init__(self, total: int, done: int, quiet: bool) -> None:
        self._total, self._done, self._at_first = total, done, done
        self._shown = not quiet and sys.stderr.isatty()
        self._began = time.monotonic()

    def step(self, bad: int) -> None:
        """One more is done."""
        self._done += 1
        if not self._shown:
            return
        left = (time.monotonic() - self._began) / (self._done - self._at_first) * (self._total - self._done)
        full = 30 * self._done // self._total
        words = f"[{'#' * full}{'-' * (30 - full)}] {self._done}/{self._total}, {round(left) // 60}:{round(left) % 60:02} left"
        print(f"\r\x1b[K{words}{f', {bad} with errors' if bad else ''}", end="", file=sys.stderr, flush=True)

    def clear(self) -> None:
        """Leaves the line empty."""
        if self._shown:
            print("\r\x1b[K", end="", file=sys.stderr, flush=True)


def _setting(text: str) -> Tuple[str, float]:
    name, _, value = text.partition("=")
    try:
        return name, float(value)
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!r} is not NAME=NUMBER") from None


def _parse(arguments: Optional[List[str]]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="wvad corpus", description="The sentences of many recordings as JSON lines, on all cores.",
                                     epilog="Exit codes: 0 all done, 1 done, with recordings that have an error, 2 nothing could be done, "
                                            "130 interrupted; the same command goes on.")
    parser.add_argument("input", nargs="+", help="a recording, a folder (walked), a list of names (.txt) or a manifest (.jsonl)")
    parser.add_argument("-o", "--output", required=True, type=Path, help="file of JSON lines, which must not exist yet")
    parser.add_argument("-j", "--jobs", type=int, default=len(os.sched_getaffinity(0)), help="processes (default: as many as cores)")
    parser.add_argument("--profile", choices=settings.PROFILES, default="default")
    parser.add_argument("--model", help="name or path (default: what suits profile and rate)")
    parser.add_argument("--channel", default="mix", help="a number from 1, mix (default) or all")
    parser.add_argument("--set", type=_setting, action="append", default=[], metavar="NAME=NUMBER", help="a setting, such as min_silence=0.3")
    parser.add_argument("--force", action="store_true", help="replace the output")
    parser.add_argument("-q", "--quiet", action="store_true", help="no bar and no notes")
    return parser.parse_args(arguments)


def main(arguments: Optional[List[str]] = None) -> int:
    """The command; gives its exit code."""
    given = _parse(arguments)
    channel = int(given.channel) if given.channel.isdecimal() else given.channel
    values = dict(given.set)
    header = as_line({"wvad": __version__, "profile": given.profile, "model": given.model, "channel": channel, "settings": values})
    options = {"profile": given.profile, "model": given.model, "channel": channel, **values}
    try:
        settings.make(given.profile, values)
        if given.jobs < 1:
            raise errors.ArgumentError(f"--jobs {given.jobs}: expected 1 or more")
        if given.output.exists() and not given.force:
            raise errors.ArgumentError(f"{given.output}: exists already; --force replaces it")
        entries = corpus_input.entries(given.input)
        bad = run(entries, given.output, header, options, given.jobs, given.quiet)
    except (errors.Error, OSError) as trouble:
        print(f"wvad corpus: {trouble}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        print("\nwvad corpus: interrupted; the same command goes on from here", file=sys.stderr)
        return 130
    if not given.quiet:
        print(f"{given.output}: {len(entries)} recordings{f', {bad} of them with an error' if bad else ''}", file=sys.stderr)
    return 1 if bad else 0
