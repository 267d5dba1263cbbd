# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import varied_sound
from signal_tools import rms


def tone(n, hertz=440.0):
    return np.sin(2 * np.pi * hertz * np.arange(n) / 16000.0)


class Varied(unittest.TestCase):
    def test_every_way_gives_as_many_samples_and_the_same_for_the_same_seed(self):
        for way in (varied_sound.scrambled, varied_sound.swelling, varied_sound.in_bursts, varied_sound.varied):
            for seed in range(8):
                x = way(np.random.default_rng(seed), tone(40000))
                self.assertEqual(x.shape, (40000,))
                self.assertTrue(np.isfinite(x).all())
                np.testing.assert_array_equal(x, way(np.random.default_rng(seed), tone(40000)))

    def test_grains_keep_the_level_and_lose_the_course(self):
        rising = tone(64000) * np.linspace(0.0, 1.0, 64000)
        x = varied_sound.scrambled(np.random.default_rng(1), rising)
        self.assertAlmostEqual(rms(x) / rms(rising), 1.0, delta=0.15)
        self.assertFalse(np.allclose(np.sort(np.abs(x[:32000])), np.sort(np.abs(rising[:32000])), atol=0.05))

    def test_too_short_a_sound_is_not_cut(self):
        x = tone(500)
        np.testing.assert_array_equal(varied_sound.scrambled(np.random.default_rng(1), x), x)

    def test_bursts_leave_pauses(self):
        quiet = []
        for seed in range(10):
            x = varied_sound.in_bursts(np.random.default_rng(seed), tone(160000))
            level = np.sqrt(np.square(x.reshape(-1, 400)).mean(axis=1))
            quiet.append((level < 0.1).mean())
        self.assertTrue(0.1 < np.mean(quiet) < 0.9, quiet)

    def test_resonances_stay_within_what_their_peaks_add_up_to(self):
        f = np.linspace(0.0, 8000.0, 500)
        for seed in range(20):
            gain = varied_sound.resonances(np.random.default_rng(seed))(f)
            self.assertEqual(gain.shape, f.shape)
            self.assertTrue((gain > 10 ** (-5 * 18 / 20)).all() and (gain < 10 ** (5 * 18 / 20)).all())

    def test_layers_have_unit_power(self):
        for seed in range(6):
            x = varied_sound.layered(np.random.default_rng(seed), 32000, lambda rng, n: tone(n, 300.0 + 50.0 * rng.random()))
            self.assertAlmostEqual(rms(x), 1.0, places=6)


if __name__ == "__main__":
    unittest.main()
