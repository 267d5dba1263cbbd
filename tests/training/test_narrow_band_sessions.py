# SPDX-License-Identifier: Apache-2.0
import json
import os
import sys
import tempfile
import unittest
from unittest import mock

import numpy as np

import narrow_band_sessions as narrow


def tone(hertz, rate, seconds=1.0, amplitude=8000.0):
    return amplitude * np.sin(2 * np.pi * hertz * np.arange(int(rate * seconds)) / rate)


def level(x):
    return float(np.sqrt(np.mean(np.square(x[len(x) // 4:-len(x) // 4].astype(np.float64)))))


class Narrowed(unittest.TestCase):
    def test_a_tone_below_4_khz_is_the_same_tone_at_half_the_rate(self):
        out = narrow.narrowed(np.random.default_rng(1), tone(1000, 16000).astype(np.int16), False)
        self.assertEqual(len(out), 8000)
        self.assertLess(np.abs(out - tone(1000, 8000))[200:-200].max(), 5.0)

    def test_a_tone_above_4_khz_is_gone_and_does_not_fold_back(self):
        for hertz in (4300, 6000, 7900):
            self.assertLess(level(narrow.narrowed(np.random.default_rng(1), tone(hertz, 16000).astype(np.int16), False)), 1.0)

    def test_a_telephone_keeps_300_to_3400_hz(self):
        def kept(hertz):
            return level(narrow.narrowed(np.random.default_rng(1), tone(hertz, 16000).astype(np.int16), True)) / level(tone(hertz, 16000))

        self.assertGreater(kept(1000), 0.97)
        self.assertLess(kept(120), 0.1)
        self.assertLess(kept(3950), 0.1)

    def test_mu_law_leaves_steps_that_grow_with_the_level(self):
        out = narrow.narrowed(np.random.default_rng(1), tone(1000, 16000).astype(np.int16), True)
        # 8000 is 0.244 of full scale: neighbouring codes of 127 for each sign lie 255 ** (1 / 127), about 4.5 %, apart there.
        self.assertLess(len(np.unique(out)), 256)
        self.assertGreater(len(np.unique(out)), 30)

    def test_back_at_the_double_rate_it_is_the_same_sound(self):
        out = narrow.at_double_rate(tone(1000, 8000))
        self.assertLess(np.abs(out - tone(1000, 16000))[400:-400].max(), 5.0)


class Program(unittest.TestCase):
    def run_on(self, folder, out, *options):
        argv = ["narrow_band_sessions.py", "--data", folder, "--out", out, "--split", "train", *options]
        with mock.patch.object(sys, "argv", argv):
            narrow.main()
        with open(os.path.join(out, "train", "sessions.jsonl"), encoding="utf-8") as handle:
            return [json.loads(line) for line in handle]

    def test_sessions_keep_their_labels_and_the_draw_depends_on_seed_and_index_alone(self):
        with tempfile.TemporaryDirectory() as folder:
            source = os.path.join(folder, "wide")
            for name in ("pcm", "labels"):
                os.makedirs(os.path.join(source, "train", name))
            with open(os.path.join(source, "train", "sessions.jsonl"), "w", encoding="utf-8") as handle:
                for k in range(20):
                    handle.write(json.dumps({"index": k, "seconds": 0.5}) + "\n")
                    tone(500, 16000, 0.5).astype("<i2").tofile(os.path.join(source, "train", "pcm", f"{k:05d}.s16"))
                    np.save(os.path.join(source, "train", "labels", f"{k:05d}.npy"), np.zeros((50, 3), np.int16))
            half = self.run_on(source, os.path.join(folder, "half"))
            again = self.run_on(source, os.path.join(folder, "again"), "--jobs", "2")
            self.assertEqual(half, again)
            self.assertTrue(0 < sum(line["telephone"] for line in half) < 20)
            self.assertEqual({line["rate"] for line in half}, {8000})
            self.assertEqual(os.path.getsize(os.path.join(folder, "half", "train", "pcm", "00007.s16")), 2 * 4000)
            self.assertTrue(os.path.exists(os.path.join(folder, "half", "train", "labels", "00019.npy")))
            wide = self.run_on(source, os.path.join(folder, "up"), "--upsample", "--telephone", "1")
            self.assertTrue(all(line["telephone"] and line["rate"] == 16000 for line in wide))
            self.assertEqual(os.path.getsize(os.path.join(folder, "up", "train", "pcm", "00007.s16")), 2 * 8000)


if __name__ == "__main__":
    unittest.main()
