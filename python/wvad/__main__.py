# SPDX-License-Identifier: Apache-2.0
"""`python -m wvad`: the program wvad, where the wheel has it, and `corpus`, which is of this package. This process becomes the program, so that
exit codes, signals and pipes are its own."""
from __future__ import annotations

import difflib
import os
import sys
from contextlib import suppress

from ._library import NATIVE


def main() -> int:
    """Runs the program with the arguments of this process, and comes back, with exit code 1, only where that fails; or `corpus`."""
    given = sys.argv[1:]
    if given[:1] == ["corpus"] or given == ["help", "corpus"]:
        from .corpus import command

        return command.main(given[1:] if given[0] == "corpus" else ["--help"])
    if difflib.get_close_matches(given[0] if given else "", ["corpus"], cutoff=0.8):
        print(f"wvad: no such command: {given[0]} (did you mean corpus?) (see --help)", file=sys.stderr)
        return 2
    program = NATIVE / "bin" / "wvad"
    if not program.exists():
        print("wvad: this installation has the library alone, without the program; install wvad from its own build, or call wvad.segment()",
              file=sys.stderr)
        return 1
    with suppress(OSError, AttributeError):  # nobody may read it, or there may be no output at all
        if given in (["--help"], ["-h"], ["help"]):
            print("`corpus`, of the Python package alone, is told by `python -m wvad help corpus`; these are of the program.\n")
        sys.stdout.flush()
    try:
        os.execv(program, ["wvad", *sys.argv[1:]])
    except OSError as reason:
        print(f"wvad: {program} cannot be run: {reason.strerror}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
