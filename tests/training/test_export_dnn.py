# SPDX-License-Identifier: Apache-2.0
import json
import os
import tempfile
import unittest
from unittest import mock

import numpy as np

import export_dnn


class OperatingPoint(unittest.TestCase):
    def moved(self, scores, labels, weights):
        """The output biases, from zeros, after the point was set on one session. `scores`: those of frames 0, 2, 4, ..."""
        labels = np.array([[label, weight, 0] for label, weight in zip(labels, weights)], np.int8)
        export = export_dnn.Export.__new__(export_dnn.Export)
        export.biases, export.network = [np.zeros(2, np.float32)], lambda: None
        speech = 1.0 / (1.0 + np.exp(-np.array(scores)))
        with tempfile.TemporaryDirectory() as folder:
            for sub in ("feat", "labels"):
                os.mkdir(os.path.join(folder, sub))
            np.save(os.path.join(folder, "feat", "00000.npy"), np.zeros((len(labels), 75), np.float16))
            np.save(os.path.join(folder, "labels", "00000.npy"), labels)
            with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as out:
                out.write(json.dumps({"index": 0, "group": "natural"}) + "\n")
            with mock.patch.object(export_dnn, "forward", lambda network, frames: np.stack([speech, 1.0 - speech], axis=1)):
                export.set_operating_point(folder)
        return export.biases[-1].tolist()

    def test_a_frame_that_is_not_computed_counts_with_the_score_of_the_one_before(self):
        # Silence at -1; speech at 0, in the frame behind one that does not count, and at 2. Of the computed frames alone the point would lie at 0.5.
        move = np.log(7.0 / 3.0) + 0.5
        np.testing.assert_allclose(self.moved([-1, 0, 2], [0, 0, 0, 1, 1, 1], [100, 100, 0, 100, 100, 100]), [move / 2, -move / 2], rtol=1e-5)

    def test_the_last_of_an_odd_number_of_frames_stands_for_itself(self):
        move = np.log(7.0 / 3.0) - 1.0
        np.testing.assert_allclose(self.moved([-1, 0, 2], [0, 0, 0, 0, 1], [100] * 5), [move / 2, -move / 2], rtol=1e-5)


if __name__ == "__main__":
    unittest.main()
