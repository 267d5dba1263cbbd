# SPDX-License-Identifier: Apache-2.0
"""Shards by an array job of Slurm, which goes on whether anybody watches it or not.

Folder, recordings and this package have to be there under the same names on every node. A task that ends before its shards are there (killed, out of
time) leaves its rows; the shards that are missing when the job is over go into another one, as long as that brings anything. Where the watching is ended,
by an interrupt, a kill or a terminal that is closed, the job stays; the same command watches it again.
"""
from __future__ import annotations

import json
import os
import re
import shlex
import shutil
import subprocess
import sys
import time
from typing import Dict, List, Optional, Tuple

from .. import errors
from .bar import Bar
from .plan import Plan, Shard, write_whole

_LOOK_S = 2.0  # at the files
_ASK_S = 30.0  # the controller, which many do, at most that often
_ARRAY = 1001  # Slurm's own limit where it says none


class Left(KeyboardInterrupt):
    """An interrupt behind which a job goes on; says which."""


def run(plan: Plan, bar: Bar, at_once: Optional[int], options: List[str]) -> None:
    """Makes the shards that are missing, `at_once` array tasks at a time (None: as Slurm likes); `options` are for sbatch. Raises UnavailableError
    without Slurm, StateError where it refuses the job or shards could not be made, Left for an interrupt."""
    for name in ("sbatch", "squeue"):
        if shutil.which(name) is None:
            raise errors.UnavailableError(f"--slurm needs Slurm's commands, and there is no {name} on this machine (Debian: slurm-client)")
    left = {shard.out.name: shard for shard in plan.missing()}
    job = _job_under_way(plan)
    while left:
        before = _progress(plan, left)
        job = job or _submit(plan, list(left.values()), at_once, options)
        try:
            _watch(plan, job, left, bar)
        except KeyboardInterrupt:
            raise Left(f"job {job} goes on; the same command watches it again, scancel {job} ends it") from None
        if left and _progress(plan, left) == before:
            raise errors.StateError(f"{len(left)} of {len(plan.counts)} shards could not be made; the same command tries again. Job {job}: {_words(plan, job)}")
        if not left:  # tasks of which nothing is wanted any more
            _slurm("scancel", "--quiet", "--state=PENDING", job)
        job = None


def _slurm(*command: str, script: Optional[str] = None) -> "subprocess.CompletedProcess[str]":
    """Out of reach of an interrupt: a job that nobody knows of would be left. One that comes here is raised when the command is gone."""
    with subprocess.Popen(command, stdin=None if script is None else subprocess.PIPE, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                          start_new_session=True) as child:
        try:
            words, trouble = child.communicate(script)
        except BaseException:
            child.kill()
            child.wait()
            raise
    return subprocess.CompletedProcess(command, child.returncode, words, trouble)


def _submit(plan: Plan, shards: List[Shard], at_once: Optional[int], options: List[str]) -> str:
    """Gives the number of the new job."""
    tasks = min(len(shards), _most_tasks())
    numbers = plan.work / f"slurm-{time.time_ns()}.list"
    write_whole(numbers, " ".join(str(shard.number) for shard in shards).encode("ascii"), plan.work)
    words = [sys.executable, "-m", "wvad.corpus.task", str(plan.folder), "--list", str(numbers), "--of", str(tasks)]
    log = str(plan.work).replace("%", "%%") + "/slurm-%A_%a.log"
    said = _slurm("sbatch", "--parsable", "--job-name=wvad-corpus", f"--output={log}", f"--array=0-{tasks - 1}" + (f"%{at_once}" if at_once else ""), *options,
                  script=f"#!/bin/sh\nexec {shlex.join(words)}\n")
    if said.returncode != 0:
        raise errors.StateError(f"sbatch: {said.stderr.strip()}")
    job = said.stdout.strip().split(";")[0]
    write_whole(plan.work / "slurm.json", json.dumps({"job": job}).encode("ascii"), plan.work)
    return job


def _most_tasks() -> int:
    found = re.search(r"^MaxArraySize\s*=\s*(\d+)", _slurm("scontrol", "show", "config").stdout, re.M)
    return max(int(found.group(1)) if found else _ARRAY, 1)


def _job_under_way(plan: Plan) -> Optional[str]:
    """The job that an earlier command has submitted, where it is not over."""
    try:
        job: str = json.loads((plan.work / "slurm.json").read_bytes())["job"]
    except FileNotFoundError:
        return None
    return None if _is_over(job) else job


def _is_over(job: str) -> bool:
    """Whether none of its tasks waits or runs. A controller that does not answer says nothing about that."""
    said = _slurm("squeue", "--noheader", "--jobs", job, "--format=%i")
    return "Invalid job id" in said.stderr if said.returncode != 0 else not said.stdout.strip()


def _watch(plan: Plan, job: str, left: Dict[str, Shard], bar: Bar) -> None:
    """Takes the shards that appear out of `left`, until there is none or the job is over."""
    pause = 1.0
    ask_at = time.monotonic() + pause
    while True:
        over = time.monotonic() >= ask_at and _is_over(job)
        for name in set(left).intersection(os.listdir(plan.folder)):
            if left[name].is_done():
                facts = left.pop(name).facts()
                bar.step(facts["recordings"], facts["errors"])
        if over or not left:
            return
        if time.monotonic() >= ask_at:
            pause = min(2 * pause, _ASK_S)
            ask_at = time.monotonic() + pause
        time.sleep(min(pause, _LOOK_S))


def _progress(plan: Plan, left: Dict[str, Shard]) -> Tuple[int, int]:
    """What only changes where something was done: shards that are missing, and bytes of their rows."""
    parts = [one for one in os.scandir(plan.work) if one.name.endswith(".part")]
    return len(left), sum(one.stat().st_size for one in parts)


def _words(plan: Plan, job: str) -> str:
    """What one of its tasks said last."""
    for log in sorted(plan.work.glob(f"slurm-{job}_*.log")):
        words = log.read_text(encoding="utf-8", errors="replace").strip()
        if words:
            return f"{words[-2000:]} ({log})"
    return f"its tasks said nothing; sacct -j {job} may tell"
