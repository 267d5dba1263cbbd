#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Rows of the table of docs/platforms.md, whose cells come from two sides.

    platform_row.py NAME BUILD RESULTS... [--sessions PATTERN] [--bench JSON] [--write PAGE]
                                                                        from what a run of a platform's tests has left
    platform_row.py NAME --package FILE... --share SHARE [--write PAGE] from a package that was tried there

NAME is that of the platform, BUILD its build folder, RESULTS files that say what ran: what `ctest --output-junit` wrote (.xml), what a program of
GoogleTest printed (.txt), what `node --test --test-reporter=tap` wrote (.tap). PATTERN says in which names recorded sessions are compared; JSON is what `wvad_stage_bench` wrote with
--benchmark_out, where there is a processor whose time says something: an emulator's does not, and the cell is "-"; FILE a package that is needed, SHARE the processor time over
the time of the audio. Prints the row; with --write puts its cells into the row of that name in PAGE, or into a new one behind the last, and
leaves the other cells of that row as they are."""
import argparse
import json
import pathlib
import re
import xml.etree.ElementTree

BEGIN, END = "<!-- platforms: begin (scripts/platform_row.py writes the rows) -->", "<!-- platforms: end -->"
CELLS = ("level", "transform", "tests run", "passed", "sessions equal", "processor", "package", "transforms a frame")
MODELS = ("lstm_fb40", "lstm_fb75", "dnn_fb75")


def cached(build, name):
    """The value of a variable of the build's configuration, or an empty text."""
    match = re.search(rf"^{name}:\w+=(.*)$", (build / "CMakeCache.txt").read_text(encoding="utf-8"), re.M)
    return match.group(1) if match else ""


def tests_of(results):
    """(text that the tests printed, [(name, whether it passed)]) of a file of results; what was left out is not among them."""
    text = results.read_text(encoding="utf-8")
    if results.suffix == ".txt":
        return text, [(name, word == "OK") for word, name in re.findall(r"^\[ +(OK|FAILED) +\] ([^\s,]+).* \(\d+ ms\)$", text, re.M)]
    if results.suffix == ".tap":
        lines = re.findall(r"^(not ok|ok) \d+ - (.*)$", text, re.M)
        # What several tests share lies beside them, and Node.js calls each file that could be run and has no test one, by its path.
        tests = [(name, word == "ok") for word, name in lines if not re.search(r" # (SKIP|TODO)", name)]
        return "", [(name, good) for name, good in tests if not good or not re.fullmatch(r"/.*\.mjs", name)]
    cases = [case for case in xml.etree.ElementTree.fromstring(text).iter("testcase") if case.get("status") in ("run", "fail")]
    return "\n".join(case.findtext("system-out") or "" for case in cases), [(case.get("name"), case.get("status") == "run") for case in cases]


def outcome_of(results, sessions):
    """(level, tests run, passed, whether the recorded sessions are equal) of files of results; `sessions` matches the names of the last."""
    printed, tests = "", []
    for file in results:
        text, of_file = tests_of(file)
        printed += text
        tests += of_file
    golden = [good for name, good in tests if re.search(sessions, name)]
    # nn.KernelLevels.OneRunsOnThisProcessor says which.
    levels = re.findall(r"^level (\w+)$", printed, re.M)
    return levels[0] if levels else "?", len(tests), sum(good for _, good in tests), bool(golden) and all(golden)


def transforms_of(bench):
    """What a frame costs from end to end with each of MODELS in the benchmark's output, in 512-point transforms."""
    costs = {}
    for row in json.loads(bench.read_text(encoding="utf-8"))["benchmarks"]:
        kind, *of_model = row["name"].split("/")
        # The first form of a model is the one that the processor takes.
        if kind == "EndToEnd":
            costs.setdefault(of_model[0], f"{row['ffts']:.1f}")
    return ", ".join(costs.get(model, "-") for model in MODELS)


def cells_of_tests(build, results, sessions, bench):
    level, run, passed, golden = outcome_of(results, sessions)
    return {"level": level, "transform": cached(build, "WVAD_FFT"), "tests run": str(run), "passed": str(passed),
            "sessions equal": "yes" if golden else "no", "transforms a frame": transforms_of(bench) if bench else "-"}


def cells_of_packages(packages, share):
    return {"processor": f"{share:.4f}", "package": f"{sum(package.stat().st_size for package in packages) / 1e6:.1f} MB"}


def row_of(name, cells):
    return "| " + " | ".join([name, *(cells.get(cell, "") for cell in CELLS)]) + " |"


def put(text, name, cells):
    """The text of a page with these cells in the row of that name: (text, row)."""
    before, rest = text.split(BEGIN)
    table, after = rest.split(END)
    head, rule, *rows = table.strip("\n").split("\n")
    at = next((place for place, row in enumerate(rows) if row.startswith(f"| {name} |")), len(rows))
    old = [cell.strip() for cell in rows[at].split("|")[2:-1]] if at < len(rows) else []
    row = row_of(name, {**dict(zip(CELLS, old)), **cells})
    rows[at:at + 1] = [row]
    return before + BEGIN + "\n" + "\n".join([head, rule, *rows]) + "\n" + END + after, row


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("name")
    parser.add_argument("build", type=pathlib.Path, nargs="?")
    parser.add_argument("results", type=pathlib.Path, nargs="*")
    parser.add_argument("--sessions", default="GoldenSessions", metavar="PATTERN")
    parser.add_argument("--bench", type=pathlib.Path, metavar="JSON")
    parser.add_argument("--package", type=pathlib.Path, nargs="+", metavar="FILE")
    parser.add_argument("--share", type=float)
    parser.add_argument("--write", type=pathlib.Path, metavar="PAGE")
    wanted = parser.parse_args()
    if wanted.results:
        cells = cells_of_tests(wanted.build, wanted.results, wanted.sessions, wanted.bench)
    elif wanted.package and wanted.share is not None:
        cells = cells_of_packages(wanted.package, wanted.share)
    else:
        parser.error("BUILD and RESULTS, or --package and --share, are missing")
    row = row_of(wanted.name, cells)
    if wanted.write:
        text, row = put(wanted.write.read_text(encoding="utf-8"), wanted.name, cells)
        wanted.write.write_text(text, encoding="utf-8")
    print(row)


if __name__ == "__main__":
    main()
