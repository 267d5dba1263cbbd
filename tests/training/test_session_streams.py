# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

from session_blocks import Session
from session_streams import SessionStreams


def session(number, blocks):
    return Session(np.full((blocks, 8), number, np.float16), np.ones((blocks, 4), np.uint8), np.full((blocks, 4), 100, np.uint8),
                   np.full((blocks, 4), 10 * number, np.int8), {})


class Streams(unittest.TestCase):
    def test_targets_come_late_by_the_delay_and_only_sessions_carry_weight(self):
        streams = SessionStreams([session(3, 7)], 1, 5, 0, 2, np.random.default_rng(1))
        blocks, log_odds, weights, fresh = (np.concatenate(column) for column in zip(*(streams.pieces() for _ in range(40))))
        x, goal, weight = blocks[:, 0, 0], log_odds[:, 0, 0], weights[:, 0, 0]
        np.testing.assert_array_equal(goal[2:] == 3.0, x[:-2] == 3.0)
        np.testing.assert_array_equal(weight == 1.0, goal == 3.0)
        self.assertGreater(fresh.sum(), 3)

    def test_raw_energies_begin_behind_their_priming_and_keep_their_zeros(self):
        streams = SessionStreams([session(2, 6)], 1, 4, 3, 2, np.random.default_rng(2))
        for _ in range(20):
            blocks, _, weights, fresh = streams.pieces()
            if fresh[0] and streams.at[0] == 4:  # the first piece of a stream
                self.assertTrue((blocks[:3] == 0.0).all())
                self.assertTrue((weights[:3] == 0.0).all())
        raised = [streams.at_another_level(np.float16([[0.0, 2.0]])) for _ in range(30)]
        self.assertEqual({float(x[0, 0]) for x in raised}, {0.0})
        self.assertGreater(len({float(x[0, 1]) for x in raised}), 5)

    def test_every_session_is_heard_before_one_comes_again(self):
        streams = SessionStreams([session(k, 4) for k in range(9)], 1, 4, 0, 0, np.random.default_rng(3))
        order = [int(streams._session().blocks[0, 0]) for _ in range(18)]
        self.assertEqual(sorted(order[:9]), list(range(9)))
        self.assertEqual(sorted(order[9:]), list(range(9)))


if __name__ == "__main__":
    unittest.main()
