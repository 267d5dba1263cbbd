# SPDX-License-Identifier: Apache-2.0
"""Shards on the workers of a Dask cluster: a task for each, which runs a process on its worker's machine.

Folder, recordings and this package have to be there under the same names on every machine. A worker that is lost is the scheduler's to replace; the
rows that its shard had by then stay. Where the run here is ended its tasks are cancelled, and the processes that work for it are ended.
"""
from __future__ import annotations

import asyncio
import importlib
import json
import logging
import os
import re
import subprocess
import sys
import threading
import uuid
from contextlib import contextmanager, suppress
from pathlib import Path
from typing import Any, Dict, Iterator, List, Set

from .. import errors
from . import ending
from .bar import Bar
from .names import shown
from .plan import Facts, Plan, Shard

_ADDRESS = re.compile(r"([a-z]+://)?[^/\s]+:\d+")
_CLOSE_S = 5  # for a farewell to a scheduler that may be gone
_LOOK_S = 1.0  # whether there are workers
_lock = threading.Lock()
_working: Dict[str, Set["subprocess.Popen[str]"]] = {}  # on a worker: the processes of each run
_ended: Set[str] = set()


def run(plan: Plan, bar: Bar, address: str) -> None:
    """Makes the shards that are missing, by the scheduler at `address` (or of the file of that name). Raises UnavailableError without Dask,
    ArgumentError for what is neither address nor file, StateError where the cluster cannot be reached, is lost, or shards could not be made."""
    distributed = _distributed()
    logging.disable(logging.CRITICAL)  # what Dask logs of a connection that closes is in the way of what is said here
    where = scheduler_of(address)
    try:
        client = distributed.Client(where, set_as_default=False, name="wvad")
    except Exception as trouble:
        raise errors.StateError(f"{where}: no Dask scheduler answers: {trouble}") from None
    try:
        _make(distributed, client, plan.missing(), bar)
    except (errors.Error, OSError):
        raise
    except (Exception, asyncio.CancelledError) as trouble:  # a client has many exceptions for a connection that is gone
        raise errors.StateError(f"{where}: the Dask scheduler was lost ({type(trouble).__name__}); the same command goes on with the shards that are "
                                "missing") from None
    finally:
        with suppress(Exception, asyncio.CancelledError):
            client.close(_CLOSE_S)


def scheduler_of(address: str) -> str:
    """The address of a scheduler, which `address` is, or which the scheduler's file of that name holds. A client given anything else would wait for
    it, some without an end. Raises ArgumentError."""
    if _ADDRESS.fullmatch(address):
        return address
    try:
        with open(address, encoding="utf-8") as file:
            found = json.load(file)["address"]
        if isinstance(found, str) and _ADDRESS.fullmatch(found):
            return found
    except OSError as trouble:
        raise errors.ArgumentError(f"--dask {shown(address)}: is no address (tcp://HOST:PORT), and no scheduler's file: {trouble.strerror}") from None
    except (ValueError, TypeError, KeyError, RecursionError):
        pass
    raise errors.ArgumentError(f"--dask {shown(address)}: is no whole scheduler's file: it has no address")


def _distributed() -> Any:
    try:
        return importlib.import_module("distributed")
    except ImportError as reason:
        raise errors.UnavailableError("--dask needs the package distributed (Debian: python3-distributed; elsewhere: pip install distributed): "
                                      f"{reason}") from None


def _make(distributed: Any, client: Any, shards: List[Shard], bar: Bar) -> None:
    run_id = uuid.uuid4().hex  # two runs may ask for shards of one number
    futures: Dict[Any, Shard] = {}
    failed: Dict[int, BaseException] = {}
    try:
        for one in shards:  # an interrupt in between ends those that are handed in
            futures[client.submit(make, os.path.abspath(one.plan.folder), one.number, run_id, key=f"wvad-{run_id}-{one.number}", pure=False)] = one
        with _told_of_workers(client, bar):
            for future in distributed.as_completed(list(futures), loop=client.loop):
                trouble = future.exception()
                if trouble is None:
                    facts = future.result()
                    bar.step(facts["recordings"], facts["errors"])
                else:
                    failed[futures[future].number] = trouble
    except (Exception, asyncio.CancelledError):
        raise  # the scheduler is gone, and with it who could end the tasks
    except BaseException:
        with ending.held_off(), suppress(Exception):  # impatience would leave them running
            client.cancel(list(futures), force=True)
            client.run(end, run_id)
        raise
    if failed:
        first = min(failed)
        raise errors.StateError(f"{len(failed)} of {len(shards)} shards could not be made; the same command tries again. Shard {first}: {failed[first]}")


@contextmanager
def _told_of_workers(client: Any, bar: Bar) -> Iterator[None]:
    """Meanwhile a line says when there is no worker, and when there is one again: the tasks wait for one without a word."""
    over = threading.Event()
    missed = False

    def tell(none: bool) -> None:
        nonlocal missed
        if none != missed:
            bar.say("there is no Dask worker; waiting for one" if none else "there is a Dask worker; going on")
            missed = none

    def look() -> None:
        while True:
            with suppress(Exception, asyncio.CancelledError):  # a scheduler that is gone is told elsewhere
                tell(not client.scheduler_info()["workers"])
            if over.wait(_LOOK_S):
                return

    watcher = threading.Thread(target=look, daemon=True)
    watcher.start()
    try:
        yield
    except BaseException:
        over.set()
        raise
    over.set()
    watcher.join(_CLOSE_S)
    tell(none=False)  # a worker that came and made the last shard between two looks


def make(folder: str, number: int, run_id: str) -> Facts:
    """On a worker: makes a shard in a process of its own. Raises RuntimeError with that process's words."""
    with _lock:
        if run_id in _ended:
            raise RuntimeError("the run was ended")
        child = subprocess.Popen([sys.executable, "-m", "wvad.corpus.task", folder, str(number), "--parent", str(os.getpid())],
                                 stdin=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        _working.setdefault(run_id, set()).add(child)
    try:
        words = child.communicate()[1]
    finally:
        child.kill()
        with _lock:
            _working[run_id].discard(child)
    if child.returncode != 0:
        raise RuntimeError(words.strip()[-2000:] or f"its process ended with {child.returncode}")
    return Plan(Path(folder)).shards()[number].facts()


def end(run_id: str) -> None:
    """On a worker: ends the processes of a run; none begins any more."""
    with _lock:
        _ended.add(run_id)
        for child in _working.get(run_id, ()):
            child.kill()
