# SPDX-License-Identifier: Apache-2.0
"""Measures of frame scores against labels."""

import numpy as np


def roc_auc(scores, labels):
    """The share of pairs of a frame of speech and one of silence in which speech has the higher score; equal scores count half."""
    positive = np.asarray(labels).astype(bool)
    _, place, count = np.unique(scores, return_inverse=True, return_counts=True)
    ranks = (np.cumsum(count) - (count - 1) / 2.0)[place]
    n_pos, n_neg = positive.sum(), (~positive).sum()
    return float((ranks[positive].sum() - n_pos * (n_pos + 1) / 2) / max(1, n_pos * n_neg))


def best_balance(scores, labels, weights):
    """The score that makes misses plus false alarms least, and that sum's half."""
    order = np.argsort(scores, kind="stable")
    speech = np.where(labels[order] == 1, weights[order], 0.0).astype(np.float64)
    other = np.where(labels[order] == 0, weights[order], 0.0).astype(np.float64)
    miss = np.cumsum(speech) / max(speech.sum(), 1)
    alarm = 1.0 - np.cumsum(other) / max(other.sum(), 1)
    best = int(np.argmin(miss + alarm))
    return float(scores[order[best]]), float((miss + alarm)[best] / 2)
