# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

from simulated_rooms import LEAD, Room, image_sources, impulse_response, random_room, random_source


def room(t60=0.4):
    return Room(np.array([6.0, 5.0, 3.0]), np.array([2.0, 2.0, 1.0]), t60)


class Images(unittest.TestCase):
    def test_the_source_comes_first_and_then_its_mirror_in_the_floor(self):
        # Source 2 m away at the same height of 1 m: direct 2.0 m. In the floor it stands at -1 m: sqrt(4 + 4) = 2.828 m, one reflection.
        r = room()
        distance, gain = image_sources(r, np.array([4.0, 2.0, 1.0]), 4.0)
        np.testing.assert_allclose(distance[:2], [2.0, np.sqrt(8.0)])
        np.testing.assert_allclose(gain[:2], [1.0 / 2.0, r.reflection / np.sqrt(8.0)])

    def test_there_are_as_many_images_as_walls_within_their_reach(self):
        # Mirrors of the same source, seen from the microphone: floor 2.83 m, ceiling 4.47 m, left wall 6 m, right wall 6 m, front and back
        # 4.47 m and 6.32 m; within 4.3 m none but the floor's.
        distance, _ = image_sources(room(), np.array([4.0, 2.0, 1.0]), 4.3)
        self.assertEqual(len(distance), 2)
        distance, _ = image_sources(room(), np.array([4.0, 2.0, 1.0]), 4.5)
        self.assertEqual(len(distance), 4)

    def test_reflection_is_sabines(self):
        # 90 m3 and 126 m2 at 0.4 s: 0.161 * 90 / (126 * 0.4) = 0.2875 absorbed of the power.
        self.assertAlmostEqual(room().reflection, np.sqrt(1.0 - 0.2875), places=6)


class Responses(unittest.TestCase):
    def test_direct_sound_stands_where_labels_expect_it(self):
        h = impulse_response(np.random.default_rng(1), room(0.25), np.array([2.5, 2.0, 1.2]))
        self.assertEqual(int(np.argmax(np.abs(h))), LEAD)
        self.assertAlmostEqual(float(np.sum(h * h)), 1.0, places=9)
        self.assertTrue((h[:LEAD] == 0.0).all())

    def test_far_talkers_reach_the_microphone_by_the_walls(self):
        def direct_share(source):
            h = impulse_response(np.random.default_rng(2), room(), source)
            return np.sum(np.square(h[:LEAD + 32]))

        self.assertGreater(direct_share(np.array([2.4, 2.0, 1.2])), 2.0 * direct_share(np.array([5.5, 4.0, 1.2])))

    def test_the_tail_dies_away_in_the_reverberation_time(self):
        h = impulse_response(np.random.default_rng(3), room(0.6), np.array([4.0, 3.0, 1.2]))
        # From 0.1 s to 0.4 s behind the direct sound: half of the time, 30 dB.
        early, late = (np.mean(np.square(h[LEAD + int(s * 16000):][:1600])) for s in (0.1, 0.4))
        self.assertAlmostEqual(10 * np.log10(early / late), 30.0, delta=3.0)

    def test_random_sources_stand_inside_random_rooms(self):
        rng = np.random.default_rng(4)
        for _ in range(100):
            r = random_room(rng)
            at = random_source(rng, r)
            self.assertTrue((at > 0).all() and (at < r.size).all())


if __name__ == "__main__":
    unittest.main()
