# SPDX-License-Identifier: Apache-2.0
"""make_environment.py BUILD OUT: makes the wheel of BUILD and a virtual environment in OUT in which it is installed, both offline. Exit code
77 (a skipped test) where the system lacks what that takes."""
import importlib.util
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "python"))

import make_wheel  # noqa: E402

SKIPPED = 77


def missing():
    """What is not there, as Debian calls it: for the wheel, and for an environment in which it is tried."""
    modules = {"numpy": "python3-numpy", "venv": "python3-venv"}
    return make_wheel.missing() + [package for module, package in modules.items() if importlib.util.find_spec(module) is None]


def main():
    build, out = Path(sys.argv[1]), Path(sys.argv[2])
    lacking = missing()
    if lacking:
        print(f"skipped: these packages are missing: {' '.join(lacking)}")
        return SKIPPED
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir(parents=True)
    made = subprocess.run([sys.executable, ROOT / "python/make_wheel.py", build, out], check=True, stdout=subprocess.PIPE, text=True)
    wheel = made.stdout.splitlines()[-1]
    # pip of the system is there inside, since its packages are.
    subprocess.run([sys.executable, "-m", "venv", "--system-site-packages", "--without-pip", out / "venv"], check=True)
    subprocess.run([out / "venv/bin/python", "-m", "pip", "--disable-pip-version-check", "install", "--quiet", "--no-index", "--no-deps", wheel],
                   check=True)
    print(wheel)
    return 0


if __name__ == "__main__":
    sys.exit(main())
