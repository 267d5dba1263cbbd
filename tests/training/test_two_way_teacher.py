# SPDX-License-Identifier: Apache-2.0
import types
import unittest

import numpy as np

from session_blocks import Session, turned

try:
    import torch
except ImportError:
    torch = None

if torch:
    import two_way_teacher


def session(blocks):
    """Two values a frame, the first of which counts the frames from 0."""
    frames = np.stack([np.arange(4 * blocks), np.zeros(4 * blocks)], axis=1).astype(np.float16)
    hops = np.arange(4 * blocks, dtype=np.uint8).reshape(blocks, 4)
    return Session(frames.reshape(blocks, 8), hops % 2, hops, hops.astype(np.int8), {"index": 0})


class Turned(unittest.TestCase):
    def test_the_last_frame_comes_first_with_all_that_is_known_of_it(self):
        got = turned(session(2))
        self.assertEqual(got.blocks.tolist(), [[7, 0, 6, 0, 5, 0, 4, 0], [3, 0, 2, 0, 1, 0, 0, 0]])
        self.assertEqual(got.labels.tolist(), [[1, 0, 1, 0], [1, 0, 1, 0]])
        self.assertEqual(got.weights.tolist(), [[7, 6, 5, 4], [3, 2, 1, 0]])
        self.assertEqual(got.log_odds.tolist(), [[7, 6, 5, 4], [3, 2, 1, 0]])

    def test_turned_twice_a_session_is_what_it_was(self):
        again = turned(turned(session(3)))
        for name in ("blocks", "labels", "weights", "log_odds"):
            np.testing.assert_array_equal(getattr(again, name), getattr(session(3), name))


@unittest.skipUnless(torch, "no torch")
class BothWays(unittest.TestCase):
    def test_both_speak_of_the_same_frame(self):
        def counts_what_it_heard(blocks):
            """Log-odds: how many frames came up to this one; none of a session alone."""
            steps = torch.arange(4.0 * len(blocks)).reshape(len(blocks), 1, 4).expand(-1, blocks.shape[1], -1)
            return torch.stack([steps, torch.zeros_like(steps)], dim=-1)

        first, second = two_way_teacher.both_ways(counts_what_it_heard, counts_what_it_heard, [session(1), session(2)])
        self.assertEqual(first.tolist(), [[0, 3], [1, 2], [2, 1], [3, 0]])
        self.assertEqual(second.tolist(), [[k, 7 - k] for k in range(8)])

    def test_they_are_weighed_as_the_labels_ask(self):
        # At a temperature of 2 labels of 2 * (0.75 a + 0.25 b + 0.5) are what 0.75 a + 0.25 b + 0.5 says.
        said = np.random.default_rng(1).normal(0.0, 1.5, (4000, 2)).astype(np.float32)
        goal = 2.0 * (said @ np.float32([0.75, 0.25]) + 0.5)
        log_odds = np.clip(np.round(10.0 * goal), -127, 127).astype(np.int8)
        sessions = [types.SimpleNamespace(log_odds=log_odds[part], weights=np.full(len(log_odds[part]), 100, np.uint8))
                    for part in (slice(1000), slice(1000, None))]
        np.testing.assert_allclose(two_way_teacher.weigh([said[:1000], said[1000:]], sessions), [0.75, 0.25, 0.5], atol=0.01)



if __name__ == "__main__":
    unittest.main()
