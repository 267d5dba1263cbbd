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
                                       "noise": {"hours": 1.0, "false_alarm": 0.0123}},
          "sentences": {"meeting": {"missed": 1, "utterances": 9, "empty_an_hour": 2.4}}, "det": {"false_alarm": [0.001, 0.5], "miss": [0.5, 0.001]},
          "best_threshold": 0.714, "reliability": [[0.04, 0.02], [0.65, 0.4], [0.75, 0.6], [0.98, 0.955]]}


class Page(unittest.TestCase):
    def test_groups_of_silence_show_alarms_only(self):
        lines = accuracy_page.table([RESULT, RESULT]).split("\n")
        self.assertEqual(lines[2], "| meeting | 0.04 | a | 0.900 | 0.950 | – | 10.0 | 2.0 | 1 of 9 | 2 |")
        self.assertEqual(lines[4], "| noise | 1.00 | a | – | – | – | – | 1.23 | – | – |")
        self.assertTrue(lines[5].startswith("|  |  | a | – |"))

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
                begin, end = accuracy_page.CALIBRATION
                out.write(f"before\n{accuracy_page.BEGIN}\nold\n{accuracy_page.END}\nbetween\n{begin}\nold\n{end}\nafter\n")
            with open(result, "w", encoding="utf-8") as out:
                json.dump(RESULT, out)
            for _ in range(2):
                subprocess.run([sys.executable, accuracy_page.__file__, "--docs", folder, result], check=True)
            with open(page, encoding="utf-8") as handle:
                text = handle.read()
            self.assertTrue(text.startswith("before\n") and text.endswith("\nafter\n"))
            self.assertEqual((text.count("| meeting |"), text.count("old\n"), text.count("\nbetween\n")), (1, 0, 1))
            self.assertTrue(os.path.exists(os.path.join(folder, "accuracy_det.svg")))


if __name__ == "__main__":
    unittest.main()
