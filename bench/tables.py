#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Makes the tables of docs/performance.md of what report.sh has collected.

    tables.py FOLDER [--write PAGE]

Prints them; with --write they replace what stands in PAGE between the lines BEGIN and END. Standard library only.
"""
import argparse
import datetime
import json
import os
import pathlib
import platform

BEGIN = "<!-- figures: begin (bench/report.sh writes what follows) -->"
END = "<!-- figures: end -->"
FORMS = {"int8": "int8", "float_sse": "float, four lanes", "float_plain": "float, one sum rounded at each step"}


def stages(folder):
    """Name of a row of the stage benchmark to its counters. A row that did not run is missing."""
    with open(folder / "stages.json", encoding="utf-8") as file:
        report = json.load(file)
    return {row["name"].removesuffix("/manual_time").replace("/iterations:30", ""): row for row in report["benchmarks"]}


def lines(path):
    return [line.split() for line in path.read_text(encoding="utf-8").splitlines()] if path.exists() else []


def instructions(folder, kind, model):
    return {name: int(count) for name, count in lines(folder / f"{kind}.{model}.txt")}


def table(first, models, rows):
    out = [f"| {first} | " + " | ".join(models) + " |", "|---" * (len(models) + 1) + "|"]
    return out + [f"| {name} | " + " | ".join(cells) + " |" for name, cells in rows]


def us(row):
    return f"{row['us_per_frame']:.2f} µs" if row else "not needed"


def first_form(all_rows, kind, model):
    """The row of a model in the form that its processor gives it, which is the first of its rows."""
    return next(row for name, row in all_rows.items() if name.startswith(f"{kind}/{model}/"))


def number(value):
    return f"{value:,}".replace(",", " ")


def cost(all_rows, models, counts):
    """Times of the stages and end to end, and the instructions behind them."""
    whole = [first_form(all_rows, "EndToEnd", m) for m in models]
    pitch = [all_rows["Pitch"] if "fb75" in m else None for m in models]
    rows = [
        ("front end without pitch", [us(all_rows["FrontEnd"]) for _ in models]),
        ("pitch", [us(row) for row in pitch]),
        ("differences and stacking", [us(all_rows[f"Features/{m}"]) for m in models]),
        ("network", [us(first_form(all_rows, "Network", m)) for m in models]),
        ("decision", [us(all_rows[f"Decision/{m}"]) for m in models]),
        ("**end to end**, written and read in pieces of 100 ms", [f"**{us(row)}**" for row in whole]),
        ("end to end, transforms", [f"**{row['ffts']:.1f}**" for row in whole]),
        ("times faster than the audio", [f"{10000 / row['us_per_frame']:.0f}" for row in whole]),
    ]
    if all(counts):
        rows += [
            ("instructions, end to end", [number(c["end_to_end"]) for c in counts]),
            ("instructions, front end without pitch", [number(c["front_end"] - c.get("pitch_in_front_end", 0)) for c in counts]),
            ("instructions, pitch", [number(c.get("pitch_in_front_end", 0)) for c in counts]),
            ("instructions, differences", [number(c["front_end_with_features"] - c["front_end"]) for c in counts]),
            ("instructions, network", [number(c["network"]) for c in counts]),
            ("instructions, decision", [number(c["decision"]) for c in counts]),
            ("instructions, read", [number(c["read"]) for c in counts]),
        ]
    loads = [next(row for name, row in all_rows.items() if name.startswith(f"ModelLoad/{m}/")) for m in models]
    rows.append(("load of the model (in the file cache)", [f"{row['load_ms']:.1f} ms" for row in loads]))
    return table("stage", models, rows)


def forms(all_rows, model):
    out = ["| form | network | transforms | end to end | transforms |", "|---|---|---|---|---|"]
    for form, name in FORMS.items():
        network, whole = all_rows.get(f"Network/{model}/{form}"), all_rows.get(f"EndToEnd/{model}/{form}")
        if network and whole:
            out.append(f"| {name} | {us(network)} | {network['ffts']:.1f} | {us(whole)} | {whole['ffts']:.1f} |")
    return out


def kernels(models, counts, narrow):
    out = ["| instructions a frame | end to end | network |", "|---|---|---|"]
    for model, wide, less in zip(models, counts, narrow):
        for name, count in (("AVX2", wide), ("SSE4.1", less)):
            out.append(f"| {model}, {name} | {number(count['end_to_end'])} | {number(count['network'])} |")
    return out


# Columns of wvad_file_bench.
INSTANCES, _, AUDIO, CPU, _, FRAME, IDLE, GROWTH, PEAK = range(9)


def memory(folder, models):
    by_length = [{float(row[AUDIO]): row for row in lines(folder / f"length.{m}.txt")} for m in models]
    by_count = [{int(row[INSTANCES]): row for row in lines(folder / f"instances.{m}.txt")} for m in models]
    mib = lambda kib: f"{float(kib) / 1024:.1f} MiB"
    rows = []
    for n in by_count[0]:
        name = "first instance, before audio" if n == 1 else f"each of {n}, before audio"
        rows.append((name, [mib(t[n][IDLE]) for t in by_count]))
    lengths = [(s, f"{s / 60:.0f} minutes" if s < 3600 else f"{s / 3600:.0f} hours" if s > 3600 else "1 hour") for s in by_length[0]]
    for s, name in lengths[1:]:
        rows.append((f"growth after the first tenth of {name}", [f"{t[s][GROWTH]} KiB" for t in by_length]))
    last, name = lengths[-1]
    rows.append((f"peak of the process after {name}", [mib(t[last][PEAK]) for t in by_length]))
    rows.append((f"processor time for {name}", [f"{float(t[last][CPU]):.1f} s" for t in by_length]))
    for s, name in lengths:
        rows.append((f"time per frame, {name.replace('1 minutes', '1 minute')}", [f"{float(t[s][FRAME]):.1f} µs" for t in by_length]))
    for n in by_count[0]:
        name = "1 instance (6 s)" if n == 1 else f"{n} instances"
        rows.append((f"time per frame, {name}", [f"{float(t[n][FRAME]):.1f} µs" for t in by_count]))
    return table("", models, rows)


def threads(folder):
    out = ["| model | way | least | median | times the throughput of one thread, by processor time | by the clock |", "|---|---|---|---|---|---|"]
    for model, count, way, least, median, by_cpu, by_wall in lines(folder / "threads.txt")[1:]:
        out.append(f"| {model} | {count} {way} | {least} µs | {median} µs | {by_cpu} | {by_wall} |")
    return out


def page(folder):
    all_rows = stages(folder)
    models = [name.removeprefix("Features/") for name in all_rows if name.startswith("Features/")]
    counts = [instructions(folder, "instructions", m) for m in models]
    narrow = [instructions(folder, "instructions-sse41", m) for m in models]
    fft = min(row["fft_us"] for row in all_rows.values() if "fft_us" in row)
    load = (folder / "load.txt").read_text(encoding="utf-8").strip()
    out = [
        f"Measured on {datetime.date.today()} with {os.cpu_count()} cores ({platform.machine()}), one 512-point transform {fft:.2f} µs, "
        f"load of the machine by other work when it began {load}.",
        "", "### Cost of a 10 ms frame", "", *cost(all_rows, models, counts), "",
    ]
    for model in models:
        if len(table_rows := forms(all_rows, model)) > 3:
            out += [f"### Forms of {model}", "", *table_rows, ""]
    if all(counts) and all(narrow):
        out += ["### Kernels", "", *kernels(models, counts, narrow), ""]
    out += ["### Memory and growth", "", *memory(folder, models), "", "### Threads", "", *threads(folder)]
    return "\n".join(out)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("folder", type=pathlib.Path)
    parser.add_argument("--write", type=pathlib.Path, metavar="PAGE")
    options = parser.parse_args()
    text = page(options.folder)
    print(text)
    if options.write:
        old = options.write.read_text(encoding="utf-8")
        head, rest = old.split(BEGIN, 1)
        tail = rest.split(END, 1)[1]
        options.write.write_text(f"{head}{BEGIN}\n\n{text}\n\n{END}{tail}", encoding="utf-8")


if __name__ == "__main__":
    main()
