# SPDX-License-Identifier: Apache-2.0
"""Judges scores that another detector gave the judged recordings, by the measures of evaluate_model.py.

    judge_scores.py --name NAME --scores DIR --window SAMPLES --data DIR --json FILE [--thresholds 0.5 0.7]

SCORES holds one file NNNNN.f32 for each recording of DIR/judged: single floats, the probability of speech of each window of SAMPLES samples.
"""

import argparse
import json
import os

import numpy as np

from audio_corpus import HOP, SAMPLE_RATE
from evaluate_model import Judged, show, summarise, unheard


def of_hops(windows, window, n_hops):
    """The score of the window in which the middle of each hop lies."""
    at = (np.arange(n_hops) * HOP + HOP // 2) // window
    return windows[np.minimum(at, len(windows) - 1)]


def at_thresholds(judged, thresholds):
    """Per group: the shares of speech missed and of silence let through at each threshold."""
    out = {}
    for group in dict.fromkeys(r.group for r in judged):
        scores, labels = (np.concatenate(column) for column in zip(*((r.scores[r.used], r.labels[r.used]) for r in judged if r.group == group)))
        out[group] = {f"{t:g}": {"miss": round(float((scores[labels == 1] < t).mean()), 4) if labels.any() else None,
                                 "false_alarm": round(float((scores[labels == 0] >= t).mean()), 4)} for t in thresholds}
    return out


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--name", required=True)
    parser.add_argument("--scores", required=True)
    parser.add_argument("--window", type=int, required=True)
    parser.add_argument("--data", required=True)
    parser.add_argument("--json", required=True)
    parser.add_argument("--thresholds", type=float, nargs="+", default=[0.5, 0.7], help="of the other detector, for `at_threshold`")
    args = parser.parse_args()
    folder, judged = os.path.join(args.data, "judged"), []
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for line in map(json.loads, handle):
            name = f"{line['index']:05d}"
            rows, samples = np.load(os.path.join(folder, "labels", name + ".npy")), np.fromfile(os.path.join(folder, "pcm", name + ".s16"), "<i2")
            windows = np.fromfile(os.path.join(args.scores, name + ".f32"), "<f4")
            judged.append(Judged(line, None, rows, samples, of_hops(windows, args.window, len(rows)), SAMPLE_RATE))
    told = unheard(judged)
    result = {"model": args.name, "rate": SAMPLE_RATE, **summarise(told), "at_threshold": at_thresholds(told, args.thresholds)}
    show(result)
    with open(args.json, "w", encoding="utf-8") as handle:
        json.dump(result, handle, indent=1)


if __name__ == "__main__":
    main()
