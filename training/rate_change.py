# SPDX-License-Identifier: Apache-2.0
"""Turns a network for one sample rate into the beginning of one for another.

The bands of 8000 Hz are not those of 16000 Hz, but what the old network would have seen can be told from what the new one sees: each old value as a linear
sum of the new ones of the same frame and a constant, by least squares over frames of the same sound at both rates. The sum goes into the input weights.
"""

import json
import os

import numpy as np

from quantised_lstm import STACKED
from session_blocks import feature_folder

SESSIONS = 300
RIDGE = 1e-3  # of the variance of a value


def paired_frames(kind, old_folder, new_folder, rng):
    """Frames of the same sessions at both rates, those aside that only one of the two hears as on a telephone."""
    width, sub = feature_folder(kind)
    with open(os.path.join(new_folder, "sessions.jsonl"), encoding="utf-8") as handle:
        names = [f"{about['index']:05d}.npy" for about in map(json.loads, handle) if not about.get("telephone")]
    chosen = rng.choice(len(names), min(len(names), SESSIONS), replace=False)
    parts = []
    for k in chosen:
        old, new = (np.load(os.path.join(folder, sub, names[k])).reshape(-1, width) for folder in (old_folder, new_folder))
        length = min(len(old), len(new))
        parts.append((old[:length], new[:length]))
    return tuple(np.concatenate(column).astype(np.float64) for column in zip(*parts))


def old_from_new(old, new):
    """Matrix and constant with old = new @ matrix.T + constant, nearly."""
    old_mean, new_mean = old.mean(axis=0), new.mean(axis=0)
    x, y = new - new_mean, old - old_mean
    covariance = x.T @ x
    covariance += np.diag(RIDGE * np.diag(covariance) + 1e-9 * len(x))
    matrix = np.linalg.solve(covariance, x.T @ y).T
    return matrix, old_mean - matrix @ new_mean


def with_other_inputs(network, matrix, constant, mean, inv_std):
    """The arrays of a network that answers to the new values, normalised by `mean` and `inv_std`, as `network` does to the old ones."""
    width = len(mean)
    old_scale = network["inv_std"].astype(np.float64)
    wx = network["wx"].astype(np.float64).reshape(len(network["wx"]), STACKED, width)
    per_value = wx * old_scale
    moved = {**network, "mean": mean, "inv_std": inv_std}
    moved["wx"] = ((per_value @ matrix) / inv_std.astype(np.float64)).reshape(len(wx), -1).astype(np.float32)
    offset = per_value @ (matrix @ mean.astype(np.float64) + constant - network["mean"])
    moved["bias"] = (network["bias"] + offset.sum(axis=1)).astype(np.float32)
    return moved
