# SPDX-License-Identifier: Apache-2.0
"""The command `wvad corpus`: what it is given, its exit codes, and what it says."""
from __future__ import annotations

import argparse
import os
import sys
from pathlib import Path
from typing import Any, Dict, List, Optional, Tuple

from .. import __version__, errors, settings
from ..model import Model
from . import inputs, manifest
from .bar import Bar
from .entry import Entry
from .part import Part
from .pool import lines_at_once
from .row import as_line


def run(entries: List[Entry], out: Path, header: bytes, options: Dict[str, Any], jobs: int, quiet: bool) -> int:
    """Writes `out`; gives the number of recordings that have an error. Raises OSError where it cannot be written."""
    with Part(out, header, entries) as part:
        bar = Bar(len(entries), part.done, part.bad, quiet)
        try:
            before = part.bad
            for line in lines_at_once(entries[part.done:], options, jobs):
                part.write(line)
                bar.step(part.bad > before)
                before = part.bad
        finally:
            bar.clear()
        part.finish()
        return part.bad


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
    parser.add_argument("input", nargs="+", help="a recording, a folder (walked), a list of names (.txt) or a manifest (.jsonl, .jsonl.gz)")
    parser.add_argument("-o", "--output", required=True, type=Path, help="file of JSON lines, which must not exist yet")
    parser.add_argument("--recordings", type=Path, metavar="MANIFEST", help="recordings that rows of the input name by their recording_id")
    parser.add_argument("-j", "--jobs", type=int, default=len(os.sched_getaffinity(0)), help="processes (default: as many as cores)")
    parser.add_argument("--profile", choices=settings.PROFILES, default="default")
    parser.add_argument("--model", help="name or path (default: what suits profile and rate)")
    parser.add_argument("--channel", default="mix", help="a number from 1, mix (default) or all")
    parser.add_argument("--set", type=_setting, action="append", default=[], metavar="NAME=NUMBER", help="a setting, such as min_silence=0.3")
    parser.add_argument("--force", action="store_true", help="replace the output")
    parser.add_argument("-q", "--quiet", action="store_true", help="no bar and no notes")
    return parser.parse_args(arguments)


def _checked(given: argparse.Namespace) -> Dict[str, Any]:
    """The options of each recording. Raises for what would be wrong with all of them."""
    values = dict(given.set)
    settings.make(given.profile, values)
    channel = int(given.channel) if given.channel.isdecimal() else given.channel
    if channel not in ("mix", "all") and not (isinstance(channel, int) and channel > 0):
        raise errors.ArgumentError(f"--channel {given.channel}: expected a number from 1, mix or all")
    if given.jobs < 1:
        raise errors.ArgumentError(f"--jobs {given.jobs}: expected 1 or more")
    if given.model is not None:
        Model(given.model)
    return {"profile": given.profile, "model": given.model, "channel": channel, **values}


def _work(given: argparse.Namespace) -> int:
    options = _checked(given)
    header = as_line({"wvad": __version__, "profile": given.profile, "model": given.model, "channel": options["channel"], "settings": dict(given.set)})
    if given.output.exists() and not given.force:
        raise errors.ArgumentError(f"{given.output}: exists already; --force replaces it")
    recordings = manifest.recordings_of(given.recordings) if given.recordings else {}
    entries = list(inputs.entries(given.input, recordings))
    bad = run(entries, given.output, header, options, given.jobs, given.quiet)
    if not given.quiet:
        print(f"{given.output}: {len(entries)} recordings{f', {bad} of them with an error' if bad else ''}", file=sys.stderr)
    return 1 if bad else 0


def main(arguments: Optional[List[str]] = None) -> int:
    """The command; gives its exit code."""
    given = _parse(arguments)
    try:
        return _work(given)
    except (errors.Error, OSError) as trouble:
        print(f"wvad corpus: {trouble}", file=sys.stderr)
        return 2
    except KeyboardInterrupt:
        print("\nwvad corpus: interrupted; the same command goes on from here", file=sys.stderr)
        return 130
