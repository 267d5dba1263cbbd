# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

from rate_change import old_from_new, with_other_inputs


class RateChange(unittest.TestCase):
    def test_a_linear_relation_is_found(self):
        rng = np.random.default_rng(1)
        new = rng.normal(3.0, 2.0, (4000, 3))
        matrix, constant = np.array([[1.0, 0.5, 0.0], [0.0, -2.0, 1.0], [0.0, 0.0, 0.0]]), np.array([4.0, 0.0, -1.0])
        found, offset = old_from_new(new @ matrix.T + constant, new)
        np.testing.assert_allclose(found, matrix, atol=0.01)
        np.testing.assert_allclose(offset, constant, atol=0.05)

    def test_a_value_that_never_moves_says_nothing(self):
        new = np.stack([np.full(100, 7.0), np.arange(100.0)], axis=1)
        found, _ = old_from_new(2.0 * new[:, 1:], new)
        self.assertAlmostEqual(found[0, 0], 0.0)
        self.assertAlmostEqual(found[0, 1], 2.0, places=2)

    def test_the_gates_stay_what_they_were(self):
        rng = np.random.default_rng(2)
        width, stacked, rows = 5, 4, 8
        network = {"mean": rng.normal(0, 1, width).astype(np.float32), "inv_std": rng.uniform(0.5, 2, width).astype(np.float32),
                   "wx": rng.normal(0, 1, (rows, stacked * width)).astype(np.float32), "bias": rng.normal(0, 1, rows).astype(np.float32), "wr": None}
        matrix, constant = rng.normal(0, 1, (width, width)), rng.normal(0, 1, width)
        mean, inv_std = rng.normal(0, 1, width).astype(np.float32), rng.uniform(0.5, 2, width).astype(np.float32)
        moved = with_other_inputs(network, matrix, constant, mean, inv_std)

        def gates(arrays, frames):
            x = ((frames - arrays["mean"]) * arrays["inv_std"]).reshape(-1)
            return arrays["wx"] @ x + arrays["bias"]

        new = rng.normal(0, 1, (stacked, width))
        np.testing.assert_allclose(gates(moved, new), gates(network, new @ matrix.T + constant), rtol=1e-4, atol=1e-4)
        self.assertIsNone(moved["wr"])


if __name__ == "__main__":
    unittest.main()
