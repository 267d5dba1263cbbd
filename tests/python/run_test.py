# SPDX-License-Identifier: Apache-2.0
"""run_test.py FOLDER TEST: runs one file of tests in the environment that make_environment.py made in FOLDER, from a folder where no sources
lie. Exit code 77 (a skipped test) where there is none, and where all of its tests were skipped, which say why."""
import os
import re
import signal
import subprocess
import sys
import tempfile
from pathlib import Path


def main():
    folder, test = Path(sys.argv[1]), Path(__file__).resolve().parent / sys.argv[2]
    python = folder / "venv/bin/python"
    if not python.exists():
        print("skipped: python.wheel has made no environment")
        return 77
    signal.signal(signal.SIGINT, signal.SIG_DFL)  # a shell's background ignores it, and whoever is begun there too; tests send it
    # Warnings are errors: what the package gives out without being asked would be a defect.
    environment = dict(os.environ, PYTHONPATH=str(test.parent), PYTHONDONTWRITEBYTECODE="1", WVAD_WHEELS=str(folder))
    with tempfile.TemporaryDirectory() as scratch:
        words = []
        with subprocess.Popen([python, "-W", "error", "-m", "unittest", "-v", test.stem], cwd=scratch, env=environment, stderr=subprocess.PIPE,
                              text=True, errors="replace") as child:
            for line in child.stderr:
                words.append(line)
                sys.stderr.write(line)
    skipped = re.search(r"^Ran (\d+) tests?\b.*^OK \(skipped=\1\)", "".join(words), re.M | re.S)
    return 77 if child.returncode == 0 and skipped else child.returncode


if __name__ == "__main__":
    sys.exit(main())
