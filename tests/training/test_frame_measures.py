# SPDX-License-Identifier: Apache-2.0
import unittest

import numpy as np

import frame_measures as m
from operating_point import AT_THRESHOLD, best_score, choose, weighted


def labels(text):
    return np.array([int(c) for c in text], np.uint8)


class Runs(unittest.TestCase):
    def test_runs_join_over_short_gaps_and_short_ones_fall_out(self):
        flags = labels("0110" + "0" * 3 + "1" + "0" * 40 + "1")
        self.assertEqual(m.joined_runs(flags, gap=5), [(1, 8), (48, 49)])
        self.assertEqual(m.joined_runs(flags, gap=4), [(1, 3), (7, 8), (48, 49)])
        self.assertEqual(m.joined_runs(flags, gap=5, shortest=2), [(1, 8)])

    def test_a_collar_leaves_out_both_sides_of_an_edge(self):
        self.assertEqual(list(m.outside_collar(labels("00011111"), 2)), [True, False, False, False, False, True, True, True])


class Areas(unittest.TestCase):
    def test_scores_that_come_late_are_best_when_moved_back(self):
        label = labels("0" * 30 + "1" * 30 + "0" * 30)
        score = np.roll(label, 4).astype(float)
        used = np.ones(90, bool)
        self.assertEqual(m.best_shift([(score, label, used)]), (4, 1.0))
        self.assertEqual(m.pooled_auc([(score, label, used)], collar=4), 1.0)
        # 4 of 30 frames of speech lie below, 4 of 60 of silence above: 1 - (4/30 + 4/60) / 2 with ties halved.
        self.assertAlmostEqual(m.pooled_auc([(score, label, used)]), 0.9, places=9)

    def test_detection_lets_the_given_share_of_silence_through(self):
        score = np.concatenate([np.arange(100.0), [50.0, 97.5, 98.5, 200.0]])
        label = np.concatenate([np.zeros(100), np.ones(4)])
        self.assertEqual(m.detection_at(score, label, 0.02), 0.5)  # above 98


class Edges(unittest.TestCase):
    def test_onset_and_offset_errors_are_late_when_positive(self):
        label = labels("0" * 50 + "1" * 40 + "0" * 50)
        score = np.zeros(140)
        score[53:88] = 1.0
        got = m.edge_errors([(score, label, None)], 0.7)
        self.assertEqual((got["utterances"], got["missed"]), (1, 0))
        self.assertEqual((got["onset_ms"][1], got["offset_ms"][1]), (30, -20))

    def test_pauses_are_told_apart_by_length_and_ends_are_none(self):
        label = labels("0" * 9 + "1" + "0" * 5 + "1" + "0" * 40 + "1" + "0" * 9)
        score = np.where(np.arange(len(label)) < 30, 0.0, 1.0)
        got = m.pause_shares([(score, label, None)], 0.7)
        self.assertEqual([row["count"] for row in got], [1, 0, 1, 0, 0])
        self.assertEqual(got[0]["below"], 1.0)
        self.assertEqual(got[2]["below"], 0.35)  # frames 16 to 29 of 16 to 55

    def test_speech_is_classed_by_its_level_under_the_loud_frames(self):
        label, level = np.ones(100, np.uint8), np.full(100, 60.0)
        level[:20] = 45.0
        score = np.where(np.arange(100) < 10, 0.0, 1.0)
        got = m.level_classes([(score, label, None)], [level], 0.7)
        self.assertEqual([(row["frames"], row["found"]) for row in got], [(80, 1.0), (20, 0.5), (0, None), (0, None)])

    def test_the_first_half_second_is_counted_by_itself(self):
        score = np.where(np.arange(80) < 30, 0.0, 1.0)
        every = np.ones(80, bool)
        self.assertEqual(m.first_half_second([(score, labels("0" * 10 + "1" * 70), every)], 0.7), 0.5)  # 20 of 40
        self.assertEqual(m.first_half_second([(score, labels("0" * 10 + "1" * 70), np.arange(80) >= 20)], 0.7), 0.333)  # 10 of 30


class OperatingPoint(unittest.TestCase):
    def test_each_group_weighs_the_same_whatever_its_length(self):
        scores, flags, weights = weighted({"long": (np.zeros(9), np.array([1] * 8 + [0])), "short": (np.zeros(2), np.array([1, 0]))})
        self.assertAlmostEqual(weights[flags].sum(), 2.0)
        self.assertAlmostEqual(weights[~flags].sum(), 2.0)
        self.assertEqual(len(scores), 11)

    def test_the_point_lies_between_the_last_silence_and_the_first_speech(self):
        score, error = best_score(np.array([-3.0, -1.0, 1.0, 2.0]), np.array([False, False, True, True]), np.ones(4))
        self.assertEqual((score, error), (0.0, 0.0))

    def test_scores_that_say_too_little_are_weighed_more(self):
        rng = np.random.default_rng(1)
        odds = rng.normal(0.0, 3.0, 20000) + AT_THRESHOLD
        said = (odds - AT_THRESHOLD) / 1.6
        point = choose({"a": (said, rng.random(20000) < 1.0 / (1.0 + np.exp(-odds)))})
        self.assertAlmostEqual(point.slope, 1.6, delta=0.25)


if __name__ == "__main__":
    unittest.main()
