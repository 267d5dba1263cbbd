#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_fft_linkage.py fftw|builtin BINARY...: what is built with the transform of this tree neither needs FFTW's library nor holds or calls any
of its functions; what is built with FFTW needs that library, all of the binaries."""
import re
import subprocess
import sys


def output_of(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def traces_of_fftw(binary):
    """Libraries that it needs and symbols of any kind, defined or not."""
    needed = re.findall(r"\(NEEDED\).*\[(libfftw[^]]*)\]", output_of("readelf", "-d", binary))
    symbols = re.findall(r"\b(fftw[fl]?_\w+)", output_of("nm", binary) + output_of("nm", "-D", binary))
    return needed, sorted(set(symbols))


def main():
    backend, *binaries = sys.argv[1:]
    wrong = 0
    for binary in binaries:
        needed, symbols = traces_of_fftw(binary)
        if backend == "builtin" and (needed or symbols):
            print(f"{binary} is linked with FFTW: {' '.join(needed + symbols)}")
            wrong = 1
        if backend == "fftw" and not needed:
            print(f"{binary} does not need FFTW's library")
            wrong = 1
    return wrong


if __name__ == "__main__":
    sys.exit(main())
