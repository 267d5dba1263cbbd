# SPDX-License-Identifier: Apache-2.0
"""Makes docs/accuracy.json, the tables of docs/accuracy.md and its figure from what evaluate_model.py and others wrote.

    accuracy_page.py --docs DIR MODEL.json [MODEL.json...]

Each table stands between two marks in DIR/accuracy.md; the text around them is written by hand. The figure is DIR/accuracy_det.svg: the share of speech
missed against the share of silence let through as the threshold moves, over all groups, each weighing the same.
"""

import argparse
import json
import os
from math import log10

WRITTEN = "(training/accuracy_page.py writes what follows)"
MARKS = {name: (f"<!-- {name}: begin {WRITTEN} -->", f"<!-- {name}: end -->") for name in ("table", "sentences", "pieces", "calibration", "peers")}
BANDS = (0, 2, 4, 6, 7, 8, 9)  # tenths of probability that the page shows
PIECE_GROUPS = (("natural", "missed"), ("languages", "missed"), ("natural at 0 dB", "missed"), ("meeting", "missed"), ("noise", "taken"), ("music", "taken"))
COLOURS = ("#1b5e9c", "#c2571a", "#3c8d40", "#56b4e9", "#e0a030", "#777777", "#8e44ad")
WIDTH, HEIGHT, LEFT, BOTTOM, TOP, RIGHT = 640, 420, 70, 56, 20, 150
LOW, HIGH = 0.001, 0.5


def percent(value, digits=1):
    return "–" if value is None else f"{100 * value:.{digits}f}"


def both(shares):
    """Of the first half second, and of what is behind it."""
    return "–" if not shares else f"{percent(shares[0])}, {percent(shares[1])}"


def name_of(result):
    return result["model"].replace(".bin", "")


def within(value, ends, show):
    """A value, and in brackets the ends of its scatter."""
    return f"{show(value)} ({show(ends[0])}–{show(ends[1])})" if ends and value is not None else show(value)


def area(value):
    return f"{value:.3f}"


def of_groups(results):
    """(name to show, group) of all groups, parts behind those that have them: parts are of "languages"."""
    parts = [(f"– {part}", part) for part in results[0].get("parts", {})]
    for group in results[0]["groups"]:
        yield group, group
        if group == "languages":
            yield from parts


def lines_of(results, head, cells):
    """A table with one row for each group and model; `cells(result, group)` gives those behind the name of the model, or None for no row."""
    lines = [head, "|" + "---|" * (head.count("|") - 1)]
    for shown, group in of_groups(results):
        rows = [(result, cells(result, group)) for result in results]
        for k, (result, row) in enumerate((result, row) for result, row in rows if row):
            lines.append("| " + " | ".join([shown if k == 0 else "", name_of(result), *row]) + " |")
    return "\n".join(lines)


def frame_cells(result, group):
    row = result["groups"].get(group) or result.get("parts", {}).get(group)
    if not row:
        return None
    ends, hours = row.get("scatter", {}), f"{row['hours']:.2f}"
    if "pauses" not in row:
        return [hours, "–", "–", "–", "–", within(row["false_alarm"], ends.get("false_alarm"), lambda v: percent(v, 2))]
    areas = row["auc_by_collar_ms"]
    return [hours, within(areas["0"], ends.get("auc"), area), area(areas["100"]), percent(row["found_at_1_percent_alarms"]),
            within(row["miss"], ends.get("miss"), percent), within(row["false_alarm"], ends.get("false_alarm"), percent)]


def table(results):
    return lines_of(results, "| Recordings | Model | Hours | ROC-AUC | away from edges | found at 1 % | Missed | False alarm |", frame_cells)


def sentence_cells(result, group):
    said = result.get("sentences", {}).get(group)
    if not said:
        return None
    ends = said.get("scatter", {})
    missed = f"{said['missed']} of {said['utterances']}" if said["utterances"] else "–"
    return [missed, within(said["speech_inside"], ends.get("speech_inside"), percent), percent(said["speech_of_found"]), str(said["sentences"]),
            within(said["empty_an_hour"], ends.get("empty_an_hour"), lambda v: f"{v:.0f}")]


def sentences(results):
    return lines_of(results, "| Recordings | Model | Utterances missed | Speech inside | Speech of sentences | Sentences | Empty an hour |", sentence_cells)


def pieces(results):
    """Pieces of 2 s: for each model, beginning and level, what it missed of speech and took for speech, in the first half second and behind it."""
    results = [result for result in results if "pieces" in result]
    lines = ["| Model | Begin | Level | " + " | ".join(f"{kind}: {group}" for group, kind in PIECE_GROUPS) + " |", "|---|---|---|" + "---|" * len(PIECE_GROUPS)]
    for result in results:
        name = name_of(result)
        for beginning, levels in result["pieces"].items():
            for level, row in levels.items():
                cells = [both(row.get(group, {}).get(kind)) for group, kind in PIECE_GROUPS]
                lines.append("| " + " | ".join([name, beginning, "as they are" if level == "0" else f"{level} dB".replace("-", "−"), *cells]) + " |")
                name, beginning = "", ""
    return "\n".join(lines)


def peers(results):
    """Detectors that are not this engine's, at their own thresholds and at their best time."""
    lines = ["| Recordings | Detector | ROC-AUC | moved to its best time | earlier by ms | Threshold | Missed | False alarm |", "|---|---|---|---|---|---|---|---|"]
    for result in (result for result in results if "at_threshold" in result):
        for group, at in result["at_threshold"].items():
            row = result["groups"][group]
            moved = [area(row["auc_by_collar_ms"]["0"]), area(row["auc_at_best_shift"]), str(row["best_shift_ms"])] if "pauses" in row else ["–", "–", "–"]
            for k, (threshold, shares) in enumerate(at.items()):
                first = [group, name_of(result), *moved] if k == 0 else [""] * 5
                lines.append("| " + " | ".join([*first, threshold, percent(shares["miss"]), percent(shares["false_alarm"], 2)]) + " |")
    return "\n".join(lines)


def calibration(results):
    """For each model where its best threshold lies, and how much speech there is where it says so and so much."""
    lines = ["| Model | Best threshold | " + " | ".join(f"said {k / 10:g} to {(k + 1) / 10:g}" for k in BANDS) + " |", "|---|---|" + "---|" * len(BANDS)]
    for result in results:
        found = {min(9, int(10 * said)): share for said, share in result["reliability"]}
        cells = [f"{found[k]:.2f}" if k in found else "–" for k in BANDS]
        lines.append("| " + " | ".join([name_of(result), f"{result['best_threshold']:.2f}", *cells]) + " |")
    return "\n".join(lines)


def between(text, marks, new):
    before, rest = text.split(marks[0])
    return f"{before}{marks[0]}\n\n{new}\n\n{marks[1]}{rest.split(marks[1])[1]}"


def place(share, low_at, high_at):
    """On a logarithmic axis."""
    share = min(max(share, LOW), HIGH)
    return low_at + (high_at - low_at) * (log10(share) - log10(LOW)) / (log10(HIGH) - log10(LOW))


def figure(results):
    right, bottom = WIDTH - RIGHT, HEIGHT - BOTTOM
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" font-size="12">',
             f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#ffffff"/>']
    for share in (0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.5):
        x, y, text = place(share, LEFT, right), place(share, bottom, TOP), f"{100 * share:g}"
        parts += [f'<path d="M{x:.1f} {TOP}V{bottom}M{LEFT} {y:.1f}H{right}" stroke="#dddddd" fill="none"/>',
                  f'<text x="{x:.1f}" y="{bottom + 16}" text-anchor="middle">{text}</text>',
                  f'<text x="{LEFT - 8}" y="{y + 4:.1f}" text-anchor="end">{text}</text>']
    parts += [f'<text x="{(LEFT + right) / 2}" y="{HEIGHT - 14}" text-anchor="middle">silence let through, per cent of frames</text>',
              f'<text transform="translate(18 {(TOP + bottom) / 2}) rotate(-90)" text-anchor="middle">speech missed, per cent of frames</text>']
    for k, result in enumerate(results):
        points = " ".join(f"{place(a, LEFT, right):.1f},{place(m, bottom, TOP):.1f}" for a, m in zip(result["det"]["false_alarm"], result["det"]["miss"]))
        colour = COLOURS[k % len(COLOURS)]
        parts += [f'<polyline points="{points}" fill="none" stroke="{colour}" stroke-width="2"/>',
                  f'<text x="{right + 12}" y="{TOP + 20 + 18 * k}" fill="{colour}">{name_of(result)}</text>']
    return "\n".join([*parts, "</svg>"]) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--docs", required=True)
    parser.add_argument("results", nargs="+")
    args = parser.parse_args()
    results = []
    for path in args.results:
        with open(path, encoding="utf-8") as handle:
            results.append(json.load(handle))
    with open(os.path.join(args.docs, "accuracy.json"), "w", encoding="utf-8") as handle:
        json.dump(results, handle, indent=1)
        handle.write("\n")
    with open(os.path.join(args.docs, "accuracy_det.svg"), "w", encoding="utf-8") as handle:
        handle.write(figure(results))
    page = os.path.join(args.docs, "accuracy.md")
    with open(page, encoding="utf-8") as handle:
        text = handle.read()
    for name, make in (("table", table), ("sentences", sentences), ("pieces", pieces), ("calibration", calibration), ("peers", peers)):
        text = between(text, MARKS[name], make(results))
    with open(page, "w", encoding="utf-8") as handle:
        handle.write(text)


if __name__ == "__main__":
    main()
