# SPDX-License-Identifier: Apache-2.0
"""The bundled models, by the references and, where WVAD_BLOCKS names the program, by the engine."""

import os
import subprocess
import tempfile
import unittest

import numpy as np

import quantised_dnn
import quantised_lstm
from engine_scores import load_pairs, reference_of
from model_file import ModelFile, read_network

MODELS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "models")


def bundled():
    return [os.path.join(MODELS, name) for name in sorted(os.listdir(MODELS)) if name.endswith(".bin")]


def recordings():
    """Digital silence, hum with bursts of harmonics, and full-scale noise."""
    rng = np.random.default_rng(7)
    t = np.arange(48000) / 16000.0
    voiced = sum(np.sin(2 * np.pi * 140 * k * t + k) / k for k in range(1, 20)) * (np.sin(2 * np.pi * 1.3 * t) > 0)
    return {"silence": np.zeros(16000), "voiced": 3000 * voiced + rng.normal(0, 40, len(t)), "noise": rng.integers(-32768, 32768, 32000),
            "short": rng.normal(0, 500, 1500), "odd": rng.normal(0, 500, 12345)}


class Bundled(unittest.TestCase):
    def test_every_kind_is_there_and_says_so(self):
        forms = {}
        for path in bundled():
            file = ModelFile(path)
            forms[os.path.basename(path)] = (file.kind, file.keys["4"])
            self.assertEqual(file.keys["2"], file.kind)
            self.assertEqual(file.keys["1"], "0" if file.kind == "dnn_fb75" else "1")
        expected = {f"{kind}.bin": (kind, "16000") for kind in ("dnn_fb75", "lstm_fb40", "lstm_fb75")}
        expected.update({f"{kind}_8k.bin": (kind, "8000") for kind in ("lstm_fb40", "lstm_fb75")})
        self.assertEqual(forms, expected)

    def test_no_weight_leaves_its_integers(self):
        for path in bundled():
            network = read_network(path)
            if isinstance(network, quantised_dnn.Network):
                self.assertEqual(sum(network.clipped_weights()), 0)
                self.assertLess(max(network.worst_case()), 1.0)
                continue
            form = quantised_lstm.form_of(network)
            self.assertEqual(sum(form.clipped_weights().values()), 0)
            self.assertEqual(form.saturating(), [])
            if network.kind == "lstm_fb40":
                self.assertLess(form.input_worst_case(), 1.0)

    @unittest.skipUnless(os.environ.get("WVAD_BLOCKS"), "WVAD_BLOCKS names no program")
    def test_engine_and_reference_give_the_same_pairs(self):
        program = os.environ["WVAD_BLOCKS"]
        with tempfile.TemporaryDirectory() as folder:
            files = []
            for name, samples in recordings().items():
                files.append(os.path.join(folder, name + ".s16"))
                np.clip(np.round(samples), -32768, 32767).astype("<i2").tofile(files[-1])
            for path in bundled():
                reference = reference_of(path)
                scores, frames = os.path.join(folder, "scores"), os.path.join(folder, "frames")
                subprocess.run([program, "--out", scores, "--scores", path, *files], check=True)
                subprocess.run([program, "--out", frames, *reference.options, *files], check=True)
                names = [os.path.basename(file)[:-4] + ".npy" for file in files]
                expected = reference.pairs([np.load(os.path.join(frames, name)) for name in names])
                for name, pairs in zip(names, expected):
                    got, _ = load_pairs(os.path.join(scores, name))
                    self.assertLessEqual(0, len(got) - len(pairs))
                    self.assertLessEqual(len(got) - len(pairs), 0 if isinstance(reference.network, quantised_dnn.Network) else 8)
                    np.testing.assert_allclose(got[:len(pairs)], pairs, atol=1e-6, err_msg=f"{path} {name}")
                self.assertEqual(reference.counts.wraps(), 0)


if __name__ == "__main__":
    unittest.main()
