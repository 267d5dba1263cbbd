# SPDX-License-Identifier: Apache-2.0
"""Reads the sessions of mix_sessions.py as the recurrent networks see them."""

import json
import os

import numpy as np

from quantised_lstm import STACKED


def load_split(folder, kind, limit=None):
    """Blocks of each session as half precision, with the labels and weights of their 4 frames."""
    width, sub = (40, "feat40") if kind == "lstm_fb40" else (75, "feat")
    sessions = []
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for about in [json.loads(line) for line in handle][:limit]:
            name = f"{about['index']:05d}.npy"
            frames = np.load(os.path.join(folder, sub, name)).reshape(-1, width)
            hops = np.load(os.path.join(folder, "labels", name))
            blocks = min(len(frames), len(hops)) // STACKED
            if blocks > 0:
                used = blocks * STACKED
                sessions.append((frames[:used].reshape(blocks, STACKED * width), hops[:used, 0].reshape(blocks, STACKED),
                                 hops[:used, 1].reshape(blocks, STACKED)))
    return sessions
