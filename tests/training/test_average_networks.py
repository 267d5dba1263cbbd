# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

from average_networks import average


def state(value, mean=1.0):
    return {"kind": np.array("lstm_fb75"), "mean": np.float32([mean]), "inv_std": np.float32([2.0]), "prior": np.float32([value]), "wx": np.float32([[value, 0.0]])}


class Averages(unittest.TestCase):
    def test_weights_are_averaged_and_the_rest_is_the_first_ones(self):
        got = average([state(1.0), state(4.0)])
        np.testing.assert_array_equal(got["wx"], [[2.5, 0.0]])
        self.assertEqual((got["wx"].dtype, got["prior"][0], str(got["kind"])), (np.float32, 1.0, "lstm_fb75"))

    def test_networks_of_another_scaling_are_refused(self):
        with self.assertRaises(SystemExit):
            average([state(1.0), state(1.0, mean=3.0)])


if __name__ == "__main__":
    unittest.main()
