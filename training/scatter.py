# SPDX-License-Identifier: Apache-2.0
"""How far a figure might move with other recordings of the same kind: the middle 95 % of what it is over draws of as many recordings, with
replacement, out of those that were judged.

What is drawn is a recording with all that was made of it: frames of one recording are not independent of each other, nor is the same reading with two
noises behind. With less than FEWEST recordings there is nothing to say.
"""

import numpy as np

DRAWS = 2000
FEWEST = 5
BINS = 4096  # of scores, each with about as many frames, for the area; what falls into one counts as equal
MIDDLE = (2.5, 97.5)


def drawn(count, seed=1):
    """How often each of `count` recordings is in each of DRAWS draws: (DRAWS, count)."""
    return np.random.default_rng(seed).multinomial(count, np.full(count, 1.0 / count), DRAWS).astype(np.float64)


def _by_source(sources, rows):
    """Rows of numbers added up by source."""
    names = sorted(set(sources))
    out = np.zeros((len(names), np.shape(rows)[1]))
    np.add.at(out, [names.index(s) for s in sources], rows)
    return out


def of_ratio(sources, above, below):
    """[low, high] of sum(above) / sum(below); the three are one a recording."""
    rows = _by_source(sources, np.stack([above, below], axis=1))
    rows = rows[rows[:, 1] > 0]
    if len(rows) < FEWEST:
        return None
    sums = drawn(len(rows)) @ rows
    return _middle(sums[:, 0] / sums[:, 1])


def of_area(sources, recordings):
    """[low, high] of the ROC-AUC of all frames together; recordings: (scores, labels, used)."""
    edges = np.unique(np.quantile(np.concatenate([score[used] for score, _, used in recordings]), np.linspace(0.0, 1.0, BINS + 1)[1:-1]))
    counts = []
    for score, label, used in recordings:
        place = np.searchsorted(edges, score[used], "right")
        counts.append(np.concatenate([np.bincount(place[label[used] == k], minlength=len(edges) + 1) for k in (1, 0)]))
    counts = _by_source(sources, np.stack(counts))
    if len(counts) < FEWEST:
        return None
    speech, silence = np.split(drawn(len(counts)) @ counts, 2, axis=1)
    pairs = (speech * (np.cumsum(silence, axis=1) - silence / 2.0)).sum(axis=1)
    whole = speech.sum(axis=1) * silence.sum(axis=1)
    return _middle((pairs / np.maximum(whole, 1.0))[whole > 0])


def _middle(values):
    return [round(float(v), 4) for v in np.percentile(values, MIDDLE)]
