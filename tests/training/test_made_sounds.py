# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import made_sounds
from channel_effects import automatic_gain, clipped, lost_packets, low_rate, mu_law


def share_below(x, hertz):
    power = np.square(np.abs(np.fft.rfft(x)))
    return power[np.fft.rfftfreq(len(x), 1 / 16000) < hertz].sum() / power.sum()


class Sounds(unittest.TestCase):
    def test_rumble_and_puffs_lie_low(self):
        for seed in range(10):
            self.assertGreater(share_below(made_sounds._rumble(np.random.default_rng(seed)), 350), 0.9)
            self.assertGreater(share_below(made_sounds._puff(np.random.default_rng(seed)), 1000), 0.8)

    def test_birds_lie_high(self):
        for seed in range(10):
            self.assertLess(share_below(made_sounds._bird(np.random.default_rng(seed)), 800), 0.05)

    def test_all_are_finite_of_the_length_asked_for_and_repeatable(self):
        for make in (made_sounds.disturbance, made_sounds.calling, made_sounds.striking, made_sounds.household,
                     made_sounds.surging, made_sounds.wind, made_sounds.coloured_noise):
            for seed in range(8):
                x = make(np.random.default_rng(seed), 32000)
                self.assertEqual(x.shape, (32000,))
                self.assertTrue(np.isfinite(x).all())
                np.testing.assert_array_equal(x, make(np.random.default_rng(seed), 32000))


class Channels(unittest.TestCase):
    def test_mu_law_keeps_full_scale_and_zero(self):
        np.testing.assert_allclose(mu_law(np.array([0.0, 32768.0, -32768.0])), [0.0, 32768.0, -32768.0], atol=1e-6)

    def test_a_low_rate_codec_keeps_time_and_level(self):
        t = np.arange(16000) / 16000.0
        x = 3000 * np.sin(2 * np.pi * 300 * t) * (t > 0.5)
        y = low_rate(np.random.default_rng(1), x)
        self.assertEqual(len(y), len(x))
        self.assertLess(np.abs(y[:7000]).max(), 1.0)
        self.assertAlmostEqual(20 * np.log10(np.std(y[9000:15000]) / np.std(x[9000:15000])), 0.0, delta=2.6)  # half a step of at most 5 dB

    def test_lost_packets_leave_the_rest_as_it_is(self):
        x = np.arange(1.0, 160001.0)
        y = lost_packets(np.random.default_rng(2), x)
        changed = np.flatnonzero(x != y)
        self.assertTrue(0 < len(changed) < 0.1 * len(x))
        self.assertEqual(changed[0] % 320, 0)

    def test_automatic_gain_raises_the_quiet_and_lowers_the_loud(self):
        rng = np.random.default_rng(3)
        quiet, loud = (level * np.random.default_rng(4).standard_normal(160000) for level in (100.0, 20000.0))
        self.assertGreater(np.std(automatic_gain(rng, quiet)[80000:]), 250.0)
        self.assertLess(np.std(automatic_gain(rng, loud)[80000:]), 15000.0)

    def test_clipping_reaches_the_loudest_samples_only(self):
        x = np.linspace(-1.0, 1.0, 1001)
        y = clipped(np.random.default_rng(5), x)
        self.assertLess(y.max(), 1.0)
        np.testing.assert_array_equal(y[100:900], x[100:900])


if __name__ == "__main__":
    unittest.main()
