#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The pages keep up with the code: every parameter name is in docs/parameters.md and nothing else is, every code of the public header is in
docs/api.md with its number, every long option of the program is in docs/cli.md and in the manual page, every test that docs/coverage.md names
exists and every test program is on it, and relative links lead somewhere."""
import pathlib
import re
import sys


def parameter_problems(text):
    table = text("src/params/param_table.cc")
    in_code = set(re.findall(r"WVAD_NORMAL_PARAM\((\w+)\)", table)) - {"field"}
    in_code |= set(re.findall(r'"((?:wvad_para|wkel_para|VAD_PARAM)\w+)"', table)) - {"wvad_param_special_count"}
    in_page = set(re.findall(r"^\| `(\w+)` \|", text("docs/parameters.md"), re.M))
    in_page = {name for name in in_page if name.startswith(("wvad_", "wkel_", "VAD_"))}
    for name in sorted(in_code - in_page):
        yield f"docs/parameters.md: {name} is missing"
    for name in sorted(in_page - in_code):
        yield f"docs/parameters.md: there is no parameter {name}"


def interface_problems(text):
    api = text("docs/api.md")
    for name, number in re.findall(r"^  ((?:WVAD|RES_MGR)_ERROR_\w+) = (\d+)", text("include/wvad.h"), re.M):
        if f"| {number} | `{name}` |" not in api:
            yield f"docs/api.md: {number} {name} is missing"
    for line in text("cmake/exports.txt").splitlines():
        if line and not line.startswith("#"):
            number, name = line.split()
            if f"| {number} | `{name}(" not in api:
                yield f"docs/api.md: function {number} {name} is missing"


def program_problems(text):
    options = set(re.findall(r'"(?:-\w,)?--([a-z-]+)"', text("tools/wvad/main.cc")))
    manual = text("tools/wvad/wvad.1").replace("\\-", "-")
    for option in sorted(options - {"version", "help-all"}):
        for page, words in (("docs/cli.md", text("docs/cli.md")), ("tools/wvad/wvad.1", manual)):
            if "--" + option not in words:
                yield f"{page}: --{option} is missing"


def suites_of(source):
    """(suite, test) of each test that a source file defines."""
    return re.findall(r"^TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", source.read_text(encoding="utf-8"), re.M) if source.exists() else []


def tests_of_tree(root):
    """What CTest runs, as the build scripts name it: {program: {suite: its tests}}, and the names of the tests that stand alone, up to the
    first part that is made up while configuring."""
    programs, alone = {}, set()
    for script in sorted([*root.glob("tests/**/CMakeLists.txt"), *root.glob("fuzz/CMakeLists.txt")]):
        text = script.read_text(encoding="utf-8")
        sources = re.findall(r"wvad_test\(\s*(\w+)\s+SOURCES\s+([^)]*?)(?=\s[A-Z]+\s|\))", text)
        sources += re.findall(r"target_sources\(wvad_(\w+)_test PRIVATE ([^)]*)\)", text)
        for program, names in sources:
            suites = programs.setdefault(program, {})
            for name in names.split():
                for suite, test in suites_of(script.parent / name):
                    suites.setdefault(suite, set()).add(test)
        alone |= {name.split("$")[0].rstrip(".") for name in re.findall(r"add_test\(NAME ([^\s)]+)", text)}
    return programs, alone


def coverage_problems(root, text):
    programs, alone = tests_of_tree(root)
    named = set()
    for row in (line for line in text("docs/coverage.md").splitlines() if line.startswith("|")):
        named |= set(re.findall(r"`([^`]+)`", row.rstrip(" |").rpartition("|")[2]))
    for name in sorted(named - alone):
        program, *parts = name.split(".")
        suites = programs.get(program, {})
        if program not in programs or (parts and parts[0] not in suites) or (parts[1:] and parts[1] not in suites[parts[0]]):
            yield f"docs/coverage.md: there is no test {name}"
    for program in sorted(set(programs) - {name.split(".")[0] for name in named}):
        yield f"docs/coverage.md: {program} is missing"


def link_problems(root):
    for page in sorted(root.glob("*.md")) + sorted(root.glob("docs/*.md")) + sorted(root.glob("*/*/README.md")):
        for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", page.read_text(encoding="utf-8")):
            if "://" not in target and not (page.parent / target).exists():
                yield f"{page.relative_to(root)}: {target} does not exist"


def problems(root):
    def text(name):
        return (root / name).read_text(encoding="utf-8")

    yield from parameter_problems(text)
    yield from interface_problems(text)
    yield from program_problems(text)
    yield from coverage_problems(root, text)
    yield from link_problems(root)


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    found = list(problems(root))
    print("\n".join(found) if found else "the pages agree with the code")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
