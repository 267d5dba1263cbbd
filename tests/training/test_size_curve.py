# SPDX-License-Identifier: Apache-2.0
import json
import os
import subprocess
import sys
import tempfile
import unittest
import xml.dom.minidom

import size_curve

SPOKEN = ("meeting", "natural at 0 dB")
RECURRENT = {"arguments": {"kind": "lstm_fb75", "cells": 128, "hidden": 64},
             "log": [{"before": {}},
                     {"step": 300, "meeting": 0.9, "natural at 0 dB": 0.8, "alarms": [0.05, 0.01], "merit": 0.84},
                     {"step": 600, "meeting": 0.92, "natural at 0 dB": 0.84, "alarms": [0.04, 0.02], "merit": 0.87},
                     {"step": 900, "meeting": 0.99, "natural at 0 dB": 0.81, "alarms": [0.3, 0.02], "merit": 0.86}]}
FEED_FORWARD = {"arguments": {"hidden": [256, 128]}, "log": [{"epoch": 1, "meeting": 0.9, "natural at 0 dB": 0.7, "alarms": [0.1234, 0.1], "merit": 0.77}]}
# Told to readers without the voices that were heard in training, which the sizes were judged on as well.
BUNDLED = {"model": "lstm_fb75.bin", "watched": {"meeting": 0.96, "natural at 0 dB": 0.9},
           "groups": {"meeting": {"pauses": [], "auc_by_collar_ms": {"0": 0.96}}, "natural at 0 dB": {"pauses": [], "auc_by_collar_ms": {"0": 0.88}},
                      "noise": {"false_alarm": 0.0174}}}


def rows():
    return [size_curve.of_bundled(BUNDLED, 82602, 2.04), size_curve.of_run(FEED_FORWARD, SPOKEN, 999, 0.55), size_curve.of_run(RECURRENT, SPOKEN, 51234, 0.96)]


class SizeCurve(unittest.TestCase):
    def test_a_size_stands_with_the_state_that_the_training_kept(self):
        # Merit chose step 600: (0.92 + 0.84) / 2.
        lines = size_curve.table(rows()).split("\n")
        self.assertEqual(lines[2], "| lstm_fb75 | 128 cells, 64 units | 1.0 | 51 234 | 0.8800 | 0.840 | 4.0 |")

    def test_bundled_models_stand_behind_the_sizes_of_their_kind(self):
        lines = size_curve.table(rows()).split("\n")
        self.assertEqual(lines[3:], ["|  | bundled | 2.0 | 82 602 | 0.9300 | 0.900 | 1.7 |",
                                     "| dnn_fb75 | 256 and 128 units | 0.6 | 999 | 0.8000 | 0.700 | 12.3 |"])

    def test_the_figure_has_a_point_for_each_size_and_a_ring_for_each_bundled_model(self):
        svg = xml.dom.minidom.parseString(size_curve.figure(rows()))
        circles = svg.getElementsByTagName("circle")
        self.assertEqual([circle.getAttribute("fill") == "none" for circle in circles], [False, True, False])
        # More instructions stand further right, a larger area higher.
        point, ring, cheap = ((float(circle.getAttribute("cx")), float(circle.getAttribute("cy"))) for circle in circles)
        self.assertLess(cheap[0], point[0])
        self.assertLess(point[0], ring[0])
        self.assertLess(ring[1], point[1])
        self.assertLess(point[1], cheap[1])

    def test_the_page_is_written_from_files_and_counts_are_kept(self):
        with tempfile.TemporaryDirectory() as folder:
            def write(name, text):
                with open(os.path.join(folder, name), "w", encoding="utf-8") as handle:
                    handle.write(text)
            write("accuracy.json", json.dumps([BUNDLED]))
            write("accuracy.md", f"before\n{size_curve.MARKS[0]}\nold\n{size_curve.MARKS[1]}\nbehind\n")
            write("training.json", json.dumps(RECURRENT))
            write("instructions.txt", "end_to_end 51234\nnetwork 20000\n")
            write("lstm_fb75.bin.txt", "end_to_end 82602\n")
            write("lstm_fb75.bin", 2_040_000 * "x")
            # Counted already, so nothing is run: there is no such bench.
            subprocess.run([sys.executable, size_curve.__file__, "--docs", folder, "--file-bench", "no_bench", "--models", folder, "--kept", folder,
                            f"{folder}={folder}/lstm_fb75.bin"], check=True)
            with open(os.path.join(folder, "accuracy.md"), encoding="utf-8") as handle:
                page = handle.read()
            self.assertIn("| lstm_fb75 | 128 cells, 64 units | 2.0 | 51 234 | 0.8800 | 0.840 | 4.0 |\n|  | bundled | 2.0 | 82 602 |", page)
            self.assertTrue(page.startswith("before\n") and page.endswith("behind\n"))
            self.assertNotIn("old", page)
            self.assertTrue(os.path.exists(os.path.join(folder, "accuracy_sizes.svg")))


if __name__ == "__main__":
    unittest.main()
