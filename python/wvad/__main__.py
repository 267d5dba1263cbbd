# SPDX-License-Identifier: Apache-2.0
"""`python -m wvad`: the program wvad, where the wheel has it, and `corpus`, which is of this package. This process becomes the program, so that
exit codes, signals and pipes are its own."""
from __future__ import annotations

import os
import sys

from ._library import NATIVE


def main() -> int:
    """Runs the program with the arguments of this process, and comes back, with exit code 1, only where that fails; or `corpus`."""
    if sys.argv[1:2] == ["corpus"]:
        from .corpus import command

        return command.main(sys.argv[2:])
    program = NATIVE / "bin" / "wvad"
    if not program.exists():
        print("wvad: this installation has the library alone, without the program; install wvad from its own build, or call wvad.segment()",
              file=sys.stderr)
        return 1
    sys.stdout.flush()
    try:
        os.execv(program, ["wvad", *sys.argv[1:]])
    except OSError as reason:
        print(f"wvad: {program} cannot be run: {reason.strerror}", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
