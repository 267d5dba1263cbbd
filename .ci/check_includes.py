#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Keeps the arrows between the folders: holds every include, and every link between the libraries of src, against the tables of
docs/architecture.md. Prints one line for each that goes against them; exit code 1 if there is one."""
import pathlib
import re
import sys

import folders

# Of the C headers these are the language's own; anything else in angle brackets that has a "/" or ends in .h is somebody else's.
LANGUAGE_HEADERS = {f"{name}.h" for name in "assert complex ctype errno fenv float inttypes iso646 limits locale math setjmp signal "
                    "stdalign stdarg stdatomic stdbool stddef stdint stdio stdlib stdnoreturn string tgmath threads time uchar wchar "
                    "wctype".split()}
PUBLIC_HEADERS = ("wvad.h", "wvad_stream.h")
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]')
COMPONENT = re.compile(r"wvad_component\(\s*(\w+)(.*?)\)", re.S)


def own_file(root, name):
    """The path of the file of this project that is included as `name`, or None."""
    return next((path for path in (f"src/{name}", f"tools/{name}") if (root / path).exists()), None)


def wrong_with_own(table, folder, name, file):
    """What speaks against including `file` of this project as `name` from `folder`, or None."""
    if file is None:
        return f'"{name}" is no file under src or tools'
    return None if table.may_include(folder, file) else f"{folder} must not include {file}"


def wrong_with_others(table, path, name):
    """What speaks against including the header `name` of somebody else from the file `path`, or None."""
    is_library = "/" in name or name.endswith((".h", ".hpp"))
    if not is_library or name in LANGUAGE_HEADERS:
        return None
    places = table.places_of_header(name)
    if any(path == place or path.startswith(place + "/") for place in places):
        return None
    return f"<{name}> may be included by {', '.join(places) or 'nobody'} only"


def problems_of_file(root, table, path):
    folder = table.of(path)
    if folder is None:
        yield f"{path}: stands in no folder of the table"
    if folder is None or table.named[folder] is None:
        return
    for number, line in enumerate((root / path).read_text(encoding="utf-8").splitlines(), 1):
        match = INCLUDE.match(line)
        if not match or match.group(2) in PUBLIC_HEADERS:
            continue
        quote, name = match.groups()
        file = own_file(root, name)
        wrong = wrong_with_own(table, folder, name, file) if quote == '"' or file else wrong_with_others(table, path, name)
        if wrong:
            yield f"{path}:{number}: {wrong}"


def problems_of_links(root, table):
    """Libraries that a folder links although it may not include them."""
    for script in sorted(root.glob("src/*/CMakeLists.txt")):
        for name, arguments in COMPONENT.findall(script.read_text(encoding="utf-8")):
            match = re.search(r"\bDEPS\b((?:\s+[a-z_0-9]+)*)", arguments)
            for dependency in match.group(1).split() if match else []:
                if f"src/{name}" in table.named and not table.may_include(f"src/{name}", f"src/{dependency}"):
                    yield f"{script.relative_to(root)}: {name} must not link {dependency}"


def problems(root):
    table = folders.Folders(root)
    wrong_tables = list(table.problems(root))
    if wrong_tables:
        yield from wrong_tables
        return
    for top in ("include", "src", "tools", "examples"):
        for path in sorted((root / top).rglob("*")):
            if path.suffix in (".h", ".cc", ".c"):
                yield from problems_of_file(root, table, path.relative_to(root).as_posix())
    yield from problems_of_links(root, table)


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()
    found = list(problems(root))
    print("\n".join(found) if found else "all includes point downward")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
