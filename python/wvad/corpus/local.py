# SPDX-License-Identifier: Apache-2.0
"""All recordings on this machine: into one file, or into shards."""
from __future__ import annotations

import collections
from contextlib import ExitStack
from pathlib import Path
from typing import Any, Deque, Dict, Iterator, List, Tuple

from .bar import Bar
from .entry import Entry
from .part import Part
from .plan import Plan, Shard
from .pool import lines_at_once


def into_file(entries: List[Entry], out: Path, header: bytes, options: Dict[str, Any], jobs: int, quiet: bool) -> int:
    """Writes `out`; gives the number of recordings that have an error. Raises as Part and lines_at_once."""
    with Part(out, header, entries) as part:
        bar = Bar(len(entries), part.done, part.bad, quiet)
        try:
            for line in lines_at_once(entries[part.done:], options, jobs):
                part.write(line)
                bar.reach(part.done, part.bad)
        finally:
            bar.clear()
        part.finish()
        return part.bad


def into_shards(plan: Plan, bar: Bar, jobs: int) -> None:
    """Makes the shards that are missing. Raises as Part and lines_at_once."""
    waiting: Deque[Tuple[Shard, Part, int]] = collections.deque()  # with the rows that each has when it is whole

    def left(opened: ExitStack) -> Iterator[Entry]:
        """Recordings of one shard after the other, asked for ahead: no process waits for the end of a shard."""
        for shard in plan.missing():
            entries = shard.entries()
            part = opened.enter_context(shard.open(entries))
            waiting.append((shard, part, len(entries)))
            bar.step(part.done, part.bad)
            yield from entries[part.done:]

    def finish_whole() -> None:
        while waiting and waiting[0][1].done == waiting[0][2]:
            shard, part, _ = waiting.popleft()
            shard.finish(part)
            part.close()

    with ExitStack() as opened:
        for line in lines_at_once(left(opened), plan.given.options, jobs):
            finish_whole()
            part = waiting[0][1]
            bad = part.bad
            part.write(line)
            bar.step(1, part.bad - bad)
            finish_whole()
        finish_whole()
