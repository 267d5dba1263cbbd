# SPDX-License-Identifier: Apache-2.0
"""Measures of frame scores against labels, one recording or many at a time. All times in frames of 10 ms."""

import numpy as np

from metrics import roc_auc

COLLARS_MS = (0, 50, 100, 200)
SHIFTS = range(-10, 16)
PAUSES_S = ((0.0, 0.1), (0.1, 0.3), (0.3, 0.5), (0.5, 1.5), (1.5, 1e9))
LEVELS_DB = ((-1e9, 10.0), (10.0, 20.0), (20.0, 30.0), (30.0, 1e9))  # below the loud frames of the recording
JOINED = 30  # pauses below 0.3 s do not end an utterance, here and in what was found
SHORTEST = 20
FAR = 50  # an edge further away than 0.5 s counts as 0.5 s


def runs(flags):
    """Runs of true as rows of (first, past the last)."""
    edges = np.flatnonzero(np.diff(np.concatenate([[0], np.asarray(flags).astype(np.int8), [0]])))
    return edges.reshape(-1, 2)


def joined_runs(flags, gap=JOINED, shortest=1):
    """Runs joined over gaps shorter than `gap`, those shorter than `shortest` left out."""
    out = []
    for first, past in runs(flags):
        if out and first - out[-1][1] < gap:
            out[-1][1] = past
        else:
            out.append([first, past])
    return [(int(first), int(past)) for first, past in out if past - first >= shortest]


def outside_collar(labels, collar):
    """False within `collar` frames of an edge."""
    keep = np.ones(len(labels), bool)
    for edge in np.flatnonzero(np.diff(labels.astype(np.int8))) + 1:
        keep[max(0, edge - collar):edge + collar] = False
    return keep


def shifted(scores, frames):
    """Scores as if each came `frames` earlier: what is asked beyond an end is the score at that end."""
    return scores[np.clip(np.arange(len(scores)) + frames, 0, len(scores) - 1)]


def pooled_auc(recordings, collar=0, shift=0):
    """recordings: (scores, labels, used)."""
    scores, labels = [], []
    for score, label, used in recordings:
        keep = used & outside_collar(label, collar)
        scores.append(shifted(score, shift)[keep])
        labels.append(label[keep])
    scores, labels = np.concatenate(scores), np.concatenate(labels)
    return roc_auc(scores, labels) if labels.any() and not labels.all() else None


def best_shift(recordings):
    """The shift with the greatest area, and that area."""
    areas = [(pooled_auc(recordings, 0, shift), shift) for shift in SHIFTS]
    area, shift = max(areas, key=lambda pair: (pair[0], -abs(pair[1])))
    return shift, area


def detection_at(scores, labels, alarm_share):
    """The share of speech found where the threshold lets this share of silence through."""
    silence = np.sort(scores[labels == 0])
    if not len(silence) or not (labels == 1).any():
        return None
    threshold = silence[min(len(silence) - 1, int(np.ceil(len(silence) * (1.0 - alarm_share))))]
    return float((scores[labels == 1] > threshold).mean())


def pause_shares(recordings, threshold):
    """For each class of pauses between speech: how many there are, and the share of their frames below the threshold."""
    counts, frames, below = [0] * len(PAUSES_S), [0] * len(PAUSES_S), [0] * len(PAUSES_S)
    for score, label, _ in recordings:
        for first, past in runs(label == 0):
            if first == 0 or past == len(label):
                continue
            k = next(k for k, (low, high) in enumerate(PAUSES_S) if low <= (past - first) / 100.0 < high)
            counts[k] += 1
            frames[k] += past - first
            below[k] += int((score[first:past] < threshold).sum())
    return [{"from_s": low, "count": c, "below": round(b / f, 3) if f else None}
            for (low, _), c, f, b in zip(PAUSES_S, counts, frames, below)]


def edge_errors(recordings, threshold):
    """Onsets and offsets of what was found against those of the utterances, in ms: median and the tenth and ninetieth hundredth. Positive: late."""
    onsets, offsets, missed, total = [], [], 0, 0
    for score, label, _ in recordings:
        found = joined_runs(score >= threshold)
        for first, past in joined_runs(label == 1, shortest=SHORTEST):
            total += 1
            touching = [(a, b) for a, b in found if a < past and b > first]
            if not touching:
                missed += 1
                continue
            if first > 0:
                onsets.append(np.clip(touching[0][0] - first, -FAR, FAR))
            if past < len(label):
                offsets.append(np.clip(touching[-1][1] - past, -FAR, FAR))

    def summary(errors):
        return [int(round(10 * v)) for v in np.percentile(errors, [10, 50, 90])] if errors else None

    return {"utterances": total, "missed": missed, "onset_ms": summary(onsets), "offset_ms": summary(offsets)}


def first_half_second(recordings, threshold):
    """The share of speech missed in the first 50 frames of a recording, those without weight left out."""
    speech = missed = 0
    for score, label, used in recordings:
        here = (label[:50] == 1) & used[:50]
        speech += int(here.sum())
        missed += int((score[:50][here] < threshold).sum())
    return round(missed / speech, 3) if speech else None


def level_classes(recordings, levels_db, threshold):
    """The share of speech found by its level under the loud frames (the ninety-fifth hundredth) of the recording."""
    speech, found = [0] * len(LEVELS_DB), [0] * len(LEVELS_DB)
    for (score, label, _), level in zip(recordings, levels_db):
        n = min(len(score), len(level))
        loud = np.percentile(level[:n][label[:n] == 1], 95) if (label[:n] == 1).any() else 0.0
        for k, (low, high) in enumerate(LEVELS_DB):
            here = (label[:n] == 1) & (loud - level[:n] >= low) & (loud - level[:n] < high)
            speech[k] += int(here.sum())
            found[k] += int((score[:n][here] >= threshold).sum())
    return [{"below_db": max(0.0, low), "frames": s, "found": round(f / s, 3) if s else None} for (low, _), s, f in zip(LEVELS_DB, speech, found)]


def det_curve(scores, labels, weights, alarms):
    """The share of speech missed at each of the given shares of false alarms."""
    order = np.argsort(-scores, kind="stable")
    speech = np.where(labels[order], weights[order], 0.0)
    silence = np.where(labels[order], 0.0, weights[order])
    alarm = np.cumsum(silence) / silence.sum()
    miss = 1.0 - np.cumsum(speech) / speech.sum()
    return [round(float(miss[min(len(miss) - 1, np.searchsorted(alarm, share))]), 5) for share in alarms]
