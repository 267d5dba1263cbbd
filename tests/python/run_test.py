# SPDX-License-Identifier: Apache-2.0
"""run_test.py FOLDER TEST: runs one file of tests in the environment that make_environment.py made in FOLDER, from a folder where no sources
lie. Exit code 77 (a skipped test) where there is none."""
import os
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
    # Warnings are errors: what the package gives out without being asked would be a defect.
    environment = dict(os.environ, PYTHONPATH=str(test.parent), PYTHONDONTWRITEBYTECODE="1", WVAD_WHEELS=str(folder))
    with tempfile.TemporaryDirectory() as scratch:
        return subprocess.run([python, "-W", "error", "-m", "unittest", "-q", test.stem], cwd=scratch, env=environment, check=False).returncode


if __name__ == "__main__":
    sys.exit(main())
