# SPDX-License-Identifier: Apache-2.0
"""The command `wvad corpus`: what it is given, its exit codes, and what it says."""
from __future__ import annotations

import argparse
import os
import sys
import traceback
from contextlib import suppress
from pathlib import Path
from typing import Any, Dict, Iterable, Iterator, List, Optional, Tuple

from .. import __version__, errors, settings
from ..model import Model
from . import folder as folders
from . import ending, inputs, local, manifest, on_dask, on_slurm, plan, task
from .bar import Bar
from .entry import Entry, digest
from .names import shown
from .row import as_line


def _setting(text: str) -> Tuple[str, float]:
    name, _, value = text.partition("=")
    try:
        return name, float(value)
    except ValueError:
        raise argparse.ArgumentTypeError(f"{text!r} is not NAME=NUMBER") from None


def _parse(arguments: Optional[List[str]]) -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="wvad corpus", description="The sentences of many recordings as JSON lines, on all cores.",
                                     epilog="Exit codes: 0 all done, 1 done, with recordings that have an error, 2 not done, and why, "
                                            "130 interrupted (Ctrl-C, TERM); the same command goes on.")
    parser.add_argument("input", nargs="+", help="a recording, a folder (walked), a list of names (.txt) or a manifest (.jsonl, .jsonl.gz)")
    outputs = parser.add_mutually_exclusive_group(required=True)
    outputs.add_argument("-o", "--output", help="file of JSON lines, which must not exist yet")
    outputs.add_argument("--shards", metavar="FOLDER", help="folder of many such files, with their sums and a manifest")
    parser.add_argument("--shard-size", type=int, metavar="COUNT", help="recordings in a shard (default: 1000)")
    parser.add_argument("--columns", action="store_true", help="shards are columns (.npz) for tables, not JSON lines")
    parser.add_argument("--recordings", type=Path, metavar="MANIFEST", help="recordings that rows of the input name by their recording_id")
    parser.add_argument("-j", "--jobs", type=int, help="processes (default: as many as cores); with --slurm, tasks at once")
    parser.add_argument("--profile", choices=settings.PROFILES, default="default")
    parser.add_argument("--model", help="name or path (default: what suits profile and rate)")
    parser.add_argument("--channel", default="mix", help="a number from 1, mix (default) or all")
    parser.add_argument("--set", type=_setting, action="append", default=[], metavar="NAME=NUMBER", help="a setting, such as min_silence=0.3")
    engines = parser.add_mutually_exclusive_group()
    engines.add_argument("--dask", metavar="ADDRESS", help="make the shards on the workers of this Dask scheduler (tcp://HOST:8786, or its file)")
    engines.add_argument("--slurm", action="store_true", help="make the shards by an array job of Slurm, and watch it")
    parser.add_argument("--sbatch", action="append", default=[], metavar="OPTION", help="an option for sbatch, as --sbatch=--partition=long")
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
    if given.jobs is not None and given.jobs < 1:
        raise errors.ArgumentError(f"--jobs {given.jobs}: expected 1 or more")
    if given.model is not None:
        Model(given.model)
    return {"profile": given.profile, "model": given.model, "channel": channel, **values}


def _check_output(given: argparse.Namespace) -> None:
    """Raises ArgumentError for outputs that can be none, and options that do not go together."""
    for name, out in (("-o", given.output), ("--shards", given.shards)):
        if out in ("", "-"):
            raise errors.ArgumentError(f"{name} {out!r}: expected a name; rows are written to a file, so that a run can go on with them")
    if given.output is not None:
        _check_place(given.output, given.force)
    for name in ("dask", "slurm", "shard_size", "columns"):
        if getattr(given, name) not in (None, False) and given.shards is None:
            raise errors.ArgumentError(f"--{name.replace('_', '-')} is for shards: give --shards FOLDER in place of -o")
    if given.shard_size is not None and given.shard_size < 1:
        raise errors.ArgumentError(f"--shard-size {given.shard_size}: expected 1 or more")
    if given.sbatch and not given.slurm:
        raise errors.ArgumentError("--sbatch: is for --slurm")
    if given.dask == "":
        raise errors.ArgumentError("--dask: expected an address (tcp://HOST:PORT) or a scheduler's file")
    if given.dask and given.jobs is not None:
        raise errors.ArgumentError("--jobs: with --dask the workers say how many tasks they take at once")


def _check_place(out: str, force: bool) -> None:
    """Raises ArgumentError where no file can be written, and where one would be replaced that --force alone replaces."""
    if os.path.isdir(out):
        raise errors.ArgumentError(f"{shown(out)}: is a folder; -o names a file, --shards a folder")
    if os.path.exists(out) and not os.path.isfile(out):
        raise errors.ArgumentError(f"{shown(out)}: is a device, a pipe or a socket, which nothing is written to; -o names a file")
    if os.path.lexists(out) and not force:
        raise errors.ArgumentError(f"{shown(out)}: exists already; --force replaces it")
    if os.path.islink(os.path.realpath(out)):
        raise errors.ArgumentError(f"{shown(out)}: is a link that leads to itself")


def _work(given: argparse.Namespace) -> int:
    _check_output(given)
    options = _checked(given)
    header = {"wvad": __version__, "profile": given.profile, "model": given.model, "model_sha256": task.sum_of_model(given.model),
              "channel": options["channel"], "settings": dict(given.set)}
    # A link stays, and the file that it leads to is replaced.
    out = Path(os.path.realpath(given.output) if given.shards is None and os.path.islink(given.output) else given.output or given.shards)
    recordings = manifest.recordings_of(given.recordings) if given.recordings else {}
    entries = inputs.entries(given.input, recordings)
    if given.shards is not None:
        return _into_shards(given, out, header, options, entries)
    listed = list(entries)
    _spare(_files_named(given), [out])
    _spare((path for one in listed for path in one.paths()), [out])
    bad = local.into_file(listed, out, as_line({**header, "recordings_sha256": digest(listed)}), options, _jobs(given), given.quiet)
    return _say(given, Path(given.output), len(listed), bad)


def _jobs(given: argparse.Namespace) -> int:
    return given.jobs or len(os.sched_getaffinity(0))


def _files_named(given: argparse.Namespace) -> List[str]:
    return [*given.input, *filter(None, (given.recordings, given.model))]


def _spare(inputs: Iterable[Any], outputs: Iterable[Path]) -> None:
    """Raises ArgumentError where an output would replace a file that is an input, under whatever name."""
    there = {}
    for out in outputs:
        with suppress(OSError):
            found = out.stat()
            there[found.st_dev, found.st_ino] = out
    for name in inputs if there else ():
        with suppress(OSError, ValueError):
            found = os.stat(name)
            if (found.st_dev, found.st_ino) in there:
                break
    else:
        return
    raise errors.ArgumentError(f"{there[found.st_dev, found.st_ino]}: is an input of this run, which --force does not replace either")


def _into_shards(given: argparse.Namespace, out: Path, header: Dict[str, Any], options: Dict[str, Any], entries: Iterator[Entry]) -> int:
    folder = out.absolute()
    with folders.held(folder):
        if (folder / "manifest.json").exists():
            if not given.force:
                raise errors.ArgumentError(f"{given.shards}: is done already; --force replaces it")
            _spare(_files_named(given), [*folders.results(folder), folder / "manifest.json", folder / "SHA256SUMS"])
            folders.clear(folder)
        named = [os.path.abspath(name) for name in [*given.input, *([given.recordings] if given.recordings else [])]]
        wanted = plan.Given(header, options, "columns" if given.columns else "jsonl", given.shard_size or 1000, named)
        begun = plan.begin(folder, wanted, entries)
        os.chdir(begun.cwd)  # names of the input start there
        begun.drop_damaged()
        bar = Bar(*begun.done(), given.quiet)
        try:
            if given.dask:
                on_dask.run(begun, bar, given.dask)
            elif given.slurm:
                on_slurm.run(begun, bar, given.jobs, given.sbatch)
            else:
                local.into_shards(begun, bar, _jobs(given))
        finally:
            bar.clear()
        whole = begun.finish()
    return _say(given, out, whole["recordings"], whole["errors"])


def _say(given: argparse.Namespace, out: Path, count: int, bad: int) -> int:
    """The last line; gives the exit code."""
    if not given.quiet:
        _tell(f"{out}: {count} recording{'' if count == 1 else 's'}{f', {bad} of them with an error' if bad else ''}")
    return 1 if bad else 0


def _words(trouble: Exception) -> str:
    """What the system says of a file is said as the program says it: NAME: reason."""
    if isinstance(trouble, OSError) and not isinstance(trouble, errors.Error) and trouble.filename is not None and trouble.strerror:
        return f"{shown(os.fsdecode(trouble.filename))}: {trouble.strerror}"
    return str(trouble)


def _tell(words: str) -> None:
    """Says it on standard error, where somebody still reads that: a terminal may be gone."""
    with suppress(OSError):
        print(words, file=sys.stderr, flush=True)


def main(arguments: Optional[List[str]] = None) -> int:
    """The command; gives its exit code."""
    given = _parse(arguments)
    with ending.as_interrupts():
        try:
            return _work(given)
        except (errors.Error, OSError) as trouble:
            _tell(f"wvad corpus: {_words(trouble)}")
            return 2
        except KeyboardInterrupt as end:
            begin = "" if ending.asked() else "\n"  # behind the ^C of a terminal
            _tell(f"{begin}wvad corpus: interrupted; {str(end) or 'the same command goes on from here'}")
            return 130
        except Exception as trouble:  # Python's own exit code for it is 1, which says that all is done
            if os.environ.get("WVAD_TRACEBACK"):
                traceback.print_exc()
            _tell(f"wvad corpus: {type(trouble).__name__}: {trouble} (WVAD_TRACEBACK=1 in the environment tells where)")
            return 2
