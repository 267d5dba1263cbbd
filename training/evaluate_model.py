# SPDX-License-Identifier: Apache-2.0
"""Judges a model file of any of the three kinds: what it finds, what it misses, and that none of its sums wraps.

    evaluate_model.py --model FILE --blocks PATH/wvad-blocks --data DIR --work DIR [--wvad PROGRAM] [--json FILE]

The recordings are those of judged_sets.py in DIR/judged, groups with marks by people first. Scores are the engine's own; the integer reference runs on the
same frames, must agree with them, and counts wraps. Recordings of voices that training heard count in no figure but "watched", the ROC-AUC of each group over
all that a training watches.

With --wvad the recordings also go through `wvad segment`, and what counts is sentences: how much of the labelled speech lies inside one, how many
utterances are missed altogether, and how many sentences hold no labelled speech.

"pieces" is what the model makes of pieces of 2 s of these recordings (short_pieces.py).

A frame counts as speech if its probability reaches 0.7. "held" applies the engine's next two rules as well: frames below the energy floor are silence,
and so are the first two frames after a silent one. "scatter" is the middle 95 % over draws of recordings (scatter.py).
"""

import argparse
import json
import os
import subprocess

import numpy as np

import frame_measures as measures
import scatter
from audio_corpus import SAMPLE_RATE
from engine_scores import array_of, build_extremes, compare, frame_energies, held_decisions, load_pairs, put, rate_of_model, samples_of
from model_file import ModelFile
from operating_point import THRESHOLD, best_score, weighted
from short_pieces import BEGINNINGS, judge_pieces

ENERGY_FLOORS = (8, 12, 14, 16)
ALARM_GRID = (0.001, 0.002, 0.005, 0.01, 0.02, 0.05, 0.1, 0.2, 0.4)
UTTERANCE_GAP = 40  # frames: a sentence ends after 0.4 s of silence


class Judged:
    """One recording with its labels and the engine's scores."""

    def __init__(self, line, path, rows, samples, probability, rate):
        n = min(len(rows), len(probability))
        self.group, self.part, self.detail, self.name, self.path = line["group"], line.get("part", ""), line["detail"], line["name"], path
        self.heard = line.get("heard", False)
        self.labels, self.used = rows[:n, 0].astype(np.uint8), rows[:n, 1] > 0
        self.scores = probability[:n]
        self.energies = frame_energies(samples, n, rate)
        self.levels_db = 4.343 * self.energies

    def triple(self):
        return self.scores, self.labels, self.used


def load_judged(folder, work, rate):
    """Descriptions, WAV files and label rows of the judged recordings, which have to be of that rate."""
    audio = os.path.join(work, "audio")
    os.makedirs(audio, exist_ok=True)
    items = []
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for line in map(json.loads, handle):
            name = f"{line['index']:05d}"
            if line.get("rate", SAMPLE_RATE) != rate:
                raise SystemExit(f"the model is for {rate} Hz, the recordings of {folder} are not")
            samples = np.fromfile(os.path.join(folder, "pcm", name + ".s16"), "<i2")
            items.append((line, put(audio, name, samples, rate), np.load(os.path.join(folder, "labels", name + ".npy"))))
    return items


def floor_effects(recordings):
    """What the hold-over and each energy floor leave: speech missed and silence let through."""
    out = {}
    for floor in ENERGY_FLOORS:
        held = [held_decisions(r.scores, r.energies, floor) for r in recordings]
        speech = np.concatenate([h[r.used & (r.labels == 1)] for h, r in zip(held, recordings)])
        silence = np.concatenate([h[r.used & (r.labels == 0)] for h, r in zip(held, recordings)])
        out[str(floor)] = {"miss": round(float((~speech).mean()), 4) if len(speech) else None,
                           "false_alarm": round(float(silence.mean()), 4) if len(silence) else None}
    return out


def spoken_summary(recordings):
    triples = [r.triple() for r in recordings]
    scores, labels, used = (np.concatenate(column) for column in zip(*triples))
    scores, labels = scores[used], labels[used]
    shift, at_best = measures.best_shift(triples)
    best, error = best_score(*weighted({"all": (scores, labels)}))
    miss, alarm = float((scores[labels == 1] < THRESHOLD).mean()), float((scores[labels == 0] >= THRESHOLD).mean())
    return {"hours": round(len(labels) / 360000.0, 3), "speech": round(float(labels.mean()), 3),
            "auc_by_collar_ms": {str(ms): _round(measures.pooled_auc(triples, ms // 10)) for ms in measures.COLLARS_MS},
            "best_shift_ms": 10 * shift, "auc_at_best_shift": _round(at_best),
            "found_at_1_percent_alarms": _round(measures.detection_at(scores, labels, 0.01)),
            "miss": _round(miss), "false_alarm": _round(alarm), "balanced_error": _round((miss + alarm) / 2),
            "best_threshold": round(best, 3), "balanced_error_there": _round(error),
            "pauses": measures.pause_shares(triples, THRESHOLD), "edges": measures.edge_errors(triples, THRESHOLD),
            "missed_in_first_half_second": measures.first_half_second(triples, THRESHOLD),
            "levels": measures.level_classes(triples, [r.levels_db for r in recordings], THRESHOLD),
            "scatter": spoken_scatter(recordings), "held_by_energy_floor": floor_effects(recordings)}


def spoken_scatter(recordings):
    """The middle 95 % over draws of recordings."""
    names = [r.name for r in recordings]

    def share(label, found):
        here = [r.used & (r.labels == label) for r in recordings]
        return scatter.of_ratio(names, [int(((r.scores >= THRESHOLD) == found)[h].sum()) for r, h in zip(recordings, here)], [int(h.sum()) for h in here])

    return {"auc": scatter.of_area(names, [r.triple() for r in recordings]), "miss": share(1, False), "false_alarm": share(0, True)}


def silent_summary(recordings):
    """False alarms of recordings without speech, all together and by kind."""
    kinds = {}
    for r in recordings:
        flags = r.scores[r.used] >= THRESHOLD
        kinds.setdefault(r.detail, []).append(flags)
    every = np.concatenate([flags for rows in kinds.values() for flags in rows])
    by_kind = {kind: [round(sum(map(len, rows)) / 6000.0, 2), _round(float(np.concatenate(rows).mean()))] for kind, rows in kinds.items()}
    alarms = scatter.of_ratio([r.name for r in recordings], [int((r.scores[r.used] >= THRESHOLD).sum()) for r in recordings],
                              [int(r.used.sum()) for r in recordings])
    return {"hours": round(len(every) / 360000.0, 3), "false_alarm": _round(float(every.mean())), "scatter": {"false_alarm": alarms},
            "held_by_energy_floor": floor_effects(recordings),
            "minutes_and_alarms_by_kind": dict(sorted(by_kind.items(), key=lambda item: -item[1][0] * item[1][1]))}


def _round(value):
    return None if value is None else round(float(value), 4)


def found_sentences(program, model, path):
    """[(first frame, frame behind the last)], of 10 ms, as `wvad segment` tells them: its seconds are hundredths, rounded to the next float."""
    run = subprocess.run([program, "segment", "--quiet", "--format", "json", "--model", model, path], check=True, capture_output=True)
    return [(int(round(s["begin"] * 100)), int(round(s["end"] * 100))) for s in json.loads(run.stdout)["files"][0]["sentences"]]


def judge_sentences(program, model, judged):
    """Per group, and per part of one: what `wvad segment` made of its recordings."""
    groups = {}
    for r in judged:
        found = np.zeros(len(r.labels), bool)
        row = {"name": r.name, "hours": len(r.labels) / 360000.0, "utterances": 0, "missed": 0, "sentences": 0, "empty": 0}
        for first, past in found_sentences(program, model, r.path):
            found[first:past] = True
            row["sentences"] += 1
            row["empty"] += int(not r.labels[first:past].any() and r.used[first:past].any())
        row["speech"], row["found"] = int((r.used & (r.labels == 1)).sum()), int((r.used & found).sum())
        row["inside"] = int((r.used & found & (r.labels == 1)).sum())
        for first, past in measures.joined_runs(r.labels == 1, UTTERANCE_GAP, measures.SHORTEST):
            row["utterances"] += 1
            row["missed"] += int(not found[first:past].any())
        for group in filter(None, (r.group, r.part)):
            groups.setdefault(group, []).append(row)
    return {group: sentence_summary(rows) for group, rows in groups.items()}


def sentence_summary(rows):
    """`speech_inside`: the share of labelled speech that lies in a sentence; `speech_of_found`: the share of sentences that is labelled speech."""
    total = {name: sum(row[name] for row in rows) for name in rows[0] if name != "name"}
    speech, found, inside = (total.pop(name) for name in ("speech", "found", "inside"))
    names, hours = [row["name"] for row in rows], [row["hours"] for row in rows]
    return {**total, "hours": round(total["hours"], 3), "empty_an_hour": round(total["empty"] / total["hours"], 1),
            "speech_inside": _round(inside / speech) if speech else None,
            "speech_of_found": _round(inside / found) if speech and found else None,
            "scatter": {"empty_an_hour": scatter.of_ratio(names, [row["empty"] for row in rows], hours),
                        "speech_inside": scatter.of_ratio(names, [row["inside"] for row in rows], [row["speech"] for row in rows])}}


def by_group(judged):
    groups = {}
    for r in judged:
        groups.setdefault(r.group, []).append(r)
    return groups


def unheard(judged):
    """Those of voices that no training heard."""
    return [r for r in judged if not r.heard]


def watched_areas(judged):
    """ROC-AUC of each group with speech over all recordings, as a training that watches them has it."""
    return {group: _round(measures.pooled_auc([r.triple() for r in rows], 0)) for group, rows in by_group(judged).items() if any(r.labels.any() for r in rows)}


def summarise(judged):
    groups = by_group(judged)
    spoken = {group: rows for group, rows in groups.items() if any(r.labels.any() for r in rows)}
    parts = {group: tuple(np.concatenate(column) for column in zip(*((r.scores[r.used], r.labels[r.used]) for r in rows)))
             for group, rows in groups.items()}
    apart = {}
    for r in filter(lambda r: r.part, judged):
        apart.setdefault(r.part, []).append(r)
    scores, labels, weights = weighted(parts)
    best, error = best_score(scores, labels, weights)
    return {"parts": {part: spoken_summary(rows) for part, rows in apart.items()}, "groups": {group: (spoken_summary if group in spoken else silent_summary)(rows) for group, rows in groups.items()},
            "best_threshold": round(best, 3), "balanced_error_there": _round(error),
            "det": {"false_alarm": ALARM_GRID, "miss": measures.det_curve(scores, labels, weights, ALARM_GRID)},
            "reliability": reliability(scores, labels, weights)}


def of_short_pieces(program, model, items, rate, work):
    """`items`: of load_judged, with every label row, so that all kinds hear the same pieces. "lstm_fb40" removes no mean: its recordings begin in one
    way only."""
    beginnings = list(BEGINNINGS)[:1] if ModelFile(model).kind == "lstm_fb40" else list(BEGINNINGS)
    recordings = [(line["group"], samples_of(path), rows[:, 0].astype(np.uint8), rows[:, 1] > 0) for line, path, rows in items if not line.get("heard")]
    return judge_pieces(program, model, recordings, rate, work, beginnings)


def reliability(scores, labels, weights):
    """For ten bands of probability: the mean probability said, and the share of speech that there was."""
    out = []
    for k in range(10):
        here = (scores >= k / 10.0) & ((scores < (k + 1) / 10.0) | (k == 9))
        total = weights[here].sum()
        if total > 0:
            out.append([round(float((scores * weights)[here].sum() / total), 3), round(float(weights[here & labels].sum() / total), 3)])
    return out


def show(result):
    print(f"{'group':18} {'hours':>6} {'auc':>7} {'collar 100':>10} {'at shift':>15} {'at 1 %':>7} {'miss':>6} {'alarm':>6} {'best thr':>8}")
    for group, row in result["groups"].items():
        if "pauses" not in row:
            print(f"{group:18} {row['hours']:6.2f} {'':48} {'':>6} {100 * row['false_alarm']:6.2f}")
            continue
        areas = row["auc_by_collar_ms"]
        print(f"{group:18} {row['hours']:6.2f} {areas['0']:7.4f} {areas['100']:10.4f} {row['auc_at_best_shift']:7.4f} {row['best_shift_ms']:4} ms "
              f"{100 * row['found_at_1_percent_alarms']:7.1f} {100 * row['miss']:6.2f} {100 * row['false_alarm']:6.2f} {row['best_threshold']:8.2f}")
    for group, row in result.get("sentences", {}).items():
        print(group, json.dumps(row))
    if "arithmetic" in result:
        print("arithmetic:", json.dumps(result["arithmetic"]))


def write_whole(path, result):
    """What is called so is whole: a run that finds it takes the model for judged."""
    with open(path + ".part", "w", encoding="utf-8") as handle:
        json.dump(result, handle, indent=1)
    os.replace(path + ".part", path)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--model", required=True)
    parser.add_argument("--blocks", required=True, help="the program wvad-blocks")
    parser.add_argument("--data", required=True, help="folder of judged_sets.py")
    parser.add_argument("--work", required=True)
    parser.add_argument("--wvad", help="the program wvad, to judge sentences as well")
    parser.add_argument("--json")
    args = parser.parse_args()
    rate = rate_of_model(args.model)
    items = load_judged(os.path.join(args.data, "judged"), args.work, rate)
    paths = [path for _, path, _ in items]
    extremes = build_extremes(os.path.join(args.work, "audio"), rate)
    arithmetic = compare(args.blocks, args.model, paths + extremes, args.work)
    judged = []
    for line, path, rows in items:
        pairs, _ = load_pairs(array_of(os.path.join(args.work, "scores"), path))
        if len(pairs):
            judged.append(Judged(line, path, rows, samples_of(path), pairs[:, 0], rate))
    told = unheard(judged)
    result = {"model": os.path.basename(args.model), "rate": rate, **summarise(told), "watched": watched_areas(judged), "arithmetic": arithmetic}
    result["pieces"] = of_short_pieces(args.blocks, args.model, items, rate, args.work)
    if args.wvad:
        result["sentences"] = judge_sentences(args.wvad, args.model, told)
    show(result)
    # Scores may differ by the last bits of exp; anything more is a different network.
    if arithmetic["wraps"] or arithmetic["greatest_difference_to_engine"] > 1e-5:
        raise SystemExit("the arithmetic does not hold")
    if args.json:
        write_whole(args.json, result)


if __name__ == "__main__":
    main()
