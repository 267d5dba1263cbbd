# SPDX-License-Identifier: Apache-2.0
"""Sessions laid end to end in many streams that run side by side, piece by piece, with the network's state carried from one piece to the next.

A client's session lasts for hours, in which rooms and noises change and minutes may pass in silence; a network that saw short pieces only never
learns to let go. A stream is one session, or two to six behind each other, from a cleared state on.
"""

import numpy as np

from quantised_lstm import STACKED

ALONE = 0.4  # share of streams of a single session: a begin counts, too
GAIN_REACH = 3.0  # natural logarithm of power: 13 dB up or down


class SessionStreams:
    def __init__(self, sessions, count, piece, priming, delay, rng):
        """`priming`: blocks of zeros before a stream; `delay`: blocks by which results come late, and targets with them."""
        self.sessions, self.piece, self.priming, self.delay, self.rng = sessions, piece, priming, delay, rng
        self.order, self.next = [], 0
        self.streams = [None] * count
        self.at = [0] * count

    def _session(self):
        if self.next == len(self.order):
            self.order, self.next = self.rng.permutation(len(self.sessions)), 0
        self.next += 1
        return self.sessions[self.order[self.next - 1]]

    def _stream(self):
        count = 1 if self.rng.random() < ALONE else int(self.rng.integers(2, 7))
        chosen = [self._session() for _ in range(count)]
        width = chosen[0].blocks.shape[1]
        length = self.priming + sum(len(s.blocks) for s in chosen) + self.delay
        length = -(-length // self.piece) * self.piece
        blocks = np.zeros((length, width), np.float16)
        log_odds, weights = np.zeros((length, STACKED), np.int8), np.zeros((length, STACKED), np.uint8)
        at = self.priming
        for s in chosen:
            past = at + len(s.blocks)
            blocks[at:past] = self.at_another_level(s.blocks)
            log_odds[at + self.delay:past + self.delay] = s.log_odds
            weights[at + self.delay:past + self.delay] = s.weights
            at = past
        return blocks, log_odds, weights

    def at_another_level(self, blocks):
        """Raw logarithmic energies tell the gain of a microphone; a network must not lean on it. They are never below 0, and no gain lifts a zero."""
        if self.priming == 0 or self.rng.random() < 0.5:
            return blocks
        return np.where(blocks > 0, np.maximum(blocks + np.float16(self.rng.uniform(-GAIN_REACH, GAIN_REACH)), 0), np.float16(0))

    def pieces(self):
        """The next piece of every stream: blocks (steps, streams, inputs), log-odds and weights (steps, streams, 4), and which streams begin."""
        fresh = np.zeros(len(self.streams), bool)
        parts = []
        for k in range(len(self.streams)):
            if self.streams[k] is None or self.at[k] == len(self.streams[k][0]):
                first = self.streams[k] is None
                self.streams[k], self.at[k], fresh[k] = self._stream(), 0, True
                if first:  # streams do not all begin together
                    self.at[k] = int(self.rng.integers(len(self.streams[k][0]) // self.piece)) * self.piece
            where = slice(self.at[k], self.at[k] + self.piece)
            parts.append([column[where] for column in self.streams[k]])
            self.at[k] += self.piece
        blocks, log_odds, weights = (np.stack(column, axis=1) for column in zip(*parts))
        return blocks.astype(np.float32), log_odds.astype(np.float32) / 10.0, weights.astype(np.float32) / 100.0, fresh
