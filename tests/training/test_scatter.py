# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import scatter


class Scatter(unittest.TestCase):
    def test_a_draw_holds_as_many_recordings_as_there_are(self):
        draws = scatter.drawn(7)
        self.assertEqual(draws.shape, (scatter.DRAWS, 7))
        np.testing.assert_array_equal(draws.sum(axis=1), 7.0)

    def test_recordings_that_agree_do_not_scatter(self):
        names = [str(k) for k in range(8)]
        self.assertEqual(scatter.of_ratio(names, [3] * 8, [10] * 8), [0.3, 0.3])

    def test_one_recording_of_many_moves_the_share_by_how_often_it_is_drawn(self):
        # The share over 100 like recordings, 10 of them all false: binomial of 100 draws at 0.1, whose middle 95 % runs from 0.05 to 0.16.
        low, high = scatter.of_ratio([str(k) for k in range(100)], [1] * 10 + [0] * 90, [1] * 100)
        self.assertAlmostEqual(low, 0.05, delta=0.011)
        self.assertAlmostEqual(high, 0.16, delta=0.011)

    def test_what_was_made_of_one_recording_is_drawn_together(self):
        # Each of 6 sources twice, once all false and once all right: together always one half.
        names = [str(k // 2) for k in range(12)]
        self.assertEqual(scatter.of_ratio(names, [0, 5] * 6, [5, 5] * 6), [0.5, 0.5])

    def test_few_recordings_tell_nothing(self):
        self.assertIsNone(scatter.of_ratio(["a"] * 9, [1] * 9, [2] * 9))
        self.assertIsNone(scatter.of_area(["a", "b"], [(np.arange(4.0), np.array([0, 0, 1, 1]), np.ones(4, bool))] * 2))

    def test_the_area_of_like_recordings_is_theirs(self):
        # Silence scores 0 and 2, speech 1 and 3: of four pairs three are in order.
        recording = (np.array([0.0, 2.0, 1.0, 3.0]), np.array([0, 0, 1, 1]), np.ones(4, bool))
        self.assertEqual(scatter.of_area(list("abcdef"), [recording] * 6), [0.75, 0.75])

    def test_frames_without_weight_do_not_count_in_the_area(self):
        used = np.array([True, True, True, True, False])
        recording = (np.array([0.0, 2.0, 1.0, 3.0, 9.0]), np.array([0, 0, 1, 1, 0]), used)
        self.assertEqual(scatter.of_area(list("abcdef"), [recording] * 6), [0.75, 0.75])


if __name__ == "__main__":
    unittest.main()
