# SPDX-License-Identifier: Apache-2.0
"""What networks learn: how sure two detectors are that somebody speaks, not only whether.

A pause between words and an hour of rain are both "not speech", but not equally so, and a listener across a table is judged by that order. The
log-odds are divided by a temperature, so that the ends do not flatten; the loss is the cross-entropy to the probability that they stand for, and
a share of the squared distance to the log-odds themselves, which goes on telling degrees where probabilities no longer differ.
"""

import torch

TEMPERATURE = 2.0
SQUARED_SHARE = 0.05


def soft_loss(score, log_odds, weight, temperature=TEMPERATURE, squared=SQUARED_SHARE):
    """Weighted mean over frames. `score` is the network's own log-odds, `log_odds` what it should be at a temperature of 1."""
    goal = log_odds / temperature
    losses = torch.nn.functional.binary_cross_entropy_with_logits(score, torch.sigmoid(goal), reduction="none")
    losses = losses + squared * torch.square(score - goal)
    return (losses * weight).sum() / weight.sum().clamp(min=1.0)
