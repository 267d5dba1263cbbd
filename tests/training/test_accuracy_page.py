# SPDX-License-Identifier: Apache-2.0
import json
import os
import subprocess
import sys
import tempfile
import unittest
import xml.dom.minidom

import accuracy_page

RESULT = {"model": "a.bin", "groups": {"meeting": {"hours": 0.04, "pauses": [], "auc_by_collar_ms": {"0": 0.9, "100": 0.95}, "miss": 0.1, "false_alarm": 0.02,
                                                   "found_at_1_percent_alarms": None},
                                       "languages": {"hours": 0.5, "pauses": [], "auc_by_collar_ms": {"0": 0.9, "100": 0.95}, "miss": 0.1, "false_alarm": 0.02,
                                                     "found_at_1_percent_alarms": 0.5, "best_shift_ms": 30, "auc_at_best_shift": 0.9876,
                                                     "scatter": {"auc": [0.85, 0.9444], "miss": None, "false_alarm": [0.01, 0.04]}},
                                       "noise": {"hours": 1.0, "false_alarm": 0.0123}},
          "parts": {"game voices": {"hours": 0.1, "pauses": [], "auc_by_collar_ms": {"0": 0.8, "100": 0.85}, "miss": 0.4, "false_alarm": 0.02,
                                    "found_at_1_percent_alarms": None}},
          "sentences": {"meeting": {"missed": 1, "utterances": 9, "empty_an_hour": 2.4, "speech_inside": 0.91, "speech_of_found": 0.755, "sentences": 12,
                                    "scatter": {"empty_an_hour": [0.6, 5.0], "speech_inside": [0.8, 0.96]}},
                        "noise": {"missed": 0, "utterances": 0, "empty_an_hour": 7.0, "speech_inside": None, "speech_of_found": None, "sentences": 7,
                                  "scatter": {"empty_an_hour": None, "speech_inside": None}}}, "det": {"false_alarm": [0.001, 0.5], "miss": [0.5, 0.001]},
          "best_threshold": 0.714, "reliability": [[0.04, 0.02], [0.65, 0.4], [0.75, 0.6], [0.98, 0.955]]}


class Page(unittest.TestCase):
    def test_groups_of_silence_show_alarms_only(self):
        lines = accuracy_page.table([RESULT, RESULT]).split("\n")
        self.assertEqual(lines[2], "| meeting | a | 0.04 | 0.900 | 0.950 | – | 10.0 | 2.0 |")
        self.assertTrue(lines[3].startswith("|  | a | 0.04 |"))
        self.assertEqual(lines[8], "| noise | a | 1.00 | – | – | – | – | 1.23 |")

    def test_scatter_stands_in_brackets_and_parts_behind_their_group(self):
        lines = accuracy_page.table([RESULT]).split("\n")
        self.assertEqual(lines[3], "| languages | a | 0.50 | 0.900 (0.850–0.944) | 0.950 | 50.0 | 10.0 | 2.0 (1.0–4.0) |")
        self.assertEqual(lines[4], "| – game voices | a | 0.10 | 0.800 | 0.850 | – | 40.0 | 2.0 |")

    def test_sentences_stand_for_the_models_that_have_some(self):
        other = {**RESULT, "model": "peer", "sentences": {}}
        lines = accuracy_page.sentences([other, RESULT]).split("\n")
        self.assertEqual(lines[2:], ["| meeting | a | 1 of 9 | 91.0 (80.0–96.0) | 75.5 | 12 | 2 (1–5) |", "| noise | a | – | – | – | 7 | 7 |"])

    def test_another_detector_is_shown_at_its_own_thresholds_and_its_best_time(self):
        peer = {**RESULT, "model": "peer", "at_threshold": {"languages": {"0.5": {"miss": 0.1, "false_alarm": 0.05}, "0.7": {"miss": 0.2, "false_alarm": 0.0123}},
                                                            "noise": {"0.5": {"miss": None, "false_alarm": 0.002}}}}
        lines = accuracy_page.peers([RESULT, peer]).split("\n")
        self.assertEqual(lines[2:], ["| languages | peer | 0.900 | 0.988 | 30 | 0.5 | 10.0 | 5.00 |", "|  |  |  |  |  | 0.7 | 20.0 | 1.23 |",
                                     "| noise | peer | – | – | – | 0.5 | – | 0.20 |"])

    def test_pieces_stand_for_each_beginning_and_level_first_half_second_first(self):
        row = {"natural": {"pieces": 3, "missed": [0.1234, 0.04], "taken": [0.5, 0.5]}, "noise": {"pieces": 2, "missed": [None, None], "taken": [0.021, None]}}
        lines = accuracy_page.pieces([{**RESULT, "pieces": {"usual means": {"0": row, "-20": {}}, "slow start": {"0": {}}}}, RESULT]).split("\n")
        self.assertEqual(lines[0], "| Model | Begin | Level | missed: natural | missed: languages | missed: natural at 0 dB | missed: meeting | taken: noise | taken: music |")
        self.assertEqual(lines[2:], ["| a | usual means | as they are | 12.3, 4.0 | – | – | – | 2.1, – | – |", "|  |  | −20 dB | – | – | – | – | – | – |",
                                     "|  | slow start | as they are | – | – | – | – | – | – |"])

    def test_bands_of_probability_without_frames_stay_empty(self):
        lines = accuracy_page.calibration([RESULT]).split("\n")
        self.assertEqual(lines[2], "| a | 0.71 | 0.02 | – | – | 0.40 | 0.60 | – | 0.95 |")
        self.assertIn("said 0.7 to 0.8", lines[0])

    def test_the_figure_spans_its_axes_from_corner_to_corner(self):
        svg = accuracy_page.figure([RESULT])
        line = xml.dom.minidom.parseString(svg).getElementsByTagName("polyline")[0]
        self.assertEqual(line.getAttribute("points"), "70.0,20.0 490.0,364.0")

    def test_the_page_keeps_what_stands_around_the_table(self):
        with tempfile.TemporaryDirectory() as folder:
            page, result = os.path.join(folder, "accuracy.md"), os.path.join(folder, "a.json")
            with open(page, "w", encoding="utf-8") as out:
                for begin, end in accuracy_page.MARKS.values():
                    out.write(f"before\n{begin}\nold\n{end}\nafter\n")
            with open(result, "w", encoding="utf-8") as out:
                json.dump(RESULT, out)
            for _ in range(2):
                subprocess.run([sys.executable, accuracy_page.__file__, "--docs", folder, result], check=True)
            with open(page, encoding="utf-8") as handle:
                text = handle.read()
            self.assertTrue(text.startswith("before\n") and text.endswith("\nafter\n"))
            self.assertEqual([text.count(word) for word in ("| meeting |", "old\n", "before\n", "\nafter\n")], [2, 0, 5, 5])
            self.assertTrue(os.path.exists(os.path.join(folder, "accuracy_det.svg")))


if __name__ == "__main__":
    unittest.main()
