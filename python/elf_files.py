# SPDX-License-Identifier: Apache-2.0
"""Shared objects for a wheel: the libraries that they need are laid beside them, and the platform tag is read off their symbols.

A library that is carried gets a name of its own (a part of its checksum in it), so that a process may hold it beside another package's copy
of the same. What every system of the tag has is not carried: PEP 600 lists it. libstdc++ stays one of these, too: exceptions of the decoder on
FFmpeg's libraries cross from one object to another, so both have to use the same one.
"""
import hashlib
import re
import shutil
import subprocess
import sys

ON_EVERY_SYSTEM = re.compile(r"(lib(c|m|dl|rt|pthread|util|resolv|gcc_s|stdc\+\+)\.so\.\d+|ld-linux.*\.so\.\d+|linux-vdso\.so\.1)$")
MACHINES = {0x3E: "x86_64", 0xB7: "aarch64", 0x03: "i686"}
# Which glibc the systems have at least that have this libstdc++ (GLIBCXX): the profiles of manylinux.
GLIBC_OF_GLIBCXX = (((3, 4, 19), (2, 17)), ((3, 4, 22), (2, 24)), ((3, 4, 24), (2, 27)), ((3, 4, 28), (2, 31)), ((3, 4, 29), (2, 34)),
                    ((3, 4, 30), (2, 35)), ((3, 4, 32), (2, 38)), ((3, 4, 33), (2, 39)))


def is_elf(path):
    if not path.is_file():
        return False
    with open(path, "rb") as file:
        return file.read(4) == b"\x7fELF"


def run(*command):
    return subprocess.run([str(word) for word in command], check=True, capture_output=True, text=True).stdout


def needed(path):
    return run("patchelf", "--print-needed", path).split()


def places(path):
    """Where the loader finds what `path` needs, directly or not: {name: file}."""
    return {name: place for name, place in re.findall(r"^\s*(\S+) => (/\S+)", run("ldd", path), re.M)}


def carry_along(binaries, folder, not_carried):
    """Lays what `binaries` need into `folder` and makes them find it there. `binaries`: (file, path from it to `folder`). Gives the files
    that were copied, by the names that they have on this system. Ends the program where one is not there."""
    from pathlib import Path

    carried = {}  # name on this system: (its file, its file in `folder`)
    waiting = [(path, way) for path, way in binaries]
    while waiting:
        path, way = waiting.pop()
        found = places(path)
        run("strip", "--strip-unneeded", path)
        for name in needed(path):
            if ON_EVERY_SYSTEM.match(name) or not_carried.match(name):
                continue
            if name not in carried:
                if name not in found:
                    sys.exit(f"make_wheel.py: {path} needs {name}, which this system does not have")
                source = Path(found[name])
                mark = hashlib.sha256(source.read_bytes()).hexdigest()[:8]
                copy = folder / re.sub(r"\.so", f"-{mark}.so", name, count=1)
                shutil.copy(source, copy)
                copy.chmod(0o755)
                carried[name] = (source, copy)
                waiting.append((copy, "."))
            run("patchelf", "--replace-needed", name, carried[name][1].name, path)
        if path.parent == folder and path in [copy for _, copy in carried.values()]:
            run("patchelf", "--set-soname", path.name, path)
        run("patchelf", "--set-rpath", "$ORIGIN" if way == "." else f"$ORIGIN/{way}", path)
    return [source for source, _ in carried.values()]


def platform_tag(paths):
    """The tag that is true of all these objects: manylinux with the oldest glibc that has their symbols, or linux alone where the
    table does not know the libstdc++ that they ask for."""
    glibc = (2, 5)
    machine = None
    for path in paths:
        machine = MACHINES[int.from_bytes(path.read_bytes()[18:20], "little")]
        for library, number in re.findall(r"Name: (GLIBC|GLIBCXX)_([\d.]+)", run("readelf", "--version-info", "--wide", path)):
            asked = tuple(int(part) for part in number.split("."))
            if library == "GLIBCXX":
                asked = next((has for symbols, has in GLIBC_OF_GLIBCXX if asked <= symbols), None)
                if asked is None:
                    return f"linux_{machine}"
            glibc = max(glibc, asked)
    return f"manylinux_{glibc[0]}_{glibc[1]}_{machine}"
