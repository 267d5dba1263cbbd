# SPDX-License-Identifier: Apache-2.0
import json
import os
import tempfile
import unittest

import numpy as np

try:
    import train_dnn
except ImportError:
    train_dnn = None


@unittest.skipUnless(train_dnn, "no torch")
class FramesOfSessions(unittest.TestCase):
    def make(self, folder, slow, ready):
        for sub in ("feat", "feat_ready", "labels"):
            os.mkdir(os.path.join(folder, sub))
        with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as out:
            for index, frames in enumerate(slow):
                out.write(json.dumps({"index": index}) + "\n")
                np.save(os.path.join(folder, "feat", f"{index:05d}.npy"), np.full((frames, 75), 1.0, np.float16))
                np.save(os.path.join(folder, "labels", f"{index:05d}.npy"), np.full((frames + 3, 3), index, np.int8))
        for index, frames in ready.items():
            np.save(os.path.join(folder, "feat_ready", f"{index:05d}.npy"), np.full((frames, 75), 2.0, np.float16))

    def centres(self, folder, ready):
        """The first value of the frame in the middle of each window."""
        data = train_dnn.Frames([folder], ready=ready)
        return [float(data.frames[row + train_dnn.SIDE, 0]) for row in data.rows]

    def test_every_third_session_stays_slow_and_without_asking_all_do(self):
        with tempfile.TemporaryDirectory() as folder:
            self.make(folder, (2, 1, 3, 1), {1: 1, 2: 3})
            self.assertEqual(self.centres(folder, True), [1, 1, 2, 2, 2, 2, 1])
            self.assertEqual(self.centres(folder, False), [1] * 7)

    def test_labels_end_where_the_frames_of_the_beginning_that_was_taken_end(self):
        with tempfile.TemporaryDirectory() as folder:
            self.make(folder, (2, 4), {1: 3})
            data = train_dnn.Frames([folder], ready=True)
            self.assertEqual(data.hops[:, 0].tolist(), [0, 0, 1, 1, 1])
            self.assertEqual(len(data.rows), 5)

    def test_a_ready_session_that_was_not_made_is_no_slow_one(self):
        with tempfile.TemporaryDirectory() as folder:
            self.make(folder, (1, 1, 1), {1: 1})
            with self.assertRaisesRegex(FileNotFoundError, "feat_ready.00002"):
                train_dnn.Frames([folder], ready=True)


if __name__ == "__main__":
    unittest.main()
