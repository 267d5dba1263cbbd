# SPDX-License-Identifier: Apache-2.0
"""A run in shards: which recordings are in which shard, where its results lie, and how far it is.

    FOLDER/shard-00000.jsonl ...   results, each whole when it appears
    FOLDER/SHA256SUMS              of all of them, as sha256sum -c takes it
    FOLDER/manifest.json           what made them, and what is in each; the last that appears
    FOLDER/work/                   until then: plan.json, 00000.list (recordings), 00000.part (rows so far), 00000.json (what manifest.json says of
                                   the shard), lock; of Slurm slurm.json (the job), the lists of its tasks, and logs

The recordings are listed once, when the run begins. Everything in work/ is read and written by whichever process makes a shard, on whichever machine,
and holds nothing of time or place that could get into the results.
"""
from __future__ import annotations

import hashlib
import json
import operator
import os
from pathlib import Path
from typing import Any, Dict, Iterable, Iterator, List, NamedTuple, Tuple

from .. import errors
from . import columns
from .entry import Entry, of_line, to_line
from .names import shown
from .part import Part

FORMS = {"jsonl": ".jsonl", "columns": ".npz"}
Facts = Dict[str, Any]


def write_whole(path: Path, data: bytes, scratch_folder: Path) -> None:
    """Writes a file that is there as a whole or not at all; what it is until then lies in `scratch_folder`."""
    scratch = scratch_folder / f"{path.name}.{os.uname().nodename}.{os.getpid()}.new"
    with open(scratch, "wb") as file:
        file.write(data)
        file.flush()
        os.fsync(file.fileno())
    os.replace(scratch, path)


class Given(NamedTuple):
    """What a run is asked for; two with the same give the same results."""

    header: Dict[str, Any]
    options: Dict[str, Any]
    form: str
    size: int
    inputs: List[str]


class Plan:
    """A run that has begun. Raises StateError where `folder` holds none, ArgumentError where what it holds is no plan of a run."""

    def __init__(self, folder: Path) -> None:
        self.folder = folder
        self.work = folder / "work"
        path = self.work / "plan.json"
        try:
            kept = json.loads(path.read_bytes())
            self.given = Given(*kept["given"])
            self.counts: List[int] = list(map(operator.index, kept["counts"]))
            self.cwd = os.fspath(kept["cwd"])
            version = self.given.header["wvad"]
        except FileNotFoundError:
            raise errors.StateError(f"{shown(str(folder))}: there is no run to go on with") from None
        except (ValueError, TypeError, KeyError):
            version = None
        if not isinstance(version, str) or self.given.form not in FORMS:
            raise errors.ArgumentError(f"{shown(str(path))}: is no plan of a run; it stays as it is")

    def shards(self) -> List["Shard"]:
        """All of them, in their order."""
        first, found = 0, []
        for number, count in enumerate(self.counts):
            found.append(Shard(self, number, first, count))
            first += count
        return found

    def missing(self) -> List["Shard"]:
        """Those that are still to be made."""
        there = set(os.listdir(self.folder))
        return [shard for shard in self.shards() if shard.out.name not in there or not shard.is_done()]

    def done(self) -> Tuple[int, int, int]:
        """Recordings, those of them that are in whole shards, and those of these that have an error."""
        missing = {shard.number for shard in self.missing()}
        whole = [shard.facts() for shard in self.shards() if shard.number not in missing]
        return sum(self.counts), sum(one["recordings"] for one in whole), sum(one["errors"] for one in whole)

    def drop_damaged(self) -> None:
        """Takes shards that are whole and not as they were made out of the run; they are missing then."""
        missing = {shard.number for shard in self.missing()}
        for shard in self.shards():
            if shard.number not in missing:
                shard.drop_damaged()

    def finish(self) -> Facts:
        """Writes sums and manifest over all shards, which have to be there. Gives the manifest."""
        shards = [shard.facts() for shard in self.shards()]
        totals = {name: sum(one[name] for one in shards) for name in ("recordings", "errors", "sentences", "bytes")}
        totals["duration"] = round(sum(one["duration"] for one in shards), 6)
        whole = {**self.given.header, "recordings_sha256": _sha256(*(shard.listed for shard in self.shards())), "form": self.given.form, **totals, "shards": shards}
        write_whole(self.folder / "SHA256SUMS", "".join(f"{one['sha256']}  {one['name']}\n" for one in shards).encode("ascii"), self.work)
        write_whole(self.folder / "manifest.json", json.dumps(whole, indent=1, ensure_ascii=False).encode("utf-8", "backslashreplace") + b"\n",
                    self.work)
        return whole


class Shard:
    """One shard of a plan: recordings `first` to `first` + `count` of the input."""

    def __init__(self, plan: Plan, number: int, first: int, count: int) -> None:
        self.plan, self.number, self.first, self.count = plan, number, first, count
        self._base = plan.work / f"{number:05}"
        self._facts = Path(f"{self._base}.json")
        self.listed = Path(f"{self._base}.list")
        self.out = plan.folder / f"shard-{number:05}{FORMS[plan.given.form]}"

    def entries(self) -> List[Entry]:
        """Its recordings."""
        with open(self.listed, "rb") as file:
            return [of_line(line) for line in file]

    def is_done(self) -> bool:
        """Whether it is whole."""
        return self.out.exists() and self._facts.exists()

    def facts(self) -> Facts:
        """What is known of one that is whole: name, recordings, errors, sentences, duration (in seconds), bytes, sha256."""
        found: Facts = json.loads(self._facts.read_bytes())
        return found

    def drop_damaged(self) -> None:
        """Removes it where size or sum are not those of its facts. It has to be whole."""
        try:
            facts = self.facts()
            same = self.out.stat().st_size == facts["bytes"] and _sha256(self.out) == facts["sha256"]
        except (ValueError, TypeError, KeyError):
            same = False
        if not same:
            self._facts.unlink()
            self.out.unlink()

    def open(self, entries: List[Entry], wait: bool = False) -> Part:
        """Its rows so far; raises as Part."""
        return Part(self._base, b"", entries, wait)

    def finish(self, part: Part) -> Facts:
        """Gives it its name, when all its rows are in `part`."""
        part.sync()
        made = part.path
        if self.plan.given.form == "columns":
            made = Path(f"{self._base}.npz.new")
            columns.write(part.path, made, self.first)
        facts = {"name": self.out.name, "recordings": self.count, "errors": part.bad, **_heard(part.path), "bytes": made.stat().st_size,
                 "sha256": _sha256(made)}
        write_whole(self._facts, json.dumps(facts).encode("ascii"), self.plan.work)
        os.replace(made, self.out)
        return facts


def _heard(rows: Path) -> Facts:
    sentences, duration = 0, 0.0
    with open(rows, "rb") as file:
        for line in file:
            row = json.loads(line)
            sentences += len(row.get("sentences", ()))
            duration += row.get("duration", 0)
    return {"sentences": sentences, "duration": round(duration, 6)}


def _sha256(*paths: Path) -> str:
    """Of files one behind the other."""
    found = hashlib.sha256()
    for path in paths:
        with open(path, "rb") as file:
            for block in iter(lambda: file.read(1 << 20), b""):
                found.update(block)
    return found.hexdigest()


def begin(folder: Path, given: Given, entries: Iterable[Entry]) -> Plan:
    """The run in `folder`: the one that has begun there, or a new one over `entries`. Raises ArgumentError where it was begun with something else."""
    work = folder / "work"
    if (work / "plan.json").exists():
        plan = Plan(folder)
        if json.dumps(plan.given) != json.dumps(given):
            raise errors.ArgumentError(f"{shown(str(folder))}: was begun by another version, with another model, with other settings or with other recordings; "
                                       "delete it, or give another name")
        return plan
    counts = [_write_list(work / f"{number:05}.list", some) for number, some in _cut(entries, given.size)]
    write_whole(work / "plan.json", json.dumps({"given": given, "counts": counts, "cwd": os.getcwd()}).encode("ascii"), work)
    return Plan(folder)


def _cut(entries: Iterable[Entry], size: int) -> Iterator[Tuple[int, List[Entry]]]:
    some: List[Entry] = []
    number = 0
    for entry in entries:
        some.append(entry)
        if len(some) == size:
            yield number, some
            number, some = number + 1, []
    if some:
        yield number, some


def _write_list(path: Path, entries: List[Entry]) -> int:
    with open(path, "wb") as file:
        file.writelines(map(to_line, entries))
    return len(entries)
