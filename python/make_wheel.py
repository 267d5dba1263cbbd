#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""make_wheel.py BUILD OUT: makes the wheel of the build folder BUILD in the folder OUT, and prints its path. Needs no network.

The wheel holds the package and, under wvad/_native, what an installation would: libwvad-stream with the models beside it, the decoders, the
part of them on FFmpeg's libraries, the program; and the libraries that these need, but for those that every Linux system of the wheel's
platform tag has (elf_files.py), and for FFmpeg's, which are looked for on the machine that runs it. Their licences come along.
"""
import argparse
import importlib.util
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import elf_files

HERE = Path(__file__).resolve().parent
ROOT = HERE.parent
NOT_CARRIED = re.compile(r"libav\w+\.so|libswresample\.so")  # FFmpeg's: a hundred libraries, and those of the system are as good


def version():
    return re.search(r'#define WVAD_VERSION "([^"]+)"', (ROOT / "include/wvad.h").read_text(encoding="utf-8")).group(1)


def lay_out_binaries(build, native):
    """What was built, as the package expects it: [(file, path from it to the libraries)]."""
    (native / "lib" / "wvad").mkdir(parents=True)
    (native / "lib" / "vad").mkdir()
    (native / "bin").mkdir()
    found = [("lib/libwvad-stream.so.1", "."), ("lib/libwvad-audio.so", "."), ("lib/wvad/ffmpeg.so", ".."), ("bin/wvad", "../lib")]
    laid = []
    for name, way in found:
        if (build / name).exists():
            shutil.copy(build / name, native / name)
            laid.append((native / name, way))
        elif name != "lib/wvad/ffmpeg.so":
            sys.exit(f"make_wheel.py: {build / name} was not built")
    for model in sorted((ROOT / "models").glob("*.bin")):
        shutil.copy(model, native / "lib" / "vad")
    return laid


def lay_out_papers(stage, carried):
    """Licences of the project, its models and the libraries that are carried; what holds for the whole, in words."""
    papers = stage / "wvad" / "licences"
    papers.mkdir()
    for paper in [ROOT / "LICENSE", ROOT / "NOTICE"]:
        shutil.copy(paper, stage)
    for pattern in ("LICENSE.*", "*.md", "*.csv"):
        for paper in (ROOT / "models").glob(pattern):
            shutil.copy(paper, papers)
    lines = []
    for library in carried:
        owner, paper = owner_of(library)
        lines.append(f"  {library.name} (Debian's {owner})")
        shutil.copy(paper, papers / f"copyright.{owner.split()[0]}")
    licence = "Apache-2.0 (the Python and C++ sources); libraries in the wheel under the LGPL and BSD licences of their authors"
    whole = "Its own code is under the Apache License 2.0."
    exempt = "\nNone of the libraries puts the wheel as a whole under the GPL; libgomp does not by the GCC Runtime Library Exception."
    if any(library.name.startswith("libfftw3") for library in carried):
        licence = "GPL-3.0-or-later as a whole, since it carries FFTW; its own sources Apache-2.0"
        exempt = ""
        whole += ("\nIt carries FFTW, so the GPL holds for the wheel as a whole (version 3): whoever hands it on also offers the complete source"
                  "\ncode. A build with another transform (see NOTICE) carries no such library, and this paragraph is not there.")
    (papers / "README.txt").write_text("What this wheel carries beside its own code, each with its copyright file here:\n\n" + "\n".join(lines) +
                                       "\n\n" + whole + exempt + "\n", encoding="utf-8")
    return licence


def owner_of(library):
    """(package and version, copyright file) of a library of this system."""
    for path in (library, Path(re.sub(r"^/usr", "", str(library))), Path("/usr" + str(library))):
        found = subprocess.run(["dpkg-query", "-S", str(path)], capture_output=True, text=True, check=False)
        if found.returncode == 0:
            package = found.stdout.split(":")[0]
            exact = subprocess.run(["dpkg-query", "-W", "-f", "${Package} ${Version}\n", package], capture_output=True, text=True, check=True)
            return exact.stdout.splitlines()[0], Path("/usr/share/doc") / package / "copyright"
    sys.exit(f"make_wheel.py: no package owns {library}: under which licence it is handed on is not known")


def make_stage(build, stage):
    shutil.rmtree(stage, ignore_errors=True)
    shutil.copytree(HERE / "wvad", stage / "wvad", ignore=shutil.ignore_patterns("__pycache__", "_native"))
    for name in ("pyproject.toml", "setup.py", "README.md"):
        shutil.copy(HERE / name, stage)
    native = stage / "wvad" / "_native"
    binaries = lay_out_binaries(build, native)
    carried = elf_files.carry_along(binaries, native / "lib", NOT_CARRIED)
    facts = {"version": version(), "licence": lay_out_papers(stage, sorted(carried)),
             "platform": elf_files.platform_tag([path for path in native.rglob("*") if elf_files.is_elf(path)])}
    (stage / "wheel.json").write_text(json.dumps(facts, indent=1), encoding="utf-8")


def missing():
    """What a wheel takes that this Python or this system lacks, as Debian's packages."""
    modules = {"pip": "python3-pip", "setuptools": "python3-setuptools", "wheel": "python3-wheel"}
    programs = {"patchelf": "patchelf", "readelf": "binutils", "dpkg-query": "dpkg"}
    return [package for module, package in modules.items() if importlib.util.find_spec(module) is None] + [
        package for program, package in programs.items() if shutil.which(program) is None]


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=Path)
    parser.add_argument("out", type=Path)
    arguments = parser.parse_args()
    lacking = missing()
    if lacking:
        sys.exit(f"make_wheel.py: {sys.executable} and this system lack what a wheel takes, Debian's packages {' '.join(lacking)} (for /usr/bin/python3)")
    stage = arguments.out.resolve() / "stage"
    make_stage(arguments.build.resolve(), stage)
    environment = dict(os.environ, SOURCE_DATE_EPOCH=os.environ.get("SOURCE_DATE_EPOCH", "315532800"))  # the same input gives the same wheel
    made = stage / "made"
    done = subprocess.run([sys.executable, "-m", "pip", "--disable-pip-version-check", "wheel", "--quiet", "--no-index", "--no-deps",
                           "--no-build-isolation", "--wheel-dir", made, stage], check=False, env=environment, stdout=sys.stderr)
    if done.returncode != 0:
        sys.exit("make_wheel.py: pip could not make the wheel; what was there stays")
    for old in arguments.out.glob("wvad-*.whl"):
        old.unlink()
    new = next(made.glob("wvad-*.whl"))
    wheel = new.rename(arguments.out / new.name)
    shutil.rmtree(stage)
    print(wheel)


if __name__ == "__main__":
    main()
