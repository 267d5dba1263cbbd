#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Keeps the arrows between the folders of src/: each includes only itself and what lies below it, and only src/platform includes
headers of the operating system. Prints one line for each include that goes against this; exit code 1 if there is one."""
import pathlib
import re
import sys

# A folder may include itself and these.
BELOW = {
    "base": set(),
    "platform": {"base"},
    "log": {"platform", "base"},
    "params": {"log", "platform", "base"},
    "dumps": {"log", "platform", "base"},
    "frontend": {"log", "platform", "base"},
    "nn": {"log", "platform", "base"},
    "quality": {"params", "log", "platform", "base"},
    "res": {"nn", "params", "log", "platform", "base"},
    "channel": {"frontend", "log", "platform", "base"},
    "scoring": {"channel", "frontend", "nn", "log", "platform", "base"},
    "session": {"scoring", "channel", "dumps", "params", "frontend", "nn", "quality", "log", "platform", "base"},
    "decision": {"session", "scoring", "channel", "dumps", "params", "frontend", "nn", "quality", "log", "platform", "base"},
    "engine": {"decision", "session", "scoring", "channel", "dumps", "params", "res", "quality", "nn", "frontend", "log", "platform", "base"},
    "api": {"engine", "log"},
}

# Of the C headers these are the language's, and the processor's own; everything else in angle brackets that ends in .h is somebody else's.
LANGUAGE_HEADERS = {f"{name}.h" for name in "assert complex ctype errno fenv float inttypes iso646 limits locale math setjmp signal "
                    "stdalign stdarg stdatomic stdbool stddef stdint stdio stdlib stdnoreturn string tgmath threads time uchar wchar "
                    "wctype".split()} | {"cpuid.h", "fftw3.h"}
PROCESSOR_HEADER = re.compile(r"^[a-z0-9]*mmintrin\.h$|^immintrin\.h$")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')


def problems(root):
    source = root / "src"
    for path in sorted(source.rglob("*")):
        if path.suffix not in (".h", ".cc"):
            continue
        folder = path.relative_to(source).parts[0]
        for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
            match = INCLUDE.match(line)
            if not match:
                continue
            quote, name = match.groups()
            where = f"{path.relative_to(root)}:{number}"
            top = name.split("/")[0]
            if quote == '"':
                if name == "wvad.h":
                    continue
                if "/" not in name or top not in BELOW:
                    yield f'{where}: "{name}" does not start with a folder of src/'
                elif top != folder and top not in BELOW.get(folder, set()):
                    yield f"{where}: {folder} must not include {top} ({name})"
                elif not (source / name).exists():
                    yield f'{where}: "{name}" does not exist'
            elif name.endswith(".h") and folder != "platform" and name != "wvad.h":
                if name not in LANGUAGE_HEADERS and not PROCESSOR_HEADER.match(name):
                    yield f"{where}: <{name}> is a header of the system; only src/platform may include it"
    for folder in sorted(entry.name for entry in source.iterdir() if entry.is_dir()):
        if folder not in BELOW:
            yield f"src/{folder}: the order of the folders does not know it"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()
    found = list(problems(root))
    print("\n".join(found) if found else "all includes point downward")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
