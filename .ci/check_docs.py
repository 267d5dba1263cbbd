#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""The pages keep up with the code: every parameter name is in docs/parameters.md and nothing else is, every code of the public header is in
docs/api.md with its number, every test that docs/coverage.md names exists and every test program is on it, docs/api.md shows
examples/sentences.c, docs/stream.md examples/stream.c and the rows of the stream library's tables, README.md lines of examples/stream.c, and
relative links lead somewhere. With the built program as its argument: what `--help` says of each command's options, choices and exit codes is what docs/cli.md and the manual page say."""
import pathlib
import re
import subprocess
import sys


def parameter_problems(text):
    table = text("src/params/param_table.h")
    in_code = set(re.findall(r"WVAD_NORMAL_PARAM\((\w+)\)", table)) - {"field"}
    in_code |= set(re.findall(r'"((?:wvad_para|wkel_para|VAD_PARAM)\w+)"', table))
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
        if f"WVAD_NAMED({name})" not in text("tools/wvad/engine.cc"):
            yield f"tools/wvad/engine.cc: {name} is missing in the table of codes"
    for line in text("cmake/exports.txt").splitlines():
        if line and not line.startswith("#"):
            number, name = line.split()
            if f"| {number} | `{name}(" not in api:
                yield f"docs/api.md: function {number} {name} is missing"


def example_problems(text):
    example = text("examples/sentences.c")
    if example[example.index("#include"):] not in text("docs/api.md"):
        yield "docs/api.md: its C program is not examples/sentences.c"
    example = text("examples/stream.c")
    if example[example.index("#include"):] not in text("docs/stream.md"):
        yield "docs/stream.md: its C program is not examples/stream.c"
    for lines in re.findall(r"^```c\n(.*?)^```", text("README.md"), re.M | re.S):
        if lines not in example:
            yield "README.md: its lines of C are not from examples/stream.c"


def stream_problems(text):
    page = text("docs/stream.md")
    header = text("include/wvad_stream.h")
    for name in re.findall(r"^  (WVAD_(?:E|EVENT)_\w+) = ", header, re.M):
        if f"`{name}`" not in page:
            yield f"docs/stream.md: {name} is missing"
    for name, unit, low, high, off, engine in re.findall(
            r'\{"(\w+)", "(\w*)", ([-.\d]+), ([-.\d]+), (true|false), &wvad_settings::\w+, "(\w*)"', text("src/stream/settings_table.h")):
        limits = ("0, " if off == "true" else "") + f"{low} to {high}"
        if not re.search(rf"^\| `{name}` \| ?{unit} \| {re.escape(limits)} \| {f'`{engine}`' if engine else 'none'} \|", page, re.M):
            yield f"docs/stream.md: the row of {name} is not that of src/stream/settings_table.h"
    for name, values in re.findall(r'WVAD_PROFILE_\w+, "(\w+)", \{([^}]*)\}', text("src/stream/profiles.h")):
        if f"| `{name}` | " + " | ".join(values.split(", ")[:8]) + " |" not in page:
            yield f"docs/stream.md: the row of the profile {name} is not that of src/stream/profiles.h"


def program_problems(read, program):
    """What the help of the built program says and the pages do not, and the other way round."""
    def help_of(*command):
        return subprocess.run([program, *command, "--help"], capture_output=True, text=True, check=True).stdout

    page = read("docs/cli.md")
    manual = read("tools/wvad/wvad.1")
    manual = re.sub(r"\\f[BRI]", "", manual).replace("\\-", "-").replace('"', "").replace("\\(em", "-")
    both = (("docs/cli.md", page.replace("`", "")), ("tools/wvad/wvad.1", manual))
    commands = [(name,) for name in re.findall(r"^  (\w+) ", help_of().split("Subcommands:")[1].split("Exit codes:")[0], re.M) if name != "model"]
    commands += [("model", "pack"), ("model", "inspect")]
    everywhere = set()  # long options of all commands
    for command in commands:
        words = help_of(*command)
        options = re.findall(r"^  (?:-\w,)?--([a-z-]+)(?: (\S+))?", words.split("Options:")[1], re.M)
        everywhere |= {name for name, _ in options}
        for name, form in options:
            for where, text in both:
                if name not in ("help", "help-all") and "--" + name not in text:
                    yield f"{where}: {' '.join(command)} --{name} is missing"
                for choice in form.split("=")[0].split("|") if "|" in form else ():
                    if choice.islower() and not re.search(rf"\b{choice}\b", text):
                        yield f"{where}: {' '.join(command)} --{name} {choice} is missing"
        section = re.search(rf"^## wvad {command[0]}\n(.*?)^## ", page, re.M | re.S)
        if not section:
            yield f"docs/cli.md: there is no section on wvad {command[0]}"
    for where, text in both:
        for name in sorted(set(re.findall(r"(?<![\w-])--([a-z][a-z-]+)", text)) - everywhere - {"version"}):
            yield f"{where}: no command has --{name}"
    for number, meaning in re.findall(r"^ *(\d+)  (.+)$", help_of().split("Exit codes:")[1], re.M):
        for where, text in both:
            if not re.search(rf"^(\| )?{number}( \|)? +{re.escape(meaning)}", text, re.M):
                yield f"{where}: exit code {number} is not told as: {meaning}"


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


def problems(root, program=None):
    def text(name):
        return (root / name).read_text(encoding="utf-8")

    yield from parameter_problems(text)
    yield from interface_problems(text)
    yield from example_problems(text)
    yield from stream_problems(text)
    if program:
        yield from program_problems(text, program)
    yield from coverage_problems(root, text)
    yield from link_problems(root)


def main():
    root = pathlib.Path(__file__).resolve().parent.parent
    found = list(problems(root, sys.argv[1] if len(sys.argv) > 1 else None))
    print("\n".join(found) if found else "the pages agree with the code")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
