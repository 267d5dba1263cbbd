# SPDX-License-Identifier: Apache-2.0
"""Where the threshold of a trained network falls, and how much its probabilities mean.

The engine takes a frame as speech from a probability of 0.7 on. Given the network's log-odds on judged recordings, group by group, each group with
speech weighing the same, and noise and music weighing as one more group of silence each, `choose` finds the score at which misses plus false alarms are
least, and the slope with which the score, taken from there, says the share of speech best. Moving the output biases and weighing the outputs by that slope
puts the point at 0.7.
"""

from dataclasses import dataclass

import numpy as np

THRESHOLD = 0.7
AT_THRESHOLD = float(np.log(THRESHOLD / (1.0 - THRESHOLD)))


@dataclass
class Point:
    score: float  # where the threshold falls
    slope: float  # what the outputs are to be weighed by
    balanced_error: float


def weighted(groups):
    """Scores, labels and weights such that the speech of each group weighs 1 in all, and so does the silence of each."""
    scores, labels, weights = [], [], []
    for score, label in groups.values():
        label = np.asarray(label) == 1
        weight = np.where(label, 1.0 / max(1, label.sum()), 1.0 / max(1, (~label).sum()))
        scores.append(np.asarray(score, np.float64))
        labels.append(label)
        weights.append(weight)
    return np.concatenate(scores), np.concatenate(labels), np.concatenate(weights)


def best_score(scores, labels, weights):
    """The score of the least misses plus false alarms, halfway to the next lower one, and half that sum."""
    order = np.argsort(scores, kind="stable")
    speech = np.where(labels[order], weights[order], 0.0)
    silence = np.where(labels[order], 0.0, weights[order])
    miss = np.concatenate([[0.0], np.cumsum(speech)]) / max(speech.sum(), 1e-9)
    alarm = 1.0 - np.concatenate([[0.0], np.cumsum(silence)]) / max(silence.sum(), 1e-9)
    best = int(np.argmin(miss + alarm))
    ordered = scores[order]
    low, high = ordered[max(0, best - 1)], ordered[min(len(ordered) - 1, best)]
    return float((low + high) / 2.0), float((miss + alarm)[best] / 2.0)


def best_slope(scores, labels, weights, point, lowest, highest):
    """The slope a at which sigmoid(a (score - point) + AT_THRESHOLD) says best, by cross-entropy, what the labels are."""

    def loss(a):
        z = a * (scores - point) + AT_THRESHOLD
        return float((weights * np.logaddexp(0.0, np.where(labels, -z, z))).sum())

    slopes = np.linspace(lowest, highest, 41)
    return float(slopes[int(np.argmin([loss(a) for a in slopes]))])


def choose(groups, lowest=0.6, highest=2.0):
    scores, labels, weights = weighted(groups)
    point, error = best_score(scores, labels, weights)
    return Point(point, best_slope(scores, labels, weights, point, lowest, highest), error)
