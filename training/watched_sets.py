# SPDX-License-Identifier: Apache-2.0
"""What a network that is still being trained makes of the judged recordings, group by group, and one number to choose among its states."""

import numpy as np
import torch

from metrics import best_balance, roc_auc

SPOKEN = ("meeting", "call", "natural", "natural at 10 dB", "natural at 0 dB", "languages")
SIDE_BY_SIDE = 48
ALARM_SHARE = 0.2  # how much a share of false alarms weighs against ROC-AUC


def scores_of(model, sessions, priming):
    """The log-odds of speech of every frame of each session, the last two blocks looking into silence."""
    order = sorted(range(len(sessions)), key=lambda k: len(sessions[k].blocks))
    scores = [None] * len(sessions)
    with torch.no_grad():
        for first in range(0, len(order), SIDE_BY_SIDE):
            group = order[first:first + SIDE_BY_SIDE]
            longest = max(len(sessions[k].blocks) for k in group)
            blocks = np.zeros((priming + longest, len(group), sessions[group[0]].blocks.shape[1]), np.float32)
            for column, k in enumerate(group):
                blocks[priming:priming + len(sessions[k].blocks), column] = sessions[k].blocks
            y = model(torch.from_numpy(blocks)).numpy()[priming:]
            for column, k in enumerate(group):
                scores[k] = (y[:len(sessions[k].blocks), column, :, 0] - y[:len(sessions[k].blocks), column, :, 1]).reshape(-1)
    return scores


def by_group(sessions, scores):
    """Group to (scores, labels), frames without weight left out."""
    parts = {}
    for session, score in zip(sessions, scores):
        used = session.weights.reshape(-1) > 0
        parts.setdefault(session.about["group"], []).append((score[used], session.labels.reshape(-1)[used]))
    return {group: tuple(np.concatenate(column) for column in zip(*rows)) for group, rows in parts.items()}


def look(model, sessions, priming):
    return merit_of(by_group(sessions, scores_of(model, sessions, priming)))


def merit_of(groups):
    """ROC-AUC of each group with speech; the shares of noise and music taken for speech at the threshold that is best on the others; and `merit`."""
    spoken = [name for name in SPOKEN if name in groups]
    result = {name: round(roc_auc(*groups[name]), 4) for name in spoken}
    scores, labels = (np.concatenate([groups[name][k] for name in spoken]) for k in (0, 1))
    threshold, error = best_balance(scores, labels, np.ones(len(scores)))
    result["balanced error"], result["threshold"] = round(error, 4), round(threshold, 3)
    alarms = [float((groups[name][0] >= threshold).mean()) for name in ("noise", "music") if name in groups]
    result["alarms"] = [round(share, 4) for share in alarms]
    result["merit"] = round(float(np.mean([result[name] for name in spoken])) - ALARM_SHARE * float(np.mean(alarms or [0.0])), 5)
    return result
