# SPDX-License-Identifier: Apache-2.0
"""A process that makes shards of a run that has begun, on a machine of an engine:

    python -m wvad.corpus.task FOLDER NUMBER [--parent PID]
    python -m wvad.corpus.task FOLDER --list FILE --of TASKS     the numbers in FILE, this one's share by SLURM_ARRAY_TASK_ID

It may be ended at any moment: the next one goes on behind its last whole row. Exit code 0: the shards are there; 2: they are not, and why; 130: it was
interrupted.
"""
from __future__ import annotations

import argparse
import hashlib
import os
import sys
from pathlib import Path
from typing import List, Optional

from .. import __version__, errors
from . import ending
from .plan import Facts, Plan
from .pool import end_with, lines_at_once


def make(plan: Plan, number: int) -> Facts:
    """Makes a shard, or waits until whoever makes it has done so. Gives its facts; raises as Part and lines_at_once."""
    shard = plan.shards()[number]
    if not shard.is_done():
        entries = shard.entries()
        with shard.open(entries, wait=True) as part:
            if shard.is_done():  # meanwhile
                part.path.unlink()
            else:
                for line in lines_at_once(entries[part.done:], plan.given.options, 1):
                    part.write(line)
                shard.finish(part)
    return shard.facts()


def sum_of_model(model: Optional[str]) -> Optional[str]:
    """The SHA-256 of a model that is a file; None for one that came with this version, which says what it is. Raises OSError."""
    if model is None or os.sep not in model and not model.endswith(".bin"):
        return None
    return hashlib.sha256(Path(model).read_bytes()).hexdigest()


def enter(folder: Path) -> Plan:
    """The run in `folder`, from its own working folder. Raises StateError where this installation or machine is not like the one that began it."""
    plan = Plan(folder)
    if plan.given.header["wvad"] != __version__:
        raise errors.StateError(f"this is wvad {__version__} on {os.uname().nodename}, and the run was begun by {plan.given.header['wvad']}")
    try:
        os.chdir(plan.cwd)
    except OSError as trouble:
        raise errors.StateError(f"{plan.cwd}: the folder where the run was begun is not on {os.uname().nodename}: {trouble.strerror}") from None
    header = plan.given.header
    if sum_of_model(header["model"]) != header["model_sha256"]:
        raise errors.StateError(f"{header['model']} on {os.uname().nodename} is not the model that the run was begun with")
    return plan


def _numbers(given: argparse.Namespace) -> List[int]:
    if given.list is None:
        return [given.number]
    share = int(os.environ["SLURM_ARRAY_TASK_ID"])
    return [int(word) for word in Path(given.list).read_text(encoding="ascii").split()][share::given.of]


def main() -> int:
    """Gives the exit code."""
    parser = argparse.ArgumentParser(prog="wvad.corpus.task")
    parser.add_argument("folder", type=Path)
    parser.add_argument("number", type=int, nargs="?")
    parser.add_argument("--parent", type=int)
    parser.add_argument("--list")
    parser.add_argument("--of", type=int)
    given = parser.parse_args()
    if given.parent is not None:
        end_with(given.parent)
    with ending.as_interrupts():
        try:
            plan = enter(given.folder)
            for number in _numbers(given):
                make(plan, number)
        except (errors.Error, OSError) as trouble:
            print(f"wvad corpus, on {os.uname().nodename}: {trouble}", file=sys.stderr)
            return 2
        except KeyboardInterrupt:
            print(f"wvad corpus, on {os.uname().nodename}: interrupted", file=sys.stderr)
            return 130
    return 0


if __name__ == "__main__":
    sys.exit(main())
