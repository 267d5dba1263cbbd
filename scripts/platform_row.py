#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""platform_row.py NAME BUILD RESULTS [--write PAGE]: the row of a platform in the table of docs/platforms.md, from what a run of its tests has left.

NAME is that of the platform, BUILD its build folder, RESULTS what `ctest --output-junit` wrote. Prints the row, and puts it in the place of the row of
that name in PAGE, or behind the last one."""
import pathlib
import re
import sys
import xml.etree.ElementTree

BEGIN, END = "<!-- platforms: begin (scripts/platform_row.py writes the rows) -->", "<!-- platforms: end -->"


def cached(build, name):
    """The value of a variable of the build's configuration, or an empty text."""
    match = re.search(rf"^{name}:\w+=(.*)$", (build / "CMakeCache.txt").read_text(encoding="utf-8"), re.M)
    return match.group(1) if match else ""


def outcome_of(results):
    """(level, tests run, passed, whether the recorded sessions are equal) of a JUnit file."""
    cases = [case for case in xml.etree.ElementTree.parse(results).getroot().iter("testcase") if case.get("status") in ("run", "fail")]
    passed = {case.get("name"): case.get("status") == "run" for case in cases}
    golden = [good for name, good in passed.items() if "GoldenSessions" in name]
    # nn.KernelLevels.OneRunsOnThisProcessor says which.
    levels = re.findall(r"^level (\w+)$", "\n".join(case.findtext("system-out") or "" for case in cases), re.M)
    return levels[0] if levels else "?", len(passed), sum(passed.values()), bool(golden) and all(golden)


def put(page, name, row):
    before, rest = page.read_text(encoding="utf-8").split(BEGIN)
    table, after = rest.split(END)
    rows = [line for line in table.strip("\n").split("\n") if not line.startswith(f"| {name} |")]
    page.write_text(before + BEGIN + "\n" + "\n".join([*rows, row]) + "\n" + END + after, encoding="utf-8")


def main():
    name, build, results, *write = sys.argv[1:]
    build = pathlib.Path(build)
    level, run, passed, golden = outcome_of(results)
    row = f"| {name} | {level} | {cached(build, 'WVAD_FFT')} | {run} | {passed} | {'yes' if golden else 'no'} |"
    print(row)
    if write:
        put(pathlib.Path(write[1]), name, row)


if __name__ == "__main__":
    main()
