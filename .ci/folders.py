# SPDX-License-Identifier: Apache-2.0
"""The tables of docs/architecture.md that say which folder may include what: the one place where that is written down.

"The folders", lowest first: a folder and what it may include. A bare name is a folder (or a file) of src, and brings along what that folder
may include itself; a name under tools stands for itself alone; "everything" lifts all rules. "Headers of others": patterns in backquotes and
the folders or files that may include them; the row without backquotes is for every header that no other row names."""
import fnmatch
import pathlib
import re

PAGE = "docs/architecture.md"


def rows_of_table(text, first_column):
    """The cells of each row of the one table whose first column has this heading."""
    lines = iter(text.splitlines())
    for line in lines:
        if line.startswith(f"| {first_column} |"):
            next(lines)  # the rule below the heading
            break
    for line in lines:
        if not line.startswith("|"):
            return
        yield [cell.strip() for cell in line.strip().strip("|").split("|")]


def names_of(cell):
    return [name.strip() for name in cell.split(",") if name.strip()]


class Folders:
    """What may include what. `named` maps each folder to the paths that its row names, or to None where it may include everything."""

    def __init__(self, root):
        text = (pathlib.Path(root) / PAGE).read_text(encoding="utf-8")
        self.named = {}
        for folders, _, may in rows_of_table(text, "Folder"):
            for folder in names_of(folders):
                self.named[folder] = None if may == "everything" else [self._path(name) for name in names_of(may)]
        self._others = [(re.findall(r"`([^`]+)`", headers), names_of(places)) for headers, places in rows_of_table(text, "Headers")]

    @staticmethod
    def _path(name):
        return name if name.startswith("tools/") else f"src/{name}"

    def of(self, path):
        """The folder of the table that holds `path`, the innermost one, or None."""
        while path and path not in self.named:
            path = path.rpartition("/")[0]
        return path or None

    def below(self, folder):
        """All that `folder` may include beside itself, as paths."""
        found = []
        for path in self.named[folder] or []:
            found.append(path)
            if path.startswith("src/") and path in self.named:
                found += self.below(path)
        return found

    def may_include(self, folder, path):
        if self.named[folder] is None:
            return True
        return any(path == place or path.startswith(place + "/") for place in [folder] + self.below(folder))

    def places_of_header(self, header):
        """The folders and files that may include a header of somebody else's."""
        rest = []
        for patterns, places in self._others:
            if any(fnmatch.fnmatchcase(header, pattern) for pattern in patterns):
                return places
            if not patterns:
                rest = places
        return rest

    def problems(self, root):
        """What is wrong with the tables themselves, held against the tree."""
        root = pathlib.Path(root)
        seen = set()
        for folder, named in self.named.items():
            if not (root / folder).exists():
                yield f"{PAGE}: there is no folder {folder}"
            for path in named or []:
                if not (root / path).exists():
                    yield f"{PAGE}: {folder} may include {path}, which does not exist"
                elif self.of(path) not in seen:
                    yield f"{PAGE}: {folder} may include {path}, which does not stand above it in the table"
            seen.add(folder)
        for _, places in self._others:
            for place in places:
                if not (root / place).exists():
                    yield f"{PAGE}: there is no {place} to include headers of others"
        for parent in ("src", "tools"):
            for entry in sorted((root / parent).iterdir()):
                if entry.is_dir() and f"{parent}/{entry.name}" not in self.named:
                    yield f"{PAGE}: {parent}/{entry.name} has no row"
