# SPDX-License-Identifier: Apache-2.0
import json
import os
import tempfile
import types
import unittest
from unittest import mock

import numpy as np

import evaluate_model

MODELS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "models")


def recording(name, group, part, labels, used=None):
    labels = np.array(labels, np.uint8)
    return types.SimpleNamespace(name=name, group=group, part=part, path=name, labels=labels, used=np.ones(len(labels), bool) if used is None else used)


class FoundSentences(unittest.TestCase):
    def test_each_hundredth_of_a_second_is_the_frame_of_that_number(self):
        # 0.29 * 100 is 28.999999999999996, and 0.57 * 100 is 56.99999999999999.
        sentences = [{"begin": k / 100, "end": (k + 29) / 100} for k in range(6000)]
        said = types.SimpleNamespace(stdout=json.dumps({"files": [{"sentences": sentences}]}))
        with mock.patch.object(evaluate_model.subprocess, "run", lambda *_, **__: said):
            self.assertEqual(evaluate_model.found_sentences("wvad", "a.bin", "a.wav"), [(k, k + 29) for k in range(6000)])


class Loading(unittest.TestCase):
    def test_recordings_of_another_rate_are_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, "sessions.jsonl"), "w", encoding="utf-8") as out:
                out.write('{"index": 0, "group": "call", "rate": 8000}\n')
            with self.assertRaisesRegex(SystemExit, "the model is for 16000 Hz"):
                evaluate_model.load_judged(folder, os.path.join(folder, "work"), 16000)


class HeardVoices(unittest.TestCase):
    """Two recordings of one second, the first half of each labelled speech: one that training heard, with perfect scores, and one whose scores say the contrary."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "a.json")
        labels = np.arange(100) < 50
        rows = np.stack([labels, np.full(100, 100), 0 * labels], axis=1).astype(np.int16)
        scores = {"heard": np.stack([labels, ~labels], axis=1).astype(np.float32), "other": np.stack([~labels, labels], axis=1).astype(np.float32)}
        items = [({"group": "natural", "name": name, "detail": "", "heard": name == "heard"}, name, rows) for name in ("heard", "other")]
        arithmetic = {"wraps": 0, "greatest_difference_to_engine": 0.0}
        with mock.patch.multiple(evaluate_model, rate_of_model=lambda _: 16000, load_judged=lambda *_: items, build_extremes=lambda *_: [],
                                 compare=lambda *_: arithmetic, samples_of=lambda _: np.ones(16000, np.int16), array_of=lambda _, name: name,
                                 load_pairs=lambda name: (scores[name], 0), judge_pieces=mock.DEFAULT, ModelFile=mock.DEFAULT, show=mock.DEFAULT,
                                 found_sentences=lambda program, model, path: [(0, 50)] if path == "other" else []) as given, \
                mock.patch("sys.argv", ["", "--model", "a.bin", "--blocks", "b", "--data", "d", "--work", "w", "--wvad", "wvad", "--json", self.path]):
            given["judge_pieces"].return_value = {}
            evaluate_model.main()
            self.pieces_of = len(given["judge_pieces"].call_args.args[2])
        with open(self.path, encoding="utf-8") as handle:
            self.result = json.load(handle)

    def test_they_count_in_no_figure(self):
        self.assertEqual((self.result["groups"]["natural"]["auc_by_collar_ms"]["0"], self.result["groups"]["natural"]["miss"]), (0.0, 1.0))
        self.assertEqual((self.result["sentences"]["natural"]["utterances"], self.result["sentences"]["natural"]["missed"]), (1, 0))
        self.assertEqual(self.pieces_of, 1)

    def test_what_trainings_watch_counts_them(self):
        self.assertEqual(self.result["watched"], {"natural": 0.5})


class Figures(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "a.json")

    def judge(self, wraps, result):
        """Runs the program on no recordings, with an arithmetic that wraps so often and figures that were worked out before."""
        arithmetic = {"wraps": wraps, "greatest_difference_to_engine": 0.0}
        patched = {"rate_of_model": 16000, "load_judged": [], "build_extremes": [], "compare": arithmetic, "summarise": result, "watched_areas": {}, "show": None, "of_short_pieces": {"usual means": {}}}
        with mock.patch.multiple(evaluate_model, **{name: mock.Mock(return_value=value) for name, value in patched.items()}), \
                mock.patch("sys.argv", ["", "--model", "a.bin", "--blocks", "b", "--data", "d", "--work", "w", "--json", self.path]):
            evaluate_model.main()

    def test_they_are_written(self):
        self.judge(0, {"groups": {}})
        with open(self.path, encoding="utf-8") as handle:
            written = json.load(handle)
        self.assertEqual((written["model"], written["pieces"]), ("a.bin", {"usual means": {}}))
        self.assertEqual(os.listdir(os.path.dirname(self.path)), ["a.json"])

    def test_what_is_broken_off_has_not_their_name(self):
        with self.assertRaises(TypeError):
            self.judge(0, {"groups": {}, "broken off here": object()})
        self.assertFalse(os.path.exists(self.path))

    def test_a_model_whose_arithmetic_does_not_hold_has_none(self):
        with self.assertRaisesRegex(SystemExit, "does not hold"):
            self.judge(1, {"groups": {}})
        self.assertFalse(os.path.exists(self.path))


class ShortPieces(unittest.TestCase):
    def beginnings(self, model):
        with mock.patch.object(evaluate_model, "judge_pieces") as judge:
            evaluate_model.of_short_pieces("b", os.path.join(MODELS, model), [], 16000, "w")
        return judge.call_args.args[-1]

    def test_they_are_cut_by_the_labels_alone(self):
        rows = np.array([[1, 100, 0], [0, 100, 0], [1, 0, 0]], np.int8)
        with mock.patch.object(evaluate_model, "judge_pieces") as judge, mock.patch.object(evaluate_model, "samples_of", lambda path: path + " heard"):
            evaluate_model.of_short_pieces("b", os.path.join(MODELS, "dnn_fb75.bin"), [({"group": "call"}, "a.wav", rows)], 16000, "w")
        (group, samples, labels, used), = judge.call_args.args[2]
        self.assertEqual((group, samples, labels.tolist(), used.tolist()), ("call", "a.wav heard", [1, 0, 1], [True, True, False]))

    def test_a_model_without_mean_removal_begins_in_one_way_only(self):
        self.assertEqual(self.beginnings("lstm_fb40.bin"), ["usual means"])
        self.assertEqual(self.beginnings("lstm_fb40_8k.bin"), ["usual means"])
        for model in ("lstm_fb75.bin", "dnn_fb75.bin"):
            self.assertEqual(self.beginnings(model), ["usual means", "slow start"])


class Sentences(unittest.TestCase):
    def judge(self, judged, found):
        with mock.patch.object(evaluate_model, "found_sentences", lambda program, model, path: found[path]):
            return evaluate_model.judge_sentences("wvad", "a.bin", judged)

    def test_speech_inside_and_the_speech_of_sentences_are_shares_of_two_things(self):
        # Speech 100 to 200 and 300 to 400; sentences 150 to 250 and 500 to 650: 50 of 200 frames of speech inside, 50 of 250 frames of sentences speech.
        labels = np.arange(1000) // 100 % 2 * (np.arange(1000) < 400)
        row = self.judge([recording("a", "natural", "", labels)], {"a": [(150, 250), (500, 650)]})["natural"]
        self.assertEqual((row["speech_inside"], row["speech_of_found"]), (0.25, 0.2))
        self.assertEqual((row["utterances"], row["missed"], row["sentences"], row["empty"]), (2, 1, 2, 1))
        self.assertEqual((row["hours"], row["empty_an_hour"]), (0.003, 360.0))

    def test_a_part_has_a_row_beside_that_of_its_group(self):
        judged = [recording("a", "languages", "game voices", [1] * 100), recording("b", "languages", "other voices", [1] * 100)]
        rows = self.judge(judged, {"a": [], "b": [(0, 100)]})
        self.assertEqual([rows[name]["speech_inside"] for name in ("languages", "game voices", "other voices")], [0.5, 0.0, 1.0])

    def test_frames_without_weight_count_nowhere_and_noise_has_no_speech(self):
        used = np.arange(400) >= 200
        row = self.judge([recording("a", "noise", "", [0] * 400, used)], {"a": [(0, 100), (250, 300)]})["noise"]
        self.assertEqual((row["sentences"], row["empty"], row["speech_inside"], row["speech_of_found"]), (2, 1, None, None))

    def test_what_lies_in_a_sentence_without_weight_is_no_part_of_it(self):
        # A sentence of 200 frames: the first 100 speech, 50 of the others without weight.
        labels, used = np.arange(200) < 100, np.arange(200) < 150
        self.assertEqual(self.judge([recording("a", "call", "", labels, used)], {"a": [(0, 200)]})["call"]["speech_of_found"], 0.6667)

    def test_scatter_is_over_recordings(self):
        judged = [recording(str(k), "noise", "", [0] * 36000) for k in range(6)]
        row = self.judge(judged, {str(k): [(0, 100)] for k in range(6)})["noise"]
        self.assertEqual((row["empty_an_hour"], row["scatter"]["empty_an_hour"]), (10.0, [10.0, 10.0]))


if __name__ == "__main__":
    unittest.main()
