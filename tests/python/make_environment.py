# SPDX-License-Identifier: Apache-2.0
"""make_environment.py BUILD OUT: makes the wheel of BUILD and a virtual environment in OUT in which it is installed, both offline. Exit code
77 (a skipped test) where the system lacks what that takes."""
import shutil
import subprocess
import sys
from pathlib import Path

SKIPPED = 77
ROOT = Path(__file__).resolve().parent.parent.parent


def missing():
    """What is not there, as Debian calls it."""
    modules = {"numpy": "python3-numpy", "pip": "python3-pip", "setuptools": "python3-setuptools", "wheel": "python3-wheel", "venv": "python3-venv"}
    for module, package in modules.items():
        if subprocess.run([sys.executable, "-c", f"import {module}"], stderr=subprocess.DEVNULL, check=False).returncode != 0:
            yield package
    for program, package in (("patchelf", "patchelf"), ("readelf", "binutils"), ("dpkg-query", "dpkg")):
        if shutil.which(program) is None:
            yield package


def main():
    build, out = Path(sys.argv[1]), Path(sys.argv[2])
    lacking = list(missing())
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
