# SPDX-License-Identifier: Apache-2.0
"""Lets a teacher say what speech is beside the labels: the network with which a training began, or one that hears sessions both ways.

Sounds that are new to a training can pull a network off voices that it knew and that are rare in the corpus; and labels of a clean recording do not tell what
can still be heard of it under noise. The log-odds of sessions with speech become a mean of the labels' and the teacher's, where somebody may speak; noise,
music and silence stay what they are.
"""

import os

import numpy as np

from audio_corpus import CERTAIN
from soft_targets import TEMPERATURE
from watched_sets import scores_of

MAYBE = -3.0  # log-odds of a label under which nobody speaks


def blended(labels, said, share):
    """Log-odds of each frame; `said`: the teacher's own at TEMPERATURE."""
    said = np.clip(TEMPERATURE * said, -CERTAIN, CERTAIN)
    return np.where(labels > MAYBE, (1.0 - share) * labels + share * said, labels)


def blended_tenths(tenths, said, share):
    """Log-odds of labels as they are kept, ten times as large in a byte. Kinds differ in a last block; what the teacher did not hear stays."""
    goal = tenths / 10.0
    both = min(len(goal), len(said))
    goal[:both] = blended(goal[:both], said[:both], share)
    return np.round(10.0 * goal).astype(np.int8)


def blend_into(session, said, share):
    """Changes the log-odds of a session that holds speech; `said`: the teacher's own of each frame."""
    session.log_odds = blended_tenths(session.log_odds.reshape(-1), said, share).reshape(session.log_odds.shape)


def listen(teacher, sessions, priming, share):
    """Changes the log-odds of the sessions that hold speech to a mean with what the teacher says of them."""
    spoken = [s for s in sessions if s.labels.any()]
    for session, said in zip(spoken, scores_of(teacher, spoken, priming)):
        blend_into(session, said, share)


def taught_path(folder, index):
    """Where what a teacher said of a session lies: a 16-bit float for each frame, its log-odds at TEMPERATURE."""
    return os.path.join(folder, "taught", f"{index:05d}.npy")


def take_taught(session, folder, share):
    """Changes the log-odds of a session that holds speech to a mean with what two_way_teacher.py wrote of it."""
    if session.labels.any():
        blend_into(session, np.load(taught_path(folder, session.about["index"])).astype(np.float32), share)
