# SPDX-License-Identifier: Apache-2.0
"""Shards on the workers of a Dask cluster: a task for each, which runs a process on its worker's machine.

Folder, recordings and this package have to be there under the same names on every machine. A worker that is lost is the scheduler's to replace; the
rows that its shard had by then stay. Where the run here is ended its tasks are cancelled, and the processes that work for it are ended.
"""
from __future__ import annotations

import importlib
import logging
import os
import signal
import subprocess
import sys
import threading
import uuid
from contextlib import suppress
from pathlib import Path
from typing import Any, Dict, List, Set

from .. import errors
from .bar import Bar
from .plan import Facts, Plan, Shard

_lock = threading.Lock()
_working: Dict[str, Set["subprocess.Popen[str]"]] = {}  # on a worker: the processes of each run
_ended: Set[str] = set()


def run(plan: Plan, bar: Bar, address: str) -> None:
    """Makes the shards that are missing, by the scheduler at `address` (or of the file of that name). Raises UnavailableError without Dask, StateError
    where the cluster cannot be reached or shards could not be made."""
    distributed = _distributed()
    for name in ("asyncio", "distributed", "tornado"):  # what they tell of a connection that closes is in the way of what is said here
        logging.getLogger(name).setLevel(logging.CRITICAL)
    where = {"scheduler_file": address} if os.path.isfile(address) else {"address": address}
    try:
        client = distributed.Client(**where, set_as_default=False, name="wvad")
    except (OSError, ValueError) as trouble:
        raise errors.StateError(f"{address}: no Dask scheduler answers: {trouble}") from None
    try:
        _make(distributed, client, plan.missing(), bar)
    finally:
        client.close()


def _distributed() -> Any:
    try:
        return importlib.import_module("distributed")
    except ImportError as reason:
        raise errors.UnavailableError("--dask needs the package distributed (Debian: python3-distributed; elsewhere: pip install distributed): "
                                      f"{reason}") from None


def _make(distributed: Any, client: Any, shards: List[Shard], bar: Bar) -> None:
    run_id = uuid.uuid4().hex  # two runs may ask for shards of one number
    futures = {client.submit(make, os.path.abspath(one.plan.folder), one.number, run_id, key=f"wvad-{run_id}-{one.number}", pure=False): one
               for one in shards}
    failed: Dict[int, BaseException] = {}
    try:
        for future in distributed.as_completed(list(futures), loop=client.loop):
            trouble = future.exception()
            if trouble is None:
                facts = future.result()
                bar.step(facts["recordings"], facts["errors"])
            else:
                failed[futures[future].number] = trouble
    except BaseException:
        before = signal.signal(signal.SIGINT, signal.SIG_IGN)  # impatience would leave them running
        try:
            with suppress(Exception):
                client.cancel(list(futures), force=True)
                client.run(end, run_id)
        finally:
            signal.signal(signal.SIGINT, before)
        raise
    if failed:
        first = min(failed)
        raise errors.StateError(f"{len(failed)} of {len(shards)} shards could not be made; the same command tries again. Shard {first}: {failed[first]}")


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
