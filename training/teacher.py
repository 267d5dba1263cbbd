# SPDX-License-Identifier: Apache-2.0
"""Lets an earlier network say what speech is beside the labels, so that a network which goes on from it keeps what it does well.

Sounds that are new to a training can pull a network off voices that it knew and that are rare in the corpus. The log-odds of sessions with speech become
a mean of the labels' and the earlier network's, where that one is surer of speech or where somebody speaks; noise, music and silence stay what they are.
"""

import numpy as np

from audio_corpus import CERTAIN
from soft_targets import TEMPERATURE
from watched_sets import scores_of

MAYBE = -3.0  # log-odds of a label under which nobody speaks


def blended(labels, said, share):
    """Log-odds of each frame; `said`: the earlier network's own at TEMPERATURE."""
    said = np.clip(TEMPERATURE * said, -CERTAIN, CERTAIN)
    return np.where(labels > MAYBE, (1.0 - share) * labels + share * said, labels)


def listen(teacher, sessions, priming, share):
    """Changes the log-odds of the sessions that hold speech."""
    spoken = [s for s in sessions if s.labels.any()]
    for session, said in zip(spoken, scores_of(teacher, spoken, priming)):
        goal = blended(session.log_odds.reshape(-1) / 10.0, said, share)
        session.log_odds = np.round(10.0 * goal).astype(np.int8).reshape(session.log_odds.shape)
