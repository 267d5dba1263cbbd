# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

from speech_track import Clip, Track, lay, pause_log_odds, spliced, step_to_next


def clip(log_odds, value=1.0):
    log_odds = np.asarray(log_odds, float)
    return Clip(np.full(160 * len(log_odds), value), log_odds, (log_odds > 0).astype(np.uint8), np.ones(len(log_odds)), "x")


def empty(hops, talkers=2):
    return Track([np.zeros(160 * hops) for _ in range(talkers)], np.full(hops, -np.inf), np.zeros(hops, np.uint8), np.ones(hops), [])


class Pauses(unittest.TestCase):
    def test_a_short_pause_is_less_certain_than_a_long_one(self):
        speech = np.zeros(301, bool)
        speech[[0, 300]] = True
        got = pause_log_odds(speech)
        # 10 hops, 0.1 s: 1.5 + 0.6. 75 hops: 1.5 + 4.5. The middle, 1.5 s: 10.5, held at 8. The far side is a mirror.
        np.testing.assert_allclose(got[[10, 75, 150, 290]], [-2.1, -6.0, -8.0, -2.1])

    def test_without_speech_all_is_certain(self):
        np.testing.assert_array_equal(pause_log_odds(np.zeros(3, bool)), [-8.0, -8.0, -8.0])

    def test_a_clip_is_cut_in_its_own_pauses_only_and_nothing_is_lost(self):
        whole = clip([5.0] * 20 + [-3.0] * 4 + [5.0] * 20)
        seen = set()
        for seed in range(20):
            pieces = spliced(np.random.default_rng(seed), whole)
            np.testing.assert_array_equal(np.concatenate([p.log_odds for p, _ in pieces]), whole.log_odds)
            self.assertEqual(pieces[-1][1], 0)
            for piece, silence in pieces[:-1]:
                self.assertTrue(10 <= silence <= 60)  # 0.1 to 0.6 s
            cuts = np.cumsum([len(p) for p, _ in pieces])[:-1]
            self.assertTrue(all(20 <= c < 24 for c in cuts))
            seen.add(len(pieces) > 1)
        self.assertEqual(seen, {True, False})

    def test_turns_overlap_now_and_then_and_never_go_back(self):
        steps = [step_to_next(np.random.default_rng(seed), 300, 1.0) for seed in range(200)]
        self.assertTrue(min(steps) >= 10)
        self.assertTrue(0.05 < np.mean(np.array(steps) < 300) < 0.2)


class Laying(unittest.TestCase):
    def test_one_talkers_speech_stays_speech_under_anothers_pause(self):
        track = empty(6)
        lay(track, 0, clip([4.0, 4.0, 4.0]), 0, 1.0)
        lay(track, 1, clip([-3.0, 6.0, 6.0]), 2, 1.0)
        np.testing.assert_array_equal(track.log_odds[:5], [4.0, 4.0, 4.0, 6.0, 6.0])
        self.assertEqual(list(track.hard), [1, 1, 1, 1, 1, 0])
        self.assertTrue(np.isneginf(track.log_odds[5]))

    def test_doubt_does_not_reach_into_what_another_certainly_says(self):
        track = empty(2)
        lay(track, 0, clip([4.0, 1.0]), 0, 1.0)
        doubtful = clip([2.0, 2.0])
        doubtful.weight = np.zeros(2)
        lay(track, 1, doubtful, 0, 1.0)
        self.assertEqual(list(track.weight), [1.0, 0.0])

    def test_what_goes_beyond_the_end_is_cut(self):
        track = empty(2)
        lay(track, 0, clip([4.0] * 5), 1, 2.0)
        self.assertEqual(len(track.voices[0]), 320)
        self.assertEqual(track.voices[0][239], 0.0 + 2.0 * np.linspace(0.0, 1.0, 80)[79])  # the 5 ms of fading in end at the full level


if __name__ == "__main__":
    unittest.main()
