# SPDX-License-Identifier: Apache-2.0
"""What a model makes of the begin of short clips: pieces of 2 s of the judged recordings, each heard as a recording of its own, as loud as they are and 20 dB
lower, where recordings begin with the usual means of the features and where they begin slowly.

What came before is not there, and a piece may begin in the midst of a word: this is harder than the first half second of a recording that somebody began.
"""

import os
import shutil

import numpy as np

from audio_corpus import HOP, SAMPLE_RATE
from engine_scores import array_of, load_pairs, put, run_blocks
from operating_point import THRESHOLD

LONG, APART = 200, 300  # frames of a piece, and from the begin of one to that of the next
FIRST = 50  # frames that are counted apart
SCORED = 188  # frames of which every kind has scores of its own: behind them windows are not whole, and the recurrent ones repeat their last pair, or have none
LEVELS_DB = (0, -20)
BEGINNINGS = {"usual means": [], "slow start": ["--ready-means", "0"]}


def places(frames):
    """The first frame of each whole piece."""
    return range(0, frames - LONG + 1, APART)


def quieter(samples, level_db):
    return np.round(samples * 10.0 ** (level_db / 20.0)).astype("<i2")


def shares(rows):
    """`rows`: (scores, labels, used) of LONG frames each. Of the first half second and of what is behind it, the share of speech that was missed, or None
    without any, and that of what is not speech which was taken for it."""
    out = {"pieces": len(rows), "missed": [], "taken": []}
    scores, labels, used = (np.array(column) for column in zip(*rows))
    for part in (slice(0, FIRST), slice(FIRST, LONG)):
        found, speech, counts = scores[:, part] >= THRESHOLD, labels[:, part] == 1, used[:, part]
        for name, here, wrong in (("missed", counts & speech, ~found), ("taken", counts & ~speech, found)):
            out[name].append(round(float(wrong[here].mean()), 4) if here.any() else None)
    return out


def heard(scores, labels, used):
    """One piece as `shares` counts it: without its last frames, the same ones for every kind."""
    used = np.array(used, bool)
    used[SCORED:] = False
    return np.pad(scores[:SCORED], (0, LONG - SCORED)), labels, used


def judge_pieces(program, model, recordings, rate, work, beginnings):
    """Beginning, level and group to `shares`. `recordings`: (group, samples, labels, used of each frame); `beginnings`: those of BEGINNINGS to hear."""
    folder, hop = os.path.join(work, "pieces"), HOP * rate // SAMPLE_RATE
    result = {name: {} for name in beginnings}
    for level in LEVELS_DB:
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        rows = []
        for k, (group, samples, labels, used) in enumerate(recordings):
            for at in places(min(len(labels), len(samples) // hop)):
                path = put(folder, f"{k:05d}_{at}", quieter(samples[at * hop:(at + LONG) * hop], level), rate)
                rows.append((group, path, labels[at:at + LONG], used[at:at + LONG]))
        for name in beginnings:
            scores = os.path.join(work, "piece_scores")
            run_blocks(program, scores, [path for _, path, _, _ in rows], "--rate", str(rate), *BEGINNINGS[name], "--scores", model)
            groups = {}
            for group, path, labels, used in rows:
                groups.setdefault(group, []).append(heard(load_pairs(array_of(scores, path))[0][:, 0], labels, used))
            result[name][str(level)] = {group: shares(of_group) for group, of_group in groups.items()}
            shutil.rmtree(scores)
    shutil.rmtree(folder, ignore_errors=True)
    return result
