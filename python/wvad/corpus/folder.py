# SPDX-License-Identifier: Apache-2.0
"""The folder of a run in shards: whether it is one, who has it, and which files in it are the run's. Those alone are ever removed."""
from __future__ import annotations

import fcntl
import json
import os
import re
from contextlib import contextmanager, suppress
from pathlib import Path
from typing import Iterator, List

from .. import errors
from .names import shown
from .plan import Plan

_SHARD = re.compile(r"shard-\d{5,}\.(jsonl|npz)")
#: What lies in work/ of a run; `.new` is what write_whole() leaves where it is killed.
_WORK = re.compile(r"lock|\d{5,}\.(list|part|npz\.new)|slurm-\d+_\d+\.log|"
                   r"(plan\.json|manifest\.json|SHA256SUMS|slurm\.json|\d{5,}\.json|slurm-\d+\.list)(\..+\.\d+\.new)?")


def _is_work(one: "os.DirEntry[str]") -> bool:
    return _WORK.fullmatch(one.name) is not None and one.is_file(follow_symlinks=False)


def _check(folder: Path) -> None:
    """Raises ArgumentError for a folder that holds something else than a run: one that is done, that has begun, or whose list was not whole."""
    work = folder / "work"
    if work.is_symlink() or work.exists() and not work.is_dir():
        raise errors.ArgumentError(f"{shown(str(work))}: is no folder of a run")
    if not folder.is_dir() or not os.listdir(folder):
        return
    if (folder / "manifest.json").exists():
        results(folder)
    elif (work / "plan.json").exists():
        Plan(folder)
    elif os.listdir(folder) != ["work"] or not all(map(_is_work, os.scandir(work))):
        raise errors.ArgumentError(f"{shown(str(folder))}: is not empty, and holds no run to go on with")


@contextmanager
def held(folder: Path) -> Iterator[None]:
    """Keeps other runs out of `folder`, which is made where it is not there. Raises StateError where one is in it; ArgumentError for a folder that
    holds something else."""
    _check(folder)
    work = folder / "work"
    new = not folder.exists()
    work.mkdir(parents=True, exist_ok=True)
    with open(work / "lock", "ab") as file:
        try:
            fcntl.flock(file, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise errors.StateError(f"{shown(str(folder))}: another run is writing it") from None
        try:
            yield
        finally:
            if (folder / "manifest.json").exists() or not (work / "plan.json").exists():  # all is done, or nothing has begun
                _remove_work(work)
                if new and not os.listdir(folder):
                    folder.rmdir()


def _remove_work(work: Path) -> None:
    """Whatever else lies there stays, and so does the folder then."""
    with suppress(OSError):
        # Without its plan the rest is the list of a run that has not begun.
        for one in sorted(filter(_is_work, os.scandir(work)), key=lambda one: one.name != "plan.json"):
            os.unlink(one.path)
        work.rmdir()


def results(folder: Path) -> List[Path]:
    """The shards of a run that is whole. Raises ArgumentError for a manifest that is none."""
    path = folder / "manifest.json"
    try:
        names = [one["name"] for one in json.loads(path.read_bytes())["shards"]]
        return [folder / name for name in names if _SHARD.fullmatch(name)]
    except (ValueError, TypeError, KeyError):
        raise errors.ArgumentError(f"{shown(str(path))}: is no manifest of shards; it stays as it is") from None


def clear(folder: Path) -> None:
    """Removes the results of a run that was whole, and nothing else. Raises as results()."""
    shards = results(folder)
    (folder / "work" / "plan.json").unlink(missing_ok=True)
    for path in [*shards, folder / "SHA256SUMS", folder / "manifest.json"]:
        path.unlink(missing_ok=True)
