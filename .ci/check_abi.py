#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_abi.py LIBRARY: the ABI of the built stream library is the one that cmake/stream_abi.xml describes.

    check_abi.py --write LIBRARY    describes the library anew

Needs abigail-tools and a library with debug information; exit code 77 (a skipped test) where a tool is missing, or on a processor other than
the one that the description was made on."""
import pathlib
import platform
import shutil
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
DESCRIPTION = ROOT / "cmake" / "stream_abi.xml"
# abidiff's bit for a change that breaks clients.
BREAKS = 8
SKIPPED = 77


def describe(library, file):
    """Writes what the header shows of the library, and nothing of its inside, of places in files, or of the libraries that it needs."""
    subprocess.run(["abidw", "--headers-dir", str(ROOT / "include"), "--drop-private-types", "--exported-interfaces-only", "--no-show-locs",
                    "--no-corpus-path", "--no-comp-dir-path", "--no-elf-needed", "--out-file", str(file), library], check=True)


def main():
    arguments = sys.argv[1:]
    library = next(argument for argument in arguments if argument != "--write")
    if shutil.which("abidiff") is None or platform.machine() != "x86_64":
        print("skipped: no abidiff here, or not an x86-64 processor")
        return SKIPPED
    if "--write" in arguments:
        describe(library, DESCRIPTION)
        return 0
    with tempfile.TemporaryDirectory() as folder:
        built = pathlib.Path(folder) / "built.xml"
        describe(library, built)
        # What is harmless counts too: a field's name is part of the interface.
        run = subprocess.run(["abidiff", "--harmless", str(DESCRIPTION), str(built)], capture_output=True, text=True, check=False)
    print(run.stdout + run.stderr, end="")
    if run.returncode == 0:
        return 0
    print("clients of the library would break: raise WVAD_STREAM_ABI, or take the change back" if run.returncode & BREAKS else
          f"the ABI has changed or grown: if that is meant, write {DESCRIPTION.name} anew (docs/stream.md)")
    return 1


if __name__ == "__main__":
    sys.exit(main())
