# SPDX-License-Identifier: Apache-2.0
import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import numpy as np

import judge_scores

# An onnxruntime-node of our own: says which samples of the window it got, how many stood before it, and how often it was asked before.
RUNTIME = """
exports.Tensor = class { constructor(type, data, dims) { this.data = data; this.dims = dims; } };
exports.InferenceSession = {create: async () => ({run: async ({input, state, sr}) => {
  if (Number(sr.data[0]) !== 16000 || input.dims[1] !== 576) throw new Error('other input');
  const stateN = Float32Array.from(state.data);
  stateN[0] += 1;
  return {output: {data: [input.data[64] + 10 * input.data[0] + 100 * state.data[0]]}, stateN: {data: stateN}};
}})};
"""


class Hops(unittest.TestCase):
    def test_a_hop_has_the_score_of_the_window_in_which_its_middle_lies(self):
        # Middles at 80, 240, 400, 560, ...: three hops in the first 512 samples, the next three up to 1024; what is past the last window keeps its score.
        self.assertEqual(list(judge_scores.of_hops(np.array([1.0, 2.0]), 512, 8)), [1, 1, 1, 2, 2, 2, 2, 2])


class Whole(unittest.TestCase):
    def judged(self, folder):
        """Six recordings of speech and silence by turns, one of noise and one that training heard, with scores in windows of one hop."""
        os.makedirs(os.path.join(folder, "judged", "pcm"))
        os.makedirs(os.path.join(folder, "judged", "labels"))
        os.makedirs(os.path.join(folder, "scores"))
        lines = []
        for k in range(8):
            label = np.zeros(200, int) if k == 6 else np.arange(200) // 50 % 2
            scores = np.where(label == 1, 0.6, 0.1)
            scores[:20] = 0.8  # false wherever it is
            if k == 7:
                scores = 1 - scores
            np.full(200 * 160, 1000, "<i2").tofile(os.path.join(folder, "judged", "pcm", f"{k:05d}.s16"))
            np.save(os.path.join(folder, "judged", "labels", f"{k:05d}.npy"), np.stack([label, np.full(200, 100), 0 * label], axis=1).astype(np.int16))
            scores.astype("<f4").tofile(os.path.join(folder, "scores", f"{k:05d}.f32"))
            lines.append({"index": k, "group": "noise" if k == 6 else "natural", "name": f"r{k}", "detail": "", "seconds": 2.0, "heard": k == 7})
        with open(os.path.join(folder, "judged", "sessions.jsonl"), "w", encoding="utf-8") as out:
            out.writelines(json.dumps(line) + "\n" for line in lines)

    def test_shares_are_told_at_each_threshold_that_is_asked_for(self):
        with tempfile.TemporaryDirectory() as folder:
            self.judged(folder)
            path = os.path.join(folder, "out.json")
            subprocess.run([sys.executable, judge_scores.__file__, "--name", "other", "--scores", os.path.join(folder, "scores"), "--window", "160",
                            "--data", folder, "--json", path, "--thresholds", "0.5", "0.7"], check=True, capture_output=True)
            with open(path, encoding="utf-8") as handle:
                result = json.load(handle)
        # Of 100 frames of silence a recording 20 are at 0.8; speech is at 0.6. Of the 200 of the noise also 20.
        self.assertEqual(result["at_threshold"], {"natural": {"0.5": {"miss": 0.0, "false_alarm": 0.2}, "0.7": {"miss": 1.0, "false_alarm": 0.2}},
                                                  "noise": {"0.5": {"miss": None, "false_alarm": 0.1}, "0.7": {"miss": None, "false_alarm": 0.1}}})
        self.assertEqual((result["model"], result["groups"]["natural"]["scatter"]["miss"]), ("other", [1.0, 1.0]))


@unittest.skipUnless(shutil.which("node"), "no node")
class Peer(unittest.TestCase):
    def test_windows_follow_each_other_with_the_end_of_the_last_in_front_and_the_state_carried_on(self):
        script = os.path.join(os.path.dirname(judge_scores.__file__), "silero_scores.js")
        with tempfile.TemporaryDirectory() as folder:
            os.makedirs(os.path.join(folder, "modules", "onnxruntime-node"))
            with open(os.path.join(folder, "modules", "onnxruntime-node", "index.js"), "w", encoding="utf-8") as out:
                out.write(RUNTIME)
            for name in ("a", "b"):
                np.arange(1, 1101).astype("<i2").tofile(os.path.join(folder, name + ".s16"))
            with open(os.path.join(folder, "list.txt"), "w", encoding="utf-8") as out:
                out.writelines(os.path.join(folder, name + ".s16") + "\n" for name in ("a", "b"))
            subprocess.run(["node", script, "none.onnx", os.path.join(folder, "list.txt"), os.path.join(folder, "out")], check=True,
                           env={**os.environ, "NODE_PATH": os.path.join(folder, "modules")})
            # Windows begin at samples 1, 513 and 1025 (values in steps of 1/32768); before them stand zeros, 449 and 961; then 1, 2 windows were before.
            expected = [1 / 32768, (513 + 10 * 449) / 32768 + 100, (1025 + 10 * 961) / 32768 + 200]
            for name in ("a", "b"):
                np.testing.assert_allclose(np.fromfile(os.path.join(folder, "out", name + ".f32"), "<f4"), expected, rtol=1e-6)


if __name__ == "__main__":
    unittest.main()
