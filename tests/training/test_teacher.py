# SPDX-License-Identifier: Apache-2.0
import types
import unittest

import numpy as np

try:
    import torch
except ImportError:
    torch = None

if torch:
    import teacher
    import train_lstm


@unittest.skipUnless(torch, "no torch")
class Blend(unittest.TestCase):
    def test_where_somebody_speaks_both_count_and_elsewhere_the_label_alone(self):
        # At a temperature of 2 what a network says stands for twice that, and nothing for more than 8.
        got = teacher.blended(np.array([4.0, 4.0, -2.0, -8.0, -3.0]), np.array([1.0, 9.0, 3.0, 9.0, 9.0]), 0.25)
        np.testing.assert_allclose(got, [3.5, 5.0, 0.0, -8.0, -3.0])

    def test_sessions_without_speech_are_not_asked_about(self):
        def session(label):
            return types.SimpleNamespace(blocks=np.zeros((2, 3), np.float16), labels=np.full((2, 4), label, np.uint8),
                                         log_odds=np.full((2, 4), 40 if label else -20, np.int8))

        def says_nothing(blocks):
            return torch.zeros(*blocks.shape[:2], 4, 2)

        sessions = [session(1), session(0)]
        teacher.listen(says_nothing, sessions, 0, 0.5)
        self.assertEqual([s.log_odds.tolist() for s in sessions], [[[20] * 4] * 2, [[-20] * 4] * 2])
        self.assertEqual(sessions[0].log_odds.dtype, np.int8)

    def test_silence_counts_more_where_it_is_asked_for_and_never_more_than_a_byte_holds(self):
        def session(label):
            return types.SimpleNamespace(labels=np.full((1, 4), label, np.uint8), weights=np.array([[100, 30, 0, 120]], np.uint8))

        sessions = [session(1), session(0)]
        train_lstm.weigh_silence(sessions, 2.5)
        self.assertEqual([s.weights.tolist() for s in sessions], [[[100, 30, 0, 120]], [[250, 75, 0, 255]]])


if __name__ == "__main__":
    unittest.main()
