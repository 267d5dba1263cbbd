# SPDX-License-Identifier: Apache-2.0
"""Reads the sessions of mix_sessions.py and judged_sets.py as the recurrent networks see them."""

import json
import os
from dataclasses import dataclass

import numpy as np

from audio_corpus import SAMPLE_RATE
from quantised_lstm import STACKED

READY = "feat_ready"  # blocks of sessions that begin with the usual means


@dataclass
class Session:
    """Blocks of 4 frames as half precision; label, weight in percent and ten times the log-odds of each frame, one row a block."""

    blocks: np.ndarray
    labels: np.ndarray
    weights: np.ndarray
    log_odds: np.ndarray
    about: dict


def feature_folder(kind):
    return (40, "feat40") if kind == "lstm_fb40" else (75, "feat")


def rate_of(sessions):
    """The one sample rate of all sessions; what does not name it was made at 16000 Hz."""
    rates = {session.about.get("rate", SAMPLE_RATE) for session in sessions}
    if len(rates) != 1:
        raise SystemExit(f"sessions of several rates: {sorted(rates)}")
    return rates.pop()


def turned(session):
    """The session from its end to its beginning, frame by frame."""
    width = session.blocks.shape[1] // STACKED
    blocks = session.blocks.reshape(-1, width)[::-1].reshape(session.blocks.shape)
    labels, weights, log_odds = (rows[::-1, ::-1] for rows in (session.labels, session.weights, session.log_odds))
    return Session(blocks, labels, weights, log_odds, session.about)


def begins_ready(index):
    """Whether a session of a training for both kinds of beginning is one of the two thirds that begin with the usual means."""
    return index % 3 != 0


def load_split(folder, kind, limit=None, ready=False):
    """Sessions of DIR/SPLIT; with `ready` two thirds of them as they are when they begin with the usual means."""
    width, slow = feature_folder(kind)
    sessions = []
    with open(os.path.join(folder, "sessions.jsonl"), encoding="utf-8") as handle:
        for about in [json.loads(line) for line in handle][:limit]:
            name = f"{about['index']:05d}.npy"
            sub = READY if ready and begins_ready(about["index"]) else slow
            frames = np.load(os.path.join(folder, sub, name)).reshape(-1, width)
            hops = np.load(os.path.join(folder, "labels", name))
            blocks = min(len(frames), len(hops)) // STACKED
            if blocks > 0:
                used = blocks * STACKED
                columns = [hops[:used, k].astype(dtype).reshape(blocks, STACKED) for k, dtype in enumerate((np.uint8, np.uint8, np.int8))]
                sessions.append(Session(frames[:used].reshape(blocks, STACKED * width), *columns, about))
    return sessions
