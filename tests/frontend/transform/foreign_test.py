#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""foreign_test.py SOURCE: the transform gives the reference numbers on processors of other kinds, with clang, to the byte: 32-bit x86, ARM64,
WebAssembly with vectors and without. What cannot be built or run here is left out and said; exit code 77 if that is all."""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SIZES = (256, 512, 1024)
NODE = """
const module = new WebAssembly.Module(require('fs').readFileSync(process.argv[1]));
const {fill, results, memory} = new WebAssembly.Instance(module).exports;
const floats = fill();
process.stdout.write(Buffer.from(memory.buffer, results(), 4 * floats));
"""
LINUX = ["-static", "-fuse-ld=lld", "-fno-pie"]
# x86 has its processor named, since QEMU_CPU may name one of ARM64.
TARGETS = {
    "32-bit x86": (["--target=i686-linux-gnu", "-msse2", "-mfpmath=sse", *LINUX], ("qemu-i386", "-cpu", "qemu32"), "ld.lld"),
    "ARM64": (["--target=aarch64-linux-gnu", *LINUX], ("qemu-aarch64",), "ld.lld"),
    "WebAssembly": (["--target=wasm32", "-Wl,--no-entry"], ("node", "-e", NODE), "wasm-ld"),
    "WebAssembly with vectors": (["--target=wasm32", "-msimd128", "-Wl,--no-entry"], ("node", "-e", NODE), "wasm-ld"),
}


def outcome(source, folder, name):
    """What the transform gives out there, as bytes, or why it was left out."""
    options, runner, linker = TARGETS[name]
    missing = [tool for tool in ("clang++", linker, runner[0]) if shutil.which(tool) is None]
    if missing:
        return f"left out, there is no {' '.join(missing)}"
    files = [source / "tests/frontend/transform/foreign.cc", *(source / f"src/frontend/transform/{part}.cc" for part in ("plan", "ref", "vec4"))]
    program = folder / "program"
    subprocess.run(["clang++", "-std=c++20", "-O2", "-ffp-contract=off", "-ffreestanding", "-nostdlib", "-fno-exceptions", "-fno-rtti",
                    "-fno-stack-protector", *options, f"-I{source}/src", *map(str, files), "-o", str(program)], check=True)
    return subprocess.run([*runner, str(program)], check=True, stdout=subprocess.PIPE).stdout


def main():
    source = pathlib.Path(sys.argv[1])
    numbers = [(source / f"tests/data/frontend/transform_{size}.f32").read_bytes() for size in SIZES]
    want = b"".join(number * 2 for number in numbers)
    wrong = tried = 0
    for name in TARGETS:
        with tempfile.TemporaryDirectory(dir=os.environ.get("TMPDIR")) as folder:
            got = outcome(source, pathlib.Path(folder), name)
        if isinstance(got, str):
            print(f"{name}: {got}")
            continue
        tried += 1
        wrong += got != want
        print(f"{name}: {'the reference numbers' if got == want else 'other numbers'}")
    return 1 if wrong else 0 if tried else 77


if __name__ == "__main__":
    sys.exit(main())
