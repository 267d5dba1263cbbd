#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The pages keep up with the code: every parameter name is in docs/parameters.md and nothing else is, every code of the public header is in
docs/api.md with its number, every long option of the program is in docs/cli.md and in the manual page, every test that docs/coverage.md names
exists, and relative links lead somewhere."""
import pathlib
import re
import sys


def problems(root):
    def text(name):
        return (root / name).read_text(encoding="utf-8")

    table = text("src/params/param_table.cc")
    in_code = set(re.findall(r"WVAD_NORMAL_PARAM\((\w+)\)", table)) - {"field"}
    in_code |= set(re.findall(r'"((?:wvad_para|wkel_para|VAD_PARAM)\w+)"', table)) - {"wvad_param_special_count"}
    in_page = set(re.findall(r"^\| `(\w+)` \|", text("docs/parameters.md"), re.M))
    in_page = {name for name in in_page if name.startswith(("wvad_", "wkel_", "VAD_"))}
    for name in sorted(in_code - in_page):
        yield f"docs/parameters.md: {name} is missing"
    for name in sorted(in_page - in_code):
        yield f"docs/parameters.md: there is no parameter {name}"

    api = text("docs/api.md")
    for name, number in re.findall(r"^  ((?:WVAD|RES_MGR)_ERROR_\w+) = (\d+)", text("include/wvad.h"), re.M):
        if f"| {number} | `{name}` |" not in api:
            yield f"docs/api.md: {number} {name} is missing"
    for line in text("cmake/exports.txt").splitlines():
        if line and not line.startswith("#"):
            number, name = line.split()
            if f"| {number} | `{name}(" not in api:
                yield f"docs/api.md: function {number} {name} is missing"

    options = set(re.findall(r'"(?:-\w,)?--([a-z-]+)"', text("tools/wvad/main.cc")))
    manual = text("tools/wvad/wvad.1").replace("\\-", "-")
    for option in sorted(options - {"version", "help-all"}):
        for page, words in (("docs/cli.md", text("docs/cli.md")), ("tools/wvad/wvad.1", manual)):
            if "--" + option not in words:
                yield f"{page}: --{option} is missing"

    tests = {}  # suite: its tests
    for source in sorted(root.glob("tests/**/*.cc")):
        for suite, test in re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", source.read_text(encoding="utf-8"), re.M):
            tests.setdefault(suite, set()).add(test)
    rows = "\n".join(line for line in text("docs/coverage.md").splitlines() if line.startswith("|"))
    for suite, test in sorted(set(re.findall(r"`\w+\.(?:\w+/)?(\w+)(?:\.(\w+))?(?:/\w+)?`", rows))):
        if suite[0].isupper() and (suite not in tests or (test and test not in tests[suite])):
            yield f"docs/coverage.md: there is no test {suite}.{test}".rstrip(".")

    for page in sorted(root.glob("*.md")) + sorted(root.glob("docs/*.md")) + sorted(root.glob("*/*/README.md")):
        for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
            if "://" not in target and not (page.parent / target).exists():
                yield f"{page.relative_to(root)}: {target} does not exist"


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    found = list(problems(root))
    print("\n".join(found) if found else "the pages agree with the code")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
