# SPDX-License-Identifier: Apache-2.0
"""The whole way from a corpus to five models and to networks of several sizes, on a made-up corpus and with tiny networks: every step runs, and what
comes out is loaded and judged.

It takes a minute or more, so it runs only where WVAD_WHOLE_WAY is set, as a test of its own does. It needs torch, and `wvad` beside the program that
WVAD_BLOCKS names.
"""

import hashlib
import importlib.util
import json
import os
import subprocess
import sys
import tempfile
import unittest

import numpy as np

import size_curve
from model_file import ModelFile
from test_mix_sessions import COLUMNS, write_wav

HERE = os.path.dirname(os.path.abspath(__file__))
SCRIPTS = os.path.join(HERE, "..", "..", "training")
NAMES = {"dnn_fb75": "16000", "lstm_fb75": "16000", "lstm_fb40": "16000", "lstm_fb75_8k": "8000", "lstm_fb40_8k": "8000"}


def harmonics(rng, seconds, pitch):
    """A buzz of half a second in every second, louder than what lies behind it."""
    t = np.arange(int(16000 * seconds)) / 16000.0
    voiced = sum(np.sin(2 * np.pi * pitch * k * t + k) / k for k in range(1, 20)) * (t % 1.0 >= 0.5)
    return 4000 * voiced + rng.normal(0, 10, len(t))


def make_corpus(folder):
    rng = np.random.default_rng(3)
    rows = [COLUMNS]
    with open(os.path.join(folder, "half.csv"), "w", encoding="utf-8") as out:
        out.write("start_s,end_s\n" + "".join(f"{k}.50,{k + 1}.00\n" for k in range(12)))

    def add(name, category, kind, split, samples, label=""):
        write_wav(os.path.join(folder, f"{name}.wav"), samples)
        rows.append(f"{name}.wav,{category},{kind},{name},{split},CC0-1.0,{label},{'good' if label else ''},{len(samples) / 16000:.2f},")

    for split in ("train", "valid"):
        for k in range(3):
            add(f"{split}{k}", "speech", "read", split, harmonics(rng, 8.0, 110 + 30 * k), "half.csv")
        add(f"rain_{split}", "noise", "rain", split, rng.normal(0, 1000, 128000))
        add(f"keys_{split}", "noise", "keys", split, rng.normal(0, 3000, 128000) * (np.arange(128000) % 4000 < 100))
        add(f"tune_{split}", "music", "instrumental", split, 3000 * np.sin(2 * np.pi * 440 * np.arange(128000) / 16000))
        impulse = np.zeros(4000)
        impulse[80], impulse[900] = 29000, 9000
        add(f"room_{split}", "rir", "room", split, impulse)
    for name, category in (("table", "meeting"), ("long", "natural")):
        add(name, category, "", "judge", harmonics(rng, 12.0, 130), "half.csv")
    with open(os.path.join(folder, "manifest.csv"), "w", encoding="utf-8") as out:
        out.write("\n".join(rows) + "\n")


@unittest.skipUnless(os.environ.get("WVAD_WHOLE_WAY") and os.environ.get("WVAD_BLOCKS"), "WVAD_WHOLE_WAY and WVAD_BLOCKS are not set")
@unittest.skipUnless(importlib.util.find_spec("torch"), "torch is missing")
class WholeWay(unittest.TestCase):
    def run_script(self, name, *arguments):
        subprocess.run([os.path.join(SCRIPTS, name), *arguments], check=True, env={**os.environ, "TINY": "1", "PYTHON": sys.executable})

    def make(self, corpus, work):
        self.run_script("make_models.sh", corpus, os.path.dirname(os.environ["WVAD_BLOCKS"]), work)

    def assert_mean(self, work, name, states):
        """Network `name` is the mean of `states`, by their recurrent weights."""
        def weights(path):
            return np.load(os.path.join(work, "run", path + ".npz"))["wr"].astype(np.float64)

        np.testing.assert_allclose(weights(name), np.mean([weights(state) for state in states], axis=0), atol=1e-6)

    def assert_stages(self, work):
        self.assert_mean(work, "lstm_fb75_ready/average",
                         ["lstm_fb75_more/average", "lstm_fb75_more/average", "lstm_fb75_ready_51/step_00002", "lstm_fb75_ready_52/step_00002"])
        self.assert_mean(work, "lstm_fb40_ready/average",
                         ["lstm_fb40/average", "lstm_fb40_pieces/step_00002", "lstm_fb40_pieces/step_00004", "lstm_fb40_taught/step_00004"])
        heard = {}
        for name in ("dnn_fb75", "lstm_fb40_pieces", "lstm_fb40_taught", "lstm_fb40_8k"):
            with open(os.path.join(work, "run", name, "training.json"), encoding="utf-8") as handle:
                told = json.load(handle)["arguments"]
            heard[name] = ([os.path.basename(folder) for folder in told["data"]], told["taught"], told["ready"])
        all_five = ["data", "data3", "data4", "data5", "data6"]
        self.assertEqual(heard, {"dnn_fb75": (all_five, 0.7, True), "lstm_fb40_pieces": (all_five, 0.7, False), "lstm_fb40_taught": (all_five[:4], 0.7, False),
                                 "lstm_fb40_8k": ([name + "_8k" for name in all_five], 0.5, False)})

    def compare_sizes(self, work, docs):
        """On the sessions of `work`, with costs as if they had been counted before."""
        for run, cost in (("lstm_fb75_32", 31000), ("lstm_fb40_32", 22000), ("dnn_fb75_16", 33000)):
            os.makedirs(os.path.join(work, "sizes", run))
            with open(os.path.join(work, "sizes", run, "instructions.txt"), "w", encoding="utf-8") as handle:
                handle.write(f"end_to_end {cost}\n")
        os.makedirs(docs)
        with open(os.path.join(docs, "accuracy.json"), "w", encoding="utf-8") as handle:
            json.dump([{"model": "other.bin", "watched": {"natural": 0.9}}], handle)
        with open(os.path.join(docs, "accuracy.md"), "w", encoding="utf-8") as handle:
            handle.write("\n".join(size_curve.MARKS))
        self.run_script("compare_sizes.sh", work, os.path.join(os.path.dirname(os.environ["WVAD_BLOCKS"]), ".."), docs)
        with open(os.path.join(docs, "accuracy.md"), encoding="utf-8") as handle:
            return [line.split(" | ") for line in handle if line.startswith("| ")][1:]

    def test_five_models_come_out_and_a_second_run_finds_all_done(self):
        with tempfile.TemporaryDirectory() as folder:
            corpus, work = os.path.join(folder, "corpus"), os.path.join(folder, "work")
            os.makedirs(corpus)
            make_corpus(corpus)
            self.make(corpus, work)
            with open(os.path.join(work, "SHA256SUMS"), encoding="utf-8") as handle:
                sums = dict(reversed(line.split()) for line in handle)
            self.assertEqual(set(sums), {name + ".bin" for name in NAMES})
            for name, rate in NAMES.items():
                path = os.path.join(work, name + ".bin")
                with open(path, "rb") as handle:
                    self.assertEqual(hashlib.sha256(handle.read()).hexdigest(), sums[name + ".bin"])
                self.assertEqual(ModelFile(path).keys["4"], rate)
                self.assertEqual(ModelFile(path).kind, name.replace("_8k", ""))
                with open(os.path.join(work, name + ".json"), encoding="utf-8") as handle:
                    figures = json.load(handle)
                self.assertEqual((figures["rate"], figures["arithmetic"]["wraps"]), (int(rate), 0))
                self.assertTrue({"meeting", "natural", "noise", "music"} <= set(figures["groups"]))
            self.assert_stages(work)
            times = {name: os.stat(os.path.join(work, name + ".bin")).st_mtime_ns for name in NAMES}
            self.make(corpus, work)
            self.assertEqual(times, {name: os.stat(os.path.join(work, name + ".bin")).st_mtime_ns for name in NAMES})

            rows = self.compare_sizes(work, os.path.join(folder, "docs"))
            self.assertEqual([(row[0], row[1], row[3]) for row in rows], [("| lstm_fb75", "32 cells, 32 units", "31 000"), ("| lstm_fb40", "32 cells, 32 units", "22 000"),
                                                                          ("| dnn_fb75", "16 and 16 units", "33 000")])
            self.assertTrue(all(0 < float(row[4]) <= 1 for row in rows))


if __name__ == "__main__":
    unittest.main()
