# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import quantised_dnn as q


def network(hidden_weight=0.0, output_bias=(0.0, 0.0)):
    """825 -> 32 -> 2: first layer all zero, so that every hidden activation is a half."""
    return q.Network([np.zeros((32, 825), np.float32), np.full((2, 32), hidden_weight, np.float32)],
                     [np.zeros(32, np.float32), np.array(output_bias, np.float32)], np.zeros(75, np.float32), np.full(75, 0.1, np.float32),
                     np.array([0.5, 0.5], np.float32), q.Shifts([10, 5], [16, 11]))


class SigmoidTable(unittest.TestCase):
    def test_middle_is_a_half_and_entry_0_is_120(self):
        table = q.sigmoid_table()
        self.assertEqual(table[4096], 1 << 29)
        self.assertEqual(table[0], 120)

    def test_ends_of_the_range(self):
        v = np.array([16 << 11, (16 << 11) - 1, -(16 << 11), 0])
        # 16.0 gives the top; just below it the nearest of 128 steps to 0.9999999 is the top too; -16.0 gives 0; 0 gives a half.
        self.assertEqual(list(q.sigmoid_table8(v, 11, 7)), [128, 128, 0, 64])

    def test_1_0_reads_as_0_with_8_bits(self):
        self.assertEqual(q.sigmoid_table8(np.array([16 << 11]), 11, 8)[0], 0)


class Conversions(unittest.TestCase):
    def test_halves_are_rounded_away_from_zero_and_clipped(self):
        x = np.array([0.75, -0.75, 0.25, -0.25, 100.0, -100.0])
        self.assertEqual(list(q.fixed(x, 1, -128, 127)), [2, -2, 1, -1, 127, -128])

    def test_wrap(self):
        self.assertEqual(list(q.wrap(np.array([40000, 32767, -32769]), 16)), [-25536, 32767, 32767])


class InputScaling(unittest.TestCase):
    def test_no_possible_input_reaches_16(self):
        rng = np.random.default_rng(5)
        mean, inv_std = q.input_scaling(rng.normal(0, 3, 75), np.full(75, 1e-6))
        self.assertLess(q.input_bound(mean, inv_std).max(), 16.0)
        for corner in (q.FEATURE_LOW, q.FEATURE_HIGH):
            scaled = (corner.astype(np.float32) - mean) * inv_std * 2048
            self.assertLess(np.abs(scaled).max(), 32768)

    def test_wide_values_keep_their_deviation(self):
        _, inv_std = q.input_scaling(np.zeros(75), np.full(75, 40.0))
        np.testing.assert_allclose(inv_std, 1 / 40.0, rtol=1e-6)


class Splice(unittest.TestCase):
    def test_edges_repeat_the_first_and_the_last_frame(self):
        frames = np.arange(3 * 75, dtype=np.float32).reshape(3, 75)
        blocks = q.splice(frames).reshape(3, 11, 75)
        self.assertEqual([int(b[0] // 75) for b in blocks[0]], [0] * 6 + [1, 2, 2, 2, 2])
        self.assertEqual([int(b[0] // 75) for b in blocks[2]], [0, 0, 0, 0, 1, 2, 2, 2, 2, 2, 2])

    def test_odd_frames_repeat_the_pair_of_the_frame_before(self):
        self.assertEqual(q.session_pairs(network(), np.zeros((3, 75), np.float32)).shape, (3, 2))


class Forward(unittest.TestCase):
    def test_equal_outputs_share_evenly(self):
        np.testing.assert_array_equal(q.forward(network(0.5), np.zeros((4, 825), np.float32)), np.full((4, 2), 0.5, np.float32))

    def test_output_bias_moves_the_pair(self):
        pair = q.forward(network(0.0, (1.0, 0.0)), np.zeros((1, 825), np.float32))[0]
        self.assertAlmostEqual(float(pair[0]), 1.0 / (1.0 + np.exp(-1.0)), places=6)

    def test_sums_in_range_count_no_wraps(self):
        counts = q.Counts()
        # 32 activations of a half by 0.9375 (30/32): 15.0.
        q.forward(network(0.9375), np.zeros((1, 825), np.float32), counts)
        self.assertEqual(counts.wraps(), 0)
        self.assertAlmostEqual(counts.greatest_sum[1], 15.0 / 16.0, places=6)

    def test_a_sum_of_20_wraps_and_is_counted(self):
        counts = q.Counts()
        q.forward(network(1.25), np.zeros((3, 825), np.float32), counts)  # 32 * 0.5 * 1.25 = 20 in two outputs of three frames
        self.assertEqual(counts.sum_wraps, [0, 6])

    def test_worst_case_is_all_activations_at_one(self):
        self.assertAlmostEqual(network(0.25).worst_case()[1], 32 * 0.25 * 2048 / 32767, places=9)
        self.assertGreater(network(0.9375).worst_case()[1], 1.0)

    def test_input_that_leaves_16_bits_is_counted(self):
        counts = q.Counts()
        blocks = np.zeros((1, 825), np.float32)
        blocks[0, 7] = 165.0  # 16.5 after scaling
        q.forward(network(), blocks, counts)
        self.assertEqual(counts.input_wraps, 1)

    def test_activations_of_8_bits_are_refused(self):
        with self.assertRaises(ValueError):
            q.Network([np.zeros((32, 825)), np.zeros((2, 32))], [np.zeros(32), np.zeros(2)], np.zeros(75), np.ones(75), np.ones(2),
                      q.Shifts([10, 3], [16, 11]))


if __name__ == "__main__":
    unittest.main()
