# SPDX-License-Identifier: Apache-2.0
"""Draws what a larger network brings against what it costs: a table in docs/accuracy.md and the figure docs/accuracy_sizes.svg.

    size_curve.py --docs DIR --file-bench BUILD/bin/wvad_file_bench --models MODELS --kept FOLDER RUN=MODEL.bin [RUN=MODEL.bin...]

RUN is the folder that train_lstm.py or train_dnn.py wrote, MODEL.bin what its exporter made of it. Cost is counted, not timed: instructions of a 10 ms
frame from end to end (bench/instructions.sh, by valgrind), kept in RUN/instructions.txt and, for the bundled models of 16000 Hz, in FOLDER. Accuracy is
that of the training's own watch over the recordings of judged_sets.py, at the state with the greatest merit: the mean ROC-AUC of the groups with speech,
and the share of noise taken for speech at the threshold that is best on the others (watched_sets.py). The bundled models have the areas of
the same recordings, "watched" in DIR/accuracy.json, and alarms at the threshold of the engine.
"""

import argparse
import json
import os
import subprocess
from math import log10

from accuracy_page import COLOURS, between

MARKS = ("<!-- sizes: begin (training/size_curve.py writes what follows) -->", "<!-- sizes: end -->")
KINDS = ("lstm_fb75", "lstm_fb40", "dnn_fb75")
WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 640, 360, 70, 56, 20, 110
COST_LINES = (20_000, 30_000, 40_000, 50_000, 70_000, 100_000, 150_000, 200_000, 300_000)


def kind_and_size(arguments):
    """"lstm_fb75", "256 cells, 128 units" from what a training was told."""
    if "hidden" in arguments and isinstance(arguments["hidden"], list):
        return "dnn_fb75", " and ".join(str(units) for units in arguments["hidden"]) + " units"
    return arguments["kind"], f"{arguments['cells']} cells, {arguments['hidden']} units"


def best_state(log):
    return max((entry for entry in log if "merit" in entry), key=lambda entry: entry["merit"])


def mean_area(areas, spoken):
    """Of the groups with speech, each weighing the same."""
    return sum(areas[name] for name in spoken) / len(spoken)


def of_run(training, spoken, instructions, megabytes):
    kind, size = kind_and_size(training["arguments"])
    best = best_state(training["log"])
    return {"kind": kind, "size": size, "bundled": False, "megabytes": megabytes, "instructions": instructions, "area": mean_area(best, spoken),
            "noisy": best["natural at 0 dB"], "alarms": best["alarms"][0]}


def of_bundled(result, instructions, megabytes):
    areas = result["watched"]
    return {"kind": result["model"].replace(".bin", ""), "size": "bundled", "bundled": True, "megabytes": megabytes, "instructions": instructions,
            "area": mean_area(areas, areas), "noisy": areas["natural at 0 dB"], "alarms": result["groups"]["noise"]["false_alarm"]}


def in_order(rows):
    return sorted(rows, key=lambda row: (KINDS.index(row["kind"]), row["bundled"], row["instructions"]))


def table(rows):
    lines = ["| Kind | Size | File, MB | Instructions a frame | Mean ROC-AUC | at 0 dB | Noise taken for speech |", "|---|---|---|---|---|---|---|"]
    kind = None
    for row in in_order(rows):
        shown, kind = row["kind"] if row["kind"] != kind else "", row["kind"]
        cells = [shown, row["size"], f"{row['megabytes']:.1f}", f"{row['instructions']:,}".replace(",", " "), f"{row['area']:.4f}", f"{row['noisy']:.3f}",
                 f"{100 * row['alarms']:.1f}"]
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def figure(rows):
    """Mean area against instructions, these on a logarithmic axis; a ring is a bundled model, which learnt for longer from more."""
    right, bottom = WIDTH - RIGHT, HEIGHT - BOTTOM
    costs, areas = [row["instructions"] for row in rows], [row["area"] for row in rows]
    cheap, dear, poor, good = min(costs) / 1.1, max(costs) * 1.1, min(areas) - 0.004, max(areas) + 0.004

    def across(cost):
        return LEFT + (right - LEFT) * (log10(cost) - log10(cheap)) / (log10(dear) - log10(cheap))

    def up(area):
        return bottom + (TOP - bottom) * (area - poor) / (good - poor)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>']
    for cost in (cost for cost in COST_LINES if cheap <= cost <= dear):
        parts += [f'<path d="M{across(cost):.1f} {TOP}V{bottom}" stroke="#dddddd"/>',
                  f'<text x="{across(cost):.1f}" y="{bottom + 16}" text-anchor="middle">{cost // 1000}</text>']
    for hundredth in (k / 100 for k in range(101) if poor <= k / 100 <= good):
        parts += [f'<path d="M{LEFT} {up(hundredth):.1f}H{right}" stroke="#dddddd"/>',
                  f'<text x="{LEFT - 8}" y="{up(hundredth) + 4:.1f}" text-anchor="end">{hundredth:.2f}</text>']
    parts += [f'<text x="{(LEFT + right) / 2}" y="{HEIGHT - 14}" text-anchor="middle">thousand instructions a frame, end to end</text>',
              f'<text transform="translate(18 {(TOP + bottom) / 2}) rotate(-90)" text-anchor="middle">mean ROC-AUC of the groups with speech</text>']
    for kind, colour in zip(KINDS, COLOURS):
        of_kind = in_order(row for row in rows if row["kind"] == kind)
        trained = [(across(row["instructions"]), up(row["area"])) for row in of_kind if not row["bundled"]]
        parts.append(f'<polyline points="{" ".join(f"{x:.1f},{y:.1f}" for x, y in trained)}" fill="none" stroke="{colour}" stroke-width="2"/>')
        parts += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="3.5" fill="{colour}"/>' for x, y in trained]
        parts += [f'<circle cx="{across(row["instructions"]):.1f}" cy="{up(row["area"]):.1f}" r="5.5" fill="none" stroke="{colour}" stroke-width="2"/>'
                  for row in of_kind if row["bundled"]]
        if trained:
            parts.append(f'<text x="{trained[-1][0] + 10:.1f}" y="{trained[-1][1] + 4:.1f}" fill="{colour}">{kind}</text>')
    return "\n".join([*parts, "</svg>"]) + "\n"


def instructions_of(file_bench, model, kept):
    """End to end, counted once: valgrind takes a minute."""
    if not os.path.exists(kept):
        script = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "bench", "instructions.sh")
        counted = subprocess.run([script, file_bench, model], stdout=subprocess.PIPE, text=True, check=True).stdout
        with open(kept, "w", encoding="utf-8") as handle:
            handle.write(counted)
    with open(kept, encoding="utf-8") as handle:
        return int(dict(line.split() for line in handle)["end_to_end"])


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--docs", required=True)
    parser.add_argument("--file-bench", required=True)
    parser.add_argument("--models", required=True, help="folder of the bundled models")
    parser.add_argument("--kept", required=True, help="folder for what was counted of the bundled models")
    parser.add_argument("runs", nargs="+", metavar="RUN=MODEL.bin")
    args = parser.parse_args()
    with open(os.path.join(args.docs, "accuracy.json"), encoding="utf-8") as handle:
        results = json.load(handle)
    spoken = list(results[0]["watched"])
    rows = []
    for folder, model in (run.split("=") for run in args.runs):
        with open(os.path.join(folder, "training.json"), encoding="utf-8") as handle:
            training = json.load(handle)
        instructions = instructions_of(args.file_bench, model, os.path.join(folder, "instructions.txt"))
        rows.append(of_run(training, spoken, instructions, os.path.getsize(model) / 1e6))
    for result in (result for result in results if result["model"].replace(".bin", "") in KINDS):
        model = os.path.join(args.models, result["model"])
        instructions = instructions_of(args.file_bench, model, os.path.join(args.kept, result["model"] + ".txt"))
        rows.append(of_bundled(result, instructions, os.path.getsize(model) / 1e6))
    with open(os.path.join(args.docs, "accuracy_sizes.svg"), "w", encoding="utf-8") as handle:
        handle.write(figure(rows))
    page = os.path.join(args.docs, "accuracy.md")
    with open(page, encoding="utf-8") as handle:
        text = handle.read()
    with open(page, "w", encoding="utf-8") as handle:
        handle.write(between(text, MARKS, table(rows)))


if __name__ == "__main__":
    main()
