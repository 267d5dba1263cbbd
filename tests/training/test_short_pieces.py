# SPDX-License-Identifier: Apache-2.0
import os
import tempfile
import unittest

import numpy as np

import short_pieces
from short_pieces import heard, judge_pieces, places, quieter, shares

MODELS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "models")


class Pieces(unittest.TestCase):
    def test_they_are_whole_and_begin_every_3_seconds(self):
        self.assertEqual(list(places(199)), [])
        self.assertEqual(list(places(200)), [0])
        self.assertEqual(list(places(499)), [0])
        self.assertEqual(list(places(500)), [0, 300])

    def test_20_db_are_a_tenth(self):
        self.assertEqual(quieter(np.array([-32768, 1000, 4], "<i2"), -20).tolist(), [-3277, 100, 0])
        self.assertEqual(quieter(np.array([-32768, 7], "<i2"), 0).tolist(), [-32768, 7])

    def test_the_last_frames_are_not_counted_however_many_scores_there_are(self):
        for rows in (188, 196, 198, 204):
            scores, labels, used = heard(np.ones(rows), np.ones(200, np.uint8), np.ones(200))
            self.assertEqual((scores.tolist(), used.tolist()), ([1.0] * 188 + [0.0] * 12, [True] * 188 + [False] * 12))
            self.assertEqual(len(labels), 200)
        self.assertFalse(heard(np.ones(196), np.ones(200, np.uint8), np.zeros(200))[2].any())


class Shares(unittest.TestCase):
    def test_the_first_half_second_is_counted_apart(self):
        labels = np.zeros(200, np.uint8)
        labels[40:60] = 1
        scores = np.zeros(200)
        scores[45:100] = 0.7
        # Speech: 40 to 45 missed of the 10 frames before 50, none of the 10 behind. Silence: none of 40 frames taken, then 60 to 100 of 140.
        self.assertEqual(shares([(scores, labels, np.ones(200, bool))]), {"pieces": 1, "missed": [0.5, 0.0], "taken": [0.0, 0.2857]})

    def test_pieces_count_together_and_frames_without_weight_not_at_all(self):
        used = np.ones(200, bool)
        used[50:] = False
        speech, silence = np.ones(200, np.uint8), np.zeros(200, np.uint8)
        got = shares([(np.zeros(200), speech, used), (np.ones(200), speech, used), (np.ones(200), silence, used)])
        self.assertEqual(got, {"pieces": 3, "missed": [0.5, None], "taken": [1.0, None]})


@unittest.skipUnless(os.environ.get("WVAD_BLOCKS"), "WVAD_BLOCKS is not set")
class Heard(unittest.TestCase):
    def test_every_frame_that_counts_has_a_score_of_its_own_with_every_kind(self):
        hiss = np.round(np.random.default_rng(3).normal(0, 1000, 32000)).astype("<i2")
        with tempfile.TemporaryDirectory() as work:
            path = short_pieces.put(work, "hiss", hiss, 16000)
            for name in ("lstm_fb75", "lstm_fb40", "dnn_fb75"):
                out = os.path.join(work, name)
                short_pieces.run_blocks(os.environ["WVAD_BLOCKS"], out, [path], "--rate", "16000", "--scores", os.path.join(MODELS, name + ".bin"))
                pairs = np.load(short_pieces.array_of(out, path))
                self.assertGreaterEqual(len(pairs), short_pieces.SCORED)
                self.assertTrue(np.isfinite(pairs[:short_pieces.SCORED]).all())

    def test_each_beginning_and_level_is_heard_at_its_own(self):
        rng = np.random.default_rng(2)
        # A buzz of 120 Hz behind a second of hiss: voiced enough for scores to differ with the level and the beginning.
        t = np.arange(5 * 16000) / 16000
        buzz = sum(np.sin(2 * np.pi * 120 * k * t) / k for k in range(1, 25)) * (1 + np.sin(2 * np.pi * 4 * t))
        samples = np.round(2000 * buzz * (t >= 0.3) + rng.normal(0, 20, len(t))).astype("<i2")
        labels = (np.arange(500) >= 30).astype(np.uint8)
        calls = []
        run = short_pieces.run_blocks

        def noted(program, out, paths, *options):
            run(program, out, paths, *options)
            calls.append((options, [short_pieces.load_pairs(short_pieces.array_of(out, path))[0] for path in paths]))

        short_pieces.run_blocks = noted
        try:
            with tempfile.TemporaryDirectory() as work:
                result = judge_pieces(os.environ["WVAD_BLOCKS"], os.path.join(MODELS, "lstm_fb75.bin"), [("buzz", samples, labels, np.ones(500))], 16000, work,
                                      ["usual means", "slow start"])
                self.assertEqual(os.listdir(work), [])
        finally:
            short_pieces.run_blocks = run
        self.assertEqual([(name, list(levels)) for name, levels in result.items()], [("usual means", ["0", "-20"]), ("slow start", ["0", "-20"])])
        self.assertTrue(all(levels[level]["buzz"]["pieces"] == 2 for levels in result.values() for level in ("0", "-20")))
        self.assertEqual(["0" in options[options.index("--ready-means"):] if "--ready-means" in options else None for options, _ in calls],
                         [None, True, None, True])
        first = [pairs[0] for _, pairs in calls]
        self.assertTrue(all(np.abs(first[a] - first[b]).max() > 1e-3 for a, b in ((0, 1), (0, 2), (1, 3))))


if __name__ == "__main__":
    unittest.main()
