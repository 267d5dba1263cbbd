# SPDX-License-Identifier: Apache-2.0
import contextlib
import io
import json
import os
import sys
import tempfile
import unittest
from unittest import mock

import numpy as np

import session_blocks

try:
    import train_lstm
except ImportError:
    train_lstm = None


class ReadySessions(unittest.TestCase):
    def make(self, folder, sessions, ready):
        for sub in ("feat", "feat_ready", "labels"):
            os.mkdir(os.path.join(folder, sub))
        with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as out:
            for index in range(sessions):
                out.write(json.dumps({"index": index}) + "\n")
                np.save(os.path.join(folder, "feat", f"{index:05d}.npy"), np.full((4, 75), 1.0, np.float16))
                np.save(os.path.join(folder, "labels", f"{index:05d}.npy"), np.zeros((4, 3), np.int8))
        for index in ready:
            np.save(os.path.join(folder, "feat_ready", f"{index:05d}.npy"), np.full((4, 75), 2.0, np.float16))

    def first_values(self, folder, ready):
        return [float(s.blocks[0, 0]) for s in session_blocks.load_split(folder, "lstm_fb75", ready=ready)]

    def test_every_third_session_stays_slow_and_without_asking_all_do(self):
        with tempfile.TemporaryDirectory() as folder:
            self.make(folder, 7, (1, 2, 4, 5))
            self.assertEqual(self.first_values(folder, True), [1, 2, 2, 1, 2, 2, 1])
            self.assertEqual(self.first_values(folder, False), [1] * 7)

    def test_a_ready_session_that_was_not_made_is_no_slow_one(self):
        with tempfile.TemporaryDirectory() as folder:
            self.make(folder, 3, (1,))
            with self.assertRaisesRegex(FileNotFoundError, "feat_ready.00002"):
                session_blocks.load_split(folder, "lstm_fb75", ready=True)

    @unittest.skipUnless(train_lstm, "no torch")
    def test_a_network_without_means_begins_in_one_way_only(self):
        words = ["train_lstm.py", "--kind", "lstm_fb40", "--data", "x", "--out", "y", "--ready"]
        said = io.StringIO()
        with mock.patch.object(sys, "argv", words), contextlib.redirect_stderr(said), self.assertRaises(SystemExit):
            train_lstm.parse_arguments()
        self.assertIn("removes no mean", said.getvalue())


if __name__ == "__main__":
    unittest.main()
