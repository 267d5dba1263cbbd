#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""check_sizes.py ROOT FOLDER...: no source file below these folders has more than 400 lines, and no function in one more than 60.

Functions of C and C++ are found by Universal Ctags, those of Python by its own parser; of JavaScript, TypeScript and CSS the file alone counts. Prints one line for each that is too long. Exit code 1
if there is one, 77 (a skipped test) where there is no ctags."""
import ast
import pathlib
import re
import shutil
import subprocess
import sys

LONGEST_FILE = 400
LONGEST_FUNCTION = 60
SKIPPED = 77
C_SUFFIXES = (".h", ".cc", ".c")
PAGE_SUFFIXES = (".js", ".css", ".ts", ".mjs")


def c_functions(path):
    """(name, first line, last line) of each function that `path` defines."""
    command = ["ctags", "--kinds-C=f", "--kinds-C++=f", "--fields=+ne", "-f", "-", str(path)]
    for line in subprocess.run(command, check=True, capture_output=True, text=True).stdout.splitlines():
        first, last = re.search(r"\tline:(\d+)", line), re.search(r"\tend:(\d+)", line)
        yield line.split("\t")[0], int(first.group(1)), int(last.group(1))


def python_functions(path):
    for node in ast.walk(ast.parse(path.read_text(encoding="utf-8"))):
        if isinstance(node, (ast.FunctionDef, ast.AsyncFunctionDef)):
            yield node.name, node.lineno, node.end_lineno


def problems_of_file(root, path):
    name = path.relative_to(root)
    lines = len(path.read_text(encoding="utf-8").splitlines())
    if lines > LONGEST_FILE:
        yield f"{name}: {lines} lines; more than {LONGEST_FILE} are several ideas"
    if path.suffix in PAGE_SUFFIXES:
        return
    functions = c_functions(path) if path.suffix in C_SUFFIXES else python_functions(path)
    for function, first, last in functions:
        if last - first + 1 > LONGEST_FUNCTION:
            yield f"{name}:{first}: {function} has {last - first + 1} lines; more than {LONGEST_FUNCTION} do not read as one act"


def problems(root, folders):
    for folder in folders:
        paths = sorted(path for path in (root / folder).rglob("*") if path.suffix in (*C_SUFFIXES, *PAGE_SUFFIXES, ".py"))
        if not paths:
            yield f"{folder}: no source file stands there"
        for path in paths:
            yield from problems_of_file(root, path)


def main():
    root, folders = pathlib.Path(sys.argv[1]).resolve(), sys.argv[2:]
    if shutil.which("ctags") is None:
        print("skipped: there is no ctags (Debian's package universal-ctags)")
        return SKIPPED
    found = list(problems(root, folders))
    print("\n".join(found) if found else "no file and no function is too long")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
