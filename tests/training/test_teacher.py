# SPDX-License-Identifier: Apache-2.0
import os
import tempfile
import types
import unittest

import numpy as np

try:
    import torch
except ImportError:
    torch = None

if torch:
    import teacher
    import train_dnn
    import train_lstm


@unittest.skipUnless(torch, "no torch")
class Blend(unittest.TestCase):
    def test_where_somebody_speaks_both_count_and_elsewhere_the_label_alone(self):
        # At a temperature of 2 what a network says stands for twice that, and nothing for more than 8.
        got = teacher.blended(np.array([4.0, 4.0, -2.0, -8.0, -3.0]), np.array([1.0, 9.0, 3.0, 9.0, 9.0]), 0.25)
        np.testing.assert_allclose(got, [3.5, 5.0, 0.0, -8.0, -3.0])

    def test_sessions_without_speech_are_not_asked_about(self):
        def session(label):
            return types.SimpleNamespace(blocks=np.zeros((2, 3), np.float16), labels=np.full((2, 4), label, np.uint8),
                                         log_odds=np.full((2, 4), 40 if label else -20, np.int8))

        def says_nothing(blocks):
            return torch.zeros(*blocks.shape[:2], 4, 2)

        sessions = [session(1), session(0)]
        teacher.listen(says_nothing, sessions, 0, 0.5)
        self.assertEqual([s.log_odds.tolist() for s in sessions], [[[20] * 4] * 2, [[-20] * 4] * 2])
        self.assertEqual(sessions[0].log_odds.dtype, np.int8)

    def test_what_was_written_of_a_session_counts_as_far_as_both_go(self):
        longer = types.SimpleNamespace(labels=np.ones((2, 4), np.uint8), log_odds=np.full((2, 4), 40, np.int8), about={"index": 7})
        spoken = types.SimpleNamespace(labels=np.ones((1, 4), np.uint8), log_odds=np.full((1, 4), 40, np.int8), about={"index": 7})
        silent = types.SimpleNamespace(labels=np.zeros((1, 4), np.uint8), log_odds=np.full((1, 4), -20, np.int8), about={"index": 8})
        with tempfile.TemporaryDirectory() as folder:
            os.mkdir(os.path.join(folder, "taught"))
            np.save(teacher.taught_path(folder, 7), np.float16([1.0, 2.0, 3.0, 9.0, 0.0, 0.0]))
            teacher.take_taught(spoken, folder, 0.5)
            teacher.take_taught(longer, folder, 0.5)
            teacher.take_taught(silent, folder, 0.5)
        # Half of 4.0 and half of twice what was said, which counts for 8.0 at most.
        self.assertEqual(spoken.log_odds.tolist(), [[30, 40, 50, 60]])
        self.assertEqual(longer.log_odds.tolist(), [[30, 40, 50, 60], [20, 20, 40, 40]])
        self.assertEqual(silent.log_odds.tolist(), [[-20] * 4])

    def test_frames_of_the_feed_forward_network_are_taught_alike(self):
        with tempfile.TemporaryDirectory() as folder:
            for name in ("feat", "labels", "taught"):
                os.mkdir(os.path.join(folder, name))
            for index, label in ((0, 1), (1, 0)):
                np.save(os.path.join(folder, "feat", f"{index:05d}.npy"), np.zeros((4, 75), np.float16))
                np.save(os.path.join(folder, "labels", f"{index:05d}.npy"), np.tile(np.int8([label, 100, 40 if label else -20]), (4, 1)))
            np.save(teacher.taught_path(folder, 0), np.float16([1.0, 2.0, 3.0, 9.0]))
            with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as handle:
                handle.write('{"index": 0}\n{"index": 1}\n')
            self.assertEqual(train_dnn.Frames([folder], taught=0.5).hops[:, 2].tolist(), [30, 40, 50, 60, -20, -20, -20, -20])
            self.assertEqual(train_dnn.Frames([folder]).hops[:, 2].tolist(), [40] * 4 + [-20] * 4)

    def test_silence_counts_more_where_it_is_asked_for_and_never_more_than_a_byte_holds(self):
        def session(label):
            return types.SimpleNamespace(labels=np.full((1, 4), label, np.uint8), weights=np.array([[100, 30, 0, 120]], np.uint8))

        sessions = [session(1), session(0)]
        train_lstm.weigh_silence(sessions, 2.5)
        self.assertEqual([s.weights.tolist() for s in sessions], [[[100, 30, 0, 120]], [[250, 75, 0, 255]]])


if __name__ == "__main__":
    unittest.main()
